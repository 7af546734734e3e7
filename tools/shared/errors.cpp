#include "tools/shared/errors.h"

#include <system_error>

namespace vesk::shared {

std::string errno_text(int error) {
  return std::generic_category().message(error);
}

}  // namespace vesk::shared
