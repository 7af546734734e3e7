#include "daemon/vesk_send.h"

#include "platform/dbgkit.h"

int32_t ipq_q;

int32_t vesk_ipq_send(uint32_t dest, uint32_t dest_sap, uint32_t opcode, void *payload,
                      uint32_t length, ipq_msg *out_handle, ipq_msg *reply_to, uint32_t last) {
  const int32_t result =
      ipq_send(ipq_q, dest, dest_sap, opcode, payload, length, out_handle, reply_to, last);
  if (result == 0) dbgkit_hist_ipq_event(DBGKIT_MSG_SENT, reply_to, 0, 0);
  return result;
}

int32_t vesk_ipq_send_response(void *payload, uint32_t length, ipq_msg *request,
                               ipq_msg *out_handle) {
  return vesk_ipq_send(IPQ_DEST_ANSWER, 0, 0, payload, length, out_handle, request, 0);
}
