#pragma once
/** Where transfers come from: whoever is at the other end of the simulated bus. */

#include <poll.h>

#include <span>
#include <string>
#include <vector>

namespace encsim {

/** Something that can be told not to answer. */
class Silenceable {
public:
    Silenceable() = default;
    virtual ~Silenceable() = default;

    /** While silent it answers nothing, and nothing reaches the bus. */
    virtual void setSilent(bool silent) = 0;
    virtual bool silent() const = 0;
};

class Line {
public:
    Line() = default;
    virtual ~Line() = default;
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    virtual Silenceable& silenceable() = 0;
    /** Where the other end finds it, for a person. */
    virtual std::string place() const = 0;
    /** What to wait for. */
    virtual std::vector<pollfd> watched() const = 0;
    /** Deals with what came; `ready` are the entries that watched() gave last, with their results. */
    virtual void serve(std::span<const pollfd> ready) = 0;
};

} // namespace encsim
