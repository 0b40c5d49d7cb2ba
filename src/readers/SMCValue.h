// Values of the System Management Controller: decoding the raw bytes of a key by its
// four-character data type, and the fan keys built on top.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

// "flt " a 4-byte float in the host's byte order (what the controller hands back on
// Apple Silicon), "fpe2" unsigned 16-bit big-endian with two fraction bits, "ui8 "
// one byte, "ui16" unsigned 16-bit big-endian. Any other type, or too few bytes,
// gives nothing.
std::optional<double> decodeSMCValue(std::string_view dataType, const std::vector<uint8_t>& bytes);

// The four-character code packed big-endian into 32 bits, as the controller wants keys
// and reports types; and back.
uint32_t smcCode(std::string_view fourChars);
std::string smcCodeText(uint32_t code);

// Fan keys: "F0Ac" current speed, "F0Mn" minimum, "F0Mx" maximum.
std::string fanKey(int64_t index, std::string_view suffix);

// The fans, given a way to read one key. The count ("FNum") is read the first time
// and kept in `fanCount`; a count below 1 means no fans. A fan whose current speed
// cannot be read is left out; minimum and maximum are optional.
std::vector<FanReading> readSMCFans(std::optional<int64_t>& fanCount,
                                    const std::function<std::optional<double>(const std::string&)>& readKey);

}  // namespace qm
