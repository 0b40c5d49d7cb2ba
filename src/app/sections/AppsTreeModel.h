// The apps table as a Qt tree model: one row per group, its processes as child rows
// when it has two or more. A refresh that keeps the same rows in the same order tells
// only the cells whose figures changed; one that adds, drops or reorders rows replaces
// them and moves the persistent indexes (selection, expanded rows, current row) to the
// rows with the same ids, so nothing the user chose is lost; rows that vanished lose them.
#pragma once

#include <QAbstractItemModel>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "shell/AppsTable.h"

namespace qm::app {

class AppsTreeModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Column { name, kind, cpu, cpuTrend, memory, memoryTrend, power, disk, pid, user, columnCount_ };
    // The columns a person can hide or show from the header's menu, and their setting words.
    static constexpr Column optionalColumns[] = {pid, user, kind, cpuTrend, memoryTrend};
    static const char* settingWord(Column column);
    enum Role { groupIDRole = Qt::UserRole + 1, pidRole, sortValueRole };

    explicit AppsTreeModel(QObject* parent = nullptr);

    // Replaces the rows, keeping the persistent indexes of rows that remain.
    void setRows(std::vector<ProcRow> rows);
    const std::vector<ProcRow>& rows() const { return rows_; }

    // The index of a group's row, or of one of its process rows; invalid when absent.
    QModelIndex indexOf(const std::string& groupID, std::optional<int32_t> pid = std::nullopt, int column = name) const;
    // The row an index stands for, or null.
    const ProcRow* row(const QModelIndex& index) const;

    // The table's column for a sortable figure, and back.
    static std::optional<AppsTable::Column> figure(int column);
    static int columnOf(AppsTable::Column figure);

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    void tellChangedCells(const ProcRow& before, const ProcRow& after, int row, quintptr id);

    std::vector<ProcRow> rows_;
    std::unordered_map<std::string, int> groupRow_;  // group id → top-level row
};

}  // namespace qm::app
