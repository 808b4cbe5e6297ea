/** A piece of a test in a process of its own. */
#pragma once

#include <functional>

#include "program.h"

namespace testsupport {

/** A child process of the test; it is killed with its owner, and leaves no core file. */
class Child_t {
public:
    /** The child does `deed`, and exits with 0 when that returns. */
    explicit Child_t(const std::function<void()>& deed);
    ~Child_t();
    Child_t(const Child_t&) = delete;
    Child_t& operator=(const Child_t&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    /** Waits for its end. */
    Ending_t wait();
    /** How it ended; nothing while it runs. */
    std::optional<Ending_t> ending();

private:
    std::optional<Ending_t> reap(int options);

    pid_t pid_;
    std::optional<Ending_t> ending_;
};

/** Does what is left of a test in a process of its own, whose failures are the test's. */
void inOwnProcess(const std::function<void()>& body);

} // namespace testsupport
