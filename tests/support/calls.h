/** System calls of the code under test, in the hands of a test. Left alone, they go to the system. */
#pragma once

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <functional>
#include <type_traits>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/shm.h>
#include <sys/types.h>
#include <termios.h>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __real_pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int __real_pthread_mutexattr_setpshared(pthread_mutexattr_t* attributes, int shared);
int __real_sched_yield();
int __real_sigaction(int signal, const struct sigaction* action, struct sigaction* old);
ssize_t __real_read(int fd, void* bytes, std::size_t count);
ssize_t __real_write(int fd, const void* bytes, std::size_t count);
ssize_t __real_readlink(const char* path, char* buffer, std::size_t size);
int __real_close(int fd);
int __real_fchmod(int fd, mode_t mode);
int __real_rename(const char* from, const char* to);
int __real_pipe2(int* ends, int flags);
int __real_socket(int domain, int type, int protocol);
int __real_listen(int fd, int backlog);
ssize_t __real_send(int fd, const void* bytes, std::size_t count, int flags);
ssize_t __real_recv(int fd, void* bytes, std::size_t count, int flags);
int __real_poll(pollfd* fds, nfds_t count, int timeout);
int __real_tcgetattr(int fd, termios* settings);
int __real_tcsetattr(int fd, int when, const termios* settings);
void __real_tzset();
int __real_shmget(key_t key, std::size_t size, int flags);
void* __real_shmat(int shmid, const void* address, int flags);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace calls {

int realOpen(const char* path, int flags, mode_t mode);
int realFcntl(int fd, int command, unsigned long argument);
int realIoctl(int fd, unsigned long request, unsigned long argument);
int realShmctl(int shmid, int command, shmid_ds* state);
time_t realTime(time_t* result);

template <auto REAL, bool ReturnsError>
class Call_t;

template <typename R, typename... A, R (*REAL)(A...), bool ReturnsError>
class Call_t<REAL, ReturnsError> {
public:
    static R real(A... arguments) { return REAL(arguments...); }

    /** Answers every call while it is set. */
    std::function<R(A...)> answer;

    /** `passes` calls are let through, then one fails with `error`; 0: none. */
    void failWith(int error, int passes = 0) {
        error_ = error;
        passes_ = passes;
    }

    R operator()(A... arguments) {
        if constexpr (!std::is_void_v<R>) {
            if (error_ != 0 && passes_-- <= 0) {
                return failed(std::exchange(error_, 0));
            }
        }
        return answer ? answer(arguments...) : REAL(arguments...);
    }

private:
    static R failed(int error) {
        if constexpr (ReturnsError) {
            return error;
        }
        errno = error;
        if constexpr (std::is_pointer_v<R>) {
            return reinterpret_cast<R>(-1); // NOLINT(performance-no-int-to-ptr)
        } else {
            return -1;
        }
    }

    int error_ = 0;
    int passes_ = 0;
};

/** Has a call answered while it lives. */
template <typename Call>
class Answer_t {
public:
    template <typename F>
    Answer_t(Call& call, F answer) : call_(call) {
        call.answer = std::move(answer);
    }
    ~Answer_t() { call_.answer = nullptr; }
    Answer_t(const Answer_t&) = delete;
    Answer_t& operator=(const Answer_t&) = delete;

private:
    Call& call_;
};

template <auto REAL>
using ByErrno_t = Call_t<REAL, false>;
/** A call that returns the error's number. */
template <auto REAL>
using ByResult_t = Call_t<REAL, true>;

inline ByResult_t<__real_pthread_mutex_init> pthread_mutex_init;
inline ByResult_t<__real_pthread_mutex_destroy> pthread_mutex_destroy;
inline ByResult_t<__real_pthread_mutex_lock> pthread_mutex_lock;
inline ByResult_t<__real_pthread_mutex_unlock> pthread_mutex_unlock;
inline ByResult_t<__real_pthread_mutexattr_init> pthread_mutexattr_init;
inline ByResult_t<__real_pthread_mutexattr_setpshared> pthread_mutexattr_setpshared;
inline ByErrno_t<__real_sched_yield> sched_yield;
inline ByErrno_t<__real_sigaction> sigaction;
inline ByErrno_t<__real_read> read;
inline ByErrno_t<__real_write> write;
inline ByErrno_t<__real_readlink> readlink;
inline ByErrno_t<__real_close> close;
inline ByErrno_t<__real_fchmod> fchmod;
inline ByErrno_t<__real_rename> rename;
inline ByErrno_t<__real_pipe2> pipe2;
inline ByErrno_t<__real_socket> socket;
inline ByErrno_t<__real_listen> listen;
inline ByErrno_t<__real_send> send;
inline ByErrno_t<__real_recv> recv;
inline ByErrno_t<__real_poll> poll;
inline ByErrno_t<__real_tcgetattr> tcgetattr;
inline ByErrno_t<__real_tcsetattr> tcsetattr;
inline ByErrno_t<__real_tzset> tzset;
inline ByErrno_t<__real_shmget> shmget;
inline ByErrno_t<__real_shmat> shmat;
inline ByErrno_t<realShmctl> shmctl;
inline ByErrno_t<realOpen> open;
inline ByErrno_t<realFcntl> fcntl;
inline ByErrno_t<realIoctl> ioctl;
inline ByErrno_t<realTime> time;

/** exit() ends the process and prints its whole status on standard error; else it aborts, for its status can look like
 * success. */
extern bool exitIsExpected;

} // namespace calls
