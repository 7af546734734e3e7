// The flash file system as a whole: what store/vesk_flash.h declares, the exception report, and the
// notice that the flash has failed.
#pragma once

#include <cstdint>

#include "platform/ipq.h"
#include "store/vesk_flash.h"

inline constexpr char VESK_MOUNT_PROGRAM[] = "/vamo/bin/kytemount";

extern "C" {

extern int32_t remount_count;  // remounts started since the process began

// Sends an exception record to the listeners; `text` may be null and is cut at 127 characters.
// Always 0: nobody can do more about a report that was not sent.
int32_t vesk_send_exception(uint8_t severity, uint32_t code, const char *text);

// Handles a health-management failure notice. When it says that the flash of this card failed: sets
// bootflash_failure_flag for good, disables every file type and marks it as failed. Returns 0, or
// -1 when the message has no payload.
int32_t vesk_ipq_hdlr_ruda_fail_notice(ipq_msg *msg);

}  // extern "C"
