/** The event log: what lands in the file or on standard error, and how the process ends. */
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform.h"

namespace {

namespace fs = std::filesystem;

/** A record as it lies in a message buffer: 152 bytes of header with every unused byte 0xEE, then the body. */
struct Record {
    Record(U16_t id, U8_t source, U8_t type, U8_t category, U8_t version, const std::vector<U8_t>& body)
        : bytes(152 + body.size(), 0xEE) {
        bytes[144] = static_cast<U8_t>(body.size() >> 8);
        bytes[145] = static_cast<U8_t>(body.size());
        bytes[146] = source;
        bytes[147] = type;
        bytes[148] = category;
        bytes[149] = version;
        bytes[150] = static_cast<U8_t>(id >> 8);
        bytes[151] = static_cast<U8_t>(id);
        std::copy(body.begin(), body.end(), bytes.begin() + 152);
    }

    [[nodiscard]] const EmpEvLogHeader_t* get() const {
        return reinterpret_cast<const EmpEvLogHeader_t*>(bytes.data());
    }

    std::vector<U8_t> bytes;
};

std::string contentOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

/** Checks that the number after the first {"time": is now, and returns the text with "T" in its place. */
std::string withoutTime(std::string text, time_t before) {
    const std::string member = "{\"time\":";
    for (std::size_t at = 0; (at = text.find(member, at)) != std::string::npos; ++at) {
        const std::size_t first = at + member.size();
        const std::size_t end = text.find_first_not_of("0123456789", first);
        const long long seconds = std::atoll(text.substr(first, end - first).c_str());
        EXPECT_GE(seconds, before);
        EXPECT_LE(seconds, time(nullptr));
        text.erase(first, end - first);
        text.insert(text.begin() + static_cast<std::ptrdiff_t>(first), 'T');
    }
    return text;
}

/** Sends standard error to a file while it lives. */
class StandardErrorToFile {
public:
    explicit StandardErrorToFile(const fs::path& file) : saved_(dup(STDERR_FILENO)) {
        const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(fd, STDERR_FILENO);
        close(fd);
    }
    ~StandardErrorToFile() {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
    }
    StandardErrorToFile(const StandardErrorToFile&) = delete;
    StandardErrorToFile& operator=(const StandardErrorToFile&) = delete;

private:
    int saved_;
};

class EventLog : public testing::Test {
protected:
    EventLog() {
        std::string pattern = testing::TempDir() + "/altevents.XXXXXX";
        EXPECT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        useDirectory(directory.string());
    }
    ~EventLog() override { fs::remove_all(directory); }

    void useDirectory(const std::string& name) {
        ASSERT_LE(name.size(), sizeof(params.logDirectory));
        std::memset(params.logDirectory, 0, sizeof(params.logDirectory));
        std::memcpy(params.logDirectory, name.data(), name.size());
    }

    /** The log's text, "T" for each line's time. */
    [[nodiscard]] std::string log() const { return withoutTime(contentOf(directory / "altevents.jsonl"), start); }

    /** What `action` writes to standard error, "T" for each line's time. */
    template <typename F>
    std::string standardErrorOf(F action) {
        const fs::path file = directory / "stderr";
        {
            StandardErrorToFile capture(file);
            action();
        }
        return withoutTime(contentOf(file), start);
    }

    /** Runs `action` in a process of its own; its wait status. */
    template <typename F>
    int statusOf(F action) {
        const pid_t child = fork();
        if (child == 0) {
            const rlimit noCore{0, 0};
            setrlimit(RLIMIT_CORE, &noCore);
            action();
            _exit(0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return status;
    }

    fs::path directory;
    MPU_PARAMS_t params{};
    time_t start = time(nullptr);
};

const char* const SMALL_LINE =
    "{\"time\":T,\"evId\":2000,\"evSource\":23,\"evType\":3,\"evCategory\":1,\"evIdVersion\":1,"
    "\"evStructLength\":4,\"body\":\"00ff0a7b\"}\n";
const Record SMALL(2000, 23, 3, 1, 1, {0x00, 0xFF, 0x0A, 0x7B});

TEST_F(EventLog, AppendsOneObjectALineInTheOrderTheyCome) {
    altEventLogM(SMALL.get(), &params);
    altEventLogM(Record(1, 33, 3, 3, 1, std::vector<U8_t>(196, 0xC5)).get(), &params);
    std::string body;
    for (int i = 0; i < 196; ++i) {
        body += "c5";
    }
    EXPECT_EQ(log(), std::string(SMALL_LINE) +
                         "{\"time\":T,\"evId\":1,\"evSource\":33,\"evType\":3,\"evCategory\":3,\"evIdVersion\":1,"
                         "\"evStructLength\":196,\"body\":\"" +
                         body + "\"}\n");
}

TEST_F(EventLog, WritesEveryByteValueAsTwoLowerCaseDigits) {
    std::vector<U8_t> body(256);
    std::string hex;
    for (unsigned i = 0; i < 256; ++i) {
        body[i] = static_cast<U8_t>(i);
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", i);
        hex += digits.data();
    }
    altEventLogM(Record(3, 33, 3, 3, 1, body).get(), &params);
    EXPECT_EQ(log(), std::string() +
                         "{\"time\":T,\"evId\":3,\"evSource\":33,\"evType\":3,\"evCategory\":3,\"evIdVersion\":1,"
                         "\"evStructLength\":256,\"body\":\"" +
                         hex + "\"}\n");
}

TEST_F(EventLog, WritesTheLeastAndTheGreatestOfEveryField) {
    altEventLogM(Record(0, 0, 0, 0, 0, {}).get(), &params);
    altEventLogM(Record(65535, 255, 255, 255, 255, std::vector<U8_t>(65535, 0x9F)).get(), &params);
    std::string body;
    for (int i = 0; i < 65535; ++i) {
        body += "9f";
    }
    EXPECT_EQ(log(), std::string() +
                         "{\"time\":T,\"evId\":0,\"evSource\":0,\"evType\":0,\"evCategory\":0,\"evIdVersion\":0,"
                         "\"evStructLength\":0,\"body\":\"\"}\n"
                         "{\"time\":T,\"evId\":65535,\"evSource\":255,\"evType\":255,\"evCategory\":255,"
                         "\"evIdVersion\":255,\"evStructLength\":65535,\"body\":\"" +
                         body + "\"}\n");
}

TEST_F(EventLog, KeepsLinesWholeWhereTheBufferChanges) {
    std::string expected;
    for (std::size_t length : {4063U, 4064U, 4065U}) {
        altEventLogM(Record(4, 33, 3, 3, 1, std::vector<U8_t>(length, 0x11)).get(), &params);
        expected += std::string() +
                    "{\"time\":T,\"evId\":4,\"evSource\":33,\"evType\":3,\"evCategory\":3,\"evIdVersion\":1,"
                    "\"evStructLength\":" +
                    std::to_string(length) + ",\"body\":\"" + std::string(2 * length, '1') + "\"}\n";
    }
    EXPECT_EQ(log(), expected);
}

TEST_F(EventLog, KeepsWhatIsInTheFile) {
    std::ofstream(directory / "altevents.jsonl") << "earlier\n";
    altEventLogM(SMALL.get(), &params);
    EXPECT_EQ(log(), std::string("earlier\n") + SMALL_LINE);
}

TEST_F(EventLog, TakesARecordAtAnyAddress) {
    std::vector<U8_t> buffer(1 + SMALL.bytes.size());
    std::memcpy(&buffer[1], SMALL.bytes.data(), SMALL.bytes.size());
    altEventLogM(reinterpret_cast<const EmpEvLogHeader_t*>(&buffer[1]), &params);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, TakesADirectoryNameThatFillsItsFieldWithoutATerminator) {
    const std::string inner = directory.string() + "/" + std::string(127 - directory.string().size(), 'd');
    ASSERT_EQ(inner.size(), 128U);
    ASSERT_TRUE(fs::create_directory(inner));
    useDirectory(inner);
    params.portConfig[0] = 'x'; // the byte after the name is not zero
    altEventLogM(SMALL.get(), &params);
    EXPECT_EQ(withoutTime(contentOf(inner + "/altevents.jsonl"), start), SMALL_LINE);
}

TEST_F(EventLog, WithoutAParameterBlockTheLineGoesToStandardError) {
    EXPECT_EQ(standardErrorOf([] { altEventLogM(SMALL.get(), nullptr); }), SMALL_LINE);
}

TEST_F(EventLog, WithoutALogDirectoryTheLineGoesToStandardError) {
    useDirectory("");
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(SMALL.get(), &params); }), SMALL_LINE);
}

TEST_F(EventLog, WhenTheFileCannotBeOpenedTheLineGoesToStandardError) {
    useDirectory((directory / "missing").string());
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(SMALL.get(), &params); }), SMALL_LINE);
    useDirectory(directory.string());
    fs::create_directory(directory / "altevents.jsonl");
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(SMALL.get(), &params); }), SMALL_LINE);
}

TEST_F(EventLog, ALinkInTheFilesPlaceIsNotFollowed) {
    std::ofstream(directory / "victim") << "precious\n";
    fs::create_symlink(directory / "victim", directory / "altevents.jsonl");
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(SMALL.get(), &params); }), SMALL_LINE);
    fs::remove(directory / "altevents.jsonl");
    fs::create_hard_link(directory / "victim", directory / "altevents.jsonl");
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(SMALL.get(), &params); }), SMALL_LINE);
    EXPECT_EQ(contentOf(directory / "victim"), "precious\n");
}

TEST_F(EventLog, APipeOrADeviceInTheFilesPlaceHoldsNobodyUp) {
    ASSERT_EQ(mkfifo((directory / "altevents.jsonl").c_str(), 0600), 0);
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(SMALL.get(), &params); }), SMALL_LINE);
    fs::remove(directory / "altevents.jsonl");
    fs::create_symlink("/dev/full", directory / "altevents.jsonl");
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(SMALL.get(), &params); }), SMALL_LINE);
}

fs::perms permissionsOf(const fs::path& file) {
    return fs::status(file).permissions();
}

TEST_F(EventLog, IsNotReadableForEverybody) {
    const mode_t before = umask(0);
    altEventLogM(SMALL.get(), &params);
    umask(before);
    EXPECT_EQ(static_cast<unsigned>(permissionsOf(directory / "altevents.jsonl")), 0640U);
    fs::permissions(directory / "altevents.jsonl", static_cast<fs::perms>(0644));
    altEventLogM(SMALL.get(), &params);
    EXPECT_EQ(static_cast<unsigned>(permissionsOf(directory / "altevents.jsonl")), 0640U);
}

TEST_F(EventLog, BehindAPieceOfALineTheNextBeginsOnALineOfItsOwn) {
    std::ofstream(directory / "altevents.jsonl") << "{\"tim";
    altEventLogM(SMALL.get(), &params);
    altEventLogM(SMALL.get(), &params);
    EXPECT_EQ(contentOf(directory / "altevents.jsonl").substr(0, 7), "{\"tim\n{");
    fs::resize_file(directory / "altevents.jsonl", 0);
    altEventLogM(SMALL.get(), &params);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, IsTurnedOverBeforeItGrowsBeyond4MiBAndKeepsFiveOlderOnes) {
    const std::vector<U8_t> body(60000, 0x11);
    for (int i = 0; i < 34 * 8; ++i) {
        altEventLogM(Record(7, 33, 1, 3, 1, body).get(), &params);
    }
    std::size_t lines = 0;
    for (const char* name : {"altevents.jsonl", "altevents.jsonl.1", "altevents.jsonl.2", "altevents.jsonl.3",
                             "altevents.jsonl.4", "altevents.jsonl.5"}) {
        const std::string text = contentOf(directory / name);
        EXPECT_LE(text.size(), 4194304U) << name;
        EXPECT_EQ(text.back(), '\n') << name;
        lines += static_cast<std::size_t>(std::ranges::count(text, '\n'));
    }
    EXPECT_FALSE(fs::exists(directory / "altevents.jsonl.6"));
    EXPECT_EQ(lines, 204U) << "six full files of 34 lines";
}

TEST_F(EventLog, NoLineOfSeveralProcessesIsLostWhenTheLogIsTurnedOver) {
    std::vector<pid_t> children;
    const std::vector<U8_t> body(60000, 0x11);
    for (int process = 0; process < 3; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0; i < 40; ++i) {
                altEventLogM(Record(static_cast<U16_t>(process * 100 + i), 33, 1, 3, 1, body).get(), &params);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
    }
    std::map<std::string, int> ids;
    for (const auto& file : fs::directory_iterator(directory)) {
        std::istringstream text(contentOf(file.path()));
        for (std::string line; std::getline(text, line);) {
            ++ids[line.substr(line.find("evId"), 12)];
        }
    }
    EXPECT_EQ(ids.size(), 120U);
}

TEST_F(EventLog, ACriticalErrorIsOneReadableLineInTheJournal) {
    std::vector<U8_t> body(196, 0);
    const std::string file = "esainit.cpp";
    const std::string function(64, 'f');
    const std::string message = "Linux connect function fails for MSM/ESA socket!";
    std::copy(file.begin(), file.end(), body.begin());
    std::copy(function.begin(), function.end(), body.begin() + 64);
    body[131] = 88;
    std::copy(message.begin(), message.end(), body.begin() + 132);
    const Record error(1, 33, 3, 3, 1, body);
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(error.get(), &params); }), "");
    setenv("JOURNAL_STREAM", "8:1234", 1);
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(error.get(), &params); }),
              "\nesa: critical error in " + function +
                  " (esainit.cpp:88): Linux connect function fails for MSM/ESA socket!\n");
    EXPECT_EQ(standardErrorOf([&] {
                  altEventLogM(SMALL.get(), &params);
                  altEventLogM(Record(2, 33, 3, 3, 1, body).get(), &params);
                  altEventLogM(Record(1, 23, 3, 3, 1, body).get(), &params);
                  altEventLogM(Record(1, 33, 3, 3, 1, {}).get(), &params);
              }),
              "");
    unsetenv("JOURNAL_STREAM");
}

TEST_F(EventLog, ARecordInTheJournalBeginsALineOfItsOwn) {
    useDirectory((directory / "missing").string());
    setenv("JOURNAL_STREAM", "8:1234", 1);
    const std::string kept = standardErrorOf([&] { altEventLogM(SMALL.get(), &params); });
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(kept.substr(0, 9), "\n{\"time\":");
    EXPECT_EQ(kept.substr(kept.size() - 3), "\"}\n");
}

TEST_F(EventLog, LeavesTheCallersErrnoAlone) {
    useDirectory((directory / "missing").string());
    standardErrorOf([&] {
        errno = EMLINK;
        altEventLogM(SMALL.get(), &params);
        EXPECT_EQ(errno, EMLINK);
    });
}

TEST_F(EventLog, LeavesNoDescriptorOpen) {
    const int before = dup(STDERR_FILENO);
    close(before);
    for (int i = 0; i < 10; ++i) {
        altEventLogM(SMALL.get(), &params);
    }
    const int after = dup(STDERR_FILENO);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(EventLog, ABugCheckKeepsTheRecordAndAborts) {
    const int status = statusOf([&] { altEventLog(SMALL.get(), &params, -1); });
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, AnyOtherActionOnlyKeepsTheRecord) {
    for (S32_t action : {0, 1, -2, 2147483647}) {
        altEventLog(SMALL.get(), &params, action);
    }
    EXPECT_EQ(log(), std::string(SMALL_LINE) + SMALL_LINE + SMALL_LINE + SMALL_LINE);
}

const MPU_PARAMS_t* handlersParams = nullptr;

void logFromHandler(int) {
    altEventLogM(SMALL.get(), handlersParams);
}

TEST_F(EventLog, CanBeCalledInASignalHandlerOnASmallStack) {
    // 64 KiB: half of what the longest line takes, ample for a record of a message buffer's size.
    handlersParams = &params;
    std::vector<U8_t> memory(65536);
    stack_t stack{};
    stack.ss_sp = memory.data();
    stack.ss_size = memory.size();
    ASSERT_EQ(sigaltstack(&stack, nullptr), 0);
    struct sigaction action {};
    action.sa_handler = logFromHandler;
    action.sa_flags = SA_ONSTACK;
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    raise(SIGUSR1);
    stack.ss_flags = SS_DISABLE;
    sigaltstack(&stack, nullptr);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, LinesOfSeveralProcessesStayWhole) {
    constexpr int PROCESSES = 4;
    constexpr int RECORDS = 60;
    constexpr std::size_t LENGTHS[] = {10, 500, 4064, 20000};
    std::vector<pid_t> children;
    for (int process = 0; process < PROCESSES; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            const std::vector<U8_t> body(LENGTHS[process], static_cast<U8_t>(0x11 * (process + 1)));
            for (int i = 0; i < RECORDS; ++i) {
                altEventLogM(Record(7, 33, 1, 3, 1, body).get(), &params);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }
    std::map<std::string, int> lines;
    std::istringstream text(log());
    for (std::string line; std::getline(text, line);) {
        ++lines[line];
    }
    EXPECT_EQ(lines.size(), 4U);
    for (int process = 0; process < PROCESSES; ++process) {
        const std::size_t length = LENGTHS[process];
        const std::string line =
            "{\"time\":T,\"evId\":7,\"evSource\":33,\"evType\":1,\"evCategory\":3,\"evIdVersion\":1,"
            "\"evStructLength\":" +
            std::to_string(length) + ",\"body\":\"" + std::string(2 * length, static_cast<char>('1' + process)) + "\"}";
        EXPECT_EQ(lines[line], 60);
    }
}

} // namespace
