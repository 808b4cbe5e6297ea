/** Which chassis is in service, and the one cause when nothing of it can be known. */
#pragma once

#include <string>

#include "enclosure.h"

/** What is known of the adapter beside its pages. */
struct AdapterFacts_t {
    const ChassisFacts_t* chassis = nullptr; /**< that it was told to serve; nullptr: not known */
    std::string version = {};                /**< empty: not known */
    bool isChosen = false;                   /**< the user named the chassis */
    /** Asked when nothing answers: when something last did, or nothing. None: nobody knows. */
    std::string (*lastTransfer)() = nullptr;
};

/**
 * Reads what whoever started the adapter has left beside its switch: the file "adapter" in `directory`, of lines
 * "chassis=NAME" and "version=TEXT". Nothing is known where there is none.
 */
AdapterFacts_t readAdapterFacts(const std::string& directory);

/**
 * Sets the chassis, and marks what it does not have. Where no reading arrives at all it says the one cause and marks
 * every element as not known.
 */
void diagnose(Enclosure_t& enclosure, const AdapterFacts_t& facts);

/** Whether these are the elements that the adapter lists before it has reached an enclosure. */
[[nodiscard]] bool isUnreached(const Configuration_t& configuration);

/** Whether nothing of the enclosure is known: diagnose() has a cause for it. */
[[nodiscard]] bool isOutOfReach(const Enclosure_t& enclosure);

/** When the service manager last heard of a completed transfer, as "2026-11-21T02:33:11Z"; empty where nobody knows. */
std::string lastTransferTime();
