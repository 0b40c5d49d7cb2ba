// The apps section: every app group of the latest snapshot in a tree (processes as
// child rows), narrowed by kind and filter text, sorted by any figure, with a 90-point
// CPU and memory trend per group and the explanation panel of the selected row.
#pragma once

#include <QStyledItemDelegate>

#include "app/sections/SectionPage.h"
#include "shell/AppsTable.h"

class QButtonGroup;
class QComboBox;
class QFrame;
class QLabel;
class QLineEdit;
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

    AppsTable table_;
    AppsTreeModel* model_;
    QTreeView* tree_;
    ExplainPanel* panel_;
    QLineEdit* filter_;
    QComboBox* kinds_;
    QLabel* count_;
    QFrame* notice_;
    int uiToken_ = 0;
    bool selecting_ = false;  // the tree's selection is being set from the shared state
};

SectionPage* makeAppsPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
