/** The commands: what each changes, what each refuses, and what the two views of the world show. */
#include "commands.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

#include "bridge.h"
#include "hex.h"
#include "json_value.h"

using testsupport::JsonValue_t;

namespace {

/** A frozen enclosure under commands. */
struct Rig_t {
    explicit Rig_t(const char* chassis) : enclosure(makeEnclosure(chassis)) { enclosure->setFrozen(true); }

    /**
     * Steps, parted by line ends and "|", each with what has to come of it behind "->". A command has its reply, "ok"
     * when none is given, with " / " for the ends of its lines; "? fans 1 rpm" has that part of "show --json", members
     * sorted; "< 41 98" what the bus reads there, in hex.
     */
    void play(std::string script) {
        std::ranges::replace(script, '|', '\n');
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t arrow = std::min(line.find(" -> "), line.size());
            const std::string step = trimmed(line.substr(0, arrow));
            if (!step.empty()) {
                EXPECT_EQ(outcome(step), arrow < line.size() ? trimmed(line.substr(arrow + 4)) : "ok") << step;
            }
        }
    }

    std::string operator()(const std::string& line) { return commands.execute(line); }
    JsonValue_t world() {
        const std::string reply = commands.execute("show --json");
        return JsonValue_t::parse(reply.substr(0, reply.find('\n')));
    }

    std::unique_ptr<Enclosure_t> enclosure;
    Bridge_t bridge{enclosure->bus()};
    Commands_t commands{*enclosure, bridge};

private:
    static std::string trimmed(const std::string& text) {
        const std::size_t first = text.find_first_not_of(' ');
        return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
    }
    std::string outcome(const std::string& step) {
        if (step[0] == '?') {
            return part(step.substr(1));
        }
        if (step[0] == '<') {
            const auto where = unhex(step.substr(1));
            return readHex(enclosure->bus(), 1, where[0], where[1]);
        }
        std::string all;
        std::istringstream lines(commands.execute(step));
        for (std::string line; std::getline(lines, line);) {
            all += (all.empty() ? "" : " / ") + line;
        }
        return all;
    }
    std::string part(const std::string& path) {
        JsonValue_t found = world();
        std::istringstream names(path);
        for (std::string name; names >> name;) {
            found = found.elements().empty() ? found[name] : found[std::stoi(name)];
        }
        return found.dump();
    }
};

TEST(Commands, HeatAndAmbientChangeTheRoomWhateverBlanksAreAroundWords) {
    Rig_t rig("vsc055");
    rig.play("heat 812.5 | ambient -4 | ? heatWatts -> 812.5 | ? ambientCelsius -> -4.0");
    for (const char* const line : {"  heat \t 100 \r", "", "   "}) {
        EXPECT_EQ(rig(line), "ok\n");
    }
    rig.play("? heatWatts -> 100.0");
}

TEST(Commands, FanCommandsTakeEffectAtOnceWhileFrozenAndLeaveOtherFansAlone) {
    Rig_t rig("vsc055");
    rig.play(R"(
        fan 1 stall | ? fans 1 -> {"dutyPercent":100.0,"index":1,"rpm":0,"state":"stalled"}
        fan 1 worn 40 | ? fans 1 -> {"dutyPercent":100.0,"index":1,"rpm":3600,"state":"worn"}
        fan 1 remove | ? fans 1 -> {"dutyPercent":100.0,"index":1,"rpm":0,"state":"removed"}
        fan 1 ok | ? fans 1 -> {"dutyPercent":100.0,"index":1,"rpm":9000,"state":"ok"}
        fan 1 rpm 1999 | fan 0 stall | ? fans 1 rpm -> 1999
        fan 0 ok | thaw
        fan 0 rpm 2000 -> error: a fan's speed follows its duty while time passes; freeze first
        fan 0 stall | ? fans 0 rpm -> 9000
    )"); // it has inertia
}

TEST(Commands, SuppliesFailRecoverLeaveAndReturn) {
    Rig_t("quadra").play(R"(
        psu 2 fail | ? supplies 2 -> {"alarm":true,"index":2,"state":"failed"} | < 41 04 -> 7f
        psu 2 ok | ? supplies 2 -> {"alarm":false,"index":2,"state":"ok"}
        psu 2 pull | ? supplies 2 state -> "pulled"
        psu 2 fail -> error: supply 2 is pulled; insert it first
        psu 2 insert | ? supplies 2 state -> "ok"
    )");
}

TEST(Commands, DrivesArePulledAndInserted) {
    Rig_t("xyratex").play(R"(
        drive 3 pull | ? drives 3 -> {"index":3,"led":false,"present":false} | < 63 00 -> 08
        drive 3 insert | < 63 00 -> 00
    )");
}

TEST(Commands, SensorsAreHeldUnpluggedAndFreed) {
    Rig_t("vsc055").play(R"(
        sensor 0 set -24.5 | ? sensors 0 -> {"address":"0x4c","celsius":-24.5,"index":0,"state":"set"}
        < 4C 00 -> 80 | < 4C 00 -> e7
        sensor 0 gone | < 4C 00 -> nack | ? sensors 0 state -> "gone"
        sensor 0 ok | ? sensors 0 state -> "ok" | < 4C 00 -> 80
    )");
    Rig_t("chenbro").play(R"(
        sensor 1 gone -> error: this sensor is inside a monitor chip; use "chip 0x2a silent"
        chip 0x2a silent | ? sensors 1 state -> "gone"
    )");
}

TEST(Commands, TempIsTakenNowAndGivesWayWithTime) {
    Rig_t rig("vsc055");
    rig.play(R"(
        temp 2 61 | ? sensors 2 celsius -> 61.0
        thaw
    )");
    rig.enclosure->advance(60);
    EXPECT_LT(rig.world()["sensors"][2]["celsius"].number(), 35.0);
}

TEST(Commands, RailsAreHeldAndFreed) {
    Rig_t("chenbro").play(R"(
        volt 3 12 10.7 | < 30 24 -> b0 | ? boards 3 volts 12 -> 10.7
        volt 3 -5 -4 | ? boards 3 volts -5 -> -4.0
        volt 3 12 ok | < 30 24 -> c5
        volt 0 9 9 -> error: "9" must be "vcore", "vinr0", "3.3", "5", "12", "-12" or "-5"
    )");
}

TEST(Commands, ChipGoesSilentAndComesBack) {
    Rig_t("vsc055").play(R"(
        chip 0x41 silent | < 41 10 -> nack | ? bus silent -> ["0x41"]
        chip 65 ok | < 41 10 -> ff
        chip 0x42 silent -> error: no chip at 0x42; this chassis has 0x41 0x4a 0x4b 0x4c
    )");
}

TEST(Commands, BusFailsTheOrderedTransfers) {
    Rig_t("vsc055").play(R"(
        bus fail 2 skip 1 | ? bus failNext -> 2 | ? bus failSkip -> 1 | < 41 10 -> ff | < 41 10 -> nack
        < 41 10 -> nack | < 41 10 -> ff
        bus fail 9 skip 1 | bus fail 1 | < 41 10 -> nack | < 41 10 -> ff
        bus fail 9 | bus ok | < 41 10 -> ff
        bus fail 0 skip 7 | ? bus failSkip -> 0
    )");
}

TEST(Commands, BusFailsAtTheSecondMessage) {
    Rig_t rig("vsc055");
    /** Which of a transfer's two messages are acknowledged. */
    const auto transfer = [&rig](const std::string& order) {
        EXPECT_EQ(rig(order), "ok\n");
        BusMessage_t messages[] = {{0x41, false, {0x10}, false}, {0x41, true, {0}, false}};
        (void)rig.enclosure->bus().transfer(messages);
        return std::pair(messages[0].acknowledged, messages[1].acknowledged);
    };
    EXPECT_EQ(transfer("bus fail 1 skip 1 second"), std::pair(true, true));
    EXPECT_EQ(transfer(""), std::pair(true, false));
    EXPECT_EQ(transfer(""), std::pair(true, true));
    EXPECT_EQ(transfer("bus fail 1 second"), std::pair(true, false));
    EXPECT_EQ(transfer("bus fail 1"), std::pair(false, false));
}

TEST(Commands, LineGoesSilent) {
    Rig_t rig("vsc055");
    rig.play("line silent | ? bus line -> \"silent\"");
    EXPECT_TRUE(rig.bridge.silent());
    EXPECT_EQ(rig("line ok"), "ok\n");
    EXPECT_FALSE(rig.bridge.silent());
}

TEST(Commands, AlarmStatesByNameAndNumber) {
    Rig_t("xyratex").play(R"(
        alarm fault | ? alarm -> {"number":1,"sounding":true,"state":"FAULT"}
        alarm REMIND | ? alarm -> {"number":2,"sounding":true,"state":"REMIND"}
        alarm mute | ? alarm -> {"number":3,"sounding":false,"state":"MUTE"}
        alarm 4 | ? alarm -> {"number":4,"sounding":true,"state":"CRITICAL"}
        alarm 7 | ? alarm -> {"number":7,"sounding":false,"state":"INVALID"}
        alarm idle | ? alarm -> {"number":0,"sounding":false,"state":"IDLE"}
    )");
    Rig_t("vsc055").play(
        "alarm idle -> error: this chassis has no alarm controller; its alarm sounds as the adapter tells it");
}

TEST(Commands, AlarmControllerCanBeLeftToCommands) {
    Rig_t rig("xyratex");
    rig.play("thaw | alarm auto off | psu 0 pull");
    rig.enclosure->advance(1);
    rig.play(R"(
        ? alarm state -> "IDLE"
        alarm auto on | alarm remind-after 5 | alarm mute
    )");
    rig.enclosure->advance(6);
    rig.play("? alarm state -> \"REMIND\"");
}

TEST(Commands, RegistersAreShownPinnedAndFreedWithoutATransfer) {
    Rig_t("vsc055").play(R"(
        reg 0x41 0x32 -> 0x41 0x32 0xff / ok | reg 0x41 0x32 0xC8 | reg 0x41 0x32 -> 0x41 0x32 0xc8 pinned / ok
        < 41 32 -> c8
        reg 0x41 0x32 free | < 41 32 -> ff
        reg 0x4c 0 0xe780 | < 4C 00 -> 80 | < 4C 00 -> e7 | < 4C 00 -> 80
        reg 0x4c 0 free | reg 0x4c 0 -> 0x4c 0x00 0x1e00 / ok | < 4C 00 -> 1e
        transfers -> total 6 reads 6 writes 0 failed 0 / ok
        reg 0x41 0x08 1 -> error: the VSC055 at 0x41 has no register 0x08
        reg 0x41 0x32 256 -> error: value is "256"; it must be a whole number from 0 to 255, decimal or with 0x
    )");
}

TEST(Commands, FreezeThawSpeedAndQuit) {
    Rig_t rig("vsc055");
    rig.play(R"(
        ? frozen -> true
        thaw | ? frozen -> false
        freeze | ? frozen -> true
    )");
    EXPECT_EQ(rig("speed 20"), "ok\n");
    EXPECT_EQ(rig.commands.speed(), 20);
    EXPECT_FALSE(rig.commands.quitRequested());
    EXPECT_EQ(rig("quit"), "ok\n");
    EXPECT_TRUE(rig.commands.quitRequested());
}

TEST(Commands, LogShowsTheLatestTransfersAndTheyAreCounted) {
    Rig_t rig("vsc055");
    rig.play(R"(
        log 5 | < 41 04 -> ff | < 62 00 -> nack
        log 1 -> 2 read 0x62 0x00 1 [] nack / ok
        log 5 -> 1 read 0x41 0x04 1 [ff] ack / 2 read 0x62 0x00 1 [] nack / ok
        transfers -> total 2 reads 2 writes 0 failed 1 / ok
        ? transfers -> {"failed":1,"reads":2,"total":2,"writes":0}
        transfers reset | transfers -> total 0 reads 0 writes 0 failed 0 / ok | log on
    )");
    EXPECT_TRUE(rig.commands.logging());
    EXPECT_EQ(rig("log off"), "ok\n");
    EXPECT_FALSE(rig.commands.logging());
}

TEST(Commands, ShowIsForAPerson) {
    Rig_t rig("xyratex");
    rig.play("psu 1 fail | drive 2 pull");
    const std::string text = rig("show");
    EXPECT_TRUE(text.starts_with("chassis xyratex, frozen, speed 1, 0.0 s since power-on\n")) << text;
    for (const char* const part : {"\nfan 7: ok, 12000 rpm at 100% duty\n", "\nsensor 1 at 0x4d: ok, 30.5 C\n",
                                   "\nsupply 1: failed, beeping\n", "\ndrives: oo-ooooooooo", "\nled psuOk: off\n"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << text;
    }
    EXPECT_TRUE(text.ends_with("\nok\n")) << text;
}

TEST(Commands, ShowJsonIsOneLineWithEverything) {
    Rig_t rig("w83782d");
    const std::string reply = rig("show --json");
    EXPECT_EQ(std::count(reply.begin(), reply.end(), '\n'), 2);
    rig.play(R"(
        ? version -> 1 | ? chassis -> "w83782d" | ? speed -> 1.0
        ? drives 0 -> {"index":0,"led":null,"present":true} | ? boards 0 address -> "0x28"
        ? boards 0 volts 3.3 -> 3.3 | ? leds -> {}
    )");
    EXPECT_EQ(rig.world()["drives"].size(), 16u);
    for (const char* const member : {"seconds", "airCelsius", "supplies", "fans", "sensors", "alarm", "bus"}) {
        EXPECT_TRUE(rig.world().contains(member)) << member;
    }
}

TEST(Commands, HelpListsEveryCommand) {
    Rig_t rig("vsc055");
    const std::string text = "\n" + rig("help");
    for (const std::string name :
         {"heat",  "ambient", "fan",    "psu",  "drive", "sensor", "temp",      "volt", "chip", "bus", "line",
          "alarm", "reg",     "freeze", "thaw", "speed", "log",    "transfers", "show", "help", "quit"}) {
        EXPECT_NE(text.find("\n" + name), std::string::npos) << name;
    }
}

TEST(Commands, RefusalsSayWhatWouldBeRightOnOnePrintableLineAndChangeNothing) {
    Rig_t rig("vsc055");
    const JsonValue_t before = rig.world();
    rig.play(R"(
        melt -> error: unknown command "melt"; "help" lists the commands
        heat -> error: expected "heat WATTS"
        heat 1 2 -> error: expected "heat WATTS"
        heat hot -> error: heat is "hot"; it must be a number from 0 to 10000
        heat -1 -> error: heat is "-1"; it must be a number from 0 to 10000
        heat nan -> error: heat is "nan"; it must be a number from 0 to 10000
        heat 10000.1 -> error: heat is "10000.1"; it must be a number from 0 to 10000
        heat 5x -> error: heat is "5x"; it must be a number from 0 to 10000
        fan 3 ok -> error: fan is "3"; it must be a whole number from 0 to 2, decimal or with 0x
        fan -1 ok -> error: fan is "-1"; it must be a whole number from 0 to 2, decimal or with 0x
        fan 0 worn -> error: "worn" takes one value after it
        fan 0 worn 0 -> error: percentage of its healthy speed is "0"; it must be a number from 1 to 100
        fan 0 ok 5 -> error: "ok" takes nothing after it
        fan 0 fly -> error: "fly" must be "ok", "stall", "worn PERCENT", "remove" or "rpm RPM"
        fan 0 wornn 50 -> error: "wornn" must be "ok", "stall", "worn PERCENT", "remove" or "rpm RPM"
        psu 2 fail -> error: supply is "2"; it must be a whole number from 0 to 1, decimal or with 0x
        psu 0 explode -> error: "explode" must be "fail", "ok", "pull" or "insert"
        drive 16 pull -> error: drive is "16"; it must be a whole number from 0 to 15, decimal or with 0x
        drive 0 eject -> error: "eject" must be "insert" or "pull"
        sensor 0 sett 30 -> error: "sett" must be "gone", "ok" or "set C"
        sensor 0 set -> error: "set" takes one value after it
        sensor 0 set 126 -> error: temperature is "126"; it must be a number from -55 to 125
        volt 0 5 5 -> error: this chassis has no voltage monitor
        bus fail -> error: expected "bus fail N [skip M] [second]" or "bus ok"
        bus fail 1 skip -> error: expected "bus fail N [skip M] [second]" or "bus ok"
        bus break 1 -> error: expected "bus fail N [skip M] [second]" or "bus ok"
        line dead -> error: "dead" must be "silent" or "ok"
        speed 0 -> error: speed is "0"; it must be a number from 0.01 to 1000
        show --xml -> error: "--xml" must be "--json", or nothing
        transfers clear -> error: "clear" must be "reset", or nothing
        freeze now -> error: expected "freeze"
    )");
    const std::pair<std::string, std::string> unprintable[] = {
        {"\x1b[2J\xff", R"(unknown command "?[2J?"; "help" lists the commands)"},
        {"heat " + std::string(4000, 'x'),
         "heat is \"" + std::string(40, 'x') + "\"; it must be a number from 0 to 10000"}};
    for (const auto& [line, reply] : unprintable) {
        EXPECT_EQ(rig(line), "error: " + reply + "\n");
    }
    EXPECT_EQ(rig.world(), before);
}

} // namespace
