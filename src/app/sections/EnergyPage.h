// The energy section: the power drawn now with its sentence, the battery card, the
// apps drawing the most power now, what drained the battery since it was unplugged,
// and today's per-app totals from the history. On Linux per-app figures are
// estimates and are marked as such.
#pragma once

#include <vector>

#include "app/sections/SectionPage.h"
#include "core/HistoryRecords.h"

class QLabel;

namespace qm::app {

class Card;

class EnergyPage : public SectionPage {
    Q_OBJECT
public:
    EnergyPage(AppContext& context, QWidget* parent = nullptr);

    void refresh() override;
    void activated() override;

    void setTodayTotals(std::vector<AppTotal> totals);  // tests, and the history's answer

private:
    void loadToday();

    std::vector<AppTotal> today_;
    bool todayLoaded_ = false;
    double todayAsked_ = 0;  // when today's totals were last asked for

    QLabel* watts_;
    QLabel* sentence_;
    Card* battery_;
    QLabel* batteryText_;
    QLabel* powerNow_;
    QLabel* estimateNote_;
    Card* drain_;
    QLabel* drainSubtitle_;
    QLabel* drainText_;
    QLabel* todayText_;
};

SectionPage* makeEnergyPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
