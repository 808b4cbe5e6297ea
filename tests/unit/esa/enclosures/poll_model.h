/**
 * A poll as an outsider predicts it: the elements of a chassis with the transfers that read and drive them, told in
 * literals, and the rules by which transfers that fail become marks, loads, messages and further transfers. The tests
 * of double faults hold the adapter against it, transfer by transfer and poll by poll.
 */
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "basetypes.h"

/** What is read for one element, in order; the first read that fails, or shows a bad value, ends it. */
struct PolledElement {
    char kind; /**< 'V' supply voltages, 'R' supply redundancy, 'F' a fan, 'T' a temperature sensor */
    std::vector<std::string> reads;
    int address; /**< the register that tells good from bad; a sensor's holds its degrees */
    int reg;
    int good;
    int bad;
    std::size_t readsWhenBad;
};

struct PolledChassis {
    int type;
    const char* name;
    std::map<std::pair<int, int>, int> registers; /**< what else has to be set for a healthy enclosure */
    std::vector<PolledElement> elements;          /**< in the order of the poll */
    int supplies;                                 /**< counts that events carry */
    int fans;
    int sensors;
    int powerGood;                                        /**< remembered supply state when all is well */
    unsigned alarm;                                       /**< remembered alarm state when all is well */
    std::vector<std::string> sounding;                    /**< writes that start the alarm; none: it is not ours */
    std::vector<std::string> silencing;                   /**< writes that mute it */
    std::map<int, std::vector<std::string>> loads;        /**< write of each PWM output, by percent */
    int idleLoad;                                         /**< percent that a cool enclosure settles at */
    std::map<std::string, std::vector<int>> temperatures; /**< degrees of the sensors: "cool", "hot", "overheated" */
};

/** What the enclosure shows during a poll. */
struct PolledInputs {
    std::string temperatures = "cool";
    bool suppliesBad = false;
    unsigned stoppedFans = 0; /**< bit i: fan i */
};

class PollModel {
public:
    /** A healthy, cool enclosure whose loads have settled. */
    explicit PollModel(const PolledChassis& chassis);

    /** Goes through one poll whose transfers at the positions `failing` (0: the first) fail. */
    void poll(const PolledInputs& inputs, const std::set<unsigned>& failing = {});

    /** What is remembered from poll to poll, as the test prints the control block. */
    [[nodiscard]] std::string state() const;
    /** The same as one line of text from its parts. */
    static std::string stateText(U32_t power, U32_t faults, U32_t fans, U32_t alarm, int average,
                                 const std::vector<int>& degrees, const std::vector<int>& bands,
                                 const std::vector<int>& loads);

    std::vector<std::string> transfers;
    std::vector<std::string> reports;
    std::vector<int> alarmAnswers; /**< what reads of the Xyratex alarm port have to give, those that fail left out */
    unsigned enclosureAlarm = 0;   /**< state of the Xyratex enclosure's own alarm */
    unsigned alarm;                /**< alarm state that is remembered */

private:
    bool transfer(const std::string& line);
    bool readElement(const PolledElement& element, bool good);
    void manageCause(U32_t cause, bool bad);
    void setAlarm(unsigned state, const std::vector<std::string>& writes);
    void driveLed(U8_t bits, bool on);
    void pollSupply(const PolledElement& element, bool inputGood);
    void endReminder();
    unsigned readAlarmBack();
    void pollFans(unsigned stopped);
    void pollTemperatures(const std::vector<int>& present);
    void driveFans();
    bool takeAverage();
    void load(std::size_t output, int percent);
    void reportTemperatures();
    void checkOverheat();
    void pollAlarm();

    const PolledChassis* chassis;
    bool isXyratex;
    std::set<unsigned> failing;
    U32_t power;
    U32_t faults = 0; // bit 31: the LED is on
    U32_t fanFaults = 0;
    int average;
    std::vector<int> degrees; // 32767: no reading
    std::vector<int> bands;
    std::vector<int> loads;
    U8_t ledPort = 0x2F;        // Xyratex: PSU_OK on
    unsigned selectedAlarm = 2; // Xyratex: bit of the alarm that the port shows
};
