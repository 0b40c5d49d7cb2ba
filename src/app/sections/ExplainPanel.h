// The panel beside the apps table: what the selected app or process is (from the
// process library), whether it is safe to quit, who made it (signature or package
// badge), its processes with their PIDs and command lines, and Quit / Force Quit.
#pragma once

#include <QPointer>
#include <QWidget>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/sections/ProcessChoiceDialog.h"
#include "core/Snapshot.h"
#include "processes/ProcessActions.h"
#include "shell/ProcessQuit.h"

class QLabel;
class QPushButton;

namespace qm {
class ProcessLibrary;
}

namespace qm::app {

class ExplainPanel : public QWidget {
    Q_OBJECT
public:
    explicit ExplainPanel(QWidget* parent = nullptr);

    // Shows a group (or one of its processes); absent shows the prompt. Called on every
    // refresh: texts that did not change are left alone.
    void showRow(const std::optional<AppGroup>& group, std::optional<int32_t> pid);

    void setLibrary(const ProcessLibrary* library) { library_ = library; }
    // Who "this user" is, and what sends the signals (tests pass their own).
    void setQuitter(ProcessQuit quitter) { quitter_ = quitter; }
    void setActions(std::shared_ptr<const ProcessActions> actions) { actions_ = std::move(actions); }

    // For tests: the panel's texts.
    QString titleText() const;
    QString bodyText() const;
    QString statusText() const;
    QString badgeText() const;
    bool quitEnabled() const;
    // The open confirmation, if any; true while a quit is being carried out.
    ProcessChoiceDialog* choice() const { return choice_; }
    bool working() const { return working_; }

public slots:
    // A single process or an app quits at once; namesakes are asked about first.
    void quit();
    // Always asks first; nothing is sent unless the user presses "Force Quit".
    void forceQuit();
    // The Delete key's quit: asks first whatever the selection, listing what would end.
    void askToQuit();
    // Return in the table: the keyboard moves on to the panel's buttons.
    void focusActions();

private:
    void act(bool force, bool alwaysAsk = false);
    // Sends on a pool thread and shows the report when it is back.
    void carryOut(bool force, std::vector<ProcessRef> targets);
    void updateButtons();
    void setBadge(const std::string& path);
    QString commandLine(int32_t pid);

    const ProcessLibrary* library_ = nullptr;
    ProcessQuit quitter_;
    std::shared_ptr<const ProcessActions> actions_;
    QPointer<ProcessChoiceDialog> choice_;
    bool working_ = false;
    bool quittable_ = false;
    std::optional<AppGroup> group_;
    std::optional<int32_t> pid_;
    std::string badgePath_;
    std::map<int32_t, QString> commandLines_;  // read once per shown process

    QLabel* title_;
    QLabel* subtitle_;
    QLabel* badge_;
    QLabel* safety_;
    QLabel* body_;
    QLabel* processes_;
    QLabel* link_;
    QLabel* refusal_;
    QLabel* status_;
    QPushButton* quitButton_;
    QPushButton* forceButton_;
};

}  // namespace qm::app
