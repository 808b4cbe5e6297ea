/** The message printer, field by field: which bits of a record each line tells, and that it tells no others. */
#include "messaging_test.h"

namespace {

/** A record with one field set and the one line that is printed otherwise then; none for what is not printed. */
struct Row {
    const char* record;
    const char* line;
};

class PrintedField : public MessagingTest {
protected:
    /**
     * An empty message of the type given. Its length says header only: the printer goes by the counts of the control
     * block. They all differ here, so that no list can be stepped over with the count of another unseen.
     */
    void start(U32_t type, bool response, const std::string& payload) {
        esaControl.deviceMaxNumber = 3;
        esaControl.powerSupplyMaxNumber = 2;
        esaControl.coolingMaxNumber = 5;
        esaControl.temperatureSensorMaxNumber = 7;
        esaControl.audibleAlarmMaxNumber = 4;
        std::memset(esaControl.esaInMsg, 0, sizeof(esaControl.esaInMsg));
        (void)build(type, 33, 64, payload);
        esaControl.esaInMsg[17] = response ? 0x40 : 0;
    }

    /** What is printed of the message with these bytes in it. */
    Lines printedWith(std::size_t offset, const char* text) {
        const Bytes record = unhex(text);
        const Bytes before(esaControl.esaInMsg + offset, esaControl.esaInMsg + offset + record.size());
        std::copy(record.begin(), record.end(), esaControl.esaInMsg + offset);
        const std::string given = hex(esaControl.esaInMsg, sizeof(esaControl.esaInMsg));
        const Lines lines = printed(esaControl.esaInMsg);
        EXPECT_EQ(hex(esaControl.esaInMsg, sizeof(esaControl.esaInMsg)), given) << "the message is only read";
        std::copy(before.begin(), before.end(), esaControl.esaInMsg + offset);
        return lines;
    }

    /** Each row's record, laid over the message at `offset`, changes the row's line and no other. */
    void check(std::size_t offset, const std::vector<Row>& rows) {
        const Lines empty = printed(esaControl.esaInMsg);
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.record) + " at " + std::to_string(offset));
            const Lines lines = printedWith(offset, row.record);
            ASSERT_EQ(lines.size(), empty.size());
            Lines changed;
            for (std::size_t i = 0; i < lines.size(); ++i) {
                if (lines[i] != empty[i]) {
                    changed.push_back(lines[i]);
                }
            }
            EXPECT_EQ(changed, row.line == nullptr ? Lines{} : Lines{row.line});
        }
    }
};

TEST_F(PrintedField, HeaderTellsItsTenFields) {
    start(30, false, "");
    check(0, {{"FFFFFFFF FFFFFFFF FFFF", nullptr}}); // links, message type, version
    check(10, {{"A55A", "MMCH mmsg_length                 = [42330]"}});
    check(12, {{"A5", "MMCH protocol                    = [165]"}});
    check(17, {{"BF", "MMCH mmsg_cont                   = [191]"}}); // all but the bit of a response
    check(18, {{"A5", "MMCH dest_ep                     = [165]"}, {"00FF FFFFFFFF FFFFFFFF", nullptr}});
    check(28, {{"A55A1234", "MMCH recipient_ob_bm             = [0xa55a1234]"}, {"00000000 FFFFFFFF", nullptr}});
    check(36, {{"00001234", "MMCH return_code                 = [4660]"},
               {"FFFFFFFE", "MMCH return_code                 = [-2]"}});
    check(40, {{"00001234", "MMCH handle                      = [4660]"},
               {"80000000", "MMCH handle                      = [-2147483648]"}});
    check(44, {{"A5ABCDEF", "MMCH general_use1                = [0xA5ABCDEF]"}});
    check(48, {{"FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF", nullptr}});
}

TEST_F(PrintedField, ReceiveDiagnosticCommandTellsAllButThePageCodeValidBit) {
    start(28, false, "");
    check(64, {{"1C", "RCV DIAG RES Cmd operation code      = [28]"},
               {"00 80", nullptr},
               {"00 7F", "RCV DIAG RES Cmd reserved            = [127]"},
               {"00 00 00 FF", nullptr},
               {"00 00 00 00 A55A", "RCV DIAG RES Cmd allocation length   = [42330]"},
               {"00 00 00 00 0000 A5", "RCV DIAG RES Cmd control             = [0xa5]"},
               {"00 00 00 00 0000 00 FF FF", nullptr}});
}

TEST_F(PrintedField, SendDiagnosticCommand) {
    start(29, false, "");
    check(64, {{"A5", "SND DIAG Cmd operation code      = [0xa5]"},
               {"00 07", "SND DIAG Cmd self test code      = [7]"},
               {"00 08", "SND DIAG Cmd pf                  = [1]"},
               {"00 10", "SND DIAG Cmd reserved bit        = [1]"},
               {"00 20", "SND DIAG Cmd self test           = [1]"},
               {"00 40", "SND DIAG Cmd devOffL             = [1]"},
               {"00 80", "SND DIAG Cmd unitOffL            = [1]"},
               {"00 00 A5", "SND DIAG Cmd reserved            = [165]"},
               {"00 00 00 FF", nullptr},
               {"00 00 00 00 A55A", "SND DIAG Cmd parameterListLength = [42330]"},
               {"00 00 00 00 0000 A5", "SND DIAG Cmd control             = [0xa5]"},
               {"00 00 00 00 0000 00 FF", nullptr}});
}

TEST_F(PrintedField, SenseData) {
    start(29, true, "02");
    check(65,
          {{"FE", "Sense Data responseCode                 = [127]"},
           {"01", "Sense Data valid                        = [1]"},
           {"00 A5", "Sense Data obsolete                     = [165]"},
           {"00 00 F0", "Sense Data senseKey                     = [15]"},
           {"00 00 08", "Sense Data reserved                     = [1]"},
           {"00 00 04", "Sense Data ili                          = [1]"},
           {"00 00 02", "Sense Data eom                          = [1]"},
           {"00 00 01", "Sense Data filemark                     = [1]"},
           {"00 00 00 FF", nullptr},
           {"00000000 7F5A1234", "Sense Data information                  = [2136609332]"},
           {"00000000 00000000 A5", "Sense Data additionalSenseLength        = [165]"},
           {"00000000 00000000 00FFFFFF", nullptr},
           {"00000000 00000000 00000000 FFFFFFFF", "Sense Data commandSpecificInformation   = [-1]"},
           {"00000000 00000000 00000000 00000000 A5", "Sense Data additionalSenseCode          = [165]"},
           {"00000000 00000000 00000000 00000000 00A5", "Sense Data additionalSenseCodeQualifier = [165]"},
           {"00000000 00000000 00000000 00000000 0000A5", "Sense Data fieldReplaceableUnitCode     = [165]"},
           {"00000000 00000000 00000000 00000000 000000FE", "Sense Data senseKeySpecific7Bits        = [127]"},
           {"00000000 00000000 00000000 00000000 00000001", "Sense Data sksv                         = [1]"},
           {"00000000 00000000 00000000 00000000 00000000 A55A", "Sense Data senseKeySpecific16Bits       = [42330]"},
           {"00000000 00000000 00000000 00000000 00000000 0000FFFF", nullptr}});
}

TEST_F(PrintedField, EnclosureDescriptor) {
    start(28, true, "00 01");
    check(73,
          {{"E0", "ENC Descriptor numberESProcesses             = [7]"},
           {"10", "ENC Descriptor reserved1                     = [1]"},
           {"0E", "ENC Descriptor relESProcessId                = [7]"},
           {"01", "ENC Descriptor reserved2                     = [1]"},
           {"00 A5", "ENC Descriptor subEnclosureId                = [165]"},
           {"00 00 A5", "ENC Descriptor numberElementTypeDescHdrs     = [165]"},
           {"00 00 00 A5", "ENC Descriptor enclosureDescLength           = [165]"},
           {"00000000 4142434445464748", "ENC Descriptor enclosureLogId                = [ABCDEFGH]"},
           {"00000000 0000000000000000 41424344 45464748", "ENC Descriptor enclosureVendorId             = [ABCDEFGH]"},
           {"00000000 0000000000000000 0000000000000000 41424344 45464748 494A4B4C 4D4E4F50",
            "ENC Descriptor productId                     = [ABCDEFGHIJKLMNOP]"}});
    check(109, {{"01020304", "ENC Descriptor productRevLevel               = [16909060]"}});
    check(125, {{"FFFFFFFF", nullptr}}); // the header of the temperature sensors
}

TEST_F(PrintedField, StatusPageHeader) {
    start(28, true, "00 02");
    check(66, {{"80", "ENC STAT Page unrecov            = [1]"},
               {"40", "ENC STAT Page crit               = [1]"},
               {"20", "ENC STAT Page non crit           = [1]"},
               {"10", "ENC STAT Page info               = [1]"},
               {"08", "ENC STAT Page invop              = [1]"},
               {"07", "ENC STAT Page reserved           = [7]"},
               {"00 A55A", "ENC STAT Page page length        = [42330]"},
               {"00 0000 FFFFFFFE", "ENC STAT Page generation code    = [-2]"}});
}

TEST_F(PrintedField, DeviceStatus) {
    start(28, true, "00 02");
    check(73, {{"FFFFFFFE", "Device      overallStatus = [0xfffffffe]"}});
    check(81, {{"A5", "Device [1] commonStatus  = [165]"},
               {"00 A5", "Device [1] slotAddress   = [165]"},
               {"0000 80", "Device [1] report        = [1]"},
               {"0000 40", "Device [1] ident         = [1]"},
               {"0000 20", "Device [1] rmv           = [1]"},
               {"0000 10", "Device [1] readyToInsert = [1]"},
               {"0000 08", "Device [1] enclosureBypB = [1]"},
               {"0000 04", "Device [1] enclosureBypA = [1]"},
               {"0000 02", "Device [1] doNotRemove   = [1]"},
               {"0000 01", "Device [1] appClientBypA = [1]"},
               {"000000 80", "Device [1] deviceBypB    = [1]"},
               {"000000 40", "Device [1] deviceBypA    = [1]"},
               {"000000 20", "Device [1] BypB          = [1]"},
               {"000000 10", "Device [1] BypA          = [1]"},
               {"000000 08", "Device [1] deviceOff     = [1]"},
               {"000000 04", "Device [1] faultReqstd   = [1]"},
               {"000000 02", "Device [1] faultSensed   = [1]"},
               {"000000 01", "Device [1] appClientBypB = [1]"}});
}

TEST_F(PrintedField, PowerSupplyStatus) {
    start(28, true, "00 02");
    check(89, {{"FFFFFFFE", "PowerSupply overallStatus = [0xfffffffe]"}});
    check(97, {{"A5", "PowerSupply [1] commonStatus   = [165]"},
               {"00 FE", "PowerSupply [1] reserved1      = [127]"},
               {"00 01", "PowerSupply [1] ident          = [1]"},
               {"0000 80", "PowerSupply [1] rsvd1          = [1]"},
               {"0000 40", "PowerSupply [1] dcOverCurrent  = [1]"},
               {"0000 20", "PowerSupply [1] dcUnderVoltage = [1]"},
               {"0000 10", "PowerSupply [1] dcOverVoltage  = [1]"},
               {"0000 0F", "PowerSupply [1] reserved2      = [15]"},
               {"000000 80", "PowerSupply [1] dcFail         = [1]"},
               {"000000 40", "PowerSupply [1] acFail         = [1]"},
               {"000000 20", "PowerSupply [1] tempWarn       = [1]"},
               {"000000 10", "PowerSupply [1] ovrtmpFail     = [1]"},
               {"000000 08", "PowerSupply [1] off            = [1]"},
               {"000000 04", "PowerSupply [1] rqstedOn       = [1]"},
               {"000000 02", "PowerSupply [1] fail           = [1]"},
               {"000000 01", "PowerSupply [1] rsvd2          = [1]"}});
}

TEST_F(PrintedField, CoolingStatus) {
    start(28, true, "00 02");
    check(101, {{"FFFFFFFE", "Cooling overallStatus = [0xfffffffe]"}});
    check(109, {{"A5", "Cooling [1] commonStatus        = [165]"},
                {"00 C0", "Cooling [1] actualFanSpeedMsb   = [3]"},
                {"00 3E", "Cooling [1] reserved            = [31]"},
                {"00 01", "Cooling [1] ident               = [1]"},
                {"0000 A5", "Cooling [1] actualFanSpeed      = [165]"},
                {"000000 E0", "Cooling [1] actualSpeedCode     = [7]"},
                {"000000 10", "Cooling [1] rsvd1               = [1]"},
                {"000000 08", "Cooling [1] off                 = [1]"},
                {"000000 04", "Cooling [1] rqstedOn            = [1]"},
                {"000000 02", "Cooling [1] fail                = [1]"},
                {"000000 01", "Cooling [1] rsvd2               = [1]"}});
}

TEST_F(PrintedField, AlarmStatusBehindTheTemperatureSensors) {
    start(28, true, "00 02");
    check(125, {{"FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF", nullptr}});
    check(157, {{"FFFFFFFE", "Audible Alarm overallStatus      = [0xfffffffe]"}});
    check(165, {{"A5", "Audible Alarm [1] commonStatus  = [165]"},
                {"00 FE", "Audible Alarm [1] reserved1     = [127]"},
                {"00 01", "Audible Alarm [1] ident         = [1]"},
                {"0000 A5", "Audible Alarm [1] reserved2     = [165]"},
                {"000000 80", "Audible Alarm [1] unrecov       = [1]"},
                {"000000 40", "Audible Alarm [1] crit          = [1]"},
                {"000000 20", "Audible Alarm [1] nonCrit       = [1]"},
                {"000000 10", "Audible Alarm [1] info          = [1]"},
                {"000000 08", "Audible Alarm [1] remind        = [1]"},
                {"000000 04", "Audible Alarm [1] rsvd          = [1]"},
                {"000000 02", "Audible Alarm [1] muted         = [1]"},
                {"000000 01", "Audible Alarm [1] rqstMute      = [1]"}});
    check(173, {{"000000 01 FFFFFFFF", "Audible Alarm [3] rqstMute      = [1]"}});
}

TEST_F(PrintedField, ControlPageHeader) {
    start(29, false, "1D 00 00 00 0000 00 00 02");
    check(73, {{"80", "ENC CONT Page unrecov            = [1]"},
               {"40", "ENC CONT Page crit               = [1]"},
               {"20", "ENC CONT Page non crit           = [1]"},
               {"10", "ENC CONT Page info               = [1]"},
               {"0F", "ENC CONT Page reserved           = [15]"},
               {"00 A55A", "ENC CONT Page page length        = [42330]"},
               {"00 0000 FFFFFFFE", "ENC CONT Page generation code    = [-2]"}});
}

TEST_F(PrintedField, DeviceControlTellsNeitherDoNotRemoveNorDeviceOff) {
    start(29, false, "1D 00 00 00 0000 00 00 02");
    check(80, {{"FFFFFFFE", "Device overallControl     = [-2]"}});
    check(88, {{"A5", "Device [1] commonControl = [165]"},
               {"00 A5", "Device [1] reserved1     = [165]"},
               {"0000 80", "Device [1] reserved2     = [1]"},
               {"0000 40", "Device [1] rqstIdent     = [1]"},
               {"0000 20", "Device [1] rqstRemove    = [1]"},
               {"0000 10", "Device [1] rqstInsert    = [1]"},
               {"0000 0C", "Device [1] reserved3     = [3]"},
               {"0000 02", nullptr},
               {"0000 01", "Device [1] rqstActive    = [1]"},
               {"000000 C0", "Device [1] reserved4     = [3]"},
               {"000000 20", "Device [1] enableBypB    = [1]"},
               {"000000 10", "Device [1] enableBypA    = [1]"},
               {"000000 08", nullptr},
               {"000000 04", "Device [1] rqstFault     = [1]"},
               {"000000 03", "Device [1] reserved5     = [3]"}});
}

TEST_F(PrintedField, PowerSupplyControl) {
    start(29, false, "1D 00 00 00 0000 00 00 02");
    check(96, {{"FFFFFFFE", "PowerSupply overallControl     = [-2]"}});
    check(104, {{"A5", "PowerSupply [1] commonControl = [165]"},
                {"00 FE", "PowerSupply [1] reserved1     = [127]"},
                {"00 01", "PowerSupply [1] rqstIdent     = [1]"},
                {"0000 A5", "PowerSupply [1] reserved2     = [165]"},
                {"000000 F8", "PowerSupply [1] reserved3     = [31]"},
                {"000000 04", "PowerSupply [1] rqstOn        = [1]"},
                {"000000 02", "PowerSupply [1] rqstFail      = [1]"},
                {"000000 01", "PowerSupply [1] rsvd          = [1]"}});
}

TEST_F(PrintedField, CoolingControl) {
    start(29, false, "1D 00 00 00 0000 00 00 02");
    check(108, {{"FFFFFFFE", "Cooling overallControl          = [-2]"}});
    check(116, {{"A5", "Cooling [1] commonControl      = [165]"},
                {"00 FE", "Cooling [1] reserved1          = [127]"},
                {"00 01", "Cooling [1] rqstIdent          = [1]"},
                {"0000 A5", "Cooling [1] reserved2          = [165]"},
                {"000000 E0", "Cooling [1] requestedSpeedCode = [7]"},
                {"000000 18", "Cooling [1] reserved3          = [3]"},
                {"000000 04", "Cooling [1] rqstOn             = [1]"},
                {"000000 02", "Cooling [1] rqstFail           = [1]"},
                {"000000 01", "Cooling [1] rsvd               = [1]"}});
}

TEST_F(PrintedField, AlarmControlBehindTheTemperatureSensors) {
    start(29, false, "1D 00 00 00 0000 00 00 02");
    check(132, {{"FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF FFFFFFFF", nullptr}});
    check(164, {{"FFFFFFFE", "Audible Alarm overallControl   = [-2]"}});
    check(172, {{"A5", "Audible Alarm [1] commonControl= [165]"},
                {"00 FE", "Audible Alarm [1] reserved1   = [127]"},
                {"00 01", "Audible Alarm [1] rqstIdent   = [1]"},
                {"0000 A5", "Audible Alarm [1] reserved2   = [165]"},
                {"000000 80", "Audible Alarm [1] unrecov     = [1]"},
                {"000000 40", "Audible Alarm [1] crit        = [1]"},
                {"000000 20", "Audible Alarm [1] nonCrit     = [1]"},
                {"000000 10", "Audible Alarm [1] info        = [1]"},
                {"000000 08", "Audible Alarm [1] setRemind   = [1]"},
                {"000000 04", "Audible Alarm [1] rsvd1       = [1]"},
                {"000000 02", "Audible Alarm [1] setMute     = [1]"},
                {"000000 01", "Audible Alarm [1] rsvd2       = [1]"}});
}

TEST_F(PrintedField, ProtocolDoesNotMatterToWhatIsPrinted) {
    start(28, false, "1C 80 02 00 FFFF");
    const Lines ses = printed(esaControl.esaInMsg);
    const Lines events = printedWith(12, "08");
    ASSERT_EQ(events.size(), ses.size());
    EXPECT_TRUE(std::equal(ses.begin() + 1, ses.end(), events.begin() + 1)) << "all but the protocol's own line";
}

} // namespace
