/** For coverage builds: a process that aborts or leaves by _exit() would lose what it has counted, so it saves that. */
#include <csignal>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names that the compiler's and the linker's options give
int __llvm_profile_write_file();
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status);
// NOLINTEND(bugprone-reserved-identifier)
}

void __wrap__exit(int status) {
    (void)__llvm_profile_write_file();
    __real__exit(status);
}

namespace {

/** abort() raises its signal once more when the handler returns, and then it is deadly. */
void saveCounts(int /*signal*/) {
    (void)__llvm_profile_write_file();
}

[[maybe_unused]] const auto installed = std::signal(SIGABRT, saveCounts);

} // namespace
