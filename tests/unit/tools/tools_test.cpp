/** What the tools share, where no tool's own tests reach. */
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "calls.h"
#include "chassis_list.h"
#include "completion.h"
#include "folder.h"
#include "hex.h"
#include "interrupt.h"
#include "json.h"
#include "log_writer.h"
#include "replace_file.h"
#include "simulator_reply.h"
#include "stop_signal.h"
#include "stream.h"
#include "tool_error.h"
#include "unix_stream.h"
#include "words.h"

namespace {

using testsupport::Bytes_t;

/** Two ends of a stream. */
struct Pair_t {
    const std::array<int, 2> ends = testsupport::connectedPair();
    const testsupport::Stream_t owners[2] = {testsupport::Stream_t(ends[0]), testsupport::Stream_t(ends[1])};
};

/** A message of so many bytes, all zero but its length. */
Bytes_t messageOf(std::size_t length) {
    Bytes_t bytes(length < 64 ? 64 : length);
    bytes[10] = static_cast<U8_t>(length >> 8);
    bytes[11] = static_cast<U8_t>(length);
    return bytes;
}

} // namespace

TEST(Hex, DigitsInEitherCaseBecomeBytes) {
    Bytes_t bytes{1};
    EXPECT_TRUE(parseHex("00fFA9", &bytes));
    EXPECT_EQ(bytes, (Bytes_t{1, 0x00, 0xFF, 0xA9}));
    EXPECT_TRUE(parseHex("", &bytes));
    EXPECT_EQ(hexText(bytes), "0100ffa9");
}

TEST(Hex, BytesComeByTheLineOfSixteen) {
    using Rows_t = std::vector<std::string>;
    const std::string whole = "a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0 a0";
    EXPECT_EQ(hexLines(Bytes_t(17, 0xA0)), (Rows_t{whole, "a0"}));
    EXPECT_EQ(hexLines(Bytes_t(16, 0xA0)), (Rows_t{whole}));
    EXPECT_EQ(hexLines({}), Rows_t{});
}

TEST(Hex, WhatIsNoPairOfDigitsAppendsNothing) {
    for (const char* digits : {"0", "000", "0g", "g0", "0x00", "00 0", "@0", "0:", "-1"}) {
        Bytes_t bytes{7};
        EXPECT_FALSE(parseHex(digits, &bytes)) << digits;
        EXPECT_EQ(bytes, Bytes_t{7}) << digits;
    }
}

TEST(Messages, AreCutOutOfTheStreamWhateverPiecesTheyArriveIn) {
    const Pair_t pair;
    Bytes_t all = messageOf(64);
    const Bytes_t second = messageOf(300);
    all.insert(all.end(), second.begin(), second.end());
    MessageReader_t reader;
    Message_t message;
    std::vector<std::size_t> sizes;
    calls::send.failWith(EINTR);
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_TRUE(sendWhole(pair.ends[0], std::span(all).subspan(i, 1)));
        ASSERT_EQ(reader.readSome(pair.ends[1]), Arrival_e::BYTES);
        if (reader.next(message) == MessageReader_t::Found_e::MESSAGE) {
            sizes.push_back(message.size());
            EXPECT_EQ(i, sizes.size() == 1 ? 63U : 363U);
        }
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{64, 300}));
    EXPECT_EQ(reader.readSome(pair.ends[1]), Arrival_e::NOTHING);
}

TEST(Messages, ALengthBelowThatOfAHeaderIsNonsense) {
    for (const std::size_t length : {0U, 1U, 63U}) {
        const Pair_t pair;
        ASSERT_TRUE(sendWhole(pair.ends[0], messageOf(length)));
        MessageReader_t reader;
        ASSERT_EQ(reader.readSome(pair.ends[1]), Arrival_e::BYTES);
        Message_t message;
        EXPECT_EQ(reader.next(message), MessageReader_t::Found_e::NONSENSE);
        EXPECT_EQ(reader.announcedLength(), length);
    }
}

TEST(Streams, AClosedPeerIsToldFromASilentOne) {
    const Pair_t pair;
    MessageReader_t reader;
    EXPECT_EQ(reader.readSome(pair.ends[1]), Arrival_e::NOTHING);
    calls::recv.failWith(EINTR);
    EXPECT_EQ(reader.readSome(pair.ends[1]), Arrival_e::NOTHING);
    calls::recv.failWith(ECONNRESET);
    EXPECT_EQ(reader.readSome(pair.ends[1]), Arrival_e::CLOSED);
    shutdown(pair.ends[0], SHUT_RDWR);
    EXPECT_EQ(reader.readSome(pair.ends[1]), Arrival_e::CLOSED);
    EXPECT_FALSE(sendWhole(pair.ends[1], messageOf(64))) << "and no SIGPIPE";
}

TEST(Streams, WhoListensIsFoundByPathAndWithoutWaitingForHim) {
    const testsupport::Folder_t folder;
    const std::string path = folder.path("s");
    EXPECT_EQ(unixConnect(path).failed, UnixStep_e::ADDRESS);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(unixHasListener(path));
    EXPECT_EQ(errno, ENOENT);
    calls::listen.failWith(EPERM);
    EXPECT_EQ(unixListen(path).failed, UnixStep_e::LISTEN);
    EXPECT_EQ(errno, EPERM);
    const UnixSocket_t listener = unixListen(path, 0); // nothing is in its way
    ASSERT_EQ(listener.failed, UnixStep_e::NONE);
    EXPECT_EQ(accept(listener.descriptor, nullptr, nullptr), -1) << "never blocks";
    EXPECT_EQ(unixListen(path).failed, UnixStep_e::ADDRESS) << "somebody is there already";
    const UnixSocket_t client = unixConnect(path);
    ASSERT_EQ(client.failed, UnixStep_e::NONE);
    const int served = accept(listener.descriptor, nullptr, nullptr);
    EXPECT_GE(served, 0);
    for (int tries = 0; tries < 3; ++tries) {
        EXPECT_TRUE(unixHasListener(path)) << "nobody takes the connections that wait";
    }
    for (const int descriptor : {served, client.descriptor, listener.descriptor}) {
        close(descriptor);
    }
    EXPECT_FALSE(unixHasListener(path)) << "the file alone does not listen";
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST(Streams, APathOf107CharactersIsTheLongest) {
    EXPECT_EQ(unixConnect(std::string(107, 'p')).failed, UnixStep_e::ADDRESS);
    EXPECT_EQ(unixConnect(std::string(108, 'p')).failed, UnixStep_e::PATH);
    EXPECT_EQ(unixListen(std::string(108, 'p')).failed, UnixStep_e::PATH);
    calls::socket.failWith(EMFILE);
    EXPECT_EQ(unixConnect("s").failed, UnixStep_e::SOCKET);
    errno = EAGAIN; // said by something else
    EXPECT_FALSE(unixHasListener(std::string(108, 'p')));
}

TEST(SimulatorReply, EndsWithALineThatSaysHowItWent) {
    constexpr std::size_t NONE = std::string::npos;
    const std::pair<const char*, std::size_t> rows[] = {
        {"ok\n", 0},     {"a\nok\n", 2},   {"error: b\n", 0},  {"a\n\nerror: ok\n", 3}, {"", NONE},
        {"ok", NONE},    {"\n", NONE},     {"\n\n", NONE},     {"a\n", NONE},           {"ok\na\n", NONE},
        {"ok \n", NONE}, {"a ok\n", NONE}, {"error:\n", NONE}, {"ok\nerr", NONE}};
    for (const auto& [reply, begin] : rows) {
        EXPECT_EQ(simulatorVerdict(reply), begin) << reply;
    }
}

TEST(ReplaceFile, WhatFailsLeavesTheOldFileAndNoOther) {
    const testsupport::Folder_t folder;
    const std::string path = folder.write("f", "old");
    for (int call = 0; call < 4; ++call) {
        calls::write.failWith(call == 0 ? EIO : 0);
        calls::fchmod.failWith(call == 1 ? EIO : 0);
        calls::close.failWith(call == 2 ? EIO : 0);
        calls::rename.failWith(call == 3 ? EIO : 0);
        EXPECT_EQ(replaceFile(path, "new"), "Input/output error") << call;
        EXPECT_EQ(folder.read("f"), "old");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    }
}

TEST(LogWriter, AnInterruptedWriteIsDoneAgain) {
    LogWriter_t log;
    const Pair_t pair;
    log.open(pair.ends[0]);
    calls::send.failWith(EINTR);
    log.write("line");
    EXPECT_FALSE(log.isWaiting());
}

TEST(Completions, OfAProgramWithoutCommandsWhoseOptionHasTwoNames) {
    std::string key;
    const CliProgram_t program{.name = "tool",
                               .description = "",
                               .options = {{.name = "-k,--key", .description = "", .target = &key, .choices = {"7"}}}};
    EXPECT_TRUE(completionsOf(program, {}).empty());
    EXPECT_EQ(completionsOf(program, {"--key", ""}), std::vector<std::string>{"7"});
    (void)findPlace(program, {"-k7"});
    EXPECT_EQ(key, "7");
}

TEST(StopSignal, IsNotedAndEndsAWaitButAHangUpThatIsIgnoredStaysSoAndForgottenAllAreAsBefore) {
    EXPECT_EQ(stopSignalFd(), -1);
    (void)std::signal(SIGHUP, SIG_IGN);
    (void)std::signal(SIGINT, SIG_IGN);
    stopSignalForget();
    calls::pipe2.failWith(EMFILE);
    stopSignalInstall();
    std::raise(SIGINT);
    EXPECT_FALSE(stopSignalReceived()) << "it could not be noted";
    stopSignalInstall();
    stopSignalInstall();
    std::raise(SIGHUP);
    EXPECT_FALSE(stopSignalReceived());
    std::raise(SIGINT);
    EXPECT_TRUE(stopSignalReceived());
    char byte = 1;
    EXPECT_EQ(read(stopSignalFd(), &byte, 1), 1);
    stopSignalForget();
    EXPECT_EQ(stopSignalFd(), -1);
    EXPECT_FALSE(stopSignalReceived());
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_IGN);
    EXPECT_EXIT(std::raise(SIGTERM), testing::KilledBySignal(SIGTERM), "");
}

TEST(StopSignal, ATerminalThatIsGoneAsksForAStopAndIsWatchedNoMore) {
    const testsupport::Stream_t gone(open("/dev/null", O_RDONLY | O_CLOEXEC));
    interruptWatchKeys(gone.fd());
    EXPECT_EXIT(_exit(interruptRequested() && interruptKeyFd() == -1 ? 0 : 1), testing::ExitedWithCode(0), "");
    interruptWatchKeys(-1);
}

TEST(Errors, StayOnOneLineWhateverTheyName) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(reportError("tool", 3, "no \"a\nb\033\x7F\"; give c"), 3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "tool: no \"a?b??\"; give c\n");
}

TEST(Json, MembersKeepTheirOrderAndTextsMayHoldAnyByte) {
    Json_t document = Json_t::object({{"z", 1}, {"a", "x\"\xFF"}, {"none", nullptr}, {"truth", true}});
    document.set("list", std::vector<std::string>{"p", "q"});
    document.set("maybe", std::optional<int>());
    document.set("z", -4294967296LL);
    EXPECT_EQ(document.text(-1), "{\"z\":-4294967296,\"a\":\"x\\\"\xEF\xBF\xBD\",\"none\":null,\"truth\":true,"
                                 "\"list\":[\"p\",\"q\"],\"maybe\":null}");
    Json_t list = Json_t::array();
    EXPECT_EQ(list.text(2), "[]");
    list.add(Json_t::object({{"n", 0}}));
    list.add(nullptr);
    EXPECT_EQ(list.text(2), "[\n  {\n    \"n\": 0\n  },\n  null\n]");
    EXPECT_EQ(Json_t().text(2), "null");
    EXPECT_EQ(Json_t::object({{"part", 812.5}, {"whole", 20.0}}).text(-1), R"({"part":812.5,"whole":20.0})");
}

TEST(JsonInput, PartsAreReadByTheirKindsAndOutliveTheDocument) {
    const JsonInput_t part = (*JsonInput_t::parse(R"({"a":["a text that is not short"]})"))["a"].element(0);
    EXPECT_EQ(part.string(), "a text that is not short");
    const auto read = JsonInput_t::parse(R"({"z":[true,-3,2.5,"x"],"a":{"b":null}})");
    ASSERT_TRUE(read && read->isObject());
    EXPECT_EQ(read->names(), (std::vector<std::string>{"z", "a"}));
    EXPECT_EQ(read->text(-1), R"({"z":[true,-3,2.5,"x"],"a":{"b":null}})");
    const std::vector<JsonInput_t> list = (*read)["z"].elements();
    ASSERT_EQ(list.size(), 4U);
    EXPECT_EQ(list[0].flag(), true);
    EXPECT_EQ(list[1].integer(), -3);
    EXPECT_EQ(list[1].number(), -3.0);
    EXPECT_EQ((*read)["z"].element(2).number(), 2.5);
    EXPECT_EQ((*read)["z"].element(3).string(), "x");
}

TEST(JsonInput, WhatIsNotThereOrOfAnotherKindReadsAsNothing) {
    const auto read = JsonInput_t::parse(R"(["a",9223372036854775807,9223372036854775808])");
    ASSERT_TRUE(read && !read->isObject());
    EXPECT_EQ(read->element(1).integer(), 9223372036854775807);
    EXPECT_EQ(read->element(2).integer(), std::nullopt) << "does not fit";
    for (const JsonInput_t& part :
         {read->element(3), (*read)["a"], read->element(0)["a"], read->element(0).element(0)}) {
        EXPECT_EQ(part.text(-1), "null");
        EXPECT_FALSE(part.integer() || part.number() || part.string() || part.flag());
        EXPECT_TRUE(part.elements().empty() && part.names().empty());
    }
    EXPECT_EQ(read->element(0).integer(), std::nullopt);
    EXPECT_TRUE(read->element(0).elements().empty());
}

TEST(JsonInput, OnlyOneWholeDocumentIsRead) {
    for (const char* const text : {"", "{", "}:", "{} {}", "[1,]", "nul", "\"\xFF\"", "\"\\", "1e999"}) {
        EXPECT_FALSE(JsonInput_t::parse(text)) << text;
    }
}

TEST(JsonInput, ObjectsHaveAtMost256MembersEachAndThereMayBeManyOfThem) {
    std::string object = R"({"first":{"inner":1})";
    for (int i = 1; i < 256; ++i) {
        object += ",\"m" + std::to_string(i) + "\":1";
    }
    const auto read = JsonInput_t::parse("[" + object + "}," + object + "}]");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->element(1).names().size(), 256U);
    EXPECT_FALSE(JsonInput_t::parse("[" + object + R"(,"last":1}])"));
    EXPECT_FALSE(JsonInput_t::parse(R"({"a":)" + object + R"(,"last":1},"b":{"c":2}})"));
    EXPECT_FALSE(JsonInput_t::parse(R"({"\\":1,)" + object.substr(1) + "}"));
    EXPECT_TRUE(JsonInput_t::parse(R"({"\\":"\")" + std::string(300, ':') + R"("})")) << "a text is no member";
}

TEST(JsonInput, ManyObjectsTakeNoLongerEach) {
    std::string objects;
    for (int i = 0; i < 100000; ++i) {
        objects += ",{}";
    }
    const std::clock_t start = std::clock();
    EXPECT_TRUE(JsonInput_t::parse(R"({"body":[{})" + objects + "]}"));
    EXPECT_LT(std::clock() - start, 10 * CLOCKS_PER_SEC);
}

TEST(ChassisList, EveryTypeHasItsNames) {
    const struct {
        unsigned type;
        const char *name, *blockName, *title;
    } rows[] = {{1, "none", "None", "none (1)"},
                {2, "xyratex", "Xyratex2U12ATX", "Xyratex 2U12 (2)"},
                {3, "quadra", "Quadra", "VSC055 Quadra (3)"},
                {4, "chenbro", "Chenbro3U16ATX", "Chenbro 3U16 (4)"},
                {5, "vsc055", "Vsc055", "VSC055 backplane (5)"},
                {6, "w83782d", "W83782d", "W83782D backplane (6)"}};
    for (const auto& row : rows) {
        const ChassisFacts_t* const facts = findChassis(row.type);
        ASSERT_NE(facts, nullptr);
        EXPECT_STREQ(facts->name, row.name);
        EXPECT_EQ(findChassis(std::string_view(row.name)), facts);
        EXPECT_EQ(findChassis(std::string_view(row.blockName)), facts);
        EXPECT_EQ(chassisTitle(static_cast<U8_t>(row.type)), row.title);
    }
    EXPECT_EQ(findChassis(0U), nullptr);
    EXPECT_EQ(findChassis(7U), nullptr);
    EXPECT_EQ(findChassis(std::string_view("vsc05")), nullptr);
    EXPECT_EQ(findChassis(std::string_view("")), nullptr);
    EXPECT_EQ(chassisTitle(7), "unknown (7)");
}

TEST(Words, AStableNameHasNoBlanksAndNoCapitals) {
    EXPECT_EQ(stableName(eventName(5)), "drive-fault-led-status");
    EXPECT_EQ(stableName(""), "");
}

TEST(Words, TemperatureBandsNameTheLimitThatWasPassed) {
    const char* const names[] = {"state 0", "back to 35 or below", "over 35", "over 45", "over 55", "state 5"};
    for (U32_t state = 0; state < std::size(names); ++state) {
        EXPECT_EQ(temperatureStateName(state), names[state]);
    }
}

TEST(Words, AnAlarmHasFiveStates) {
    const char* const names[] = {"idle", "fault", "remind", "mute", "critical", "S5", "S6", "S7", "state 8"};
    for (U32_t state = 0; state < std::size(names); ++state) {
        EXPECT_EQ(alarmStateName(state), names[state]);
        EXPECT_EQ(isAlarmState(state), state < 5);
    }
}
