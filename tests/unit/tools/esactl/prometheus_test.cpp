/** esactl status --format prometheus: the text whole, and files. */
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fake_switch.h"

namespace {

TEST(Prometheus, TheWholeText) {
    Bytes_t whole = smallStatus();
    whole.push_back(0x02); // the alarm is silent
    FakeSwitch_t net(smallConfiguration(), whole);
    std::ofstream(net.directory() + "/adapter") << "chassis=quadra\nversion=9.8.7.6\n";
    const Said_t said = net.esactl("status --format prometheus");
    EXPECT_EQ(said.status, 0);
    EXPECT_EQ(said.out, R"(# HELP esa_up Whether the enclosure services adapter answered.
# TYPE esa_up gauge
esa_up 1
# HELP esa_enclosure_info Identity of the enclosure.
# TYPE esa_enclosure_info gauge
esa_enclosure_info{vendor="ACME",product="Shelf \"2\"",revision="0102"} 1
# HELP esa_enclosure_state State of the enclosure: 1 for the state it is in, 0 for the others.
# TYPE esa_enclosure_state gauge
esa_enclosure_state{state="ok"} 1
esa_enclosure_state{state="warning"} 0
esa_enclosure_state{state="fault"} 0
# HELP esa_enclosure_reached Whether the adapter has an enclosure that answers it.
# TYPE esa_enclosure_reached gauge
esa_enclosure_reached 1
# HELP esa_drive_present Whether the slot holds a drive.
# TYPE esa_drive_present gauge
esa_drive_present{slot="slot00"} 1
esa_drive_present{slot="slot01"} 1
# HELP esa_drive_fault_led_on Whether the slot's fault LED has been asked for.
# TYPE esa_drive_fault_led_on gauge
esa_drive_fault_led_on{slot="slot00"} 0
esa_drive_fault_led_on{slot="slot01"} 1
# HELP esa_power_supply_healthy Whether the power supply is without fault.
# TYPE esa_power_supply_healthy gauge
esa_power_supply_healthy{supply="psu0"} 1
# HELP esa_power_supply_input_failed Whether the supply's input or voltage has failed.
# TYPE esa_power_supply_input_failed gauge
esa_power_supply_input_failed{supply="psu0"} 0
# HELP esa_fan_healthy Whether the fan is without fault.
# TYPE esa_fan_healthy gauge
esa_fan_healthy{fan="fan0"} 1
esa_fan_healthy{fan="fan1"} 1
# HELP esa_fan_speed_rpm Speed of the fan in revolutions per minute.
# TYPE esa_fan_speed_rpm gauge
esa_fan_speed_rpm{fan="fan0"} 3000
esa_fan_speed_rpm{fan="fan1"} 2000
# HELP esa_fan_speed_minimum_rpm Speed under which the fan is in fault.
# TYPE esa_fan_speed_minimum_rpm gauge
esa_fan_speed_minimum_rpm{fan="fan0"} 2000
esa_fan_speed_minimum_rpm{fan="fan1"} 2000
# HELP esa_temperature_celsius Temperature in degrees Celsius.
# TYPE esa_temperature_celsius gauge
esa_temperature_celsius{sensor="temp0"} 35
esa_temperature_celsius{sensor="temp1"} 55
# HELP esa_temperature_limit_celsius Temperature limits in degrees Celsius.
# TYPE esa_temperature_limit_celsius gauge
esa_temperature_limit_celsius{sensor="temp0",limit="low_failure"} 0
esa_temperature_limit_celsius{sensor="temp0",limit="low_warning"} 1
esa_temperature_limit_celsius{sensor="temp0",limit="high_warning"} 55
esa_temperature_limit_celsius{sensor="temp0",limit="high_failure"} 60
esa_temperature_limit_celsius{sensor="temp1",limit="low_failure"} 0
esa_temperature_limit_celsius{sensor="temp1",limit="low_warning"} 1
esa_temperature_limit_celsius{sensor="temp1",limit="high_warning"} 55
esa_temperature_limit_celsius{sensor="temp1",limit="high_failure"} 60
# HELP esa_alarm_muted Whether the audible alarm is silent.
# TYPE esa_alarm_muted gauge
esa_alarm_muted{alarm="alarm0"} 1
# HELP esa_adapter_info Version of the program.
# TYPE esa_adapter_info gauge
esa_adapter_info{version="9.8.7.6"} 1
# HELP esa_esactl_info Version of the program.
# TYPE esa_esactl_info gauge
esa_esactl_info{version="1.3.0.24"} 1
)");
}

TEST(Prometheus, MissingReadingsHaveNoSample) {
    FakeSwitch_t net(backplaneConfiguration(), faultyBackplaneStatus());
    const Said_t said = net.esactl("status --format prometheus");
    EXPECT_EQ(said.status, 24);
    for (const char* sample : {"esa_fan_speed_rpm{fan=\"fan0\"} 1500\n", "esa_fan_healthy{fan=\"fan1\"} 0\n",
                               "esa_enclosure_state{state=\"fault\"} 1\n"}) {
        EXPECT_PRED_FORMAT2(testing::IsSubstring, sample, said.out);
    }
    for (const char* missing :
         {"esa_fan_speed_rpm{fan=\"fan1\"}", "esa_temperature_celsius{sensor=\"temp2\"}", "esa_alarm_muted"}) {
        EXPECT_PRED_FORMAT2(testing::IsNotSubstring, missing, said.out);
    }
}

TEST(Prometheus, WhoCannotBeAskedIsDown) {
    FakeSwitch_t net; // never answers
    const Said_t said = net.esactl("--timeout 0.2 status --format prometheus");
    EXPECT_EQ(said.status, 2);
    EXPECT_EQ(said.out, "# HELP esa_up Whether the enclosure services adapter answered.\n"
                        "# TYPE esa_up gauge\n"
                        "esa_up 0\n");
    EXPECT_EQ(std::count(said.err.begin(), said.err.end(), '\n'), 1);
}

class Output : public testing::Test {
protected:
    Said_t metricsTo(const std::string& path) const {
        return net_.esactl("--timeout 0.2 status --format prometheus --output " + path);
    }

    FakeSwitch_t net_{smallConfiguration(), smallStatus()};
    const std::string folder_ = net_.directory();
};

TEST_F(Output, FileIsReplacedWholeKeepsItsPermissionsAndLeavesNothingBeside) {
    const std::string kept = folder_ + "/kept";
    const std::string path = kept + "/esa.prom";
    ASSERT_EQ(mkdir(kept.c_str(), 0700), 0);
    std::ofstream(path) << "old";
    ASSERT_EQ(chmod(path.c_str(), 0604), 0);
    const Said_t up = metricsTo(path);
    EXPECT_EQ(up.status, 0);
    EXPECT_EQ(up.out, "");
    const std::string printed = metricsTo("-").out;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "esa_up 1\n", printed);
    EXPECT_NE(access("-", F_OK), 0);
    EXPECT_EQ(testsupport::readFile(path), printed);
    net_.script = nullptr;
    EXPECT_EQ(metricsTo(path).status, 2);
    EXPECT_TRUE(testsupport::readFile(path).ends_with("esa_up 0\n"));
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0604});
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(kept), {}), 1);
}

TEST_F(Output, WhateverIsNoRegularFileIsLeftAlone) {
    const std::string link = folder_ + "/link";
    const std::string pipe = folder_ + "/pipe";
    std::ofstream(folder_ + "/target") << "mine";
    std::filesystem::create_symlink("target", link);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {link, pipe, folder_, std::string("/dev/null")}) {
        const Said_t said = net_.esactl("status --output " + path);
        EXPECT_EQ(said.status, 1) << path;
        EXPECT_EQ(said.err, "esactl: cannot write '" + path +
                                "': it is no regular file; give another name, or - for standard output\n");
    }
    EXPECT_EQ(testsupport::readFile(folder_ + "/target"), "mine");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    const Said_t nowhere = metricsTo(folder_ + "/none/esa.prom");
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "cannot write", nowhere.err);
}

} // namespace
