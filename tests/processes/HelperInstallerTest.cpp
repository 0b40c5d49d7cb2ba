#include "processes/HelperInstaller.h"

#include <gtest/gtest.h>

namespace qm {
namespace {

TEST(HelperInstallerTest, StatusCodesMapToStatesAndLinuxHasNoDaemon) {
    using State = HelperInstaller::State;
    EXPECT_EQ(HelperInstaller::stateFromStatus(0), State::notRegistered);
    EXPECT_EQ(HelperInstaller::stateFromStatus(1), State::enabled);
    EXPECT_EQ(HelperInstaller::stateFromStatus(2), State::requiresApproval);
    EXPECT_EQ(HelperInstaller::stateFromStatus(3), State::unavailable);
    EXPECT_EQ(HelperInstaller::stateFromStatus(-1), State::unavailable);
}

TEST(HelperInstallerTest, LinuxStatesAndTheEnableCommand) {
    using State = HelperInstaller::State;
    EXPECT_EQ(HelperInstaller::stateFromUnit(false, true, true), State::unavailable) << "no systemd";
    EXPECT_EQ(HelperInstaller::stateFromUnit(true, false, false), State::unavailable) << "unit not installed";
    EXPECT_EQ(HelperInstaller::stateFromUnit(true, true, false), State::notRegistered);
    EXPECT_EQ(HelperInstaller::stateFromUnit(true, true, true), State::enabled);
    EXPECT_EQ(HelperInstaller::enableScript("ann"),
              "groupadd -f quillmere && usermod -aG quillmere ann && systemctl enable --now quillmere-helper.socket");
    for (std::string odd : {"", "-r", "a;reboot", "ann smith", "$(id)"})
        EXPECT_EQ(HelperInstaller::enableScript(odd).find("usermod"), std::string::npos) << odd;
#ifndef __APPLE__
    EXPECT_NE(HelperInstaller::enableCommand().find("systemctl enable --now quillmere-helper.socket"),
              std::string::npos);
#endif
}

}  // namespace
}  // namespace qm
