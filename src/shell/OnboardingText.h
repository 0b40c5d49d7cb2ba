// The first-run window's texts: what Quillmere records, where it keeps it, and the
// request to notify. Written for the platform it runs on.
#pragma once

#include <string>

namespace qm {

struct OnboardingText {
    std::string title;
    std::string intro;
    std::string records;        // what is recorded and where (with the history's path)
    std::string nothingLeaves;  // nothing leaves the machine
    std::string notifications;  // why notifications help
    std::string allowButton;    // "Allow notifications…"
    std::string startButton;    // "Start Quillmere"
    std::string menuBarNote;    // where the item appears
};

OnboardingText onboardingText(const std::string& historyPath, bool recordsHere);

}  // namespace qm
