// The overview: the status summary (larger than in the quick look) above one card per
// part of the machine: CPU with its cores, memory and pressure, network, disk,
// battery and power, and the thermal state.
#include "app/overview/OverviewPage.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QResizeEvent>
#include <QScrollArea>
#include <QVBoxLayout>
#include <vector>

#include "app/widgets/CoreBars.h"
#include "app/widgets/Sparkline.h"
#include "app/widgets/StatusHeader.h"
#include "app/widgets/Tones.h"
#include "engine/Monitor.h"
#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"
#include "knowledge/Insights.h"
#include "shell/MenuBarLabel.h"

namespace qm::app {

namespace {

QString qs(const std::string& text) { return QString::fromStdString(forThisPlatform(text)); }

QLabel* bigValue(QWidget* parent, const char* name) {
    auto* label = new QLabel(parent);
    label->setObjectName(name);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 1.7);
    font.setBold(true);
    label->setFont(font);
    return label;
}

QLabel* line(QWidget* parent, const char* name = nullptr) {
    auto* label = new QLabel(parent);
    if (name) label->setObjectName(name);
    label->setWordWrap(true);
    return label;
}

class OverviewPage : public SectionPage {
public:
    OverviewPage(AppContext& context, QWidget* parent) : SectionPage(Section::overview, context, parent) {
        auto* outer = new QVBoxLayout(this);
        outer->setContentsMargins(0, 0, 0, 0);
        auto* scroll = new QScrollArea(this);
        scroll->setAccessibleName(QString::fromStdString(title(Section::overview)));
        scroll->setWidgetResizable(true);
        scroll->setFrameShape(QFrame::NoFrame);
        auto* body = new QWidget(scroll);
        auto* layout = new QVBoxLayout(body);
        layout->setContentsMargins(24, 20, 24, 20);
        layout->setSpacing(16);
        header_ = new StatusHeader(true, body);
        layout->addWidget(header_);

        grid_ = new QGridLayout;
        grid_->setSpacing(14);
        // CPU
        auto* cpu = card("CPU", body);
        cpuValue_ = bigValue(cpu, "cpuValue");
        cpuDetail_ = line(cpu);
        cpuSpark_ = new Sparkline(cpuColor(), cpu);
        cores_ = new CoreBars(cpu);
        cpu->layout()->addWidget(cpuValue_);
        cpu->layout()->addWidget(cpuSpark_);
        cpu->layout()->addWidget(cpuDetail_);
        cpu->layout()->addWidget(cores_);
        cards_.push_back(cpu);
        // Memory
        auto* memory = card("Memory", body);
        memoryValue_ = bigValue(memory, "memoryValue");
        memorySpark_ = new Sparkline(memoryColor(), memory);
        memoryDetail_ = line(memory);
        pressure_ = line(memory, "pressure");
        memory->layout()->addWidget(memoryValue_);
        memory->layout()->addWidget(memorySpark_);
        memory->layout()->addWidget(memoryDetail_);
        memory->layout()->addWidget(pressure_);
        cards_.push_back(memory);
        // Network
        auto* network = card("Network", body);
        networkValue_ = bigValue(network, "networkValue");
        rxSpark_ = new Sparkline(networkColor(), network);
        txSpark_ = new Sparkline(networkColor().darker(140), network);
        networkDetail_ = line(network);
        network->layout()->addWidget(networkValue_);
        network->layout()->addWidget(rxSpark_);
        network->layout()->addWidget(txSpark_);
        network->layout()->addWidget(networkDetail_);
        cards_.push_back(network);
        // Disk
        auto* disk = card("Disk", body);
        diskValue_ = bigValue(disk, "diskValue");
        readSpark_ = new Sparkline(diskColor(), disk);
        writeSpark_ = new Sparkline(diskColor().darker(140), disk);
        diskDetail_ = line(disk);
        disk->layout()->addWidget(diskValue_);
        disk->layout()->addWidget(readSpark_);
        disk->layout()->addWidget(writeSpark_);
        disk->layout()->addWidget(diskDetail_);
        cards_.push_back(disk);
        // Battery and power
        auto* power = card("Battery and power", body);
        powerValue_ = bigValue(power, "powerValue");
        powerSpark_ = new Sparkline(powerColor(), power);
        batteryDetail_ = line(power, "battery");
        power->layout()->addWidget(powerValue_);
        power->layout()->addWidget(powerSpark_);
        power->layout()->addWidget(batteryDetail_);
        cards_.push_back(power);
        // Thermal state
        auto* thermal = card("Thermal state", body);
        thermalValue_ = bigValue(thermal, "thermalValue");
        tempSpark_ = new Sparkline(severityColor(1), thermal);
        thermalDetail_ = line(thermal);
        thermal->layout()->addWidget(thermalValue_);
        thermal->layout()->addWidget(tempSpark_);
        thermal->layout()->addWidget(thermalDetail_);
        cards_.push_back(thermal);
        arrange(2);
        layout->addLayout(grid_);
        layout->addStretch(1);
        scroll->setWidget(body);
        outer->addWidget(scroll);
    }

    void refresh() override {
        const Monitor& monitor = *context().monitor;
        const Snapshot& s = monitor.snapshot();
        header_->setSnapshot(s);

        cpuValue_->setText(qs(Fmt::percent(s.cpu.total)));
        cpuSpark_->setSeries(monitor.cpuSeries(), 100);
        cpuDetail_->setText(qs("User " + Fmt::percent(s.cpu.user) + " \u00B7 System " + Fmt::percent(s.cpu.system) +
                               " \u00B7 Load " + Fmt::number(s.cpu.load[0], 2) + " \u00B7 " +
                               std::to_string(s.cpu.perCore.size()) + " cores"));
        cores_->setValues(s.cpu.perCore);

        memoryValue_->setText(qs(Fmt::bytes(static_cast<double>(s.memory.used())) + " of " +
                                 Fmt::bytes(static_cast<double>(s.memory.total))));
        memorySpark_->setSeries(monitor.memorySeries(), 100);
        memoryDetail_->setText(qs("Apps " + Fmt::bytes(static_cast<double>(s.memory.app)) + " \u00B7 Wired " +
                                  Fmt::bytes(static_cast<double>(s.memory.wired)) + " \u00B7 Compressed " +
                                  Fmt::bytes(static_cast<double>(s.memory.compressed)) + " \u00B7 Cached " +
                                  Fmt::bytes(static_cast<double>(s.memory.cached)) + " \u00B7 Swap " +
                                  Fmt::bytes(static_cast<double>(s.memory.swapUsed))));
        const int pressureLevel = static_cast<int>(s.memory.pressureLevel);
        pressure_->setText(QString("<b style='color:%1'>%2</b> \u2014 %3")
                               .arg(severityColor(pressureLevel).name(), qs(caption(s.memory.pressureLevel)),
                                    qs(Insights::pressureExplanation(s.memory.pressureLevel)).toHtmlEscaped()));

        networkValue_->setText(
            qs("\u2193 " + Fmt::rate(s.network.rxRate) + "   \u2191 " + Fmt::rate(s.network.txRate)));
        rxSpark_->setSeries(monitor.rxSeries(), 64 * 1024);
        txSpark_->setSeries(monitor.txSeries(), 64 * 1024);
        // The interfaces count from when the system started, not from Quillmere's start.
        networkDetail_->setText(qs("Since the system started: received " +
                                   Fmt::bytes(static_cast<double>(s.network.rxTotal)) + ", sent " +
                                   Fmt::bytes(static_cast<double>(s.network.txTotal))));

        diskValue_->setText(qs("Read " + Fmt::rate(s.disk.readRate) + "   Write " + Fmt::rate(s.disk.writeRate)));
        readSpark_->setSeries(monitor.diskReadSeries(), 256 * 1024);
        writeSpark_->setSeries(monitor.diskWriteSeries(), 256 * 1024);
        diskDetail_->setText(qs(Fmt::bytes(static_cast<double>(s.disk.freeSpace)) + " free of " +
                                Fmt::bytes(static_cast<double>(s.disk.totalSpace))));

        powerValue_->setText(qs(Fmt::watts(menuBarPower(s))));
        powerSpark_->setSeries(monitor.powerSeries(), 5);
        std::string battery;
        if (!s.battery.present) {
            battery = "No battery: on external power.";
        } else {
            battery = "Battery " + Fmt::percent(s.battery.percent) +
                      (s.battery.isCharging ? ", charging"
                       : s.battery.onAC     ? ", on external power"
                                            : ", on battery");
            if (s.battery.minutesRemaining && !s.battery.onAC)
                battery += ", " + Fmt::minutes(*s.battery.minutesRemaining) + " left";
            if (s.battery.healthPercent) battery += " \u00B7 health " + Fmt::percent(*s.battery.healthPercent);
            if (s.battery.cycleCount) battery += " \u00B7 " + std::to_string(*s.battery.cycleCount) + " cycles";
        }
        batteryDetail_->setText(qs(battery));

        const Insights::ThermalLabel thermal = Insights::thermalLabel(s.thermal);
        thermalValue_->setText(
            qs(s.thermal.socTemp ? thermal.label + "  " + Fmt::temp(s.thermal.socTemp) : thermal.label));
        thermalValue_->setStyleSheet(QString("color: %1;").arg(verdictColor(thermal.tone).name()));
        tempSpark_->setSeries(monitor.tempSeries(), 60);
        thermalDetail_->setText(qs(thermal.detail));
    }

protected:
    void resizeEvent(QResizeEvent* event) override {
        SectionPage::resizeEvent(event);
        arrange(columnsFor(width()));
    }

private:
    // One column in a narrow window, two at the usual size, three on a wide screen,
    // so the cards neither clip their figures nor leave half the page empty.
    static int columnsFor(int width) { return width >= 1400 ? 3 : width >= 720 ? 2 : 1; }

    void arrange(int columns) {
        if (columns == columns_) return;
        columns_ = columns;
        for (QWidget* card : cards_) grid_->removeWidget(card);
        for (int i = 0; i < static_cast<int>(cards_.size()); ++i)
            grid_->addWidget(cards_[static_cast<size_t>(i)], i / columns, i % columns);
        for (int column = 0; column < 3; ++column) grid_->setColumnStretch(column, column < columns ? 1 : 0);
    }

    static QGroupBox* card(const char* title, QWidget* parent) {
        auto* box = new QGroupBox(title, parent);
        auto* layout = new QVBoxLayout(box);
        layout->setSpacing(6);
        return box;
    }

    StatusHeader* header_ = nullptr;
    QGridLayout* grid_ = nullptr;
    std::vector<QWidget*> cards_;
    int columns_ = 0;
    QLabel *cpuValue_ = nullptr, *cpuDetail_ = nullptr, *memoryValue_ = nullptr, *memoryDetail_ = nullptr,
           *pressure_ = nullptr, *networkValue_ = nullptr, *networkDetail_ = nullptr, *diskValue_ = nullptr,
           *diskDetail_ = nullptr, *powerValue_ = nullptr, *batteryDetail_ = nullptr, *thermalValue_ = nullptr,
           *thermalDetail_ = nullptr;
    Sparkline *cpuSpark_ = nullptr, *memorySpark_ = nullptr, *rxSpark_ = nullptr, *txSpark_ = nullptr,
              *readSpark_ = nullptr, *writeSpark_ = nullptr, *powerSpark_ = nullptr, *tempSpark_ = nullptr;
    CoreBars* cores_ = nullptr;
};

}  // namespace

SectionPage* makeOverviewPage(AppContext& context, QWidget* parent) { return new OverviewPage(context, parent); }

}  // namespace qm::app
