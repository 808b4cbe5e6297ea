/** The chassis table: which rows there are, what they say, and that nobody else asks for the type. */
#include "policy/chassis.h"

#include <gmock/gmock.h>
#include <regex.h>

#include <filesystem>
#include <fstream>

#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using ChassisTable = EsaTest;

/** Code of a line: without a trailing comment, and nothing of a comment's own lines. */
std::string codeOf(std::string line) {
    line.erase(0, line.find_first_not_of(' '));
    if (line.rfind("/*", 0) == 0 || line.rfind("*", 0) == 0) {
        return "";
    }
    return line.substr(0, line.find("//"));
}

/** Whether a line of code decides something by the type of the enclosure. */
bool decidesByType(const std::string& line) {
    static constexpr const char* PATTERN =
        R"(switch *\(.*(enclosureType|chassisType|->type|\.type\>))"
        R"(|case +VORAN_E_CHASSIS)"
        R"(|(enclosureType|chassisType|->type|VORAN_E_CHASSIS_[A-Z0-9_]+) *([=!]=|[<>]=?) *[^ ])"
        R"(|([=!]=|<=?|[^-]>=?) *([A-Za-z0-9_]+(\.|->))*(enclosureType|chassisType)\>)"
        R"(|[=!]= *VORAN_E_CHASSIS)";
    static const regex_t decision = [] {
        regex_t compiled;
        if (regcomp(&compiled, PATTERN, REG_EXTENDED | REG_NOSUB) != 0) {
            std::abort();
        }
        return compiled;
    }();
    return regexec(&decision, codeOf(line).c_str(), 0, nullptr, 0) == 0;
}

bool isTableFile(const std::filesystem::path& file) {
    return file.filename().string().rfind("chassis", 0) == 0;
}

} // namespace

TEST_F(ChassisTable, HasOneRowForEachOfTheFiveFamilies) {
    std::vector<int> types;
    for (const Chassis_t* row : chassisTable) {
        types.push_back(row->type);
    }
    EXPECT_THAT(types, ElementsAre(2, 3, 4, 5, 6));
    for (int type = 0; type < 256; ++type) {
        const Chassis_t& row = esaFindChassis(static_cast<VORAN_E_CHASSIS_t>(type));
        ASSERT_EQ(&row != &noChassis, type >= 2 && type <= 6) << type;
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        EXPECT_EQ(&esaChassis(), &row);
        EXPECT_EQ(row.type, &row == &noChassis ? 1 : type);
    }
}

TEST_F(ChassisTable, RowsGiveNamesTextsAddressesAndCounts) {
    struct {
        int type;
        const char* name;
        const char* done;
        const char* failed;
        const char* addresses; // VSC055, LM75, W83782D
        const char* dimensions;
        const char* fans; // tachometer divisor, speed configuration, fans that the policy drives
    } const rows[] = {
        {2, "VORAN_E_CHASSIS_XYRATEX_2U12ATX", "Finish initializing for the Xyratex Enclosure.",
         "Initializing for the Xyratex Enclosure fails.", "63 00 00 00 00", "05 0C 02 08 02 01", "01 80 02"},
        {3, "VORAN_E_CHASSIS_TELMA_QUADRA", "Finish initializing for the Vsc055 based Enclosure.",
         "Initializing for the Vsc055 based Enclosure fails.", "41 4C 4B 4A 00", "05 10 03 03 03 01", "04 82 00"},
        {4, "VORAN_E_CHASSIS_CHENBRO_3U16ATX", "Finish initializing for the Chenbro Enclosure.",
         "Initializing for the Chenbro Enclosure fails.", "00 00 00 00 00", "05 10 03 06 04 01", "00 00 00"},
        {5, "VORAN_E_CHASSIS_VORAN_VSC055", "Finish initializing for the Vsc055 based Enclosure.",
         "Initializing for the Vsc055 based Enclosure fails.", "41 4C 4B 4A 00", "05 10 02 03 03 01", "02 81 00"},
        {6, "VORAN_E_CHASSIS_VORAN_W83782D", "Finish initializing for the W83782d based Enclosure.",
         "Initializing for the W83782d based Enclosure fails.", "00 00 00 00 28", "05 10 02 03 03 01", "00 00 00"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        const Chassis_t& chassis = esaFindChassis(static_cast<VORAN_E_CHASSIS_t>(row.type));
        EXPECT_STREQ(chassis.typeName, row.name);
        EXPECT_STREQ(chassis.initDoneText, row.done);
        EXPECT_STREQ(chassis.initFailedText, row.failed);
        EXPECT_EQ(hex(Bytes_t{chassis.vsc055Address, chassis.lm75Address[0], chassis.lm75Address[1],
                              chassis.lm75Address[2], chassis.w83782dAddress}),
                  row.addresses);
        const ChassisDimensions_t& counts = chassis.dimensions;
        EXPECT_EQ(hex(Bytes_t{counts.elementTypes, counts.devices, counts.powerSupplies, counts.coolings,
                              counts.temperatureSensors, counts.audibleAlarms}),
                  row.dimensions);
        EXPECT_EQ(hex(Bytes_t{chassis.tachometerDivisor, chassis.fanSpeedConfiguration, chassis.policyFanCount}),
                  row.fans);
    }
}

TEST_F(ChassisTable, RowsDifferInWhatTheirEnclosureLacks) {
    struct {
        int type;
        bool faultAlarm;    // the composite fault moves the alarm
        bool silenceSupply; // muting silences the supplies' own alarm
        bool driveLeds;
        bool drivePresence;
        bool coolingMarks; // the status page marks fans
        U32_t critical;    // alarm state of a critical condition
    } const rows[] = {
        {2, false, false, true, true, true, 4},   {3, true, true, true, false, false, 1},
        {4, true, false, false, false, false, 1}, {5, true, true, true, false, false, 1},
        {6, true, false, false, false, false, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        const Chassis_t& chassis = esaFindChassis(static_cast<VORAN_E_CHASSIS_t>(row.type));
        EXPECT_EQ(chassis.faultMovesAlarm, row.faultAlarm);
        EXPECT_EQ(chassis.silencePowerSupplyAlarm != noChassis.silencePowerSupplyAlarm, row.silenceSupply);
        EXPECT_EQ(chassis.setDriveFaultLed != noChassis.setDriveFaultLed, row.driveLeds);
        EXPECT_EQ(chassis.clearDriveFaultLed != noChassis.clearDriveFaultLed, row.driveLeds);
        EXPECT_EQ(chassis.isDrivePresent != noChassis.isDrivePresent, row.drivePresence);
        EXPECT_EQ(chassis.pageMarksFans, row.coolingMarks);
        EXPECT_EQ(chassis.criticalAlarmState, row.critical);
    }
}

TEST_F(ChassisTable, FanSwitchIsRecordedForTheEightFansThatHaveAPlace) {
    esaControl.enclosureType = VORAN_E_CHASSIS_CHENBRO_3U16ATX;
    for (U8_t fan = 0; fan < 8; ++fan) {
        esaControlFan(fan, true);
        EXPECT_EQ(esaControl.fanPwmLoad[fan], 100);
        EXPECT_EQ(esaControl.coolingElementOnOff[fan], 2);
        esaControlFan(fan, false);
        EXPECT_EQ(esaControl.fanPwmLoad[fan], 0);
        EXPECT_EQ(esaControl.coolingElementOnOff[fan], 1);
    }
    const std::string before = hex(&esaControl, sizeof(esaControl));
    esaControlFan(8, true);
    esaControlFan(255, true);
    EXPECT_EQ(hex(&esaControl, sizeof(esaControl)), before);
}

TEST_F(ChassisTable, DecisionsByTypeAreRecognisedInSourceText) {
    for (const char* line : {
             "switch (esaControl.enclosureType) {",
             "    case VORAN_E_CHASSIS_VORAN_VSC055:",
             "if (esaControl.enclosureType == 5) {",
             "if (esaControl.enclosureType != VORAN_E_CHASSIS_NONE) {",
             "if (VORAN_E_CHASSIS_NONE == type) {",
             "return type == VORAN_E_CHASSIS_CHENBRO_3U16ATX;",
             "if (3 == esaControl.enclosureType) {",
             "if (2 < esaControl.enclosureType) {",
             "if (2 > oMpuParams->chassisType) {",
             "if (esaControl.enclosureType <= 6) {",
             "if (oMpuParams->chassisType > 2) {",
             "switch (esaChassis().type) {",
             "if (chassis->type == 4) {",
         }) {
        EXPECT_TRUE(decidesByType(line)) << line;
    }
    for (const char* line : {
             "data.enclosureType = esaControl.enclosureType;",
             "esaControl.enclosureType = VORAN_E_CHASSIS_NONE;",
             "TRACE_INFO(\"esaControl.enclosureType = [%s]\", chassis->typeName);",
             "// enclosureType == 5 has no such input",
             " * enclosureType == 5 has no such input",
             "switch (mmsg.mmch.message_type) {",
             "const Chassis_t* chassis = esaFindChassis(oMpuParams->chassisType);",
             ".type = VORAN_E_CHASSIS_CHENBRO_3U16ATX,",
         }) {
        EXPECT_FALSE(decidesByType(line)) << line;
    }
}

/** The one exception tells an enclosure that has no type from one whose type is unknown: there is no row for either. */
TEST_F(ChassisTable, NothingOutsideItDecidesByTheTypeOfTheEnclosure) {
    Lines_t decisions;
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(ESA_SOURCE_DIR)) {
        const std::filesystem::path& file = entry.path();
        if ((file.extension() != ".cpp" && file.extension() != ".h") || isTableFile(file)) {
            continue;
        }
        ++files;
        std::ifstream source(file);
        for (std::string line; std::getline(source, line);) {
            if (decidesByType(line)) {
                decisions.push_back(file.filename().string() + ": " + codeOf(line));
            }
        }
    }
    EXPECT_GT(files, 20) << "the sources were not found";
    EXPECT_THAT(decisions,
                ElementsAre("none.cpp: const bool none = esaControl.enclosureType == VORAN_E_CHASSIS_NONE;"));
}
