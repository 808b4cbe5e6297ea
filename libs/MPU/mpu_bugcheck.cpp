#include <cstdio>
#include <cstdlib>

#include "osdep.h"

void MPU_BUGCHECK(U32_t status, const CHAR_t* text) {
    std::perror("MPU_BUGCHECK() encountered");
    (void)std::fprintf(stderr, ": %s\n", text);
    std::exit(static_cast<int>(status));
}
