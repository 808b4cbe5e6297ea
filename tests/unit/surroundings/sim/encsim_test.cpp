/** The real program: pseudo-terminal, link, command socket, terminal, signals. */
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <thread>
#include <unistd.h>

#include "folder.h"
#include "hex.h"
#include "json_value.h"
#include "program.h"
#include "stream.h"

using namespace testsupport;

namespace {

class File_t {
public:
    explicit File_t(int fd) : fd_(fd) {}
    ~File_t() { close(fd_); }
    File_t(const File_t&) = delete;
    File_t& operator=(const File_t&) = delete;
    int fd() const { return fd_; }

    void send(const std::string& bytes) const {
        EXPECT_EQ(write(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /** What comes until `enough` holds, the other end closes, or `timeout` passes. */
    template <typename Enough>
    std::string receive(Enough enough, Milliseconds_t timeout = PATIENCE) const {
        std::string all;
        const auto end = std::chrono::steady_clock::now() + timeout;
        while (!enough(all)) {
            const auto left = std::chrono::duration_cast<Milliseconds_t>(end - std::chrono::steady_clock::now());
            pollfd one{fd_, POLLIN, 0};
            char bytes[4096];
            if (left.count() <= 0 || poll(&one, 1, static_cast<int>(left.count())) <= 0) {
                break;
            }
            const ssize_t count = read(fd_, bytes, sizeof bytes);
            if (count <= 0) {
                break;
            }
            all.append(bytes, static_cast<std::size_t>(count));
        }
        return all;
    }

private:
    int fd_;
};

/** One transfer over the serial line, as hex. */
std::string exchange(const File_t& line, const std::string& request, std::size_t answer) {
    const std::vector<std::uint8_t> out = unhex(request);
    line.send({out.begin(), out.end()});
    const std::string in = line.receive([answer](const std::string& all) { return all.size() >= answer; });
    return lowerHex(std::vector<std::uint8_t>(in.begin(), in.end()));
}

class Encsim : public testing::Test {
protected:
    std::vector<std::string> command(std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments = {"--link", link, "--control", commands, "--chassis", "vsc055"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return programCommand("encsim", arguments);
    }
    std::unique_ptr<Process_t> start(const std::vector<std::string>& more = {"--frozen"}) const {
        auto process = std::make_unique<Process_t>(command(more));
        EXPECT_TRUE(process->waitForOut("ready\n", PATIENCE)) << process->err();
        return process;
    }
    File_t openLine() const { return File_t(open(link.c_str(), O_RDWR | O_NOCTTY)); }
    File_t connectToCommands() const {
        const int fd = connectTo(commands);
        EXPECT_GE(fd, 0);
        return File_t(fd);
    }
    /** What the program says when it does not start: one line. */
    static std::string refusal(const std::vector<std::string>& words) {
        const RunResult_t result = run(words, PATIENCE);
        EXPECT_EQ(result.ending.exitCode, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(result.err.starts_with("encsim: ") && result.err.find('\n') == result.err.size() - 1) << result.err;
        return result.err.substr(8, result.err.size() - 9);
    }
    /** What "show --json" tells. */
    static JsonValue_t world(const File_t& peer) {
        const std::string reply = ask(peer, "show --json");
        EXPECT_TRUE(reply.ends_with("\nok\n")) << reply;
        return JsonValue_t::parse(reply.substr(0, reply.find('\n')));
    }
    static std::string ask(const File_t& peer, const std::string& line) {
        peer.send(line + "\n");
        return peer.receive([](const std::string& all) {
            const std::size_t last = all.rfind('\n', all.size() - 2);
            const std::string end = last == std::string::npos ? all : all.substr(last + 1);
            return end == "ok\n" || (end.starts_with("error: ") && end.ends_with("\n"));
        });
    }
    bool linkExists() const { return std::filesystem::is_symlink(std::filesystem::symlink_status(link)); }

    const Folder_t folder;
    const std::filesystem::path directory = folder.path();
    const std::filesystem::path link = directory / "enc-0";
    const std::filesystem::path commands = directory / "control";
};

TEST_F(Encsim, ServesTheBridgeOnARawLineToAdaptersThatComeAndGo) {
    const auto encsim = start();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(exchange(openLine(), "52 41 98 01", 2), "41 3f");
    }
    EXPECT_TRUE(encsim->running());
    const File_t line = openLine();
    EXPECT_EQ(exchange(line, "52 41 10 01", 2), "41 ff");
    EXPECT_EQ(exchange(line, "57 41 98 01 2f", 1), "41");
    EXPECT_EQ(exchange(line, "52 41 98 01", 2), "41 2f");
    EXPECT_EQ(exchange(line, "52 62 00 01", 1), "4e");
    EXPECT_EQ(exchange(line, "52 4c 00 01", 2), "41 00");
    EXPECT_EQ(exchange(line, "52 4c 00 01", 2), "41 1e");
    for (const char* const byte : {"03", "04", "0a", "0d", "11", "13", "15", "1a", "1c", "7f", "ff", "00", "80"}) {
        EXPECT_EQ(exchange(line, std::string("57 41 06 01 ") + byte, 1), "41");
        EXPECT_EQ(exchange(line, "57 41 16 01 00", 1), "41");
        EXPECT_EQ(exchange(line, "52 41 06 01", 2), std::string("41 ") + byte);
    }
}

TEST_F(Encsim, AnswersAgainAfterJunkAndSilence) {
    const auto encsim = start();
    const File_t line = openLine();
    const File_t peer = connectToCommands();
    const auto expectSilence = [&] {
        EXPECT_EQ(line.receive([](const std::string& all) { return !all.empty(); }, Milliseconds_t(300)), "");
    };
    line.send(std::string(3000, 'x'));
    // Whatever came over the line before a command has been taken when the command is answered.
    ask(peer, "transfers");
    ask(peer, "transfers");
    expectSilence();
    EXPECT_EQ(exchange(line, "52 41 98 01", 2), "41 3f");
    EXPECT_EQ(ask(peer, "line silent"), "ok\n");
    line.send("\x52\x41\x10\x01");
    expectSilence();
    EXPECT_EQ(ask(peer, "line ok"), "ok\n");
    EXPECT_EQ(exchange(line, "52 41 98 01", 2), "41 3f");
}

TEST_F(Encsim, ServesSeveralConnectionsWithManyCommandsEachWhateverOneOfThemDoes) {
    const auto encsim = start();
    const File_t first = connectToCommands();
    const File_t second = connectToCommands();
    EXPECT_EQ(ask(first, "heat 500"), "ok\n");
    EXPECT_EQ(ask(second, "ambient 30"), "ok\n");
    EXPECT_EQ(ask(first, "toast"), "error: unknown command \"toast\"; \"help\" lists the commands\n");
    EXPECT_EQ(world(second)["heatWatts"], 500.0);
    EXPECT_EQ(world(second)["ambientCelsius"], 30.0);
    first.send("freeze\nthaw\nhe");
    first.send("at 1\n");
    EXPECT_EQ(first.receive([](const std::string& all) { return all.size() >= 9; }), "ok\nok\nok\n");
    { connectToCommands().send("show\nshow --js"); } // closes in the middle
    EXPECT_EQ(ask(connectToCommands(), "transfers"), "total 0 reads 0 writes 0 failed 0\nok\n");
    const File_t endless = connectToCommands();
    endless.send(std::string(5000, 'a'));
    EXPECT_EQ(endless.receive([](const std::string& all) { return all.ends_with("\n"); }),
              "error: a command line must have at most 4096 characters\n");
    EXPECT_EQ(ask(connectToCommands(), "freeze"), "ok\n");
}

TEST_F(Encsim, TakesCommandsOnItsTerminalAndQuietPrintsNothingElse) {
    StartOptions_t options;
    options.closeStdin = false;
    Process_t encsim(command({"--frozen", "--quiet"}), options);
    ASSERT_TRUE(encsim.waitForOut("ready\n", PATIENCE));
    EXPECT_EQ(encsim.out(), "ready\n");
    EXPECT_TRUE(encsim.writeInput("reg 0x41 0x98\n"));
    EXPECT_TRUE(encsim.waitForOut("0x41 0x98 0x3f\nok\n", PATIENCE));
    encsim.closeInput();
    EXPECT_EQ(ask(connectToCommands(), "freeze"), "ok\n") << "the end of the terminal is not the end";
}

TEST_F(Encsim, LogPrintsTransfersAsTheyHappen) {
    const auto encsim = start();
    const File_t line = openLine();
    const File_t peer = connectToCommands();
    exchange(line, "52 41 98 01", 2);
    EXPECT_EQ(ask(peer, "log on"), "ok\n");
    exchange(line, "57 41 98 01 27", 1);
    exchange(line, "52 62 00 01", 1);
    EXPECT_TRUE(encsim->waitForOut("2 write 0x41 0x98 1 [27] ack\n3 read 0x62 0x00 1 [] nack\n", PATIENCE));
    EXPECT_EQ(encsim->out().find("1 read 0x41 0x98"), std::string::npos);
}

TEST_F(Encsim, LogThatNobodyReadsHoldsUpNothingAndTellsWhatItLost) {
    const auto encsim = start();
    const File_t line = openLine();
    const File_t peer = connectToCommands();
    EXPECT_EQ(ask(peer, "log on"), "ok\n");
    // A pipe takes 64 KiB, and 256 KiB wait: lines of 793 bytes.
    std::string request = "57 41 98 ff";
    for (int i = 0; i < 255; ++i) {
        request += " 27";
    }
    for (int i = 0; i < 600; ++i) {
        ASSERT_EQ(exchange(line, request, 1), "4e") << i;
    }
    EXPECT_EQ(ask(peer, "log off"), "ok\n");
    EXPECT_TRUE(encsim->waitForOut(" lines of the log lost: nobody read them in time\n", PATIENCE));
    const std::string first = "\n1 write 0x41 0x98 255 [" + request.substr(12) + "] nack\n2 write 0x41 0x98 255 ";
    EXPECT_NE(encsim->out().find(first), std::string::npos);
}

TEST_F(Encsim, WhoTakesAllPlacesAndSaysNothingKeepsNobodyOut) {
    const auto encsim = start();
    std::vector<std::unique_ptr<File_t>> silent;
    const File_t busy = connectToCommands();
    for (int i = 0; i < 100; ++i) {
        const File_t next = connectToCommands();
        silent.push_back(std::make_unique<File_t>(dup(next.fd())));
        EXPECT_EQ(ask(busy, "freeze"), "ok\n") << "one that speaks keeps its place";
    }
    EXPECT_EQ(ask(connectToCommands(), "freeze"), "ok\n");
    EXPECT_EQ(silent.front()->receive([](const std::string&) { return false; }), "")
        << "the longest silent one is closed";
}

TEST_F(Encsim, SendGivesARunningSimulatorOneCommand) {
    const auto send = [this](const std::string& line) {
        return run(programCommand("encsim", {"--control", commands, "--send", line}), PATIENCE);
    };
    EXPECT_EQ(refusal(programCommand("encsim", {"--control", commands, "--send", "show"})),
              "no simulator answers at " + commands.string() + ": No such file or directory");

    const auto encsim = start();
    const RunResult_t done = send("heat 400");
    EXPECT_EQ(done.ending.exitCode, 0);
    EXPECT_EQ(done.out + done.err, "");
    const RunResult_t shown = send("show");
    EXPECT_EQ(shown.ending.exitCode, 0);
    EXPECT_NE(shown.out.find("\nheat 400 W, "), std::string::npos) << shown.out;
    EXPECT_FALSE(shown.out.ends_with("ok\n"));
    const RunResult_t refused = send("heat up");
    EXPECT_EQ(refused.ending.exitCode, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.err, "error: heat is \"up\"; it must be a number from 0 to 10000\n");
}

TEST_F(Encsim, TimePassesAtTheGivenSpeed) {
    const auto encsim = start({"--speed", "200"});
    const File_t peer = connectToCommands();
    EXPECT_EQ(ask(peer, "fan 0 stall"), "ok\n");
    const auto end = std::chrono::steady_clock::now() + PATIENCE;
    double rpm = 9000;
    while (rpm > 10 && std::chrono::steady_clock::now() < end) {
        rpm = world(peer)["fans"][0]["rpm"].number();
        std::this_thread::sleep_for(Milliseconds_t(20));
    }
    EXPECT_LE(rpm, 10);
}

TEST_F(Encsim, RemovesLinkAndSocketHoweverItEnds) {
    for (const int signal : {0, SIGINT, SIGTERM}) {
        const auto encsim = start();
        EXPECT_TRUE(linkExists());
        if (signal == 0) {
            EXPECT_EQ(ask(connectToCommands(), "quit"), "ok\n");
        } else {
            encsim->kill(signal);
        }
        const auto ending = encsim->wait(PATIENCE);
        ASSERT_TRUE(ending.has_value());
        EXPECT_EQ(ending->exitCode, 0);
        EXPECT_FALSE(linkExists());
        EXPECT_FALSE(std::filesystem::exists(commands));
    }
}

TEST_F(Encsim, ReplacesWhatADeadSimulatorLeft) {
    {
        const auto encsim = start();
        encsim->kill(SIGKILL);
        ASSERT_TRUE(encsim->wait(PATIENCE).has_value());
    }
    EXPECT_TRUE(linkExists());
    EXPECT_TRUE(std::filesystem::exists(commands));
    const auto encsim = start();
    EXPECT_EQ(exchange(openLine(), "52 41 98 01", 2), "41 3f");
    EXPECT_EQ(ask(connectToCommands(), "freeze"), "ok\n");
}

TEST_F(Encsim, LeavesALivingSimulatorAlone) {
    const auto encsim = start();
    EXPECT_EQ(refusal(programCommand("encsim", {"--chassis", "quadra", "--link", link})),
              "another simulator serves " + link.string() + "; stop it or give another --link");
    const std::string other = directory / "other";
    EXPECT_EQ(refusal(programCommand("encsim", {"--chassis", "quadra", "--link", other, "--control", commands})),
              "another process serves " + commands.string() + "; stop it or give another --control");
    EXPECT_FALSE(std::filesystem::is_symlink(std::filesystem::symlink_status(other)));
    // What a dead simulator left may lead to the line of a living one by now.
    std::filesystem::create_symlink(std::filesystem::read_symlink(link), other);
    Process_t second(
        programCommand("encsim", {"--chassis", "quadra", "--link", other, "--control", other + ".control"}));
    EXPECT_TRUE(second.waitForOut("ready\n", PATIENCE)) << second.err();
    EXPECT_EQ(exchange(openLine(), "52 41 98 01", 2), "41 3f");
    EXPECT_EQ(ask(connectToCommands(), "freeze"), "ok\n");
}

TEST_F(Encsim, LeavesForeignFilesAlone) {
    const std::string inTheWay =
        link.string() + " exists and is not a simulator's link; remove it or give another --link";
    std::ofstream(link) << "precious";
    EXPECT_EQ(refusal(command()), inTheWay);
    EXPECT_EQ(std::filesystem::file_size(link), 8u);
    std::filesystem::remove(link);
    std::filesystem::create_symlink("/dev/null", link);
    EXPECT_EQ(refusal(command()), inTheWay);
    EXPECT_EQ(std::filesystem::read_symlink(link), "/dev/null");
    std::filesystem::remove(link);
    std::ofstream(commands) << "precious";
    EXPECT_EQ(refusal(command()),
              "cannot listen at " + commands.string() + ": Address already in use; give another --control");
    EXPECT_EQ(std::filesystem::file_size(commands), 8u);
    EXPECT_FALSE(linkExists());
}

TEST_F(Encsim, BadOptionsAreOneLineOnStandardError) {
    const std::vector<std::string> rows[] = {
        {},
        {"--chassis", "toaster"},
        {"--send", "show"},
        {"--chassis", "vsc055", "--control", commands, "--send", "show"},
        {"--chassis", "vsc055", "--speed", "0"},
        {"--chassis", "vsc055", "--colour", "red"},
        {"--chassis", "vsc055", "--link", directory / "no" / "such" / "place"},
        {"--chassis", "vsc055", "--link", link, "--control", std::string(200, 'x')},
    };
    for (const std::vector<std::string>& arguments : rows) {
        EXPECT_NE(refusal(programCommand("encsim", arguments)), "");
    }
    EXPECT_FALSE(linkExists());
}

} // namespace
