// Configuration data: which file types this module logs.
#pragma once

#include <cstdint>

#include "protocol/vesk_messages.h"

namespace vesk {

// Enables and disables every file type as this module's record says. Returns -1 when an enable was
// refused because the flash has failed (the type's state is left then), else 0.
int32_t apply_config(const vesk_module_config &config);

}  // namespace vesk
