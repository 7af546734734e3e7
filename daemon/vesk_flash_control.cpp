#include "daemon/vesk_flash_control.h"

#include <sys/time.h>

#include <cerrno>
#include <cstring>

#include "daemon/vesk_send.h"
#include "format/vesk_catalogue.h"
#include "format/vesk_format.h"
#include "platform/card.h"
#include "platform/program.h"
#include "protocol/vesk_exception.h"
#include "protocol/vesk_messages.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

int32_t remount_count;

namespace {

constexpr int32_t silent_remounts = 3;
constexpr uint32_t not_able_to_mount = 0x40C90000;

vesk_exception_record make_exception(uint8_t severity, uint32_t code, const char *text) {
  vesk_exception_record record{};
  record.code = code;
  record.constant_48 = 48;
  record.severity = severity;
  record.code_again = code;
  record.constant_a = 'a';
  record.identity = VESK_OWN_UUID;
  if (text != nullptr) std::memcpy(record.text, text, strnlen(text, sizeof record.text));
  timeval now;
  if (gettimeofday(&now, nullptr) == 0) {
    record.secs = static_cast<uint32_t>(now.tv_sec);
    record.usecs = static_cast<uint32_t>(now.tv_usec);
  }
  return record;
}

}  // namespace

int32_t vesk_stat_fs(const char *path, struct stat *st) {
  const int32_t result = stat(path, st);
  if (result != 0 && errno == EIO) {
    const vesk::errno_keeper keeper;
    vesk_remount_fs();
  }
  return result;
}

int32_t vesk_remount_fs(void) {
  const vesk::errno_keeper keeper;
  struct stat st;
  const int32_t marker = stat(VESK_MOUNT_MARKER, &st);
  if (marker != 0) return marker;
  if (remount_count >= silent_remounts) {
    vesk_send_exception(1, not_able_to_mount, "Not able to mount filesystem on KYTE flash");
  }
  remount_count += 1;
  VESK_TRACE("TRACE:going to remount filesystem \n");
  execute_program_and_wait("/bin/rm", VESK_MOUNT_MARKER, nullptr);
  execute_program_and_wait("/bin/umount", VESK_LOG_DIR, nullptr);
  return execute_program_and_let_go(VESK_MOUNT_PROGRAM, nullptr);  // which makes the marker again
}

int32_t vesk_send_exception(uint8_t severity, uint32_t code, const char *text) {
  const vesk_exception_record record = make_exception(severity, code, text);
  ipq_msg handle{};
  ipq_send(ipq_q, IPQ_DEST_LISTENERS, 0, IPQ_OPC_EXCEPTION, &record, sizeof record, &handle,
           nullptr, 0);
  ipq_drop(ipq_q, &handle);
  return 0;
}

void vesk_remove_file(const char *path) {
  const int32_t started = execute_program_and_let_go("/bin/rm", path, nullptr);
  VESK_TRACE("TRACE: result of delete operation for file %s is %d\n", path, started);
}

int32_t vesk_ipq_hdlr_ruda_fail_notice(ipq_msg *msg) {
  const auto *notice = static_cast<const vesk_failure_notice *>(ipq_payload_get(msg));
  if (notice == nullptr) {
    VESK_ERROR("ERROR: %s ipq_payload_get failed\n", "vesk_ipq_hdlr_ruda_fail_notice");
    return -1;
  }
  uint8_t slot = 0;
  card_get_slot_num(&slot);
  if (notice->kind != VESK_FLASH_FAILURE || notice->slot != slot) return 0;
  bootflash_failure_flag = 1;
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  vesk_file_sanity.fill(VESK_SANITY_FLASH_FAILED);
  return 0;
}
