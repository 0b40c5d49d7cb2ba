#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "processes/SignatureCache.h"

namespace qm {
namespace {

using Trust = SignatureInfo::Trust;
using Wording = SignatureInfo::Wording;

SignatureInfo withTrust(Trust trust, std::optional<std::string> signer = std::nullopt) {
    SignatureInfo info;
    info.trust = trust;
    info.signer = std::move(signer);
    return info;
}

TEST(SignatureInfoTest, MacTextsAndSignerTrimming) {
    EXPECT_LT(Trust::apple, Trust::notarized);
    EXPECT_LT(Trust::notarized, Trust::signed_);
    EXPECT_LT(Trust::signed_, Trust::unsigned_);
    EXPECT_LT(Trust::unsigned_, Trust::unknown);

    std::string signer = signerFromSummary("Developer ID Application: Example Tools Ltd (ABCDE12345)");
    EXPECT_EQ(signer, "Example Tools Ltd");
    EXPECT_EQ(signerFromSummary("Apple Development: Jo (X)"), "Apple Development: Jo");
    EXPECT_EQ(signerFromSummary("Software Signing"), "Software Signing");
    EXPECT_EQ(signerFromSummary(""), "");

    auto apple = withTrust(Trust::apple);
    EXPECT_EQ(apple.title(Wording::mac), "Part of macOS");
    EXPECT_EQ(apple.explanation(Wording::mac), "Signed by Apple. This is a genuine part of macOS.");
    auto notarized = withTrust(Trust::notarized, signer);
    EXPECT_EQ(notarized.title(Wording::mac), "Verified developer");
    EXPECT_EQ(notarized.explanation(Wording::mac),
              "Signed by Example Tools Ltd and notarized by Apple, which scanned it for malware.");
    EXPECT_EQ(withTrust(Trust::notarized).explanation(Wording::mac),
              "Signed by an identified developer and notarized by Apple, which scanned it for malware.");
    EXPECT_EQ(withTrust(Trust::signed_).title(Wording::mac), "Signed");
    EXPECT_EQ(withTrust(Trust::signed_, "Jo").explanation(Wording::mac),
              "Signed by Jo, but not notarized. Common for developer tools and older apps.");
    EXPECT_EQ(withTrust(Trust::signed_).explanation(Wording::mac),
              "Signed by a developer, but not notarized. Common for developer tools and older apps.");
    EXPECT_EQ(withTrust(Trust::unsigned_).title(Wording::mac), "Unsigned");
    EXPECT_EQ(withTrust(Trust::unsigned_).explanation(Wording::mac),
              "Not code-signed. Common for things you built or installed with Homebrew, npm or pip. If you don't "
              "recognise it, look closer.");
    EXPECT_EQ(withTrust(Trust::unknown).title(Wording::mac), "Unknown");
    EXPECT_EQ(withTrust(Trust::unknown).explanation(Wording::mac),
              "Quillmere couldn't read this process's signature, usually because it belongs to the system.");

    EXPECT_EQ(rawValue(Trust::apple, Wording::mac), "apple");
    EXPECT_EQ(rawValue(Trust::unsigned_, Wording::mac), "unsigned");
}

TEST(SignatureInfoTest, LinuxTextsNeverMentionTheMac) {
    for (Trust trust : {Trust::apple, Trust::notarized, Trust::signed_, Trust::unsigned_, Trust::unknown}) {
        for (auto signer : {std::optional<std::string>{}, std::optional<std::string>{"coreutils"}}) {
            auto info = withTrust(trust, signer);
            for (const std::string& text : {info.title(Wording::linux), info.explanation(Wording::linux),
                                            std::string(rawValue(trust, Wording::linux))}) {
                EXPECT_FALSE(text.empty());
                EXPECT_EQ(text.find("mac"), std::string::npos) << text;
                EXPECT_EQ(text.find("Mac"), std::string::npos) << text;
                EXPECT_EQ(text.find("Apple"), std::string::npos) << text;
                EXPECT_EQ(text.find("apple"), std::string::npos) << text;
                EXPECT_EQ(text.find("Homebrew"), std::string::npos) << text;
            }
            if (signer && trust != Trust::unsigned_ && trust != Trust::unknown) {
                EXPECT_NE(info.explanation(Wording::linux).find("coreutils"), std::string::npos);
            }
        }
    }
    EXPECT_EQ(withTrust(Trust::apple).title(Wording::linux), "System package");
    EXPECT_EQ(withTrust(Trust::signed_).title(Wording::linux), "Modified");
    EXPECT_EQ(withTrust(Trust::unsigned_).title(Wording::linux), "No package");
}

// A main queue that holds posted work until the test runs it on its own thread.
class HeldQueue : public ManualQueue {
public:
    void post(std::function<void()> work) override {
        std::lock_guard<std::mutex> guard(mutex_);
        held_.push_back(std::move(work));
        posted_.notify_all();
    }
    // Waits for at least one posted item, then runs everything posted so far.
    bool drain() {
        std::vector<std::function<void()>> work;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (!posted_.wait_for(lock, std::chrono::seconds(10), [&] { return !held_.empty(); })) return false;
            work.swap(held_);
        }
        for (auto& w : work) w();
        return true;
    }

private:
    std::mutex mutex_;
    std::condition_variable posted_;
    std::vector<std::function<void()>> held_;
};

// Evaluations counted; each answer names the path it was asked about.
struct CacheFixture : ::testing::Test {
    std::atomic<int> evaluations{0};
    std::unique_ptr<SignatureCache> cache = std::make_unique<SignatureCache>(
        [this](const std::string& path) {
        ++evaluations;
        return path.empty() ? SignatureInfo{} : withTrust(Trust::signed_, path);
        },
        makeThreadQueue("test.signature"));
};

TEST_F(CacheFixture, EvaluatesOnceOffTheCallerAndDeliversOnTheMainQueue) {
    HeldQueue main;
    cache->deliverOn(&main);
    EXPECT_FALSE(cache->cached("/opt/tool"));
    std::optional<SignatureInfo> answer;
    cache->lookup("/opt/tool", [&](const SignatureInfo& info) { answer = info; });
    ASSERT_TRUE(main.drain()) << "the completion was not posted to the main queue";
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->signer, "/opt/tool");
    ASSERT_TRUE(cache->cached("/opt/tool"));
    EXPECT_EQ(cache->cached("/opt/tool")->trust, Trust::signed_);

    // A second lookup answers from the cache without evaluating, still on the main queue.
    answer.reset();
    cache->lookup("/opt/tool", [&](const SignatureInfo& info) { answer = info; });
    ASSERT_TRUE(main.drain());
    EXPECT_TRUE(answer);
    EXPECT_EQ(cache->lookupAndWait("/opt/tool").trust, Trust::signed_);
    EXPECT_EQ(evaluations, 1);
    EXPECT_EQ(cache->lookupAndWait("").trust, Trust::unknown);
    EXPECT_EQ(evaluations, 2);
    EXPECT_TRUE(cache->cached(""));
}

TEST_F(CacheFixture, ConcurrentReadersSeeWholeAnswers) {
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop) {
            if (auto info = cache->cached("/p/7")) {
                EXPECT_EQ(info->signer, "/p/7");
            }
        }
    });
    for (int i = 0; i < 50; ++i) cache->lookup("/p/" + std::to_string(i), [](const SignatureInfo&) {});
    cache->lookupAndWait("/p/last");  // the queue is serial: everything before it is done
    stop = true;
    reader.join();
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(cache->cached("/p/" + std::to_string(i)));
    EXPECT_EQ(evaluations, 51);
    cache.reset();  // tearing down with nothing pending is clean
}

}  // namespace
}  // namespace qm
