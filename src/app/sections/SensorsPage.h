// The sensors section: the thermal state, temperatures by group with each group's
// hottest reading, the fans, and a plain state for machines without sensors.
#pragma once

#include "app/sections/SectionPage.h"

class QLabel;

namespace qm::app {

class Card;
class SeriesChart;

class SensorsPage : public SectionPage {
    Q_OBJECT
public:
    SensorsPage(AppContext& context, QWidget* parent = nullptr);
    void refresh() override;

private:
    Card* thermalCard_;
    QLabel* thermal_;
    QLabel* thermalText_;
    Card* temps_;
    QLabel* groups_;
    SeriesChart* chart_;
    Card* none_;
    QLabel* fans_;
};

SectionPage* makeSensorsPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
