/** The enclosure control page: what is asked of every element, made from what the status page reports. */
#pragma once

#include <optional>
#include <vector>

#include "pages.h"

struct SupplyRequest_t {
    bool on = false;
    bool fail = false; /**< fault indication */
};

struct AlarmRequest_t {
    U8_t common = 0;    /**< commonControl apart from the select bit */
    AlarmTones_t tones; /**< `muted` has no counterpart in a control record and is passed over */
};

/** One record for every element of the enclosure, and which one element the adapter is to act on. */
struct ControlPage_t {
    U32_t generation = 0;
    std::vector<bool> faultLeds; /**< by slot; the adapter acts on all of them, selected or not */
    std::vector<SupplyRequest_t> supplies;
    std::vector<bool> fansOn;
    std::size_t sensors = 0;
    U8_t alarmOverall = 0; /**< last byte of the overall word apart from the select bit */
    std::vector<AlarmRequest_t> alarms;

    std::optional<unsigned> selectedSupply;
    std::optional<unsigned> selectedFan;
    std::optional<unsigned> selectedAlarm;
};

/** The page that leaves the enclosure as `status` reports it: nothing selected. */
ControlPage_t controlPageOf(const EnclosureStatus_t& status);

/** The page as it travels, from its page code on. Throws ToolError_t "usage" when it would not fit into a message. */
std::vector<U8_t> encodeControlPage(const ControlPage_t& wanted);
