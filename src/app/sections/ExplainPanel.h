// The panel beside the apps table: what the selected app or process is (from the
// process library), whether it is safe to quit, who made it (signature or package
// badge), its processes with their PIDs and command lines, and Quit / Force Quit.
#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "core/Snapshot.h"
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

    // The current group's latest state, looked up again after the confirmation.
    std::function<std::optional<AppGroup>(const std::string& id)> currentGroup;
    // Asks the user to confirm a force quit; the default shows a dialog.
    std::function<bool(const QString& name)> confirmForceQuit;
    void setLibrary(const ProcessLibrary* library) { library_ = library; }
    void setQuitter(ProcessQuit quitter) { quitter_ = std::move(quitter); }

    // For tests: the panel's texts.
    QString titleText() const;
    QString bodyText() const;
    QString statusText() const;
    QString badgeText() const;
    bool quitEnabled() const;

public slots:
    void quit();
    void forceQuit();

private:
    void setBadge(const std::string& path);
    QString commandLine(int32_t pid);

    const ProcessLibrary* library_ = nullptr;
    ProcessQuit quitter_;
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
