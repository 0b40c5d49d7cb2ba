#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <map>

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

struct Sent {
    int32_t pid;
    int signal;
    bool operator==(const Sent&) const = default;
};

TEST(ProcessQuitTest, PoliteThenForcedOnlyToOwnProcessesAndSaysWhyOthersCannotBeQuit) {
    std::vector<Sent> sent;
    std::map<int32_t, int> answers{{303, ESRCH}, {404, EPERM}};
    ProcessQuit quitter(1000, 4242, [&](int32_t pid, int signal) {
        sent.push_back({pid, signal});
        return answers.contains(pid) ? answers[pid] : 0;
    });

    // Another user's process, the kernel and Quillmere itself are never signalled.
    const AppGroup mixed = group("app:/usr/share/applications/editor.desktop",
                                 {proc(101, 1000), proc(202, 0), proc(4242, 1000), proc(303, 1000), proc(404, 1000)});
    auto report = quitter.quit(mixed, ProcessQuit::targets(mixed, std::nullopt));
    EXPECT_EQ(sent, (std::vector<Sent>{{101, SIGTERM}, {303, SIGTERM}, {404, SIGTERM}}));
    EXPECT_EQ(report.signalled, 1);
    EXPECT_EQ(report.gone, 1);
    EXPECT_EQ(report.refused, 3);  // root's, our own, and the kernel's refusal
    EXPECT_EQ(report.text, "Asked Editor to quit. 3 processes could not be reached.");
    EXPECT_FALSE(quitter.refusal(mixed, mixed.processes)) << "some of them can be quit";

    sent.clear();
    report = quitter.forceQuit(mixed, ProcessQuit::targets(mixed, 101));
    EXPECT_EQ(sent, (std::vector<Sent>{{101, SIGKILL}}));
    EXPECT_EQ(report.text, "Force quit Editor.");

    // Nothing of ours: the refusal is the reason, and nothing is sent.
    sent.clear();
    const AppGroup root = group("proc:sshd", {proc(500, 0), proc(501, 0)});
    EXPECT_EQ(quitter.refusal(root, root.processes), std::string(quitText::otherUser));
    EXPECT_EQ(quitter.forceQuit(root, root.processes).text, quitText::otherUser);
    EXPECT_TRUE(sent.empty());

    const AppGroup kernel = group("proc:kernel", {proc(2, 0, "kthreadd")});
    EXPECT_EQ(quitter.refusal(kernel, kernel.processes), std::string(quitText::kernel));
    const AppGroup self = group("proc:quillmere-app", {proc(4242, 1000)});
    EXPECT_EQ(quitter.refusal(self, self.processes), std::string(quitText::itself));

    // A process that left the group, or a group already gone.
    EXPECT_TRUE(ProcessQuit::targets(mixed, 999).empty());
    EXPECT_EQ(quitter.refusal(mixed, {}), std::string(quitText::vanished));
    const AppGroup gone = group("proc:gone", {proc(303, 1000)});
    EXPECT_EQ(quitter.quit(gone, gone.processes).text, quitText::vanished);

    // Root may quit anyone's processes (but still not the kernel's).
    ProcessQuit asRoot(0, 1, [&](int32_t, int) { return 0; });
    EXPECT_FALSE(asRoot.refusal(root, root.processes));
    EXPECT_TRUE(asRoot.refusal(kernel, kernel.processes));
}

}  // namespace
}  // namespace qm
