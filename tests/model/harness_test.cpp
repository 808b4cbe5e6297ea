/** The harness itself: a break of the adapter is found and made short, lives can be written and read back. */
#include <gtest/gtest.h>

#include <algorithm>

#include "comparison.h"
#include "generator.h"
#include "messages.h"
#include "real_adapter.h"
#include "shrinker.h"
#include "trace_log.h"

namespace model {
namespace {

using Lines_t = std::vector<std::string>;
using Breakage_t = std::function<void(std::vector<Entry_t>&)>;

/** The adapter with something wrong in what it does. */
Side_t broken(const Breakage_t& breakage) {
    return [breakage](const Life_t& life, SimulatedWorld_t& world) {
        liveReal(life, world);
        breakage(world.stream);
    };
}

/** The first of the seeds' lives that shows the breakage, shrunk. */
Life_t shortestThatShows(const Breakage_t& breakage) {
    const Generator_t generator(liveReal);
    const Fails_t fails = [&](const Life_t& life) { return compare(life, liveReal, broken(breakage)).has_value(); };
    for (unsigned seed = 1; seed < 500; ++seed) {
        if (const Life_t life = generator.life(seed); fails(life)) {
            return shrink(life, fails);
        }
    }
    ADD_FAILURE() << "no life shows it";
    return {};
}

std::string stepsOf(const Life_t& life) {
    std::string text;
    for (const Step_t& step : life.steps) {
        text += toText(step) + "\n";
    }
    return text;
}

bool holds(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

std::ptrdiff_t failedTransfers(const std::vector<Entry_t>& stream) {
    return std::ranges::count_if(stream, [](const Entry_t& entry) {
        return entry.kind == Entry_t::TRANSFER && entry.text.find("-> -1") != std::string::npos;
    });
}

/** What a world writes down for the calls that `act` makes, without the snapshots. */
Lines_t diary(const std::vector<Step_t>& steps, const std::function<void(World_t&)>& act) {
    Life_t life;
    life.steps = steps;
    SimulatedWorld_t world(life);
    try {
        act(world);
    } catch (const EndOfLife_t&) {
        world.ended("end");
    }
    Lines_t lines;
    for (const Entry_t& entry : world.stream) {
        lines.push_back(entry.text);
    }
    return lines;
}

void readThrice(World_t& world) {
    for (int i = 0; i < 3; ++i) {
        (void)world.readI2c(5, 0x4A, 1, 1);
    }
}

} // namespace

TEST(Harness, TheAdapterLivesTheSameLifeTwiceAlike) {
    const Generator_t generator(liveReal);
    for (unsigned seed = 1; seed < 40; ++seed) {
        EXPECT_EQ(compare(generator.life(seed), liveReal, liveReal).value_or(""), "") << seed;
    }
}

TEST(Harness, TwoHundredAndFiftySixArgumentsAreAsGoodAsTwo) {
    Life_t life;
    life.arguments.resize(256);
    life.attach = Attach_e::ABSENT;
    EXPECT_EQ(compare(life, liveModel, liveReal).value_or(""), "");
}

TEST(Harness, ExchangedNeighboursAreFoundAndShrunkToOneRequest) {
    const Life_t life = shortestThatShows([](std::vector<Entry_t>& stream) {
        for (std::size_t i = 0; i + 1 < stream.size(); ++i) {
            if (stream[i].text.starts_with("Turn Off Fan [")) {
                std::swap(stream[i], stream[i + 1]);
            }
        }
    });
    EXPECT_LE(life.steps.size(), 3) << toText(life);
    EXPECT_TRUE(holds(toText(life), "\nput ") && toText(life).ends_with("\npass\n")) << toText(life);
}

TEST(Harness, AMissingAlarmWriteIsFoundAndShrunkToItsCause) {
    const Life_t life = shortestThatShows([](std::vector<Entry_t>& stream) {
        std::erase_if(stream, [](const Entry_t& entry) { return entry.text == "write 5 41:04 [58] -> 1"; });
    });
    EXPECT_LE(life.steps.size(), 4) << toText(life);
}

TEST(Harness, ABreakThatNeedsTwoFailuresKeepsBoth) {
    const Life_t life = shortestThatShows([](std::vector<Entry_t>& stream) {
        if (failedTransfers(stream) == 2) {
            stream.pop_back();
        }
    });
    EXPECT_EQ(failedTransfers(streamOf(life, liveReal)), 2) << toText(life);
    EXPECT_LE(life.steps.size(), 4) << toText(life);
}

TEST(Harness, ADifferenceShowsWhereTheStreamsPart) {
    const std::vector<Entry_t> expected = {{Entry_t::SYSTEM, "same", ""}, {Entry_t::TRACE, "text", "f"}};
    const std::vector<Entry_t> found = {{Entry_t::SYSTEM, "same", ""}, {Entry_t::TRACE, "test", "g"}};
    const std::string text = difference(expected, found).value_or("");
    EXPECT_TRUE(holds(text, "entry 1 differs"));
    EXPECT_TRUE(holds(text, "= same\n- trace f: text\n+ trace g: test\n"));
    EXPECT_TRUE(holds(difference(expected, {expected[0]}).value_or(""), "+ (end)"));
    EXPECT_TRUE(holds(difference({expected[0]}, expected).value_or(""), "- (end)"));
    EXPECT_EQ(difference(expected, expected), std::nullopt);
}

TEST(Harness, FunctionNamesCountOnlyWhenAsked) {
    const std::vector<Entry_t> one = {{Entry_t::TRACE, "text", "f"}}, other = {{Entry_t::TRACE, "text", "g"}};
    EXPECT_EQ(difference(one, other), std::nullopt);
    EXPECT_NE(difference(one, other, Functions_e::COMPARED), std::nullopt);
    FunctionPairs_t pairs;
    countFunctions(one, other, pairs);
    EXPECT_EQ((pairs[{"f", "g"}]), 1);
}

TEST(LifeText, EveryRandomLifeReadsBackAsItself) {
    const Generator_t generator(liveReal);
    for (unsigned seed = 1; seed < 300; ++seed) {
        const Life_t life = generator.life(seed);
        std::string error;
        EXPECT_EQ(lifeFromText(toText(life), error), life) << error << toText(life);
    }
}

TEST(LifeText, LongRunsAreCountedAndCommentsMeanNothing) {
    EXPECT_EQ(toHex(Bytes_t(8, 0xAB)), "abababababababab");
    EXPECT_EQ(toHex(Bytes_t(9, 0xAB)), "ab*9");
    std::string error;
    const auto life =
        lifeFromText("# a case\nchassis 4\n\nput 01 00*3 02 # late\ndead-register 28 5b asked-1\n", error);
    ASSERT_TRUE(life.has_value());
    EXPECT_EQ(life->chassis, 4);
    EXPECT_EQ(stepsOf(*life), "put 0100000002\ndead-register 28 5b asked-1\n");
}

TEST(LifeText, WhatIsNoLifeIsRefusedWithItsLine) {
    for (const char* line : {"chassis", "chassis x", "put 0", "put zz", "fail nothing 0 -1", "fail i2c 0", "pass 1 2",
                             "heal me", "unknown 1", "attach maybe", "put 00*9999999"}) {
        std::string error;
        EXPECT_EQ(lifeFromText(std::string("chassis 5\n") + line + "\n", error), std::nullopt) << line;
        EXPECT_EQ(error, line);
    }
}

TEST(World, WaitsAreTimedOutUntilSomethingArrives) {
    EXPECT_EQ(diary({pass(2), put({1, 2}), pass()},
                    [](World_t& world) {
                        for (;;) {
                            (void)world.select(4, 1, 0);
                        }
                    }),
              (Lines_t{"select 4 1.000000 -> 0", "select 4 1.000000 -> 0", "select 4 1.000000 -> 1 readable", "end"}));
}

TEST(World, AReadWaitsForAllThatItWantsAndAPeekTakesNothing) {
    EXPECT_EQ(diary({put({1, 2}), pass(), put({3}), pass()},
                    [](World_t& world) {
                        EXPECT_EQ(world.receive(4, 64, 0x102).data, Bytes_t({1, 2}));
                        EXPECT_EQ(world.receive(4, 3, 0).data, Bytes_t({1, 2, 3}));
                        (void)world.receive(4, 1, 0);
                    }),
              (Lines_t{"recv 4 64 flags 0x102 -> 2", "recv 4 3 flags 0x0 -> 3", "end"}));
}

TEST(World, TheChosenTransferFailsAndTheOthersDoNot) {
    EXPECT_EQ(diary({fail(Call_e::TRANSFER, 1, result(-5))}, readThrice),
              (Lines_t{"read 5 4a:01 1 -> 1 [00]", "read 5 4a:01 1 -> -5 [00]", "read 5 4a:01 1 -> 1 [00]"}));
    EXPECT_EQ(diary({fail(Call_e::READ, 0, asked(1))}, readThrice),
              (Lines_t{"read 5 4a:01 1 -> 2 [00]", "read 5 4a:01 1 -> 1 [00]", "read 5 4a:01 1 -> 1 [00]"}));
}

TEST(World, ADeadDeviceStaysDeadUntilItIsHealed) {
    const Step_t isDead = dead(0x4A, std::nullopt, result(-1)), heal = {.kind = Step_t::HEAL};
    EXPECT_EQ(diary({isDead}, readThrice),
              (Lines_t{"read 5 4a:01 1 -> -1 [00]", "read 5 4a:01 1 -> -1 [00]", "read 5 4a:01 1 -> -1 [00]"}));
    EXPECT_EQ(diary({isDead, heal}, readThrice),
              (Lines_t{"read 5 4a:01 1 -> 1 [00]", "read 5 4a:01 1 -> 1 [00]", "read 5 4a:01 1 -> 1 [00]"}));
}

TEST(World, SensorsHandOutTheHalfDegreeFirst) {
    EXPECT_EQ(diary({setRegister(0x4C, 0, 0x23), setRegister(0x4C, 1, 0x80)},
                    [](World_t& world) {
                        for (int i = 0; i < 3; ++i) {
                            (void)world.readI2c(5, 0x4C, 0, 1);
                        }
                    }),
              (Lines_t{"read 5 4c:00 1 -> 1 [80]", "read 5 4c:00 1 -> 1 [23]", "read 5 4c:00 1 -> 1 [80]"}));
}

TEST(World, TheAlarmControllerTakesItsStateAtTheStrobesEndAndShowsABitOfIt) {
    Registers_t registers;
    const std::uint8_t directions = 0x10, strobe = 0x0D, released = 0x05, second = 0x01;
    registers.write(0x63, 0x15, {&directions, 1});
    registers.write(0x63, 5, {&strobe, 1});
    EXPECT_EQ(registers.read(0x63, 5, 1, true), Bytes_t({0x0D}));
    registers.write(0x63, 5, {&released, 1});
    registers.write(0x63, 5, {&second, 1});
    EXPECT_EQ(registers.read(0x63, 5, 1, true), Bytes_t({0x01})); // state 5 has bit 1 clear
    registers.set(0x63, ALARM_CONTROLLER, 2);
    EXPECT_EQ(registers.read(0x63, 5, 1, true), Bytes_t({0x11}));
}

TEST(TraceLog, ALineLosesItsStampAndItsNumber) {
    const TracePiece_t piece = takeApart("Jan  2 03:04:05  main:17:  text: [1]\n");
    EXPECT_EQ(piece.function, "main");
    EXPECT_EQ(piece.text, "text: [1]");
}

TEST(TraceLog, ADumpsAddressesAreCountedFromItsFirstByte) {
    const TracePiece_t piece = takeApart("f:2: label  =\n0xFFFFFFF0: 00\n0x00000010: 11\n");
    EXPECT_EQ(piece.function, "f");
    EXPECT_EQ(piece.text, "label  =\n0x00000000: 00\n0x00000020: 11");
}

TEST(TraceLog, WhatLooksLikeNoPieceComesBackWhole) {
    for (const char* piece : {"", "text", "main:  text\n", "Jan  2 03:04:05  file.cpp:main:17:  text\n",
                              "Jan  2 03:04:05  main:17:  cut", "main:17:text\n"}) {
        EXPECT_EQ(takeApart(piece).function, "?") << piece;
        EXPECT_EQ(takeApart(piece).text, piece);
    }
}

} // namespace model
