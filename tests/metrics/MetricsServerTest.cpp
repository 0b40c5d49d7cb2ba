// The exporter's HTTP side against clients good and bad: scrapes in both formats, HEAD,
// wrong methods and paths, a huge header, a client that never sends, more connections
// than the limit, a port in use, addresses that are not addresses; and with a web
// configuration, TLS and basic authentication.
#include <gtest/gtest.h>
#include <unistd.h>

#include <asio.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "metrics/ListenAddress.h"
#include "metrics/MetricsServer.h"
#include "metrics/WebConfig.h"

#if !defined(__APPLE__)
#include <crypt.h>
#endif

namespace qm::metrics {
namespace {

using asio::ip::tcp;

// Sends `request` and reads until the server closes. Errors end the read early.
std::string roundTrip(uint16_t port, const std::string& request) {
    asio::io_context io;
    tcp::socket socket(io);
    std::error_code ec;
    socket.connect({asio::ip::make_address("127.0.0.1"), port}, ec);
    if (ec) return "connect failed: " + ec.message();
    asio::write(socket, asio::buffer(request), ec);
    std::string answer;
    char buffer[4096];
    while (!ec) {
        size_t n = socket.read_some(asio::buffer(buffer), ec);
        answer.append(buffer, n);
    }
    return answer;
}

std::string get(uint16_t port, const std::string& path, const std::string& headers = "") {
    return roundTrip(port, "GET " + path + " HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n");
}

std::unique_ptr<MetricsServer> startServer(ServerLimits limits = {}, const WebConfig& web = {}) {
    auto started = MetricsServer::start(std::get<ListenAddress>(parseListenAddress("127.0.0.1:0")), web, limits);
    if (auto* error = std::get_if<std::string>(&started)) ADD_FAILURE() << *error;
    auto* server = std::get_if<std::unique_ptr<MetricsServer>>(&started);
    return server ? std::move(*server) : nullptr;
}

TEST(MetricsServerTest, AnswersScrapesAndRefusesWhatIsNotOne) {
    ServerLimits limits;
    limits.maxConnections = 4;
    limits.exchangeTime = std::chrono::milliseconds(1500);
    limits.maxHeaderBytes = 2048;
    auto server = startServer(limits);
    ASSERT_TRUE(server);
    const uint16_t port = server->port();
    EXPECT_EQ(server->url(), "http://127.0.0.1:" + std::to_string(port) + "/metrics");

    // Before the first frame: the version and the counters, nothing measured.
    std::string page = get(port, "/metrics");
    EXPECT_TRUE(page.starts_with("HTTP/1.1 200 OK\r\n")) << page;
    EXPECT_NE(page.find("Content-Type: text/plain; version=0.0.4"), std::string::npos);
    EXPECT_NE(page.find("quillmere_build_info{version=\"\"} 1"), std::string::npos);

    FrameBuilder builder("9.9");
    Snapshot snapshot;
    snapshot.cpu.total = 12;
    server->publish(builder.add(snapshot));
    page = get(port, "/metrics?x=1", "Accept: application/openmetrics-text;version=1.0.0,text/plain;q=0.5\r\n");
    EXPECT_NE(page.find("Content-Type: application/openmetrics-text; version=1.0.0"), std::string::npos) << page;
    EXPECT_NE(page.find("\nquillmere_cpu_usage_ratio 0.12\n"), std::string::npos);
    EXPECT_TRUE(page.ends_with("# EOF\n"));

    const std::string head = roundTrip(port, "HEAD /metrics HTTP/1.0\r\n\r\n");
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200 OK\r\n")) << head;
    EXPECT_TRUE(head.ends_with("\r\n\r\n")) << "HEAD has no body: " << head;
    EXPECT_EQ(head.find("Content-Length: 0\r\n"), std::string::npos);
    EXPECT_TRUE(roundTrip(port, "POST /metrics HTTP/1.1\r\n\r\n").starts_with("HTTP/1.1 405"));
    EXPECT_TRUE(get(port, "/other").starts_with("HTTP/1.1 404"));
    EXPECT_TRUE(roundTrip(port, "hello\r\n\r\n").starts_with("HTTP/1.1 400"));
    EXPECT_TRUE(get(port, "/metrics", "X-Big: " + std::string(5000, 'a') + "\r\n").starts_with("HTTP/1.1 431"));

    // Clients that connect and say nothing fill the connection limit until the time
    // limit cuts them off; meanwhile a further connection is closed at once, unanswered.
    asio::io_context io;
    std::vector<tcp::socket> idle;
    for (size_t i = 0; i < limits.maxConnections; ++i) {
        idle.emplace_back(io);
        idle.back().connect({asio::ip::make_address("127.0.0.1"), port});
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // let the server take them
    EXPECT_EQ(get(port, "/metrics"), "") << "over the limit, a connection gets no answer";
    for (auto& socket : idle) {  // each is closed by the server (EOF), not left hanging
        char byte;
        std::error_code ec;
        socket.read_some(asio::buffer(&byte, 1), ec);
        EXPECT_EQ(ec, asio::error::eof);
    }
    // A burst of connections far over the limit, then the server answers as before.
    std::vector<tcp::socket> burst;
    for (int i = 0; i < 300; ++i) {
        burst.emplace_back(io);
        std::error_code ec;
        burst.back().connect({asio::ip::make_address("127.0.0.1"), port}, ec);
    }
    burst.clear();
    bool answered = false;
    for (int attempt = 0; attempt < 50 && !answered; ++attempt) {
        answered = get(port, "/metrics").starts_with("HTTP/1.1 200");
        if (!answered) std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    EXPECT_TRUE(answered);
}

TEST(MetricsServerTest, AddressesAndPortsThatCannotBeServed) {
    auto parsed = [](const char* text) { return parseListenAddress(text); };
    auto address = [&](const char* text) { return std::get<ListenAddress>(parsed(text)); };
    EXPECT_EQ(address(":19466").text(), "127.0.0.1:19466");
    EXPECT_EQ(address("19466").text(), "127.0.0.1:19466");
    EXPECT_TRUE(address("localhost:19466").loopback);
    EXPECT_TRUE(address("[::1]:19466").loopback);
    EXPECT_EQ(address("[::1]:19466").text(), "[::1]:19466");
    EXPECT_FALSE(address("0.0.0.0:19466").loopback);
    EXPECT_FALSE(address("192.0.2.7:19466").loopback);
    for (const char* bad : {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:99999", "127.0.0.1:12x", "example.org:19466",
                            "::1:19466", "[::1]19466", "300.1.1.1:5"})
        EXPECT_TRUE(std::holds_alternative<std::string>(parsed(bad))) << bad;
    EXPECT_EQ(std::get<std::string>(parsed("example.org:1")),
              "not a numeric IP address (or localhost): \"example.org:1\"");

    auto first = startServer();
    ASSERT_TRUE(first);
    const std::string taken = "127.0.0.1:" + std::to_string(first->port());
    auto second = MetricsServer::start(address(taken.c_str()), {});
    ASSERT_TRUE(std::holds_alternative<std::string>(second));
    EXPECT_EQ(std::get<std::string>(second), "cannot serve metrics on " + taken + ": Address already in use");
    // An address this machine does not have (TEST-NET-1, never assigned).
    auto absent = MetricsServer::start(address("192.0.2.7:19466"), {});
    ASSERT_TRUE(std::holds_alternative<std::string>(absent));
    EXPECT_NE(std::get<std::string>(absent).find("cannot serve metrics on 192.0.2.7:19466: "), std::string::npos);
}

class Scratch {
public:
    Scratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qm-metrics-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(path + "/" + name) << text;
        return path + "/" + name;
    }
    std::string path;
};

std::string run(const std::string& command) {
    std::string output;
    FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    char buffer[4096];
    while (size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
    ::pclose(pipe);
    return output;
}

TEST(MetricsServerTest, WebConfigServesTlsWithBasicAuthenticationAndRefusesBadFiles) {
#if defined(__APPLE__)
    GTEST_SKIP() << "bcrypt comes from libxcrypt on Linux";
#else
    if (std::system("command -v openssl >/dev/null && command -v curl >/dev/null") != 0)
        GTEST_SKIP() << "needs the openssl and curl programs";
    Scratch scratch;
    // A bcrypt hash of "s3cret" at the lowest cost, as htpasswd -nB would write it.
    char salt[CRYPT_GENSALT_OUTPUT_SIZE];
    ASSERT_NE(::crypt_gensalt_rn("$2y$", 4, nullptr, 0, salt, sizeof salt), nullptr);
    crypt_data data{};
    const std::string hash = ::crypt_r("s3cret", salt, &data);
    EXPECT_TRUE(bcryptMatches("s3cret", hash));
    EXPECT_FALSE(bcryptMatches("s3cret ", hash));
    EXPECT_FALSE(bcryptMatches("s3cret", "$2y$04$short"));

    ASSERT_EQ(std::system(("cd " + scratch.path +
                           " && openssl req -x509 -newkey rsa:2048 -nodes -keyout metrics.key -out metrics.crt "
                           "-days 2 -subj /CN=localhost >/dev/null 2>&1")
                              .c_str()),
              0);
    const std::string config = scratch.write(
        "web.yml",
        "tls_server_config:\n  cert_file: metrics.crt\n  key_file: metrics.key\nbasic_auth_users:\n  prom: " + hash +
            "\n");
    auto loaded = loadWebConfig(config);
    ASSERT_TRUE(std::holds_alternative<WebConfig>(loaded)) << std::get<std::string>(loaded);
    auto server = startServer({}, std::get<WebConfig>(loaded));
    ASSERT_TRUE(server);
    EXPECT_TRUE(server->url().starts_with("https://127.0.0.1:"));
    const std::string curl = "curl -sk -o /dev/null -w '%{http_code}' " + server->url();
    EXPECT_EQ(run(curl + " -u prom:s3cret"), "200");
    EXPECT_EQ(run(curl + " -u prom:s3cret"), "200");  // the second time from the cache
    EXPECT_EQ(run(curl + " -u prom:wrong"), "401");
    EXPECT_EQ(run(curl + " -u nobody:s3cret"), "401");
    EXPECT_EQ(run(curl), "401");
    EXPECT_EQ(get(server->port(), "/metrics"), "") << "plain HTTP to a TLS port gets nothing";

    auto refusal = [&](const std::string& text) {
        auto result = loadWebConfig(scratch.write("bad.yml", text));
        return std::holds_alternative<std::string>(result) ? std::get<std::string>(result) : "accepted";
    };
    const std::string bad = scratch.path + "/bad.yml";
    EXPECT_EQ(refusal("tls_server_config:\n  cert_file: none.crt\n  key_file: metrics.key\n"),
              "cannot read " + scratch.path + "/none.crt (named in " + bad + ")");
    EXPECT_EQ(refusal("tls_server_config:\n  cert_file: metrics.crt\n  client_ca_file: ca.crt\n"),
              "tls_server_config.client_ca_file in " + bad +
                  " is not supported by Quillmere's exporter (only cert_file and key_file)");
    EXPECT_EQ(refusal("basic_auth_users:\n  prom: s3cret\n"),
              "the password of prom in " + bad + " is not a bcrypt hash ($2y$…)");
    EXPECT_EQ(refusal("basic_auth_users: [\n"), "the web configuration " + bad + " is not valid YAML (line 2)");
    EXPECT_EQ(refusal(""), "accepted");
    EXPECT_EQ(std::get<std::string>(loadWebConfig(scratch.path + "/missing.yml")),
              "cannot read the web configuration " + scratch.path + "/missing.yml");
    // A key that does not belong to its certificate is refused at start, in one line.
    run("cd " + scratch.path + " && openssl genrsa -out other.key 2048");
    WebConfig mismatched = std::get<WebConfig>(loaded);
    mismatched.tls->keyFile = scratch.path + "/other.key";
    auto refused = MetricsServer::start(std::get<ListenAddress>(parseListenAddress("127.0.0.1:0")), mismatched);
    ASSERT_TRUE(std::holds_alternative<std::string>(refused));
    EXPECT_TRUE(std::get<std::string>(refused).starts_with("cannot use the TLS key " + scratch.path + "/other.key: "))
        << std::get<std::string>(refused);
#endif
}

}  // namespace
}  // namespace qm::metrics
