/**
 * SCSI Enclosure Services over MMSG.
 *
 * Field names and code values are those of the SCSI standards. Positions are this platform's own: many bit
 * fields are mirrored within their byte and the command records carry padding. Peers expect exactly these bytes.
 */
#pragma once

#include "ses_commands.h"
#include "ses_elements.h"
#include "ses_pages.h"
