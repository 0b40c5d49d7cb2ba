// Quit and Force Quit in the explanation panel reach only what the user chose: real
// processes for the force-quit confirmation, a made-up platform for who is chosen.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCheckBox>
#include <QListWidget>
#include <QPushButton>
#include <csignal>
#include <filesystem>
#include <map>
#include <mutex>

#include "SectionTestData.h"
#include "app/sections/ExplainPanel.h"
#include "app/sections/ProcessChoiceDialog.h"
#include "app/sections/SectionStyle.h"
#include "processes/Sources.h"

namespace qm::app {
namespace {

QPushButton* button(const QWidget& parent, const QString& text) {
    for (QPushButton* b : parent.findChildren<QPushButton*>())
        if (b->text() == text) return b;
    return nullptr;
}

QStringList checkedLines(const ProcessChoiceDialog& dialog) {
    QStringList lines;
    for (int i = 0; i < dialog.list()->count(); ++i)
        if (dialog.list()->item(i)->checkState() == Qt::Checked) lines << dialog.list()->item(i)->text();
    return lines;
}

// Three children under a name of their own (a copy of sleep), ended whatever happens.
struct Sleepers {
    Sleepers() {
        name = "qm-three-" + std::to_string(::getpid());
        copy = std::filesystem::temp_directory_path().string() + "/" + name;
        std::filesystem::copy_file("/bin/sleep", copy, std::filesystem::copy_options::overwrite_existing);
        for (int i = 0; i < 3; ++i) {
            pid_t pid = ::fork();
            if (pid == 0) {
                ::execl(copy.c_str(), name.c_str(), "30", static_cast<char*>(nullptr));
                ::_exit(127);
            }
            pids.push_back(pid);
        }
    }
    ~Sleepers() {
        for (pid_t pid : pids) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
        std::filesystem::remove(copy);
    }
    // The signal that ended each, or -1 while it runs.
    std::vector<int> endings() {
        std::vector<int> ended;
        for (pid_t& pid : pids) {
            int status = 0;
            if (pid > 0 && ::waitpid(pid, &status, WNOHANG) == pid) {
                ended.push_back(WIFSIGNALED(status) ? WTERMSIG(status) : 0);
                pid = -pid;  // reaped: nothing left to end
            } else {
                ended.push_back(pid > 0 ? -1 : 0);
            }
        }
        return ended;
    }
    std::string name, copy;
    std::vector<pid_t> pids;
};

TEST(ExplainPanelTest, TheDeleteKeysQuitAsksFirstEvenForOneProcess) {
    Sleepers children;
    AppGroup group;
    group.id = "proc:" + children.name;
    group.name = children.name;
    for (const AppGroup& g : makeProcessListSource()->read(false).groups)
        for (const ProcessSample& p : g.processes)
            if (p.pid == children.pids[0]) group.processes.push_back(p);
    ASSERT_EQ(group.processes.size(), 1u);

    ExplainPanel panel;
    panel.showRow(group, std::nullopt);
    panel.askToQuit();
    ASSERT_TRUE(panel.choice()) << "a single process asks too when Delete asked";
    EXPECT_EQ(panel.choice()->list()->count(), 1);
    panel.choice()->cancelButton()->click();
    ::usleep(200'000);
    EXPECT_EQ(children.endings()[0], -1) << "cancelled: still running";
}

TEST(ExplainPanelTest, ForceQuitAsksFirstCancelLeavesAllRunningAndConfirmedEndsExactlyThose) {
    Sleepers children;
    ::usleep(50'000);
    // The group as the process list shows it: each with its start time.
    AppGroup group;
    group.id = "proc:" + children.name;
    group.name = children.name;
    for (const AppGroup& g : makeProcessListSource()->read(false).groups)
        for (const ProcessSample& p : g.processes)
            if (std::find(children.pids.begin(), children.pids.end(), p.pid) != children.pids.end())
                group.processes.push_back(p);
    ASSERT_EQ(group.processes.size(), 3u);

    ExplainPanel panel;
    panel.showRow(group, std::nullopt);
    QPushButton* force = button(panel, "Force Quit…");
    ASSERT_TRUE(force && force->isEnabled());
    force->click();
    ASSERT_TRUE(panel.choice());
    ProcessChoiceDialog& asked = *panel.choice();
    // The question lists what would end; the busiest (here the first listed) is chosen.
    const QString text = visibleText(&asked);
    EXPECT_TRUE(text.contains("Force Quit Process")) << text.toStdString();
    EXPECT_TRUE(text.contains("Unsaved changes in this app will be lost.")) << text.toStdString();
    ASSERT_EQ(asked.list()->count(), 3);
    EXPECT_TRUE(asked.list()->item(0)->text().startsWith(QString::fromStdString(children.name) + " \u00b7 PID "));
    EXPECT_TRUE(asked.list()->item(0)->text().contains(QString::fromStdString(children.name) + " 30"));
    EXPECT_EQ(checkedLines(asked).size(), 1);
    EXPECT_TRUE(asked.cancelButton()->isDefault());

    // Cancel: nothing was sent, not even a polite request.
    asked.cancelButton()->click();
    ::usleep(300'000);
    EXPECT_EQ(children.endings(), (std::vector<int>{-1, -1, -1}));
    EXPECT_TRUE(panel.statusText().isEmpty());
    ASSERT_TRUE(test::waitFor([&] { return !panel.choice(); }));

    // Again, with "All 3" chosen: the forced signal reaches exactly those three.
    force->click();
    ASSERT_TRUE(panel.choice());
    ASSERT_TRUE(panel.choice()->allBox());
    EXPECT_EQ(panel.choice()->allBox()->text(), "All 3");
    panel.choice()->allBox()->click();
    EXPECT_EQ(checkedLines(*panel.choice()).size(), 3);
    panel.choice()->confirmButton()->click();
    ASSERT_TRUE(test::waitFor([&] { return !panel.working(); }, 10'000));
    EXPECT_EQ(panel.statusText(), "Ended 3 processes.");
    EXPECT_EQ(children.endings(), (std::vector<int>{SIGKILL, SIGKILL, SIGKILL}));
}

// A platform that records signals; every process obeys SIGTERM.
class RecordingPort : public ProcessPort {
public:
    explicit RecordingPort(std::map<int32_t, ProcessIdentity> table) : table_(std::move(table)) {}
    std::unique_ptr<ProcessHandle> open(int32_t pid) override {
        std::lock_guard guard(lock_);
        if (!table_.contains(pid)) return nullptr;
        return std::make_unique<Handle>(*this, pid);
    }
    uint32_t ownUID() const override { return 1000; }
    int32_t ownPID() const override { return 99999; }
    void replace(int32_t pid, ProcessIdentity identity) {
        std::lock_guard guard(lock_);
        table_[pid] = identity;
    }
    std::vector<std::pair<int32_t, int>> sent() {
        std::lock_guard guard(lock_);
        auto copy = sent_;
        sent_.clear();
        return copy;
    }

private:
    class Handle : public ProcessHandle {
    public:
        Handle(RecordingPort& port, int32_t pid) : port_(port), pid_(pid) {}
        std::optional<ProcessIdentity> identity() override {
            std::lock_guard guard(port_.lock_);
            return port_.table_.at(pid_);
        }
        int send(int signal) override {
            std::lock_guard guard(port_.lock_);
            port_.sent_.emplace_back(pid_, signal);
            return 0;
        }
        bool waitForExit(double) override { return true; }

    private:
        RecordingPort& port_;
        int32_t pid_;
    };

    std::mutex lock_;
    std::map<int32_t, ProcessIdentity> table_;
    std::vector<std::pair<int32_t, int>> sent_;
};

ProcessSample running(int32_t pid, double cpu, uint32_t uid = 1000) {
    ProcessSample p = test::process(pid, "python3", cpu, 1 << 20, uid);
    p.startTime = 5000 + static_cast<uint64_t>(pid);
    return p;
}

TEST(ExplainPanelTest, QuitAsksAboutNamesakesAndOtherwiseQuitsAtOnceOnlyWhatWasChosen) {
    using Sent = std::vector<std::pair<int32_t, int>>;
    auto port = std::make_shared<RecordingPort>(std::map<int32_t, ProcessIdentity>{
        {11, {5011, 1000}}, {12, {5012, 1000}}, {13, {5013, 1000}}, {21, {5021, 1000}}, {22, {5022, 0}}});
    ExplainPanel panel;
    panel.setQuitter(ProcessQuit(1000, 99999));
    panel.setActions(std::make_shared<const ProcessActions>(port));
    auto finished = [&] { return test::waitFor([&] { return !panel.working(); }); };

    // A name group of three: asked first, and only the busiest is chosen.
    const AppGroup pythons = test::group("proc:python3", "python3", ProcessKind::background,
                                         {running(11, 5), running(12, 80), running(13, 1)});
    panel.showRow(pythons, std::nullopt);
    panel.quit();
    ASSERT_TRUE(panel.choice());
    EXPECT_TRUE(visibleText(panel.choice()).contains("Quit which of the 3 python3 processes?"));
    ASSERT_EQ(checkedLines(*panel.choice()).size(), 1);
    EXPECT_TRUE(checkedLines(*panel.choice())[0].startsWith("python3 \u00b7 PID 12"));
    EXPECT_TRUE(port->sent().empty());
    panel.choice()->confirmButton()->click();
    ASSERT_TRUE(finished());
    EXPECT_EQ(port->sent(), (Sent{{12, SIGTERM}}));
    EXPECT_EQ(panel.statusText(), "Ended 1 process.");

    // One process of the group selected: that one, at once.
    panel.showRow(pythons, 13);
    panel.quit();
    EXPECT_FALSE(panel.choice());
    ASSERT_TRUE(finished());
    EXPECT_EQ(port->sent(), (Sent{{13, SIGTERM}}));

    // Force Quit on it asks even so; Cancel sends nothing.
    panel.forceQuit();
    ASSERT_TRUE(panel.choice());
    panel.choice()->cancelButton()->click();
    ASSERT_TRUE(test::waitFor([&] { return !panel.choice(); }));
    EXPECT_TRUE(port->sent().empty());

    // While the question is open the process ends and its pid goes to a newcomer:
    // confirming sends nothing to the newcomer, and says why.
    panel.forceQuit();
    ASSERT_TRUE(panel.choice());
    port->replace(13, {9999, 1000});
    panel.choice()->confirmButton()->click();
    ASSERT_TRUE(finished());
    EXPECT_TRUE(port->sent().empty());
    EXPECT_EQ(panel.statusText(), "No process was signalled: 1 was already gone.");

    // An app quits whole at once, as its own Quit would; another user's process in it
    // is left alone, and the report says so.
    const AppGroup editor = test::group("app:/usr/share/applications/editor.desktop", "Editor", ProcessKind::app,
                                        {running(21, 3), running(22, 1, 0)});
    panel.showRow(editor, std::nullopt);
    panel.quit();
    EXPECT_FALSE(panel.choice());
    ASSERT_TRUE(finished());
    EXPECT_EQ(port->sent(), (Sent{{21, SIGTERM}}));
    EXPECT_EQ(panel.statusText(), "Ended 1 process; 1 belongs to another user and was left alone.");

    // The row gone after the quit: the report stays in view.
    panel.showRow(std::nullopt, std::nullopt);
    EXPECT_EQ(panel.statusText(), "Ended 1 process; 1 belongs to another user and was left alone.");

    // Nothing of ours: the panel says why, and nothing can be sent.
    const AppGroup journald =
        test::group("proc:systemd-journald", "systemd-journald", ProcessKind::system, {running(40, 0.5, 0)});
    panel.showRow(journald, std::nullopt);
    EXPECT_FALSE(panel.quitEnabled());
    EXPECT_TRUE(panel.bodyText().contains("Runs as another user, so Quillmere cannot quit it."));
}

}  // namespace
}  // namespace qm::app
