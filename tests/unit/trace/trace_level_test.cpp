/** Modules and their level words. */
#include <cerrno>

#include <unistd.h>

#include "trace_fixture.h"

namespace {

class TraceLevel : public TraceTest {};

TEST_F(TraceLevel, IsOffForEveryModuleBeforeInitAndAfterDone) {
    for (int round = 0; round < 2; ++round) {
        for (int module = 0; module < 256; ++module) {
            EXPECT_FALSE(TRACE_ENABLED(module, 0xFFFF)) << module;
        }
        TRACE_INFO("not written");
        init();
        (void)TRACE__setTraceLevel(0, 0xFFFF);
        TRACE__done();
    }
}

TEST_F(TraceLevel, StartsAt0AndIsStoredPerModule) {
    const char* const names[] = {"DDLM", "CEE", "AIM"};
    TRACE__init(&params, "log", 3, names);
    for (int module = 0; module < 3; ++module) {
        EXPECT_EQ(TRACE__getTraceLevel(module), 0);
    }
    EXPECT_EQ(TRACE__setTraceLevel(0, 0xC0FF), 0);
    EXPECT_EQ(TRACE__setTraceLevel(2, 0xFFFF), 0);
    EXPECT_EQ(TRACE__getTraceLevel(0), 0xC0FF);
    EXPECT_EQ(TRACE__getTraceLevel(1), 0);
    EXPECT_EQ(TRACE__getTraceLevel(2), 0xFFFF);
    EXPECT_EQ(traceData.numModLevels, 3);
    EXPECT_EQ(traceData.modLevels[2], 0xFFFF);
}

TEST_F(TraceLevel, IsSetAndReadWithoutTheLock) {
    init();
    wrapped.mutexLockError = EBUSY; // whoever takes the lock now ends the process
    EXPECT_EQ(TRACE__setTraceLevel(0, 0x1234), 0);
    EXPECT_EQ(TRACE__getTraceLevel(0), 0x1234);
    wrapped.mutexLockError = 0;
}

TEST_F(TraceLevel, ModuleNamesAreCopies) {
    char first[] = "DDLM";
    char second[] = "CEE";
    const char* const names[] = {first, second};
    TRACE__init(&params, "log", 2, names);
    first[0] = '?';
    second[0] = '?';
    EXPECT_STREQ(traceData.modNames[0], "DDLM");
    EXPECT_STREQ(traceData.modNames[1], "CEE");
}

TEST_F(TraceLevel, OneBlockHoldsLevelsNamePointersAndNamesInThisOrder) {
    const char* const names[] = {"A", "BC", "DEF"};
    TRACE__init(&params, "log", 3, names);
    const auto* levels = reinterpret_cast<const char*>(traceData.modLevels);
    const auto* pointers = reinterpret_cast<const char*>(traceData.modNames);
    EXPECT_GE(pointers, levels + 6);
    EXPECT_LT(pointers, levels + 6 + sizeof(char*));
    EXPECT_EQ(traceData.modNames[0], pointers + 3 * sizeof(char*));
    EXPECT_EQ(traceData.modNames[1], traceData.modNames[0] + 2);
    EXPECT_EQ(traceData.modNames[2], traceData.modNames[1] + 3);
}

class TraceBadModule : public TraceTest, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Index, TraceBadModule, testing::Values(1, -1, 255, 65536));

TEST_P(TraceBadModule, IsReportedAndRefused) {
    init();
    const ChildResult_t child = runInChild([] {
        EXPECT_EQ(TRACE__setTraceLevel(GetParam(), 0xFFFF), -1);
        EXPECT_EQ(TRACE__getTraceLevel(GetParam()), 0);
        EXPECT_EQ(TRACE__getTraceLevel(0), 0);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(child.exitStatus, 0);
    EXPECT_EQ(child.err, "ERROR !! TRACE__setTraceLevel: Invalid trace MODULE INDEX \n"
                         "ERROR !! TRACE__getTraceLevel: Invalid trace MODULE INDEX \n");
}

TEST_F(TraceLevel, EveryModuleIsUnknownBeforeInit) {
    const ChildResult_t child = runInChild([] { _exit(TRACE__setTraceLevel(0, 1) == -1 ? 0 : 1); });
    EXPECT_EQ(child.exitStatus, 0);
    EXPECT_EQ(child.err, "ERROR !! TRACE__setTraceLevel: Invalid trace MODULE INDEX \n");
}

TEST(TraceModuleIndex, CountsFrom0InEveryProcessFamily) {
    EXPECT_EQ(TRC_E_MOD_BEGIN, 0);
    EXPECT_EQ(TRC_E_MOD_CMAP_BEGIN, 0);
    EXPECT_EQ(TRC_E_MOD_DDLM, 0);
    EXPECT_EQ(TRC_E_MOD_CEE, 1);
    EXPECT_EQ(TRC_E_MOD_AIM, 2);
    EXPECT_EQ(TRC_E_MOD_ESM, 3);
    EXPECT_EQ(TRC_E_MOD_ICS, 4);
    EXPECT_EQ(TRC_E_MOD_NCS, 5);
    EXPECT_EQ(TRC_E_MOD_SCC, 6);
    EXPECT_EQ(TRC_E_MOD_VOLMGR, 7);
    EXPECT_EQ(TRC_E_MOD_CLASS, 8);
    EXPECT_EQ(TRC_E_MOD_CMAP_DEFINED_MODS, 9);
    EXPECT_EQ(TRC_E_MOD_MSM_BEGIN, 0);
    EXPECT_EQ(TRC_E_MOD_MSM, 0);
    EXPECT_EQ(TRC_E_MOD_MSM_DEFINED_MODS, 1);
    EXPECT_EQ(TRC_E_MOD_EMP_BEGIN, 0);
    EXPECT_EQ(TRC_E_MOD_EMP, 0);
    EXPECT_EQ(TRC_E_MOD_EMP_DEFINED_MODS, 1);
    EXPECT_EQ(TRC_E_MOD_ESA_BEGIN, 0);
    EXPECT_EQ(TRC_E_MOD_ESA, 0);
    EXPECT_EQ(TRC_E_MOD_ESA_DEFINED_MODS, 1);
}

} // namespace
