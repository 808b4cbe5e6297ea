/** Log lines: what a message says, for a person who reads along. */
#pragma once

#include <span>
#include <string>

#include "router.h"

/**
 * One line, without time and line end, about a whole message (its length checked) that arrived from endpoint `sender`:
 * "esadapter(33) -> startup(18): 64 bytes, startup/change-led-color: composite fault LED on". Recipients whose copy was
 * not delivered say so, and so does a requestor that is not the sender.
 */
std::string describeMessage(std::span<const U8_t> message, U8_t sender, const Routing_t& routing);

/** The part of that line behind the length: protocol, type and content. */
std::string describeContent(std::span<const U8_t> message);
