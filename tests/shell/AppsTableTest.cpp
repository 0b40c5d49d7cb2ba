#include <gtest/gtest.h>

#include <algorithm>

#include "shell/AppsTable.h"

namespace qm {
namespace {

ProcessSample proc(int32_t pid, std::string name, double cpu, uint64_t memory, bool approximate = false) {
    ProcessSample s;
    s.pid = pid;
    s.name = std::move(name);
    s.cpu = cpu;
    s.memory = memory;
    s.approximate = approximate;
    return s;
}

AppGroup group(std::string id, std::string name, ProcessKind kind, std::vector<ProcessSample> members,
               std::optional<double> power = std::nullopt) {
    AppGroup g;
    g.id = std::move(id);
    g.name = std::move(name);
    g.kind = kind;
    for (const auto& p : members) {
        g.cpu += p.cpu;
        g.memory += p.memory;
        g.diskReadRate += p.diskReadRate;
    }
    g.processes = std::move(members);
    g.power = power;
    return g;
}

std::vector<AppGroup> sampleGroups() {
    return {
        group("app:/Applications/Mail.app", "Mail", ProcessKind::app,
              {proc(10, "Mail", 2, 300), proc(11, "com.apple.MailServiceAgent", 8, 100)}, 0.5),
        group("proc:mailsync", "mailsync", ProcessKind::background, {proc(20, "mailsync", 1, 50)}),
        group("app:/Applications/Slack.app", "Slack", ProcessKind::app, {proc(30, "Slack Helper (Renderer)", 30, 900)},
              2.0),
        group("proc:WindowServer", "WindowServer", ProcessKind::system, {proc(40, "WindowServer", 12, 500, true)}),
        group("proc:mds_stores", "mds_stores", ProcessKind::system, {proc(50, "mds_stores", 0, 40)}),
    };
}

std::vector<std::string> ids(const std::vector<ProcRow>& rows) {
    std::vector<std::string> out;
    for (const auto& r : rows) out.push_back(r.id);
    return out;
}

TEST(AppsTable, DefaultIsEveryGroupBusiestFirstWithChildrenForMultiProcessGroups) {
    AppsTable table;
    auto rows = table.rows(sampleGroups());
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(rows[0].id, "app:/Applications/Slack.app");
    EXPECT_EQ(rows[1].id, "proc:WindowServer");
    EXPECT_TRUE(rows[1].approximate);
    EXPECT_FALSE(rows[0].children) << "a single-process group does not expand";

    const ProcRow& mail = rows[2];
    EXPECT_EQ(mail.id, "app:/Applications/Mail.app");
    EXPECT_EQ(mail.count, 2);
    EXPECT_DOUBLE_EQ(mail.power, 0.5);
    ASSERT_TRUE(mail.children);
    ASSERT_EQ(mail.children->size(), 2u);
    EXPECT_EQ((*mail.children)[0].id, "pid:11") << "children sorted like the table";
    EXPECT_EQ((*mail.children)[0].groupID, "app:/Applications/Mail.app");
    EXPECT_EQ((*mail.children)[0].pid, 11);
    EXPECT_EQ((*mail.children)[1].id, "pid:10");

    table.sortOrder = {{AppsTable::Column::memory, true}};
    auto byMemory = table.rows(sampleGroups());
    EXPECT_EQ(ids(byMemory).front(), "proc:mds_stores");
    EXPECT_EQ(ids(byMemory).back(), "app:/Applications/Slack.app");
    EXPECT_EQ((*byMemory[2].children)[0].id, "pid:11");

    table.sortOrder = {{AppsTable::Column::power, false}, {AppsTable::Column::cpu, true}};
    auto byPower = table.rows(sampleGroups());
    EXPECT_EQ(ids(byPower), (std::vector<std::string>{"app:/Applications/Slack.app", "app:/Applications/Mail.app",
                                                      "proc:mds_stores", "proc:mailsync", "proc:WindowServer"}));
}

TEST(AppsTable, QueryMatchesGroupOrMemberNamesAndCombinesWithKind) {
    AppsTable table;
    table.query = "MAIL";
    EXPECT_EQ(ids(table.rows(sampleGroups())),
              (std::vector<std::string>{"app:/Applications/Mail.app", "proc:mailsync"}));
    table.query = "renderer";
    EXPECT_EQ(ids(table.rows(sampleGroups())), (std::vector<std::string>{"app:/Applications/Slack.app"}));

    table.filter = AppsTable::Filter::system;
    table.query = "mail";
    EXPECT_TRUE(table.rows(sampleGroups()).empty());
    table.query = "";
    EXPECT_EQ(table.rows(sampleGroups()).size(), 2u);
    table.filter = AppsTable::Filter::background;
    EXPECT_EQ(ids(table.rows(sampleGroups())), (std::vector<std::string>{"proc:mailsync"}));

    EXPECT_EQ(label(AppsTable::Filter::system), systemLabel());
    EXPECT_EQ(appsFilterFromRaw("apps"), AppsTable::Filter::apps);
    EXPECT_EQ(appsFilterFromRaw("Apps"), std::nullopt);
    EXPECT_EQ(appsColumnFromRaw("disk"), AppsTable::Column::disk);
    EXPECT_EQ(appsText::countLine(412, 57),
              "412 processes grouped into 57 rows. Helpers live under the app that owns them.");
    EXPECT_EQ(appsText::countLine(21, 1),
              "21 processes grouped into 1 row. Helpers live under the app that owns them.");
    EXPECT_EQ(appsText::countLine(1, 1), "1 process grouped into 1 row. Helpers live under the app that owns them.");
}

TEST(AppsTable, FilterFindsPIDsAndCommandLinesReadingThemOnlyWhenNeeded) {
    AppsTable table;
    std::vector<int32_t> read;
    table.commandLine = [&](int32_t pid) {
        read.push_back(pid);
        return pid == 20 ? std::string("/usr/bin/MailSync --account Work") : std::string();
    };
    table.query = "3";  // the start of a PID, not any digit in it
    EXPECT_EQ(ids(table.rows(sampleGroups())), (std::vector<std::string>{"app:/Applications/Slack.app"}));
    table.query = "account work";
    EXPECT_EQ(ids(table.rows(sampleGroups())), (std::vector<std::string>{"proc:mailsync"}));
    read.clear();
    table.query = "slack";
    table.rows(sampleGroups());
    EXPECT_EQ(std::count(read.begin(), read.end(), 30), 0) << "a name that matches needs no command line";
}

TEST(AppsTable, RowsKeepTheirPlacesOnScreenAndNewOnesFollowSorted) {
    AppsTable table;
    const auto shown = table.rows(sampleGroups());  // Slack, WindowServer, Mail, mailsync, mds_stores
    auto groups = sampleGroups();
    groups[4].processes[0].cpu = 99;  // mds_stores would jump to the top
    groups[4].cpu = 99;
    groups[0].processes[0].cpu = 50;   // Mail's own process would pass its helper
    groups.erase(groups.begin() + 1);  // mailsync ended
    groups.push_back(group("proc:new", "new", ProcessKind::background, {proc(60, "new", 70, 10)}));
    groups.push_back(group("proc:newer", "newer", ProcessKind::background, {proc(61, "newer", 80, 10)}));

    const auto held = inShownOrder(table.rows(groups), shown);
    EXPECT_EQ(ids(held),
              (std::vector<std::string>{"app:/Applications/Slack.app", "proc:WindowServer",
                                        "app:/Applications/Mail.app", "proc:mds_stores", "proc:newer", "proc:new"}));
    EXPECT_EQ(held[3].cpu, 99) << "the figures are fresh";
    EXPECT_EQ(ids(*held[2].children), (std::vector<std::string>{"pid:11", "pid:10"}));
}

}  // namespace
}  // namespace qm
