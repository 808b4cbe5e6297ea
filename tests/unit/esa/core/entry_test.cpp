/** The process' entry: its arguments, what it prints, and the way into the main loop. */
#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include <sys/ipc.h>
#include <sys/shm.h>

#include "core_test.h"
#include "trace.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* STARTED = "main(): Start the Enclosure Services Adapter.";

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

class Entry : public CoreTest {
protected:
    /** Runs the entry with these arguments; only for ones that it does not start with. */
    static Outcome start(std::vector<std::string> words) {
        std::vector<char*> argv;
        argv.reserve(words.size() + 1);
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        Outcome outcome;
        outcome.status = esaMain(static_cast<int>(words.size()), argv.data());
        std::fflush(stdout);
        outcome.out = testing::internal::GetCapturedStdout();
        outcome.err = testing::internal::GetCapturedStderr();
        return outcome;
    }
};

/** With a real parameter block; the entry then runs in a child that ends in its main loop. */
class Started : public Entry {
protected:
    Started() : key(0x46000000 + getpid()), shmid(shmget(key, 744, IPC_CREAT | IPC_EXCL | 0600)) {
        EXPECT_GE(shmid, 0);
        block = static_cast<MPU_PARAMS_t*>(shmat(shmid, nullptr, 0));
        block->version = 15;
        block->chassisType = 1;
        std::strncpy(block->mmsgDirectory, directory.c_str(), sizeof(block->mmsgDirectory) - 1);
        std::filesystem::create_directory(directory + "/log");
        std::strncpy(block->logDirectory, (directory + "/log").c_str(), sizeof(block->logDirectory) - 1);
        listener.emplace(directory + "/esadapter");
        TRACE__done(); // the entry starts tracing itself
    }
    ~Started() override {
        shmdt(block);
        shmctl(shmid, IPC_RMID, nullptr);
    }

    /** Starts the adapter in this process, a child, and ends it with status 42 in the `passes`-th pass. */
    [[noreturn]] void runUntilPass(int passes) {
        systemCalls.onSelect = [passes, seen = 0](long seconds, long microseconds) mutable {
            if (seconds != 1 || microseconds != 0 || std::signal(SIGPIPE, SIG_IGN) != SIG_IGN) {
                std::exit(1);
            }
            if (traceData.numModLevels != 1 || std::strcmp(traceData.modNames[0], "ESA") != 0) {
                std::exit(2);
            }
            if (++seen == passes) {
                std::exit(42);
            }
        };
        std::string program = "/opt/bin/esa";
        std::string argument = std::to_string(key);
        char* argv[] = {program.data(), argument.data(), nullptr};
        std::exit(esaMain(2, argv));
    }

    /** Texts of the trace log behind their prefixes. */
    std::vector<std::string> logLines() const {
        std::ifstream log(directory + "/log/esa_01.log");
        std::vector<std::string> lines;
        for (std::string line; std::getline(log, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    /** All bytes that the switch has got from the adapter of the child. */
    Bytes received() {
        const int fd = listener->accept();
        Bytes bytes(4096);
        std::size_t size = 0;
        ssize_t got = 0;
        while ((got = read(fd, bytes.data() + size, bytes.size() - size)) > 0) {
            size += static_cast<std::size_t>(got);
        }
        close(fd);
        bytes.resize(size);
        return bytes;
    }

    int key;
    int shmid;
    MPU_PARAMS_t* block = nullptr;
    std::optional<SwitchSocket> listener;
};

} // namespace

TEST_F(Entry, NameIsTheLastComponentOfTheProgram) {
    struct {
        const char* program;
        const char* name;
    } const cases[] = {{"esa", "esa"}, {"/esa", "esa"}, {"./esa", "esa"}, {"/opt/mpu/bin/esa-1", "esa-1"},
                       {"dir/", ""},   {"", ""},        {"a.b", "a.b"}};
    for (const auto& test : cases) {
        (void)start({test.program});
        // The words are gone; the name points into them, so it is asked for through the message that uses it.
        systemCalls.noSegments = true;
        const Outcome outcome = start({test.program, "100"});
        EXPECT_EQ(outcome.status, 3);
        EXPECT_THAT(outcome.err, testing::EndsWith(std::string(test.name) + ": Unable to share parameters." +
                                                   test.name + ": Giving up."));
        if (*test.name == '\0') {
            EXPECT_THAT(outcome.err, testing::EndsWith("\n: Unable to share parameters.: Giving up."));
        }
    }
}

TEST_F(Entry, KeyBelowAHundredIsRefusedWithTwo) {
    systemCalls.noSegments = true;
    for (const char* key : {"99", "0x63", "0143", "0", "-1", "-100", "abc", "", "x64", "9 9", "99999999x",
                            "-4294967196", "-99999999999999999999"}) {
        SCOPED_TRACE(key);
        const Outcome outcome = start({"esa", key});
        if (std::string(key) == "99999999x") {
            EXPECT_EQ(outcome.status, 3) << "digits count up to what is none";
            continue;
        }
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, std::string(STARTED) + "main(): shared memory key less than 100.\n");
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(Entry, KeyIsDecimalHexadecimalOrOctalFromAHundredOn) {
    systemCalls.noSegments = true;
    struct {
        const char* text;
        int key;
    } const cases[] = {{"100", 100},
                       {"0x64", 100},
                       {"0X64", 100},
                       {"0144", 100},
                       {"101", 101},
                       {" 4660", 0x1234},
                       {"0x7fffffff", 0x7fffffff},
                       // Beyond 32 bits a key is the end of the range, as the product's processor has it.
                       {"0x80000000", 0x7fffffff},
                       {"4294967396", 0x7fffffff},
                       {"99999999999999999999", 0x7fffffff}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        systemCalls.calls.clear();
        EXPECT_EQ(start({"esa", test.text, "more"}).status, 3);
        EXPECT_EQ(shmKey, test.key);
        EXPECT_THAT(systemCalls.calls, ElementsAre("shmget " + std::to_string(test.key) + " 744"));
    }
}

TEST_F(Started, BlockThatCannotBeAttachedEndsWithThree) {
    systemCalls.attachError = ENOMEM;
    const Outcome outcome = start({"esa", std::to_string(key)});
    systemCalls.attachError = 0;
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, "Error mapping the MPU shared memory area to virtual memory.\n   Cannot allocate memory\n"
                           "esa: Unable to share parameters.esa: Giving up.");
    EXPECT_THAT(systemCalls.sends, IsEmpty());
}

TEST_F(Started, TraceLogThatCannotBeOpenedIsReportedAndTheAdapterStarts) {
    std::filesystem::remove(directory + "/log");
    block->flags = 0x01000080;
    EXPECT_EXIT(runUntilPass(2), testing::ExitedWithCode(42),
                "TRACE_openLog: Failed to open logfile .*/log/esa_01.log So We are going print all log messages on to "
                "stdout.*esaDebug set to TRUE");
    EXPECT_EQ(received().size(), 364U);
}

TEST_F(Started, GoesThroughEveryStepIntoTheLoop) {
    block->flags = 0x01000080; // tracing asked for; run-control sequence complete
    systemCalls.deviceFd = 77;
    EXPECT_EXIT(runUntilPass(3), testing::ExitedWithCode(42), "");
    const Bytes stream = received();
    ASSERT_EQ(stream.size(), 364U) << "the notice, then the event";
    EXPECT_EQ(hex(stream.data() + 8, 16), "0E 01 00 40 0C 00 00 01 21 00 00 00 00 04 00 00");
    EXPECT_EQ(hex(stream.data() + 72, 12), "0E 01 01 2C 08 00 00 01 21 00 00 00");
    std::vector<std::string> texts;
    for (const std::string& line : logLines()) {
        // "Mmm dd hh:mm:ss function:  text"
        EXPECT_THAT(line, testing::MatchesRegex("[A-Z][a-z][a-z] [ 0-9][0-9] ..:..:...*:  .*"));
        texts.push_back(line.substr(line.rfind(":  ") + 3));
    }
    ASSERT_EQ(texts.size(), 8U);
    EXPECT_EQ(texts[0], "esaDebug set to TRUE");
    EXPECT_THAT(texts[1], testing::StartsWith("Enclosure Services Adapter connects to MSM with socket ["));
    texts.erase(texts.begin(), texts.begin() + 2);
    EXPECT_THAT(texts, ElementsAre("oMpuParams->chassisType = [1]", "esaControl.enclosureType = [VORAN_E_CHASSIS_NONE]",
                                   "Finish initializing the Enclosure Services Adapter internal data structures.",
                                   "ESA finishes initialization and sends the message to the Startup process.",
                                   "RCP Complete flag is marked now.", "rcpWaitRetryCount = [0]"));
}
