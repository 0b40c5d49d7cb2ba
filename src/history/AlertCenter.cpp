#include "history/AlertCenter.h"

#include <charconv>
#include <cstdio>
#include <random>

#include "fmt/PlatformWording.h"

namespace qm {

const std::vector<AlertSwitch>& alertSwitches() {
    static const std::vector<AlertSwitch> switches{
        {"alert.highCPU", EventKind::highCPU, "An app runs away with the CPU"},
        {"alert.memoryLeak", EventKind::memoryGrowth, "An app's memory keeps growing (possible leak)"},
        {"alert.thermal", EventKind::thermal, "Your Mac gets hot and starts throttling"},
        {"alert.pressure", EventKind::memoryPressure, "Memory pressure becomes high"},
    };
    return switches;
}

const AlertSwitch* findAlertSwitch(std::string_view key) {
    for (const auto& entry : alertSwitches())
        if (key == entry.key) return &entry;
    return nullptr;
}

namespace {

const AlertSwitch* switchFor(EventKind kind) {
    for (const auto& entry : alertSwitches())
        if (entry.kind == kind) return &entry;
    return nullptr;
}

// A switch is on unless it holds the Bool false: absent or another type counts as on.
bool switchIsOn(const Defaults& defaults, const char* key) {
    auto value = defaults.value(key);
    if (!value) return true;
    if (const auto* on = std::get_if<bool>(&*value)) return *on;
    return true;
}

std::optional<std::string> appKeyOf(const TimelineEvent& event) {
    if (!event.appKey || event.appKey->empty()) return std::nullopt;
    return event.appKey;
}

}  // namespace

AlertCenter::AlertCenter(std::unique_ptr<NotificationSink> sink, SerialQueue& main, Hooks hooks, Defaults* defaults,
                         const Clock& clock)
    : main_(main), hooks_(std::move(hooks)), defaults_(defaults), clock_(clock), sink_(std::move(sink)) {
    sink_->registerCategory(appEventCategory());
    std::weak_ptr<bool> alive = alive_;
    SerialQueue* queue = &main_;
    sink_->setResponseHandler([alive, queue, this](const NotificationResponse& response) {
        queue->post([alive, this, response] {
            if (alive.lock()) handle(response);
        });
    });
}

AlertCenter::~AlertCenter() {
    *alive_ = false;
    alive_.reset();
}

Defaults& AlertCenter::settings() const { return defaults_ != nullptr ? *defaults_ : Defaults::shared(); }

NotificationCategory AlertCenter::appEventCategory() {
    return {std::string(category),
            {{std::string(quitAction), "Quit App", /*destructive=*/true, /*foreground=*/false},
             {std::string(openAction), "Show in Quillmere", /*destructive=*/false, /*foreground=*/true}}};
}

std::string AlertCenter::holdBackKey(const TimelineEvent& event) {
    return std::string(rawValue(event.kind)) + ":" + event.appKey.value_or("");
}

bool AlertCenter::shouldDeliver(const TimelineEvent& event) const {
    const AlertSwitch* gate = switchFor(event.kind);
    if (gate == nullptr) return false;  // indexing, swap, power and crash loops stay in the timeline
    if (!switchIsOn(settings(), gate->key)) return false;
    // "Memory is getting tight" never interrupts; only critical pressure does.
    if (event.kind == EventKind::memoryPressure && event.severity <= 1) return false;
    return true;
}

NotificationRequest AlertCenter::content(const TimelineEvent& event, std::string identifier) {
    NotificationRequest request;
    request.identifier = std::move(identifier);
    // In this platform's words: "your computer" on Linux, even for events stored elsewhere.
    request.title = forThisPlatform(event.title);
    request.body = forThisPlatform(event.detail);
    request.severity = event.severity;
    request.defaultSound = true;
    // Quit is offered for a runaway or leaking app, or any event about a real
    // application; never for a bare system process under pressure or heat.
    if (auto key = appKeyOf(event)) {
        const bool aboutApp =
            event.kind == EventKind::highCPU || event.kind == EventKind::memoryGrowth || key->rfind("app:", 0) == 0;
        if (aboutApp) {
            request.category = std::string(category);
            request.userInfo[std::string(appKeyInfo)] = *key;
            if (event.appName) request.userInfo[std::string(appNameInfo)] = *event.appName;
            // Quit App ends these and nothing else: never a namesake started later.
            if (!event.processes.empty())
                request.userInfo[std::string(processesInfo)] = encodeProcesses(event.processes);
        }
    }
    return request;
}

void AlertCenter::deliver(const TimelineEvent& event) {
    if (!shouldDeliver(event)) return;
    const std::string key = holdBackKey(event);
    const Date now = clock_.now();
    if (auto it = lastSent.find(key); it != lastSent.end() && now - it->second < holdBackSeconds) return;
    lastSent[key] = now;
    sink_->post(content(event, randomIdentifier()));
}

void AlertCenter::deliver(const std::vector<TimelineEvent>& events) {
    for (const auto& event : events) deliver(event);
}

void AlertCenter::handle(const NotificationResponse& response) {
    std::optional<std::string> appKey;
    if (auto it = response.userInfo.find(std::string(appKeyInfo)); it != response.userInfo.end() && !it->second.empty())
        appKey = it->second;
    if (response.actionIdentifier != quitAction) {
        if (hooks_.open) hooks_.open(appKey);
        return;
    }
    if (!appKey || !hooks_.quitApp) return;
    QuitRequest request;
    request.appKey = *appKey;
    if (auto name = response.userInfo.find(std::string(appNameInfo)); name != response.userInfo.end())
        request.appName = name->second;
    if (auto list = response.userInfo.find(std::string(processesInfo)); list != response.userInfo.end())
        request.processes = decodeProcesses(list->second);
    std::weak_ptr<bool> alive = alive_;
    SerialQueue* queue = &main_;
    const std::string title = request.appName.empty() ? request.appKey : request.appName;
    hooks_.quitApp(request, [alive, queue, this, title](const std::string& said) {
        queue->post([alive, this, title, said] {
            if (!alive.lock()) return;
            NotificationRequest followUp;
            followUp.identifier = randomIdentifier();
            followUp.title = title;
            followUp.body = said;
            followUp.defaultSound = false;
            sink_->post(followUp);
        });
    });
}

std::string AlertCenter::encodeProcesses(const std::vector<ProcessRef>& processes) {
    std::string text;
    for (const ProcessRef& p : processes) {
        if (!text.empty()) text += ",";
        text += std::to_string(p.pid) + ":" + std::to_string(p.startTime) + ":" + std::to_string(p.uid);
    }
    return text;
}

std::vector<ProcessRef> AlertCenter::decodeProcesses(std::string_view text) {
    auto number = [](std::string_view digits, auto& out) {
        auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), out);
        return error == std::errc() && end == digits.data() + digits.size() && !digits.empty();
    };
    std::vector<ProcessRef> processes;
    while (!text.empty()) {
        const size_t comma = text.find(',');
        std::string_view entry = text.substr(0, comma);
        text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
        const size_t first = entry.find(':');
        const size_t second = first == std::string_view::npos ? first : entry.find(':', first + 1);
        if (second == std::string_view::npos) continue;
        ProcessRef ref;
        if (number(entry.substr(0, first), ref.pid) &&
            number(entry.substr(first + 1, second - first - 1), ref.startTime) &&
            number(entry.substr(second + 1), ref.uid) && ref.pid > 0)
            processes.push_back(ref);
    }
    return processes;
}

void AlertCenter::requestPermission(std::function<void(bool granted, const std::string& error)> completion) {
    SerialQueue* queue = &main_;
    sink_->requestPermission([queue, completion = std::move(completion)](bool granted, const std::string& error) {
        queue->post([completion, granted, error] { completion(granted, error); });
    });
}

std::string AlertCenter::randomIdentifier() {
    thread_local std::mt19937_64 generator{std::random_device{}()};
    uint64_t high = generator();
    uint64_t low = generator();
    high = (high & 0xFFFFFFFFFFFF0FFFULL) | 0x0000000000004000ULL;  // version 4
    low = (low & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL;    // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                  static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                  static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
    return text;
}

}  // namespace qm
