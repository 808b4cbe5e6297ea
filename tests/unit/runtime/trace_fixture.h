#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "calls.h"
#include "child_with_log.h"
#include "folder.h"
#include "mpu_gbl.h"
#include "trace.h"

/** A log directory of its own, Monday 2 October 2006 13:51:16 UTC, and the facility with the one module "ESA". */
class TraceTest : public testing::Test {
protected:
    TraceTest();
    ~TraceTest() override;

    void init(const char* logName = "esa_%02d.log");
    /** What the log of that name holds. */
    [[nodiscard]] std::string log(const std::string& name = "esa_01.log") const { return folder.read(name); }
    [[nodiscard]] bool exists(const std::string& name) const;
    [[nodiscard]] std::string path(const std::string& name) const { return folder.path(name); }
    [[nodiscard]] static std::string logName();
    void setDirectory(const std::string& name);

    const testsupport::Folder_t folder;
    const std::string directory = folder.path();
    MPU_PARAMS_t params{};
    std::int64_t now = 1159797076; /**< the time of day, in seconds */
};

/** Splits at line ends; what follows the last one is an element too, unless it is empty. */
std::vector<std::string> lines(const std::string& text);
