#include "history/Advisor.h"

#include <cmath>

#include "fmt/Fmt.h"
#include "history/HistoryStore.h"

namespace qm {

Advisor Advisor::from(const MemoryProfile& profile) {
    return {profile.minutes, profile.pressuredFraction, profile.peakSwap, profile.peakUsed};
}

Advisor Advisor::load(HistoryStore& store) { return from(store.memoryProfileSync(advisor::profileDays)); }

namespace advisor {
namespace {

constexpr double bytesPerGiB = 1024.0 * 1024.0 * 1024.0;

// A broken figure counts as nothing seen rather than as a huge one.
double finiteOrZero(double value) { return std::isfinite(value) ? value : 0; }

double pressuredPercent(const Advisor& a) { return finiteOrZero(a.pressuredFraction) * 100.0; }
double swapGiB(const Advisor& a) { return finiteOrZero(a.peakSwap) / bytesPerGiB; }

std::vector<Tile> tiles(const Advisor& a) {
    return {
        {"Time under pressure", Fmt::percent(pressuredPercent(a))},
        {"Peak swap", Fmt::bytes(finiteOrZero(a.peakSwap))},
        {"Peak memory used", Fmt::bytes(finiteOrZero(a.peakUsed))},
        {"History", Fmt::duration(static_cast<double>(a.minutes) * 60.0)},
    };
}

}  // namespace

std::string_view rawValue(Verdict verdict) {
    switch (verdict) {
        case Verdict::learning: return "learning";
        case Verdict::plenty: return "plenty";
        case Verdict::enough: return "enough";
        case Verdict::upgrade: return "upgrade";
    }
    return "learning";
}

Verdict verdict(const std::optional<Advisor>& advisor) {
    if (!advisor || advisor->minutes < learningMinutes) return Verdict::learning;
    double pct = pressuredPercent(*advisor);
    double swap = swapGiB(*advisor);
    if (pct < plentyPercent && swap < plentySwapGiB) return Verdict::plenty;
    if (pct < enoughPercent && swap < enoughSwapGiB) return Verdict::enough;
    return Verdict::upgrade;
}

int64_t suggestedGB(int64_t installedGB) {
    if (installedGB < 9) return 16;
    if (installedGB < 17) return 32;
    if (installedGB < 33) return 64;
    return installedGB * 2;
}

Card card(const std::optional<Advisor>& advisor, int64_t installedGB) {
    Card c;
    c.verdict = verdict(advisor);
    std::string installed = std::to_string(installedGB);
    switch (c.verdict) {
        case Verdict::learning:
            c.title = learningTitle;
            // "After about half a day of normal use, Quillmere will tell you whether %lld GB is enough, ..."
            c.text = "After about half a day of normal use, Quillmere will tell you whether " + installed +
                     " GB is enough, or how much to get with your next Mac.";
            c.symbol = learningSymbol;
            return c;
        case Verdict::plenty:
            c.title = installed + " GB is plenty for you.";
            c.text = plentyText;
            c.symbol = verdictSymbol;
            break;
        case Verdict::enough:
            c.title = installed + " GB is enough for how you work.";
            c.text = "You hit memory pressure " + Fmt::percent(pressuredPercent(*advisor)) +
                     " of the time, usually when many heavy apps are open together.";
            c.symbol = verdictSymbol;
            break;
        case Verdict::upgrade:
            c.suggested = suggestedGB(installedGB);
            c.title = upgradeTitle;
            c.text = "You hit memory pressure " + Fmt::percent(pressuredPercent(*advisor)) +
                     " of the time and swapped up to " + Fmt::bytes(finiteOrZero(advisor->peakSwap)) + ". Consider " +
                     std::to_string(*c.suggested) + " GB on your next Mac.";
            c.symbol = upgradeSymbol;
            break;
    }
    c.tiles = tiles(*advisor);
    return c;
}

}  // namespace advisor
}  // namespace qm
