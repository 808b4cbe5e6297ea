// A program for the tests of the process runner: does what its first argument says.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "args") {
        for (int i = 2; i < argc; i++) {
            std::printf("[%s]", argv[i]);
        }
    } else if (what == "exit") {
        std::fprintf(stderr, "leaving");
        return std::atoi(argv[2]);
    } else if (what == "cat") {
        for (int c = std::getchar(); c != EOF; c = std::getchar()) {
            std::putchar(c);
        }
    } else if (what == "env") {
        const char* value = std::getenv(argv[2]);
        std::printf("%s", value != nullptr ? value : "(none)");
    } else if (what == "flood") {
        for (int i = 0; i < 200000; i++) {
            std::putchar('x');
        }
    } else if (what == "sleep") {
        std::printf("%ld sleeping\n", static_cast<long>(getpid()));
        std::fflush(stdout);
        sleep(60);
    }
    return 0;
}
