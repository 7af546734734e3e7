// What a record must be before it is sent.
#pragma once

#include "client/vesk_client.h"

namespace vesk::client {

// OK, or why the record is not sent: the daemon would refuse it, no reader could find what comes
// behind it, or it is large and its sender did not say that this is meant.
[[nodiscard]] vesk_client_code check_record(const vesk_client_record &record);

}  // namespace vesk::client
