/** The event log: records, and what lands in the file or on standard error. */
#pragma once

#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "folder.h"
#include "platform.h"

/** A record as it lies in a message buffer: 152 bytes of header with every unused byte 0xEE, then the body. */
struct Record_t {
    Record_t(U16_t id, U8_t source, U8_t type, U8_t category, U8_t version, const std::vector<U8_t>& body);

    [[nodiscard]] const EmpEvLogHeader_t* get() const {
        return reinterpret_cast<const EmpEvLogHeader_t*>(bytes.data());
    }

    std::vector<U8_t> bytes;
};

class EventLog : public testing::Test {
protected:
    EventLog() { useDirectory(directory.string()); }

    void useDirectory(const std::string& name);

    void add(const Record_t& record) { altEventLogM(record.get(), &params); }

    /** The log's text, "T" for each line's time. */
    [[nodiscard]] std::string log() const { return withoutTime(folder.read("altevents.jsonl")); }

    /** Makes the log one line of `size` bytes. */
    void fillLog(std::size_t size, char with) const { std::ofstream(file) << std::string(size - 1, with) << '\n'; }

    /** What `action` writes to standard error, "T" for each line's time. */
    [[nodiscard]] std::string standardErrorOf(const std::function<void()>& action) const;

    /** Checks that the number after each {"time": is now, and returns the text with "T" in its place. */
    [[nodiscard]] std::string withoutTime(std::string text) const;

    const testsupport::Folder_t folder;
    const std::filesystem::path directory = folder.path();
    const std::filesystem::path file = directory / "altevents.jsonl";
    MPU_PARAMS_t params{};
    const time_t start = time(nullptr);
};

inline const char* const SMALL_LINE =
    "{\"time\":T,\"evId\":2000,\"evSource\":23,\"evType\":3,\"evCategory\":1,\"evIdVersion\":1,"
    "\"evStructLength\":4,\"body\":\"00ff0a7b\"}\n";
inline const Record_t SMALL(2000, 23, 3, 1, 1, {0x00, 0xFF, 0x0A, 0x7B});
