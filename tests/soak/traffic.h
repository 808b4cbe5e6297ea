#pragma once
// Random messages to the adapter and random faults of the enclosure, with the model kept in step.

#include "adapter.h"
#include "model.h"
#include "simulator.h"

#include <map>
#include <random>
#include <stdexcept>

namespace soak {

struct Counts {
    std::uint64_t messages = 0;  // to the adapter
    std::uint64_t changes = 0;   // of the enclosure
    std::uint64_t busFaults = 0; // of these: orders to fail transfers
    std::uint64_t stalls = 0;    // times this machine kept the adapter waiting, so that its countdown ran by itself
    std::map<std::string, std::uint64_t> sent;     // messages to the adapter by kind
    std::map<std::string, std::uint64_t> received; // messages of the adapter by kind, each of them expected
};

/// Something that should have been otherwise; what() says all that is known of it.
class Mismatch : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Traffic {
public:
    /// The adapter has been started but has not been accepted yet.
    Traffic(const Chassis& chassis, AdapterSocket& adapter, Simulator& simulator, unsigned seed);

    /// Takes the adapter through its start.
    void begin();

    /// One change of the enclosure, then messages for three polls or more. Everything the adapter did is compared with
    /// the model. Throws Mismatch.
    void round();

    const Counts& counts() const { return counts_; }
    std::uint64_t polls() const { return model_.polls; }

private:
    unsigned upTo(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random_); }

    /// True when transfers on the bus are going to fail.
    bool changeEnclosure();
    void changeFan();
    void changeSupply();
    void changeTemperature();
    void changeSensor();
    void changeController();

    // Each puts one message into the batch.
    void fill(std::size_t length, std::uint32_t opcode, unsigned requestor);
    void put(const char* kind);
    std::uint32_t configurationRequest();
    void startupResponse();
    void statusRequest();
    void controlPage(unsigned requestor, std::uint32_t leds, bool mute);
    void refusedCommand();
    void unanswered();
    void junk();
    void randomMessage();

    /// Sends the batch and a request that is answered after it; what the adapter sent until then.
    std::vector<std::string> send();
    void compareExactly(const std::vector<std::string>& came);
    void catchUp(std::vector<std::string> came);

    AdapterSocket& adapter_;
    Simulator& simulator_;
    unsigned supplies_;
    std::mt19937 random_;
    Model model_;
    Counts counts_;
    std::vector<std::uint8_t> batch_;
    std::vector<std::uint8_t> message_; // the one being made
    std::uint32_t handle_ = 0;
    std::uint32_t leds_ = 0;                       // drive fault LEDs, as they were last asked for
    std::chrono::steady_clock::time_point sentAt_; // the batch before; the adapter cannot have been idle for longer
};

} // namespace soak
