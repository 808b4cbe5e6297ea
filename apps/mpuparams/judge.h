/** What is wrong with a text configuration: more than its reader complains of, which takes any text for some number. */
#pragma once

#include <istream>
#include <map>
#include <string>
#include <vector>

#include "mpu_gbl.h"

struct Finding_t {
    std::size_t line; /**< from 1; 0: what no line gives */
    bool isError;     /**< no management process can work with the block, else a line is misread or left out */
    std::string text; /**< what is wrong and what would be right */
};

struct Judgement_t {
    std::vector<Finding_t> findings;
    std::map<std::string, std::size_t> lines; /**< where the table's keys were last given */

    [[nodiscard]] bool hasErrors() const;
};

/** Judges every line by itself. */
[[nodiscard]] Judgement_t judgeLines(std::istream& text);

/** Adds what is wrong with the block that came of it. */
void judgeBlock(const MPU_PARAMS_t& block, Judgement_t& judgement);

/** "FILE:LINE: TEXT", without the line where there is none. */
[[nodiscard]] std::string describeFinding(const std::string& file, const Finding_t& finding);
