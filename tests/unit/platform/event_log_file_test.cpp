/** The event log's file: where it lies, who may read it, how it is turned over, and what takes its place. */
#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "calls.h"
#include "child.h"
#include "event_log_fixture.h"

namespace fs = std::filesystem;

namespace {

using testsupport::Child_t;

TEST_F(EventLog, TakesADirectoryNameThatFillsItsFieldWithoutATerminator) {
    const std::string inner = directory.string() + "/" + std::string(127 - directory.string().size(), 'd');
    ASSERT_EQ(inner.size(), 128U);
    ASSERT_TRUE(fs::create_directory(inner));
    useDirectory(inner);
    params.portConfig[0] = 'x'; // the byte after the name is not zero
    add(SMALL);
    EXPECT_EQ(withoutTime(testsupport::readFile(inner + "/altevents.jsonl")), SMALL_LINE);
}

TEST_F(EventLog, WithoutAFileTheLineGoesToStandardErrorAndNothingElseIsTakenForIt) {
    const auto expectRefused = [&](const char* why) {
        EXPECT_EQ(standardErrorOf([&] { add(SMALL); }), SMALL_LINE) << why;
        fs::remove(file);
    };
    EXPECT_EQ(standardErrorOf([] { altEventLogM(SMALL.get(), nullptr); }), SMALL_LINE);
    useDirectory("");
    expectRefused("no directory");
    useDirectory((directory / "missing").string());
    expectRefused("a directory that is missing");
    useDirectory(directory.string());
    fs::create_directory(file);
    expectRefused("a directory");
    std::ofstream(directory / "victim") << "precious\n";
    fs::create_symlink(directory / "victim", file);
    expectRefused("a link");
    fs::create_hard_link(directory / "victim", file);
    expectRefused("a second name");
    EXPECT_EQ(folder.read("victim"), "precious\n");
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    expectRefused("a pipe that nobody reads");
    fs::create_symlink("/dev/full", file);
    expectRefused("a device");
}

TEST_F(EventLog, IsNotReadableForEverybody) {
    const mode_t before = umask(0);
    add(SMALL);
    umask(before);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms{0640});
    fs::permissions(file, fs::perms{0644});
    add(SMALL);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms{0640});
}

TEST_F(EventLog, BehindAPieceOfALineTheNextBeginsOnALineOfItsOwn) {
    std::ofstream(file) << "{\"tim";
    add(SMALL);
    add(SMALL);
    EXPECT_EQ(log(), std::string("{\"tim\n") + SMALL_LINE + SMALL_LINE);
    fs::resize_file(file, 0);
    add(SMALL);
    EXPECT_EQ(log(), SMALL_LINE);
    std::ofstream(file) << "{\"tim";
    const calls::Answer_t unreadable(calls::open, [](const char* name, int flags, mode_t mode) {
        return calls::open.real(name, (flags & ~O_ACCMODE) | O_WRONLY, mode);
    });
    add(SMALL);
    EXPECT_EQ(log(), std::string("{\"tim") + SMALL_LINE) << "where that cannot be seen the line is kept all the same";
}

TEST_F(EventLog, IsTurnedOverBeforeItGrowsBeyond4MiBAndKeepsFiveOlderOnes) {
    constexpr std::size_t LIMIT = 4194304;
    add(SMALL);
    const std::uintmax_t line = fs::file_size(file);
    for (const char turn : std::string("abcdefg")) {
        fillLog(static_cast<std::size_t>(LIMIT - line), turn);
        add(SMALL);
        EXPECT_EQ(fs::file_size(file), LIMIT) << "what just fits";
        add(SMALL);
        EXPECT_EQ(fs::file_size(file), line);
    }
    std::string firsts;
    for (const char number : std::string("12345")) {
        const std::string older = file.string() + "." + number;
        EXPECT_EQ(fs::file_size(older), LIMIT) << older;
        firsts += static_cast<char>(std::ifstream(older).get());
    }
    EXPECT_EQ(firsts, "gfedc");
    EXPECT_FALSE(fs::exists(directory / "altevents.jsonl.6"));
}

TEST_F(EventLog, ThatAnotherProcessTurnsOverBeforeTheLockIsHadIsOpenedAnew) {
    fillLog(4194304, 'a');
    const calls::Answer_t turned(calls::open, [this](const char* name, int flags, mode_t mode) {
        const int fd = calls::open.real(name, flags, mode);
        if (!fs::exists(file.string() + ".1")) {
            fs::rename(file, file.string() + ".1");
            std::ofstream(file) << "";
        }
        return fd;
    });
    add(SMALL);
    EXPECT_EQ(log(), SMALL_LINE);
    EXPECT_EQ(fs::file_size(file.string() + ".1"), 4194304U);
}

TEST_F(EventLog, ThatThreeTimesIsAnotherFileThanTheOneOpenedIsGivenUpForStandardError) {
    int opened = 0;
    const calls::Answer_t covered(calls::open, [&](const char*, int, mode_t) {
        if (++opened == 2) { // the first time there is no file of the name
            std::ofstream(file) << "";
        }
        return memfd_create("of another filesystem", 0);
    });
    EXPECT_EQ(standardErrorOf([&] { add(SMALL); }), SMALL_LINE);
    EXPECT_EQ(opened, 3);
}

TEST_F(EventLog, NoLineOfSeveralProcessesIsLostWhenTheLogIsTurnedOver) {
    fillLog(4194304 - 500'000, ' '); // room for a dozen of the lines below
    std::vector<std::unique_ptr<Child_t>> children;
    const std::vector<U8_t> body(20000, 0x11);
    for (int process = 0; process < 3; ++process) {
        children.push_back(std::make_unique<Child_t>([&] {
            for (int i = 0; i < 15; ++i) {
                add(Record_t(static_cast<U16_t>(process * 100 + i), 33, 1, 3, 1, body));
            }
        }));
    }
    for (const auto& child : children) {
        ASSERT_EQ(child->wait().exitCode, 0);
    }
    std::map<std::string, int> ids;
    for (const auto& one : fs::directory_iterator(directory)) {
        std::istringstream text(testsupport::readFile(one.path()));
        for (std::string line; std::getline(text, line);) {
            if (const std::size_t id = line.find("evId"); id != std::string::npos) {
                ++ids[line.substr(id, 12)];
            }
        }
    }
    EXPECT_EQ(ids.size(), 45U);
    EXPECT_TRUE(fs::exists(directory / "altevents.jsonl.1"));
}

TEST_F(EventLog, LeavesNoDescriptorOpen) {
    const int before = dup(STDERR_FILENO);
    close(before);
    for (int i = 0; i < 10; ++i) {
        add(SMALL);
    }
    const int after = dup(STDERR_FILENO);
    close(after);
    EXPECT_EQ(after, before);
}

} // namespace
