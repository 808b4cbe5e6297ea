/** The real adapter in a world that the test owns: parameter block, switch, simulated enclosure. */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bytes.h"
#include "folder.h"
#include "json_value.h"
#include "program.h"
#include "shared_segment.h"
#include "stream.h"

using testsupport::Bytes_t;
using Lines_t = std::vector<std::string>;
using Slots_t = std::vector<std::size_t>;
using testsupport::PATIENCE;
using testsupport::unhex;

/** Some of a message's bytes as hex. */
std::string hexOf(const Bytes_t& bytes, std::size_t from, std::size_t count = SIZE_MAX);

/** A message to the adapter from `requestor`, with `payload` behind the header; type and handle as given. */
Bytes_t messageToAdapter(unsigned protocol, unsigned type, unsigned requestor, const Bytes_t& payload = {},
                         unsigned handle = 0);

/** The message switch's end, held by the test: what the adapter sends arrives here and nowhere else. */
class FakeSwitch_t {
public:
    explicit FakeSwitch_t(const std::string& path);

    /** Waits for the adapter's connection. */
    bool accept();
    bool send(const Bytes_t& bytes) const { return connection_.send(bytes); }
    /** The same, but false when it could not be taken within a second; nothing of it has gone then. */
    bool sendNow(const Bytes_t& bytes) const;
    /** The next whole message; nothing when the adapter closes or none comes in time. */
    std::optional<Bytes_t> receive(testsupport::Milliseconds_t timeout = PATIENCE) const {
        return connection_.receive(timeout);
    }
    void closeConnection() { connection_.close(); }

private:
    testsupport::Stream_t listener_;
    testsupport::Stream_t connection_;
};

class SystemTest : public testing::Test {
protected:
    SystemTest();
    ~SystemTest() override;

    /** Makes the parameter block: chassis type as a number, run-control sequence complete, tracing on. */
    void makeBlock(int chassisType, bool tracing = true);
    /** Has the block say a type that the tool may refuse. */
    void patchChassisType(int type) const;
    void startSwitch() { messageSwitch = std::make_unique<FakeSwitch_t>(directory + "/esadapter"); }
    /** Starts the simulated enclosure with time standing still. */
    void startSimulator(const std::string& chassis);
    /** Starts the adapter; without a simulator it finds no I2C device. */
    void startAdapter(const std::vector<std::string>& arguments);
    void startAdapter() { startAdapter({std::to_string(key)}); }

    /** Starts it, and takes its notice; its configuration page is remembered. */
    void startManaging();

    /** Runs the fail-safe program, which opens the simulator's bus by its usual name. */
    testsupport::RunResult_t failSafe(const std::vector<std::string>& arguments) const;

    /** Gives the simulator a command; its reply without the last line. */
    std::string simulator(const std::string& command) const;
    testsupport::JsonValue_t world() const { return testsupport::JsonValue_t::parse(simulator("show --json")); }
    std::string alarm() const { return world()["alarm"]["state"].text(); }
    /** Drives whose fault LED is lit. */
    Slots_t litDrives() const;
    void setTemperatures(int celsius) const;

    /** Sends a request and waits for its reply; what came before the reply is added to `before`. */
    Bytes_t ask(const Bytes_t& request, Lines_t* before = nullptr) const;
    /** The page behind the status byte of a reply to RECEIVE DIAGNOSTIC RESULTS, as hex. */
    std::string page(int code, Lines_t* before = nullptr) const;
    /**
     * A control page that asks for the fault LEDs of these slots, says `fan` of the first fan and `alarm` of the alarm,
     * and nothing of the other elements.
     */
    Bytes_t controlPage(unsigned requestor, const Slots_t& leds, const char* fan = "", const char* alarm = "") const;
    /** Makes the adapter poll its hardware, at once and not when its time has come; what it sent meanwhile. */
    Lines_t poll() const;

    /** Records of the platform's event log. */
    std::vector<testsupport::JsonValue_t> eventLog() const;
    std::string traceLog() const { return folder.read("log/esa_01.log"); }
    /** Of these texts, those that the trace log does not hold. */
    Lines_t notInLog(Lines_t texts) const;
    int transfers() const;

    const testsupport::Segment_t segment;
    const int key = segment.key();
    const testsupport::Folder_t folder;
    const std::string directory = folder.path();
    std::string configuration;
    std::unique_ptr<FakeSwitch_t> messageSwitch;
    std::unique_ptr<testsupport::Process_t> encsim;
    std::unique_ptr<testsupport::Process_t> esa;
};
