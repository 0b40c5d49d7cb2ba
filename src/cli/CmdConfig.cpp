// quillmere config get KEY | set KEY VALUE | unset KEY | list: the user's settings,
// the same ones the monitor reads (a change takes effect without a restart).
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "cli/Output.h"
#include "core/Defaults.h"
#include "core/DefaultsRanges.h"
#include "core/FileDefaults.h"
#include "core/FileRead.h"
#include "fmt/PlatformWording.h"
#include "history/AlertCenter.h"
#include "shell/Appearance.h"
#include "shell/MenuBarStyle.h"

namespace qm::cli::config_command {
namespace {

enum class SettingType { boolean, number, text };

struct KnownSetting {
    const char* key;
    SettingType type;
    std::optional<SettingValue> fallback;  // what an unset key means; none when it depends
    const char* meaning;
    bool macOnly = false;  // read only by the Mac app: hidden elsewhere
};

// Every key the program reads, with the value an unset key stands for.
const std::vector<KnownSetting>& knownSettings() {
    static const std::vector<KnownSetting> settings{
        {"refresh.interval", SettingType::number, 2.0, "seconds between samples while a window is open (at least 1)"},
        {"alert.highCPU.threshold", SettingType::number, 90.0, "CPU level, percent of one core, that counts as high"},
        {"alert.highCPU.minutes", SettingType::number, 3.0, "minutes the CPU level must last before it is an event"},
        {"alert.highCPU", SettingType::boolean, true, "notify when an app runs away with the CPU"},
        {"alert.memoryLeak", SettingType::boolean, true, "notify when an app's memory keeps growing"},
        {"alert.thermal", SettingType::boolean, true, "notify when the machine gets hot and throttles"},
        {"alert.pressure", SettingType::boolean, true, "notify when memory pressure becomes high"},
        {"menuBar.enabled", SettingType::boolean, true, "show Quillmere's status item (in the system tray)"},
        {"menuBar.style", SettingType::text, std::string("cpu"), "icon, cpu, cpuMemory, temperature or power"},
        {"onboarded", SettingType::boolean, false, "onboarding has been completed"},
        {"dock.visible", SettingType::boolean, true, "show the Dock icon", true},
        {"window.atLaunch", SettingType::boolean, true, "open the main window at start"},
        {"quit.keepRunningInMenuBar", SettingType::boolean, std::nullopt,
         "quitting hides to the status item (unset: when the status item is on and onboarding is done)"},
        {"quit.backgroundHintShown", SettingType::boolean, false, "the background-running hint was shown"},
        {"migration.menuBar.v2", SettingType::boolean, false, "the one-time menu-bar migration has run", true},
        {"appearance", SettingType::text, std::string("system"),
         "the desktop app's colours: system (the desktop's), light or dark"},
        {"apps.columns", SettingType::text, std::string("kind,cpuHistory,memoryHistory"),
         "the apps table's optional columns, separated by commas: pid, user, kind, cpuHistory, memoryHistory"},
        {"whatsNew.lastSeenVersion", SettingType::text, std::nullopt, "version whose release notes were last settled"},
        {"top.interval", SettingType::number, std::nullopt,
         "seconds between samples in quillmere top, as last set with + and - (unset: refresh.interval)"},
        {"top.sort", SettingType::text, std::string("cpu"),
         "quillmere top's sort column: pid, name, cpu, memory, power or disk"},
        {"top.ascending", SettingType::boolean, false, "quillmere top sorts smallest first"},
        {"top.processes", SettingType::boolean, false, "quillmere top lists every process instead of apps"},
        {"top.tree", SettingType::boolean, false, "quillmere top shows the parent/child process tree"},
        {"top.mouse", SettingType::boolean, true, "quillmere top answers the mouse"},
        {"top.monochrome", SettingType::boolean, false, "quillmere top paints without colour"},
        {"metrics.listen", SettingType::text, std::nullopt,
         "address the recorder serves Prometheus metrics on, like 127.0.0.1:19466 (unset: off)"},
        {"metrics.apps", SettingType::number, 20.0,
         "apps with series of their own in the metrics; the rest are \"other\""},
        {"metrics.webConfig", SettingType::text, std::nullopt,
         "web configuration file for the metrics: TLS certificate and key, users with bcrypt hashes"},
    };
    return settings;
}

bool usedHere(const KnownSetting& setting) {
#ifdef __APPLE__
    (void)setting;
    return true;
#else
    return !setting.macOnly;
#endif
}

const KnownSetting* findSetting(const std::string& key) {
    for (const auto& setting : knownSettings())
        if (key == setting.key && usedHere(setting)) return &setting;
    return nullptr;
}

bool knownAnywhere(const std::string& key) {
    for (const auto& setting : knownSettings())
        if (key == setting.key) return true;
    return false;
}

const char* typeName(SettingType type) {
    switch (type) {
        case SettingType::boolean: return "bool";
        case SettingType::number: return "number";
        case SettingType::text: return "string";
    }
    return "";
}

std::string show(const SettingValue& value) {
    if (auto* b = std::get_if<bool>(&value)) return *b ? "true" : "false";
    if (auto* i = std::get_if<int64_t>(&value)) return std::to_string(*i);
    if (auto* d = std::get_if<double>(&value)) {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%g", *d);
        return buffer;
    }
    return std::get<std::string>(value);
}

// The typed value for text typed on the command line, or absent when it does not fit.
std::optional<SettingValue> parseValue(const KnownSetting& setting, const std::string& text) {
    switch (setting.type) {
        case SettingType::boolean:
            if (text == "true" || text == "yes" || text == "on" || text == "1") return true;
            if (text == "false" || text == "no" || text == "off" || text == "0") return false;
            return std::nullopt;
        case SettingType::number: {
            auto number = parseDouble(text);
            if (!number || *number < 0) return std::nullopt;  // parseDouble gives finite numbers only
            if (auto range = settingRange(setting.key); range && (*number < range->lowest || *number > range->highest))
                return std::nullopt;
            return *number;
        }
        case SettingType::text:
            if (std::string(setting.key) == "menuBar.style" && !menuBarStyleFromRaw(text)) return std::nullopt;
            if (std::string(setting.key) == appearanceKey && !appearanceFromRaw(text)) return std::nullopt;
            return text;
    }
    return std::nullopt;
}

const KnownSetting& requireKnown(const std::string& key) {
    const KnownSetting* setting = findSetting(key);
    if (setting == nullptr) {
        std::fprintf(stderr, "quillmere config: unknown key \"%s\" (see quillmere config list)\n", key.c_str());
        exitWith(2);
    }
    return *setting;
}

struct ConfigOptions {
    std::string key;
    std::string value;
    bool json = false;
};

nlohmann::json valueJson(const std::optional<SettingValue>& value) {
    if (!value) return nullptr;
    return std::visit([](const auto& v) { return nlohmann::json(v); }, *value);
}

void runGet(const ConfigOptions& options) {
    const KnownSetting& setting = requireKnown(options.key);
    auto value = Defaults::shared().value(setting.key);
    const bool isDefault = !value;
    if (!value) value = setting.fallback;
    if (options.json) {
        printJson({{"key", setting.key}, {"value", valueJson(value)}, {"isDefault", isDefault}});
        return;
    }
    print((value ? show(*value) : std::string("(unset)")) + "\n");
}

// A change that could not be written (the line saying why is out already) is a failure.
void exitIfNotSaved() {
    if (auto* file = dynamic_cast<FileDefaults*>(&Defaults::shared()); file && file->saveFailed()) exitWith(1);
}

// The value as stored, and what is in force when that differs: a number edited into
// the file beyond its range is read as the range's end.
std::string storedAndInForce(const KnownSetting& setting, const SettingValue& stored) {
    std::string text = show(stored);
    const auto range = settingRange(setting.key);
    const double* number = std::get_if<double>(&stored);
    const auto* whole = std::get_if<int64_t>(&stored);
    if (range && (number || whole)) {
        const double value = number ? *number : static_cast<double>(*whole);
        if (const double used = clampToRange(setting.key, value); used != value)
            text += " (" + show(SettingValue(used)) + " in force: stored value is outside " + describe(*range) + ")";
    }
    if (std::string(setting.key) == "menuBar.style")
        if (const auto* style = std::get_if<std::string>(&stored); style && !menuBarStyleFromRaw(*style))
            text += " (not a style: the default is in force)";
    return text;
}

void runSet(const ConfigOptions& options) {
    const KnownSetting& setting = requireKnown(options.key);
    auto value = parseValue(setting, options.value);
    if (!value) {
        const auto range = settingRange(setting.key);
        std::string expected = setting.type == SettingType::boolean  ? "true or false"
                               : range                               ? "a number from " + describe(*range)
                               : setting.type == SettingType::number ? "a number of 0 or more"
                                                                     : setting.meaning;
        std::fprintf(stderr, "quillmere config: %s takes %s, not \"%s\"\n", setting.key, expected.c_str(),
                     options.value.c_str());
        exitWith(2);
    }
    Defaults::shared().set(setting.key, *value);
    exitIfNotSaved();
}

void runUnset(const ConfigOptions& options) {
    const KnownSetting& setting = requireKnown(options.key);
    Defaults::shared().remove(setting.key);
    exitIfNotSaved();
}

void runList(bool json) {
    Defaults& defaults = Defaults::shared();
    auto stored = defaults.all();
    auto* file = dynamic_cast<FileDefaults*>(&defaults);
    if (json) {
        nlohmann::json settings = nlohmann::json::array();
        for (const auto& setting : knownSettings()) {
            if (!usedHere(setting)) continue;
            auto it = stored.find(setting.key);
            const bool isSet = it != stored.end();
            settings.push_back({{"key", setting.key},
                                {"type", typeName(setting.type)},
                                {"value", valueJson(isSet ? std::optional(it->second) : setting.fallback)},
                                {"isDefault", !isSet},
                                {"meaning", setting.meaning}});
        }
        nlohmann::json unused = nlohmann::json::object();
        for (const auto& [key, value] : stored)
            if (!knownAnywhere(key)) unused[key] = valueJson(value);
        printJson({{"settings", settings},
                   {"unused", unused},
                   {"settingsFile", file ? nlohmann::json(file->path()) : nlohmann::json(nullptr)}});
        return;
    }
    size_t width = 0;
    for (const auto& setting : knownSettings())
        if (usedHere(setting)) width = std::max(width, std::string(setting.key).size());
    for (const auto& setting : knownSettings()) {
        if (!usedHere(setting)) continue;
        std::string key = setting.key;
        auto it = stored.find(key);
        std::string value = it != stored.end() ? storedAndInForce(setting, it->second)
                            : setting.fallback ? show(*setting.fallback) + " (default)"
                                               : std::string("(unset)");
        std::string type = typeName(setting.type);
        std::string line =
            key + std::string(width + 2 - key.size(), ' ') + type + std::string(8 - type.size(), ' ') + value;
        // The notification switches show their label from the alert settings.
        if (const AlertSwitch* alert = findAlertSwitch(key))
            line += std::string(value.size() < 16 ? 16 - value.size() : 2, ' ') + forThisPlatform(alert->label);
        print(line + "\n");
    }
    for (const auto& [key, value] : stored)
        if (!knownAnywhere(key)) print(key + "  " + show(value) + " (not used by Quillmere)\n");
    if (file) print("\nSettings file: " + file->path() + "\n");
}

RegisterCommand registration{"config",
                             [](CLI::App& app) {
    auto options = std::make_shared<ConfigOptions>();
    auto* config = app.add_subcommand("config", "Read and change settings (also read by a running monitor)");
    config->require_subcommand(1);

    auto* get = config->add_subcommand("get", "Print a setting's value (its default when unset)");
    get->add_option("key", options->key, "setting key, e.g. alert.highCPU.threshold")->required();
    get->add_flag("--json", options->json, "print the key and its value as one JSON object");
    get->callback([options] { runGet(*options); });

    auto* set = config->add_subcommand("set", "Change a setting");
    set->add_option("key", options->key, "setting key")->required();
    set->add_option("value", options->value, "true/false, a number, or text")->required();
    set->callback([options] { runSet(*options); });

    auto* unset = config->add_subcommand("unset", "Return a setting to its default");
    unset->add_option("key", options->key, "setting key")->required();
    unset->callback([options] { runUnset(*options); });

    auto* list = config->add_subcommand("list", "List every setting with its value");
    list->add_flag("--json", options->json, "print the settings as one JSON object");
    list->callback([options] { runList(options->json); });
                             }};

}  // namespace
}  // namespace qm::cli::config_command
