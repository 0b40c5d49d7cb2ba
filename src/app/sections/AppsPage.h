// The apps section: every app group of the latest snapshot in a tree (processes as
// child rows), narrowed by kind and filter text, sorted by any figure, with a 90-point
// CPU and memory trend per group and the explanation panel of the selected row.
#pragma once

#include <QStyledItemDelegate>
#include <string>
#include <unordered_map>
#include <utility>

#include "app/sections/SectionPage.h"
#include "shell/AppsTable.h"

class QButtonGroup;
class QComboBox;
class QFrame;
class QLabel;
class QLineEdit;
class QSplitter;
class QTreeView;

namespace qm::app {

class AppsTreeModel;
class ExplainPanel;

// Draws the trend columns from the Monitor's per-app series.
class TrendDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    TrendDelegate(const Monitor& monitor, QObject* parent);
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    const Monitor& monitor_;
};

class AppsPage : public SectionPage {
    Q_OBJECT
public:
    AppsPage(AppContext& context, QWidget* parent = nullptr);
    ~AppsPage() override;

    // The setting that holds the optional columns shown: "pid,user,kind,cpuHistory,...".
    static constexpr const char* columnsKey = "apps.columns";

    void refresh() override;
    void activated() override;

    // For tests and the context menu.
    AppsTable& table() { return table_; }
    AppsTreeModel* model() const { return model_; }
    QTreeView* tree() const { return tree_; }
    ExplainPanel* panel() const { return panel_; }
    QLineEdit* filterField() const { return filter_; }
    QComboBox* kindPicker() const { return kinds_; }
    QLabel* countLine() const { return count_; }
    QFrame* notice() const { return notice_; }

private:
    void rebuild();
    void selectionChanged();
    void applySelectionFromState();
    void showContextMenu(const QPoint& at);
    void sortBy(int column);
    void sizeColumns();
    void forgetCommandLines(const Snapshot& snapshot);
    void showHeaderMenu(const QPoint& at);
    void applyShownColumns();
    bool holdingOrder() const;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

    AppsTable table_;
    AppsTreeModel* model_;
    QTreeView* tree_;
    QSplitter* split_ = nullptr;
    ExplainPanel* panel_;
    QLineEdit* filter_;
    QComboBox* kinds_;
    QLabel* count_;
    QFrame* notice_;
    int uiToken_ = 0;
    int settingsToken_ = 0;
    // Command lines read for the filter, by pid, and the name each was read under (a
    // process that execs gets a new name and is read again).
    std::unordered_map<int32_t, std::pair<std::string, std::string>> commandLines_;
    std::unordered_map<int32_t, std::string> names_;  // this refresh's processes, while filtering
    bool selecting_ = false;                          // the tree's selection is being set from the shared state
};

SectionPage* makeAppsPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
