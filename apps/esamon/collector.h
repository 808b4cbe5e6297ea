/** The side towards the switch, a thread of its own: a hanging adapter holds up nobody who asks the monitor. */
#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "inbox.h"
#include "observations.h"
#include "options.h"
#include "ses_client.h"
#include "tool_error.h"

class Collector_t {
public:
    /** Begins to collect. Everything that is found out goes to `findings`, which outlives the collector. */
    Collector_t(const MonitorOptions_t& options, Inbox_t<Observation_t>& findings);
    /** Waits for an exchange that is under way, at most the time-out. */
    ~Collector_t();
    Collector_t(const Collector_t&) = delete;
    Collector_t& operator=(const Collector_t&) = delete;

    /** Its result comes as a finding. */
    void act(Action_t action) { actions_.push(std::move(action)); }

private:
    struct Listening_t;

    void run();
    void collect();
    void connect();
    void wait(Deadline_t until);
    void hear();
    void heard(const Message_t& message);
    void knowPresence(std::optional<bool> isThere);
    void requireAdapter() const;
    void poll();
    void actAll();
    ActionResult_t carryOut(Action_t action);
    void failed(const ToolError_t& error);

    const MonitorOptions_t& options_;
    Inbox_t<Observation_t>& findings_;
    Inbox_t<Action_t> actions_;
    std::atomic<bool> stop_ = false;
    std::unique_ptr<SesClient_t> client_;
    std::vector<std::unique_ptr<SwitchConnection_t>> ears_;
    std::optional<MMCH_t> note_;       /**< of the report that follows it */
    std::optional<bool> adapterThere_; /**< on the switch; nothing where that does not tell */
    Deadline_t nextPoll_{};
    Deadline_t lastPoll_{};
    std::thread thread_;
};
