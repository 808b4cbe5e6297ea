/** What is told to everybody who listens to the stream: each message is made once, however many they are. */
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

using StreamText_t = std::shared_ptr<const std::string>;

class Hub_t {
public:
    /** Called after every message. */
    std::function<void()> onNews;

    /** `sequence` of the history, 0 for what is not in it. */
    void publish(const char* event, const std::string& document, std::int64_t sequence = 0);

    /** Number of the next message that will come. */
    std::uint64_t next() const { return first_ + messages_.size(); }
    /** Null when it has not come yet. Only of a number that isKept(). */
    StreamText_t at(std::uint64_t number) const;
    /** False for a listener that has fallen too far behind. */
    bool isKept(std::uint64_t number) const { return number >= first_; }

    /** A message as it goes over the wire. */
    static std::string frame(const char* event, const std::string& document, std::int64_t sequence = 0);

private:
    std::uint64_t first_ = 0;
    std::size_t bytes_ = 0;
    std::deque<StreamText_t> messages_;
};
