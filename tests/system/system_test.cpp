#include "system_test.h"

#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <poll.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace testsupport;
using nlohmann::json;

namespace {

using Clock = std::chrono::steady_clock;

unsigned word(const Bytes& bytes, std::size_t at) {
    return static_cast<unsigned>(bytes[at] << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3]);
}

void put32(Bytes& bytes, std::size_t at, unsigned value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

/** A reply of the adapter carries the request's protocol, SES, and the response flag. */
bool isReply(const Bytes& message) {
    return message[12] == 18;
}

} // namespace

std::string hex(const Bytes& bytes, std::size_t from, std::size_t count) {
    std::string text;
    for (std::size_t i = from; i < bytes.size() && i - from < count; ++i) {
        char two[8];
        std::snprintf(two, sizeof(two), "%02X ", static_cast<unsigned>(bytes[i]));
        text += two;
    }
    if (!text.empty()) {
        text.pop_back();
    }
    return text;
}

Bytes unhex(const std::string& text) {
    Bytes bytes;
    std::string digits;
    for (const char c : text) {
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
            digits += c;
        }
    }
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

Bytes messageToAdapter(int protocol, unsigned type, int requestor, const Bytes& payload, unsigned handle) {
    Bytes bytes(64, 0);
    bytes[8] = 14;
    bytes[9] = 1;
    bytes[10] = static_cast<std::uint8_t>((64 + payload.size()) >> 8);
    bytes[11] = static_cast<std::uint8_t>(64 + payload.size());
    put32(bytes, 12, type);
    bytes[12] = static_cast<std::uint8_t>(protocol);
    bytes[16] = static_cast<std::uint8_t>(requestor);
    bytes[27] = 0x02;
    put32(bytes, 40, handle);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

std::string nameOf(const Bytes& message) {
    const int protocol = message[12];
    const unsigned type = word(message, 12) & 0xFFFFFFU;
    if (protocol == 12 && type == 1) {
        return "init";
    }
    if (protocol == 12 && type == 14) {
        return word(message, 48) == 2 ? "led-on" : "led-off";
    }
    if (protocol == 12 && type == 16) {
        return "email";
    }
    if (protocol == 13 && type == 1) {
        return "shutdown";
    }
    if (protocol == 8 && type == 1 && message.size() == 300) {
        return "event " + std::to_string(message[214] << 8 | message[215]) + "/" + std::to_string(message[211]);
    }
    return "reply";
}

FakeSwitch::FakeSwitch(const std::string& path) : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = addressOf(path);
    EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0) << path;
    EXPECT_EQ(listen(listener_, 1), 0);
}

FakeSwitch::~FakeSwitch() {
    closeConnection();
    close(listener_);
}

bool FakeSwitch::accept() {
    pollfd one = {listener_, POLLIN, 0};
    if (::poll(&one, 1, static_cast<int>(PATIENCE.count())) != 1) {
        return false;
    }
    connection_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    return connection_ >= 0;
}

bool FakeSwitch::send(const Bytes& bytes) const {
    return ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

bool FakeSwitch::sendNow(const Bytes& bytes) const {
    pollfd one = {connection_, POLLOUT, 0};
    return ::poll(&one, 1, 1000) == 1 && ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
                                             static_cast<ssize_t>(bytes.size());
}

bool FakeSwitch::read(std::uint8_t* to, std::size_t count, Milliseconds timeout) const {
    const auto end = Clock::now() + timeout;
    for (std::size_t at = 0; at < count;) {
        const auto left = std::chrono::duration_cast<Milliseconds>(end - Clock::now());
        pollfd one = {connection_, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&one, 1, static_cast<int>(left.count())) != 1) {
            return false;
        }
        const ssize_t got = recv(connection_, to + at, count - at, 0);
        if (got <= 0) {
            return false;
        }
        at += static_cast<std::size_t>(got);
    }
    return true;
}

std::optional<Bytes> FakeSwitch::receive(Milliseconds timeout) const {
    Bytes message(64);
    if (!read(message.data(), 64, timeout)) {
        return std::nullopt;
    }
    const std::size_t length = static_cast<std::size_t>(message[10] << 8 | message[11]);
    if (length < 64) {
        ADD_FAILURE() << "the adapter sent a length of " << length;
        return std::nullopt;
    }
    message.resize(length);
    if (!read(message.data() + 64, length - 64, PATIENCE)) {
        return std::nullopt;
    }
    return message;
}

void FakeSwitch::closeConnection() {
    if (connection_ >= 0) {
        close(connection_);
        connection_ = -1;
    }
}

SystemTest::SystemTest() : key(0x48000000 | (getpid() & 0xFFFFFF)) {
    char pattern[] = "/tmp/esa-system-XXXXXX";
    directory = mkdtemp(pattern);
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
    const int shmid = shmget(key, 0, 0);
    if (shmid >= 0) {
        shmctl(shmid, IPC_RMID, nullptr);
    }
    std::filesystem::remove_all(directory);
}

void SystemTest::makeBlock(int chassisType, bool tracing) {
    std::ofstream(directory + "/mpu.conf") << "Version = 15\nChassisType = Quadra\n"
                                           << (tracing ? "CmapTracingEnabled\n" : "") << "MmsgDirectory = " << directory
                                           << "\nLogDirectory = " << directory << "/log\n";
    const std::string number = std::to_string(key);
    RunResult made = run(programCommand("mpuparams", {"create", "--key", number, "--config", directory + "/mpu.conf"}));
    ASSERT_EQ(made.ending.exitCode, 0) << made.err;
    made = run(programCommand(
        "mpuparams", {"set", "--key", number, "chassisType=" + std::to_string(chassisType), "flags+=RcpComplete"}));
    ASSERT_EQ(made.ending.exitCode, 0) << made.err;
}

void SystemTest::patchBlock(std::size_t offset, const void* bytes, std::size_t size) const {
    void* const block = shmat(shmget(key, 0, 0), nullptr, 0);
    ASSERT_NE(reinterpret_cast<std::intptr_t>(block), -1);
    std::memcpy(static_cast<char*>(block) + offset, bytes, size);
    shmdt(block);
}

void SystemTest::startSwitch() {
    messageSwitch = std::make_unique<FakeSwitch>(directory + "/esadapter");
}

void SystemTest::startSimulator(const std::string& chassis) {
    encsim = std::make_unique<Process>(programCommand("encsim", {"--chassis", chassis, "--link", directory + "/enc-0",
                                                                 "--control", directory + "/control", "--frozen"}));
    ASSERT_TRUE(encsim->waitForOut("ready\n", PATIENCE)) << encsim->err();
}

void SystemTest::startAdapter(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {ESA_OWN_DEV, directory + "/dev",
                                        encsim == nullptr ? "-" : directory + "/enc-0"};
    for (const std::string& word : programCommand("esa", arguments)) {
        command.push_back(word);
    }
    esa = std::make_unique<Process>(command);
    if (messageSwitch != nullptr) {
        ASSERT_TRUE(messageSwitch->accept()) << esa->out() << esa->err();
    }
}

RunResult SystemTest::runOnBus(const std::string& program, const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {ESA_OWN_DEV, directory + "/dev", directory + "/enc-0"};
    for (const std::string& word : programCommand(program, arguments)) {
        command.push_back(word);
    }
    return run(command);
}

std::string SystemTest::simulator(const std::string& command) const {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(directory + "/control");
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    const std::string line = command + "\n";
    EXPECT_EQ(send(fd, line.data(), line.size(), MSG_NOSIGNAL), static_cast<ssize_t>(line.size()));
    std::string reply;
    while (!(reply == "ok\n" || reply.ends_with("\nok\n") || reply.find("error: ") != std::string::npos)) {
        char bytes[4096];
        const ssize_t got = recv(fd, bytes, sizeof(bytes), 0);
        if (got <= 0) {
            break;
        }
        reply.append(bytes, static_cast<std::size_t>(got));
    }
    close(fd);
    EXPECT_TRUE(reply.ends_with("ok\n")) << command << ": " << reply;
    return reply.size() < 3 ? reply : reply.substr(0, reply.size() - 3);
}

Bytes SystemTest::ask(const Bytes& request, Lines* before) const {
    EXPECT_TRUE(messageSwitch->send(request));
    while (std::optional<Bytes> message = messageSwitch->receive()) {
        if (isReply(*message)) {
            return *message;
        }
        if (before != nullptr) {
            before->push_back(nameOf(*message));
        }
    }
    ADD_FAILURE() << "no reply came";
    return Bytes(64, 0);
}

std::string SystemTest::page(int code, Lines* before) const {
    Bytes command = unhex("1C 80 00 00 10 00 00 00"); // the page code is valid; up to 4096 bytes
    command[2] = static_cast<std::uint8_t>(code);
    return hex(ask(messageToAdapter(18, 0x1C, 28, command), before), 65);
}

Lines SystemTest::poll() const {
    const int start = transfers();
    Lines names;
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

std::vector<json> SystemTest::eventLog() const {
    std::vector<json> records;
    std::ifstream log(directory + "/log/altevents.jsonl");
    for (std::string line; std::getline(log, line);) {
        records.push_back(json::parse(line));
    }
    return records;
}

std::string SystemTest::traceLog() const {
    std::ifstream log(directory + "/log/esa_01.log");
    std::stringstream text;
    text << log.rdbuf();
    return text.str();
}

int SystemTest::transfers() const {
    return std::stoi(simulator("transfers").substr(6));
}
