// Where the exporter listens: "127.0.0.1:19466", "[::1]:19466", "localhost:19466", or a
// port alone (":19466", "19466"), which means the loopback address. Any other address
// must be written out in full; a wildcard like "0.0.0.0:19466" opens the exporter to
// other machines, which is the user's explicit choice and is logged once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace qm::metrics {

struct ListenAddress {
    std::string host;   // a numeric address: "127.0.0.1", "::1", "0.0.0.0"
    uint16_t port = 0;  // 0: any free port (tests)
    bool loopback = true;

    // "127.0.0.1:19466", "[::1]:19466"
    std::string text() const;
    std::string textWithPort(uint16_t boundPort) const;
};

// The address, or a one-line reason why the text is not one.
std::variant<ListenAddress, std::string> parseListenAddress(std::string_view text);

}  // namespace qm::metrics
