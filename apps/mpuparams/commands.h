/** The commands of this tool. Each throws ToolError_t when it cannot do what it was asked for. */
#pragma once

#include <span>
#include <string>

/**
 * Creates the block of `key` from the text file `config`, or from the binary image `image` when `config` is empty, and
 * carries the assignments out in it; an older block of that key is replaced. Lines of the text file that are misread or
 * left out are reported on standard error.
 */
void createBlock(int key, const std::string& config, const std::string& image,
                 std::span<const std::string> assignments);

/**
 * Judges the text file, with the assignments that would go beside it, and reports every finding on standard error.
 * Returns the exit status: 0 when there is none, or, if `lenient`, none that keeps every process from working.
 */
int checkFile(const std::string& file, bool lenient, std::span<const std::string> assignments);

/** Prints every field of the block on standard output, a line each. */
void showBlock(int key);

/**
 * Prints the block as one JSON object: "version" (of this format: 1), "key" and "params", which holds every field by
 * its name. Numbers are numbers; what "set" takes as a text is that text; a byte that has names is an object of
 * "value" and "name", and "flags" an object of "value" and "names".
 */
void showBlockJson(int key);

/** Carries out all assignments, or none. */
void setFields(int key, std::span<const std::string> assignments);

/** Writes the block as a binary image in network byte order; the file appears complete or not at all. */
void writeImage(int key, const std::string& path);

/** Removes the block. */
void deleteBlock(int key);
