#include <cstdio>
#include <cstdlib>

#include "calls.h"

namespace calls {

bool exitIsExpected = false;

} // namespace calls

// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
extern "C" {
[[noreturn]] void __real_exit(int status);

[[noreturn]] void __wrap_exit(int status) {
    if (!calls::exitIsExpected) {
        (void)std::fprintf(stderr, "the code under test left with exit(0x%08X)\n", static_cast<unsigned>(status));
        std::abort();
    }
    (void)std::fprintf(stderr, "exit(0x%08X)", static_cast<unsigned>(status));
    __real_exit(status);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
