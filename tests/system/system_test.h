/** The real adapter in a world that the test owns: parameter block, switch, simulated enclosure. */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "program.h"

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

/** Long enough for an emulated program on a busy machine; only a failing test waits that long. */
inline constexpr testsupport::Milliseconds PATIENCE(60000);

std::string hex(const Bytes& bytes, std::size_t from = 0, std::size_t count = SIZE_MAX);
/** Bytes of a hex text; blanks are skipped. */
Bytes unhex(const std::string& text);

/** A message to the adapter from `requestor`, with `payload` behind the header; type and handle as given. */
Bytes messageToAdapter(int protocol, unsigned type, int requestor, const Bytes& payload = {}, unsigned handle = 0);

/** A name for a message of the adapter: "init", "led-on", "led-off", "email", "shutdown", "event ID/TYPE", "reply". */
std::string nameOf(const Bytes& message);

/** The message switch's end, held by the test: what the adapter sends arrives here and nowhere else. */
class FakeSwitch {
public:
    explicit FakeSwitch(const std::string& path);
    ~FakeSwitch();
    FakeSwitch(const FakeSwitch&) = delete;
    FakeSwitch& operator=(const FakeSwitch&) = delete;

    /** Waits for the adapter's connection. */
    bool accept();
    bool send(const Bytes& bytes) const;
    /** The same, but false when it could not be taken within a second; nothing of it has gone then. */
    bool sendNow(const Bytes& bytes) const;
    /** The next whole message; nothing when the adapter closes or none comes in time. */
    std::optional<Bytes> receive(testsupport::Milliseconds timeout = PATIENCE) const;
    void closeConnection();

private:
    bool read(std::uint8_t* to, std::size_t count, testsupport::Milliseconds timeout) const;

    int listener_;
    int connection_ = -1;
};

class SystemTest : public testing::Test {
protected:
    SystemTest();
    ~SystemTest() override;

    /** Makes the parameter block: chassis type as a number, run-control sequence complete, tracing on. */
    void makeBlock(int chassisType, bool tracing = true);
    /** Changes bytes of the block behind the back of the tool that refuses such values. */
    void patchBlock(std::size_t offset, const void* bytes, std::size_t size) const;
    void startSwitch();
    /** Starts the simulated enclosure with time standing still. */
    void startSimulator(const std::string& chassis);
    /** Starts the adapter; without a simulator it finds no I2C device. */
    void startAdapter(const std::vector<std::string>& arguments);
    void startAdapter() { startAdapter({std::to_string(key)}); }

    /** Runs a program that opens the simulator's bus by its usual name. */
    testsupport::RunResult runOnBus(const std::string& program, const std::vector<std::string>& arguments) const;

    /** Gives the simulator a command; its reply without the last line. */
    std::string simulator(const std::string& command) const;
    nlohmann::json world() const { return nlohmann::json::parse(simulator("show --json")); }

    /** Sends a request and waits for its reply; what came before the reply is added to `before`. */
    Bytes ask(const Bytes& request, Lines* before = nullptr) const;
    /** The page behind the status byte of a reply to RECEIVE DIAGNOSTIC RESULTS, as hex. */
    std::string page(int code, Lines* before = nullptr) const;
    /** Makes the adapter poll its hardware, at once and not when its time has come; what it sent meanwhile. */
    Lines poll() const;

    /** Records of the platform's event log. */
    std::vector<nlohmann::json> eventLog() const;
    std::string traceLog() const;
    int transfers() const;

    int key;
    std::string directory;
    std::unique_ptr<FakeSwitch> messageSwitch;
    std::unique_ptr<testsupport::Process> encsim;
    std::unique_ptr<testsupport::Process> esa;
};
