/** Hex dumps. */
#include <cstdio>
#include <cstdlib>
#include <numeric>

#include <sys/mman.h>

#include "trace_fixture.h"

namespace {

class TraceDump : public TraceTest {
protected:
    TraceDump() { init(); }
};

/** 4096 bytes 00 01 02 ... at an address that the expected text can name. */
class BytesAt_t {
public:
    explicit BytesAt_t(std::uintptr_t address)
        : page_(mmap(reinterpret_cast<void*>(address), SIZE, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0)) {
        if (page_ != reinterpret_cast<void*>(address)) {
            std::abort(); // something else lives there
        }
        std::iota(bytes(), bytes() + SIZE, static_cast<unsigned char>(0));
    }
    BytesAt_t(const BytesAt_t&) = delete;
    BytesAt_t& operator=(const BytesAt_t&) = delete;
    ~BytesAt_t() { (void)munmap(page_, SIZE); }

    [[nodiscard]] unsigned char* bytes() const { return static_cast<unsigned char*>(page_); }

private:
    static constexpr std::size_t SIZE = 4096;
    void* page_;
};

TEST_F(TraceDump, HasThirtyTwoBytesALineInGroupsOfEight) {
    const BytesAt_t page(0x50000000);
    const std::string first = "0x50000000: 0001020304050607 08090A0B0C0D0E0F 1011121314151617 18191A1B1C1D1E1F\n";
    const std::pair<U32_t, std::string> dumps[] = {
        {0, ""},
        {1, "0x50000000: 00\n"},
        {8, "0x50000000: 0001020304050607\n"},
        {9, "0x50000000: 0001020304050607 08\n"},
        {32, first},
        {33, first + "0x50000020: 20\n"},
        {64, first + "0x50000020: 2021222324252627 28292A2B2C2D2E2F 3031323334353637 38393A3B3C3D3E3F\n"},
    };
    for (const auto& [length, text] : dumps) {
        TRACE__redirect(&params, "esa_%02d.log");
        TRACE__dump("", "", 1, "label =", page.bytes(), length);
        EXPECT_EQ(log(), "label =\n" + text);
    }
}

TEST_F(TraceDump, AddressIsTheBytesOwnInItsLow32BitsAndEightDigits) {
    {
        const BytesAt_t page(0x50000000);
        TRACE__dump("", "", 1, "x", page.bytes() + 0xABC, 1);
        EXPECT_EQ(log(), "x\n0x50000ABC: BC\n");
    }
#if __SIZEOF_POINTER__ == 8
    const BytesAt_t page(0x6512300AB000);
    TRACE__redirect(&params, "esa_%02d.log");
    TRACE__dump("", "", 1, "x", page.bytes(), 1);
    EXPECT_EQ(log(), "x\n0x300AB000: 00\n");
#endif
}

TEST_F(TraceDump, Of2000BytesIsWhole) {
    const BytesAt_t page(0x50000000);
    std::string expected = "all";
    for (std::size_t i = 0; i < 2000; ++i) {
        char piece[32];
        if (i % 32 == 0) {
            (void)std::snprintf(piece, sizeof piece, "\n0x%08X: ", static_cast<unsigned>(0x50000000 + i));
            expected += piece;
        } else if (i % 8 == 0) {
            expected += ' ';
        }
        (void)std::snprintf(piece, sizeof piece, "%02X", static_cast<unsigned>(i % 256));
        expected += piece;
    }
    TRACE__dump("", "", 1, "all", page.bytes(), 2000);
    EXPECT_EQ(log(), expected + "\n");
    EXPECT_EQ(lines(log()).size(), 64U);
    EXPECT_EQ(pthread_mutex_trylock(&traceData.lock), 0) << "it is released";
    EXPECT_EQ(pthread_mutex_unlock(&traceData.lock), 0);
}

TEST_F(TraceDump, CountsOneMoreLineForEachFullBuffer) {
    const BytesAt_t page(0x50000000);
    // The 401st byte takes the buffered text to 1009 characters; the 402nd finds it so.
    U32_t before = 0;
    for (const auto& [length, count] : {std::pair<U32_t, U32_t>{0, 1}, {401, 1}, {402, 2}, {2000, 5}, {4064, 11}}) {
        TRACE__dump("", "", 1, "x", page.bytes(), length);
        EXPECT_EQ(traceData.logWriteCount - before, count) << length;
        before = traceData.logWriteCount;
    }
}

TEST_F(TraceDump, LabelOf1024CharactersIsWholeAndALongerOneIsCut) {
    for (const std::size_t length : {1023U, 1024U, 1025U, 3000U}) {
        TRACE__redirect(&params, "esa_%02d.log");
        TRACE__dump("", "", 1, std::string(length, 'L').c_str(), "", 0);
        EXPECT_EQ(log(), std::string(std::min<std::size_t>(length, 1024), 'L') + "\n");
    }
}

TEST_F(TraceDump, MacroNamesTheCallersLineAndFollowsBit4) {
    const BytesAt_t page(0x50000000);
    (void)TRACE__setTraceLevel(0, 0xFFEF);
    TRACE_DUMP("esaMMSG =", page.bytes(), 2);
    EXPECT_EQ(log(), "");
    (void)TRACE__setTraceLevel(0, 0xFFFF);
    const std::string line = std::to_string(__LINE__ + 1);
    TRACE_DUMP("esaMMSG =", page.bytes(), 2);
    EXPECT_EQ(log(), "trace_dump_test.cpp:TestBody:" + line + ": esaMMSG =\n0x50000000: 0001\n");
}

} // namespace
