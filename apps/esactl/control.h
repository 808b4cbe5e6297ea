/** The enclosure control page: what is asked of every element, made from what the status page reports. */
#pragma once

#include <optional>
#include <vector>

#include "pages.h"

struct SupplyControl {
    bool on = false;
    bool fail = false; /**< fault indication */
};

struct AlarmControl {
    U8_t common = 0;  /**< commonControl apart from the select bit */
    AlarmTones tones; /**< `muted` has no counterpart in a control record and is passed over */
};

/** One record for every element of the enclosure, and which one element the adapter is to act on. */
struct ControlState {
    U32_t generation = 0;
    std::vector<bool> faultLeds; /**< by slot; the adapter acts on all of them, selected or not */
    std::vector<SupplyControl> supplies;
    std::vector<bool> fansOn;
    std::size_t sensors = 0;
    U8_t alarmOverall = 0; /**< last byte of the overall word apart from the select bit */
    std::vector<AlarmControl> alarms;

    std::optional<unsigned> selectedSupply;
    std::optional<unsigned> selectedFan;
    std::optional<unsigned> selectedAlarm;
};

/** The controls that leave the enclosure as `status` reports it: nothing selected. */
ControlState currentControls(const EnclosureStatus& status);

/** The page as it travels, from its page code on. Throws ToolError "usage" when it would not fit into a message. */
std::vector<U8_t> encodeControlPage(const ControlState& controls);
