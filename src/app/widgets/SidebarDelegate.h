// Paints a sidebar row: the section's symbol, its name, and under the name its live
// figure with a small trend of the last few minutes, from what the Monitor already
// holds (nothing is sampled for the sidebar).
#pragma once

#include <QStyledItemDelegate>

#include "knowledge/Section.h"

namespace qm {
class Monitor;
}

namespace qm::app {

class SidebarDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    // The row's figure text is stored under this role by the window.
    static constexpr int figureRole = Qt::UserRole + 1;

    SidebarDelegate(const Monitor& monitor, QObject* parent);
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // The symbol drawn for a section (a character the desktop's fonts carry).
    static QString symbol(Section section);

private:
    const Monitor& monitor_;
};

}  // namespace qm::app
