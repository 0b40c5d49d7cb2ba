// The network section, which also holds the disk: download and upload rates as a
// series with the totals since the system started, disk reads and writes, and the
// startup disk's free space.
#pragma once

#include "app/sections/SectionPage.h"

class QLabel;

namespace qm::app {

class SeriesChart;

class NetworkPage : public SectionPage {
    Q_OBJECT
public:
    NetworkPage(AppContext& context, QWidget* parent = nullptr);
    void refresh() override;

    SeriesChart* networkChart() const { return net_; }

private:
    SeriesChart* net_;
    QLabel* netNow_;
    QLabel* totals_;
    SeriesChart* disk_;
    QLabel* diskNow_;
    QLabel* space_;
};

SectionPage* makeNetworkPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
