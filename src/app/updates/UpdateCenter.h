// Software updates. On a Mac, Sparkle's standard updater, started only when the
// bundle carries a usable signing key (SUPublicEDKey); on Linux the package manager
// updates the program, so nothing starts and "Check for Updates…" is never offered.
#pragma once

#include <QObject>

#include "shell/UpdateNotes.h"

namespace qm::app {

class UpdateCenter : public QObject {
    Q_OBJECT
public:
    static UpdateCenter& shared();

    // Starts the updater once; later calls do nothing.
    void start();
    // True when an updater runs, i.e. when "Check for Updates…" belongs in the menus.
    bool isRunning() const { return running_; }
    void checkForUpdates();

    const UpdateState& state() const { return state_; }
    // The updater found a version to show (main thread).
    void setAvailableVersion(std::optional<std::string> version);

signals:
    void stateChanged();

private:
    UpdateCenter() = default;
    bool running_ = false;
    UpdateState state_;
};

}  // namespace qm::app
