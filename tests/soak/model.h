#pragma once
// What the adapter should do in a VSC055 chassis: every message and every transfer, worked out from the state of the
// simulated enclosure alone. It knows nothing of the adapter's code.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace soak {

struct Chassis {
    const char* name; // of the simulator
    unsigned type;    // in the parameter block
    unsigned supplies;
};

/// The simulated enclosure, as far as its adapter can see it.
struct World {
    std::array<bool, 3> fanStopped{};
    std::array<bool, 3> supplyBad{};
    std::array<int, 3> celsius{30, 30, 30};
    std::array<bool, 3> sensorSilent{};
    bool controllerSilent = false;
    unsigned transfersToFail = 0; // the next ones on the bus, whatever they are
};

class Model {
public:
    explicit Model(const Chassis& chassis) : chassis_(chassis) {}

    World world;

    /// The adapter has taken a message: one pass of its loop, and every eleventh polls.
    void pass();
    void poll();
    /// How many passes have gone by since the last poll.
    void setPhase(unsigned passes) { phase_ = passes; }
    unsigned phase() const { return phase_; }

    // The messages that have an effect, in words of the page.
    void configurationRequest(std::uint32_t handle);
    void statusRequest(std::uint32_t handle);
    void driveLeds(std::uint32_t leds);
    void muteAlarm();
    void controlReply(std::uint32_t handle);
    void refusal(std::uint32_t handle);

    std::vector<std::string> messages; // expected since somebody emptied it
    std::uint64_t reads = 0, writes = 0, polls = 0;

private:
    bool transfer(bool answers);
    bool readSupplies();
    void setAlarm(bool sounding);
    void manageFault(unsigned cause, bool present);
    void sendEvent(unsigned id, unsigned type, const std::string& data);
    void sendSupplyEvent(unsigned type);
    void pollSupplies();
    void pollFans();
    void readTemperatures();
    void averageTemperatures();
    void setFanLoads();
    void reportBands();
    void checkOverheat();

    Chassis chassis_;
    unsigned phase_ = 0;
    unsigned supplyStatus_ = 3;
    unsigned fanFaults_ = 0;
    unsigned causes_ = 0;
    bool alarmMuted_ = true;
    std::uint32_t driveLeds_ = 0;
    std::array<int, 3> temperatures_{};
    std::array<unsigned, 3> bands_{}; // reported: 0 none, 2 over 35, 3 over 45, 4 over 55
    std::array<unsigned, 3> loads_{50, 50, 50};
    int average_ = 0;
};

} // namespace soak
