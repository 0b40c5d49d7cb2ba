#include "app/sections/SensorsPage.h"

#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

#include "app/sections/SectionStyle.h"
#include "app/widgets/SeriesChart.h"
#include "fmt/Fmt.h"
#include "shell/MachineSections.h"

namespace qm::app {

SensorsPage::SensorsPage(AppContext& context, QWidget* parent) : SectionPage(Section::sensors, context, parent) {
    using namespace sections::sectionText;
    const ScrollingPage page = makeScrollingPage(this, sensorsTitle);
    QWidget* content = page.content;
    QVBoxLayout* layout = page.layout;

    thermalCard_ = new Card(thermalTitle, content);
    thermal_ = makeText({}, thermalCard_);
    thermal_->setTextFormat(Qt::RichText);
    thermalText_ = makeText({}, thermalCard_, true);
    thermalCard_->body()->addWidget(thermal_);
    thermalCard_->body()->addWidget(thermalText_);
    layout->addWidget(thermalCard_);

    temps_ = new Card("Temperatures", content);
    chart_ = new SeriesChart(temps_);
    chart_->setObjectName("temperatureChart");
    chart_->setValueText([](double v) { return QString::fromStdString(Fmt::temp(v)); });
    groups_ = makeText({}, temps_);
    groups_->setTextFormat(Qt::RichText);
    temps_->body()->addWidget(chart_);
    temps_->body()->addWidget(groups_);
    layout->addWidget(temps_);

    none_ = new Card(noSensorsTitle, content);
    none_->setObjectName("noSensors");
    none_->body()->addWidget(makeText(shown(noSensorsText), none_, true));
    layout->addWidget(none_);

    auto* fans = new Card(fansTitle, content);
    fans_ = makeText({}, fans);
    fans->body()->addWidget(fans_);
    layout->addWidget(fans);
    layout->addStretch(1);
}

void SensorsPage::refresh() {
    const Monitor& monitor = *context().monitor;
    const ThermalStats& t = monitor.snapshot().thermal;
    const auto label = Insights::thermalLabel(t);
    setTextIfChanged(thermal_,
                     QString("<span style=\"color:%1\">\u25cf</span> <b>%2</b>")
                         .arg(verdictColor(label.tone).name(), QString::fromStdString(label.label).toHtmlEscaped()));
    setTextIfChanged(thermalText_, shown(label.detail));

    const auto groups = sections::sensorGroups(t);
    none_->setVisible(groups.empty());
    // Without sensors the card below says so once; a state raised by throttling stays.
    thermalCard_->setVisible(!groups.empty() || t.hasSensors || t.state != ThermalState::nominal);
    temps_->setVisible(!groups.empty());
    QString html;
    for (const auto& group : groups) {
        html += QString(
                    "<p style=\"margin:6px 0 2px 0\"><b>%1</b> &nbsp; <span style=\"color:gray\">max</span> "
                    "<b>%2</b></p>")
                    .arg(QString::fromStdString(group.title), QString::fromStdString(Fmt::temp(group.maximum)));
        for (const auto& r : group.readings)
            html +=
                QString("<span style=\"margin-left:12px\">%1</span> %2<br>")
                    .arg(QString::fromStdString(r.name).toHtmlEscaped(), QString::fromStdString(Fmt::temp(r.value)));
    }
    setTextIfChanged(groups_, html);
    chart_->setSeries({{"Hottest CPU sensor", severityColor(1), monitor.tempSeries()}});

    QStringList fans;
    for (const auto& fan : t.fans) fans << QString::fromStdString(sections::fanLine(fan));
    setTextIfChanged(fans_, fans.isEmpty() ? QString::fromUtf8(sections::sectionText::noFans) : fans.join('\n'));
}

SectionPage* makeSensorsPage(AppContext& context, QWidget* parent) { return new SensorsPage(context, parent); }

}  // namespace qm::app
