// Quitting from the apps table, decided before anything is sent: which processes a
// Quit or Force Quit on the selected row is aimed at, which of them are chosen at
// first, and whether the user is asked. An app's group quits whole, the way its own
// Quit would; a group of namesakes (processes grouped by name, separate programs
// started from different places) asks, with only the busiest chosen; a single process
// quits at once. Force Quit always asks. Only the user's own processes can be chosen;
// for the others (another user's, the kernel, Quillmere itself) the panel says why.
// The sending is ProcessActions' (processes/ProcessActions.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

// What one Quit or Force Quit is aimed at.
struct QuitPlan {
    std::vector<ProcessSample> listed;  // busiest first
    std::vector<bool> choosable;        // may be chosen at all
    std::vector<bool> chosen;           // chosen at first
    bool ask = false;                   // confirm (and let the user choose) before sending
};

class ProcessQuit {
public:
    // `ownUID` and `ownPID` identify this program's user and process.
    ProcessQuit(uint32_t ownUID, int32_t ownPID) : ownUID_(ownUID), ownPID_(ownPID) {}
    // This process's uid and pid.
    static ProcessQuit forThisProcess();

    // The processes a quit of the group (or of one of its processes) is aimed at.
    static std::vector<ProcessSample> targets(const AppGroup& group, std::optional<int32_t> pid);

    // Why none of `targets` can be quit, or absent when at least one can.
    std::optional<std::string> refusal(const AppGroup& group, const std::vector<ProcessSample>& targets) const;
    // Why this one process cannot be quit, or absent.
    std::optional<std::string> refusal(const ProcessSample& process, const AppGroup& group) const;

    // Quit (`force` false) or Force Quit on the group's row, or on one of its processes.
    QuitPlan plan(const AppGroup& group, std::optional<int32_t> pid, bool force) const;

private:
    uint32_t ownUID_;
    int32_t ownPID_;
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
inline constexpr const char* notChoosable = "another user's";
// "Force quit Firefox?", "Force quit which of the 3 python3 processes?",
// "Quit which of the 3 python3 processes?"
std::string forceQuestion(const std::string& name, size_t processes);
std::string quitQuestion(const std::string& name, size_t processes);
// "All 3"
std::string allOf(size_t processes);
// "Asking 2 processes to quit…", "Force quitting 1 process…"
std::string working(bool force, size_t processes);
}  // namespace quitText

}  // namespace qm
