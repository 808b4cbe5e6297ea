#include "watch_screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "interrupt.h"
#include "output.h"

namespace {

constexpr std::size_t DEFAULT_HEIGHT = 24;
constexpr std::size_t DEFAULT_WIDTH = 80;

winsize terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        size.ws_row = DEFAULT_HEIGHT;
        size.ws_col = DEFAULT_WIDTH;
    }
    return size;
}

} // namespace

WatchScreen_t::WatchScreen_t() {
    if (isatty(STDOUT_FILENO) == 0 || isatty(STDIN_FILENO) == 0 || tcgetattr(STDIN_FILENO, &saved_) != 0) {
        return;
    }
    interactive_ = true;
    termios keys = saved_;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO); // 'q' without Enter; Ctrl-C stays a signal
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    interruptWatchKeys(STDIN_FILENO);
    printText("\033[?1049h\033[?25l"); // another screen, no cursor
}

WatchScreen_t::~WatchScreen_t() {
    if (!interactive_) {
        return;
    }
    interruptWatchKeys(-1);
    tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
    constexpr char RESTORE[] = "\033[?25h\033[?1049l";
    (void)!write(STDOUT_FILENO, RESTORE, sizeof RESTORE - 1); // nothing left to do when even this fails
}

std::size_t WatchScreen_t::height() const {
    return interactive_ ? terminalSize().ws_row : DEFAULT_HEIGHT;
}

void WatchScreen_t::draw(const std::vector<std::string>& lines) {
    if (!interactive_) {
        printLines(lines);
        printText("\n");
        return;
    }
    const winsize size = terminalSize();
    std::string frame = "\033[H";
    for (std::size_t i = 0; i < lines.size() && i < size.ws_row; ++i) {
        frame += (i == 0 ? "" : "\r\n") + fitToWidth(lines[i], size.ws_col) + "\033[K";
    }
    printText(frame + "\033[J");
}

std::string fitToWidth(const std::string& line, std::size_t width) {
    std::string fitted;
    std::size_t columns = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\033') {
            const std::size_t end = line.find('m', i);
            const std::size_t last = end == std::string::npos ? line.size() - 1 : end;
            fitted.append(line, i, last - i + 1);
            i = last;
        } else if (columns < width) {
            fitted += line[i];
            ++columns;
        }
    }
    return fitted;
}
