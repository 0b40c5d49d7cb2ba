#include "app/onboarding/OnboardingWindow.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "engine/Monitor.h"
#include "shell/OnboardingText.h"

namespace qm::app {

namespace {
constexpr const char* demandId = "onboarding";

QLabel* paragraph(const std::string& text, QWidget* parent) {
    auto* label = new QLabel(QString::fromStdString(text), parent);
    label->setWordWrap(true);
    return label;
}
}  // namespace

std::function<void()>& OnboardingWindow::requestNotifications() {
    static std::function<void()> request;
    return request;
}

OnboardingWindow::OnboardingWindow(AppContext& context, QWidget* parent) : QDialog(parent), context_(context) {
    setObjectName("onboarding");
    const OnboardingText text =
        onboardingText(context.history ? context.history->path() : std::string("(no history)"), context.recording);
    setWindowTitle(QString::fromStdString(text.title));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 20);
    layout->setSpacing(12);
    auto* title = new QLabel(QString::fromStdString(text.title), this);
    QFont font = title->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.6);
    title->setFont(font);
    layout->addWidget(title);
    layout->addWidget(paragraph(text.intro, this));
    layout->addWidget(paragraph(text.records, this));
    layout->addWidget(paragraph(text.nothingLeaves, this));
    layout->addWidget(paragraph(text.notifications, this));
    auto* allow = new QPushButton(QString::fromStdString(text.allowButton), this);
    allow->setObjectName("allowNotifications");
    allow->setEnabled(static_cast<bool>(requestNotifications()));
    connect(allow, &QPushButton::clicked, this, [] {
        if (requestNotifications()) requestNotifications()();
    });
    layout->addWidget(allow, 0, Qt::AlignLeft);
    layout->addWidget(paragraph(text.menuBarNote, this));
    auto* start = new QPushButton(QString::fromStdString(text.startButton), this);
    start->setObjectName("start");
    start->setDefault(true);
    connect(start, &QPushButton::clicked, this, [this] {
        emit completed();
        accept();
    });
    layout->addWidget(start, 0, Qt::AlignRight);
    setFixedWidth(520);
}

OnboardingWindow::~OnboardingWindow() { context_.monitor->removeDemand(demandId); }

void OnboardingWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    context_.monitor->insertDemand(demandId);
}

void OnboardingWindow::hideEvent(QHideEvent* event) {
    QDialog::hideEvent(event);
    context_.monitor->removeDemand(demandId);
}

}  // namespace qm::app
