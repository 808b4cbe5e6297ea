/** What each path answers. */
#pragma once

#include "http.h"
#include "recorder.h"

class Api_t {
public:
    Api_t(const MonitorOptions_t& options, Recorder_t& recorder) : options_(options), recorder_(recorder) {}

    [[nodiscard]] Answer_t answer(const Request_t& request);
    /** The reply to an action, once its result is known. */
    [[nodiscard]] static Reply_t actionReply(const ActionResult_t& result);

private:
    Answer_t get(const Request_t& request);
    Answer_t post(const Request_t& request);
    Reply_t status(const Request_t& request) const;
    Reply_t events(const Request_t& request) const;
    Reply_t readings(const Request_t& request) const;
    Answer_t stream(const Request_t& request) const;
    Reply_t simulate(const std::string& command) const;
    const Store_t& store() const;

    const MonitorOptions_t& options_;
    Recorder_t& recorder_;
};
