/** The commands: what each changes, what each refuses, and what the two views of the world show. */
#include "commands.h"

#include <gmock/gmock.h>

#include "bridge.h"
#include "hex.h"
#include "json_value.h"

using testing::HasSubstr;
using testing::StartsWith;
using testsupport::JsonValue_t;

namespace {

/** A frozen enclosure under commands. */
struct Rig_t {
    explicit Rig_t(const char* chassis) : enclosure(makeEnclosure(chassis)) { enclosure->setFrozen(true); }

    std::string operator()(const std::string& line) { return commands.execute(line); }
    JsonValue_t world() {
        const std::string reply = commands.execute("show --json");
        return JsonValue_t::parse(reply.substr(0, reply.find('\n')));
    }
    std::string read(unsigned address, unsigned reg) { return readHex(enclosure->bus(), 1, address, reg); }

    std::unique_ptr<Enclosure_t> enclosure;
    Bridge_t bridge{enclosure->bus()};
    Commands_t commands{*enclosure, bridge};
};

TEST(Commands, HeatAndAmbientChangeTheRoom) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("heat 812.5"), "ok\n");
    EXPECT_EQ(rig("ambient -4"), "ok\n");
    EXPECT_EQ(rig.world()["heatWatts"], 812.5);
    EXPECT_EQ(rig.world()["ambientCelsius"], -4.0);
}

TEST(Commands, FanCommandsTakeEffectAtOnceWhileFrozen) {
    Rig_t rig("vsc055");
    const auto fan = [&rig] { return rig.world()["fans"][1]; };
    EXPECT_EQ(rig("fan 1 stall"), "ok\n");
    EXPECT_EQ(fan(), JsonValue_t::parse(R"({"index":1,"state":"stalled","rpm":0,"dutyPercent":100.0})"));
    EXPECT_EQ(rig("fan 1 worn 40"), "ok\n");
    EXPECT_EQ(fan(), JsonValue_t::parse(R"({"index":1,"state":"worn","rpm":3600,"dutyPercent":100.0})"));
    EXPECT_EQ(rig("fan 1 remove"), "ok\n");
    EXPECT_EQ(fan(), JsonValue_t::parse(R"({"index":1,"state":"removed","rpm":0,"dutyPercent":100.0})"));
    EXPECT_EQ(rig("fan 1 ok"), "ok\n");
    EXPECT_EQ(fan(), JsonValue_t::parse(R"({"index":1,"state":"ok","rpm":9000,"dutyPercent":100.0})"));
    EXPECT_EQ(rig("fan 1 rpm 1999"), "ok\n");
    EXPECT_EQ(rig("fan 0 stall"), "ok\n");
    EXPECT_EQ(fan()["rpm"], 1999) << "another fan's command leaves it alone";
}

TEST(Commands, ExactSpeedNeedsFrozenTime) {
    Rig_t rig("vsc055");
    rig("thaw");
    EXPECT_EQ(rig("fan 0 rpm 2000"), "error: a fan's speed follows its duty while time passes; freeze first\n");
    rig("fan 0 stall");
    EXPECT_EQ(rig.world()["fans"][0]["rpm"], 9000) << "inertia";
}

TEST(Commands, SuppliesFailRecoverLeaveAndReturn) {
    Rig_t rig("quadra");
    const auto supply = [&rig] { return rig.world()["supplies"][2]; };
    EXPECT_EQ(rig("psu 2 fail"), "ok\n");
    EXPECT_EQ(supply(), JsonValue_t::parse(R"({"index":2,"state":"failed","alarm":true})"));
    EXPECT_EQ(rig.read(0x41, 0x04), "7f") << "the chip sees it at once";
    EXPECT_EQ(rig("psu 2 ok"), "ok\n");
    EXPECT_EQ(supply(), JsonValue_t::parse(R"({"index":2,"state":"ok","alarm":false})"));
    EXPECT_EQ(rig("psu 2 pull"), "ok\n");
    EXPECT_EQ(supply()["state"], "pulled");
    EXPECT_EQ(rig("psu 2 fail"), "error: supply 2 is pulled; insert it first\n");
    EXPECT_EQ(rig("psu 2 insert"), "ok\n");
    EXPECT_EQ(supply()["state"], "ok");
}

TEST(Commands, DrivesArePulledAndInserted) {
    Rig_t rig("xyratex");
    EXPECT_EQ(rig("drive 3 pull"), "ok\n");
    EXPECT_EQ(rig.world()["drives"][3], JsonValue_t::parse(R"({"index":3,"present":false,"led":false})"));
    EXPECT_EQ(rig.read(0x63, 0x00), "08");
    EXPECT_EQ(rig("drive 3 insert"), "ok\n");
    EXPECT_EQ(rig.read(0x63, 0x00), "00");
}

TEST(Commands, SensorsAreHeldUnpluggedAndFreed) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("sensor 0 set -24.5"), "ok\n");
    EXPECT_EQ(rig.world()["sensors"][0],
              JsonValue_t::parse(R"({"index":0,"address":"0x4c","celsius":-24.5,"state":"set"})"));
    EXPECT_EQ(rig.read(0x4C, 0), "80");
    EXPECT_EQ(rig.read(0x4C, 0), "e7");
    EXPECT_EQ(rig("sensor 0 gone"), "ok\n");
    EXPECT_EQ(rig.read(0x4C, 0), "nack");
    EXPECT_EQ(rig.world()["sensors"][0]["state"], "gone");
    EXPECT_EQ(rig("sensor 0 ok"), "ok\n");
    EXPECT_EQ(rig.world()["sensors"][0]["state"], "ok");
    EXPECT_EQ(rig.read(0x4C, 0), "80");
}

TEST(Commands, SensorInsideAMonitorCannotGoAlone) {
    Rig_t rig("chenbro");
    EXPECT_EQ(rig("sensor 1 gone"), "error: this sensor is inside a monitor chip; use \"chip 0x2a silent\"\n");
    EXPECT_EQ(rig("chip 0x2a silent"), "ok\n");
    EXPECT_EQ(rig.world()["sensors"][1]["state"], "gone");
}

TEST(Commands, TempIsTakenNowAndGivesWayWithTime) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("temp 2 61"), "ok\n");
    EXPECT_EQ(rig.world()["sensors"][2]["celsius"], 61.0);
    rig("thaw");
    rig.enclosure->advance(60);
    EXPECT_LT(rig.world()["sensors"][2]["celsius"].number(), 35.0);
}

TEST(Commands, RailsAreHeldAndFreed) {
    Rig_t rig("chenbro");
    EXPECT_EQ(rig("volt 3 12 10.7"), "ok\n");
    EXPECT_EQ(rig.read(0x30, 0x24), "b0");
    EXPECT_EQ(rig.world()["boards"][3]["volts"]["12"], 10.7);
    EXPECT_EQ(rig("volt 3 -5 -4"), "ok\n");
    EXPECT_EQ(rig.world()["boards"][3]["volts"]["-5"], -4.0);
    EXPECT_EQ(rig("volt 3 12 ok"), "ok\n");
    EXPECT_EQ(rig.read(0x30, 0x24), "c5");
    EXPECT_EQ(rig("volt 0 9 9"),
              "error: \"9\" must be \"vcore\", \"vinr0\", \"3.3\", \"5\", \"12\", \"-12\" or \"-5\"\n");
}

TEST(Commands, ChipGoesSilentAndComesBack) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("chip 0x41 silent"), "ok\n");
    EXPECT_EQ(rig.read(0x41, 0x10), "nack");
    EXPECT_EQ(rig.world()["bus"]["silent"], JsonValue_t::parse(R"(["0x41"])"));
    EXPECT_EQ(rig("chip 65 ok"), "ok\n");
    EXPECT_EQ(rig.read(0x41, 0x10), "ff");
    EXPECT_EQ(rig("chip 0x42 silent"), "error: no chip at 0x42; this chassis has 0x41 0x4a 0x4b 0x4c\n");
}

TEST(Commands, BusFailsTheOrderedTransfers) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("bus fail 1 skip 1"), "ok\n");
    EXPECT_EQ(rig.world()["bus"]["failNext"], 1);
    EXPECT_EQ(rig.world()["bus"]["failSkip"], 1);
    EXPECT_EQ(rig.read(0x41, 0x10), "ff");
    EXPECT_EQ(rig.read(0x41, 0x10), "nack");
    EXPECT_EQ(rig.read(0x41, 0x10), "ff");
    EXPECT_EQ(rig("bus fail 9"), "ok\n");
    EXPECT_EQ(rig("bus ok"), "ok\n");
    EXPECT_EQ(rig.read(0x41, 0x10), "ff");
}

TEST(Commands, BusFailsAtTheSecondMessage) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("bus fail 1 skip 1 second"), "ok\n");
    const auto transfer = [&rig] {
        BusMessage_t messages[] = {{0x41, false, {0x10}, false}, {0x41, true, {0}, false}};
        (void)rig.enclosure->bus().transfer(messages);
        return std::pair(messages[0].acknowledged, messages[1].acknowledged);
    };
    EXPECT_EQ(transfer(), std::pair(true, true));
    EXPECT_EQ(transfer(), std::pair(true, false));
    EXPECT_EQ(transfer(), std::pair(true, true));
    EXPECT_EQ(rig("bus fail 1 second"), "ok\n");
    EXPECT_EQ(transfer(), std::pair(true, false));
    EXPECT_EQ(rig("bus fail 1"), "ok\n");
    EXPECT_EQ(transfer(), std::pair(false, false));
}

TEST(Commands, LineGoesSilent) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("line silent"), "ok\n");
    EXPECT_TRUE(rig.bridge.silent());
    EXPECT_EQ(rig.world()["bus"]["line"], "silent");
    EXPECT_EQ(rig("line ok"), "ok\n");
    EXPECT_FALSE(rig.bridge.silent());
}

TEST(Commands, AlarmStatesByNameAndNumber) {
    Rig_t rig("xyratex");
    const struct {
        const char* word;
        unsigned number;
        const char* name;
        bool sounding;
    } rows[] = {{"fault", 1, "FAULT", true}, {"REMIND", 2, "REMIND", true}, {"mute", 3, "MUTE", false},
                {"4", 4, "CRITICAL", true},  {"7", 7, "INVALID", false},    {"idle", 0, "IDLE", false}};
    for (const auto& row : rows) {
        EXPECT_EQ(rig(std::string("alarm ") + row.word), "ok\n");
        EXPECT_EQ(rig.world()["alarm"],
                  JsonValue_t::parse(R"({"number":)" + std::to_string(row.number) + R"(,"state":")" + row.name +
                                     R"(","sounding":)" + (row.sounding ? "true}" : "false}")));
    }
}

TEST(Commands, AlarmControllerCanBeLeftToCommands) {
    Rig_t rig("xyratex");
    rig("thaw");
    EXPECT_EQ(rig("alarm auto off"), "ok\n");
    rig("psu 0 pull");
    rig.enclosure->advance(1);
    EXPECT_EQ(rig.world()["alarm"]["state"], "IDLE");
    EXPECT_EQ(rig("alarm auto on"), "ok\n");
    EXPECT_EQ(rig("alarm remind-after 5"), "ok\n");
    rig("alarm mute");
    rig.enclosure->advance(6);
    EXPECT_EQ(rig.world()["alarm"]["state"], "REMIND");
}

TEST(Commands, AlarmOfOtherChassisCannotBeSet) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("alarm idle"),
              "error: this chassis has no alarm controller; its alarm sounds as the adapter tells it\n");
}

TEST(Commands, RegistersAreShownPinnedAndFreed) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("reg 0x41 0x32"), "0x41 0x32 0xff\nok\n");
    EXPECT_EQ(rig("reg 0x41 0x32 0xC8"), "ok\n");
    EXPECT_EQ(rig("reg 0x41 0x32"), "0x41 0x32 0xc8 pinned\nok\n");
    EXPECT_EQ(rig.read(0x41, 0x32), "c8");
    EXPECT_EQ(rig("reg 0x41 0x32 free"), "ok\n");
    EXPECT_EQ(rig.read(0x41, 0x32), "ff");
    EXPECT_EQ(rig("reg 0x4c 0 0xe780"), "ok\n");
    EXPECT_EQ(rig.read(0x4C, 0), "80");
    EXPECT_EQ(rig("reg 0x41 0x08 1"), "error: the VSC055 at 0x41 has no register 0x08\n");
    EXPECT_THAT(rig("reg 0x41 0x32 256"),
                StartsWith("error: value is \"256\"; it must be a whole number from 0 to 255"));
}

TEST(Commands, LookingAtARegisterIsNoTransfer) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig.read(0x4C, 0), "00");
    rig("reg 0x4c 0");
    EXPECT_EQ(rig.read(0x4C, 0), "1e") << "the pair goes on";
    EXPECT_EQ(rig.world()["transfers"]["total"], 2);
}

TEST(Commands, FreezeThawAndSpeed) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig.world()["frozen"], true);
    EXPECT_EQ(rig("thaw"), "ok\n");
    EXPECT_EQ(rig.world()["frozen"], false);
    EXPECT_EQ(rig("speed 20"), "ok\n");
    EXPECT_EQ(rig.commands.speed(), 20);
    EXPECT_EQ(rig("freeze"), "ok\n");
    EXPECT_EQ(rig.world()["frozen"], true);
}

TEST(Commands, LogShowsTheLatestTransfers) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("log 5"), "ok\n");
    rig.read(0x41, 0x04);
    rig.read(0x62, 0x00);
    EXPECT_EQ(rig("log 1"), "2 read 0x62 0x00 1 [] nack\nok\n");
    EXPECT_EQ(rig("log 5"), "1 read 0x41 0x04 1 [ff] ack\n2 read 0x62 0x00 1 [] nack\nok\n");
    EXPECT_EQ(rig("log on"), "ok\n");
    EXPECT_TRUE(rig.commands.logging());
    EXPECT_EQ(rig("log off"), "ok\n");
    EXPECT_FALSE(rig.commands.logging());
}

TEST(Commands, TransfersAreCounted) {
    Rig_t rig("vsc055");
    rig.read(0x41, 0x04);
    rig.read(0x62, 0x00);
    EXPECT_EQ(rig("transfers"), "total 2 reads 2 writes 0 failed 1\nok\n");
    EXPECT_EQ(rig.world()["transfers"], JsonValue_t::parse(R"({"total":2,"reads":2,"writes":0,"failed":1})"));
    EXPECT_EQ(rig("transfers reset"), "ok\n");
    EXPECT_EQ(rig("transfers"), "total 0 reads 0 writes 0 failed 0\nok\n");
}

TEST(Commands, ShowIsForAPerson) {
    Rig_t rig("xyratex");
    rig("psu 1 fail");
    rig("drive 2 pull");
    const std::string text = rig("show");
    EXPECT_THAT(text, StartsWith("chassis xyratex, frozen, speed 1, 0.0 s since power-on\n"));
    EXPECT_THAT(text, HasSubstr("\nfan 7: ok, 12000 rpm at 100% duty\n"));
    EXPECT_THAT(text, HasSubstr("\nsensor 1 at 0x4d: ok, 30.5 C\n"));
    EXPECT_THAT(text, HasSubstr("\nsupply 1: failed, beeping\n"));
    EXPECT_THAT(text, HasSubstr("\ndrives: oo-ooooooooo"));
    EXPECT_THAT(text, HasSubstr("\nled psuOk: off\n"));
    EXPECT_THAT(text, testing::EndsWith("\nok\n"));
}

TEST(Commands, ShowJsonIsOneLineWithEverything) {
    Rig_t rig("w83782d");
    const std::string reply = rig("show --json");
    EXPECT_EQ(std::count(reply.begin(), reply.end(), '\n'), 2);
    const JsonValue_t world = rig.world();
    EXPECT_EQ(world["version"], 1);
    EXPECT_EQ(world["chassis"], "w83782d");
    EXPECT_EQ(world["speed"], 1.0);
    EXPECT_EQ(world["drives"].size(), 16u);
    EXPECT_EQ(world["drives"][0].dump(), R"({"index":0,"led":null,"present":true})");
    EXPECT_EQ(world["boards"][0]["address"], "0x28");
    EXPECT_EQ(world["boards"][0]["volts"]["3.3"], 3.3);
    EXPECT_EQ(world["leds"].dump(), "{}");
    for (const char* const member : {"seconds", "airCelsius", "supplies", "fans", "sensors", "alarm", "bus"}) {
        EXPECT_TRUE(world.contains(member)) << member;
    }
}

TEST(Commands, HelpListsEveryCommand) {
    Rig_t rig("vsc055");
    const std::string text = rig("help");
    for (const char* const name :
         {"heat",  "ambient", "fan",    "psu",  "drive", "sensor", "temp",      "volt", "chip", "bus", "line",
          "alarm", "reg",     "freeze", "thaw", "speed", "log",    "transfers", "show", "help", "quit"}) {
        EXPECT_THAT("\n" + text, HasSubstr("\n" + std::string(name))) << name;
    }
}

TEST(Commands, QuitEnds) {
    Rig_t rig("vsc055");
    EXPECT_FALSE(rig.commands.quitRequested());
    EXPECT_EQ(rig("quit"), "ok\n");
    EXPECT_TRUE(rig.commands.quitRequested());
}

TEST(Commands, BlanksAroundWordsDoNotMatter) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("  heat \t 100 \r"), "ok\n");
    EXPECT_EQ(rig(""), "ok\n");
    EXPECT_EQ(rig("   "), "ok\n");
    EXPECT_EQ(rig.world()["heatWatts"], 100.0);
}

TEST(Commands, RefusalsSayWhatWouldBeRightAndChangeNothing) {
    const struct {
        const char* line;
        const char* reply;
    } rows[] = {
        {"melt", "error: unknown command \"melt\"; \"help\" lists the commands\n"},
        {"heat", "error: expected \"heat WATTS\"\n"},
        {"heat 1 2", "error: expected \"heat WATTS\"\n"},
        {"heat hot", "error: heat is \"hot\"; it must be a number from 0 to 10000\n"},
        {"heat -1", "error: heat is \"-1\"; it must be a number from 0 to 10000\n"},
        {"heat nan", "error: heat is \"nan\"; it must be a number from 0 to 10000\n"},
        {"heat 10000.1", "error: heat is \"10000.1\"; it must be a number from 0 to 10000\n"},
        {"heat 5x", "error: heat is \"5x\"; it must be a number from 0 to 10000\n"},
        {"fan 3 ok", "error: fan is \"3\"; it must be a whole number from 0 to 2, decimal or with 0x\n"},
        {"fan -1 ok", "error: fan is \"-1\"; it must be a whole number from 0 to 2, decimal or with 0x\n"},
        {"fan 0 worn", "error: \"worn\" takes one value after it\n"},
        {"fan 0 worn 0", "error: percentage of its healthy speed is \"0\"; it must be a number from 1 to 100\n"},
        {"fan 0 ok 5", "error: \"ok\" takes nothing after it\n"},
        {"fan 0 fly", "error: \"fly\" must be \"ok\", \"stall\", \"worn PERCENT\", \"remove\" or \"rpm RPM\"\n"},
        {"psu 2 fail", "error: supply is \"2\"; it must be a whole number from 0 to 1, decimal or with 0x\n"},
        {"psu 0 explode", "error: \"explode\" must be \"fail\", \"ok\", \"pull\" or \"insert\"\n"},
        {"drive 16 pull", "error: drive is \"16\"; it must be a whole number from 0 to 15, decimal or with 0x\n"},
        {"drive 0 eject", "error: \"eject\" must be \"insert\" or \"pull\"\n"},
        {"fan 0 wornn 50", "error: \"wornn\" must be \"ok\", \"stall\", \"worn PERCENT\", \"remove\" or \"rpm RPM\"\n"},
        {"sensor 0 sett 30", "error: \"sett\" must be \"gone\", \"ok\" or \"set C\"\n"},
        {"sensor 0 set", "error: \"set\" takes one value after it\n"},
        {"sensor 0 set 126", "error: temperature is \"126\"; it must be a number from -55 to 125\n"},
        {"volt 0 5 5", "error: this chassis has no voltage monitor\n"},
        {"bus fail", "error: expected \"bus fail N [skip M] [second]\" or \"bus ok\"\n"},
        {"bus fail 1 skip", "error: expected \"bus fail N [skip M] [second]\" or \"bus ok\"\n"},
        {"bus break 1", "error: expected \"bus fail N [skip M] [second]\" or \"bus ok\"\n"},
        {"line dead", "error: \"dead\" must be \"silent\" or \"ok\"\n"},
        {"speed 0", "error: speed is \"0\"; it must be a number from 0.01 to 1000\n"},
        {"show --xml", "error: \"--xml\" must be \"--json\", or nothing\n"},
        {"transfers clear", "error: \"clear\" must be \"reset\", or nothing\n"},
        {"freeze now", "error: expected \"freeze\"\n"},
    };
    Rig_t rig("vsc055");
    const JsonValue_t before = rig.world();
    for (const auto& row : rows) {
        EXPECT_EQ(rig(row.line), row.reply);
    }
    EXPECT_EQ(rig.world(), before);
}

TEST(Commands, RefusalStaysOnePrintableLineWhateverCame) {
    Rig_t rig("vsc055");
    EXPECT_EQ(rig("\x1b[2J\xff"), "error: unknown command \"?[2J?\"; \"help\" lists the commands\n");
    std::string endless = "heat ";
    endless.append(4000, 'x');
    EXPECT_EQ(rig(endless), "error: heat is \"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\"; "
                            "it must be a number from 0 to 10000\n");
}

} // namespace
