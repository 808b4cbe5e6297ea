/** A message switch with an adapter behind it, both scripted by the test. */
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "program.h"
#include "sample_pages.h"

/** A whole response to `request` as the adapter frames it: status byte, then `payload`. */
Bytes responseTo(const Bytes& request, U8_t status, const Bytes& payload);

class FakeSwitch {
public:
    /** Messages to send when this request comes. */
    using Script = std::function<std::vector<Bytes>(const Bytes& request)>;

    /** Serves in a new directory of its own. */
    FakeSwitch();
    ~FakeSwitch();
    FakeSwitch(const FakeSwitch&) = delete;
    FakeSwitch& operator=(const FakeSwitch&) = delete;

    const std::string& directory() const { return directory_; }

    /* To be set before a program connects. */
    Script script;
    Bytes greeting;                                   /**< names endpoint 34 */
    std::map<std::string, std::vector<Bytes>> queued; /**< by socket name: sent to whoever connects there */
    bool hangUp = false;                              /**< close each connection after what was queued for it */

    /** The adapter of an enclosure with these pages, which takes every control page. */
    void serve(const Bytes& configuration, const Bytes& status);

    /** Requests of the type (28 or 29) that came so far. */
    std::vector<Bytes> requests(U8_t type);

    /** Runs esactl against this switch. */
    testsupport::RunResult esactl(std::vector<std::string> args);

private:
    void run();
    bool take(int connection);

    std::string directory_;
    std::map<int, std::string> listeners_;
    std::vector<int> connections_;
    std::mutex mutex_;
    std::vector<Bytes> received_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
