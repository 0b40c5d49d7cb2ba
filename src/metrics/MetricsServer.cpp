#include "metrics/MetricsServer.h"

#include <pthread.h>

#include <array>
#include <asio.hpp>
#include <asio/ssl.hpp>
#include <mutex>
#include <optional>
#include <thread>

#include "metrics/Exposition.h"
#include "metrics/HttpRequest.h"

namespace qm::metrics {

using asio::ip::tcp;

struct MetricsServer::Impl {
    // What sessions use comes first, so it outlives the handlers the io_context
    // destroys when it goes (members go in reverse order).
    ServerLimits limits;
    WebConfig web;
    ListenAddress address;
    uint16_t port = 0;
    size_t connections = 0;  // server thread only

    std::mutex latestLock;
    std::shared_ptr<const MetricsFrame> latest;  // guarded by latestLock

    // Server thread only: the pages of the frame last rendered, one per format.
    std::shared_ptr<const MetricsFrame> rendered;
    std::array<std::shared_ptr<const std::string>, 2> pages;
    std::string lastAccepted;  // the credentials bcrypt last accepted (it is slow on purpose)

    std::optional<asio::ssl::context> tls;
    asio::io_context io{1};
    tcp::acceptor acceptor{io};
    asio::steady_timer retry{io};
    std::thread thread;

    ~Impl() {
        io.stop();
        if (thread.joinable()) thread.join();
    }

    void accept();
    std::shared_ptr<const std::string> page(ExpositionFormat format);
    bool authorized(const HttpRequest& request);
    // The header and the body of the answer to one request.
    std::pair<std::string, std::shared_ptr<const std::string>> answer(std::string_view head);
};

namespace {

template <class Stream>
tcp::socket::lowest_layer_type& lowest(Stream& stream) {
    return stream.lowest_layer();
}

// One connection: (TLS handshake,) one request head, one answer, closed. The deadline
// covers all of it, so a client that sends slowly or never reads is cut off.
template <class Stream>
class Session : public std::enable_shared_from_this<Session<Stream>> {
public:
    Session(MetricsServer::Impl& server, Stream stream)
        : server_(server), stream_(std::move(stream)), deadline_(server.io), buffer_(server.limits.maxHeaderBytes) {
        ++server_.connections;
    }
    ~Session() { --server_.connections; }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void start() {
        deadline_.expires_after(server_.limits.exchangeTime);
        deadline_.async_wait([self = this->shared_from_this()](std::error_code ec) {
            if (!ec) self->close();
        });
        if constexpr (std::is_same_v<Stream, tcp::socket>) {
            readHead();
        } else {
            stream_.async_handshake(asio::ssl::stream_base::server,
                                    [self = this->shared_from_this()](std::error_code ec) {
                if (ec) return self->close();
                self->readHead();
            });
        }
    }

private:
    void readHead() {
        asio::async_read_until(stream_, buffer_, "\r\n\r\n",
                               [self = this->shared_from_this()](std::error_code ec, size_t size) {
            self->onHead(ec, size);
        });
    }

    void onHead(std::error_code ec, size_t size) {
        if (ec == asio::error::not_found) {  // the head outgrew the limit
            header_ = httpResponse(431, "text/plain; charset=utf-8", "request header too large\n", false);
            return write();
        }
        if (ec) return close();
        std::string_view head(static_cast<const char*>(buffer_.data().data()), size);
        std::tie(header_, body_) = server_.answer(head);
        write();
    }

    void write() {
        std::array<asio::const_buffer, 2> buffers{asio::buffer(header_),
                                                  body_ ? asio::buffer(*body_) : asio::const_buffer()};
        asio::async_write(stream_, buffers,
                          [self = this->shared_from_this()](std::error_code, size_t) { self->close(); });
    }

    void close() {
        std::error_code ignored;
        lowest(stream_).shutdown(tcp::socket::shutdown_both, ignored);
        lowest(stream_).close(ignored);
        deadline_.cancel();
    }

    MetricsServer::Impl& server_;
    Stream stream_;
    asio::steady_timer deadline_;
    asio::streambuf buffer_;
    std::string header_;
    std::shared_ptr<const std::string> body_;
};

void nameThisThread() {
#if defined(__APPLE__)
    pthread_setname_np("qm.metrics");
#else
    pthread_setname_np(pthread_self(), "qm.metrics");
#endif
}

}  // namespace

void MetricsServer::Impl::accept() {
    acceptor.async_accept([this](std::error_code ec, tcp::socket socket) {
        if (ec == asio::error::operation_aborted) return;
        if (ec) {
            // Out of file descriptors, say: wait a little rather than spin on the error.
            retry.expires_after(std::chrono::milliseconds(200));
            retry.async_wait([this](std::error_code waitError) {
                if (!waitError) accept();
            });
            return;
        }
        if (connections >= limits.maxConnections) {
            std::error_code ignored;
            socket.close(ignored);  // over the limit: no answer, no time spent
        } else if (tls) {
            std::make_shared<Session<asio::ssl::stream<tcp::socket>>>(*this,
                                                                      asio::ssl::stream<tcp::socket>(std::move(socket),
                                                                                                     *tls))
                ->start();
        } else {
            std::make_shared<Session<tcp::socket>>(*this, std::move(socket))->start();
        }
        accept();
    });
}

std::shared_ptr<const std::string> MetricsServer::Impl::page(ExpositionFormat format) {
    std::shared_ptr<const MetricsFrame> frame;
    {
        std::lock_guard guard(latestLock);
        frame = latest;
    }
    if (frame != rendered) {
        rendered = frame;
        pages = {};
    }
    auto& slot = pages[format == ExpositionFormat::openMetrics ? 1 : 0];
    if (!slot) slot = std::make_shared<const std::string>(renderExposition(frame ? *frame : MetricsFrame{}, format));
    return slot;
}

bool MetricsServer::Impl::authorized(const HttpRequest& request) {
    if (web.users.empty()) return true;
    auto credentials = basicCredentials(request.header("authorization"));
    if (!credentials) return false;
    auto user = web.users.find(credentials->first);
    if (user == web.users.end()) return false;
    const std::string presented = credentials->first + '\0' + credentials->second;
    if (!lastAccepted.empty() && presented == lastAccepted) return true;
    if (!bcryptMatches(credentials->second, user->second)) return false;
    lastAccepted = presented;
    return true;
}

std::pair<std::string, std::shared_ptr<const std::string>> MetricsServer::Impl::answer(std::string_view head) {
    auto text = [](std::string body) { return std::make_shared<const std::string>(std::move(body)); };
    const char* plain = "text/plain; charset=utf-8";
    auto request = parseRequestHead(head);
    if (!request) {
        auto body = text("bad request\n");
        return {httpResponse(400, plain, *body, true), body};
    }
    const bool isHead = request->method == "HEAD";
    auto reply =
        [&](int status, std::string_view type, std::shared_ptr<const std::string> body, std::string_view extra = {}) {
        // The header says the body's length; HEAD sends the header alone.
        std::string header = httpResponse(status, type, *body, true, extra);
        return std::make_pair(std::move(header), isHead ? nullptr : std::move(body));
    };
    if (!authorized(*request))
        return reply(401, plain, text("unauthorized\n"), "WWW-Authenticate: Basic realm=\"Quillmere\"\r\n");
    if (request->method != "GET" && !isHead)
        return reply(405, plain, text("only GET and HEAD\n"), "Allow: GET, HEAD\r\n");
    if (request->path == "/metrics") {
        const ExpositionFormat format = negotiateFormat(request->header("accept"));
        return reply(200, contentType(format), page(format));
    }
    if (request->path == "/") return reply(200, plain, text("Quillmere's metrics for Prometheus are at /metrics\n"));
    return reply(404, plain, text("not found: the metrics are at /metrics\n"));
}

MetricsServer::MetricsServer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

MetricsServer::~MetricsServer() = default;

std::variant<std::unique_ptr<MetricsServer>, std::string> MetricsServer::start(const ListenAddress& address,
                                                                               const WebConfig& web,
                                                                               ServerLimits limits) {
    auto impl = std::make_unique<Impl>();
    impl->limits = limits;
    impl->web = web;
    impl->address = address;
    const std::string where = address.text();
    if (web.tls) {
        impl->tls.emplace(asio::ssl::context::tls_server);
        std::error_code ec;
        impl->tls->set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_sslv2 |
                                   asio::ssl::context::no_sslv3 | asio::ssl::context::no_tlsv1 |
                                   asio::ssl::context::no_tlsv1_1,
                               ec);
        impl->tls->use_certificate_chain_file(web.tls->certFile, ec);
        if (ec) return "cannot use the TLS certificate " + web.tls->certFile + ": " + ec.message();
        impl->tls->use_private_key_file(web.tls->keyFile, asio::ssl::context::pem, ec);
        if (ec) return "cannot use the TLS key " + web.tls->keyFile + ": " + ec.message();
    }

    std::error_code ec;
    const tcp::endpoint endpoint(asio::ip::make_address(address.host, ec), address.port);
    if (ec) return "cannot serve metrics on " + where + ": " + ec.message();
    impl->acceptor.open(endpoint.protocol(), ec);
    if (!ec) impl->acceptor.set_option(tcp::acceptor::reuse_address(true), ec);
    if (!ec) impl->acceptor.bind(endpoint, ec);
    if (!ec) impl->acceptor.listen(64, ec);
    if (ec) return "cannot serve metrics on " + where + ": " + ec.message();
    impl->port = impl->acceptor.local_endpoint(ec).port();

    impl->accept();
    Impl* raw = impl.get();
    impl->thread = std::thread([raw] {
        nameThisThread();
        raw->io.run();
    });
    return std::unique_ptr<MetricsServer>(new MetricsServer(std::move(impl)));
}

void MetricsServer::publish(std::shared_ptr<const MetricsFrame> frame) {
    std::lock_guard guard(impl_->latestLock);
    impl_->latest = std::move(frame);
}

uint16_t MetricsServer::port() const { return impl_->port; }

std::string MetricsServer::url() const {
    return std::string(impl_->tls ? "https" : "http") + "://" + impl_->address.textWithPort(impl_->port) + "/metrics";
}

}  // namespace qm::metrics
