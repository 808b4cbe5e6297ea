/** The chassis table: nobody else asks for the type. */
#include "policy/chassis.h"

#include <regex.h>

#include <filesystem>
#include <fstream>

#include "chassis_list.h"
#include "esa_fixture.h"

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

} // namespace

TEST_F(ChassisTable, FanBeyondTheEightThatHaveAPlaceIsNotRecorded) {
    esaControl.enclosureType = VORAN_E_CHASSIS_CHENBRO_3U16ATX;
    const std::string before = hex(&esaControl, sizeof(esaControl));
    esaControlFan(8, true);
    esaControlFan(255, true);
    EXPECT_EQ(hex(&esaControl, sizeof(esaControl)), before);
}

TEST_F(ChassisTable, RowsAreWhatTheToolsTellOfTheChassis) {
    for (int address = 0; address < 0x80; ++address) {
        for (int reg = 0; reg < 0x100; ++reg) {
            fakeBus.set(address, reg, 150);
        }
    }
    for (const ChassisFacts_t& facts : CHASSIS_LIST) {
        SCOPED_TRACE(facts.name);
        startChassis(facts.type);
        const Chassis_t& chassis = esaFindChassis(facts.type);
        EXPECT_EQ(chassis.fansPerOutput, facts.fansPerBank);
        U16_t rpm = 0;
        (void)chassis.fanReadSpeed(0, &rpm);
        EXPECT_EQ(rpm, facts.tachometerRate / 150);
        EXPECT_EQ(facts.leastRpm, facts.tachometerRate / 254 / 10 * 10);
        if (facts.type == VORAN_E_CHASSIS_NONE) {
            continue;
        }
        EXPECT_EQ(chassis.fanPolicy == &esaFourStepPolicy, facts.hasFourSteps);
        (void)fakeBus.takeTransfers();
        (void)chassis.setDriveFaultLed(3);
        EXPECT_EQ(!fakeBus.takeTransfers().empty(), facts.hasDriveLeds);
    }
}

TEST_F(ChassisTable, DecisionsByTypeAreRecognisedInSourceText) {
    for (const char* line : {"switch (esaControl.enclosureType) {",
                             "    case VORAN_E_CHASSIS_VORAN_VSC055:", "if (esaControl.enclosureType == 5) {",
                             "if (esaControl.enclosureType != 5) {", "if (esaControl.enclosureType <= 6) {",
                             "if (VORAN_E_CHASSIS_NONE == type) {", "return type == VORAN_E_CHASSIS_CHENBRO_3U16ATX;",
                             "return type != VORAN_E_CHASSIS_CHENBRO_3U16ATX;", "if (3 == esaControl.enclosureType) {",
                             "if (3 != esaControl.enclosureType) {", "if (2 < esaControl.enclosureType) {",
                             "if (2 > oMpuParams->chassisType) {", "if (oMpuParams->chassisType > 2) {",
                             "switch (esaChassis().type) {", "if (chassis->type == 4) {"}) {
        EXPECT_TRUE(decidesByType(line)) << line;
    }
    for (const char* line :
         {"data.enclosureType = esaControl.enclosureType;", "esaControl.enclosureType = VORAN_E_CHASSIS_NONE;",
          "ESA_TRACE(\"esaControl.enclosureType = [%s]\", chassis.typeName);",
          "// enclosureType == 5 has no such input", " * enclosureType == 5 has no such input",
          "switch (mmsg.mmch.message_type) {", "const Chassis_t* chassis = esaFindChassis(oMpuParams->chassisType);",
          ".type = VORAN_E_CHASSIS_CHENBRO_3U16ATX,"}) {
        EXPECT_FALSE(decidesByType(line)) << line;
    }
}

/** The one exception tells an enclosure that has no type from one whose type is unknown: there is no row for either. */
TEST_F(ChassisTable, NothingOutsideItDecidesByTheTypeOfTheEnclosure) {
    Lines_t decisions;
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(ESA_SOURCE_DIR)) {
        const std::filesystem::path& file = entry.path();
        if ((file.extension() != ".cpp" && file.extension() != ".h") ||
            file.filename().string().starts_with("chassis")) { // the table's own
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
    EXPECT_EQ(decisions, (Lines_t{"none.cpp: const bool none = esaControl.enclosureType == VORAN_E_CHASSIS_NONE;"}));
}
