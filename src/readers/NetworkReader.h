// Machine-wide network receive and send rates from the summed interface counters.
#pragma once

#include <memory>
#include <string_view>

#include "core/Clock.h"
#include "core/Platform.h"
#include "readers/RateCounter.h"

namespace qm {

class NetworkReader {
public:
    NetworkReader(std::unique_ptr<NetworkSource> source, const Clock& clock);
    NetworkStats read();

private:
    std::unique_ptr<NetworkSource> source_;
    const Clock& clock_;
    RateCounter counter_;
};

// macOS: loopback, tunnels and VPNs, peer-to-peer wireless links and internal
// bridges do not count ("lo0", "utun3", "awdl0", "llw0", "gif0", "stf0", "anpi0",
// "ipsec0", "ap1").
bool isCountedDarwinInterface(std::string_view name);

}  // namespace qm
