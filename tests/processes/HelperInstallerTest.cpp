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
#ifndef __APPLE__
    EXPECT_EQ(HelperInstaller::state(), State::unavailable);
    EXPECT_EQ(HelperInstaller::install(), State::unavailable);
#endif
}

}  // namespace
}  // namespace qm
