#include "watch_screen.h"

#include <unistd.h>

#include "interrupt.h"
#include "output.h"
#include "render_text.h"

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
    return terminalSize().ws_row;
}

std::size_t WatchScreen_t::width() const {
    return interactive_ ? terminalSize().ws_col : UNBOUNDED;
}

void WatchScreen_t::draw(const std::vector<std::string>& lines) {
    if (!interactive_) {
        printLines(lines);
        printText("\n");
        return;
    }
    std::string frame = "\033[H";
    for (std::size_t i = 0; i < lines.size() && i < height(); ++i) {
        frame += (i == 0 ? "" : "\r\n") + lines[i] + "\033[K";
    }
    printText(frame + "\033[J");
}
