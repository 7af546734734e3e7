// What the whole daemon shares: one state and one mark for each file type, the statistics of each
// sender, a few flags. It lives as long as the process, and one thread touches it.
#pragma once

#include <array>
#include <cstdint>

#include "format/vesk_format.h"

namespace vesk {

// One slot for each file type. File types come out of messages and are used as an index unchecked:
// any index beyond the table gives one spare slot, which nothing reads.
template <typename Slot>
struct file_type_table {
  Slot slots[VESK_MAX_FILE_TYPES];  // first, so that the table's address is that of slot 0
  Slot spare;

  constexpr Slot &operator[](uint32_t file_type) {
    return file_type < VESK_MAX_FILE_TYPES ? slots[file_type] : spare;
  }
  constexpr void fill(Slot value) {
    for (Slot &slot : slots) slot = value;
  }
};

}  // namespace vesk

// vesk_file_state: any value but VESK_LOGGING_DISABLED lets records through.
constexpr uint8_t VESK_LOGGING_ENABLED = 1;
constexpr uint8_t VESK_LOGGING_DISABLED = 2;

// vesk_file_sanity: the pending integrity work.
constexpr uint32_t VESK_SANITY_CLEAN = 0;
constexpr uint32_t VESK_SANITY_FLASH_FAILED = 1;
constexpr uint32_t VESK_SANITY_RECOVER_ENTRIES = 2;
constexpr uint32_t VESK_SANITY_CORRUPT = 3;

// The row of one sender, in host byte order.
struct vesk_uuid_stat {
  uint32_t entry_count;  // entries appended since start-up or the last clear
  uint32_t byte_count;   // the bytes they occupy, headers and padding included
};

extern "C" {

extern vesk::file_type_table<uint8_t> vesk_file_state;
extern vesk::file_type_table<uint32_t> vesk_file_sanity;
extern std::array<vesk_uuid_stat, VESK_MAX_UUID + 1> vesk_uuid_stat_table;  // indexed by the uuid

extern uint32_t bootflash_failure_flag;  // 1 once the platform reported that the flash has failed
extern uint8_t vesk_module_id;           // the slot of the card on which the daemon runs
extern uint32_t vesk_sys_state;          // what the system manager answered to the handshake

}  // extern "C"

static_assert(sizeof(vesk_uuid_stat_table) == 21896);  // the size of a statistics answer
