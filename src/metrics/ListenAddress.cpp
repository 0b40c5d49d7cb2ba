#include "metrics/ListenAddress.h"

#include <asio/ip/address.hpp>
#include <charconv>

namespace qm::metrics {

std::string ListenAddress::textWithPort(uint16_t boundPort) const {
    const bool v6 = host.find(':') != std::string::npos;
    return (v6 ? "[" + host + "]" : host) + ":" + std::to_string(boundPort);
}

std::string ListenAddress::text() const { return textWithPort(port); }

std::variant<ListenAddress, std::string> parseListenAddress(std::string_view text) {
    const std::string quoted = "\"" + std::string(text) + "\"";
    std::string_view host;
    std::string_view port = text;
    if (!text.empty() && text.front() == '[') {
        const size_t close = text.find("]:");
        if (close == std::string_view::npos) return "not an address with a port: " + quoted;
        host = text.substr(1, close - 1);
        port = text.substr(close + 2);
    } else if (const size_t colon = text.rfind(':'); colon != std::string_view::npos) {
        host = text.substr(0, colon);
        port = text.substr(colon + 1);
        if (host.find(':') != std::string_view::npos)
            return "an IPv6 address needs brackets, like \"[::1]:19466\": " + quoted;
    }
    unsigned value = 0;
    auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), value);
    if (port.empty() || error != std::errc() || end != port.data() + port.size() || value > 65535)
        return "not a port number (0 to 65535): " + quoted;

    ListenAddress address;
    address.port = static_cast<uint16_t>(value);
    if (host.empty() || host == "localhost") {
        address.host = "127.0.0.1";
        return address;
    }
    asio::error_code bad;
    const asio::ip::address ip = asio::ip::make_address(std::string(host), bad);
    if (bad) return "not a numeric IP address (or localhost): " + quoted;
    address.host = ip.to_string();
    address.loopback = ip.is_loopback();
    return address;
}

}  // namespace qm::metrics
