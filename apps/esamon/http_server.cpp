#include "http_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <microhttpd.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"
#include "unix_stream.h"

namespace {

constexpr unsigned CONNECTIONS = 300;
constexpr std::size_t STREAMS = 240;
/** Header and a piece of the body; of each connection. */
constexpr std::size_t CONNECTION_MEMORY = std::size_t{16} * 1024;
/** A client that neither asks nor reads, in seconds. Streams are written to more often than that. */
constexpr unsigned PATIENCE_SECONDS = 20;
constexpr std::size_t LONGEST_BODY = 8192;
constexpr std::size_t STREAM_BLOCK = 4096;

constexpr std::array<std::pair<const char*, const char*>, 4> EVERY_REPLY{{
    {"Content-Security-Policy", "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
                                "font-src 'self'; connect-src 'self'; "
                                "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Frame-Options", "DENY"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
}};

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

MHD_Result keepHeader(void* to, MHD_ValueKind /*kind*/, const char* name, const char* value) {
    static_cast<Request_t*>(to)->headers[lower(name)] = value == nullptr ? "" : value;
    return MHD_YES;
}

MHD_Result keepQuery(void* to, MHD_ValueKind /*kind*/, const char* name, const char* value) {
    static_cast<Request_t*>(to)->query[name] = value == nullptr ? "" : value;
    return MHD_YES;
}

MHD_Result queue(MHD_Connection* connection, MHD_Response* response, unsigned status) {
    for (const auto& [name, value] : EVERY_REPLY) {
        (void)MHD_add_response_header(response, name, value);
    }
    const MHD_Result result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return result;
}

MHD_Result send(MHD_Connection* connection, const Reply_t& reply) {
    MHD_Response* const response =
        MHD_create_response_from_buffer(reply.body.size(), const_cast<char*>(reply.body.data()), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) {
        return MHD_NO;
    }
    (void)MHD_add_response_header(response, "Content-Type", reply.type.c_str());
    bool isCacheable = false;
    for (const auto& [name, value] : reply.headers) {
        (void)MHD_add_response_header(response, name.c_str(), value.c_str());
        isCacheable = isCacheable || name == "Cache-Control";
    }
    if (!isCacheable) {
        (void)MHD_add_response_header(response, "Cache-Control", "no-store");
    }
    return queue(connection, response, reply.status);
}

} // namespace

struct HttpServer_t::Exchange_t {
    Request_t request;
    bool isTooLarge = false;
    bool isSuspended = false;
    std::uint64_t action = 0; /**< number of the action that it waits for; 0: none */
    std::optional<Reply_t> reply;
    MHD_Connection* connection = nullptr;
};

struct HttpServer_t::Stream_t {
    HttpServer_t* server;
    MHD_Connection* connection;
    StreamText_t text;  /**< what is being sent */
    std::size_t sent;   /**< of it */
    std::uint64_t next; /**< number of the hub's message that follows */
    bool isSuspended;
};

namespace {

/** A part of what is to be sent; nothing to send puts the connection to sleep until there is news. */
ssize_t readStream(void* of, std::uint64_t /*position*/, char* buffer, std::size_t size) {
    HttpServer_t::Stream_t& stream = *static_cast<HttpServer_t::Stream_t*>(of);
    const Hub_t& hub = stream.server->hub();
    while (stream.sent == stream.text->size()) {
        if (!hub.isKept(stream.next)) {
            return MHD_CONTENT_READER_END_WITH_ERROR;
        }
        const StreamText_t text = hub.at(stream.next);
        if (!text) {
            stream.isSuspended = true;
            MHD_suspend_connection(stream.connection);
            return 0;
        }
        stream.text = text;
        stream.sent = 0;
        ++stream.next;
    }
    const std::size_t count = std::min(size, stream.text->size() - stream.sent);
    (void)stream.text->copy(buffer, count, stream.sent);
    stream.sent += count;
    return static_cast<ssize_t>(count);
}

void endStream(void* of) {
    auto* const stream = static_cast<HttpServer_t::Stream_t*>(of);
    stream->server->forget(*stream);
    delete stream;
}

} // namespace

HttpServer_t::HttpServer_t(const MonitorOptions_t& options, Api_t& api, Hub_t& hub, std::function<void(Action_t)> act)
    : options_(options), api_(api), hub_(hub), act_(std::move(act)) {}

HttpServer_t::~HttpServer_t() {
    isClosing_ = true;
    wakeStreams();
    for (const auto& [number, exchange] : pending_) {
        exchange->isSuspended = false;
        MHD_resume_connection(exchange->connection);
    }
    for (const Listener_t& listener : listeners_) {
        MHD_stop_daemon(listener.daemon);
        if (listener.isLocal) {
            (void)unlink(options_.socket.c_str());
        }
    }
}

void HttpServer_t::open() {
    if (options_.socket != "none") {
        listen(openUnix(), true);
    }
    if (options_.listen != "none") {
        listen(openTcp(), false);
    }
}

int HttpServer_t::openUnix() const {
    const std::string& path = options_.socket;
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        if (unixHasListener(path)) {
            throw usageError("another monitor listens at " + path + "; give this one another --socket");
        }
        (void)unlink(path.c_str());
    }
    const mode_t before = umask(0117);
    const UnixSocket_t socket = unixListen(path);
    const int reason = errno;
    umask(before);
    if (socket.failed != UnixStep_e::NONE) {
        throw usageError(
            "cannot listen at " + path + ": " +
            (socket.failed == UnixStep_e::PATH ? "the path is too long for a socket" : std::strerror(reason)));
    }
    return socket.descriptor;
}

int HttpServer_t::openTcp() const {
    const std::size_t colon = options_.listen.rfind(':');
    std::string host = options_.listen.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    addrinfo wanted{};
    wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (colon == std::string::npos || host.empty() ||
        getaddrinfo(host.c_str(), options_.listen.c_str() + colon + 1, &wanted, &found) != 0) {
        throw usageError("'" + options_.listen + "' is no ADDRESS:PORT; give one as 127.0.0.1:9634, or none");
    }
    const int socket = ::socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int on = 1;
    (void)setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const bool isGood = bind(socket, found->ai_addr, found->ai_addrlen) == 0 && ::listen(socket, SOMAXCONN) == 0;
    const int reason = errno;
    freeaddrinfo(found);
    if (!isGood) {
        close(socket);
        throw usageError("cannot listen at " + options_.listen + ": " + std::strerror(reason) +
                         "; give another --listen, or none");
    }
    return socket;
}

void HttpServer_t::listen(int socket, bool isLocal) {
    listeners_.push_back({this, nullptr, isLocal});
    Listener_t& listener = listeners_.back();
    const auto begin = [](void* of, MHD_Connection* connection, const char* url, const char* method,
                          const char* /*version*/, const char* data, std::size_t* size, void** state) -> MHD_Result {
        const Listener_t& from = *static_cast<Listener_t*>(of);
        if (*state == nullptr) {
            auto* const exchange = new Exchange_t;
            exchange->request.method = method;
            exchange->request.path = url;
            exchange->request.isLocal = from.isLocal;
            exchange->connection = connection;
            (void)MHD_get_connection_values(connection, MHD_HEADER_KIND, keepHeader, &exchange->request);
            (void)MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, keepQuery, &exchange->request);
            *state = exchange;
            return MHD_YES;
        }
        Exchange_t& exchange = *static_cast<Exchange_t*>(*state);
        if (*size != 0) {
            exchange.isTooLarge = exchange.isTooLarge || exchange.request.body.size() + *size > LONGEST_BODY;
            exchange.request.body.append(data, exchange.isTooLarge ? 0 : *size);
            *size = 0;
            return MHD_YES;
        }
        return static_cast<MHD_Result>(from.server->handle(exchange, connection));
    };
    const auto end = [](void* of, MHD_Connection* /*connection*/, void** state, MHD_RequestTerminationCode /*how*/) {
        auto* const exchange = static_cast<Exchange_t*>(*state);
        if (exchange != nullptr) {
            static_cast<Listener_t*>(of)->server->forget(*exchange);
            delete exchange;
            *state = nullptr;
        }
    };
    using End_t = void (*)(void*, MHD_Connection*, void**, MHD_RequestTerminationCode);
    listener.daemon = MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_PEDANTIC_CHECKS, 0, nullptr,
                                       nullptr, begin, &listener, MHD_OPTION_LISTEN_SOCKET, socket,
                                       MHD_OPTION_CONNECTION_LIMIT, CONNECTIONS, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                                       CONNECTION_MEMORY, MHD_OPTION_CONNECTION_TIMEOUT, PATIENCE_SECONDS,
                                       MHD_OPTION_NOTIFY_COMPLETED, static_cast<End_t>(end), &listener, MHD_OPTION_END);
    if (listener.daemon == nullptr) {
        close(socket);
        listeners_.pop_back();
        throw internalError("the HTTP server does not start");
    }
}

std::vector<int> HttpServer_t::fds() const {
    std::vector<int> all;
    all.reserve(listeners_.size());
    for (const Listener_t& listener : listeners_) {
        all.push_back(MHD_get_daemon_info(listener.daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd);
    }
    return all;
}

int HttpServer_t::timeout() const {
    unsigned long long least = INT32_MAX;
    for (const Listener_t& listener : listeners_) {
        MHD_UNSIGNED_LONG_LONG own = 0;
        if (MHD_get_timeout(listener.daemon, &own) == MHD_YES) {
            least = std::min<unsigned long long>(least, own);
        }
    }
    return least == INT32_MAX ? -1 : static_cast<int>(least);
}

void HttpServer_t::run() {
    for (const Listener_t& listener : listeners_) {
        (void)MHD_run(listener.daemon);
    }
}

int HttpServer_t::handle(Exchange_t& exchange, MHD_Connection* connection) {
    if (isClosing_) {
        return MHD_NO;
    }
    if (exchange.reply) {
        return send(connection, *exchange.reply);
    }
    if (exchange.isTooLarge) {
        return send(connection,
                    errorReply(413, "too-large", "a body has at most " + std::to_string(LONGEST_BODY) + " bytes"));
    }
    Answer_t answer = api_.answer(exchange.request);
    if (auto* const stream = std::get_if<StreamReply_t>(&answer)) {
        return beginStream(connection, std::move(stream->opening));
    }
    if (auto* const pending = std::get_if<PendingReply_t>(&answer)) {
        return beginAction(exchange, std::move(pending->action));
    }
    return send(connection, std::get<Reply_t>(answer));
}

int HttpServer_t::beginAction(Exchange_t& exchange, Action_t action) {
    action.id = exchange.action = ++actions_;
    pending_[action.id] = &exchange;
    exchange.isSuspended = true;
    MHD_suspend_connection(exchange.connection);
    act_(std::move(action));
    return MHD_YES;
}

void HttpServer_t::finish(const ActionResult_t& result) {
    const auto found = pending_.find(result.action.id);
    if (found == pending_.end()) {
        return;
    }
    Exchange_t& exchange = *found->second;
    pending_.erase(found);
    exchange.reply = Api_t::actionReply(result);
    exchange.isSuspended = false;
    MHD_resume_connection(exchange.connection);
}

int HttpServer_t::beginStream(MHD_Connection* connection, std::string opening) {
    if (streams_.size() >= STREAMS) {
        return send(connection, errorReply(503, "too-many", "too many streams are open"));
    }
    auto* const stream =
        new Stream_t{this, connection, std::make_shared<const std::string>(std::move(opening)), 0, hub_.next(), false};
    streams_.insert(stream);
    MHD_Response* const response =
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, STREAM_BLOCK, readStream, stream, endStream);
    if (response == nullptr) {
        endStream(stream);
        return MHD_NO;
    }
    (void)MHD_add_response_header(response, "Content-Type", "text/event-stream");
    (void)MHD_add_response_header(response, "Cache-Control", "no-store");
    return queue(connection, response, 200);
}

void HttpServer_t::wakeStreams() {
    for (Stream_t* stream : streams_) {
        if (stream->isSuspended) {
            stream->isSuspended = false;
            MHD_resume_connection(stream->connection);
        }
    }
}

void HttpServer_t::forget(Exchange_t& exchange) {
    (void)pending_.erase(exchange.action);
}

void HttpServer_t::forget(Stream_t& stream) {
    (void)streams_.erase(&stream);
}
