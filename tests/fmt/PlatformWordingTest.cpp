#include "fmt/PlatformWording.h"

#include <gtest/gtest.h>

namespace qm {
namespace {

TEST(PlatformWordingTest, NamesTheMachineWithoutTouchingOtherWords) {
    EXPECT_EQ(linuxWording("Your Mac is running hot."), "Your computer is running hot.");
    EXPECT_EQ(linuxWording("All good. Your Mac is relaxed."), "All good. Your computer is relaxed.");
    EXPECT_EQ(linuxWording("macOS is slowing down to cool off."), "The system is slowing down to cool off.");
    EXPECT_EQ(linuxWording("Consider 32 GB on your next Mac."), "Consider 32 GB on your next computer.");
    EXPECT_EQ(linuxWording("draws on your Mac's screen"), "draws on your computer's screen");
    // Whole words only: product names and process names stay as they are.
    EXPECT_EQ(linuxWording("MacBook Pro, iMac, MacDown, mac"), "MacBook Pro, iMac, MacDown, mac");
    EXPECT_EQ(linuxWording(""), "");
    // The icon lives in the system tray, with the sentence's capital kept.
    EXPECT_EQ(linuxWording("Quillmere is still running in your menu bar"),
              "Quillmere is still running in your system tray");
    EXPECT_EQ(linuxWording("Menu bar"), "System tray");
}

}  // namespace
}  // namespace qm
