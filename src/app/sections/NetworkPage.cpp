#include "app/sections/NetworkPage.h"

#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

#include "app/sections/SectionStyle.h"
#include "app/widgets/SeriesChart.h"
#include "fmt/Fmt.h"
#include "shell/MachineSections.h"

namespace qm::app {

namespace {

QString rateText(double v) { return QString::fromStdString(Fmt::rate(v)); }

QString legend(const QColor& a, const char* aName, double aValue, const QColor& b, const char* bName, double bValue) {
    return QString(
               "<span style=\"color:%1\">\u25a0</span> %2 <b>%3</b> &nbsp;&nbsp; "
               "<span style=\"color:%4\">\u25a0</span> %5 <b>%6</b>")
        .arg(a.name(), QString::fromUtf8(aName), rateText(aValue), b.name(), QString::fromUtf8(bName),
             rateText(bValue));
}

}  // namespace

NetworkPage::NetworkPage(AppContext& context, QWidget* parent) : SectionPage(Section::network, context, parent) {
    using namespace sections::sectionText;
    const ScrollingPage page = makeScrollingPage(this, networkTitle);
    QWidget* content = page.content;
    QVBoxLayout* layout = page.layout;

    auto* network = new Card("Network", content);
    netNow_ = makeText({}, network);
    netNow_->setTextFormat(Qt::RichText);
    net_ = new SeriesChart(network);
    net_->setObjectName("networkChart");
    net_->setMinimumHeight(150);
    net_->setValueText(rateText);
    net_->setMinimumTop(10 * 1024);
    totals_ = makeText({}, network, true);
    network->body()->addWidget(netNow_);
    network->body()->addWidget(net_);
    network->body()->addWidget(totals_);
    layout->addWidget(network);

    auto* disk = new Card("Disk", content);
    diskNow_ = makeText({}, disk);
    diskNow_->setTextFormat(Qt::RichText);
    disk_ = new SeriesChart(disk);
    disk_->setObjectName("diskChart");
    disk_->setMinimumHeight(150);
    disk_->setValueText(rateText);
    disk_->setMinimumTop(10 * 1024);
    space_ = makeText({}, disk);
    disk->body()->addWidget(diskNow_);
    disk->body()->addWidget(disk_);
    disk->body()->addWidget(space_);
    layout->addWidget(disk);
    layout->addStretch(1);
}

void NetworkPage::refresh() {
    using namespace sections::sectionText;
    const Monitor& monitor = *context().monitor;
    const Snapshot& s = monitor.snapshot();
    // The overview's colours: received and read plain, sent and written darker.
    const QColor in = networkColor(), out = networkColor().darker(140);
    setTextIfChanged(netNow_, legend(in, download, s.network.rxRate, out, upload, s.network.txRate));
    net_->setSeries({{download, in, monitor.rxSeries()}, {upload, out, monitor.txSeries()}});
    setTextIfChanged(totals_, QString::fromStdString(sections::networkTotalsLine(s.network, s.uptime)));
    const QColor read = diskColor(), written = diskColor().darker(140);
    setTextIfChanged(diskNow_, legend(read, diskRead, s.disk.readRate, written, diskWrite, s.disk.writeRate));
    disk_->setSeries({{diskRead, read, monitor.diskReadSeries()}, {diskWrite, written, monitor.diskWriteSeries()}});
    setTextIfChanged(space_,
                     QString("%1: %2").arg(startupDisk, QString::fromStdString(sections::diskSpaceLine(s.disk))));
}

SectionPage* makeNetworkPage(AppContext& context, QWidget* parent) { return new NetworkPage(context, parent); }

}  // namespace qm::app
