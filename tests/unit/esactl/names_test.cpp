#include <gtest/gtest.h>

#include "errors.h"
#include "names.h"

namespace {

std::string refusalOf(const std::string& prefix, const std::string& text, unsigned count) {
    try {
        (void)parseElement(prefix, text, count);
    } catch (const ToolError_t& error) {
        EXPECT_EQ(error.exitStatus(), 1);
        return error.what();
    }
    return "";
}

TEST(Names, OneNamePerElement) {
    EXPECT_EQ(slotName(3), "slot03");
    EXPECT_EQ(slotName(15), "slot15");
    EXPECT_EQ(supplyName(0), "psu0");
    EXPECT_EQ(fanName(7), "fan7");
    EXPECT_EQ(sensorName(2), "temp2");
    EXPECT_EQ(alarmName(0), "alarm0");
}

TEST(Names, ANumberOrANameIsUnderstood) {
    EXPECT_EQ(parseElement("slot", "3", 16), 3U);
    EXPECT_EQ(parseElement("slot", "slot3", 16), 3U);
    EXPECT_EQ(parseElement("slot", "slot03", 16), 3U);
    EXPECT_EQ(parseElement("slot", "0", 1), 0U);
    EXPECT_EQ(parseElement("fan", "fan7", 8), 7U);
}

TEST(Names, ARefusalSaysWhatThereIs) {
    EXPECT_EQ(refusalOf("slot", "16", 16), "there is no slot16; this enclosure has slot00 to slot15");
    EXPECT_EQ(refusalOf("slot", "-1", 16), "'-1' names no slot; this enclosure has slot00 to slot15");
    EXPECT_EQ(refusalOf("fan", "", 3), "'' names no fan; this enclosure has fan0 to fan2");
    EXPECT_EQ(refusalOf("psu", "fan0", 3), "'fan0' names no psu; this enclosure has psu0 to psu2");
    EXPECT_EQ(refusalOf("psu", "99999999999999999999", 3),
              "'99999999999999999999' names no psu; this enclosure has psu0 to psu2");
    EXPECT_EQ(refusalOf("fan", "0", 0), "this enclosure has no fan at all");
}

} // namespace
