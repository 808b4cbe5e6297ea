/** Log files: names, opening, the size check, redirection, the end. */
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include "trace_fixture.h"

namespace {

class TraceLog : public TraceTest {};

void write(const char* text) {
    TRACE__info("", "", 1, "%s", text);
}

TEST_F(TraceLog, IsCreatedAndTruncatedAtStartUnderItsDirectoryAndInstanceNumber) {
    std::ofstream(path("esa_01.log")) << "of an earlier run";
    init();
    TRACE_INFO("level words start at 0");
    EXPECT_TRUE(exists("esa_01.log"));
    EXPECT_EQ(logName(), directory + "/esa_01.log");
    EXPECT_EQ(traceData.logNameProto, directory + "/esa_%02d.log");
    EXPECT_EQ(traceData.logInstanceNumber, 1);
    EXPECT_EQ(traceData.log_to_file, 1U);
    TRACE_openLog();
    EXPECT_EQ(logName(), directory + "/esa_02.log");
    write("x");
    EXPECT_EQ(log("esa_01.log"), "");
    EXPECT_EQ(log("esa_02.log"), "x\n");
    TRACE_openLog();
    EXPECT_EQ(traceData.logWriteCount, 0U);
}

TEST_F(TraceLog, NumberFollowsThePattern) {
    init();
    for (const auto& [pattern, name] : {std::pair{"a%d", "a7"},
                                        {"a%3db", "a  7b"},
                                        {"a%03d.log", "a007.log"},
                                        {"plain.log", "plain.log"},
                                        {"%d_%d", "7_7"},
                                        {"100%.log", "100%.log"},
                                        {"%s%n%5", "%s%n%5"},
                                        {"a0%", "a0%"}}) {
        (void)std::snprintf(traceData.logNameProto, sizeof traceData.logNameProto, "/dir/%s", pattern);
        traceData.logInstanceNumber = 7;
        EXPECT_EQ(logName(), std::string("/dir/") + name);
    }
}

TEST_F(TraceLog, DirectoryWithPercentSignsIsADirectory) {
    const std::string odd = directory + "/100%d%s%n";
    std::filesystem::create_directory(odd);
    setDirectory(odd);
    init();
    EXPECT_EQ(logName(), odd + "/esa_01.log");
    write("here");
    EXPECT_EQ(testsupport::readFile(odd + "/esa_01.log"), "here\n");
}

TEST_F(TraceLog, DirectoryThatFillsItsFieldNeedsNoTerminator) {
    std::string longest = directory + "/";
    longest.append(128 - longest.size(), 'd');
    std::filesystem::create_directory(longest);
    longest.copy(params.logDirectory, 128);
    init();
    EXPECT_EQ(logName(), longest + "/esa_01.log");
    EXPECT_EQ(traceData.log_to_file, 1U);
}

TEST_F(TraceLog, PatternAndNameAreCutTo192Bytes) {
    init(std::string(300, 'n').c_str());
    const std::string whole = directory + "/" + std::string(300, 'n');
    EXPECT_EQ(logName(), whole.substr(0, 191));
    EXPECT_EQ(traceData.logNameProto, whole.substr(0, 191));
    (void)std::snprintf(traceData.logNameProto, sizeof traceData.logNameProto, "/dir/%%300dx");
    char name[193];
    name[192] = '#';
    TRACE__getLogName(name);
    EXPECT_EQ(std::string(name), "/dir/" + std::string(186, ' '));
    EXPECT_EQ(name[192], '#');
    (void)std::strcpy(traceData.logNameProto, "esa_%02d.log");
    EXPECT_EQ(logName(), "esa_01.log") << "a pattern without a directory is one too";
}

TEST_F(TraceLog, InstanceNumberWrapsFrom255To0) {
    init();
    for (int i = 2; i <= 255; ++i) {
        TRACE_openLog();
    }
    EXPECT_EQ(logName(), directory + "/esa_255.log");
    TRACE_openLog();
    EXPECT_EQ(logName(), directory + "/esa_00.log");
    EXPECT_EQ(traceData.logInstanceNumber, 0);
    write("wrapped");
    EXPECT_EQ(log("esa_00.log"), "wrapped\n");
    TRACE_openLog();
    EXPECT_EQ(logName(), directory + "/esa_01.log");
}

TEST_F(TraceLog, ThatCannotBeOpenedSendsEverythingToStandardError) {
    setDirectory(directory + "/missing");
    EXPECT_EQ(errorsOf([&] {
                  init();
                  EXPECT_EQ(traceData.log_to_file, 0U);
                  EXPECT_EQ(traceData.fd, stderr);
                  EXPECT_EQ(logName(), "<stderr>");
                  write("line");
                  std::filesystem::create_directory(directory + "/missing");
                  TRACE_checkLog();
                  TRACE_openLog();
                  write("not retried");
              }),
              "TRACE_openLog: Failed to open logfile " + directory +
                  "/missing/esa_01.log So We are going print all log messages on to stdout"
                  "line\nnot retried\n");
}

TEST_F(TraceLog, IsOpenedNeitherThroughALinkNorAsAPipe) {
    const std::string path = directory + "/esa_01.log";
    std::ofstream(directory + "/victim") << "precious";
    const auto expectRefused = [&](const char* what) {
        EXPECT_EQ(errorsOf([&] { init(); }), "TRACE_openLog: Failed to open logfile " + path +
                                                 " So We are going print all log messages on to stdout")
            << what;
        TRACE__done();
        std::filesystem::remove(path);
    };
    std::filesystem::create_symlink(directory + "/victim", path);
    expectRefused("a link");
    std::filesystem::create_hard_link(directory + "/victim", path);
    expectRefused("a second name");
    std::filesystem::create_symlink("/dev/full", path);
    expectRefused("a link to a device");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectRefused("a pipe that nobody reads");
    EXPECT_EQ(std::filesystem::file_size(directory + "/victim"), 8U);
}

TEST_F(TraceLog, IsNotReadableForEverybodyAndStartsEmpty) {
    std::ofstream(directory + "/esa_01.log") << "of the life before";
    const mode_t before = umask(0);
    init();
    TRACE_openLog();
    umask(before);
    EXPECT_EQ(log("esa_01.log"), "");
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(directory + "/esa_02.log").permissions()), 0640U);
}

TEST_F(TraceLog, BeforeItsStartIsStandardError) {
    EXPECT_EQ(errorsOf([] {
                  traceData.fd = nullptr; // as in a process that has not begun to trace
                  TRACE__info("", "", 1, "line");
              }),
              "line\n");
}

TEST_F(TraceLog, WithoutABlockOrANameItIsStandardErrorAndLeavesTheFileClosed) {
    const std::pair<const MPU_PARAMS_t*, const char*> cases[] = {
        {nullptr, "esa_%02d.log"}, {&params, nullptr}, {&params, ""}};
    for (const auto& [block, name] : cases) {
        for (const bool redirected : {true, false}) {
            if (redirected) {
                init();
                write("in the file");
            }
            EXPECT_EQ(errorsOf([redirected, block = block, name = name] {
                          redirected ? TRACE__redirect(block, name) : TRACE__init(block, name, 0, nullptr);
                          EXPECT_EQ(logName(), "<stderr>");
                          EXPECT_STREQ(traceData.logNameProto, "<stderr>");
                          EXPECT_EQ(traceData.log_to_file, 0U);
                          write("line");
                          TRACE__dump("", "", 1, "dump", "", 0);
                          EXPECT_EQ(traceData.logWriteCount, 2U);
                          traceData.logWriteCount = 99999;
                          TRACE_checkLog();
                          EXPECT_EQ(traceData.logWriteCount, 0U);
                          EXPECT_EQ(traceData.logInstanceNumber, 1);
                      }),
                      "line\ndump\n");
            EXPECT_EQ(log(), "in the file\n");
            TRACE__done();
        }
    }
}

TEST_F(TraceLog, RedirectGoesToAFileOfNumber1) {
    TRACE__init(nullptr, nullptr, 0, nullptr);
    TRACE__redirect(&params, "esa_%02d.log");
    EXPECT_EQ(std::fputs("", stderr), 1); // still open
    write("a");
    TRACE_openLog();
    TRACE__redirect(&params, "other_%d.log");
    EXPECT_EQ(logName(), directory + "/other_1.log");
    EXPECT_EQ(traceData.logWriteCount, 0U);
    write("b");
    EXPECT_EQ(log("esa_01.log"), "a\n");
    EXPECT_EQ(log("other_1.log"), "b\n");
}

class TraceSizeCheck : public TraceLog {
protected:
    TraceSizeCheck() { init(); }
    void writeLines(int count) {
        for (int i = 0; i < count; ++i) {
            write("x");
        }
    }
};

TEST_F(TraceSizeCheck, The100000thLineGoesToTheNextFileWhenThisOneHas2000000000Bytes) {
    ASSERT_EQ(truncate(path("esa_01.log").c_str(), 2000000000), 0);
    writeLines(99999);
    EXPECT_EQ(logName(), directory + "/esa_01.log");
    EXPECT_EQ(traceData.logWriteCount, 99999U);
    write("the 100000th");
    EXPECT_EQ(logName(), directory + "/esa_02.log");
    EXPECT_EQ(traceData.logWriteCount, 0U);
    EXPECT_EQ(log("esa_02.log"), "the 100000th\n");
    EXPECT_EQ(std::filesystem::file_size(path("esa_01.log")), 2000000000U);
}

TEST_F(TraceSizeCheck, SizeIsComparedInAllOfItsBits) {
    // 4 GiB and five bytes: small to who looks at 32 bits only.
    ASSERT_EQ(truncate(path("esa_01.log").c_str(), 4294967301), 0);
    TRACE_checkLog();
    EXPECT_EQ(logName(), directory + "/esa_02.log");
}

TEST_F(TraceSizeCheck, FileOf1999999999BytesIsKept) {
    ASSERT_EQ(truncate(path("esa_01.log").c_str(), 1999999999), 0);
    writeLines(100000);
    EXPECT_EQ(logName(), directory + "/esa_01.log");
    EXPECT_EQ(traceData.logWriteCount, 0U);
    EXPECT_FALSE(exists("esa_02.log"));
    // The next look is another 100000 lines away.
    ASSERT_EQ(truncate(path("esa_01.log").c_str(), 2000000000), 0);
    writeLines(99999);
    EXPECT_FALSE(exists("esa_02.log"));
    write("x");
    EXPECT_TRUE(exists("esa_02.log"));
}

TEST_F(TraceSizeCheck, LinesOfEveryKindCountAndGoToTheNextFile) {
    const std::pair<void (*)(), const char*> writers[] = {
        {[] { TRACE__info("", "", 1, "x"); }, "x\n"},
        {[] { TRACE__dump("", "", 1, "x", "", 0); }, "x\n"},
        {[] { TRACE__enter(0, "", "", 1, "x"); }, "ENTERING into func: : x\n"},
        {[] { TRACE__return(0, "", "", 1, "x"); }, "EXITING from func: : x\n"},
    };
    for (const auto& [writeOne, text] : writers) {
        SCOPED_TRACE(text);
        TRACE__redirect(&params, "esa_%02d.log");
        (void)unlink(path("esa_02.log").c_str());
        ASSERT_EQ(truncate(path("esa_01.log").c_str(), 2000000000), 0);
        traceData.logWriteCount = 99998;
        writeOne();
        EXPECT_FALSE(exists("esa_02.log"));
        writeOne();
        EXPECT_EQ(log("esa_02.log"), text);
    }
}

TEST_F(TraceSizeCheck, LooksAtTheFileOfTheLogsNameIfThereIsOne) {
    std::filesystem::rename(path("esa_01.log"), path("moved"));
    TRACE_checkLog();
    EXPECT_EQ(logName(), directory + "/esa_01.log");
    std::ofstream(path("esa_01.log")) << "another file";
    ASSERT_EQ(truncate(path("esa_01.log").c_str(), 2000000000), 0);
    TRACE_checkLog();
    EXPECT_EQ(logName(), directory + "/esa_02.log");
}

TEST_F(TraceLog, DoneClosesTheFileAndTracesNothingMore) {
    init();
    (void)TRACE__setTraceLevel(0, 0x0010);
    TRACE_INFO("last");
    TRACE__done();
    EXPECT_EQ(traceData.fd, stderr);
    TRACE_INFO("nothing");
    EXPECT_EQ(log(), "last\n");
    EXPECT_EQ(logName(), "<stderr>");
    TRACE__done();
    EXPECT_EQ(std::fputs("", stderr), 1); // still open
}

int lowestFreeDescriptor() {
    const int fd = dup(STDERR_FILENO);
    (void)close(fd);
    return fd;
}

TEST_F(TraceLog, NoFileStaysOpen) {
    const int before = lowestFreeDescriptor();
    init();
    EXPECT_GT(lowestFreeDescriptor(), before);
    TRACE_openLog();
    TRACE__redirect(&params, "other_%d.log");
    TRACE__redirect(nullptr, nullptr);
    EXPECT_EQ(lowestFreeDescriptor(), before);
    TRACE__redirect(&params, "other_%d.log");
    TRACE__done();
    EXPECT_EQ(lowestFreeDescriptor(), before);
}

TEST_F(TraceLog, RedirectAndDoneFlushTheFileAndItCanBeStartedAgain) {
    init();
    EXPECT_GT(std::fputs("buffered", traceData.fd), 0);
    TRACE__redirect(&params, "other_%02d.log");
    EXPECT_EQ(log(), "buffered");
    EXPECT_GT(std::fputs("buffered", traceData.fd), 0);
    TRACE__done();
    EXPECT_EQ(log("other_01.log"), "buffered");
    init();
    write("again");
    EXPECT_EQ(log(), "again\n");
}

} // namespace
