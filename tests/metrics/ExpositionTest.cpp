// The /metrics page as Prometheus reads it: promtool accepts it, names and help texts
// are escaped whatever bytes a process chose, an unmeasured figure has no series, the
// apps shown and "other" add up to every app, and the scraper gets the format it asks for.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <string>

#include "metrics/Exposition.h"
#include "metrics/MetricsFrame.h"

namespace qm::metrics {
namespace {

AppGroup group(std::string id, std::string name, double cpu, uint64_t memory) {
    AppGroup g;
    g.id = std::move(id);
    g.name = std::move(name);
    g.kind = ProcessKind::app;
    g.cpu = cpu;
    g.memory = memory;
    g.processes.resize(1);
    return g;
}

Snapshot machine() {
    Snapshot s;
    s.date = 1'700'000'000;
    s.interval = 5;
    s.cpu.total = 37.5;
    s.cpu.user = 30;
    s.cpu.system = 7.5;
    s.cpu.perCore = {50, 25};
    s.cpu.coreTypes = {CPUStats::CoreType::performance, CPUStats::CoreType::efficiency};
    s.cpu.load = {1.5, 1.0, 0.5};
    s.memory = {16ull << 30, 6ull << 30, 2ull << 30, 0,  4ull << 30,
                4ull << 30,  1ull << 30, 8ull << 30, 42, PressureLevel::warning};
    s.disk = {1000, 2000, 500ull << 30, 100ull << 30};
    s.thermal.socTemp = 55;
    s.thermal.sensors = {{"Package id 0", 56, SensorReading::Group::cpu},
                         {"Core 0", 50, SensorReading::Group::cpu},
                         {"Core 0", 52, SensorReading::Group::cpu}};
    s.thermal.fans = {{0, 1200, 600, std::nullopt}};
    s.processCount = 321;
    s.uptime = 3600;
    s.selfCost = {0.4, 30ull << 20, 4096};
    // A name with a quote, a backslash, a line break and bytes that are not UTF-8.
    s.groups = {group("app:/usr/share/applications/firefox.desktop", "Firefox", 120, 2ull << 30),
                group("proc:evil\"\\\n\xff", "evil\"\\\n\xff", 3, 1 << 20)};
    return s;
}

// promtool's verdict on a page, or none when promtool is not installed.
std::optional<std::pair<int, std::string>> promtoolCheck(const std::string& page) {
    if (std::system("command -v promtool >/dev/null 2>&1") != 0) return std::nullopt;
    const auto file = std::filesystem::temp_directory_path() / ("qm-metrics-" + std::to_string(::getpid()));
    std::ofstream(file) << page;
    const std::string command = "promtool check metrics < " + file.string() + " 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string output;
    char buffer[512];
    while (size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
    const int status = ::pclose(pipe);
    std::filesystem::remove(file);
    return std::make_pair(WIFEXITED(status) ? WEXITSTATUS(status) : -1, output);
}

TEST(ExpositionTest, PromtoolAcceptsThePageAndUnmeasuredFiguresHaveNoSeries) {
    FrameBuilder builder("1.2.3");
    TimelineEvent event;
    event.kind = EventKind::highCPU;
    event.severity = 2;
    builder.count({event, event});
    const std::string before = renderExposition(*builder.current(), ExpositionFormat::prometheusText);
    // Before the first sample: the counters and the version, and no figure at all.
    EXPECT_EQ(before.find("quillmere_cpu"), std::string::npos) << before;
    EXPECT_NE(before.find("quillmere_events_total{kind=\"highCPU\",severity=\"serious\"} 2\n"), std::string::npos);
    EXPECT_NE(before.find("quillmere_events_total{kind=\"swap\",severity=\"warning\"} 0\n"), std::string::npos);
    EXPECT_NE(before.find("quillmere_build_info{version=\"1.2.3\"} 1\n"), std::string::npos);

    const std::string page = renderExposition(*builder.add(machine()), ExpositionFormat::prometheusText);
    EXPECT_NE(page.find("quillmere_cpu_usage_ratio 0.375\n"), std::string::npos) << page;
    EXPECT_NE(page.find("quillmere_cpu_core_usage_ratio{core=\"1\",type=\"efficiency\"} 0.25\n"), std::string::npos);
    EXPECT_NE(page.find("quillmere_memory_pressure_level{level=\"warning\"} 1\n"), std::string::npos);
    EXPECT_NE(page.find("quillmere_app_cpu_usage_ratio{app=\"app:/usr/share/applications/firefox.desktop\","
                        "name=\"Firefox\",kind=\"app\"} 1.2\n"),
              std::string::npos);
    EXPECT_NE(page.find("{app=\"proc:evil\\\"\\\\\\n\xEF\xBF\xBD\",name=\"evil\\\"\\\\\\n\xEF\xBF\xBD\",kind=\"app\"}"),
              std::string::npos)
        << page;
    EXPECT_NE(page.find("{group=\"CPU\",sensor=\"Core 0 #2\"} 52\n"), std::string::npos);
    EXPECT_NE(page.find("quillmere_disk_written_bytes_total 10000\n"), std::string::npos);  // 2000 B/s over 5 s
    // Never measured here: no GPU, no system power, no battery, no fan maximum, no app power.
    for (const char* absent : {"quillmere_gpu", "quillmere_system_power", "quillmere_battery", "quillmere_on_battery",
                               "quillmere_fan_max_rpm", "quillmere_app_power_watts", "quillmere_gpu_temperature"})
        EXPECT_EQ(page.find(absent), std::string::npos) << absent;

    auto verdict = promtoolCheck(page);
    if (!verdict) GTEST_SKIP() << "promtool is not installed (Debian's prometheus package): the page was not linted";
    EXPECT_EQ(verdict->first, 0) << verdict->second << page;
    EXPECT_EQ(verdict->second, "") << "promtool's lint:\n" << verdict->second;
}

TEST(ExpositionTest, OpenMetricsDeclaresFamiliesUnitsAndEnds) {
    FrameBuilder builder("1.2.3");
    const std::string page = renderExposition(*builder.add(machine()), ExpositionFormat::openMetrics);
    EXPECT_NE(page.find("# TYPE quillmere_events counter\n"), std::string::npos) << page;
    EXPECT_NE(page.find("\nquillmere_events_total{kind=\"highCPU\",severity=\"information\"} 0\n"), std::string::npos);
    EXPECT_NE(page.find("# TYPE quillmere_build info\n"), std::string::npos);
    EXPECT_NE(page.find("# TYPE quillmere_memory_total_bytes gauge\n# UNIT quillmere_memory_total_bytes bytes\n"),
              std::string::npos);
    EXPECT_NE(page.find("# TYPE quillmere_network_receive_bytes counter\n# UNIT quillmere_network_receive_bytes "
                        "bytes\nquillmere_network_receive_bytes_total 0\n"),
              std::string::npos);
    EXPECT_TRUE(page.ends_with("\n# EOF\n"));

    // Prometheus 2's own Accept header, and what other scrapers send.
    EXPECT_EQ(negotiateFormat("application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;"
                              "q=0.75,text/plain;version=0.0.4;q=0.5,*/*;q=0.1"),
              ExpositionFormat::openMetrics);
    EXPECT_EQ(negotiateFormat("text/plain;version=0.0.4;q=1,application/openmetrics-text;q=0.5"),
              ExpositionFormat::prometheusText);
    EXPECT_EQ(negotiateFormat("application/openmetrics-text;q=0"), ExpositionFormat::prometheusText);
    EXPECT_EQ(negotiateFormat("Application/OpenMetrics-Text"), ExpositionFormat::openMetrics);
    EXPECT_EQ(negotiateFormat(""), ExpositionFormat::prometheusText);
    EXPECT_EQ(negotiateFormat("*/*"), ExpositionFormat::prometheusText);
    EXPECT_EQ(negotiateFormat(";;,,q=x,application/openmetrics-text;q=nan"), ExpositionFormat::prometheusText);
}

TEST(ExpositionTest, ShownAppsAndOtherAddUpToEveryApp) {
    std::vector<AppGroup> groups;
    for (int i = 0; i < 300; ++i) groups.push_back(group("proc:p" + std::to_string(i), "p", i % 37, 1000u * i));
    groups[5].memory = 9ull << 30;  // idle, but holds the most memory
    groups[7].power = 2.5;
    const auto sum = [](const auto& list, auto field) {
        return std::accumulate(list.begin(), list.end(), 0.0, [&](double a, const auto& x) { return a + field(x); });
    };

    auto apps = chooseApps(groups, 20);
    ASSERT_EQ(apps.size(), 21u);
    EXPECT_EQ(apps.back().key, otherAppsKey);
    EXPECT_FALSE(apps.back().kind);
    EXPECT_EQ(apps[0].cpu, 36);          // busiest first
    EXPECT_EQ(apps[15].key, "proc:p5");  // after 15 by CPU, the memory holders
    EXPECT_DOUBLE_EQ(sum(apps, [](const AppFigures& a) { return a.cpu; }),
                     sum(groups, [](const AppGroup& g) { return g.cpu; }));
    EXPECT_DOUBLE_EQ(sum(apps, [](const AppFigures& a) { return double(a.memory); }),
                     sum(groups, [](const AppGroup& g) { return double(g.memory); }));
    EXPECT_EQ(apps.back().power, 2.5);  // p7 (7 % of a core) is left out: its power goes to "other"

    auto onlyOther = chooseApps(groups, 0);
    ASSERT_EQ(onlyOther.size(), 1u);
    EXPECT_DOUBLE_EQ(onlyOther[0].cpu, sum(groups, [](const AppGroup& g) { return g.cpu; }));
    auto all = chooseApps({groups[1], groups[2]}, 20);
    ASSERT_EQ(all.size(), 3u);  // both, then "other" at a measured 0 and no power
    EXPECT_EQ(all[2].cpu, 0);
    EXPECT_FALSE(all[2].power);
}

}  // namespace
}  // namespace qm::metrics
