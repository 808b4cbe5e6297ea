/** System calls of the library that fail when a test wants it. */
#pragma once

#include <cstddef>

namespace faults {

/** A call that is let through `passes` times and then fails once with `error`; 0: never. */
struct Fault {
    int error = 0;
    int passes = 0;

    /** Whether this call fails; errno is set then. */
    bool strikes();
};

extern Fault shmget;
extern Fault shmat;
extern Fault shmctl;
extern Fault read;
extern Fault mutexInit; /**< pthread_mutex_init(), which returns its error */

/** What shmget() was asked for last. */
struct Asked {
    std::size_t size = 0;
    int flags = 0;
};
extern Asked asked;

/** Who owns and who has made every segment, as shmctl() tells it; the truth while unset. */
struct Users {
    bool set = false;
    unsigned owner = 0;
    unsigned maker = 0;
};
extern Users users;

/** The next read() transfers only so many bytes; -1: as many as asked for. */
extern int shortRead;

} // namespace faults
