// The messages that the daemon receives and sends: opcodes and payload layouts. A log record is
// big-endian (format/vesk_format.h), and so is a failure notice; the payloads laid out here are in
// host byte order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "format/vesk_format.h"
#include "format/vesk_ring.h"

constexpr uint32_t VESK_ACCESS_POINT = 1016;  // where the daemon takes messages

constexpr uint32_t IPQ_OPC_VESK_LOG = 1151;         // a log record, or an update of an entry
constexpr uint32_t IPQ_OPC_VESK_STATISTICS = 1152;  // answered with vesk_uuid_stat_table
constexpr uint32_t IPQ_OPC_VESK_COMMAND = 1153;
constexpr uint32_t IPQ_OPC_VESK_CONFIG = 1155;
constexpr uint32_t IPQ_OPC_VESK_UP = 1156;  // sent by the daemon, never handled
constexpr uint32_t IPQ_OPC_VESK_RECOVER = 1158;
constexpr uint32_t IPQ_OPC_VESK_IGNORED_1 = 1162;  // accepted and dropped
constexpr uint32_t IPQ_OPC_VESK_IGNORED_2 = 1165;  // accepted and dropped
constexpr uint32_t IPQ_OPC_RUDA_FAIL_NOTICE = 6024;

// IPQ_OPC_VESK_LOG: how many bytes of data a record may have. An entry header counts its padded
// data in 16 bits.
constexpr uint32_t VESK_MAX_RECORD = 65532;
static_assert(vesk::padded(VESK_MAX_RECORD) <= UINT16_MAX);
static_assert(vesk::padded(VESK_MAX_RECORD + 1) > UINT16_MAX);

// IPQ_OPC_VESK_COMMAND
constexpr uint16_t VESK_ENABLE_LOGGING = 1;
constexpr uint16_t VESK_DISABLE_LOGGING = 2;
constexpr uint16_t VESK_CLEAR_LOGGING = 3;

struct vesk_command {
  uint16_t command;
  uint16_t file_type;  // 0 for every type
};
static_assert(sizeof(vesk_command) == 4 && offsetof(vesk_command, file_type) == 2);

struct vesk_command_response {
  uint16_t command;
  uint16_t file_type;
  int32_t result;  // 0 when every step succeeded, else -1
};
static_assert(sizeof(vesk_command_response) == 8 && offsetof(vesk_command_response, result) == 4);

// IPQ_OPC_VESK_RECOVER
struct vesk_recover_request {
  uint32_t file_type;
  uint32_t entries;  // 0 rebuilds the global header, anything else repairs the entry headers
};
static_assert(sizeof(vesk_recover_request) == 8 && offsetof(vesk_recover_request, entries) == 4);

// IPQ_OPC_VESK_CONFIG: an array of these, indexed by the module's slot.
struct vesk_module_config {
  uint8_t vesk_enable;                           // 1, or every type is disabled
  uint8_t vesk_log_enable[VESK_MAX_FILE_TYPES];  // 1, or the type is disabled
};
static_assert(sizeof(vesk_module_config) == 65 && alignof(vesk_module_config) == 1);

// IPQ_OPC_RUDA_FAIL_NOTICE
constexpr uint32_t VESK_FLASH_FAILURE = 3;  // the one kind that concerns the flash
struct vesk_failure_notice {
  vesk::be32 kind;
  vesk::be32 slot;  // of the card that failed
};
static_assert(sizeof(vesk_failure_notice) == 8 && alignof(vesk_failure_notice) == 1);
