// The status line at the top of the quick look and the overview: the verdict's
// symbol in its level's colour, the title, the detail sentence and a row of chips
// (processes and apps, installed memory, uptime, processor, system).
#pragma once

#include <QWidget>

#include "core/Snapshot.h"

class QLabel;
class QHBoxLayout;
class QVBoxLayout;

namespace qm::app {

class LevelBadge;

class StatusHeader : public QWidget {
    Q_OBJECT
public:
    // `large` for the overview; the quick look uses the compact form.
    explicit StatusHeader(bool large, QWidget* parent = nullptr);

    void setSnapshot(const Snapshot& snapshot);

    QString title() const;
    QString detail() const;
    QStringList chips() const;
    int level() const;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    // Lays the visible chips out in as many rows as the width needs.
    void flowChips();

    bool large_ = false;
    LevelBadge* badge_ = nullptr;
    QLabel* title_ = nullptr;
    QLabel* detail_ = nullptr;
    QVBoxLayout* chipRows_ = nullptr;
    int flowedWidth_ = -1;
    QList<QLabel*> chipLabels_;
};

// A round badge: a check mark (level 0), an exclamation mark (1) or a triangle (2).
class LevelBadge : public QWidget {
    Q_OBJECT
public:
    LevelBadge(int diameter, QWidget* parent = nullptr);
    void setLevel(int level);
    int level() const { return level_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int level_ = 0;
};

}  // namespace qm::app
