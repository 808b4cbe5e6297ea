/** Where transfers come from: whoever is at the other end of the simulated bus. */
#pragma once

#include <poll.h>
#include <span>
#include <string>
#include <vector>

/** Something that can be told not to answer. */
class Silenceable_t {
public:
    Silenceable_t() = default;
    virtual ~Silenceable_t() = default;

    /** While silent it answers nothing, and nothing reaches the bus. */
    virtual void setSilent(bool silent) = 0;
    virtual bool silent() const = 0;
};

class Line_t {
public:
    Line_t() = default;
    virtual ~Line_t() = default;
    Line_t(const Line_t&) = delete;
    Line_t& operator=(const Line_t&) = delete;

    virtual Silenceable_t& silenceable() = 0;
    /** Where the other end finds it, for a person. */
    virtual std::string place() const = 0;
    /** What to wait for. */
    virtual std::vector<pollfd> watched() const = 0;
    /** Deals with what came; `ready` are the entries that watched() gave last, with their results. */
    virtual void serve(std::span<const pollfd> ready) = 0;
};
