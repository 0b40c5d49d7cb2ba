#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPixmap>
#include <QTreeView>

#include "AppTestContext.h"
#include "SectionTestData.h"
#include "app/sections/AppsPage.h"
#include "app/sections/AppsTreeModel.h"
#include "app/sections/ExplainPanel.h"
#include "fmt/Fmt.h"

namespace qm::app {
namespace {

using test::group;
using test::process;

constexpr uint64_t MB = 1u << 20;

Snapshot snapshot(std::vector<AppGroup> groups) {
    Snapshot s;
    s.date = 1000;
    s.groups = std::move(groups);
    for (const auto& g : s.groups) s.processCount += static_cast<int64_t>(g.processes.size());
    return s;
}

std::vector<AppGroup> madeUp() {
    return {group("app:/usr/share/applications/thunderbird.desktop", "Mail", ProcessKind::app,
                  {process(10, "thunderbird", 2, 300 * MB), process(11, "MailHelper", 8, 100 * MB)}),
            group("proc:mailsync", "mailsync", ProcessKind::background, {process(20, "mailsync", 1, 50 * MB)}),
            group("app:/usr/share/applications/slack.desktop", "Slack", ProcessKind::app,
                  {process(30, "slack", 30, 900 * MB)}),
            group("proc:systemd-journald", "systemd-journald", ProcessKind::system,
                  {process(40, "systemd-journald", 0.5, 20 * MB, 0)})};
}

QStringList topNames(const AppsTreeModel& model) {
    QStringList names;
    for (int r = 0; r < model.rowCount(); ++r) names << model.index(r, AppsTreeModel::name).data().toString();
    return names;
}

class AppsSectionTest : public ::testing::Test {
protected:
    void SetUp() override { Fmt::setLocaleForTesting("en_US", "UTC"); }
    void TearDown() override { Fmt::setLocaleForTesting(nullptr); }
};

TEST_F(AppsSectionTest, TreeFilterQuerySortChildrenAndCountLine) {
    test::AppTestContext t;
    t.monitor->apply(snapshot(madeUp()));
    AppsPage page(t.context);
    page.refresh();
    AppsTreeModel& model = *page.model();

    EXPECT_EQ(page.filterField()->placeholderText(), "Filter apps and processes");
    EXPECT_EQ(page.countLine()->text(), "5 processes grouped into 4 rows. Helpers live under the app that owns them.");
    EXPECT_EQ(topNames(model), (QStringList{"Slack", "Mail", "mailsync", "systemd-journald"})) << "CPU, busiest first";
    // A two-process group expands into its processes, sorted like the table; one process does not.
    const QModelIndex mail = model.index(1, 0);
    ASSERT_EQ(model.rowCount(mail), 2);
    EXPECT_EQ(model.index(0, AppsTreeModel::name, mail).data().toString(), "MailHelper");
    EXPECT_EQ(model.rowCount(model.index(0, 0)), 0);
    EXPECT_EQ(model.index(0, AppsTreeModel::memory).data().toString(), "900 MB");
    EXPECT_EQ(model.index(3, AppsTreeModel::kind).data().toString(), QString::fromStdString(systemLabel()));

    // Sorting by memory, then the same column again turns the order.
    emit page.tree()->header()->sectionClicked(AppsTreeModel::memory);
    EXPECT_EQ(topNames(model), (QStringList{"Slack", "Mail", "mailsync", "systemd-journald"}));
    emit page.tree()->header()->sectionClicked(AppsTreeModel::memory);
    EXPECT_EQ(topNames(model), (QStringList{"systemd-journald", "mailsync", "Mail", "Slack"}));
    emit page.tree()->header()->sectionClicked(AppsTreeModel::cpu);

    // The query keeps a group by its own name or by any of its processes' names.
    page.filterField()->setText("MAIL");
    EXPECT_EQ(topNames(model), (QStringList{"Mail", "mailsync"}));
    EXPECT_EQ(page.countLine()->text(), "3 processes grouped into 2 rows. Helpers live under the app that owns them.");
    page.filterField()->setText("helper");
    EXPECT_EQ(topNames(model), (QStringList{"Mail"}));

    // The kind picker and the query apply together.
    QComboBox* kinds = page.kindPicker();
    ASSERT_EQ(kinds->count(), 4);
    EXPECT_EQ(kinds->itemText(3), QString::fromStdString(systemLabel()));
    kinds->setCurrentIndex(3);
    EXPECT_EQ(model.rowCount(), 0);
    page.filterField()->clear();
    EXPECT_EQ(topNames(model), (QStringList{"systemd-journald"}));
    kinds->setCurrentIndex(2);
    EXPECT_EQ(topNames(model), (QStringList{"mailsync"}));
}

TEST_F(AppsSectionTest, SelectionExpansionAndTheNoticeSurviveRefreshesAndAVanishedGroupClearsThem) {
    test::AppTestContext t;
    auto groups = madeUp();
    t.monitor->apply(snapshot(groups));
    AppsPage page(t.context);
    page.refresh();
    EXPECT_TRUE(page.notice()->isHidden());

    // Selecting a process row selects it everywhere.
    const QModelIndex helper = page.model()->indexOf("app:/usr/share/applications/thunderbird.desktop", 11);
    ASSERT_TRUE(helper.isValid());
    page.tree()->expand(helper.parent());
    page.tree()->selectionModel()->setCurrentIndex(helper,
                                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    EXPECT_EQ(t.ui.selectedGroup(), "app:/usr/share/applications/thunderbird.desktop");
    EXPECT_EQ(t.ui.selectedPid(), 11);
    EXPECT_EQ(page.panel()->titleText(), "MailHelper");

    // Mail becomes the busiest; a root process appears without the helper's figures.
    groups[0].processes[1].cpu = 80;
    groups[0].cpu = 82;
    groups[3].processes[0].isRestricted = true;
    t.monitor->apply(snapshot(groups));
    page.refresh();
    const QModelIndex current = page.tree()->currentIndex();
    ASSERT_TRUE(current.isValid());
    EXPECT_EQ(current.data(AppsTreeModel::pidRole).toInt(), 11);
    EXPECT_EQ(current.parent().row(), 0) << "the row moved to the top and the selection moved with it";
    EXPECT_TRUE(page.tree()->isExpanded(current.parent()));
    EXPECT_FALSE(page.notice()->isHidden());
    EXPECT_EQ(t.ui.selectedPid(), 11);

    // Revealing a group from elsewhere selects its row, even when the filter hid it.
    page.filterField()->setText("slack");
    t.ui.reveal("proc:mailsync");
    EXPECT_EQ(page.filterField()->text(), "");
    EXPECT_EQ(page.tree()->currentIndex().data(AppsTreeModel::groupIDRole).toString(), "proc:mailsync");

    // The group quits: the selection and the panel clear.
    groups.erase(groups.begin() + 1);
    t.monitor->apply(snapshot(groups));
    page.refresh();
    EXPECT_FALSE(t.ui.selectedGroup());
    EXPECT_FALSE(page.tree()->currentIndex().isValid());
    EXPECT_FALSE(page.panel()->quitEnabled());
}

TEST_F(AppsSectionTest, FiguresFitRowsHoldStillUnderThePointerAndColumnsFollowTheSetting) {
    test::AppTestContext t;
    auto groups = madeUp();
    t.monitor->apply(snapshot(groups));
    AppsPage page(t.context);
    // The page's share of a 1100×720 window beside the sidebar.
    page.resize(900, 680);
    page.show();
    page.refresh();
    QApplication::processEvents();
    QTreeView* tree = page.tree();
    const QHeaderView* header = tree->header();
    for (int column :
         {AppsTreeModel::name, AppsTreeModel::cpu, AppsTreeModel::memory, AppsTreeModel::power, AppsTreeModel::disk}) {
        EXPECT_GE(header->sectionViewportPosition(column), 0) << column;
        EXPECT_LE(header->sectionViewportPosition(column) + header->sectionSize(column), tree->viewport()->width())
            << "column " << column << " is out of view";
    }
    EXPECT_GE(header->sectionSize(AppsTreeModel::name), 120);

    // A click selects Slack; while the pointer rests on the rows three refreshes that
    // would re-sort them leave every row in place, with fresh figures.
    const QStringList before = topNames(*page.model());
    const QRect slack = tree->visualRect(page.model()->indexOf("app:/usr/share/applications/slack.desktop"));
    for (QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent click(type, QPointF(slack.center()), tree->viewport()->mapToGlobal(QPointF(slack.center())),
                          Qt::LeftButton, type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, {});
        QApplication::sendEvent(tree->viewport(), &click);
    }
    ASSERT_EQ(t.ui.selectedGroup(), "app:/usr/share/applications/slack.desktop");
    tree->viewport()->setAttribute(Qt::WA_UnderMouse, true);
    for (double cpu : {60.0, 70.0, 80.0}) {
        groups[1].processes[0].cpu = cpu;  // mailsync passes Slack
        groups[1].cpu = cpu;
        t.monitor->apply(snapshot(groups));
        page.refresh();
        EXPECT_EQ(topNames(*page.model()), before);
        EXPECT_EQ(tree->currentIndex().data(AppsTreeModel::groupIDRole).toString(),
                  "app:/usr/share/applications/slack.desktop");
    }
    EXPECT_EQ(page.model()->indexOf("proc:mailsync", std::nullopt, AppsTreeModel::cpu).data().toString(), "80%");
    // The pointer leaves: the table catches up, the selection stays with Slack.
    tree->viewport()->setAttribute(Qt::WA_UnderMouse, false);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(tree->viewport(), &leave);
    QApplication::processEvents();
    EXPECT_EQ(topNames(*page.model()).front(), "mailsync");
    EXPECT_EQ(tree->currentIndex().data(AppsTreeModel::groupIDRole).toString(),
              "app:/usr/share/applications/slack.desktop");

    // PID and User come from the header's menu, kept in the settings.
    EXPECT_TRUE(tree->isColumnHidden(AppsTreeModel::pid));
    EXPECT_TRUE(tree->isColumnHidden(AppsTreeModel::kind));
    t.defaults.set(AppsPage::columnsKey, std::string("pid,user,kind,cpuHistory"));
    EXPECT_FALSE(tree->isColumnHidden(AppsTreeModel::pid));
    EXPECT_FALSE(tree->isColumnHidden(AppsTreeModel::user));
    EXPECT_FALSE(tree->isColumnHidden(AppsTreeModel::kind));
    EXPECT_TRUE(tree->isColumnHidden(AppsTreeModel::memoryTrend));
    EXPECT_EQ(page.model()->indexOf("proc:mailsync", std::nullopt, AppsTreeModel::pid).data().toString(), "20");
    page.table().commandLine = [](int32_t) { return std::string(); };  // not this machine's processes
    page.filterField()->setText("2");                                  // a PID's start
    EXPECT_EQ(topNames(*page.model()), QStringList{"mailsync"});
}

TEST_F(AppsSectionTest, TwoThousandProcessesRefreshInPlaceWithTheirTrends) {
    test::AppTestContext t;
    std::vector<AppGroup> groups;
    for (int g = 0; g < 400; ++g) {
        std::vector<ProcessSample> members;
        for (int p = 0; p < 5; ++p)
            members.push_back(process(g * 10 + p, "worker" + std::to_string(p), (g * 7 + p) % 13, 10 * MB));
        groups.push_back(group("proc:app" + std::to_string(g), "app" + std::to_string(g), ProcessKind::background,
                               std::move(members)));
    }
    for (int tick = 0; tick < 3; ++tick) t.monitor->apply(snapshot(groups));
    AppsPage page(t.context);
    page.resize(1000, 700);
    page.refresh();
    t.ui.selectGroup("proc:app123");
    page.refresh();
    EXPECT_EQ(page.countLine()->text(),
              "2000 processes grouped into 400 rows. Helpers live under the app that owns them.");
    EXPECT_EQ(t.monitor->appMemorySeries().at("proc:app123").size(), 3u);
    // The trend cells paint from the Monitor's series.
    const QImage image = page.grab().toImage();
    EXPECT_FALSE(image.isNull());
    EXPECT_EQ(page.tree()->currentIndex().data(AppsTreeModel::groupIDRole).toString(), "proc:app123");
}

TEST_F(AppsSectionTest, ARefreshWithTheSameRowsTellsOnlyTheChangedCells) {
    test::AppTestContext t;
    std::vector<AppGroup> groups = madeUp();
    t.monitor->apply(snapshot(groups));
    AppsPage page(t.context);
    page.refresh();
    AppsTreeModel& model = *page.model();
    const QModelIndex mail = model.indexOf("app:/usr/share/applications/thunderbird.desktop");
    page.tree()->expand(mail);
    t.ui.selectGroup("app:/usr/share/applications/thunderbird.desktop", 11);
    const QPersistentModelIndex selected = page.tree()->currentIndex();
    ASSERT_TRUE(selected.isValid());

    int layouts = 0;
    int resets = 0;
    std::vector<std::pair<QModelIndex, QModelIndex>> cells;
    QObject::connect(&model, &QAbstractItemModel::layoutChanged, [&] { ++layouts; });
    QObject::connect(&model, &QAbstractItemModel::modelReset, [&] { ++resets; });
    QObject::connect(&model, &QAbstractItemModel::dataChanged,
                     [&](const QModelIndex& from, const QModelIndex& to) { cells.emplace_back(from, to); });

    // One helper's memory moves (its group's too); the order stays.
    groups[0].processes[1].memory = 120 * MB;
    groups[0].memory += 20 * MB;
    t.monitor->apply(snapshot(groups));
    page.refresh();
    EXPECT_EQ(layouts, 0);
    EXPECT_EQ(resets, 0);
    ASSERT_EQ(cells.size(), 2u);
    const QModelIndex first = cells[0].first;
    const QModelIndex second = cells[1].first;
    EXPECT_EQ(first, cells[0].second) << "one cell at a time";
    EXPECT_EQ(first.column(), AppsTreeModel::memory);
    EXPECT_FALSE(first.parent().isValid()) << "the group's row";
    EXPECT_EQ(second.column(), AppsTreeModel::memory);
    EXPECT_EQ(second.data(AppsTreeModel::pidRole).toInt(), 11);
    EXPECT_EQ(second.data().toString(), QString::fromStdString(Fmt::bytes(120.0 * MB)));
    EXPECT_TRUE(page.tree()->isExpanded(mail));
    EXPECT_EQ(page.tree()->currentIndex(), selected);

    // Nothing changed: nothing is told.
    cells.clear();
    page.refresh();
    EXPECT_TRUE(cells.empty());

    // A new top CPU user reorders the rows: the layout changes and the selection follows its row.
    groups[3].processes[0].cpu = 90;
    groups[3].cpu = 90;
    t.monitor->apply(snapshot(groups));
    page.refresh();
    EXPECT_EQ(layouts, 1);
    EXPECT_EQ(topNames(model).front(), "systemd-journald");
    EXPECT_EQ(page.tree()->currentIndex().data(AppsTreeModel::pidRole).toInt(), 11);
    EXPECT_TRUE(page.tree()->isExpanded(model.indexOf("app:/usr/share/applications/thunderbird.desktop")));
}

TEST_F(AppsSectionTest, TheExplanationListsTheBusiestProcessesOfAHugeGroup) {
    test::AppTestContext t;
    std::vector<ProcessSample> members;
    for (int p = 0; p < 1500; ++p) members.push_back(process(1000 + p, "sleep", p == 700 ? 5 : 0, MB));
    t.monitor->apply(snapshot({group("proc:sleep", "sleep", ProcessKind::system, std::move(members))}));
    AppsPage page(t.context);
    t.ui.selectGroup("proc:sleep");
    page.refresh();
    const QString text = page.panel()->bodyText();
    EXPECT_TRUE(text.contains("pid 1700")) << "the busiest comes first";
    EXPECT_EQ(text.count(" \u00b7 pid "), 12);
    EXPECT_TRUE(text.contains("and 1488 more, listed under the row"));
}

}  // namespace
}  // namespace qm::app
