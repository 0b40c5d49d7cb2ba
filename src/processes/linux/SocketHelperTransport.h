// The client's side of quillmere-helper: one connection per request to its socket.
#pragma once

#include <memory>
#include <string>

#include "processes/HelperTransport.h"

namespace qm {

class SocketHelperTransport : public HelperTransport {
public:
    explicit SocketHelperTransport(std::string path);

    // Enabled while the socket exists: systemd creates it when quillmere-helper.socket
    // is active and removes it when the unit stops.
    bool isEnabled() override;
    std::optional<std::vector<uint8_t>> request(double timeout) override;
    // Nothing is kept between requests.
    void invalidate() override {}

private:
    std::string path_;
    bool versionReported_ = false;
};

// The transport for this machine's helper socket ($QUILLMERE_HELPER_SOCKET overrides it).
std::unique_ptr<HelperTransport> makeSocketHelperTransport();

}  // namespace qm
