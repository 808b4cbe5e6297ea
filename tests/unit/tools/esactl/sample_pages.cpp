#include "sample_pages.h"

#include <algorithm>

Bytes_t backplaneConfiguration() {
    return unhex("01 00 00 40 00 00 00 00"
                 "20 00 05 24 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                 "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                 "01 10 00 00 02 03 00 00 03 03 00 00 04 03 00 00 06 01 00");
}

Bytes_t healthyBackplaneStatus() {
    return unhex("02 00 00 80 00 00 00 00"
                 "00 00 00 00"
                 "01 00 00 00 01 01 00 00 01 02 00 00 01 03 00 00"
                 "01 04 00 00 01 05 00 00 01 06 00 00 01 07 00 00"
                 "01 08 00 00 01 09 00 00 01 0a 00 00 01 0b 00 00"
                 "01 0c 00 00 01 0d 00 00 01 0e 00 00 01 0f 00 00"
                 "00 00 00 00"
                 "01 00 00 01 01 00 00 01 01 00 00 01"
                 "00 00 00 00"
                 "00 40 2c e0 00 40 2c e0 00 40 2c e0"
                 "00 00 00 00"
                 "00 00 32 00 00 00 33 00 00 00 34 00"
                 "00 00 00 00"
                 "00 00 00");
}

Bytes_t faultyBackplaneStatus() {
    Bytes_t status = healthyBackplaneStatus();
    const auto replace = [&status](std::size_t at, const char* bytes) {
        std::ranges::copy(unhex(bytes), status.begin() + static_cast<std::ptrdiff_t>(at));
    };
    replace(12 + 4 * 3, "01 03 00 04");
    replace(12 + 4 * 5, "05 05 00 00");
    replace(80 + 4 * 1, "05 00 00 03");
    replace(96, "00 00 96 e0 00 00 00 e0");
    replace(112, "00 00 4d 20 00 00 51 30 00 00 00 00");
    return status;
}

Bytes_t smallConfiguration() {
    return unhex("01 00 00 40 00 00 00 07"
                 "20 00 05 24 50 00 00 01 02 03 04 05"
                 "41 43 4d 45 20 20 20 20"
                 "53 68 65 6c 66 20 22 32 22 00 00 00 00 00 00 00"
                 "30 31 30 32"
                 "01 02 00 00 02 01 00 00 03 02 00 00 04 02 00 00 06 01 00");
}

Bytes_t smallStatus() {
    return unhex("02 00 00 38 00 00 00 07"
                 "00 00 00 00 01 00 00 00 01 01 00 04"
                 "00 00 00 00 01 00 00 05"
                 "00 00 00 00 00 40 2c e4 00 00 c8 e0"
                 "00 00 00 00 00 00 37 00 00 00 4b 00"
                 "00 00 00 20 20 00 00");
}

Bytes_t smallStatusWithAFanThatStands() {
    Bytes_t status = smallStatus();
    status[38] = 0;
    status[39] = 0x08;
    return status;
}

Bytes_t eventMessage(U8_t id, U8_t type, const std::string& body) {
    Bytes_t message =
        testsupport::message({.requestor = 33, .protocol = 8, .type = 1, .recipients = {27}}, Bytes_t(236, 0));
    message[64 + 147] = type;
    message[64 + 148] = 3;
    message[64 + 149] = 1;
    message[64 + 151] = id;
    std::ranges::copy(unhex(body), message.begin() + 216);
    return message;
}

Bytes_t startupMessage(U8_t protocol, U8_t type, U8_t generalUse1, U8_t generalUse2) {
    Bytes_t message = testsupport::message({.requestor = 33, .protocol = protocol, .type = type, .recipients = {18}});
    message[47] = generalUse1;
    message[51] = generalUse2;
    return message;
}
