#include "app/sections/ExplainPanel.h"

#include "processes/ProcessCommandLine.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QThreadPool>
#include <QVBoxLayout>
#include <algorithm>

#include "app/sections/ProcessChoiceDialog.h"
#include "app/sections/SectionStyle.h"
#include "knowledge/ProcessLibrary.h"
#include "processes/SignatureCache.h"
#include "shell/Explanation.h"

namespace qm::app {

namespace {

QString escaped(const std::string& text) { return shown(text).toHtmlEscaped(); }

QString bullets(const char* heading, const std::vector<std::string>& items) {
    if (items.empty()) return {};
    QString html = QString("<p><b>%1</b></p><ul style=\"margin-left:-20px\">").arg(QString::fromUtf8(heading));
    for (const auto& item : items) html += "<li>" + escaped(item) + "</li>";
    return html + "</ul>";
}

// A group of thousands (a shell's children, a build) would make the panel a long page
// to lay out each tick; its busiest processes are listed, the rest are in the tree.
constexpr size_t listedProcesses = 12;

}  // namespace

ExplainPanel::ExplainPanel(QWidget* parent)
    : QWidget(parent),
      quitter_(ProcessQuit::forThisProcess()),
      actions_(std::make_shared<const ProcessActions>(ProcessActions::system())) {
    setObjectName("explainPanel");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 8, 12, 8);
    title_ = makePageTitle({}, this);
    QFont font = title_->font();
    font.setPointSizeF(font.pointSizeF() * 0.8);
    title_->setFont(font);
    title_->setWordWrap(true);
    subtitle_ = makeText({}, this, true);
    badge_ = makeText({}, this);
    badge_->setObjectName("badge");
    safety_ = makeText({}, this);
    body_ = makeText({}, this);
    body_->setTextFormat(Qt::RichText);
    link_ = new QLabel(this);
    link_->setOpenExternalLinks(true);
    processes_ = makeText({}, this);
    processes_->setTextFormat(Qt::RichText);
    refusal_ = makeText({}, this, true);
    status_ = makeText({}, this, true);
    status_->setObjectName("quitStatus");

    quitButton_ = new QPushButton(QString::fromUtf8(quitText::quit), this);
    forceButton_ = new QPushButton(QString::fromUtf8(quitText::forceQuit), this);
    connect(quitButton_, &QPushButton::clicked, this, &ExplainPanel::quit);
    connect(forceButton_, &QPushButton::clicked, this, &ExplainPanel::forceQuit);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(quitButton_);
    buttons->addWidget(forceButton_);
    buttons->addStretch(1);

    for (QWidget* w : {static_cast<QWidget*>(title_), static_cast<QWidget*>(subtitle_), static_cast<QWidget*>(badge_),
                       static_cast<QWidget*>(safety_), static_cast<QWidget*>(body_), static_cast<QWidget*>(link_),
                       static_cast<QWidget*>(processes_)}) {
        // A long word (a command line's argument, a path) must not widen the panel
        // past its column: the label wraps at spaces and cuts such a word at its edge;
        // the processes' whole command lines are in their tooltip.
        w->setMinimumWidth(1);
        layout->addWidget(w);
    }
    layout->addLayout(buttons);
    layout->addWidget(refusal_);
    layout->addWidget(status_);
    layout->addStretch(1);

    showRow(std::nullopt, std::nullopt);
}

void ExplainPanel::showRow(const std::optional<AppGroup>& group, std::optional<int32_t> pid) {
    const bool sameRow = group && group_ && group->id == group_->id && pid == pid_;
    // A row that went away after a quit leaves its report in view: it says what ended.
    if (!sameRow && group) {
        status_->clear();
        status_->hide();
        commandLines_.clear();
    }
    group_ = group;
    pid_ = pid;
    if (!group) {
        showTextIfAny(title_, {});
        showTextIfAny(subtitle_, {});
        showTextIfAny(badge_, {});
        showTextIfAny(safety_, {});
        showTextIfAny(body_, shown(explainText::nothingSelected).toHtmlEscaped());
        showTextIfAny(link_, {});
        showTextIfAny(processes_, {});
        showTextIfAny(refusal_, {});
        quitButton_->hide();
        forceButton_->hide();
        quittable_ = false;
        badgePath_.clear();
        return;
    }

    const ProcessEntry* entry = library_ ? library_->lookup(*group) : nullptr;
    const ProcessEntry* own = nullptr;
    if (library_ && pid)
        for (const ProcessSample& p : group->processes)
            if (p.pid == *pid) own = library_->lookup(p.name, group->kind != ProcessKind::app);
    const Explanation e = explain(*group, pid, entry, own);
    showTextIfAny(title_, shown(e.title));
    title_->setToolTip(title_->text());  // a name too long for the panel is whole here
    showTextIfAny(subtitle_, shown(e.subtitle));
    const QColor tone = verdictColor(e.safetyTone);
    QString safety =
        QString("<span style=\"color:%1\">\u25cf</span> <b>%2</b>").arg(tone.name(), escaped(e.safetyTitle));
    if (e.safetyNote) safety += " \u2014 " + escaped(*e.safetyNote);
    safety_->setTextFormat(Qt::RichText);
    showTextIfAny(safety_, safety);

    QString body = "<p>" + escaped(e.oneLiner) + "</p>";
    if (e.summary)
        body += QString("<p><b>%1</b><br>%2</p>").arg(QString::fromUtf8(explainText::whatItDoes), escaped(*e.summary));
    body += bullets(explainText::whyBusy, e.whyHigh);
    body += bullets(explainText::whatToDo, e.whatToDo);
    if (e.typical) body += "<p><i>" + escaped(*e.typical) + "</i></p>";
    showTextIfAny(body_, body);
    showTextIfAny(link_, e.webURL ? QString("<a href=\"%1\">%2</a>")
                                        .arg(QString::fromStdString(*e.webURL).toHtmlEscaped(),
                                             QString::fromUtf8(explainText::learnMore))
                                  : QString());

    QString list = QString("<p><b>%1</b></p>").arg(QString::fromUtf8(explainText::processes));
    QString fullCommands;
    for (size_t i = 0; i < e.processes.size() && i < listedProcesses; ++i) {
        const auto& p = e.processes[i];
        list += QString("<p style=\"margin:0\">%1 \u00b7 pid %2 \u00b7 %3</p>")
                    .arg(QString::fromStdString(p.name).toHtmlEscaped())
                    .arg(p.pid)
                    .arg(QString::fromStdString(p.figures).toHtmlEscaped());
        const QString command = commandLine(p.pid);
        if (!command.isEmpty()) {
            list += QString("<p style=\"margin:0 0 4px 12px\"><tt>%1</tt></p>").arg(command.toHtmlEscaped());
            fullCommands += (fullCommands.isEmpty() ? "" : "\n") + QString::number(p.pid) + ": " + command;
        }
    }
    if (e.processes.size() > listedProcesses)
        list += QString("<p style=\"margin:4px 0 0 0\"><i>and %1 more, listed under the row</i></p>")
                    .arg(e.processes.size() - listedProcesses);
    showTextIfAny(processes_, list);
    processes_->setToolTip(fullCommands);

    const auto targets = ProcessQuit::targets(*group, pid);
    const auto refusal = quitter_.refusal(*group, targets);
    showTextIfAny(refusal_, refusal ? shown(*refusal) : QString());
    quitButton_->show();
    forceButton_->show();
    quittable_ = !refusal;
    updateButtons();

    std::string path;
    for (const ProcessSample& p : targets)
        if (!p.path.empty()) {
            path = p.path;
            break;
        }
    setBadge(path);
}

void ExplainPanel::setBadge(const std::string& path) {
    if (path == badgePath_) return;
    badgePath_ = path;
    showTextIfAny(badge_, {});
    if (path.empty()) return;
    QPointer<ExplainPanel> self(this);
    // The answer may come from the signature queue: hop to this panel's thread.
    SignatureCache::shared().lookup(path, [self, path](const SignatureInfo& info) {
        QCoreApplication* app = QCoreApplication::instance();
        if (!app) return;  // the program is shutting down
        QMetaObject::invokeMethod(
            app,
            [self, path, info] {
            if (!self || self->badgePath_ != path) return;
            showTextIfAny(self->badge_,
                          QString("<b>%1</b> \u2014 %2").arg(escaped(info.title()), escaped(info.explanation())));
            },
            Qt::QueuedConnection);
    });
}

QString ExplainPanel::commandLine(int32_t pid) {
    if (auto found = commandLines_.find(pid); found != commandLines_.end()) return found->second;
    // The one command-line reader (a Mac's process arguments too), made one safe line.
    QString text = QString::fromStdString(commandLineText(processCommandLine(pid), 160));
    commandLines_[pid] = text;
    return text;
}

void ExplainPanel::updateButtons() {
    quitButton_->setEnabled(quittable_ && !working_);
    forceButton_->setEnabled(quittable_ && !working_);
}

void ExplainPanel::quit() { act(false); }
void ExplainPanel::forceQuit() { act(true); }
void ExplainPanel::askToQuit() { act(false, true); }

void ExplainPanel::focusActions() {
    for (QPushButton* button : {quitButton_, forceButton_})
        if (button->isVisible() && button->isEnabled()) {
            button->setFocus(Qt::TabFocusReason);
            return;
        }
}

void ExplainPanel::act(bool force, bool alwaysAsk) {
    if (!group_ || working_) return;
    if (choice_) {
        choice_->raise();
        return;
    }
    // The targets are fixed now, from what the user sees: (pid, start time) each.
    const QuitPlan plan = quitter_.plan(*group_, pid_, force);
    if (std::find(plan.choosable.begin(), plan.choosable.end(), true) == plan.choosable.end()) {
        showTextIfAny(status_, shown(quitter_.refusal(*group_, plan.listed).value_or(quitText::vanished)));
        return;
    }
    if (!plan.ask && !alwaysAsk) {
        // Every listed process goes to the actions, which leave other users' alone and
        // say so in the report.
        std::vector<ProcessRef> targets;
        for (const ProcessSample& p : plan.listed) targets.push_back(refOf(p));
        carryOut(force, std::move(targets));
        return;
    }
    std::vector<ProcessChoiceDialog::Line> lines;
    for (size_t i = 0; i < plan.listed.size(); ++i) {
        const ProcessSample& p = plan.listed[i];
        QString text = QString("%1 \u00b7 PID %2").arg(QString::fromStdString(p.name)).arg(p.pid);
        QString command = commandLine(p.pid);
        if (command.size() > 60) command = command.left(59) + "\u2026";
        if (!command.isEmpty()) text += " \u00b7 " + command;
        if (!plan.choosable[i]) text += QString(" (%1)").arg(QString::fromUtf8(quitText::notChoosable));
        lines.push_back({text, plan.choosable[i], plan.chosen[i]});
    }
    ProcessChoiceDialog::Texts texts;
    if (force) {
        texts = {shown(quitText::confirmTitle), shown(quitText::forceQuestion(group_->name, plan.listed.size())),
                 shown(quitText::confirmWarning), QString::fromUtf8(quitText::confirmButton), true};
    } else {
        texts = {QString::fromStdString(std::string(quitText::quit) + " " + group_->name),
                 shown(quitText::quitQuestion(group_->name, plan.listed.size())), QString(),
                 QString::fromUtf8(quitText::quit), false};
    }
    auto* dialog = new ProcessChoiceDialog(texts, lines, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    choice_ = dialog;
    connect(dialog, &QDialog::finished, this, [this] { choice_ = nullptr; });
    connect(dialog, &QDialog::accepted, this, [this, dialog, plan, force] {
        std::vector<ProcessRef> targets;
        for (size_t i : dialog->chosen()) targets.push_back(refOf(plan.listed[i]));
        carryOut(force, std::move(targets));
    });
    dialog->open();
}

void ExplainPanel::carryOut(bool force, std::vector<ProcessRef> targets) {
    working_ = true;
    updateButtons();
    showTextIfAny(status_, QString::fromStdString(quitText::working(force, targets.size())));
    QPointer<ExplainPanel> self(this);
    std::shared_ptr<const ProcessActions> actions = actions_;
    // A quit waits a few seconds for the processes to end: never on this thread.
    QThreadPool::globalInstance()->start([self, actions, force, targets = std::move(targets)] {
        const ActionReport report = force ? actions->forceQuit(targets) : actions->quit(targets);
        std::string text = report.text();
        if (!force && report.stillRunning > 0) text += " Force Quit ends what is still running.";
        QCoreApplication* app = QCoreApplication::instance();
        if (!app) return;  // the program is shutting down
        QMetaObject::invokeMethod(
            app,
            [self, text] {
            if (!self) return;
            self->working_ = false;
            self->updateButtons();
            showTextIfAny(self->status_, shown(text));
            },
            Qt::QueuedConnection);
    });
}

QString ExplainPanel::titleText() const { return title_->text(); }
QString ExplainPanel::bodyText() const { return body_->text() + refusal_->text() + processes_->text(); }
QString ExplainPanel::statusText() const { return status_->text(); }
QString ExplainPanel::badgeText() const { return badge_->text(); }
bool ExplainPanel::quitEnabled() const { return quitButton_->isEnabled() && !quitButton_->isHidden(); }

}  // namespace qm::app
