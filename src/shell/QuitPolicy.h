// What ⌘Q means. With the menu-bar item in place the program hides to the
// background and keeps recording; a complete quit (⌥⌘Q, or Quit in the item's
// menu) and the system's own quits (log out, shut down, update) always terminate.
#pragma once

#include <string>

namespace qm {

class Defaults;

class QuitPolicy {
public:
    explicit QuitPolicy(Defaults& defaults) : defaults_(defaults) {}

    // "quit.keepRunningInMenuBar" false turns it off; otherwise it holds only while
    // the menu-bar item is enabled and onboarding is done, so nobody is left with an
    // invisible running program.
    bool keepsRunning() const;

    enum class QuitRequest {
        userQuit,  // ⌘Q or the application menu's Quit: a key press or a click
        other,     // log out, shut down, an update
    };
    enum class Reply { terminateNow, goToBackground };
    Reply reply(QuitRequest request) const;

    // Going to the background shows the explanation once per installation. The key
    // is set before the hint appears, so a crash while it is up cannot show it twice.
    // Returns whether to show it.
    bool claimBackgroundHint();

    // Whether coming back to the front should restore the Dock icon.
    bool shouldRestoreDock(bool policyIsRegular) const;

    // The process-wide request for a complete quit.
    static void requestCompleteQuit();
    static bool completeQuitRequested();
    static void resetCompleteQuitForTesting();

    struct Hint {
        std::string title;
        std::string message;
        std::string okButton;
        std::string quitButton;
    };
    static Hint backgroundHint();

private:
    Defaults& defaults_;
};

}  // namespace qm
