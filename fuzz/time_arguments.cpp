// The history commands' --since and --until arguments: spans, dates and Unix seconds.
#include <cmath>
#include <cstdlib>

#include "FuzzInput.h"
#include "history/TimeArguments.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text = qm::fuzz::asText(data, size);
    if (auto seconds = qm::parseDuration(text))
        if (!(*seconds > 0) || !std::isfinite(*seconds)) std::abort();
    (void)qm::parseTimePoint(text, qm::Date(1'700'000'000.0));
    return 0;
}
