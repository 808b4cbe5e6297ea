#include "journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include <unistd.h>

bool journalListens() {
    return getenv("JOURNAL_STREAM") != nullptr;
}

void journalLine(std::initializer_list<std::string_view> pieces) {
    if (!journalListens()) {
        return;
    }
    const int callersErrno = errno;
    std::array<char, 512> line;
    // What the process has printed last may have no line end; the journal drops an empty line.
    line[0] = '\n';
    std::size_t length = 1;
    for (const std::string_view piece : pieces) {
        const std::size_t count = std::min(piece.size(), line.size() - 1 - length);
        std::copy_n(piece.begin(), count, line.begin() + static_cast<std::ptrdiff_t>(length));
        length += count;
    }
    line[length++] = '\n';
    (void)!write(STDERR_FILENO, line.data(), length); // there is nobody to tell that nobody listens
    errno = callersErrno;
}
