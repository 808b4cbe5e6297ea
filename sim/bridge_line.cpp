#include "bridge_line.h"

#include <unistd.h>

void BridgeLine_t::serve(std::span<const pollfd> ready) {
    std::uint8_t bytes[4096];
    const ssize_t count = ready[0].revents == 0 ? 0 : read(pty_.fd(), bytes, sizeof bytes);
    if (count <= 0) {
        return;
    }
    const auto answer = bridge_.feed(std::span(bytes).first(static_cast<std::size_t>(count)), Bridge_t::Clock_t::now());
    // A line nobody reads from loses what does not fit, as a serial line does.
    (void)!write(pty_.fd(), answer.data(), answer.size());
}
