// Disk read and write rates from the storage drivers' counters, and the startup
// volume's space (queried at most once a minute: it is the costly part).
#pragma once

#include <memory>
#include <optional>

#include "core/Clock.h"
#include "core/Platform.h"
#include "readers/RateCounter.h"

namespace qm {

class DiskReader {
public:
    DiskReader(std::unique_ptr<DiskSource> source, const Clock& clock);
    DiskStats read();

private:
    std::unique_ptr<DiskSource> source_;
    const Clock& clock_;
    RateCounter counter_;
    std::optional<double> spaceCheckedAt_;
    VolumeSpace cachedSpace_{};
};

}  // namespace qm
