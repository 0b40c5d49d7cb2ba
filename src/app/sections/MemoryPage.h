// The memory section: what is in memory (a bar and a stacked series of apps, wired,
// compressed, cached and free), pressure and its level, swap, the apps holding the
// most, and the RAM advisor's verdict from the user's own history.
#pragma once

#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

#include "app/sections/SectionPage.h"
#include "history/Advisor.h"

class QLabel;

namespace qm::app {

class Card;
class MemoryPartsSeries;
class SeriesChart;

// The breakdown as one horizontal bar of coloured parts.
class BreakdownBar : public QWidget {
    Q_OBJECT
public:
    explicit BreakdownBar(QWidget* parent = nullptr);
    void setParts(std::vector<std::pair<double, QColor>> parts);  // shares 0…1
    QSize sizeHint() const override { return {300, 18}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<std::pair<double, QColor>> parts_;
};

class MemoryPage : public SectionPage {
    Q_OBJECT
public:
    MemoryPage(AppContext& context, QWidget* parent = nullptr);
    ~MemoryPage() override;

    void refresh() override;
    void activated() override;

    // For tests.
    void setAdvisor(std::optional<Advisor> advisor);
    QString advisorTitle() const;
    QString advisorText() const;
    SeriesChart* chart() const { return chart_; }

private:
    void showAdvisor();

    std::optional<Advisor> advisor_;
    // The breakdown over the last ticks: the program's, or the page's own without one.
    std::unique_ptr<MemoryPartsSeries> ownParts_;
    const MemoryPartsSeries* parts_;

    BreakdownBar* bar_;
    QLabel* used_;
    QLabel* legend_;
    SeriesChart* chart_;
    QLabel* pressure_;
    QLabel* pressureText_;
    QLabel* swap_;
    QLabel* top_;
    QLabel* advisorSymbol_;
    QLabel* advisorTitle_;
    QLabel* advisorText_;
    QLabel* tiles_;
    QLabel* caption_;
};

SectionPage* makeMemoryPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
