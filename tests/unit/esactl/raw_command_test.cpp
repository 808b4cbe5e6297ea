/** esactl raw: bytes out, bytes in. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_switch.h"
#include "json_value.h"

namespace {

using testing::HasSubstr;
using testsupport::JsonValue_t;

class RawCommand : public testing::Test {
protected:
    RawCommand() { net_.serve(smallConfiguration(), smallStatus()); }
    FakeSwitch_t net_;
};

TEST_F(RawCommand, PageAsHexAndDecoded) {
    const testsupport::RunResult_t result = net_.esactl({"raw", "--page", "2"});
    EXPECT_EQ(result.ending.exitCode, 0);
    EXPECT_THAT(result.out, testing::StartsWith("status 0, return code 0, 59 bytes\n"
                                                "0000  02 00 00 38 00 00 00 07 00 00 00 00 01 00 00 00\n"
                                                "0010  01 01 00 04 00 00 00 00 01 00 00 05 00 00 00 00\n"
                                                "0020  00 40 2c e4 00 00 c8 e0 00 00 00 00 00 00 37 00\n"
                                                "0030  00 00 4b 00 00 00 00 20 20 00 00\n"
                                                "Enclosure OK\n"));
}

TEST_F(RawCommand, PageAsJson) {
    const JsonValue_t document = JsonValue_t::parse(net_.esactl({"raw", "--page", "1", "--json"}).out);
    EXPECT_EQ(document["schema"], "esactl.raw");
    EXPECT_EQ(document["status"], 0);
    EXPECT_EQ(document["return_code"], 0);
    EXPECT_EQ(document["payload_hex"], plainHex(smallConfiguration()));
    EXPECT_EQ(document["decoded"]["vendor"], "ACME");
}

TEST_F(RawCommand, PageThatCannotBeDecodedIsStillPrinted) {
    net_.serve(unhex("01 02 03"), {});
    const testsupport::RunResult_t result = net_.esactl({"raw", "--page", "1"});
    EXPECT_EQ(result.ending.exitCode, 0);
    EXPECT_THAT(result.out, HasSubstr("0000  01 02 03\nnot decoded: page 1 has 3 bytes"));
    const JsonValue_t document = JsonValue_t::parse(net_.esactl({"raw", "--page", "1", "--json"}).out);
    EXPECT_TRUE(document["decoded"].isNull());
}

TEST_F(RawCommand, PageWithoutADecoder) {
    net_.serve({}, unhex("07 aa"));
    const testsupport::RunResult_t result = net_.esactl({"raw", "--page", "7"});
    EXPECT_EQ(result.out, "status 0, return code 0, 2 bytes\n0000  07 aa\n");
}

TEST_F(RawCommand, PageThatIsNeverAnsweredSaysWhichAre) {
    net_.script = nullptr;
    const testsupport::RunResult_t result = net_.esactl({"--timeout", "0.2", "raw", "--page", "3"});
    EXPECT_EQ(result.ending.exitCode, 2);
    EXPECT_EQ(result.err, "esactl: no answer to the request for page 3 within 0.2 s; the adapter answers pages 1 and 2 "
                          "only\n");
}

TEST_F(RawCommand, HexIsSentAsItIs) {
    const testsupport::RunResult_t result = net_.esactl({"raw", "02", "00", "00Ff"});
    EXPECT_EQ(result.ending.exitCode, 0);
    const std::vector<Bytes_t> requests = net_.requests(29);
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(plainHex(requests[0]).substr(2 * 64), "1d08000000040000"
                                                    "020000ff");
    EXPECT_EQ(result.out, "status 0, return code 0, 3 bytes\n0000  00 00 00\n");
}

TEST_F(RawCommand, EmptyPageIsAnEmptyParameterList) {
    EXPECT_EQ(net_.esactl({"raw", ""}).ending.exitCode, 0);
    const std::vector<Bytes_t> requests = net_.requests(29);
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(plainHex(requests[0]).substr(2 * 64), "1d08000000000000");
}

TEST_F(RawCommand, PageTooLargeForAMessageIsRefused) {
    const testsupport::RunResult_t result = net_.esactl({"raw", std::string(2 * 3993, '0')});
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("at most 3992"));
}

} // namespace
