/** Standard input closed for a while, as under a service manager that gives none: the next descriptor is 0. */
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace testsupport {

class ClosedInput_t {
public:
    ClosedInput_t() { (void)close(STDIN_FILENO); }
    ~ClosedInput_t() {
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "a descriptor was left open";
        (void)close(STDIN_FILENO);
        if (own_ >= 0) {
            (void)dup2(own_, STDIN_FILENO);
            (void)close(own_);
        }
    }
    ClosedInput_t(const ClosedInput_t&) = delete;
    ClosedInput_t& operator=(const ClosedInput_t&) = delete;

private:
    const int own_ = dup(STDIN_FILENO);
};

} // namespace testsupport
