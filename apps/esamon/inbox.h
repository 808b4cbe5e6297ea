/** A queue between two threads, with a descriptor to wait on. */
#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <sys/eventfd.h>
#include <unistd.h>

template <typename T>
class Inbox_t {
public:
    Inbox_t() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~Inbox_t() { close(descriptor_); }
    Inbox_t(const Inbox_t&) = delete;
    Inbox_t& operator=(const Inbox_t&) = delete;

    /** Readable while something waits, and perhaps once more. */
    int fd() const { return descriptor_; }

    void push(T value) {
        {
            const std::lock_guard lock(mutex_);
            waiting_.push_back(std::move(value));
        }
        wake();
    }

    std::optional<T> take() {
        const std::lock_guard lock(mutex_);
        if (waiting_.empty()) {
            eventfd_t count = 0;
            (void)eventfd_read(descriptor_, &count);
            return std::nullopt;
        }
        std::optional<T> value(std::move(waiting_.front()));
        waiting_.pop_front();
        return value;
    }

    void wake() const { (void)eventfd_write(descriptor_, 1); }

private:
    int descriptor_;
    std::mutex mutex_;
    std::deque<T> waiting_;
};
