// What went wrong, in words for a person: as everywhere.
#pragma once

#include "base/vesk_failure.h"

namespace vesk::shared {

using vesk::errno_text;
using vesk::failure;

}  // namespace vesk::shared
