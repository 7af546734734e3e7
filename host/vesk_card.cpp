// The card: on plain Linux its slot is what the operator says it is.
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string_view>

#include "platform/card.h"

namespace {

constexpr uint8_t default_slot = 1;

}  // namespace

int32_t card_get_slot_num(uint8_t *slot) {
  const char *value = std::getenv("VESK_SLOT");
  if (value == nullptr) {
    *slot = default_slot;
    return 0;
  }
  const std::string_view text = value;
  uint8_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    errno = EINVAL;
    return -1;
  }
  *slot = number;
  return 0;
}
