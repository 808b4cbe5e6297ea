#include "msm_client.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <poll.h>
#include <sstream>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace msmtest {

using testsupport::Milliseconds;

namespace {

constexpr std::string_view TIME_FORM = "00:00:00.000 ";

/** Whether the line has a digit wherever the form has one, and the form's own character elsewhere. */
bool startsWithTime(const std::string& line) {
    return line.size() > TIME_FORM.size() &&
           std::equal(TIME_FORM.begin(), TIME_FORM.end(), line.begin(),
                      [](char form, char found) { return form == '0' ? found >= '0' && found <= '9' : found == form; });
}

} // namespace

Client::Client(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    connected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

Client::~Client() {
    close();
}

void Client::close() {
    if (socket_ >= 0) {
        (void)::close(socket_);
        socket_ = -1;
    }
}

bool Client::send(const Bytes& bytes) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::send(socket_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

/** Bytes read: fewer than `count` when the switch closed or the time ran out. */
std::size_t Client::read(std::uint8_t* to, std::size_t count, Milliseconds timeout) const {
    std::size_t done = 0;
    while (done < count) {
        pollfd ready{socket_, POLLIN, 0};
        if (::poll(&ready, 1, static_cast<int>(timeout.count())) <= 0) {
            break;
        }
        const ssize_t some = ::recv(socket_, to + done, count - done, 0);
        if (some <= 0) {
            break;
        }
        done += static_cast<std::size_t>(some);
    }
    return done;
}

std::optional<Bytes> Client::receive(Milliseconds timeout) const {
    Bytes bytes(64);
    if (read(bytes.data(), 64, timeout) != 64) {
        return std::nullopt;
    }
    const std::size_t length = std::size_t{bytes[10]} << 8 | bytes[11];
    bytes.resize(length);
    if (length < 64 || read(bytes.data() + 64, length - 64, timeout) != length - 64) {
        return std::nullopt;
    }
    return bytes;
}

std::int64_t Client::receiveHandle(Milliseconds timeout) const {
    const std::optional<Bytes> bytes = receive(timeout);
    return bytes ? std::int64_t{get32(*bytes, 40)} : -1;
}

bool Client::isSilent() const {
    pollfd ready{socket_, POLLIN, 0};
    return ::poll(&ready, 1, static_cast<int>(MOMENT.count())) == 0;
}

bool Client::isClosed() const {
    pollfd ready{socket_, POLLIN, 0};
    if (::poll(&ready, 1, static_cast<int>(PATIENCE.count())) != 1) {
        return false;
    }
    std::uint8_t byte = 0;
    return ::recv(socket_, &byte, 1, 0) <= 0;
}

SwitchTest::SwitchTest() {
    std::string name = "/tmp/msm-test-XXXXXX";
    EXPECT_NE(::mkdtemp(name.data()), nullptr);
    directory_ = name;
}

SwitchTest::~SwitchTest() {
    process_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void SwitchTest::start(const std::vector<std::string>& args) {
    std::vector<std::string> all = {"--directory", directory_};
    all.insert(all.end(), args.begin(), args.end());
    process_ = std::make_unique<testsupport::Process>(testsupport::programCommand("msm", all));
    ASSERT_TRUE(process_->waitForOut("ready", PATIENCE)) << process_->err();
}

std::unique_ptr<Client> SwitchTest::connect(const std::string& name) const {
    auto client = std::make_unique<Client>(path(name));
    EXPECT_TRUE(client->connected()) << name;
    return client;
}

std::unique_ptr<Client> SwitchTest::connectPeer(std::uint8_t& id) const {
    auto client = connect("peer");
    const std::optional<Bytes> greeting = client->receive();
    EXPECT_TRUE(greeting.has_value());
    id = greeting ? (*greeting)[18] : 0;
    return client;
}

void SwitchTest::settle(const Client& peer, std::uint8_t id) {
    ASSERT_TRUE(peer.send(messageTo({id}, id, 0x5E771E)));
    ASSERT_EQ(peer.receiveHandle(), 0x5E771E);
}

std::vector<std::string> SwitchTest::logUntil(const std::string& text) {
    EXPECT_TRUE(process_->waitForOut(text, PATIENCE)) << process_->out();
    std::vector<std::string> lines;
    std::istringstream all(process_->out());
    for (std::string line; std::getline(all, line);) {
        EXPECT_TRUE(startsWithTime(line)) << line;
        lines.push_back(line.substr(std::min(line.size(), TIME_FORM.size())));
    }
    return lines;
}

} // namespace msmtest
