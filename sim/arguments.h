/** The words of a command line, checked. */
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/** A command that cannot be carried out; the text says what would be right. */
struct Refused_t : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** `word` between quotation marks, fit for one line of a reply whatever bytes it holds. */
std::string inQuotes(std::string_view word);

class Arguments_t {
public:
    /** Splits `line` at blanks. The first word is the command. */
    explicit Arguments_t(std::string_view line);

    const std::string& command() const { return command_; }
    std::size_t size() const { return words_.size(); }
    /** Word `at` after the command; "" behind the last. */
    const std::string& word(std::size_t at) const;

    /** Refuses unless there are `least` to `most` words after the command; `usage` is what would be right. */
    void expect(std::size_t least, std::size_t most, const char* usage) const;

    /** Word `at` as a number from `least` to `most`; `what` names it in the refusal. */
    double number(std::size_t at, const char* what, double least, double most) const;
    /** The same for whole numbers, decimal or with 0x. */
    unsigned whole(std::size_t at, const char* what, unsigned least, unsigned most) const;
    /** An index below `count` of the things called `what`. */
    std::size_t index(std::size_t at, const char* what, std::size_t count) const;
    /** True for the word `yes`, false for `no`; anything else is refused. */
    bool either(std::size_t at, const char* yes, const char* no) const;

private:
    std::string command_;
    std::vector<std::string> words_;
};
