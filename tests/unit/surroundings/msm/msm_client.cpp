#include "msm_client.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include "cli.h"

namespace msmtest {

namespace {

[[maybe_unused]] const bool isLinked = testsupport::linkProgram("msm", msmMain);

constexpr std::string_view TIME_FORM = "00:00:00.000 ";

/** Whether the line has a digit wherever the form has one, and the form's own character elsewhere. */
bool startsWithTime(const std::string& line) {
    return line.size() > TIME_FORM.size() &&
           std::equal(TIME_FORM.begin(), TIME_FORM.end(), line.begin(),
                      [](char form, char found) { return form == '0' ? found >= '0' && found <= '9' : found == form; });
}

} // namespace

void SwitchTest::start(const std::vector<std::string>& args) {
    std::vector<std::string> all = {"--directory", directory()};
    all.insert(all.end(), args.begin(), args.end());
    process_ = std::make_unique<testsupport::Process_t>(testsupport::programCommand("msm", all));
    ASSERT_TRUE(process_->waitForOut("ready", PATIENCE)) << process_->err();
}

std::unique_ptr<Client_t> SwitchTest::connect(const std::string& name) const {
    auto client = std::make_unique<Client_t>(path(name));
    EXPECT_TRUE(client->isOpen()) << name;
    return client;
}

std::pair<std::unique_ptr<Client_t>, std::uint8_t> SwitchTest::connectPeer() const {
    auto client = connect("peer");
    const std::optional<Bytes_t> greeting = client->receive();
    EXPECT_TRUE(greeting.has_value());
    return {std::move(client), greeting ? (*greeting)[18] : std::uint8_t{0}};
}

std::string SwitchTest::refusal(const std::vector<std::string>& args) const {
    const testsupport::RunResult_t result = testsupport::run(testsupport::programCommand("msm", args));
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.starts_with("msm: ") && result.err.find('\n') == result.err.size() - 1) << result.err;
    return result.err.substr(5, result.err.size() - 6);
}

void SwitchTest::settle(const Client_t& peer, std::uint8_t id) {
    ASSERT_TRUE(peer.send(messageTo({id}, id, 0x5E771E)));
    ASSERT_EQ(peer.receiveHandle(), 0x5E771E);
}

void SwitchTest::sendAll(const Client_t& client, const std::vector<unsigned>& endpoints, std::uint8_t requestor,
                         std::uint32_t first, std::uint32_t end, std::size_t length) {
    for (std::uint32_t handle = first; handle < end; ++handle) {
        ASSERT_TRUE(client.send(messageTo(endpoints, requestor, handle, length)));
    }
}

void SwitchTest::expectHandles(const Client_t& client, std::uint32_t first, std::uint32_t end) {
    for (std::uint32_t handle = first; handle < end; ++handle) {
        ASSERT_EQ(client.receiveHandle(), handle);
    }
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
