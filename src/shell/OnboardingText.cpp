#include "shell/OnboardingText.h"

#include "fmt/PlatformWording.h"

namespace qm {

OnboardingText onboardingText(const std::string& historyPath, bool recordsHere) {
    OnboardingText t;
    t.title = "Welcome to Quillmere";
    t.intro = forThisPlatform(
        "Quillmere watches your Mac and remembers: what used the processor, the memory, the disk and the battery, "
        "and when.");
    t.records =
        "Every few seconds it samples the whole machine and every running app. Once a minute it keeps an "
        "average in a history on this computer, at " +
        historyPath + (recordsHere ? "." : " (written by the quillmere record service).") +
        " It keeps 30 days of apps and a year of the machine's figures.";
    t.nothingLeaves = "Nothing leaves your computer.";
    t.notifications =
        "Quillmere can tell you when an app runs away with the processor, when memory keeps growing, "
        "or when the computer gets hot.";
    t.allowButton = "Allow notifications\u2026";
    t.startButton = "Start Quillmere";
    t.menuBarNote = forThisPlatform(
        "Quillmere then lives in your menu bar: click its icon for a quick look, right-click it for more.");
    return t;
}

}  // namespace qm
