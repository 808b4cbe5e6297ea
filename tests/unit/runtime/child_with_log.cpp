#include "child_with_log.h"

#include <array>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>
#include <unistd.h>

#include "calls.h"
#include "child.h"
#include "platform.h"

namespace {

std::FILE* eventFile = nullptr;
bool messageBefore = false;

std::string contents(std::FILE* file) {
    std::string text;
    std::rewind(file);
    std::array<char, 4096> piece{};
    for (std::size_t n = 0; (n = std::fread(piece.data(), 1, piece.size(), file)) > 0;) {
        text.append(piece.data(), n);
    }
    (void)std::fclose(file);
    return text;
}

/** A processor emulator adds a line of its own when a signal ends the program. */
std::string withoutEmulatorsLine(std::string text) {
    const std::size_t at = text.rfind("qemu: uncaught target signal");
    return at == std::string::npos ? text : text.erase(at);
}

std::optional<LoggedEvent_t> parseEvent(const std::string& bytes) {
    if (bytes.empty()) {
        return std::nullopt;
    }
    LoggedEvent_t event;
    std::size_t at = 0;
    for (; at < 8; ++at) {
        event.params = (event.params << 8) | static_cast<unsigned char>(bytes[at]);
    }
    const std::size_t before = messageBefore ? 64 : 0;
    event.before = bytes.substr(at, before);
    event.header = bytes.substr(at + before, 152);
    event.body = bytes.substr(at + before + 152);
    return event;
}

[[noreturn]] void runAndLeave(const std::function<void()>& what, std::FILE* out, std::FILE* err) {
    (void)dup2(fileno(out), STDOUT_FILENO);
    (void)dup2(fileno(err), STDERR_FILENO);
    calls::exitIsExpected = true;
    what();
    (void)std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 99);
}

} // namespace

/** The event log of these tests: the record goes to the parent process. */
extern "C" void altEventLogM(const EmpEvLogHeader_t* record, const MPU_PARAMS_t* params) {
    if (eventFile == nullptr) {
        return;
    }
    std::rewind(eventFile);
    if (ftruncate(fileno(eventFile), 0) != 0) {
        std::abort();
    }
    const auto pointer = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(params));
    for (int shift = 56; shift >= 0; shift -= 8) {
        (void)std::fputc(static_cast<int>((pointer >> shift) & 0xFF), eventFile);
    }
    const char* start = reinterpret_cast<const char*>(record);
    const std::size_t before = messageBefore ? 64 : 0;
    const auto* length = reinterpret_cast<const unsigned char*>(start) + 144;
    const std::size_t body = static_cast<std::size_t>(length[0] * 256 + length[1]);
    (void)std::fwrite(start - before, 1, before + 152 + body, eventFile);
    (void)std::fflush(eventFile);
}

std::function<ssize_t(const char*, char*, std::size_t)> zoneLinkTo(const std::string& target) {
    return [&target](const char* path, char* buffer, std::size_t size) -> ssize_t {
        if (std::string(path) != "/etc/localtime") {
            return calls::readlink.real(path, buffer, size);
        }
        errno = ENOENT;
        return target.empty() ? -1 : static_cast<ssize_t>(target.copy(buffer, size));
    };
}

void surviveAbort(const std::function<void()>& action) {
    static sigjmp_buf pastTheAbort;
    (void)std::signal(SIGABRT, [](int) { siglongjmp(pastTheAbort, 1); });
    if (sigsetjmp(pastTheAbort, 1) == 0) {
        action();
    }
    (void)std::signal(SIGABRT, SIG_DFL);
}

std::string errorsOf(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    action();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return testing::internal::GetCapturedStderr();
}

ChildResult_t runInChild(const std::function<void()>& what, bool eventHasMessage) {
    messageBefore = eventHasMessage;
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    eventFile = std::tmpfile();
    if (out == nullptr || err == nullptr || eventFile == nullptr) {
        std::abort();
    }
    const testsupport::Ending_t ending = testsupport::Child_t([&] { runAndLeave(what, out, err); }).wait();
    ChildResult_t result;
    result.exitStatus = ending.exitCode;
    result.signal = ending.signal;
    result.out = contents(out);
    result.err = withoutEmulatorsLine(contents(err));
    EXPECT_NE(result.exitStatus, 1) << result.out;
    result.event = parseEvent(contents(eventFile));
    eventFile = nullptr;
    return result;
}
