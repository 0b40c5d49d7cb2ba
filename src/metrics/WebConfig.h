// TLS and basic authentication for the exporter, in the web configuration file format
// that Prometheus's own exporters read (`--web.config.file`):
//
//   tls_server_config:
//     cert_file: /etc/quillmere/metrics.crt
//     key_file: /etc/quillmere/metrics.key
//   basic_auth_users:
//     prometheus: $2y$10$...   (a bcrypt hash, as `htpasswd -nB prometheus` makes)
//
// Keys this exporter does not implement (client certificates, cipher choices) are
// refused rather than ignored: a setting that silently does nothing is a hole.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>

namespace qm::metrics {

struct WebConfig {
    struct Tls {
        std::string certFile;
        std::string keyFile;
    };
    std::optional<Tls> tls;
    std::map<std::string, std::string> users;  // user name → bcrypt hash; empty: no authentication
};

// The file's settings, or a one-line reason why it cannot be used. Relative paths in
// it are read from the file's own folder, as the exporters do.
std::variant<WebConfig, std::string> loadWebConfig(const std::string& path);

// True when `password` matches the bcrypt `hash` ($2a$, $2b$ or $2y$).
bool bcryptMatches(const std::string& password, const std::string& hash);

}  // namespace qm::metrics
