/** The message printer: every message kind whole, line by line. */
#include "messaging/print.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "esa_fixture.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

class Printer : public EsaTest {
protected:
    /** Puts bytes into the message from an offset on. */
    void put(std::size_t offset, const std::string& text) {
        const Bytes bytes = unhex(text);
        std::copy(bytes.begin(), bytes.end(), esaControl.esaInMsg + offset);
    }

    /** What the printer prints of the message in esaInMsg. */
    Lines printed() {
        (void)takeTrace();
        esaMmsgPrint(&wireAt<MMSG_t>(static_cast<void*>(esaControl.esaInMsg)));
        return takeTrace();
    }

    /** The same without the ten lines of the header. */
    Lines printedBody() {
        Lines lines = printed();
        EXPECT_GE(lines.size(), 10U);
        lines.erase(lines.begin(), lines.begin() + static_cast<long>(std::min<std::size_t>(10, lines.size())));
        return lines;
    }

    /** Makes the message a response of the adapter. */
    void respond() { esaControl.esaInMsg[17] = 0x40; }

    void oneOfEach() {
        esaControl.deviceMaxNumber = 1;
        esaControl.powerSupplyMaxNumber = 1;
        esaControl.coolingMaxNumber = 1;
        esaControl.temperatureSensorMaxNumber = 1;
        esaControl.audibleAlarmMaxNumber = 1;
    }
};

TEST_F(Printer, HeaderIsPrintedInTenLinesWithTheFirstWordOfTheSecondBitmap) {
    request(18, 0x123456, 20, 300);
    put(28, "DEADBEEF 00000002");
    put(18, "21");
    put(36, "00000007");
    put(40, "0000002A");
    put(44, "00ABCDEF");
    EXPECT_THAT(printed(),
                ElementsAre("MMCH protocol                    = [18]", "MMCH type                        = [1193046]",
                            "MMCH requestor                   = [20]", "MMCH mmsg_cont                   = [0]",
                            "MMCH recipient_ob_bm             = [0xdeadbeef]",
                            "MMCH dest_ep                     = [33]", "MMCH handle                      = [42]",
                            "MMCH general_use1                = [0xABCDEF]", "MMCH mmsg_length                 = [300]",
                            "MMCH return_code                 = [7]", "This is a Request Message.",
                            "Un-supported SES Command [1193046]."));
}

/** Lines that name the pages of the status direction, by page code. */
const char* const STATUS_PAGES[] = {
    "Page                             = [SES_K_SUPPORTED_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_CONFIGURATION_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_HELP_TEXT_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_STRING_IN_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_THRESHOLD_IN_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_OBSOLETE_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_ELEMENT_DESCRIPTOR_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_SHORT_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_ENCLOSURE_BUSY_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_ADDITIONAL_ELEMENT_STATUS_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_SUBENCLOSURE_HELP_TEXT_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_SUBENCLOSURE_STRING_IN_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_SUPPORTED_SES_DIAGNOTSTIC_PAGES_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_DOWNLOAD_MICROCODE_STATUS_DIAGNOSTIC_PAGE]",
    "Page                             = [SES_K_SUNENCLOSURE_NICKNAME_STATUS_DIAGNOSTIC_PAGE]",
};

TEST_F(Printer, CheckConditionPrintsSeventeenLinesOfSenseDataForEitherCommand) {
    for (const auto& [command, name] :
         {std::pair<const char*, const char*>{"1C", "RECEIVE_DIAGNOSTIC_RESULTS"}, {"1D", "SEND_DIAGNOSTIC"}}) {
        request(18, 28, 33, 92);
        respond();
        put(15, command);
        put(64, "02 E1 11 5A 00 01020304 12 000000 05060708 24 13 14 7F 1516 0000");
        EXPECT_THAT(
            printedBody(),
            ElementsAre(
                "This is a Response Message.",
                std::string("Command                          = [SES_K_") + name + "_COMMAND]",
                "Status                           = [SES_K_SCSI_STATUS_CODE_CHECK_CONDITION]",
                "Sense Data responseCode                 = [112]", "Sense Data valid                        = [1]",
                "Sense Data obsolete                     = [17]", "Sense Data senseKey                     = [5]",
                "Sense Data reserved                     = [1]", "Sense Data ili                          = [0]",
                "Sense Data eom                          = [1]", "Sense Data filemark                     = [0]",
                "Sense Data information                  = [16909060]",
                "Sense Data additionalSenseLength        = [18]",
                "Sense Data commandSpecificInformation   = [84281096]",
                "Sense Data additionalSenseCode          = [36]", "Sense Data additionalSenseCodeQualifier = [19]",
                "Sense Data fieldReplaceableUnitCode     = [20]", "Sense Data senseKeySpecific7Bits        = [63]",
                "Sense Data sksv                         = [1]", "Sense Data senseKeySpecific16Bits       = [5398]"));
    }
}

TEST_F(Printer, StatusPagePrintsFourElementGroupsAndLeavesTheTemperatureSensorsOut) {
    request(18, 28, 33, 144);
    respond();
    oneOfEach();
    put(64, "00 02 AA 0034 00010203");
    put(73, "0A0B0C0D 05 03 AA 55");
    put(81, "000000FF 01 AB AA 55");
    put(89, "00000010 02 AB C8 AA");
    put(97, "FFFFFFFF FF FF FF FF");
    put(105, "00000020 20 54 77 AA");
    EXPECT_THAT(printedBody(),
                ElementsAreArray(Lines{"This is a Response Message.",
                                       "Command                          = [SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND]",
                                       "Status                           = [SES_K_SCSI_STATUS_CODE_GOOD]",
                                       "Page                             = [SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE]",
                                       "ENC STAT Page code               = [0x2]",
                                       "ENC STAT Page unrecov            = [1]",
                                       "ENC STAT Page crit               = [0]",
                                       "ENC STAT Page non crit           = [1]",
                                       "ENC STAT Page info               = [0]",
                                       "ENC STAT Page invop              = [1]",
                                       "ENC STAT Page reserved           = [2]",
                                       "ENC STAT Page page length        = [52]",
                                       "ENC STAT Page generation code    = [66051]",
                                       "Device      overallStatus = [0xa0b0c0d]",
                                       "Device [0] commonStatus  = [5]",
                                       "Device [0] slotAddress   = [3]",
                                       "Device [0] report        = [1]",
                                       "Device [0] ident         = [0]",
                                       "Device [0] rmv           = [1]",
                                       "Device [0] readyToInsert = [0]",
                                       "Device [0] enclosureBypB = [1]",
                                       "Device [0] enclosureBypA = [0]",
                                       "Device [0] doNotRemove   = [1]",
                                       "Device [0] appClientBypA = [0]",
                                       "Device [0] deviceBypB    = [0]",
                                       "Device [0] deviceBypA    = [1]",
                                       "Device [0] BypB          = [0]",
                                       "Device [0] BypA          = [1]",
                                       "Device [0] deviceOff     = [0]",
                                       "Device [0] faultReqstd   = [1]",
                                       "Device [0] faultSensed   = [0]",
                                       "Device [0] appClientBypB = [1]",
                                       "PowerSupply overallStatus = [0xff]",
                                       "PowerSupply [0] commonStatus   = [1]",
                                       "PowerSupply [0] reserved1      = [85]",
                                       "PowerSupply [0] ident          = [1]",
                                       "PowerSupply [0] rsvd1          = [1]",
                                       "PowerSupply [0] dcOverCurrent  = [0]",
                                       "PowerSupply [0] dcUnderVoltage = [1]",
                                       "PowerSupply [0] dcOverVoltage  = [0]",
                                       "PowerSupply [0] reserved2      = [10]",
                                       "PowerSupply [0] dcFail         = [0]",
                                       "PowerSupply [0] acFail         = [1]",
                                       "PowerSupply [0] tempWarn       = [0]",
                                       "PowerSupply [0] ovrtmpFail     = [1]",
                                       "PowerSupply [0] off            = [0]",
                                       "PowerSupply [0] rqstedOn       = [1]",
                                       "PowerSupply [0] fail           = [0]",
                                       "PowerSupply [0] rsvd2          = [1]",
                                       "Cooling overallStatus = [0x10]",
                                       "Cooling [0] commonStatus        = [2]",
                                       "Cooling [0] actualFanSpeedMsb   = [2]",
                                       "Cooling [0] reserved            = [21]",
                                       "Cooling [0] ident               = [1]",
                                       "Cooling [0] actualFanSpeed      = [200]",
                                       "Cooling [0] actualSpeedCode     = [5]",
                                       "Cooling [0] rsvd1               = [0]",
                                       "Cooling [0] off                 = [1]",
                                       "Cooling [0] rqstedOn            = [0]",
                                       "Cooling [0] fail                = [1]",
                                       "Cooling [0] rsvd2               = [0]",
                                       "Audible Alarm overallStatus      = [0x20]",
                                       "Audible Alarm [0] commonStatus  = [32]",
                                       "Audible Alarm [0] reserved1     = [42]",
                                       "Audible Alarm [0] ident         = [0]",
                                       "Audible Alarm [0] reserved2     = [119]",
                                       "Audible Alarm [0] unrecov       = [1]",
                                       "Audible Alarm [0] crit          = [0]",
                                       "Audible Alarm [0] nonCrit       = [1]",
                                       "Audible Alarm [0] info          = [0]",
                                       "Audible Alarm [0] remind        = [1]",
                                       "Audible Alarm [0] rsvd          = [0]",
                                       "Audible Alarm [0] muted         = [1]",
                                       "Audible Alarm [0] rqstMute      = [0]"}));
}

TEST_F(Printer, ControlPagePrintsOverallWordsInDecimal) {
    request(18, 29, 33, 145);
    oneOfEach();
    put(64, "1D AD 42 00 0104 5B 00");
    put(72, "02 59 0034 00010203");
    put(80, "0A0B0C0D 80 12 A8 55");
    put(88, "000000FF 81 AB 34 AA");
    put(96, "00000080 82 54 56 AA");
    put(104, "FFFFFFFF FF FF FF FF");
    put(112, "00000020 83 55 78 55");
    EXPECT_THAT(printedBody(), ElementsAreArray(Lines{"This is a Request Message.",
                                                      "SND DIAG Cmd operation code      = [0x1d]",
                                                      "SND DIAG Cmd self test code      = [5]",
                                                      "SND DIAG Cmd pf                  = [1]",
                                                      "SND DIAG Cmd reserved bit        = [0]",
                                                      "SND DIAG Cmd self test           = [1]",
                                                      "SND DIAG Cmd devOffL             = [0]",
                                                      "SND DIAG Cmd unitOffL            = [1]",
                                                      "SND DIAG Cmd reserved            = [66]",
                                                      "SND DIAG Cmd parameterListLength = [260]",
                                                      "SND DIAG Cmd control             = [0x5b]",
                                                      "ENC CONT Page code               = [0x2]",
                                                      "ENC CONT Page unrecov            = [0]",
                                                      "ENC CONT Page crit               = [1]",
                                                      "ENC CONT Page non crit           = [0]",
                                                      "ENC CONT Page info               = [1]",
                                                      "ENC CONT Page reserved           = [9]",
                                                      "ENC CONT Page page length        = [52]",
                                                      "ENC CONT Page generation code    = [66051]",
                                                      "Device overallControl     = [168496141]",
                                                      "Device [0] commonControl = [128]",
                                                      "Device [0] reserved1     = [18]",
                                                      "Device [0] reserved2     = [1]",
                                                      "Device [0] rqstIdent     = [0]",
                                                      "Device [0] rqstRemove    = [1]",
                                                      "Device [0] rqstInsert    = [0]",
                                                      "Device [0] reserved3     = [2]",
                                                      "Device [0] rqstActive    = [0]",
                                                      "Device [0] reserved4     = [1]",
                                                      "Device [0] enableBypB    = [0]",
                                                      "Device [0] enableBypA    = [1]",
                                                      "Device [0] rqstFault     = [1]",
                                                      "Device [0] reserved5     = [1]",
                                                      "PowerSupply overallControl     = [255]",
                                                      "PowerSupply [0] commonControl = [129]",
                                                      "PowerSupply [0] reserved1     = [85]",
                                                      "PowerSupply [0] rqstIdent     = [1]",
                                                      "PowerSupply [0] reserved2     = [52]",
                                                      "PowerSupply [0] reserved3     = [21]",
                                                      "PowerSupply [0] rqstOn        = [0]",
                                                      "PowerSupply [0] rqstFail      = [1]",
                                                      "PowerSupply [0] rsvd          = [0]",
                                                      "Cooling overallControl          = [128]",
                                                      "Cooling [0] commonControl      = [130]",
                                                      "Cooling [0] reserved1          = [42]",
                                                      "Cooling [0] rqstIdent          = [0]",
                                                      "Cooling [0] reserved2          = [86]",
                                                      "Cooling [0] requestedSpeedCode = [5]",
                                                      "Cooling [0] reserved3          = [1]",
                                                      "Cooling [0] rqstOn             = [0]",
                                                      "Cooling [0] rqstFail           = [1]",
                                                      "Cooling [0] rsvd               = [0]",
                                                      "Audible Alarm overallControl   = [32]",
                                                      "Audible Alarm [0] commonControl= [131]",
                                                      "Audible Alarm [0] reserved1   = [42]",
                                                      "Audible Alarm [0] rqstIdent   = [1]",
                                                      "Audible Alarm [0] reserved2   = [120]",
                                                      "Audible Alarm [0] unrecov     = [0]",
                                                      "Audible Alarm [0] crit        = [1]",
                                                      "Audible Alarm [0] nonCrit     = [0]",
                                                      "Audible Alarm [0] info        = [1]",
                                                      "Audible Alarm [0] setRemind   = [0]",
                                                      "Audible Alarm [0] rsvd1       = [1]",
                                                      "Audible Alarm [0] setMute     = [0]",
                                                      "Audible Alarm [0] rsvd2       = [1]"}));
}

} // namespace
