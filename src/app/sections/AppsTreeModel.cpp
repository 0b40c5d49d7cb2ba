#include "app/sections/AppsTreeModel.h"

#include <utility>

#include "app/sections/SectionStyle.h"
#include "fmt/Fmt.h"
#include "processes/UserNames.h"
#include "shell/Explanation.h"

namespace qm::app {

namespace {
// Internal ids: 0 for a group row, otherwise 1 + the row of the group it belongs to.
constexpr quintptr topLevel = 0;

QString figureText(const ProcRow& row, int column) {
    std::string text;
    switch (column) {
        case AppsTreeModel::cpu: text = Fmt::percent(row.cpu); break;
        case AppsTreeModel::memory: text = Fmt::bytes(row.memory); break;
        case AppsTreeModel::power: text = row.power > 0 ? Fmt::watts(row.power) : Fmt::absent; break;
        case AppsTreeModel::disk: text = Fmt::rate(row.disk); break;
        default: return {};
    }
    if (row.approximate && column != AppsTreeModel::power)
        text = std::string(explainText::approximateMark) + " " + text;
    return QString::fromStdString(text);
}
}  // namespace

AppsTreeModel::AppsTreeModel(QObject* parent) : QAbstractItemModel(parent) {}

std::optional<AppsTable::Column> AppsTreeModel::figure(int column) {
    switch (column) {
        case cpu:
        case cpuTrend: return AppsTable::Column::cpu;
        case memory:
        case memoryTrend: return AppsTable::Column::memory;
        case power: return AppsTable::Column::power;
        case disk: return AppsTable::Column::disk;
        default: return std::nullopt;
    }
}

int AppsTreeModel::columnOf(AppsTable::Column figure) {
    switch (figure) {
        case AppsTable::Column::cpu: return cpu;
        case AppsTable::Column::memory: return memory;
        case AppsTable::Column::power: return power;
        case AppsTable::Column::disk: return disk;
    }
    return cpu;
}

namespace {
// Whether two lists hold the same rows in the same order, children included.
bool sameShape(const std::vector<ProcRow>& a, const std::vector<ProcRow>& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].id != b[i].id || a[i].children.has_value() != b[i].children.has_value()) return false;
        if (a[i].children && !sameShape(*a[i].children, *b[i].children)) return false;
    }
    return true;
}
}  // namespace

void AppsTreeModel::tellChangedCells(const ProcRow& before, const ProcRow& after, int r, quintptr id) {
    const auto tell = [&](int column) {
        const QModelIndex cell = createIndex(r, column, id);
        emit dataChanged(cell, cell);
    };
    if (before.name != after.name) tell(name);
    if (before.kind != after.kind) tell(kind);
    const bool approximate = before.approximate != after.approximate;
    if (approximate || before.cpu != after.cpu) tell(cpu);
    if (approximate || before.memory != after.memory) tell(memory);
    if (before.power != after.power) tell(power);
    if (approximate || before.disk != after.disk) tell(disk);
}

void AppsTreeModel::setRows(std::vector<ProcRow> rows) {
    if (sameShape(rows_, rows)) {
        // Most ticks change figures, not rows: the cells whose figures moved are told,
        // and the view keeps its layout, selection and expanded rows as they are.
        const std::vector<ProcRow> before = std::exchange(rows_, std::move(rows));
        for (size_t i = 0; i < rows_.size(); ++i) {
            tellChangedCells(before[i], rows_[i], static_cast<int>(i), topLevel);
            if (!rows_[i].children) continue;
            const auto& was = *before[i].children;
            const auto& now = *rows_[i].children;
            for (size_t c = 0; c < now.size(); ++c)
                tellChangedCells(was[c], now[c], static_cast<int>(c), static_cast<quintptr>(i) + 1);
        }
        return;
    }
    emit layoutAboutToBeChanged();
    // Where every persistent index pointed, by id, before the rows change.
    const QModelIndexList before = persistentIndexList();
    struct Place {
        std::string group;
        std::optional<int32_t> pid;
        int column;
    };
    std::vector<Place> places;
    places.reserve(static_cast<size_t>(before.size()));
    for (const QModelIndex& index : before) {
        const ProcRow* r = row(index);
        places.push_back(r ? Place{r->groupID, r->pid, index.column()} : Place{{}, {}, 0});
    }

    rows_ = std::move(rows);
    groupRow_.clear();
    groupRow_.reserve(rows_.size());
    for (size_t i = 0; i < rows_.size(); ++i) groupRow_.emplace(rows_[i].groupID, static_cast<int>(i));

    QModelIndexList after;
    after.reserve(before.size());
    for (const Place& place : places)
        after.push_back(place.group.empty() ? QModelIndex() : indexOf(place.group, place.pid, place.column));
    changePersistentIndexList(before, after);
    emit layoutChanged();
}

QModelIndex AppsTreeModel::indexOf(const std::string& groupID, std::optional<int32_t> pid, int column) const {
    auto found = groupRow_.find(groupID);
    if (found == groupRow_.end()) return {};
    const int top = found->second;
    if (!pid) return createIndex(top, column, topLevel);
    const ProcRow& group = rows_[static_cast<size_t>(top)];
    if (!group.children) return createIndex(top, column, topLevel);  // a single process stands for its group
    const auto& children = *group.children;
    for (size_t i = 0; i < children.size(); ++i)
        if (children[i].pid == pid) return createIndex(static_cast<int>(i), column, static_cast<quintptr>(top) + 1);
    return {};
}

const ProcRow* AppsTreeModel::row(const QModelIndex& index) const {
    if (!index.isValid() || index.model() != this) return nullptr;
    const quintptr id = index.internalId();
    if (id == topLevel) {
        if (index.row() < 0 || static_cast<size_t>(index.row()) >= rows_.size()) return nullptr;
        return &rows_[static_cast<size_t>(index.row())];
    }
    const size_t top = id - 1;
    if (top >= rows_.size() || !rows_[top].children) return nullptr;
    const auto& children = *rows_[top].children;
    if (index.row() < 0 || static_cast<size_t>(index.row()) >= children.size()) return nullptr;
    return &children[static_cast<size_t>(index.row())];
}

QModelIndex AppsTreeModel::index(int r, int column, const QModelIndex& parent) const {
    if (column < 0 || column >= columnCount_ || r < 0) return {};
    if (!parent.isValid()) {
        if (static_cast<size_t>(r) >= rows_.size()) return {};
        return createIndex(r, column, topLevel);
    }
    if (parent.internalId() != topLevel) return {};  // processes have no children
    const ProcRow* group = row(parent);
    if (!group || !group->children || static_cast<size_t>(r) >= group->children->size()) return {};
    return createIndex(r, column, static_cast<quintptr>(parent.row()) + 1);
}

QModelIndex AppsTreeModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == topLevel) return {};
    return createIndex(static_cast<int>(child.internalId() - 1), 0, topLevel);
}

int AppsTreeModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid()) return static_cast<int>(rows_.size());
    if (parent.column() != 0 || parent.internalId() != topLevel) return 0;
    const ProcRow* group = row(parent);
    return group && group->children ? static_cast<int>(group->children->size()) : 0;
}

int AppsTreeModel::columnCount(const QModelIndex&) const { return columnCount_; }

QVariant AppsTreeModel::data(const QModelIndex& index, int role) const {
    const ProcRow* r = row(index);
    if (!r) return {};
    const int column = index.column();
    switch (role) {
        case Qt::DisplayRole:
            switch (column) {
                case name: return QString::fromStdString(r->name);
                case kind: return shown(label(r->kind));
                case cpu:
                case memory:
                case power:
                case disk: return figureText(*r, column);
                case pid: {
                    const auto shownPid = r->pid ? r->pid : r->onlyProcess;
                    return shownPid ? QVariant(QString::number(*shownPid)) : QVariant();
                }
                case user: return r->uid ? QString::fromStdString(userName(*r->uid)) : QVariant();
                default: return {};
            }
        case Qt::TextAlignmentRole:
            if (column == name || column == kind || column == user)
                return QVariant::fromValue(Qt::AlignLeft | Qt::AlignVCenter);
            return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
        case Qt::ToolTipRole:
            if (r->approximate && (column == cpu || column == memory || column == disk))
                return QString::fromStdString(appsText::estimatedHelp);
            if (column == name && r->pid)
                return QString("%1 · pid %2").arg(QString::fromStdString(r->name)).arg(*r->pid);
            if (column == name) return QString::fromStdString(r->name);  // the whole name where it is elided
            return {};
        case groupIDRole: return QString::fromStdString(r->groupID);
        case pidRole: return r->pid ? QVariant(*r->pid) : QVariant();
        case sortValueRole:
            switch (column) {
                case cpu: return r->cpu;
                case memory: return r->memory;
                case power: return r->power;
                case disk: return r->disk;
                default: return {};
            }
        default: return {};
    }
}

QVariant AppsTreeModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal) return {};
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(
            (section == name || section == kind || section == user ? Qt::AlignLeft : Qt::AlignRight) |
            Qt::AlignVCenter);
    if (role == Qt::ToolTipRole || role == Qt::AccessibleTextRole) {
        if (section == cpuTrend) return QStringLiteral("CPU over the recent samples");
        if (section == memoryTrend) return QStringLiteral("Memory over the recent samples");
        return {};
    }
    if (role != Qt::DisplayRole) return {};
    switch (section) {
        case name: return QStringLiteral("Name");
        case kind: return QStringLiteral("Kind");
        case cpu: return QStringLiteral("CPU");
        case cpuTrend: return QString();
        case memory: return QStringLiteral("Memory");
        case memoryTrend: return QString();
        case power: return QStringLiteral("Power");
        case disk: return QStringLiteral("Disk");
        case pid: return QStringLiteral("PID");
        case user: return QStringLiteral("User");
        default: return {};
    }
}

const char* AppsTreeModel::settingWord(Column column) {
    switch (column) {
        case pid: return "pid";
        case user: return "user";
        case kind: return "kind";
        case cpuTrend: return "cpuHistory";
        case memoryTrend: return "memoryHistory";
        default: return "";
    }
}

}  // namespace qm::app
