// The Linux privileged helper's wire protocol over its Unix socket. One request per
// connection: the client sends an 8-byte request ("QMHQ", version, kind); the helper
// answers "QMHA", version, kind, then the payload, and closes the connection, so the
// payload runs to the end of the stream. All numbers are little-endian.
//
//   kind 1, processes: packed 64-byte RawProcRecords of every process;
//   kind 2, energy: packed 48-byte zone records, a NUL-padded 32-byte RAPL zone name
//           ("intel-rapl:0") then its energy counter and its wrap range, in µJ.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qm::helper {

// Where systemd listens for the helper (quillmere-helper.socket).
constexpr const char* socketPath = "/run/quillmere-helper.sock";
constexpr uint16_t protocolVersion = 1;
constexpr size_t headerSize = 8;
constexpr size_t energyRecordSize = 48;
constexpr size_t zoneNameSize = 32;

enum class Request : uint16_t { processes = 1, energy = 2 };

std::array<uint8_t, headerSize> requestFrame(Request request);
// The request in a client's 8 bytes; absent for anything else (wrong magic or version).
std::optional<Request> parseRequest(const uint8_t* data, size_t length);
std::array<uint8_t, headerSize> replyHeader(Request request);

struct EnergyZone {
    std::string name;
    uint64_t energyUj = 0;
    uint64_t maxRangeUj = 0;
};
void packEnergyZone(const EnergyZone& zone, std::vector<uint8_t>& out);
// Zones in an energy payload; a length that is not a multiple of 48 yields none.
std::vector<EnergyZone> unpackEnergyZones(const std::vector<uint8_t>& payload);

struct Exchange {
    enum class Outcome { answered, failed, otherVersion };
    Outcome outcome = Outcome::failed;
    uint16_t version = 0;          // the helper's, when it answered in another version
    std::vector<uint8_t> payload;  // when answered
};

// Connects to `path`, sends one request and reads the whole answer, all within
// `timeout` seconds. Never throws, never waits longer.
Exchange exchange(const std::string& path, Request request, double timeout);

// The overridable socket path: $QUILLMERE_HELPER_SOCKET, else socketPath.
std::string configuredSocketPath();

}  // namespace qm::helper
