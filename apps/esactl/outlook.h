/** What will become of a command on the chassis in service: the adapter's policy goes on after it. */
#pragma once

#include <string>

#include "chassis_list.h"
#include "enclosure.h"

/** For people; empty where nothing will. */
std::string fanOutlook(const Enclosure_t& enclosure, const std::string& fan, bool on);
std::string supplyOutlook(const Enclosure_t& enclosure, bool fail);

/** The chassis on which "on" reaches a fan as 100 of 255. */
const ChassisFacts_t& rawFanChassis();
/** Whether the enclosure may be one of those on which switching a fan on slows it: it is, or nobody knows. */
bool mayBeRawFan(const Enclosure_t& enclosure);
