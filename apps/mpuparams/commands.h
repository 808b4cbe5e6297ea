/** The commands of this tool. Each throws ToolError_t when it cannot do what it was asked for. */
#pragma once

#include <span>
#include <string>

/**
 * Creates the block of `key` from the text file `config`, or from the binary image `image` when `config` is empty;
 * an older block of that key is replaced.
 */
void createBlock(int key, const std::string& config, const std::string& image);

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
