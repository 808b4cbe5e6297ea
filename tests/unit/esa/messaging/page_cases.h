/** A healthy enclosure of each chassis: what its registers hold and the status page that follows from it. */
#pragma once

#include "messaging_test.h"

struct PageCase_t {
    const char* name;
    int type;
    int length; /**< mmsg_length of the reply */
    std::vector<std::string> typeCounts;
    std::string header;
    std::vector<Lines_t> lists; /**< records of the five lists */
    Lines_t transfers;
};

inline Lines_t times(int count, const Lines_t& lines) {
    Lines_t all;
    for (int i = 0; i < count; ++i) {
        all.insert(all.end(), lines.begin(), lines.end());
    }
    return all;
}

inline std::string hexByte(int value) {
    char two[8];
    std::snprintf(two, sizeof(two), "%02X", static_cast<unsigned>(value) & 0xFFU);
    return two;
}

/** Lines of a text with "NN" replaced by hex numbers, `step` apart. */
inline Lines_t numbered(const std::string& text, int first, int step, int count) {
    Lines_t all;
    for (int i = 0; i < count; ++i) {
        std::string line = text;
        line.replace(line.find("NN"), 2, hexByte(first + step * i));
        all.push_back(line);
    }
    return all;
}

inline Lines_t slots(int count) {
    return numbered("01 NN 00 00", 0, 1, count);
}

const Lines_t GOOD_SUPPLY = {"01 00 00 01"};
const Lines_t RUNNING = {"00 40 2C E0"};       // 3000 RPM: 300 tens, 1 x 256 + 44
const Lines_t RUNNING_TWICE = {"00 80 58 E0"}; // 6000 RPM: 2 x 256 + 88
const Lines_t AT_25_DEG_C = {"00 00 2D 00"};
const Lines_t QUIET = {"00 00 00 00"};
const Lines_t MUTED = {"00 00 00 02"};

inline const std::vector<PageCase_t>& pageCases() {
    static const Lines_t xyratexAlarm = {"W 63 05 00", "R 63 05", "W 63 05 01", "R 63 05", "W 63 05 02", "R 63 05"};
    static const Lines_t rails28 = numbered("R 28 NN", 0x20, 1, 7);
    static const Lines_t allRails = join(
        {rails28, numbered("R 2A NN", 0x20, 1, 7), numbered("R 2C NN", 0x20, 1, 7), numbered("R 30 NN", 0x20, 1, 7)});
    static const Lines_t backplaneLm75 = {"R 4C 00", "R 4C 00", "R 4B 00", "R 4B 00", "R 4A 00", "R 4A 00"};
    static const std::vector<PageCase_t> cases = {
        {"Xyratex",
         2,
         192,
         {"0C", "02", "08", "02", "01"},
         "02 00 00 7C 00 00 00 00",
         {slots(12), times(2, GOOD_SUPPLY), times(8, RUNNING_TWICE), times(2, AT_25_DEG_C), MUTED},
         join({times(8, {"R 63 00"}), times(4, {"R 63 03"}), times(2, join({{"R 63 04"}, xyratexAlarm, {"R 63 04"}})),
               numbered("R 63 NN", 0x32, 4, 8), times(2, {"R 4C 00"}), times(2, {"R 4D 00"}), xyratexAlarm})},
        {"Quadra",
         3,
         196,
         {"10", "03", "03", "03", "01"},
         "02 00 00 80 00 00 00 00",
         {slots(16), times(3, GOOD_SUPPLY), times(3, RUNNING), times(3, AT_25_DEG_C), QUIET},
         join({times(3, {"R 41 04"}), numbered("R 41 NN", 0x32, 4, 3), backplaneLm75})},
        {"Chenbro",
         4,
         212,
         {"10", "03", "06", "04", "01"},
         "02 00 00 90 00 00 00 00",
         {slots(16), times(3, GOOD_SUPPLY), times(6, RUNNING), times(4, AT_25_DEG_C), QUIET},
         join({times(3, allRails),
               {"R 28 28", "R 28 29", "R 29 28", "R 2A 28", "R 2B 28", "R 2B 29"},
               {"R 28 27", "R 2A 27", "R 2C 27", "R 30 27"}})},
        {"Vsc055",
         5,
         192,
         {"10", "02", "03", "03", "01"},
         "02 00 00 7C 00 00 00 00",
         {slots(16), times(2, GOOD_SUPPLY), times(3, RUNNING), times(3, AT_25_DEG_C), QUIET},
         join({times(2, {"R 41 04"}), numbered("R 41 NN", 0x32, 4, 3), backplaneLm75})},
        {"W83782d",
         6,
         192,
         {"10", "02", "03", "03", "01"},
         "02 00 00 7C 00 00 00 00",
         {slots(16), times(2, GOOD_SUPPLY), times(3, RUNNING), join({AT_25_DEG_C, times(2, {"00 00 00 00"})}), QUIET},
         join({times(2, rails28), {"R 28 28", "R 28 29", "R 28 2A"}, {"R 28 27"}})},
    };
    return cases;
}

class PagesTest : public MessagingTest {
protected:
    /** A healthy enclosure; 3000 RPM on every fan, 6000 on the Xyratex, 25 degrees Celsius on every sensor. */
    void healthy(int type) {
        const S32_t socket = esaControl.socketFdMSM;
        wireClear(esaControl);
        esaControl.socketFdMSM = socket;
        esaControl.i2cFileFd = 99;
        startChassis(type);
        fakeBus = {};
        fakeBus.set(0x63, 0x04, 0x30);
        fakeBus.set(0x41, 0x04, 0x80);
        for (int fan = 0; fan < 8; ++fan) {
            fakeBus.set(0x63, 0x32 + 4 * fan, 200);
            fakeBus.set(0x41, 0x32 + 4 * fan, type == 3 ? 100 : 200);
        }
        for (int chip : {0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x30}) {
            fakeBus.set(chip, 0x23, 186);
            fakeBus.set(chip, 0x24, 197);
            fakeBus.set(chip, 0x27, 25);
            for (int fan = 0; fan < 3; ++fan) {
                fakeBus.set(chip, 0x28 + fan, 225);
            }
        }
        setLm75(25);
        discard();
    }

    /** All LM75 at whole degrees. */
    static void setLm75(int degC) {
        for (int address : {0x4A, 0x4B, 0x4C, 0x4D}) {
            fakeBus.set(address, 0x00, degC & 0x7F);
        }
    }

    /** The status page from the reply's status byte on, with the last byte of the page, which is never sent. */
    std::string statusPage() {
        const std::string sent = page(2, 1);
        return sent + " " + hex(esaControl.esaWorkSpace + 64 + (sent.size() + 1) / 3, 1);
    }

    static std::string compose(const std::string& header, const std::vector<Lines_t>& lists,
                               const std::string& alarmOverall = "00 00 00 00") {
        std::string text = "00 " + header;
        for (std::size_t list = 0; list < lists.size(); ++list) {
            text += " " + (list == 4 ? alarmOverall : "00 00 00 00");
            for (const std::string& record : lists[list]) {
                text += " " + record;
            }
        }
        return text;
    }
};
