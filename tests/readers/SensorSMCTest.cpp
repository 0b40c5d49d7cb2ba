#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "readers/SMCValue.h"

namespace qm {
namespace {

std::vector<uint8_t> floatBytes(float value) {
    std::vector<uint8_t> bytes(4);
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
}

TEST(SensorSMC, DecodesEachDataType) {
    EXPECT_EQ(decodeSMCValue("flt ", floatBytes(2317.5f)), 2317.5);
    EXPECT_EQ(decodeSMCValue("fpe2", {0x1b, 0x5b}), 1750.75);   // 0x1b5b / 4
    EXPECT_EQ(decodeSMCValue("fpe2", {0xff, 0xff}), 16383.75);  // unsigned
    EXPECT_EQ(decodeSMCValue("ui8 ", {0x02}), 2);
    EXPECT_EQ(decodeSMCValue("ui16", {0x01, 0x02}), 258);  // big-endian
    EXPECT_EQ(decodeSMCValue("ui16", {0xff, 0xfe}), 65534);
}

TEST(SensorSMC, UnknownTypesAndShortValuesGiveNothing) {
    EXPECT_FALSE(decodeSMCValue("sp78", {0x20, 0x00}));
    EXPECT_FALSE(decodeSMCValue("flt", floatBytes(1)));  // the type has four characters
    EXPECT_FALSE(decodeSMCValue("flt ", {0, 0}));
    EXPECT_FALSE(decodeSMCValue("fpe2", {0x10}));
    EXPECT_FALSE(decodeSMCValue("ui8 ", {}));
    EXPECT_FALSE(decodeSMCValue("ui16", {1}));
    EXPECT_FALSE(decodeSMCValue("flt ", floatBytes(std::numeric_limits<float>::quiet_NaN())));
}

TEST(SensorSMC, KeyCodesRoundTrip) {
    EXPECT_EQ(smcCode("FNum"), 0x464e756du);
    EXPECT_EQ(smcCodeText(smcCode("ui8 ")), "ui8 ");
    EXPECT_EQ(smcCode("ui8"), smcCode("ui8 "));  // short codes are padded with blanks
    EXPECT_EQ(fanKey(0, "Ac"), "F0Ac");
    EXPECT_EQ(fanKey(11, "Mx"), "F11Mx");
}

struct FakeController {
    std::map<std::string, double> keys;
    std::map<std::string, int> reads;
    std::optional<double> operator()(const std::string& key) {
        ++reads[key];
        auto it = keys.find(key);
        return it == keys.end() ? std::nullopt : std::optional<double>(it->second);
    }
};

TEST(SensorSMC, FansSkipUnreadableSpeedsAndCacheTheCount) {
    FakeController smc;
    smc.keys = {{"FNum", 3}, {"F0Ac", 1800}, {"F0Mn", 1200}, {"F0Mx", 6000}, {"F2Ac", 2400}};
    std::optional<int64_t> count;
    auto read = [&](const std::string& key) { return smc(key); };

    auto fans = readSMCFans(count, read);
    ASSERT_EQ(fans.size(), 2u);
    EXPECT_EQ(fans[0], (FanReading{0, 1800, 1200, 6000}));
    EXPECT_EQ(fans[1], (FanReading{2, 2400, std::nullopt, std::nullopt}));  // keeps its number
    EXPECT_EQ(count, 3);

    readSMCFans(count, read);
    EXPECT_EQ(smc.reads["FNum"], 1);
    EXPECT_EQ(smc.reads["F2Ac"], 2);
}

TEST(SensorSMC, NoFansWhenTheCountIsZeroOrUnreadable) {
    for (auto keys :
         {std::map<std::string, double>{{"FNum", 0}, {"F0Ac", 1800}}, std::map<std::string, double>{{"F0Ac", 1800}},
          std::map<std::string, double>{{"FNum", -1}, {"F0Ac", 1800}}}) {
        FakeController smc;
        smc.keys = keys;
        std::optional<int64_t> count;
        EXPECT_TRUE(readSMCFans(count, [&](const std::string& key) { return smc(key); }).empty());
        EXPECT_EQ(smc.reads.count("F0Ac"), 0u);
    }
}

}  // namespace
}  // namespace qm
