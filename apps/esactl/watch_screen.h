/** The terminal as a canvas that is redrawn; a pipe or file simply gets one frame after the other. */
#pragma once

#include <string>
#include <termios.h>
#include <vector>

class WatchScreen_t {
public:
    /** Takes over the terminal when standard output and input are one. The destructor gives it back as it was. */
    WatchScreen_t();
    ~WatchScreen_t();
    WatchScreen_t(const WatchScreen_t&) = delete;
    WatchScreen_t& operator=(const WatchScreen_t&) = delete;

    bool interactive() const { return interactive_; }

    /** Lines that fit on the screen now; 24 where nobody knows. */
    std::size_t height() const;

    /** Columns; UNBOUNDED where nobody knows. */
    std::size_t width() const;

    /** Shows `lines` in the place of those shown before. Throws ToolError_t "output". */
    void draw(const std::vector<std::string>& lines);

private:
    bool interactive_ = false;
    termios saved_{};
};
