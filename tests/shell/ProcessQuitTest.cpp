#include <gtest/gtest.h>

#include "shell/ProcessQuit.h"

namespace qm {
namespace {

ProcessSample proc(int32_t pid, uint32_t uid, std::string name = "worker") {
    ProcessSample p;
    p.pid = pid;
    p.uid = uid;
    p.name = std::move(name);
    return p;
}

AppGroup group(std::string id, std::vector<ProcessSample> processes) {
    AppGroup g;
    g.id = std::move(id);
    g.name = "Editor";
    g.processes = std::move(processes);
    return g;
}

ProcessSample busy(int32_t pid, double cpu, uint32_t uid = 1000) {
    ProcessSample p = proc(pid, uid, "python3");
    p.cpu = cpu;
    return p;
}

std::vector<int32_t> pids(const std::vector<ProcessSample>& processes) {
    std::vector<int32_t> list;
    for (const auto& p : processes) list.push_back(p.pid);
    return list;
}

TEST(ProcessQuitTest, WhoIsChosenWhoIsAskedAndWhyOthersCannotBeQuit) {
    const ProcessQuit quitter(1000, 4242);

    // Namesakes: asked first, busiest first, only the busiest of ours chosen.
    const AppGroup namesakes =
        group("proc:python3", {busy(10, 5), busy(11, 90, 0), busy(12, 40), busy(13, 40), busy(4242, 1)});
    QuitPlan plan = quitter.plan(namesakes, std::nullopt, false);
    EXPECT_TRUE(plan.ask);
    EXPECT_EQ(pids(plan.listed), (std::vector<int32_t>{11, 12, 13, 10, 4242}));
    EXPECT_EQ(plan.choosable, (std::vector<bool>{false, true, true, true, false}));
    EXPECT_EQ(plan.chosen, (std::vector<bool>{false, true, false, false, false}));
    // Force Quit on them asks the same way.
    EXPECT_EQ(quitter.plan(namesakes, std::nullopt, true).chosen, plan.chosen);

    // One of them selected: that one alone, at once; Force Quit still asks.
    plan = quitter.plan(namesakes, 13, false);
    EXPECT_FALSE(plan.ask);
    EXPECT_EQ(pids(plan.listed), std::vector<int32_t>{13});
    EXPECT_TRUE(quitter.plan(namesakes, 13, true).ask);
    EXPECT_TRUE(quitter.plan(namesakes, 999, false).listed.empty());  // it left the group

    // An app quits whole at once, as its own Quit would: every one of ours chosen.
    const AppGroup app =
        group("app:/usr/share/applications/editor.desktop", {busy(20, 1), busy(21, 9, 0), busy(22, 3)});
    plan = quitter.plan(app, std::nullopt, false);
    EXPECT_FALSE(plan.ask);
    EXPECT_EQ(plan.chosen, (std::vector<bool>{false, true, true}));
    EXPECT_TRUE(quitter.plan(app, std::nullopt, true).ask);
    // A name group of one is a single process.
    EXPECT_FALSE(quitter.plan(group("proc:yes", {busy(30, 99)}), std::nullopt, false).ask);

    // Nothing of ours: the refusal is the reason.
    const AppGroup root = group("proc:sshd", {proc(500, 0), proc(501, 0)});
    EXPECT_EQ(quitter.refusal(root, root.processes), std::string(quitText::otherUser));
    const AppGroup kernel = group("proc:kernel", {proc(2, 0, "kthreadd")});
    EXPECT_EQ(quitter.refusal(kernel, kernel.processes), std::string(quitText::kernel));
    const AppGroup self = group("proc:quillmere-app", {proc(4242, 1000)});
    EXPECT_EQ(quitter.refusal(self, self.processes), std::string(quitText::itself));
    EXPECT_EQ(quitter.refusal(app, {}), std::string(quitText::vanished));
    EXPECT_FALSE(quitter.refusal(app, app.processes)) << "some of them can be quit";

    // Root may quit anyone's processes (but still not the kernel's).
    const ProcessQuit asRoot(0, 1);
    EXPECT_FALSE(asRoot.refusal(root, root.processes));
    EXPECT_TRUE(asRoot.refusal(kernel, kernel.processes));
}

}  // namespace
}  // namespace qm
