#include "monitor.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>

#include "access.h"
#include "api.h"
#include "collector.h"
#include "documents.h"
#include "http_server.h"
#include "recorder.h"
#include "stop_signal.h"

namespace {

constexpr Millis_t ALIVE_INTERVAL = 5000;

void waitFor(const std::vector<int>& descriptors, int milliseconds) {
    std::vector<pollfd> watched;
    watched.reserve(descriptors.size());
    for (const int descriptor : descriptors) {
        watched.push_back({descriptor, POLLIN, 0});
    }
    (void)poll(watched.data(), static_cast<nfds_t>(watched.size()), milliseconds);
}

int soonest(int first, Millis_t second) {
    const auto other = static_cast<int>(std::clamp<Millis_t>(second, 0, ALIVE_INTERVAL));
    return first < 0 ? other : std::min(first, other);
}

} // namespace

void runMonitor(const MonitorOptions_t& options) {
    stopSignalInstall();
    if (!options.tokenFile.empty()) {
        (void)tokenOwner(options.tokenFile, ""); // a file that cannot be used is told at once
    }
    Hub_t hub;
    Inbox_t<Observation_t> findings;
    Recorder_t recorder(options, hub);
    Api_t api(options, recorder);
    std::optional<Collector_t> collector;
    HttpServer_t server(options, api, hub, [&](Action_t action) { collector->act(std::move(action)); });
    server.open();
    recorder.begin();
    collector.emplace(options, findings);
    hub.onNews = [&] { server.wakeStreams(); };
    std::printf("ready: %s%s%s\n", options.listen == "none" ? "" : ("http://" + options.listen + "/").c_str(),
                options.listen == "none" || options.socket == "none" ? "" : " and ",
                options.socket == "none" ? "" : options.socket.c_str());
    (void)std::fflush(stdout);
    std::vector<int> descriptors = server.fds();
    descriptors.push_back(findings.fd());
    descriptors.push_back(stopSignalFd());
    Millis_t alive = millisNow() + ALIVE_INTERVAL;
    while (!stopSignalReceived()) {
        waitFor(descriptors, soonest(server.timeout(), alive - millisNow()));
        while (const std::optional<Observation_t> found = findings.take()) {
            recorder.take(*found);
            if (const auto* const result = std::get_if<ActionResult_t>(&*found)) {
                server.finish(*result);
            }
        }
        if (const Millis_t now = millisNow(); now >= alive || now < alive - ALIVE_INTERVAL) {
            alive = now + ALIVE_INTERVAL;
            hub.publish("alive", aliveText(recorder.present(), options));
            recorder.tick();
        }
        server.run();
    }
    hub.onNews = nullptr;
}
