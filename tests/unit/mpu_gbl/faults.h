/** System calls of the library that fail when a test wants it. */
#pragma once

#include <cstddef>

namespace faults {

/** A call that is let through `passes` times and then fails once with `error`; 0: never. */
struct Fault_t {
    int error = 0;
    int passes = 0;

    /** Whether this call fails; errno is set then. */
    bool strikes();
};

extern Fault_t shmget;
extern Fault_t shmat;
extern Fault_t shmctl;
extern Fault_t read;
extern Fault_t mutexInit; /**< pthread_mutex_init(), which returns its error */

/** What shmget() was asked for last. */
struct Asked_t {
    std::size_t size = 0;
    int flags = 0;
};
extern Asked_t asked;

/** Who owns and who has made every segment, as shmctl() tells it; the truth while unset. */
struct Users_t {
    bool set = false;
    unsigned owner = 0;
    unsigned maker = 0;
};
extern Users_t users;

/** The next read() transfers only so many bytes; -1: as many as asked for. */
extern int shortRead;

} // namespace faults
