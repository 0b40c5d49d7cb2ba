#include <gtest/gtest.h>

#include <map>

#include "processes/BundleKeys.h"

namespace qm {
namespace {

class FakeBundles : public BundleSource {
public:
    std::map<int32_t, int32_t> responsible;
    std::map<std::string, BundleInfo> bundles;
    std::map<std::string, std::string> registered;  // bundle id -> app path
    int infoCalls = 0, workspaceCalls = 0;

    std::optional<int32_t> responsiblePID(int32_t pid) override {
        auto it = responsible.find(pid);
        return it == responsible.end() ? std::nullopt : std::optional(it->second);
    }
    BundleInfo bundleInfo(const std::string& path) override {
        ++infoCalls;
        auto it = bundles.find(path);
        return it == bundles.end() ? BundleInfo{} : it->second;
    }
    std::optional<std::string> applicationForBundleID(const std::string& id) override {
        ++workspaceCalls;
        auto it = registered.find(id);
        return it == registered.end() ? std::nullopt : std::optional(it->second);
    }
};

ProcessSample proc(int32_t pid, std::string path, double cpu = 0, uint64_t memory = 0,
                   std::optional<double> power = std::nullopt) {
    ProcessSample s;
    s.pid = pid;
    s.path = std::move(path);
    auto slash = s.path.rfind('/');
    s.name = slash == std::string::npos ? s.path : s.path.substr(slash + 1);
    s.cpu = cpu;
    s.memory = memory;
    s.power = power;
    return s;
}

const AppGroup& find(const std::vector<AppGroup>& groups, const std::string& id) {
    for (const auto& g : groups)
        if (g.id == id) return g;
    throw std::runtime_error("no group " + id);
}

TEST(BundleKeys, OutermostAppAndKinds) {
    EXPECT_EQ(outermostAppPath("/Applications/Xcode.app/Contents/Developer/Applications/Simulator.app/"
                               "Contents/MacOS/Simulator"),
              "/Applications/Xcode.app");
    EXPECT_EQ(outermostAppPath("/Applications/Mail.app"), "/Applications/Mail.app");
    EXPECT_EQ(outermostAppPath("//Applications//Mail.app/"), "/Applications//Mail.app");
    EXPECT_EQ(outermostAppPath("/usr/bin/apple"), std::nullopt);
    EXPECT_EQ(outermostAppPath(""), std::nullopt);

    EXPECT_EQ(kindForPath("", "x"), ProcessKind::system);
    EXPECT_EQ(kindForPath("/anything", "kernel_task"), ProcessKind::system);
    EXPECT_EQ(kindForPath("/usr/libexec/trustd", "trustd"), ProcessKind::system);
    EXPECT_EQ(kindForPath("/opt/homebrew/bin/node", "node"), ProcessKind::background);
    EXPECT_EQ(kindForPath("/System/Applications/Chess", "Chess"), ProcessKind::app);
    EXPECT_EQ(kindForPath("/Library/Developer/CommandLineTools/usr/lib/x", "x"), ProcessKind::system);
    EXPECT_EQ(kindForPath("/Library/Developer/Other/x", "x"), ProcessKind::background);
}

TEST(BundleKeys, AppsHelpersAndSystemLocations) {
    auto bundles = std::make_unique<FakeBundles>();
    FakeBundles& fake = *bundles;
    fake.bundles["/Applications/Mail.app"] = {"Mail", "com.apple.mail"};
    fake.bundles["/Applications/Slack.app"] = {std::nullopt, "com.tinyspeck.slackmacgap"};
    fake.responsible[40] = 10;   // an XPC service Slack is responsible for
    fake.responsible[41] = 999;  // responsible process not among this tick's samples
    AppGrouper grouper(std::make_unique<BundleKeyResolver>(std::move(bundles)));

    std::vector<ProcessSample> samples{
        proc(10, "/Applications/Slack.app/Contents/MacOS/Slack", 10, 100, 1.5),
        proc(11, "/Applications/Slack.app/Contents/Frameworks/Slack Helper.app/Contents/MacOS/Slack Helper", 5, 50),
        proc(20, "/Applications/Mail.app/Contents/MacOS/Mail"),
        proc(30, "/System/Library/CoreServices/Finder.app/Contents/MacOS/Finder"),
        proc(31, "/System/Applications/Calculator.app/Contents/MacOS/Calculator"),
        proc(32, "/Library/Apple/System/Library/Foo.app/Contents/MacOS/Foo"),
        proc(33, "/Library/Frameworks/Kit.framework/Versions/A/Helpers/Render.app/Contents/MacOS/R"),
        proc(40, "/usr/libexec/xpcservice"),
        proc(41, "/usr/libexec/orphan"),
        proc(50, "/opt/homebrew/bin/node", 1, 1, std::nullopt),
        proc(51, "/opt/homebrew/bin/node", 2, 2, std::nullopt),
    };
    auto groups = grouper.group(samples, [](int32_t) { return uint64_t{7}; });

    const auto& slack = find(groups, "app:/Applications/Slack.app");
    EXPECT_EQ(slack.name, "Slack") << "no bundle name: the file name without extension";
    EXPECT_EQ(slack.kind, ProcessKind::app);
    EXPECT_EQ(slack.bundleID, "com.tinyspeck.slackmacgap");
    EXPECT_EQ(slack.processes.size(), 3u) << "main, nested helper app and the XPC service";
    EXPECT_DOUBLE_EQ(slack.cpu, 15);
    EXPECT_EQ(slack.memory, 150u);
    EXPECT_EQ(slack.power, 1.5) << "members without power add nothing";

    EXPECT_EQ(find(groups, "app:/Applications/Mail.app").name, "Mail");
    EXPECT_EQ(find(groups, "proc:Finder").kind, ProcessKind::system);
    const auto& calculator = find(groups, "app:/System/Applications/Calculator.app");
    EXPECT_EQ(calculator.kind, ProcessKind::app);
    EXPECT_EQ(find(groups, "proc:Foo").kind, ProcessKind::system);
    EXPECT_EQ(find(groups, "proc:R").kind, ProcessKind::background) << "inside a framework: not an app";
    EXPECT_EQ(find(groups, "proc:orphan").kind, ProcessKind::system);
    const auto& node = find(groups, "proc:node");
    EXPECT_EQ(node.processes.size(), 2u);
    EXPECT_FALSE(node.power.has_value());
    EXPECT_DOUBLE_EQ(node.cpu, 3);

    // Keys and bundle names are computed once per process lifetime and bundle.
    int infoCalls = fake.infoCalls;
    grouper.group(samples, [](int32_t) { return uint64_t{7}; });
    EXPECT_EQ(fake.infoCalls, infoCalls);

    // A pid reused by another program is regrouped on its first tick.
    samples[2] = proc(20, "/opt/homebrew/bin/mailsync");
    auto regrouped = grouper.group(samples, [](int32_t pid) { return uint64_t{pid == 20 ? 8u : 7u}; });
    EXPECT_EQ(find(regrouped, "proc:mailsync").processes.size(), 1u);
}

TEST(BundleKeys, ClonedBundlesFollowTheirRealApplication) {
    auto bundles = std::make_unique<FakeBundles>();
    FakeBundles& fake = *bundles;
    const std::string clone = "/private/var/folders/x/T/AppTranslocation/ABC/d/Safari.app.bundle";
    fake.bundles[clone] = {"Safari", "com.apple.Safari"};
    fake.bundles["/Applications/Safari.app"] = {"Safari", "com.apple.Safari"};
    fake.registered["com.apple.Safari"] = "/Applications/Safari.app/";
    const std::string unknownClone = "/tmp/Mystery.app.bundle";
    fake.bundles[unknownClone] = {"Mystery", "com.example.unknown"};
    BundleKeyResolver resolver(std::move(bundles));

    EXPECT_EQ(resolver.outermostApp(clone + "/Contents/MacOS/Safari"), "/Applications/Safari.app");
    EXPECT_EQ(resolver.outermostApp(clone + "/Contents/XPCServices/x"), "/Applications/Safari.app");
    EXPECT_EQ(fake.workspaceCalls, 1) << "clone targets are remembered";

    ProcessSample s = proc(5, unknownClone + "/Contents/MacOS/Mystery");
    auto key = resolver.computeKey(s, {}, 1);
    EXPECT_EQ(key.key, "proc:Mystery") << "an unknown clone is keyed by its name";
}

}  // namespace
}  // namespace qm
