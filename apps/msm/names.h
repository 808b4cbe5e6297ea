/** Words for the values that messages carry. */
#pragma once

#include "words.h"
