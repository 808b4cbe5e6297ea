/**
 * What random lives meet by chance only, swept: every value of every register, every way between two temperatures,
 * every bit of a message, every key on the command line.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "comparison.h"
#include "generator.h"
#include "messages.h"
#include "real_adapter.h"
#include "registers.h"

namespace model {
namespace {

/** Passes from poll to poll. */
constexpr int A_POLL = 11;
/** Half a degree or a sign apart: sweeps that need not see every value go in steps that meet odd and even ones. */
constexpr unsigned STEP = ESA_STRIDE > 1 ? 37 : 1;

Life_t lifeOf(std::uint8_t chassis) {
    Life_t life;
    life.chassis = chassis;
    life.flags = TRACING | RCP_COMPLETE;
    return life;
}

bool isWait(const Entry_t& entry) {
    return entry.kind == Entry_t::SYSTEM && entry.text.starts_with("select");
}

/** Foretold, and lived to its last pass: a world has an end, and what a life holds behind that is never met. */
void expectForetoldToItsEnd(const Life_t& life) {
    std::ptrdiff_t passes = 0;
    for (const Step_t& step : life.steps) {
        passes += step.kind == Step_t::PASS ? static_cast<std::ptrdiff_t>(step.count) : 0;
    }
    const std::vector<Entry_t> foretold = streamOf(life, liveModel);
    ASSERT_GE(std::ranges::count_if(foretold, isWait), passes) << "the life is too long for a world";
    ASSERT_EQ(difference(foretold, streamOf(life, liveReal), Functions_e::COMPARED).value_or(""), "");
}

void expectForetold(const Life_t& life) {
    ASSERT_EQ(compare(life, liveModel, liveReal).value_or(""), "");
}

/** The message with one bit the other way. */
Bytes_t withBitChanged(Bytes_t message, std::size_t bit) {
    message[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
    return message;
}

/** Transfers in the passes behind number `from` up to `to`; pass 0 is the start. */
std::ptrdiff_t transfers(const std::vector<Entry_t>& stream, int from, int to) {
    int passes = 0;
    return std::ranges::count_if(stream, [&](const Entry_t& entry) {
        passes += isWait(entry);
        return entry.kind == Entry_t::TRANSFER && passes > from && passes <= to;
    });
}

class Sweep : public testing::TestWithParam<int> {
protected:
    std::uint8_t chassis() const { return static_cast<std::uint8_t>(GetParam()); }
};

} // namespace

TEST_P(Sweep, EveryValueOfEveryRegisterIsForetold) {
    const Book_t book = learn(chassis(), liveReal);
    std::set<unsigned> registers;
    for (const auto& [address, reg] : book.readLater) {
        registers.insert(reg);
    }
    for (const unsigned reg : registers) {
        Life_t life = lifeOf(chassis());
        for (unsigned value = 0; value < 256; value += STEP) {
            unsigned apart = 0; // chips of a kind are not all at the same value
            for (const auto& [address, itsReg] : book.readLater) {
                if (itsReg == reg) {
                    life.steps.push_back(setRegister(address, reg, (value + 96 * apart++) % 256));
                }
                if (itsReg == reg && address == ALARM_CONTROLLER_CHIP && reg == 5) { // whose port shows what it reads
                    life.steps.push_back(setRegister(address, ALARM_CONTROLLER, value % 8));
                }
            }
            life.steps.push_back(pass(A_POLL));
            if (value % (STEP > 1 ? 2 : 8) == 0) { // a page is a poll's lines many times over
                life.steps.push_back(put(receiveDiagnostic(2, 4000)));
            }
        }
        SCOPED_TRACE(testing::Message() << "register " << reg);
        expectForetoldToItsEnd(life);
    }
}

TEST_P(Sweep, EveryValueOfEveryRegisterAtTheStartIsForetold) {
    const Book_t book = learn(chassis(), liveReal);
    for (unsigned value = 0; value < 256; value += STEP) {
        Life_t life = lifeOf(chassis());
        unsigned apart = 0;
        for (const auto& [address, reg] : book.read) {
            life.steps.push_back(setRegister(address, reg, (value + 37 * apart++) % 256));
        }
        life.steps.push_back(pass());
        SCOPED_TRACE(value);
        expectForetold(life);
    }
}

TEST_P(Sweep, EveryWayBetweenTwoTemperaturesIsForetold) {
    Life_t life;
    const auto pollAt = [&](int degrees, unsigned polls) {
        for (const auto& [address, reg] : std::initializer_list<std::pair<std::uint8_t, unsigned>>{
                 {0x4A, 0}, {0x4B, 0}, {0x4C, 0}, {0x4D, 0}, {0x28, 0x27}, {0x2A, 0x27}, {0x2C, 0x27}, {0x30, 0x27}}) {
            life.steps.push_back(setRegister(address, reg, static_cast<std::uint8_t>(degrees)));
        }
        life.steps.push_back(pass(A_POLL * polls));
    };
    for (const int settled : {30, 33, 37, 42, 50, 60}) {
        for (const int from : {-30, 23}) { // together they are too long for a world
            life = lifeOf(chassis());
            life.flags = RCP_COMPLETE; // what is remembered tells
            for (int degrees = from; degrees<from + 53; degrees += ESA_STRIDE> 1 ? 7 : 1) {
                pollAt(settled, 4);
                pollAt(degrees, 2);
            }
            SCOPED_TRACE(testing::Message() << settled << " and from " << from << " on");
            expectForetoldToItsEnd(life);
        }
    }
}

TEST_P(Sweep, EveryBitOfAControlPageIsForetold) {
    for (const std::uint32_t fill : {0x00000000U, 0x80000000U}) {
        const Bytes_t page = controlPage(countsOf(chassis()), fill);
        Life_t life = lifeOf(chassis());
        life.flags = RCP_COMPLETE; // what is remembered tells
        for (std::size_t bit = 64 * 8; bit<page.size() * 8; bit += ESA_STRIDE> 1 ? 29 : 1) {
            life.steps.push_back(put(withBitChanged(page, bit)));
            life.steps.push_back(pass());
        }
        expectForetoldToItsEnd(life);
    }
}

INSTANTIATE_TEST_SUITE_P(Chassis, Sweep, testing::Range(2, 7),
                         [](const auto& test) { return "Type" + std::to_string(test.param); });

TEST(Sweeps, EveryBitOfAHeaderAndACommandIsForetold) {
    Bytes_t response = receiveDiagnostic(2, 4000);
    response[12] = 12; // from start-up
    response[16] = 18;
    response[17] = 0x40;
    for (const Bytes_t& message :
         {receiveDiagnostic(1, 4000), receiveDiagnostic(2, 300), controlPage(countsOf(5), 0), response}) {
        for (std::size_t bit = 0; bit < 84 * 8 && bit<message.size() * 8; bit += ESA_STRIDE> 1 ? 61 : 1) {
            Life_t life = lifeOf(5);
            life.steps = {put(withBitChanged(message, bit)), pass(), put(receiveDiagnostic(1, 4000)), pass()};
            SCOPED_TRACE(testing::Message() << "byte " << bit / 8 << " bit " << bit % 8);
            expectForetold(life);
        }
    }
}

TEST(Sweeps, EveryPageOfBothCommandsAndTheirAnswersIsForetold) {
    Life_t life = lifeOf(5);
    for (unsigned page = 0; page < 256; page += STEP) {
        Bytes_t asked = receiveDiagnostic(static_cast<std::uint8_t>(page), 4000);
        Bytes_t told = controlPage(countsOf(5), 0);
        told[72] = static_cast<std::uint8_t>(page);
        for (Bytes_t message : {asked, told}) {
            life.steps.push_back(put(message));
            message[16] = 33; // an answer to the adapter itself, which it prints
            message[17] = 0x40;
            message[64] = 0;
            message[65] = static_cast<std::uint8_t>(page);
            life.steps.push_back(put(message));
            life.steps.push_back(pass(2));
        }
    }
    expectForetoldToItsEnd(life);
}

TEST(Sweeps, EveryLengthOfAMessageIsForetold) {
    for (unsigned length = 0; length < 5200; length += length < 160 || length > 4000 ? STEP : 61 * std::min(STEP, 4U)) {
        Life_t life = lifeOf(5);
        Bytes_t message = receiveDiagnostic(2, 4000);
        message[10] = static_cast<std::uint8_t>(length >> 8);
        message[11] = static_cast<std::uint8_t>(length);
        message.resize(std::max(12U, length));
        life.steps = {put(message), pass(), put(receiveDiagnostic(1, 4000)), pass(2)};
        SCOPED_TRACE(length);
        expectForetold(life);
    }
}

TEST(Sweeps, EveryKeyIsForetold) {
    const char* const keys[] = {"99",
                                "100",
                                "0x63",
                                "0x64",
                                "0X64",
                                "0143",
                                "0144",
                                "0",
                                "-1",
                                "-100",
                                "",
                                "x64",
                                "1 0 0",
                                " 4660",
                                "+100",
                                "100x",
                                "99x",
                                "0x7fffffff",
                                "0x80000000",
                                "2147483648",
                                "4294967396",
                                "-4294967196",
                                "99999999999999999999",
                                "-99999999999999999999"};
    for (const char* key : keys) {
        Life_t life = lifeOf(5);
        life.arguments = {"/usr/sbin/esa", key};
        life.steps = {pass()};
        SCOPED_TRACE(key);
        expectForetold(life);
    }
}

TEST(TransferCount, IsWhatTheRulesNeedAndNoMore) {
    struct {
        std::uint8_t chassis;
        std::ptrdiff_t start, poll, page;
    } const rows[] = {{5, 31, 10, 11}, {3, 31, 10, 12}, {2, 38, 26, 46}, {6, 23, 11, 18}, {4, 210, 38, 94}};
    for (const auto& row : rows) {
        SCOPED_TRACE(int{row.chassis});
        Life_t life = lifeOf(row.chassis);
        life.steps = {pass(6 * A_POLL), put(receiveDiagnostic(2, 4000)), pass(2)};
        const std::vector<Entry_t> stream = streamOf(life, liveReal);
        EXPECT_EQ(transfers(stream, -1, 0), row.start);
        EXPECT_EQ(transfers(stream, 5 * A_POLL, 6 * A_POLL), row.poll);
        EXPECT_EQ(transfers(stream, 6 * A_POLL, 6 * A_POLL + 1), row.page);
    }
}

} // namespace model
