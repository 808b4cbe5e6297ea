/** The HTTP side, on libmicrohttpd: in the caller's thread, never waiting for a single client. */
#pragma once

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "api.h"
#include "hub.h"

struct MHD_Connection;
struct MHD_Daemon;

class HttpServer_t {
public:
    /** What a request is on its way to its reply. */
    struct Exchange_t;
    /** A client of the stream. */
    struct Stream_t;

    HttpServer_t(const MonitorOptions_t& options, Api_t& api, Hub_t& hub, std::function<void(Action_t)> act);
    ~HttpServer_t();
    HttpServer_t(const HttpServer_t&) = delete;
    HttpServer_t& operator=(const HttpServer_t&) = delete;

    /** Listens. Throws ToolError_t with what is wrong. */
    void open();
    /** Descriptors to wait on. */
    std::vector<int> fds() const;
    /** Milliseconds after which run() has something to do in any case; -1 for none. */
    int timeout() const;
    /** Does what can be done. */
    void run();
    /** The reply to an action is known. */
    void finish(const ActionResult_t& result);
    /** The hub has news: streams that had nothing to send go on. */
    void wakeStreams();

    const Hub_t& hub() const { return hub_; }

    /* For the library's callbacks. */
    int handle(Exchange_t& exchange, MHD_Connection* connection);
    void forget(Exchange_t& exchange);
    void forget(Stream_t& stream);

private:
    struct Listener_t {
        HttpServer_t* server;
        MHD_Daemon* daemon = nullptr;
        bool isLocal = false;
    };

    void listen(int socket, bool isLocal);
    int openUnix() const;
    int openTcp() const;
    int beginStream(MHD_Connection* connection, std::string opening);
    int beginAction(Exchange_t& exchange, Action_t action);

    const MonitorOptions_t& options_;
    Api_t& api_;
    Hub_t& hub_;
    std::function<void(Action_t)> act_;
    std::list<Listener_t> listeners_;
    std::set<Stream_t*> streams_;
    std::map<std::uint64_t, Exchange_t*> pending_; /**< exchanges that wait for an action, by its number */
    std::uint64_t actions_ = 0;
    bool isClosing_ = false;
};
