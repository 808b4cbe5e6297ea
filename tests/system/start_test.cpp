/** The process from outside: what it says when it cannot start, how it announces itself, what it leaves when it dies.
 */
#include <gtest/gtest.h>

#include <csignal>

#include "system_test.h"

using namespace testsupport;

namespace {

constexpr const char* STARTED = "main(): Start the Enclosure Services Adapter.";

class Arguments : public SystemTest {};

class Process : public SystemTest {
protected:
    /** Starts the adapter of no chassis, and takes what it says of that. */
    void startWithoutChassis() {
        makeBlock(1);
        startSwitch();
        startAdapter();
        ASSERT_TRUE(messageSwitch->receive().has_value());
        ASSERT_TRUE(messageSwitch->receive().has_value());
    }
};

class Announcement : public Process {
protected:
    /** The information event of a chassis that is none, behind its link words. */
    static std::string eventBytes(const std::string& type, const std::string& chassis) {
        std::string text = "0E 01 01 2C 08 00 00 01 21 00 00 00 08 00 00 00";
        for (int i = 24; i < 211; ++i) {
            text += " 00";
        }
        text += " " + type + " 03 01 00 0A " + chassis;
        for (int i = 217; i < 300; ++i) {
            text += i == 216 + 59 ? " 02" : " 00";
        }
        return text;
    }
};

class CriticalError : public Process {
protected:
    /** Text in a fixed field of a record's body. */
    static std::string textAt(const Bytes_t& body, std::size_t at) {
        const std::string text(body.begin() + static_cast<long>(at), body.begin() + static_cast<long>(at + 64));
        return text.substr(0, text.find('\0'));
    }

    /** Checks the four records of the adapter's end, and returns the first one's body. */
    Bytes_t expectRecords() const {
        const std::vector<JsonValue_t> records = eventLog();
        EXPECT_EQ(records.size(), 4U);
        if (records.size() != 4) {
            return Bytes_t(196, 0);
        }
        const int lengths[] = {196, 500, 256, 256};
        for (std::size_t i = 0; i < 4; ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(records[i]["evId"], i + 1);
            EXPECT_EQ(records[i]["evSource"], 33);
            EXPECT_EQ(records[i]["evType"], 3);
            EXPECT_EQ(records[i]["evCategory"], 3);
            EXPECT_EQ(records[i]["evIdVersion"], 1);
            EXPECT_EQ(records[i]["evStructLength"], lengths[i]);
            EXPECT_EQ(records[i]["body"].text().size(), static_cast<std::size_t>(2 * lengths[i]));
        }
        return unhex(records[0]["body"].text());
    }

    Bytes_t snapshot() const { return unhex(eventLog().at(1)["body"].text()); }

    void expectAbort() {
        const std::optional<Ending_t> ending = esa->wait(PATIENCE);
        ASSERT_TRUE(ending.has_value());
        EXPECT_EQ(ending->signal, SIGABRT) << ending->exitCode;
    }
};

} // namespace

TEST_F(Arguments, WithoutAKeyOrABlockItEnds) {
    const std::string few = std::string(STARTED) + "main(): Arguments few than 2.\n";
    const std::string less = std::string(STARTED) + "main(): shared memory key less than 100.\n";
    const struct {
        std::vector<std::string> words;
        int exitCode;
        std::string out;
    } cases[] = {{{}, 1, few},        {{"99"}, 2, less},  {{"0x63"}, 2, less},
                 {{"0143"}, 2, less}, {{"abc"}, 2, less}, {{"-5"}, 2, less}};
    for (const auto& c : cases) {
        const RunResult_t result = run(programCommand("esa", c.words));
        EXPECT_EQ(result.ending.exitCode, c.exitCode) << c.out;
        EXPECT_EQ(result.out, c.out);
        EXPECT_EQ(result.err, "");
    }
    const auto expectGivingUp = [this] {
        const RunResult_t result = run(programCommand("esa", {std::to_string(key)}));
        EXPECT_EQ(result.ending.exitCode, 3);
        EXPECT_TRUE(result.err.ends_with("esa: Unable to share parameters.esa: Giving up.")) << result.err;
        return result.out;
    };
    EXPECT_EQ(expectGivingUp(), STARTED);
    makeBlock(1);
    const std::uint32_t version = 14;
    segment.patch(0, &version, sizeof(version));
    (void)expectGivingUp();
}

TEST_F(Arguments, KeyInHexadecimalAndMoreArgumentsAreTaken) {
    makeBlock(1);
    startSwitch();
    char hexadecimal[16];
    std::snprintf(hexadecimal, sizeof(hexadecimal), "0x%x", static_cast<unsigned>(key));
    startAdapter({hexadecimal, "more"});
    EXPECT_TRUE(messageSwitch->receive().has_value());
    EXPECT_TRUE(esa->running());
    EXPECT_EQ(esa->out(), STARTED);
    EXPECT_EQ(esa->err(), "");
}

TEST_F(Announcement, NoticeIsTheFirstMessageAndMissingDeviceAnEvent) {
    makeBlock(5);
    startSwitch();
    startAdapter();
    const std::optional<Bytes_t> notice = messageSwitch->receive();
    ASSERT_TRUE(notice.has_value());
    std::string expected = "0E 01 00 40 0C 00 00 01 21 00 00 00 00 04 00 00";
    for (int i = 24; i < 64; ++i) {
        expected += " 00";
    }
    EXPECT_EQ(hexOf(*notice, 8), expected);
    EXPECT_EQ(hexOf(*notice, 0, 4), hexOf(*notice, 4, 4)) << "both links name the message itself";
    const std::optional<Bytes_t> event = messageSwitch->receive();
    ASSERT_TRUE(event.has_value());
    EXPECT_EQ(hexOf(*event, 8), eventBytes("01", "01"));
    EXPECT_EQ(page(1).substr(0, 11), "01 00 00 40");
    EXPECT_EQ(notInLog({"Failed to open the i2c device.\n", "chassisType"}), (Lines_t{"chassisType"}));
    EXPECT_TRUE(eventLog().empty());
}

TEST_F(Announcement, ChassisWithoutADriverIsNoneThoughTheDeviceIsThere) {
    startSimulator("vsc055");
    makeBlock(1);
    startSwitch();
    for (const int type : {0, 1, 7, 255}) {
        SCOPED_TRACE(type);
        patchChassisType(type);
        startAdapter();
        ASSERT_TRUE(messageSwitch->receive().has_value());
        const std::optional<Bytes_t> event = messageSwitch->receive();
        ASSERT_TRUE(event.has_value());
        EXPECT_EQ(hexOf(*event, 8), eventBytes("01", "01"));
        EXPECT_EQ(notInLog({"oMpuParams->chassisType = [" + std::to_string(type) + "]\n",
                            "esaControl.enclosureType = [VORAN_E_CHASSIS_NONE]\n"}),
                  Lines_t{});
        EXPECT_EQ(transfers(), 0);
        esa.reset();
        messageSwitch->closeConnection();
    }
}

TEST_F(Announcement, MessagesInPiecesAndOfWrongLengthsDoNotStopIt) {
    startWithoutChassis();
    const Bytes_t good = messageToAdapter(18, 0x1C, 28, unhex("1C 80 01 00 10 00 00 00"));
    for (const std::size_t length : {64U, 0U, 63U, 4064U, 4065U, 65535U}) {
        SCOPED_TRACE(length);
        Bytes_t bad = messageToAdapter(12, 200, 20, Bytes_t(length > 64 ? length - 64 : 0, 0x5A));
        bad[10] = static_cast<std::uint8_t>(length >> 8);
        bad[11] = static_cast<std::uint8_t>(length);
        bad.resize(length == 0 ? 64 : length);
        ASSERT_TRUE(messageSwitch->send(bad));
        for (const std::uint8_t byte : Bytes_t(good.begin(), good.end() - 1)) {
            ASSERT_TRUE(messageSwitch->send({byte}));
        }
        EXPECT_EQ(ask({good.back()}).size(), 132U);
    }
    EXPECT_TRUE(eventLog().empty());
}

TEST_F(CriticalError, SwitchThatIsNotThere) {
    makeBlock(5);
    startAdapter();
    expectAbort();
    const Bytes_t body = expectRecords();
    EXPECT_EQ(textAt(body, 0), "esainit.cpp");
    EXPECT_EQ(textAt(body, 64), "esaInit()");
    EXPECT_EQ(textAt(body, 132), "Linux connect function fails for MSM/ESA socket!");
    EXPECT_GT(body[130] << 8 | body[131], 0) << "the line";

    const Bytes_t info = snapshot();
    EXPECT_EQ(hexOf(info, 4, 2), "00 01");
    const std::string path = directory + "/esadapter";
    EXPECT_EQ(std::string(info.begin() + 6, info.begin() + 6 + static_cast<long>(path.size()) + 1), path + '\0');
    EXPECT_EQ(hexOf(info, 116, 20), "00 00 00 00 01 05 10 03 08 04 01 00 01 02 03 04 06 00 00 00");
    EXPECT_EQ(hexOf(info, 448, 1), "01");
    EXPECT_EQ(hexOf(info, 484, 16), "00 00 00 00 00 00 00 00 00 00 00 0A 00 00 00 00");

    EXPECT_EQ(notInLog({"********************** Critical Error *********************\n", "| File:      esainit.cpp\n",
                        "| Function:  esaInit()\n", "| Message:   Linux connect function fails for MSM/ESA socket!\n",
                        "esaControl.socketAddressMSM.sun_path         = [" + path + "]\n",
                        "esaControl.pollTimeout.sec                   = [10]\n", "connects to MSM"}),
              (Lines_t{"connects to MSM"}));
    EXPECT_TRUE(traceLog().ends_with("Finish the Enclosure Services Adapter internal data dump.\n"));
}

TEST_F(CriticalError, WithTracingOffTheRecordsAreKeptAllTheSame) {
    makeBlock(5, false);
    startAdapter();
    expectAbort();
    EXPECT_EQ(textAt(expectRecords(), 132), "Linux connect function fails for MSM/ESA socket!");
    EXPECT_EQ(traceLog(), "");
}

TEST_F(CriticalError, SwitchThatClosesBeforeAReply) {
    startWithoutChassis();
    esa->kill(SIGSTOP); // both are on the socket before the adapter looks at it
    ASSERT_TRUE(messageSwitch->send(messageToAdapter(18, 0x1C, 28, unhex("1C 80 01 00 10 00 00 00"), 0x1234)));
    messageSwitch->closeConnection();
    esa->kill(SIGCONT);
    expectAbort();
    const Bytes_t body = expectRecords();
    EXPECT_EQ(textAt(body, 132), "Linux send function fails, sendSize = [132] is wrong");
    const Bytes_t received = unhex(eventLog().at(2)["body"].text());
    EXPECT_EQ(hexOf(received, 8, 8), "0E 01 00 48 12 00 00 1C");
    EXPECT_EQ(hexOf(received, 64, 8), "1C 80 01 00 10 00 00 00");
    const Bytes_t sent = unhex(eventLog().at(3)["body"].text());
    EXPECT_EQ(hexOf(sent, 8, 8), "0E 01 00 84 12 00 00 1C");
    EXPECT_EQ(hexOf(sent, 40, 4), "00 00 12 34");
}

TEST_F(CriticalError, SwitchThatClosesIsWaitedForWithoutAnError) {
    startWithoutChassis();
    messageSwitch->closeConnection();
    EXPECT_FALSE(esa->wait(Milliseconds_t(1500)).has_value()) << "a closed connection is no error";
    EXPECT_TRUE(eventLog().empty());
}

TEST_F(CriticalError, SwitchThatStopsReadingIsWaitedForAndLosesNothing) {
    startWithoutChassis();
    // Requests and replies of 132 bytes fill the sockets' buffers both ways: then neither end gets any further.
    const Bytes_t request = messageToAdapter(18, 0x1C, 28, unhex("1C 80 01 00 10 00 00 00"));
    int sent = 0;
    while (sent < 20000 && messageSwitch->sendNow(request)) {
        ++sent;
    }
    ASSERT_LT(sent, 20000) << "the adapter reads on though nobody takes its replies";
    for (int reply = 0; reply < sent; ++reply) {
        ASSERT_TRUE(messageSwitch->receive().has_value()) << reply << " of " << sent;
    }
    EXPECT_TRUE(esa->running());
    EXPECT_TRUE(eventLog().empty());
}
