/** The serial I2C bridge protocol, byte for byte. */
#include "bridge.h"

#include <gtest/gtest.h>
#include <random>
#include <tuple>

#include "chips/vsc055.h"
#include "hex.h"

using namespace std::chrono_literals;

namespace {

class BridgeTest : public testing::Test {
protected:
    BridgeTest() { bus.attach(0x41, std::make_shared<Vsc055_t>()); }

    /** What the bridge answers to `line`, sent `after` the line was last used. */
    std::string send(const std::string& line, std::chrono::milliseconds after = 1ms) {
        now += after;
        return lowerHex(bridge.feed(unhex(line), now));
    }

    Bus_t bus;
    Bridge_t bridge{bus};
    Bridge_t::Clock_t::time_point now{1h};
};

TEST_F(BridgeTest, RequestsAreAnsweredInOrderByteForByte) {
    const std::pair<const char*, const char*> rows[] = {
        {"52 41 98 01", "41 3f"},
        {"57 41 98 01 2f", "41"},
        {"52 41 98 01", "41 2f"},
        {"57 41 98 01 27 52 41 98 01 52 62 00 01", "41 41 27 4e"},
        // Data bytes are not taken for requests.
        {"57 41 98 01 52", "41"},
        {"52 41 98 01", "41 52"},
        // Nobody acknowledges.
        {"52 62 98 01", "4e"},
        {"57 62 98 01 00", "4e"},
        {"52 41 98 02", "4e"},
        // With numbers, which the replies repeat before they say their length.
        {"72 81 41 98 01", "61 81 01 52"},
        {"77 82 41 98 01 3f", "61 82 00"},
        {"72 83 41 98 01", "61 83 01 3f"},
        {"72 84 62 98 01", "6e 84"},
        {"77 85 62 98 01 00", "6e 85"},
        // Both kinds by turns.
        {"72 81 41 98 01 52 41 98 01 48 90 72 82 62 98 01", "61 81 01 3f 41 3f 68 90 6e 82"},
    };
    for (const auto& [request, answer] : rows) {
        EXPECT_EQ(send(request), answer) << request;
    }
}

TEST_F(BridgeTest, GreetingIsAnsweredWithItsNumberAndARequestMayComeByteByByte) {
    EXPECT_EQ(send("48 80"), "68 80");
    EXPECT_EQ(send("48 ff 52 41 98 01"), "68 ff 41 3f");
    EXPECT_EQ(bus.counts().total, 1u);
    for (const char* const byte : {"57", "41", "99", "01"}) {
        EXPECT_EQ(send(byte, 50ms), "");
    }
    EXPECT_EQ(send("37", 50ms), "41");
}

TEST_F(BridgeTest, LongestRequestIsTakenWhole) {
    for (const auto& [head, byte, answer] :
         {std::tuple("57 41 98 ff", " 52", "4e"), {"77 ff 41 98 ff", " 72", "6e ff"}}) {
        std::string request = head;
        for (int i = 0; i < 255; ++i) {
            request += byte;
        }
        EXPECT_EQ(send(request), answer); // the register takes one byte only
        EXPECT_EQ(bus.remembered().back().length, 255u);
        EXPECT_EQ(send("52 41 98 01"), "41 3f");
    }
}

TEST_F(BridgeTest, IncompleteRequestIsForgottenAfter100MsOfSilenceAndKeptFor99) {
    EXPECT_EQ(send("57 41 98"), "");
    EXPECT_EQ(send("52 41 98 01", 100ms), "41 3f");
    EXPECT_EQ(bus.counts().total, 1u);
    EXPECT_EQ(send("52 41 98"), "");
    EXPECT_EQ(send("01", 99ms), "41 3f");
}

TEST_F(BridgeTest, JunkSwallowsEverythingUntilSilence) {
    for (const char* const junk :
         {"00", "51 41 98 01", "52 80", "52 41 98 00", "57 41 98 00", "48 7f", "72 00", "72 81 80", "77 81 41 98 00"}) {
        EXPECT_EQ(send(junk, 200ms), "") << junk;
        EXPECT_EQ(send("52 41 98 01", 99ms), "") << junk;
        EXPECT_EQ(send("52 41 98 01", 100ms), "41 3f") << junk;
    }
    EXPECT_EQ(bus.counts().total, 9u);
}

TEST_F(BridgeTest, SilentLineAnswersNothingAndReachesNoChip) {
    bridge.setSilent(true);
    EXPECT_EQ(send("57 41 98 01 2f"), "");
    EXPECT_EQ(send("52 41 98 01", 500ms), "");
    EXPECT_EQ(bus.counts().total, 0u);
    bridge.setSilent(false);
    EXPECT_EQ(send("52 41 98 01", 500ms), "41 3f");
    EXPECT_EQ(send("52 41"), "");
    bridge.setSilent(true);
    bridge.setSilent(false);
    EXPECT_EQ(send("52 41 98 01"), "41 3f") << "the beginning of a request is dropped";
}

TEST_F(BridgeTest, SurvivesRandomBytesAndAnswersAfterwards) {
    std::mt19937 random(20261121);
    std::uniform_int_distribution<unsigned> byte(0, 255);
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::uint8_t> noise(byte(random));
        for (std::uint8_t& one : noise) {
            one = static_cast<std::uint8_t>(byte(random));
        }
        now += std::chrono::milliseconds(byte(random));
        bridge.feed(noise, now);
    }
    ASSERT_EQ(send("57 41 98 01 27", 100ms), "41");
    EXPECT_EQ(send("52 41 98 01"), "41 27");
}

} // namespace
