/** Names of the elements: the same in text, JSON, metrics, events and on the command line. */
#pragma once

#include <string>

/** "slot03": the drive slot with this slot address, from 0. */
std::string slotName(unsigned slot);
std::string supplyName(unsigned index); /**< "psu1" */
std::string fanName(unsigned index);    /**< "fan2" */
std::string sensorName(unsigned index); /**< "temp0" */
std::string alarmName(unsigned index);  /**< "alarm0" */

/**
 * The number of the element that the user named `text`: "3", or "slot3" or "slot03" for prefix "slot". Throws
 * ToolError_t "usage" when it is neither, or when the enclosure has only `count` such elements.
 */
unsigned parseElement(const std::string& prefix, const std::string& text, unsigned count);
