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

#include "cli.h"

using namespace testsupport;

namespace {

[[maybe_unused]] const bool isLinked = linkProgram("mpuparams", mpuparamsMain);

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
    const RunResult_t made =
        run(programCommand("mpuparams", {"create", "--key", std::to_string(key), "--config", directory + "/mpu.conf"}));
    ASSERT_EQ(made.ending.exitCode, 0) << made.err;
    patchChassisType(chassisType);
    // What run control raises when its sequence is complete.
    const std::string block = segment.bytes();
    std::uint32_t flags = 0;
    std::memcpy(&flags, block.data() + 4, sizeof(flags));
    flags |= 0x80;
    segment.patch(4, &flags, sizeof(flags));
}

void SystemTest::patchChassisType(int type) const {
    const auto byte = static_cast<std::uint8_t>(type);
    segment.patch(71, &byte, 1);
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

void SystemTest::startManaging() {
    startAdapter();
    const std::optional<Bytes_t> notice = messageSwitch->receive();
    ASSERT_TRUE(notice.has_value());
    EXPECT_EQ(hexOf(*notice, 8, 16), "0E 01 00 40 0C 00 00 01 21 00 00 00 00 04 00 00");
    Lines_t before;
    configuration = page(1, &before);
    EXPECT_EQ(before, Lines_t{});
}

RunResult_t SystemTest::failSafe(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {ESA_OWN_DEV, directory + "/dev", directory + "/enc-0"};
    for (const std::string& word : programCommand("esafailsafe", arguments)) {
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

Slots_t SystemTest::litDrives() const {
    Slots_t lit;
    for (const JsonValue_t& drive : world()["drives"].elements()) {
        if (drive["led"] == true) {
            lit.push_back(static_cast<std::size_t>(drive["index"].number()));
        }
    }
    return lit;
}

void SystemTest::setTemperatures(int celsius) const {
    for (std::size_t sensor = 0; sensor < world()["sensors"].size(); ++sensor) {
        (void)simulator("temp " + std::to_string(sensor) + " " + std::to_string(celsius));
    }
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

Bytes_t SystemTest::controlPage(unsigned requestor, const Slots_t& leds, const char* fan, const char* alarm) const {
    Bytes_t bytes = unhex("1D 10 00 00 00 00 00 00 02 00 00 00 00 00 00 00");
    const Bytes_t counts = unhex(configuration.substr(std::size_t{3} * 48)); // a type and its number, every four bytes
    const char* const firstRecords[] = {"", "", fan, "", alarm};
    for (std::size_t list = 0; list < 5; ++list) {
        const Bytes_t first = unhex(firstRecords[list]);
        const Bytes_t overall = {0, 0, 0, static_cast<std::uint8_t>(first.empty() ? 0 : 0x80)};
        const std::size_t records = bytes.size() + overall.size();
        bytes.insert(bytes.end(), overall.begin(), overall.end());
        bytes.resize(records + 4 * std::size_t{counts[4 * list + 1]});
        std::copy(first.begin(), first.end(), bytes.begin() + static_cast<std::ptrdiff_t>(records));
    }
    for (const std::size_t drive : leds) {
        bytes[20 + 4 * drive + 3] = 0x04;
    }
    put16(bytes, 4, static_cast<unsigned>(bytes.size() - 8));
    put16(bytes, 10, static_cast<unsigned>(bytes.size() - 12));
    return messageToAdapter(18, 0x1D, requestor, bytes);
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

Lines_t SystemTest::notInLog(Lines_t texts) const {
    const std::string log = traceLog();
    std::erase_if(texts, [&](const std::string& text) { return log.find(text) != std::string::npos; });
    return texts;
}

int SystemTest::transfers() const {
    return std::stoi(simulator("transfers").substr(6));
}
