// What the card knows of itself.
#pragma once

#include <cstdint>

extern "C" {

// Stores this card's slot number and returns 0; when it fails, returns non-zero and stores nothing.
int32_t card_get_slot_num(uint8_t *slot);

}  // extern "C"
