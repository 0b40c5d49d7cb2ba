#include "metrics/HttpRequest.h"

#include <algorithm>
#include <array>

namespace qm::metrics {

namespace {

std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
    return text;
}

std::string lower(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

const char* reason(int status) {
    switch (status) {
        case 200: return "OK";
        case 400: return "Bad Request";
        case 401: return "Unauthorized";
        case 404: return "Not Found";
        case 405: return "Method Not Allowed";
        case 431: return "Request Header Fields Too Large";
        case 503: return "Service Unavailable";
        default: return "Error";
    }
}

std::optional<std::string> base64Decode(std::string_view text) {
    static constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned buffer = 0;
    int bits = 0;
    size_t padding = 0;
    for (char c : text) {
        if (c == '=') {
            ++padding;
            continue;
        }
        if (padding > 0) return std::nullopt;  // data after padding
        const size_t value = alphabet.find(c);
        if (value == std::string_view::npos) return std::nullopt;
        buffer = (buffer << 6) | static_cast<unsigned>(value);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out += static_cast<char>((buffer >> bits) & 0xFF);
        }
    }
    if (padding > 2) return std::nullopt;
    return out;
}

}  // namespace

std::string HttpRequest::header(const std::string& lowerCaseName) const {
    auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::string() : found->second;
}

std::optional<HttpRequest> parseRequestHead(std::string_view head) {
    HttpRequest request;
    size_t lineEnd = head.find('\n');
    if (lineEnd == std::string_view::npos) return std::nullopt;
    std::string_view line = trim(head.substr(0, lineEnd));
    // METHOD SP TARGET SP HTTP/1.x
    const size_t first = line.find(' ');
    const size_t last = line.rfind(' ');
    if (first == std::string_view::npos || last == first) return std::nullopt;
    std::string_view version = line.substr(last + 1);
    if (version != "HTTP/1.1" && version != "HTTP/1.0") return std::nullopt;
    request.method = std::string(line.substr(0, first));
    std::string_view target = line.substr(first + 1, last - first - 1);
    if (target.empty() || target.front() != '/') return std::nullopt;
    request.path = std::string(target.substr(0, target.find('?')));

    head.remove_prefix(lineEnd + 1);
    while (!head.empty()) {
        lineEnd = head.find('\n');
        line = trim(head.substr(0, lineEnd));
        head = lineEnd == std::string_view::npos ? std::string_view{} : head.substr(lineEnd + 1);
        if (line.empty()) break;  // the blank line that ends the head
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos || colon == 0) return std::nullopt;
        std::string name = lower(line.substr(0, colon));
        std::string value(trim(line.substr(colon + 1)));
        auto [slot, added] = request.headers.emplace(name, value);
        if (!added) slot->second += "," + value;
    }
    return request;
}

std::string httpResponse(int status, std::string_view contentType, std::string_view body, bool head,
                         std::string_view extraHeaders) {
    std::string out = "HTTP/1.1 " + std::to_string(status) + " " + reason(status) + "\r\n";
    out += "Content-Type: ";
    out += contentType;
    out += "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    out += extraHeaders;
    out += "Connection: close\r\n\r\n";
    if (!head) out += body;
    return out;
}

std::optional<std::pair<std::string, std::string>> basicCredentials(std::string_view authorization) {
    authorization = trim(authorization);
    if (authorization.size() < 6 || lower(authorization.substr(0, 6)) != "basic ") return std::nullopt;
    auto decoded = base64Decode(trim(authorization.substr(6)));
    if (!decoded) return std::nullopt;
    const size_t colon = decoded->find(':');
    if (colon == std::string::npos) return std::nullopt;
    return std::make_pair(decoded->substr(0, colon), decoded->substr(colon + 1));
}

}  // namespace qm::metrics
