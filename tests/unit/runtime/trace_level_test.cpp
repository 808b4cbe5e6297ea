/** Modules and their level words. */
#include <cerrno>

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
    calls::pthread_mutex_lock.failWith(EBUSY); // whoever takes the lock now ends the process
    EXPECT_EQ(TRACE__setTraceLevel(0, 0x1234), 0);
    EXPECT_EQ(TRACE__getTraceLevel(0), 0x1234);
    calls::pthread_mutex_lock.failWith(0);
}

TEST_F(TraceLevel, OneBlockHoldsLevelsNamePointersAndNamesInThisOrder) {
    char first[] = "A";
    const char* const names[] = {first, "BC", "DEF"};
    TRACE__init(&params, "log", 3, names);
    first[0] = '?'; // they are copies
    EXPECT_STREQ(traceData.modNames[0], "A");
    EXPECT_STREQ(traceData.modNames[1], "BC");
    const auto* levels = reinterpret_cast<const char*>(traceData.modLevels);
    const auto* pointers = reinterpret_cast<const char*>(traceData.modNames);
    EXPECT_GE(pointers, levels + 6);
    EXPECT_LT(pointers, levels + 6 + sizeof(char*));
    EXPECT_EQ(traceData.modNames[0], pointers + 3 * sizeof(char*));
    EXPECT_EQ(traceData.modNames[1], traceData.modNames[0] + 2);
    EXPECT_EQ(traceData.modNames[2], traceData.modNames[1] + 3);
}

TEST_F(TraceLevel, UnknownModulesAreReportedAndRefused) {
    const std::string setError = "ERROR !! TRACE__setTraceLevel: Invalid trace MODULE INDEX \n";
    const std::string getError = "ERROR !! TRACE__getTraceLevel: Invalid trace MODULE INDEX \n";
    const std::string errors = errorsOf([&] {
        EXPECT_EQ(TRACE__setTraceLevel(0, 1), -1) << "not started yet";
        init();
        for (const int module : {1, -1, 255, 65536}) {
            EXPECT_EQ(TRACE__setTraceLevel(module, 0xFFFF), -1);
            EXPECT_EQ(TRACE__getTraceLevel(module), 0);
            EXPECT_EQ(TRACE__getTraceLevel(0), 0);
        }
    });
    const std::string both = setError + getError;
    EXPECT_EQ(errors, setError + both + both + both + both);
}

TEST(TraceModuleIndex, CountsFrom0InEveryProcessFamily) {
    const int cmap[] = {TRC_E_MOD_DDLM, TRC_E_MOD_CEE, TRC_E_MOD_AIM,    TRC_E_MOD_ESM,   TRC_E_MOD_ICS,
                        TRC_E_MOD_NCS,  TRC_E_MOD_SCC, TRC_E_MOD_VOLMGR, TRC_E_MOD_CLASS, TRC_E_MOD_CMAP_DEFINED_MODS};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(cmap[i], i);
    }
    EXPECT_EQ((std::vector<int>{TRC_E_MOD_BEGIN, TRC_E_MOD_CMAP_BEGIN, TRC_E_MOD_MSM_BEGIN, TRC_E_MOD_MSM,
                                TRC_E_MOD_EMP_BEGIN, TRC_E_MOD_EMP, TRC_E_MOD_ESA_BEGIN, TRC_E_MOD_ESA}),
              std::vector<int>(8, 0));
    EXPECT_EQ((std::vector<int>{TRC_E_MOD_MSM_DEFINED_MODS, TRC_E_MOD_EMP_DEFINED_MODS, TRC_E_MOD_ESA_DEFINED_MODS}),
              std::vector<int>(3, 1));
}

} // namespace
