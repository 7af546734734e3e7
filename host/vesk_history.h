// The event history: the process's own lines, and which messages came and went. It lies in memory,
// can be requested while the process lives, and ends with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vesk {

// The texts have a ring of their own, so that a busy hour of messages leaves the errors in place.
constexpr size_t text_history_size = 16384;
constexpr size_t message_history_size = 4096;

// Both stamp the record with the time. They take no lock and no heap.
void note_text(uint32_t kind, std::string_view text);
void note_message(uint32_t kind, uint32_t opcode);

// Copies the whole history in the form of an answer to VESK_WIRE_OPC_HISTORY, oldest first, and
// returns its size. `out` has room for both rings.
[[nodiscard]] size_t copy_history(std::span<char> out);

}  // namespace vesk
