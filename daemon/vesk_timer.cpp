#include "daemon/vesk_timer.h"

#include <cerrno>

#include "daemon/vesk_mount_check.h"
#include "daemon/vesk_send.h"
#include "platform/runctl.h"
#include "protocol/vesk_messages.h"
#include "store/vesk_log.h"

uint32_t vesk_tg_handle;
uint8_t vesk_up_sent;
uint8_t vesk_up_sent_retry_count;

void vesk::send_up() {
  if (vesk_ipq_send(IPQ_DEST_LISTENERS, 0, IPQ_OPC_VESK_UP, nullptr, 0, nullptr, nullptr, 0) != 0) {
    VESK_ERROR("ERROR: Failed to send IPQ_OPC_VESK_UP message errno %d\n", errno);
    ++vesk_up_sent_retry_count;
    return;
  }
  vesk_up_sent = 1;
}

void vesk_handle_timer(uint32_t timer_id) {
  if (timer_id != VESK_HEARTBEAT_TIMER) return;
  if (vesk_up_sent == 0 && vesk_up_sent_retry_count <= VESK_UP_RETRIES) vesk::send_up();
  runctl_heartbeat(0);
  vesk_check_issu_mount();
}
