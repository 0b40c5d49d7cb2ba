#include "core/HelperProtocol.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "core/TimerSlack.h"

namespace qm::helper {

namespace {

constexpr std::array<uint8_t, 4> requestMagic = {'Q', 'M', 'H', 'Q'};
constexpr std::array<uint8_t, 4> replyMagic = {'Q', 'M', 'H', 'A'};
// Larger than any real answer (5,000 processes are 320 KB): a runaway peer stops here.
constexpr size_t payloadLimit = 64u << 20;

std::array<uint8_t, headerSize> frame(const std::array<uint8_t, 4>& magic, uint16_t version, uint16_t kind) {
    return {magic[0],
            magic[1],
            magic[2],
            magic[3],
            static_cast<uint8_t>(version),
            static_cast<uint8_t>(version >> 8),
            static_cast<uint8_t>(kind),
            static_cast<uint8_t>(kind >> 8)};
}

uint16_t read16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

uint64_t read64(const uint8_t* p) {
    uint64_t value = 0;
    for (int i = 7; i >= 0; --i) value = (value << 8) | p[i];
    return value;
}

class Deadline {
public:
    explicit Deadline(double seconds)
        : end_(std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                      std::chrono::duration<double>(seconds))) {}
    // Milliseconds left, rounded up so that a wait never ends early; 0 when over.
    int remainingMs() const {
        auto left = end_ - std::chrono::steady_clock::now();
        if (left <= std::chrono::steady_clock::duration::zero()) return 0;
        return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count());
    }

private:
    std::chrono::steady_clock::time_point end_;
};

// Waits until `fd` is ready for `events` or the deadline passes.
bool waitFor(int fd, short events, const Deadline& deadline) {
    for (;;) {
        int ms = deadline.remainingMs();
        if (ms <= 0) return false;
        pollfd p{fd, events, 0};
        int n = ::poll(&p, 1, ms);
        if (n > 0) return true;
        if (n < 0 && errno != EINTR) return false;
    }
}

}  // namespace

std::array<uint8_t, headerSize> requestFrame(Request request) {
    return frame(requestMagic, protocolVersion, static_cast<uint16_t>(request));
}

std::array<uint8_t, headerSize> replyHeader(Request request) {
    return frame(replyMagic, protocolVersion, static_cast<uint16_t>(request));
}

std::optional<Request> parseRequest(const uint8_t* data, size_t length) {
    if (!data || length != headerSize || std::memcmp(data, requestMagic.data(), 4) != 0) return std::nullopt;
    if (read16(data + 4) != protocolVersion) return std::nullopt;
    uint16_t kind = read16(data + 6);
    if (kind == static_cast<uint16_t>(Request::processes)) return Request::processes;
    if (kind == static_cast<uint16_t>(Request::energy)) return Request::energy;
    return std::nullopt;
}

void packEnergyZone(const EnergyZone& zone, std::vector<uint8_t>& out) {
    for (size_t i = 0; i < zoneNameSize; ++i)
        out.push_back(i < zone.name.size() && i + 1 < zoneNameSize ? static_cast<uint8_t>(zone.name[i]) : 0);
    for (uint64_t value : {zone.energyUj, zone.maxRangeUj})
        for (int i = 0; i < 8; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

std::vector<EnergyZone> unpackEnergyZones(const std::vector<uint8_t>& payload) {
    std::vector<EnergyZone> zones;
    if (payload.size() % energyRecordSize != 0) return zones;
    for (size_t at = 0; at < payload.size(); at += energyRecordSize) {
        const uint8_t* p = payload.data() + at;
        EnergyZone zone;
        const char* name = reinterpret_cast<const char*>(p);
        zone.name.assign(name, strnlen(name, zoneNameSize));
        zone.energyUj = read64(p + zoneNameSize);
        zone.maxRangeUj = read64(p + zoneNameSize + 8);
        zones.push_back(std::move(zone));
    }
    return zones;
}

Exchange exchange(const std::string& path, Request request, double timeout) {
    Exchange result;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) return result;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

    // The sampler's thread may sleep with a slack of seconds; this wait stays bounded.
    PreciseTimeouts precise;
    Deadline deadline(timeout);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return result;
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};

    // Local connections complete at once or fail at once: a socket file that nobody
    // listens on refuses (ECONNREFUSED), a helper whose queue is full is busy (EAGAIN).
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return result;
    auto frame = requestFrame(request);
    size_t sent = 0;
    while (sent < frame.size()) {
        ssize_t n = ::send(fd, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
        if (n > 0) {
            sent += static_cast<size_t>(n);
        } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            if (!waitFor(fd, POLLOUT, deadline)) return result;
        } else {
            return result;
        }
    }

    std::vector<uint8_t> data;
    uint8_t buffer[65536];
    for (;;) {
        ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        if (n > 0) {
            data.insert(data.end(), buffer, buffer + n);
            if (data.size() > payloadLimit + headerSize) return result;
        } else if (n == 0) {
            break;  // the helper closed: the answer is complete
        } else if (errno == EAGAIN || errno == EINTR) {
            if (!waitFor(fd, POLLIN, deadline)) return result;
        } else {
            return result;
        }
    }
    if (data.size() < headerSize || std::memcmp(data.data(), replyMagic.data(), 4) != 0) return result;
    uint16_t version = read16(data.data() + 4);
    if (version != protocolVersion) {
        result.outcome = Exchange::Outcome::otherVersion;
        result.version = version;
        return result;
    }
    if (read16(data.data() + 6) != static_cast<uint16_t>(request)) return result;
    result.outcome = Exchange::Outcome::answered;
    result.payload.assign(data.begin() + headerSize, data.end());
    return result;
}

std::string configuredSocketPath() {
    const char* custom = std::getenv("QUILLMERE_HELPER_SOCKET");
    return custom && *custom ? std::string(custom) : std::string(socketPath);
}

}  // namespace qm::helper
