// The card: on plain Linux its slot is what the operator says it is.
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string_view>

#include "platform/card.h"

int32_t card_get_slot_num(uint8_t *slot) {
  const char *value = std::getenv("VESK_SLOT");
  const std::string_view text = value == nullptr ? "1" : value;
  uint8_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    errno = EINVAL;
    return -1;
  }
  *slot = number;
  return 0;
}
