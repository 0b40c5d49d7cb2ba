#include "metrics/WebConfig.h"

#include <yaml-cpp/yaml.h>

#include <cstring>
#include <filesystem>
#include <memory>

#if !defined(__APPLE__)
#include <crypt.h>
#endif

namespace qm::metrics {

namespace {

std::string besideConfig(const std::filesystem::path& config, const std::string& file) {
    const std::filesystem::path path(file);
    return path.is_absolute() ? file : (config.parent_path() / path).string();
}

bool readable(const std::string& file) {
    std::error_code ec;
    return std::filesystem::is_regular_file(file, ec);
}

}  // namespace

std::variant<WebConfig, std::string> loadWebConfig(const std::string& path) {
    YAML::Node root;
    try {
        root = YAML::LoadFile(path);
    } catch (const YAML::BadFile&) {
        return "cannot read the web configuration " + path;
    } catch (const YAML::Exception& e) {
        return "the web configuration " + path + " is not valid YAML (line " + std::to_string(e.mark.line + 1) + ")";
    }
    WebConfig config;
    if (root.IsNull()) return config;  // an empty file: plain HTTP, no users
    if (!root.IsMap()) return "the web configuration " + path + " is not a map of settings";
    try {
        for (const auto& entry : root) {
            const std::string key = entry.first.as<std::string>();
            const YAML::Node& value = entry.second;
            if (key == "tls_server_config") {
                if (value.IsNull()) continue;
                if (!value.IsMap()) return "tls_server_config in " + path + " is not a map";
                WebConfig::Tls tls;
                for (const auto& setting : value) {
                    const std::string name = setting.first.as<std::string>();
                    if (name == "cert_file") {
                        tls.certFile = besideConfig(path, setting.second.as<std::string>());
                    } else if (name == "key_file") {
                        tls.keyFile = besideConfig(path, setting.second.as<std::string>());
                    } else {
                        return "tls_server_config." + name + " in " + path +
                               " is not supported by Quillmere's exporter (only cert_file and key_file)";
                    }
                }
                if (tls.certFile.empty() || tls.keyFile.empty())
                    return "tls_server_config in " + path + " needs both cert_file and key_file";
                for (const std::string* file : {&tls.certFile, &tls.keyFile})
                    if (!readable(*file)) return "cannot read " + *file + " (named in " + path + ")";
                config.tls = tls;
            } else if (key == "basic_auth_users") {
                if (value.IsNull()) continue;
                if (!value.IsMap()) return "basic_auth_users in " + path + " is not a map of users to bcrypt hashes";
                for (const auto& user : value) {
                    const std::string name = user.first.as<std::string>();
                    const std::string hash = user.second.as<std::string>();
                    if (hash.size() < 60 || hash[0] != '$' || hash[1] != '2')
                        return "the password of " + name + " in " + path + " is not a bcrypt hash ($2y$…)";
                    config.users[name] = hash;
                }
            } else {
                return key + " in " + path + " is not supported by Quillmere's exporter";
            }
        }
    } catch (const YAML::Exception&) {
        return "the web configuration " + path + " has a value that is not text";
    }
#if defined(__APPLE__)
    if (!config.users.empty()) return "basic_auth_users in " + path + " needs bcrypt, which this build lacks";
#endif
    return config;
}

bool bcryptMatches(const std::string& password, const std::string& hash) {
#if defined(__APPLE__)
    (void)password;
    (void)hash;
    return false;
#else
    if (hash.size() < 7 || hash.compare(0, 2, "$2") != 0) return false;
    // crypt_data is large (about 32 KB): on the heap, not the server thread's stack.
    auto data = std::make_unique<crypt_data>();
    const char* computed = ::crypt_r(password.c_str(), hash.c_str(), data.get());
    if (computed == nullptr || computed[0] == '*') return false;  // "*0": libxcrypt's failure token
    const size_t length = std::strlen(computed);
    if (length != hash.size()) return false;
    // Compared in constant time, like any secret.
    unsigned char difference = 0;
    for (size_t i = 0; i < length; ++i) difference |= static_cast<unsigned char>(computed[i] ^ hash[i]);
    return difference == 0;
#endif
}

}  // namespace qm::metrics
