/** Where a new block's contents come from: a text file or a binary image. */
#pragma once

#include <fstream>
#include <functional>
#include <string>

#include "mpu_gbl.h"

/** Opens the file, so that what is wrong with it is known before an older block goes. Throws a failure. */
[[nodiscard]] std::ifstream openInput(const std::string& path);

/** Tells the library's block creator to read `config`, or `image` when `config` is empty; returns the file's name. */
const std::string& chooseSource(const std::string& config, const std::string& image);

/** What the library reports while `action` runs, instead of standard error. */
[[nodiscard]] std::string reportsOf(const std::function<void()>& action);

/** The same words with one blank for every run of white space. */
[[nodiscard]] std::string onOneLine(const std::string& text);

/** The block that the chosen source makes: created without a key and thrown away. Throws a failure when none comes. */
[[nodiscard]] MPU_PARAMS_t tryOut(const std::string& source);
