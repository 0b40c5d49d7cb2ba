#include "readers/darwin/SMCConnection.h"

#include <mach/mach.h>

#include <cstdint>
#include <vector>

#include "readers/SMCValue.h"

namespace qm {

namespace {

// The controller's 80-byte parameter block for the structure method.
struct SMCKeyInfo {
    uint32_t dataSize;
    uint32_t dataType;
    uint8_t dataAttributes;
};

struct SMCParam {
    uint32_t key;
    struct {
        uint8_t major, minor, build, reserved;
        uint16_t release;
    } version;
    struct {
        uint16_t version, length;
        uint32_t cpuLimit, gpuLimit, memoryLimit;
    } powerLimits;
    SMCKeyInfo keyInfo;
    uint8_t result;
    uint8_t status;
    uint8_t command;
    uint32_t data32;
    uint8_t bytes[32];
};
static_assert(sizeof(SMCParam) == 80, "the controller expects an 80-byte block");

constexpr uint32_t kStructMethod = 2;
constexpr uint8_t kReadBytes = 5;
constexpr uint8_t kReadKeyInfo = 9;

bool call(io_connect_t connection, SMCParam& in, SMCParam& out) {
    size_t outSize = sizeof out;
    out = {};
    return IOConnectCallStructMethod(connection, kStructMethod, &in, sizeof in, &out, &outSize) == kIOReturnSuccess &&
           out.result == 0;
}

}  // namespace

SMCConnection::SMCConnection() {
    // MACH_PORT_NULL asks for the default main port on every macOS version.
    io_service_t service = IOServiceGetMatchingService(MACH_PORT_NULL, IOServiceMatching("AppleSMC"));
    if (!service) return;
    if (IOServiceOpen(service, mach_task_self(), 0, &connection_) != kIOReturnSuccess) connection_ = 0;
    IOObjectRelease(service);
}

SMCConnection::~SMCConnection() {
    if (connection_) IOServiceClose(connection_);
}

std::optional<double> SMCConnection::read(const std::string& key) {
    if (!connection_) return std::nullopt;
    SMCParam in{}, out{};
    in.key = smcCode(key);
    in.command = kReadKeyInfo;
    if (!call(connection_, in, out)) return std::nullopt;
    const SMCKeyInfo info = out.keyInfo;
    if (info.dataSize == 0 || info.dataSize > sizeof out.bytes) return std::nullopt;

    in.keyInfo.dataSize = info.dataSize;
    in.command = kReadBytes;
    if (!call(connection_, in, out)) return std::nullopt;
    std::vector<uint8_t> bytes(out.bytes, out.bytes + info.dataSize);
    return decodeSMCValue(smcCodeText(info.dataType), bytes);
}

}  // namespace qm
