// The RAM advisor: from the user's own 30 days of history, whether the installed
// memory is enough. The verdict is a pure function of the memory profile and the
// installed size; while less than half a day has been recorded it is still learning.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "history/HistoryDatabase.h"

namespace qm {

class HistoryStore;

struct Advisor {
    int64_t minutes = 0;           // recorded minutes in the period (gaps don't count)
    double pressuredFraction = 0;  // 0…1, share of those minutes at critical pressure
    double peakSwap = 0;           // bytes
    double peakUsed = 0;           // bytes
    bool operator==(const Advisor&) const = default;

    static Advisor from(const MemoryProfile& profile);
    // The last 30 days of the store, asked for synchronously (command line, tests).
    static Advisor load(HistoryStore& store);
};

namespace advisor {

constexpr int profileDays = 30;
// Half a day of recorded minutes before any verdict.
constexpr int64_t learningMinutes = 720;
// Plenty: under 1 % of minutes pressured and under 2 GiB of swap; enough: under 8 %
// and under 6 GiB; anything more is worth an upgrade.
constexpr double plentyPercent = 1.0;
constexpr double plentySwapGiB = 2.0;
constexpr double enoughPercent = 8.0;
constexpr double enoughSwapGiB = 6.0;

enum class Verdict { learning, plenty, enough, upgrade };
std::string_view rawValue(Verdict verdict);

Verdict verdict(const std::optional<Advisor>& advisor);
// The next common size up: 16, 32, 64, then twice what is installed.
int64_t suggestedGB(int64_t installedGB);

struct Tile {
    std::string title;
    std::string value;
    bool operator==(const Tile&) const = default;
};

// Everything the card shows.
struct Card {
    Verdict verdict = Verdict::learning;
    std::string title;
    std::string text;
    std::string symbol;
    std::vector<Tile> tiles;           // empty while learning
    std::optional<int64_t> suggested;  // only for an upgrade
};
Card card(const std::optional<Advisor>& advisor, int64_t installedGB);

constexpr const char* learningTitle = "Learning how you work…";
constexpr const char* upgradeTitle = "You'd benefit from more memory.";
constexpr const char* plentyText = "You almost never run short of memory. More RAM wouldn't make this Mac feel faster.";
constexpr const char* tilesCaption = "Based on how you actually use your Mac";
constexpr const char* upgradeSymbol = "arrow.up.circle.fill";
constexpr const char* verdictSymbol = "info.circle.fill";
constexpr const char* learningSymbol = "hourglass";

}  // namespace advisor
}  // namespace qm
