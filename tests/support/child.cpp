#include "child.h"

#include <csignal>
#include <cstdio>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

Child_t::Child_t(const std::function<void()>& deed) {
    (void)std::fflush(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        const rlimit none{0, 0};
        (void)setrlimit(RLIMIT_CORE, &none);
        deed();
        _exit(0);
    }
}

Child_t::~Child_t() {
    if (!ending()) {
        (void)::kill(pid_, SIGKILL);
        (void)wait();
    }
}

Ending_t Child_t::wait() {
    return reap(0).value_or(Ending_t{});
}

std::optional<Ending_t> Child_t::ending() {
    return reap(WNOHANG);
}

std::optional<Ending_t> Child_t::reap(int options) {
    int status = 0;
    if (!ending_ && waitpid(pid_, &status, options) == pid_) {
        ending_ = endingOf(status);
    }
    return ending_;
}

void inOwnProcess(const std::function<void()>& body) {
    Child_t child([&] {
        body();
        (void)std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(child.wait().exitCode, 0);
}

} // namespace testsupport
