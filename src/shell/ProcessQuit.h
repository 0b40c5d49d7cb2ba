// Quitting from the apps table: a polite request (SIGTERM) first, and the forced
// signal (SIGKILL) only once the user has confirmed it. Only the user's own processes
// can be signalled; for the others (another user's, the kernel, Quillmere itself) the
// panel says why instead of failing silently. The sending itself is injected so the
// decisions are tested without signalling anything.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

class ProcessQuit {
public:
    // Sends a signal; returns 0 or the errno of the failure.
    using Sender = std::function<int(int32_t pid, int signal)>;

    // `ownUID` and `ownPID` identify this program's user and process.
    ProcessQuit(uint32_t ownUID, int32_t ownPID, Sender sender);
    // The real kill(2), this process's uid and pid.
    static ProcessQuit system();

    // The processes a quit of the group (or of one of its processes) is aimed at.
    static std::vector<ProcessSample> targets(const AppGroup& group, std::optional<int32_t> pid);

    // Why none of `targets` can be quit, or absent when at least one can.
    std::optional<std::string> refusal(const AppGroup& group, const std::vector<ProcessSample>& targets) const;
    // Why this one process cannot be quit, or absent.
    std::optional<std::string> refusal(const ProcessSample& process, const AppGroup& group) const;

    struct Report {
        int signalled = 0;  // processes the signal reached
        int gone = 0;       // already exited
        int refused = 0;    // not ours, or the kernel refused
        std::string text;   // one line for the panel
    };
    // SIGTERM to every target that can be quit.
    Report quit(const AppGroup& group, const std::vector<ProcessSample>& targets);
    // SIGKILL to every target that can be quit: only after the confirmation.
    Report forceQuit(const AppGroup& group, const std::vector<ProcessSample>& targets);

private:
    Report send(const AppGroup& group, const std::vector<ProcessSample>& targets, int signal);

    uint32_t ownUID_;
    int32_t ownPID_;
    Sender sender_;
};

namespace quitText {
inline constexpr const char* quit = "Quit";
inline constexpr const char* forceQuit = "Force Quit…";
inline constexpr const char* confirmTitle = "Force Quit Process";
inline constexpr const char* confirmWarning = "Unsaved changes in this app will be lost.";
inline constexpr const char* confirmButton = "Force Quit";
inline constexpr const char* otherUser =
    "Runs as another user, so Quillmere cannot quit it. Only that user or an administrator can.";
inline constexpr const char* kernel = "This is the operating system's kernel. It cannot be quit.";
inline constexpr const char* itself = "This is Quillmere itself. Quit it from its own menu.";
inline constexpr const char* vanished = "It has already quit.";
// "Asked Firefox to quit.", "Force quit Firefox.", with how many could not be reached.
std::string asked(const std::string& name, int refused);
std::string forced(const std::string& name, int refused);
}  // namespace quitText

}  // namespace qm
