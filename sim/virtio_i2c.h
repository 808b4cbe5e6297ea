/** The I2C adapter that a virtual machine's kernel drives: requests of a virtio queue in, transfers on the bus. */
#pragma once

#include "bus.h"
#include "virtqueue.h"

/**
 * Carries out the requests that are waiting, and gives them back; to be called when the driver tells that there are
 * some. The messages of a combined transfer come as requests of their own, each but the last of which says that more
 * follow. Rubbish gets an error status where there is room for one, and nothing of its transfer reaches the bus. True
 * when anything was given back.
 */
bool serveRequests(Virtqueue_t& queue, Bus_t& bus);
