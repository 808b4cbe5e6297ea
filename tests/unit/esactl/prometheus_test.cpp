/** esactl status --format prometheus: the text whole, the format's own rules, and promtool where it is installed. */
#include <array>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex.h>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "fake_switch.h"

namespace {

/** The parts of `line` that the groups of a POSIX extended regular expression match; empty when it does not match. */
std::vector<std::string> matchedParts(const char* expression, const std::string& line) {
    regex_t compiled;
    EXPECT_EQ(regcomp(&compiled, expression, REG_EXTENDED), 0) << expression;
    std::array<regmatch_t, 4> groups;
    std::vector<std::string> parts;
    if (regexec(&compiled, line.c_str(), groups.size(), groups.data(), 0) == 0) {
        for (const regmatch_t& group : groups) {
            const bool matched = group.rm_so >= 0;
            parts.push_back(matched ? line.substr(static_cast<std::size_t>(group.rm_so),
                                                  static_cast<std::size_t>(group.rm_eo - group.rm_so))
                                    : "");
        }
    }
    regfree(&compiled);
    return parts;
}

/** What breaks the text exposition format in `text`; empty when nothing does. */
std::string formatError(const std::string& text) {
    if (text.empty() || text.back() != '\n') {
        return "does not end with a line end";
    }
    std::set<std::string> finished;
    std::set<std::string> samples;
    std::string helped;
    std::string typed;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const auto head = matchedParts("^# (HELP|TYPE) ([a-z_]+) (.+)$", line);
        const auto sample =
            matchedParts("^([a-z_]+)(\\{[a-z_]+=\"([^\"\\]|\\\\.)*\"(,[a-z_]+=\"([^\"\\]|\\\\.)*\")*\\})? "
                         "(-?[0-9]+|NaN)$",
                         line);
        if (!head.empty()) {
            if (head[1] == "HELP") {
                finished.insert(typed);
                helped = head[2];
            } else if (head[2] != helped || head[3] != "gauge") {
                return "TYPE without its HELP, or no gauge: " + line;
            } else {
                typed = helped;
            }
            if (finished.count(helped) != 0) {
                return "metric in two places: " + line;
            }
        } else if (sample.empty()) {
            return "neither comment nor sample: " + line;
        } else if (sample[1] != typed) {
            return "sample outside its metric: " + line;
        } else if (!samples.insert(line.substr(0, line.rfind(' '))).second) {
            return "sample twice: " + line;
        }
    }
    return "";
}

TEST(Prometheus, TheCheckerSeesWhatIsWrong) {
    const std::string head = "# HELP esa_up Text.\n# TYPE esa_up gauge\n";
    EXPECT_EQ(formatError(head + "esa_up 1\n"), "");
    EXPECT_EQ(formatError(head + "esa_up{a=\"x\\\"y\",b=\"\"} -1\n"), "");
    EXPECT_NE(formatError(head + "esa_up 1"), "");
    EXPECT_NE(formatError(head + "esa_up one\n"), "");
    EXPECT_NE(formatError(head + "esa_up{a=\"x\"y\"} 1\n"), "");
    EXPECT_NE(formatError(head + "esa_down 1\n"), "");
    EXPECT_NE(formatError(head + "esa_up 1\nesa_up 1\n"), "");
    EXPECT_NE(formatError("esa_up 1\n"), "");
    EXPECT_NE(formatError(head + "esa_up 1\n# HELP esa_a T.\n# TYPE esa_a gauge\nesa_a 1\n" + head), "");
}

/** As `esactl --version` tells it: a name and a version. */
std::string ownVersion(FakeSwitch_t& net) {
    const std::string text = net.esactl({"--version"}).out;
    const std::size_t begin = text.find(' ') + 1;
    return text.substr(begin, text.find_first_of(" \n", begin) - begin);
}

TEST(Prometheus, TheWholeText) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    std::ofstream(net.directory() + "/adapter") << "chassis=quadra\nversion=9.8.7.6\n";
    const testsupport::RunResult_t result = net.esactl({"status", "--format", "prometheus"});
    EXPECT_EQ(result.ending.exitCode, 0);
    EXPECT_EQ(result.out, R"(# HELP esa_up Whether the enclosure services adapter answered.
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
# HELP esa_adapter_info Version of the program.
# TYPE esa_adapter_info gauge
esa_adapter_info{version="9.8.7.6"} 1
# HELP esa_esactl_info Version of the program.
# TYPE esa_esactl_info gauge
esa_esactl_info{version=")" + ownVersion(net) +
                              R"("} 1
)");
}

TEST(Prometheus, MissingReadingsHaveNoSample) {
    FakeSwitch_t net;
    net.serve(backplaneConfiguration(), faultyBackplaneStatus());
    const testsupport::RunResult_t result = net.esactl({"status", "--format", "prometheus"});
    EXPECT_EQ(result.ending.exitCode, 24);
    EXPECT_THAT(result.out, testing::HasSubstr("esa_fan_speed_rpm{fan=\"fan0\"} 1500\n"));
    EXPECT_THAT(result.out, testing::Not(testing::HasSubstr("esa_fan_speed_rpm{fan=\"fan1\"}")));
    EXPECT_THAT(result.out, testing::HasSubstr("esa_fan_healthy{fan=\"fan1\"} 0\n"));
    EXPECT_THAT(result.out, testing::Not(testing::HasSubstr("esa_temperature_celsius{sensor=\"temp2\"}")));
    EXPECT_THAT(result.out, testing::Not(testing::HasSubstr("esa_alarm_muted")));
    EXPECT_THAT(result.out, testing::HasSubstr("esa_enclosure_state{state=\"fault\"} 1\n"));
}

TEST(Prometheus, KeepsTheFormatsRules) {
    FakeSwitch_t net;
    Bytes_t whole = smallStatus();
    whole.push_back(0x02);
    for (const Bytes_t& status : {smallStatus(), whole}) {
        net.serve(smallConfiguration(), status);
        EXPECT_EQ(formatError(net.esactl({"status", "--format", "prometheus"}).out), "");
    }
    net.serve(backplaneConfiguration(), faultyBackplaneStatus());
    EXPECT_EQ(formatError(net.esactl({"status", "--format", "prometheus"}).out), "");
}

TEST(Prometheus, WhoCannotBeAskedIsDown) {
    FakeSwitch_t net; // never answers
    const testsupport::RunResult_t result = net.esactl({"--timeout", "0.2", "status", "--format", "prometheus"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_EQ(result.out, "# HELP esa_up Whether the enclosure services adapter answered.\n"
                          "# TYPE esa_up gauge\n"
                          "esa_up 0\n");
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
}

std::string fileText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Prometheus, OutputFileIsReplacedWhole) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    const std::string path = net.directory() + "/esa.prom";
    std::ofstream(path) << "old";
    const testsupport::RunResult_t up = net.esactl({"status", "--format", "prometheus", "--output", path});
    EXPECT_EQ(up.ending.exitCode, 0);
    EXPECT_EQ(up.out, "");
    EXPECT_EQ(fileText(path), net.esactl({"status", "--format", "prometheus"}).out);
    net.script = nullptr;
    EXPECT_EQ(net.esactl({"--timeout", "0.2", "status", "--format", "prometheus", "--output", path}).ending.exitCode,
              2);
    EXPECT_THAT(fileText(path), testing::EndsWith("esa_up 0\n"));
}

TEST(Output, WhateverIsNoRegularFileIsLeftAlone) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    const std::string target = net.directory() + "/target";
    const std::string link = net.directory() + "/link";
    const std::string pipe = net.directory() + "/pipe";
    std::ofstream(target) << "mine";
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {link, pipe, net.directory(), std::string("/dev/null")}) {
        const testsupport::RunResult_t result = net.esactl({"status", "--output", path});
        EXPECT_EQ(result.ending.exitCode, 1) << path;
        EXPECT_EQ(result.err, "esactl: cannot write '" + path +
                                  "': it is no regular file; give another name, or - for standard output\n");
    }
    EXPECT_EQ(fileText(target), "mine");
    struct stat status {};
    ASSERT_EQ(lstat(link.c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(stat("/dev/null", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST(Output, DashIsStandardOutput) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    const testsupport::RunResult_t result = net.esactl({"status", "--format", "prometheus", "--output", "-"});
    EXPECT_THAT(result.out, testing::HasSubstr("esa_up 1\n"));
    EXPECT_NE(access("-", F_OK), 0);
}

TEST(Output, ReplacedFileKeepsItsPermissionsAndLeavesNothingBeside) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    const std::string folder = net.directory() + "/kept";
    const std::string path = folder + "/esa.prom";
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    std::ofstream(path) << "old";
    ASSERT_EQ(chmod(path.c_str(), 0604), 0);
    EXPECT_EQ(net.esactl({"status", "--output", path}).ending.exitCode, 0);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0604U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

TEST(Prometheus, OutputFileThatCannotBeWrittenIsSaid) {
    FakeSwitch_t net;
    net.serve(smallConfiguration(), smallStatus());
    const testsupport::RunResult_t result =
        net.esactl({"status", "--format", "prometheus", "--output", net.directory() + "/none/esa.prom"});
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_THAT(result.err, testing::HasSubstr("cannot write"));
}

TEST(Prometheus, PromtoolFindsNothingToSay) {
    if (testsupport::run({"sh", "-c", "command -v promtool"}).ending.exitCode != 0) {
        GTEST_SKIP() << "promtool is not installed (Debian package prometheus)";
    }
    FakeSwitch_t net;
    Bytes_t whole = smallStatus();
    whole.push_back(0x02);
    net.serve(smallConfiguration(), whole);
    testsupport::Process_t promtool({"promtool", "check", "metrics"}, {{}, {}, {}, false});
    ASSERT_TRUE(promtool.writeInput(net.esactl({"status", "--format", "prometheus"}).out));
    promtool.closeInput();
    const auto ending = promtool.wait(std::chrono::seconds(60));
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->exitCode, 0) << promtool.err();
    EXPECT_EQ(promtool.out() + promtool.err(), "");
}

} // namespace
