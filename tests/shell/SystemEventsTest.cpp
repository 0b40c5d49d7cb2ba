// How the program reads what the system tells it: which quits may send it to the
// background, and when the menu-bar item is hidden behind a camera housing.
#include <gtest/gtest.h>

#include "shell/MenuBarNotch.h"
#include "shell/QuitTrigger.h"

namespace qm {
namespace {

constexpr uint32_t code(const char (&c)[5]) {
    return (uint32_t(uint8_t(c[0])) << 24) | (uint32_t(uint8_t(c[1])) << 16) | (uint32_t(uint8_t(c[2])) << 8) |
           uint32_t(uint8_t(c[3]));
}

QuitTrigger trigger(bool sessionEnding, bool quitAppleEvent, std::optional<uint32_t> reason, bool keyOrClick) {
    QuitTrigger result;
    result.sessionEnding = sessionEnding;
    result.quitAppleEvent = quitAppleEvent;
    result.quitReason = reason;
    result.keyOrClick = keyOrClick;
    return result;
}

TEST(QuitTrigger, OnlyTheUsersOwnKeyOrClickIsAUserQuit) {
    using Request = QuitPolicy::QuitRequest;
    EXPECT_EQ(classifyQuit(trigger(false, false, {}, true)), Request::userQuit);
    // loginwindow's quits for log out, restart and shut down arrive while the user's
    // last key press may still be the current event: they end the program anyway.
    for (uint32_t reason : {code("logo"), code("rlgo"), code("rest"), code("shut")})
        EXPECT_EQ(classifyQuit(trigger(false, true, reason, true)), Request::other);
    // The Dock's Quit, a script or an installer: an Apple event without a reason.
    EXPECT_EQ(classifyQuit(trigger(false, true, {}, false)), Request::other);
    // A power-off announcement or the session manager's save outweighs everything.
    EXPECT_EQ(classifyQuit(trigger(true, false, {}, true)), Request::other);
    // No input event and no Apple event (a signal, an updater calling terminate).
    EXPECT_EQ(classifyQuit({}), Request::other);
}

TEST(MenuBarNotch, AnItemIsHiddenOnlyWhereTheHousingCoversIt) {
    // A 1512-wide built-in display with a housing between x 664 and 848, and a plain
    // external display to its right.
    const ScreenTop builtIn{{0, 0, 1512, 982}, {0, 944, 664, 38}, {848, 944, 664, 38}};
    const ScreenTop external{{1512, 0, 1920, 1080}, {}, {}};
    const std::vector<ScreenTop> screens{builtIn, external};
    EXPECT_FALSE(itemHiddenByNotch({1200, 944, 60, 24}, screens));   // right of the housing
    EXPECT_TRUE(itemHiddenByNotch({700, 944, 60, 24}, screens));     // behind it
    EXPECT_TRUE(itemHiddenByNotch({830, 944, 60, 24}, screens));     // partly behind it
    EXPECT_FALSE(itemHiddenByNotch({2000, 1056, 60, 24}, screens));  // a display without one
    // Nothing measured, nothing claimed: no frame, or a frame on no known display.
    EXPECT_FALSE(itemHiddenByNotch({}, screens));
    EXPECT_FALSE(itemHiddenByNotch({-500, 944, 60, 24}, screens));
}

}  // namespace
}  // namespace qm
