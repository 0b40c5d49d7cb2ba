#include "core/JsonText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace qm {
namespace {

using nlohmann::json;

// Values written piece by piece must read exactly as the same values dumped from a
// tree: a stream and a document of the same data are compared byte for byte.
TEST(JsonTextTest, PiecesMatchTheTreeForHostileStringsAndEdgeNumbers) {
    const std::vector<std::string> strings{"",
                                           "plain name",
                                           "quote\" back\\slash",
                                           std::string("nul\0byte", 8),
                                           "tab\tnew\nline\rbell\x07 esc\x1b del\x7f",
                                           "caf\xc3\xa9 \xe2\x9c\x93",
                                           "bad\xff",
                                           "cut\xc3",
                                           "\xe2\x9c",
                                           "\xc0\xaf overlong",
                                           "\xed\xa0\x80 surrogate"};
    for (const auto& s : strings) {
        std::string out;
        appendJsonString(out, s);
        EXPECT_EQ(out, jsonText(json(s))) << s;
        EXPECT_TRUE(json::accept(out)) << out;
    }

    const double inf = std::numeric_limits<double>::infinity();
    for (double d : {0.0, -0.0, 5.0, 0.1, 1.0 / 3, 1e15, 1e16, 123456789012345678.0, 1e-4, 1e-5, 1e-300, 4.9e-324,
                     std::numeric_limits<double>::max(), -2.5e21, 1'700'000'000.5}) {
        std::string out;
        appendJsonNumber(out, d);
        EXPECT_EQ(out, jsonText(json(d))) << d;
        EXPECT_EQ(json::parse(out).get<double>(), d) << out;
    }
    for (double d : {std::numeric_limits<double>::quiet_NaN(), inf, -inf}) {
        std::string out;
        appendJsonNumber(out, d);
        EXPECT_EQ(out, "null");
        EXPECT_EQ(out, jsonText(json(d)));
    }

    std::string ints;
    appendJsonNumber(ints, std::numeric_limits<int64_t>::min());
    ints += ',';
    appendJsonNumber(ints, std::numeric_limits<uint64_t>::max());
    ints += ',';
    appendJsonNumber(ints, int32_t{-1});
    ints += ',';
    appendJsonBool(ints, false);
    EXPECT_EQ("[" + ints + "]",
              jsonText(json{std::numeric_limits<int64_t>::min(), std::numeric_limits<uint64_t>::max(), -1, false}));
}

}  // namespace
}  // namespace qm
