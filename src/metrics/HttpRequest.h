// The little of HTTP/1.x the exporter needs: the request line and the headers of a
// request whose head (up to the blank line) has already been read within the size
// limit. Bodies are never read: a scrape has none.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace qm::metrics {

struct HttpRequest {
    std::string method;                          // "GET"
    std::string path;                            // "/metrics", without the query
    std::map<std::string, std::string> headers;  // names in lower case; repeated headers joined with ","

    // The header's value, or "" when it is missing.
    std::string header(const std::string& lowerCaseName) const;
};

// Parses a request head ending in "\r\n\r\n" (a bare "\n" is accepted too). None when
// it is not an HTTP/1.x request.
std::optional<HttpRequest> parseRequestHead(std::string_view head);

// A complete response with Connection: close. `body` is left out for HEAD.
std::string httpResponse(int status, std::string_view contentType, std::string_view body, bool head,
                         std::string_view extraHeaders = {});

// The user and password of an "Authorization: Basic …" header.
std::optional<std::pair<std::string, std::string>> basicCredentials(std::string_view authorization);

}  // namespace qm::metrics
