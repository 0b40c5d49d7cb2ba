// The output of `ps -axo pid=,uid=,time=,rss=` and its CPU-time column.
#include <cmath>
#include <cstdlib>

#include "FuzzInput.h"
#include "processes/PSOutput.h"
#include "processes/ProcessNames.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text = qm::fuzz::asText(data, size);
    for (const auto& line : qm::parsePSOutput(text, 501))
        if (line.uid == 501) std::abort();
    double seconds = qm::parseCPUTime(text);
    if (!std::isfinite(seconds) || seconds < 0) std::abort();
    (void)qm::lastPathComponent(text);
    (void)qm::looksLikeVersion(text);
    return 0;
}
