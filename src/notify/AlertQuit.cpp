#include "notify/AlertQuit.h"

#include "core/Log.h"

namespace qm {

std::string quitForAlert(const AlertCenter::QuitRequest& request, const ProcessActions& actions,
                         const std::function<std::string(const std::string& appKey)>& quitApp, bool endsProcesses) {
    if (request.appKey.starts_with("app:")) return quitApp ? quitApp(request.appKey) : std::string();
    if (!endsProcesses) {
        const std::string name = request.appName.empty() ? request.appKey : request.appName;
        return name + " is not an application, so it was left alone.";
    }
    if (request.processes.empty()) {
        // Never the group by name: that would end every namesake the user runs.
        logLine("not quitting " + request.appKey + ": the alert did not record its processes");
        return "Nothing was quit: this alert does not say which processes caused it.";
    }
    return actions.quit(request.processes).text();
}

}  // namespace qm
