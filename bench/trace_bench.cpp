/**
 * What a trace call costs: switched off, one line, one dump of the largest message. Beside a line stand the two
 * things to compare it with, each to a file in the same directory: fprintf with a time stamp of its own and a
 * flush, and a bare write of the same bytes. Each goes back to the start of its file now and then, so that all
 * three write to files of the same size.
 */
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include "platform.h"
#include "trace.h"

/** Stands for the platform's event log; no benchmark ends in a bug check. */
extern "C" void altEventLogM(const EmpEvLogHeader_t* /*record*/, const MPU_PARAMS_t* /*params*/) {
    std::abort();
}

namespace {

constexpr int LINES_PER_PASS = 10000;
constexpr const char* LINE = "Oct  2 13:51:16  run:1234:  fan 3 turns at 4500 RPM, load 60 percent, 31 degrees\n";

struct Directory_t {
    Directory_t() { path = mkdtemp(name.data()); }
    ~Directory_t() {
        for (const char* file : {"trace_01.log", "stdio.log", "write.log"}) {
            (void)unlink((path + "/" + file).c_str());
        }
        (void)rmdir(path.c_str());
    }
    std::array<char, 32> name = std::to_array("/tmp/trace_bench.XXXXXX\0       ");
    std::string path;
};

const Directory_t& directory() {
    static const Directory_t made;
    return made;
}

void startTrace(U16_t level) {
    static MPU_PARAMS_t params = {};
    static const char* const names[] = {"ESA"};
    (void)std::snprintf(params.logDirectory, sizeof params.logDirectory, "%s", directory().path.c_str());
    TRACE__init(&params, "trace_%02d.log", 1, names);
    (void)TRACE__setTraceLevel(0, level);
}

void disabledTraceCall(benchmark::State& state) {
    startTrace(0xC0EF);
    int value = 4500;
    for ([[maybe_unused]] const auto _ : state) {
        benchmark::DoNotOptimize(value);
        TRACE_INFO("fan %d turns at %d RPM", 3, value);
        benchmark::ClobberMemory();
    }
    TRACE__done();
}

/** Runs `one` for every iteration and `rewind`, untimed, before each pass of lines. */
template <typename One, typename Rewind>
void timeLines(benchmark::State& state, One one, Rewind rewind) {
    int left = 0;
    for ([[maybe_unused]] const auto _ : state) {
        if (left-- == 0) {
            state.PauseTiming();
            rewind();
            left = LINES_PER_PASS;
            state.ResumeTiming();
        }
        one();
    }
}

void bareWrite(benchmark::State& state) {
    const int fd = open((directory().path + "/write.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    const std::size_t length = std::strlen(LINE);
    timeLines(
        state,
        [&] {
            if (write(fd, LINE, length) != static_cast<ssize_t>(length)) {
                state.SkipWithError("write failed");
            }
        },
        [&] { (void)lseek(fd, 0, SEEK_SET); });
    (void)close(fd);
}

void fprintfWithStampAndFlush(benchmark::State& state) {
    std::FILE* file = std::fopen((directory().path + "/stdio.log").c_str(), "w");
    timeLines(
        state,
        [&] {
            const std::time_t now = std::time(nullptr);
            std::tm local = {};
            (void)localtime_r(&now, &local);
            char stamp[64];
            (void)std::strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", &local);
            (void)std::fprintf(file, "%s  %s:%d:  fan %d turns at %d RPM, load %d percent, %d degrees\n", stamp, "run",
                               1234, 3, 4500, 60, 31);
            (void)std::fflush(file);
        },
        [&] { std::rewind(file); });
    (void)std::fclose(file);
}

void enabledTraceLine(benchmark::State& state) {
    startTrace(0xC0FF);
    timeLines(
        state,
        [] {
            TRACE__info("fan.cpp", "run", 1234, "fan %d turns at %d RPM, load %d percent, %d degrees", 3, 4500, 60, 31);
        },
        [] { std::rewind(traceData.fd); });
    TRACE__done();
}

void dumpOfTheLargestMessage(benchmark::State& state) {
    startTrace(0xC0FF);
    static std::array<U8_t, 4064> message;
    timeLines(
        state, [] { TRACE_DUMP("esaMMSG =", message.data(), static_cast<U32_t>(message.size())); },
        [] { std::rewind(traceData.fd); });
    TRACE__done();
}

BENCHMARK(disabledTraceCall);
BENCHMARK(bareWrite);
BENCHMARK(fprintfWithStampAndFlush);
BENCHMARK(enabledTraceLine);
BENCHMARK(dumpOfTheLargestMessage);

} // namespace
