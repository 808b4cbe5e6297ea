/** What a shell may offer for the word that is being typed: made from the same list that the command line is read by.
 */
#pragma once

#include <string>
#include <vector>

#include "command_line.h"

/** How far a command line has come. */
struct CliPlace_t {
    const CliCommand_t* command = nullptr; /**< the one that is named; nullptr: none yet */
    std::string unknown = {};              /**< the word in the place of a command that is none */
    std::string unknownOption = {};        /**< the first that there is none of where it stands */
    bool isBeforeCommand = false;          /**< it stands where the program's own options do, of one with commands */
    bool isHelp = false;                   /**< help or the version is asked for */
    std::size_t arguments = 0;             /**< words that are neither options nor their values */
    const CliOption_t* waiting = nullptr;  /**< the option whose value comes next */
};

/** Walks over the words behind the program's name; values of text options reach their targets. */
[[nodiscard]] CliPlace_t findPlace(const CliProgram_t& program, const std::vector<std::string>& words);

/** The options there, by their long names: the program's own, or those of a command. */
[[nodiscard]] std::vector<std::string> optionNames(const CliProgram_t& program, const CliCommand_t* command);

/**
 * One line each for what may stand in the place of the last word: the word, and behind a tab what it means. The lines
 * ":files" and ":directories" stand for the names of such. A shell that takes "=" for a word of its own, as bash does,
 * may give it so.
 */
[[nodiscard]] std::vector<std::string> completionsOf(const CliProgram_t& program, std::vector<std::string> words);
