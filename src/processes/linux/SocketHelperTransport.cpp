#include "processes/linux/SocketHelperTransport.h"

#include <sys/stat.h>

#include "core/HelperProtocol.h"
#include "core/Log.h"

namespace qm {

SocketHelperTransport::SocketHelperTransport(std::string path) : path_(std::move(path)) {}

bool SocketHelperTransport::isEnabled() {
    struct stat st {};
    return ::stat(path_.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
}

std::optional<std::vector<uint8_t>> SocketHelperTransport::request(double timeout) {
    auto answer = helper::exchange(path_, helper::Request::processes, timeout);
    if (answer.outcome == helper::Exchange::Outcome::answered) return std::move(answer.payload);
    if (answer.outcome == helper::Exchange::Outcome::otherVersion && !versionReported_) {
        // Left over from another release: its figures may mean something else.
        versionReported_ = true;
        logLine("the privileged helper speaks protocol " + std::to_string(answer.version) + ", not " +
                std::to_string(helper::protocolVersion) + "; its figures are not used");
    }
    return std::nullopt;
}

std::unique_ptr<HelperTransport> makeSocketHelperTransport() {
    return std::make_unique<SocketHelperTransport>(helper::configuredSocketPath());
}

}  // namespace qm
