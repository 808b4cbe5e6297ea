/** Receiving: how a message is cut out of the switch's stream. */
#pragma once

/** Receives one message from the switch into `esaInMsg` and dispatches it. Blocks until it is whole. */
void esaReceiveMmsg();
