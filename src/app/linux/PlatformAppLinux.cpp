#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

#include "app/PlatformApp.h"
#include "core/Paths.h"
#include "shell/Autostart.h"
#include "shell/SettingsText.h"

namespace qm::app {

namespace {

std::string configHome() {
    const QByteArray set = qgetenv("XDG_CONFIG_HOME");
    if (!set.isEmpty()) return set.toStdString();
    return homeDirectory() + "/.config";
}

// Started from PATH by name, so a package update that moves nothing keeps working;
// a program run from elsewhere (a build folder) is started by its full path.
std::string executableForAutostart() {
    const QString self = QCoreApplication::applicationFilePath();
    const QString found = QStandardPaths::findExecutable("quillmere-app");
    return (!found.isEmpty() && found == self) ? "quillmere-app" : self.toStdString();
}

QStringList firstInstalled() {
    for (const auto& command : linuxLanguageSettingsCommands()) {
        if (QStandardPaths::findExecutable(QString::fromStdString(command[0])).isEmpty()) continue;
        QStringList parts;
        for (const auto& part : command) parts << QString::fromStdString(part);
        return parts;
    }
    return {};
}

}  // namespace

void applyActivationPolicy(ActivationPolicy) {}

// A Quit event on Linux comes from the program's own windows; the session's end
// arrives as the session manager's request, which the caller adds.
QuitTrigger currentQuitTrigger() {
    QuitTrigger trigger;
    trigger.keyOrClick = true;
    return trigger;
}

// Linux has no reopen event; the macOS side keeps the function, hence by value.
void watchReopen(std::function<void()> /*onReopen*/) {}  // NOLINT(performance-unnecessary-value-param)
bool activationPolicyIsRegular() { return true; }

bool launchAtLoginEnabled() { return autostartEnabled(autostartPath(configHome())); }

QString setLaunchAtLogin(bool enabled) {
    return QString::fromStdString(setAutostart(autostartPath(configHome()), enabled, executableForAutostart()));
}

bool canOpenLanguageSettings() { return !firstInstalled().isEmpty(); }

bool openLanguageSettings() {
    QStringList command = firstInstalled();
    if (command.isEmpty()) return false;
    const QString program = command.takeFirst();
    return QProcess::startDetached(program, command);
}

}  // namespace qm::app
