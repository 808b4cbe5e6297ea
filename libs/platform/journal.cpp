#include "journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include <unistd.h>

void journalLine(std::initializer_list<std::string_view> pieces) {
    if (getenv("JOURNAL_STREAM") == nullptr) {
        return;
    }
    const int callersErrno = errno;
    std::array<char, 512> line;
    std::size_t length = 0;
    for (const std::string_view piece : pieces) {
        const std::size_t count = std::min(piece.size(), line.size() - 1 - length);
        std::copy_n(piece.begin(), count, line.begin() + static_cast<std::ptrdiff_t>(length));
        length += count;
    }
    line[length++] = '\n';
    (void)!write(STDERR_FILENO, line.data(), length); // there is nobody to tell that nobody listens
    errno = callersErrno;
}
