#include "msm_client.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace msmtest {

namespace {

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

std::unique_ptr<Client_t> SwitchTest::connectPeer(std::uint8_t& id) const {
    auto client = connect("peer");
    const std::optional<Bytes_t> greeting = client->receive();
    EXPECT_TRUE(greeting.has_value());
    id = greeting ? (*greeting)[18] : 0;
    return client;
}

void SwitchTest::settle(const Client_t& peer, std::uint8_t id) {
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
