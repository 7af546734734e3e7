#include "store/vesk_state.h"

vesk::file_type_table<uint8_t> vesk_file_state;
vesk::file_type_table<uint32_t> vesk_file_sanity;
std::array<vesk_uuid_stat, VESK_MAX_UUID + 1> vesk_uuid_stat_table;

uint32_t bootflash_failure_flag;
uint8_t vesk_module_id;
uint32_t vesk_sys_state;
