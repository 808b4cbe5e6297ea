/** The terminal as a canvas that is redrawn; a pipe or file simply gets one frame after the other. */
#pragma once

#include <string>
#include <termios.h>
#include <vector>

class WatchScreen {
public:
    /** Takes over the terminal when standard output and input are one. The destructor gives it back as it was. */
    WatchScreen();
    ~WatchScreen();
    WatchScreen(const WatchScreen&) = delete;
    WatchScreen& operator=(const WatchScreen&) = delete;

    bool interactive() const { return interactive_; }

    /** Lines that fit on the screen now; 24 where nobody knows. */
    std::size_t height() const;

    /** Shows `lines` in the place of those shown before. Throws ToolError "output". */
    void draw(const std::vector<std::string>& lines);

private:
    bool interactive_ = false;
    termios saved_{};
};

/** `line` cut to `width` columns; colour codes take none and are not cut. */
std::string fitToWidth(const std::string& line, std::size_t width);
