#include "system_test.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace testsupport;

namespace {

/** A reply of the adapter carries the request's protocol, SES, and the response flag. */
bool isReply(const Bytes_t& message) {
    return message[12] == 18;
}

} // namespace

std::string hexOf(const Bytes_t& bytes, std::size_t from, std::size_t count) {
    const std::size_t start = std::min(from, bytes.size());
    return hex(std::span(bytes).subspan(start, std::min(count, bytes.size() - start)));
}

Bytes_t messageToAdapter(unsigned protocol, unsigned type, unsigned requestor, const Bytes_t& payload,
                         unsigned handle) {
    return message({requestor, protocol, type, handle, {33}}, payload);
}

FakeSwitch_t::FakeSwitch_t(const std::string& path) : listener_(listenAt(path, 1)) {}

bool FakeSwitch_t::accept() {
    pollfd one = {listener_.fd(), POLLIN, 0};
    if (::poll(&one, 1, static_cast<int>(PATIENCE.count())) != 1) {
        return false;
    }
    connection_ = Stream_t(::accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC));
    return connection_.isOpen();
}

bool FakeSwitch_t::sendNow(const Bytes_t& bytes) const {
    pollfd one = {connection_.fd(), POLLOUT, 0};
    return ::poll(&one, 1, 1000) == 1 && ::send(connection_.fd(), bytes.data(), bytes.size(),
                                                MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(bytes.size());
}

SystemTest::SystemTest() {
    std::filesystem::create_directory(directory + "/log");
}

SystemTest::~SystemTest() {
    if (HasFailure() && esa != nullptr) {
        std::printf("the adapter said: %s%s\n", esa->out().c_str(), esa->err().c_str());
        std::printf("its log ends: %s\n",
                    traceLog().substr(traceLog().size() - std::min<std::size_t>(traceLog().size(), 3000)).c_str());
    }
    esa.reset();
    encsim.reset();
    messageSwitch.reset();
}

void SystemTest::makeBlock(int chassisType, bool tracing) {
    std::ofstream(directory + "/mpu.conf") << "Version = 15\nChassisType = Quadra\n"
                                           << (tracing ? "CmapTracingEnabled\n" : "") << "MmsgDirectory = " << directory
                                           << "\nLogDirectory = " << directory << "/log\n";
    const std::string number = std::to_string(key);
    RunResult_t made =
        run(programCommand("mpuparams", {"create", "--key", number, "--config", directory + "/mpu.conf"}));
    ASSERT_EQ(made.ending.exitCode, 0) << made.err;
    made = run(programCommand(
        "mpuparams", {"set", "--key", number, "chassisType=" + std::to_string(chassisType), "flags+=RcpComplete"}));
    ASSERT_EQ(made.ending.exitCode, 0) << made.err;
}

void SystemTest::startSwitch() {
    messageSwitch = std::make_unique<FakeSwitch_t>(directory + "/esadapter");
}

void SystemTest::startSimulator(const std::string& chassis) {
    encsim = std::make_unique<Process_t>(programCommand("encsim", {"--chassis", chassis, "--link", directory + "/enc-0",
                                                                   "--control", directory + "/control", "--frozen"}));
    ASSERT_TRUE(encsim->waitForOut("ready\n", PATIENCE)) << encsim->err();
}

void SystemTest::startAdapter(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {ESA_OWN_DEV, directory + "/dev",
                                        encsim == nullptr ? "-" : directory + "/enc-0"};
    for (const std::string& word : programCommand("esa", arguments)) {
        command.push_back(word);
    }
    esa = std::make_unique<Process_t>(command);
    if (messageSwitch != nullptr) {
        ASSERT_TRUE(messageSwitch->accept()) << esa->out() << esa->err();
    }
}

RunResult_t SystemTest::runOnBus(const std::string& program, const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {ESA_OWN_DEV, directory + "/dev", directory + "/enc-0"};
    for (const std::string& word : programCommand(program, arguments)) {
        command.push_back(word);
    }
    return run(command);
}

std::string SystemTest::simulator(const std::string& command) const {
    const Stream_t connection(connectTo(directory + "/control"));
    EXPECT_TRUE(connection.isOpen());
    EXPECT_TRUE(connection.sendText(command + "\n"));
    std::string reply;
    while (!(reply == "ok\n" || reply.ends_with("\nok\n") || reply.find("error: ") != std::string::npos)) {
        char bytes[4096];
        const ssize_t got = recv(connection.fd(), bytes, sizeof(bytes), 0);
        if (got <= 0) {
            break;
        }
        reply.append(bytes, static_cast<std::size_t>(got));
    }
    EXPECT_TRUE(reply.ends_with("ok\n")) << command << ": " << reply;
    return reply.size() < 3 ? reply : reply.substr(0, reply.size() - 3);
}

Bytes_t SystemTest::ask(const Bytes_t& request, Lines_t* before) const {
    EXPECT_TRUE(messageSwitch->send(request));
    while (std::optional<Bytes_t> message = messageSwitch->receive()) {
        if (isReply(*message)) {
            return *message;
        }
        if (before != nullptr) {
            before->push_back(messageName(*message));
        }
    }
    ADD_FAILURE() << "no reply came";
    return Bytes_t(64, 0);
}

std::string SystemTest::page(int code, Lines_t* before) const {
    Bytes_t command = unhex("1C 80 00 00 10 00 00 00"); // the page code is valid; up to 4096 bytes
    command[2] = static_cast<std::uint8_t>(code);
    return hexOf(ask(messageToAdapter(18, 0x1C, 28, command), before), 65);
}

Lines_t SystemTest::poll() const {
    const int start = transfers();
    Lines_t names;
    for (int pass = 0; pass < 30; ++pass) {
        (void)page(1, &names); // reads no hardware, but makes a pass of the main loop
        if (transfers() != start) {
            (void)page(1, &names); // the answer comes when the poll is over
            return names;
        }
    }
    ADD_FAILURE() << "the adapter does not poll";
    return names;
}

std::vector<JsonValue_t> SystemTest::eventLog() const {
    return JsonValue_t::parseLines(folder.read("log/altevents.jsonl"));
}

std::string SystemTest::traceLog() const {
    return folder.read("log/esa_01.log");
}

int SystemTest::transfers() const {
    return std::stoi(simulator("transfers").substr(6));
}
