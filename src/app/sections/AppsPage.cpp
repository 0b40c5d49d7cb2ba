#include "app/sections/AppsPage.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>
#include <QStyle>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <iterator>

#include "app/sections/AppsTreeModel.h"
#include "app/sections/ExplainPanel.h"
#include "app/sections/SectionStyle.h"
#include "app/widgets/Sparkline.h"
#include "knowledge/ProcessLibrary.h"
#include "processes/ProcessCommandLine.h"
#include "shell/MachineSections.h"

namespace qm::app {

TrendDelegate::TrendDelegate(const Monitor& monitor, QObject* parent)
    : QStyledItemDelegate(parent), monitor_(monitor) {}

void TrendDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyledItemDelegate::paint(painter, option, index);                                    // background and selection
    if (index.data(AppsTreeModel::pidRole).isValid() && index.parent().isValid()) return;  // process rows: no trend
    const std::string id = index.data(AppsTreeModel::groupIDRole).toString().toStdString();
    const bool memory = index.column() == AppsTreeModel::memoryTrend;
    const auto& all = memory ? monitor_.appMemorySeries() : monitor_.appSeries();
    auto found = all.find(id);
    if (found == all.end()) return;
    const QColor color = memory ? memoryColor() : cpuColor();
    // CPU is drawn against a full core at least, so an idle app's noise stays flat.
    double top = 0;
    if (!memory) {
        top = 100;
        for (double v : found->second) top = std::max(top, v);
    }
    paintSparkline(*painter, QRectF(option.rect).adjusted(4, 3, -4, -3), found->second, top, color);
}

AppsPage::AppsPage(AppContext& context, QWidget* parent) : SectionPage(Section::apps, context, parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->addWidget(makePageTitle(QString::fromUtf8(appsText::title), this));

    auto* bar = new QHBoxLayout;
    kinds_ = new QComboBox(this);
    kinds_->setObjectName("kindPicker");
    for (auto filter : AppsTable::allFilters)
        kinds_->addItem(shown(label(filter)), QString::fromStdString(std::string(rawValue(filter))));
    filter_ = new QLineEdit(this);
    filter_->setObjectName("filterField");
    filter_->setPlaceholderText(QString::fromUtf8(appsText::searchPlaceholder));
    filter_->setClearButtonEnabled(true);
    filter_->setAccessibleName(QString::fromUtf8(appsText::searchPlaceholder));
    kinds_->setAccessibleName("Kind");
    bar->addWidget(kinds_);
    bar->addWidget(filter_, 1);
    layout->addLayout(bar);

    notice_ = new Card(QString::fromUtf8(appsText::estimatedNoticeTitle), this);
    notice_->setObjectName("exactFiguresNotice");
    static_cast<Card*>(notice_)->body()->addWidget(makeText(shown(appsText::estimatedNotice), notice_));
    notice_->hide();
    layout->addWidget(notice_);

    model_ = new AppsTreeModel(this);
    tree_ = new QTreeView(this);
    tree_->setObjectName("appsTree");
    tree_->setAccessibleName(QString::fromUtf8(appsText::title));
    tree_->setModel(model_);
    tree_->setUniformRowHeights(true);
    tree_->setAlternatingRowColors(true);
    tree_->setSelectionMode(QAbstractItemView::SingleSelection);
    tree_->setSelectionBehavior(QAbstractItemView::SelectRows);
    tree_->setContextMenuPolicy(Qt::CustomContextMenu);
    tree_->setItemDelegateForColumn(AppsTreeModel::cpuTrend, new TrendDelegate(*context.monitor, tree_));
    tree_->setItemDelegateForColumn(AppsTreeModel::memoryTrend, new TrendDelegate(*context.monitor, tree_));
    QHeaderView* header = tree_->header();
    header->setStretchLastSection(false);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(AppsTreeModel::cpu, Qt::DescendingOrder);
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    // PID and User sit beside the name when shown.
    header->moveSection(AppsTreeModel::pid, AppsTreeModel::kind);
    header->moveSection(AppsTreeModel::user, AppsTreeModel::kind + 1);
    tree_->setTextElideMode(Qt::ElideRight);
    sizeColumns();
    applyShownColumns();
    // The pointer leaving the table lets it catch up with the order it held back.
    tree_->viewport()->installEventFilter(this);

    panel_ = new ExplainPanel(this);
    panel_->setLibrary(&ProcessLibrary::shared());
    auto* scroll = new QScrollArea(this);
    scroll->setAccessibleName("Explanation");
    scroll->setWidget(panel_);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setMinimumWidth(250);

    auto* split = split_ = new QSplitter(this);
    split->addWidget(tree_);
    split->addWidget(scroll);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    layout->addWidget(split, 1);

    count_ = makeText({}, this, true);
    count_->setObjectName("countLine");
    layout->addWidget(count_);

    connect(kinds_, &QComboBox::currentIndexChanged, this, [this](int i) {
        if (i >= 0 && i < static_cast<int>(std::size(AppsTable::allFilters))) table_.filter = AppsTable::allFilters[i];
        rebuild();
    });
    connect(filter_, &QLineEdit::textChanged, this, [this](const QString& text) {
        table_.query = text.toStdString();
        rebuild();
    });
    connect(header, &QHeaderView::sectionClicked, this, &AppsPage::sortBy);
    connect(header, &QHeaderView::customContextMenuRequested, this, &AppsPage::showHeaderMenu);
    // The filter also finds command lines, read once per process (again after an exec).
    table_.commandLine = [this](int32_t pid) {
        auto found = commandLines_.find(pid);
        if (found == commandLines_.end()) {
            auto name = names_.find(pid);
            found = commandLines_
                        .emplace(pid, std::make_pair(name == names_.end() ? std::string() : name->second,
                                                     processCommandLine(pid)))
                        .first;
        }
        return found->second.second;
    };
    connect(tree_->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &AppsPage::selectionChanged);
    connect(tree_, &QTreeView::customContextMenuRequested, this, &AppsPage::showContextMenu);
    // Delete asks to quit the selection (a key press is too easy to end anything at
    // once); Return moves to the explanation's buttons.
    auto* remove = new QShortcut(QKeySequence::Delete, tree_, nullptr, nullptr, Qt::WidgetShortcut);
    connect(remove, &QShortcut::activated, panel_, &ExplainPanel::askToQuit);
    for (const QKeySequence& keys : {QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)}) {
        auto* open = new QShortcut(keys, tree_, nullptr, nullptr, Qt::WidgetShortcut);
        connect(open, &QShortcut::activated, panel_, &ExplainPanel::focusActions);
    }
    uiToken_ = context.ui->observe([this] { applySelectionFromState(); });
    if (context.defaults)
        settingsToken_ = context.defaults->observe([this](const std::string& key) {
            if (key == columnsKey) applyShownColumns();
        });
}

AppsPage::~AppsPage() {
    context().ui->removeObserver(uiToken_);
    if (context().defaults) context().defaults->removeObserver(settingsToken_);
}

void AppsPage::forgetCommandLines(const Snapshot& snapshot) {
    // A process that ended, or that exec'd into another program (its name changed),
    // is read again when the filter next needs it.
    names_.clear();
    if (table_.query.empty()) return;
    for (const AppGroup& group : snapshot.groups)
        for (const ProcessSample& process : group.processes) names_.emplace(process.pid, process.name);
    std::erase_if(commandLines_, [&](const auto& entry) {
        auto name = names_.find(entry.first);
        return name == names_.end() || name->second != entry.second.first;
    });
}

void AppsPage::sizeColumns() {
    // Figures get the width of their widest likely text in this font; the name takes
    // what is left and is elided (its tooltip holds all of it), so every figure stays
    // in view at the window's first size.
    const QFontMetrics metrics(tree_->font());
    const int pad = 2 * tree_->style()->pixelMetric(QStyle::PM_HeaderMargin, nullptr, tree_) + 14;
    const auto fit = [&](const QString& widest) { return metrics.horizontalAdvance(widest) + pad; };
    QHeaderView* header = tree_->header();
    header->setMinimumSectionSize(fit("PID") / 2);
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(AppsTreeModel::name, QHeaderView::Stretch);
    tree_->setColumnWidth(AppsTreeModel::kind, fit("Background"));
    tree_->setColumnWidth(AppsTreeModel::cpu, fit("≈ 1,000%"));
    tree_->setColumnWidth(AppsTreeModel::memory, fit("≈ 999.9 MB"));
    tree_->setColumnWidth(AppsTreeModel::power, fit("99.9 W"));
    tree_->setColumnWidth(AppsTreeModel::disk, fit("999.9 MB/s"));
    tree_->setColumnWidth(AppsTreeModel::pid, fit("4194304"));
    tree_->setColumnWidth(AppsTreeModel::user, fit("systemd-network"));
    // The histories are small pictures beside their figures; their headers say what
    // they are in a tooltip.
    for (int column : {AppsTreeModel::cpuTrend, AppsTreeModel::memoryTrend}) tree_->setColumnWidth(column, fit("99.9"));
}

namespace {
// The optional columns a person has chosen to see; unset: the two histories (the kind
// picker above the table already sorts apps from background and system processes).
std::vector<AppsTreeModel::Column> chosenColumns(const Defaults* defaults) {
    std::vector<AppsTreeModel::Column> shown{AppsTreeModel::cpuTrend, AppsTreeModel::memoryTrend};
    if (!defaults || !defaults->contains(AppsPage::columnsKey)) return shown;
    shown.clear();
    const std::string words = "," + defaults->stringValue(AppsPage::columnsKey) + ",";
    for (AppsTreeModel::Column column : AppsTreeModel::optionalColumns)
        if (words.find("," + std::string(AppsTreeModel::settingWord(column)) + ",") != std::string::npos)
            shown.push_back(column);
    return shown;
}
}  // namespace

void AppsPage::applyShownColumns() {
    const auto shown = chosenColumns(context().defaults);
    for (AppsTreeModel::Column column : AppsTreeModel::optionalColumns)
        tree_->setColumnHidden(column, std::find(shown.begin(), shown.end(), column) == shown.end());
}

void AppsPage::showHeaderMenu(const QPoint& at) {
    QMenu menu(this);
    auto shown = chosenColumns(context().defaults);
    for (AppsTreeModel::Column column : AppsTreeModel::optionalColumns) {
        const QString title = column == AppsTreeModel::cpuTrend ? QStringLiteral("CPU History")
                              : column == AppsTreeModel::memoryTrend
                                  ? QStringLiteral("Memory History")
                                  : model_->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        QAction* action = menu.addAction(title);
        action->setCheckable(true);
        action->setChecked(std::find(shown.begin(), shown.end(), column) != shown.end());
        connect(action, &QAction::toggled, this, [this, column](bool on) {
            auto now = chosenColumns(context().defaults);
            now.erase(std::remove(now.begin(), now.end(), column), now.end());
            if (on) now.push_back(column);
            std::string words;
            for (AppsTreeModel::Column c : AppsTreeModel::optionalColumns)
                if (std::find(now.begin(), now.end(), c) != now.end())
                    words += (words.empty() ? "" : ",") + std::string(AppsTreeModel::settingWord(c));
            if (context().defaults) context().defaults->set(columnsKey, words);
            applyShownColumns();  // also when there is no settings store
            if (!context().defaults) tree_->setColumnHidden(column, !on);
        });
    }
    menu.exec(tree_->header()->viewport()->mapToGlobal(at));
}

void AppsPage::resizeEvent(QResizeEvent* event) {
    SectionPage::resizeEvent(event);
    // A narrow window puts the explanation under the table, so every figure keeps its
    // column; a wide one puts it beside.
    const Qt::Orientation wanted = width() < 900 ? Qt::Vertical : Qt::Horizontal;
    if (split_->orientation() != wanted) split_->setOrientation(wanted);
}

bool AppsPage::holdingOrder() const {
    // The order holds while the pointer is on the rows or a menu is open over them.
    return tree_->viewport()->underMouse() || QApplication::activePopupWidget() != nullptr;
}

bool AppsPage::eventFilter(QObject* watched, QEvent* event) {
    if (watched == tree_->viewport() && event->type() == QEvent::Leave) QTimer::singleShot(0, this, &AppsPage::rebuild);
    return SectionPage::eventFilter(watched, event);
}

void AppsPage::activated() { applySelectionFromState(); }

void AppsPage::refresh() { rebuild(); }

void AppsPage::rebuild() {
    const Snapshot& snapshot = context().monitor->snapshot();
    forgetCommandLines(snapshot);
    std::vector<ProcRow> rows = table_.rows(snapshot.groups);
    if (holdingOrder()) rows = inShownOrder(std::move(rows), model_->rows());
    int64_t processes = 0;
    for (const ProcRow& row : rows) processes += row.count;
    const auto rowCount = static_cast<int64_t>(rows.size());
    model_->setRows(std::move(rows));
    const QString count = QString::fromStdString(appsText::countLine(processes, rowCount));
    if (count_->text() != count) count_->setText(count);
    notice_->setVisible(sections::exactFiguresNoticeShown(snapshot));

    // A selected group that is no longer listed (quit, or filtered out) is no longer selected.
    UIState& ui = *context().ui;
    if (ui.selectedGroup() && !model_->indexOf(*ui.selectedGroup()).isValid()) {
        ui.clearSelection();
        tree_->selectionModel()->clearSelection();
        tree_->selectionModel()->setCurrentIndex({}, QItemSelectionModel::NoUpdate);
    }
    const auto& selected = ui.selectedGroup();
    panel_->showRow(selected ? context().monitor->group(*selected) : std::nullopt, ui.selectedPid());
    // The trends move with every sample; the other cells repaint when the model says so.
    const QHeaderView* header = tree_->header();
    for (int column : {AppsTreeModel::cpuTrend, AppsTreeModel::memoryTrend})
        tree_->viewport()->update(header->sectionViewportPosition(column), 0, header->sectionSize(column),
                                  tree_->viewport()->height());
}

void AppsPage::sortBy(int column) {
    auto figure = AppsTreeModel::figure(column);
    if (!figure) {
        // Name and kind do not sort: keep the indicator on the figure that does.
        const auto& key = table_.sortOrder.front();
        tree_->header()->setSortIndicator(AppsTreeModel::columnOf(key.column),
                                          key.ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        return;
    }
    auto& key = table_.sortOrder.front();
    // A second click on the same figure turns the order; a new figure starts at the largest.
    key.ascending = key.column == *figure ? !key.ascending : false;
    key.column = *figure;
    tree_->header()->setSortIndicator(AppsTreeModel::columnOf(*figure),
                                      key.ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
    rebuild();
}

void AppsPage::selectionChanged() {
    if (selecting_) return;
    const ProcRow* row = model_->row(tree_->currentIndex());
    UIState& ui = *context().ui;
    selecting_ = true;
    if (row)
        ui.selectGroup(row->groupID, row->pid);
    else if (ui.selectedGroup())
        ui.clearSelection();
    selecting_ = false;
    const auto& selected = ui.selectedGroup();
    panel_->showRow(selected ? context().monitor->group(*selected) : std::nullopt, ui.selectedPid());
}

void AppsPage::applySelectionFromState() {
    if (selecting_) return;
    const UIState& ui = *context().ui;
    if (!ui.selectedGroup()) return;
    QModelIndex index = model_->indexOf(*ui.selectedGroup(), ui.selectedPid());
    if (!index.isValid() && context().monitor->group(*ui.selectedGroup())) {
        // Revealed from elsewhere while hidden by the kind or the filter: show everything.
        selecting_ = true;
        kinds_->setCurrentIndex(0);
        filter_->clear();
        selecting_ = false;
        rebuild();
        index = model_->indexOf(*ui.selectedGroup(), ui.selectedPid());
    }
    if (!index.isValid()) return;
    selecting_ = true;
    if (index.parent().isValid()) tree_->expand(index.parent());
    tree_->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    tree_->scrollTo(index);
    selecting_ = false;
    panel_->showRow(context().monitor->group(*ui.selectedGroup()), ui.selectedPid());
}

void AppsPage::showContextMenu(const QPoint& at) {
    const QModelIndex index = tree_->indexAt(at);
    const ProcRow* row = model_->row(index);
    if (!row) return;
    tree_->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    QMenu menu(this);
    QAction* quit = menu.addAction(QString::fromUtf8(quitText::quit), panel_, &ExplainPanel::quit);
    QAction* force = menu.addAction(QString::fromUtf8(quitText::forceQuit), panel_, &ExplainPanel::forceQuit);
    quit->setEnabled(panel_->quitEnabled());
    force->setEnabled(panel_->quitEnabled());
    menu.addSeparator();
    const QString name = QString::fromStdString(row->name);
    menu.addAction("Copy Name", this, [name] { QApplication::clipboard()->setText(name); });
    if (row->pid) {
        const QString pid = QString::number(*row->pid);
        menu.addAction("Copy PID", this, [pid] { QApplication::clipboard()->setText(pid); });
    }
    if (model_->rowCount(index.parent().isValid() ? index.parent() : index) > 0) {
        const QModelIndex group = index.parent().isValid() ? index.parent() : index;
        const bool open = tree_->isExpanded(group);
        menu.addAction(open ? "Collapse" : "Show Processes", this,
                       [this, group, open] { tree_->setExpanded(group, !open); });
    }
    menu.exec(tree_->viewport()->mapToGlobal(at));
}

SectionPage* makeAppsPage(AppContext& context, QWidget* parent) { return new AppsPage(context, parent); }

}  // namespace qm::app
