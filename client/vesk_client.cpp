#include "client/vesk_client.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "client/vesk_channel.h"
#include "client/vesk_record_check.h"
#include "format/vesk_format.h"
#include "protocol/vesk_messages.h"
#include "protocol/vesk_run_dir.h"

static_assert(VESK_CLIENT_SYNC_NONE == VESK_SYNC_NONE);
static_assert(VESK_CLIENT_SYNC_ANSWER == VESK_SYNC_ANSWER);
static_assert(VESK_CLIENT_SYNC_FLASH == VESK_SYNC_FLASH);
static_assert(VESK_CLIENT_STATISTICS_ROWS == VESK_MAX_UUID + 1);
static_assert(sizeof(vesk_client_sender_statistics) == 8);
static_assert(
    std::is_trivially_default_constructible_v<vesk::client::channel>);  // malloc() will do

struct vesk_client {
  uint32_t timeout_ms;
  vesk::client::channel channel;
};

namespace {

using namespace vesk::client;

deadline deadline_of(const vesk_client &client) {
  return monotonic_now() + std::chrono::milliseconds(client.timeout_ms);
}

bytes as_bytes(const void *data, size_t length) {
  return {static_cast<const uint8_t *>(data), length};
}

// Sends a request and waits for what comes back on it.
vesk_client_code exchange(vesk_client &client, uint32_t opcode, bytes head, bytes rest,
                          reply &back) {
  const auto until = deadline_of(client);
  const auto sent = send_request(client.channel, opcode, VESK_WIRE_WANT_RECEIPT, head, rest, until);
  return sent == VESK_CLIENT_OK ? await_reply(client.channel, until, back) : sent;
}

vesk_client_code check_payload(const vesk_client *client, const void *payload, size_t length) {
  if (client == nullptr || (payload == nullptr && length != 0)) return VESK_CLIENT_BAD_ARGUMENT;
  return length > VESK_WIRE_MAX_PAYLOAD ? VESK_CLIENT_TOO_LONG : VESK_CLIENT_OK;
}

vesk_log_req head_of(const vesk_client_record &record) {
  vesk_log_req head = {};
  head.uuid = static_cast<uint16_t>(record.uuid);
  head.type = static_cast<uint16_t>(record.type);
  head.len = static_cast<uint16_t>(record.length);
  head.flags = record.flags;
  head.update = record.update;
  head.secs = record.secs;
  head.usecs = record.usecs;
  if (record.secs == 0 && record.usecs == 0) {
    timeval now{};
    gettimeofday(&now, nullptr);
    head.secs = static_cast<uint32_t>(now.tv_sec);
    head.usecs = static_cast<uint32_t>(now.tv_usec);
  }
  head.file_type = static_cast<uint16_t>(record.file_type);
  head.sync = record.sync;
  head.instance = record.instance;
  return head;
}

// What the daemon answered to a record: 1 stored, 0 refused.
vesk_client_code code_of_answer(const reply &back) {
  if (back.kind == VESK_WIRE_RECEIPT) return VESK_CLIENT_UNANSWERED;
  uint32_t word = UINT32_MAX;
  if (back.payload.size() == sizeof word) std::memcpy(&word, back.payload.data(), sizeof word);
  if (word > 1) return VESK_CLIENT_BAD_ANSWER;
  return word == 1 ? VESK_CLIENT_OK : VESK_CLIENT_REFUSED;
}

}  // namespace

const char *vesk_client_run_dir(const char *run_dir) {
  return run_dir != nullptr ? run_dir : vesk::run_dir();
}

vesk_client_code vesk_client_open(vesk_client **client, const char *run_dir, uint32_t timeout_ms) {
  if (client == nullptr) return VESK_CLIENT_BAD_ARGUMENT;
  *client = nullptr;
  auto *made = static_cast<vesk_client *>(std::malloc(sizeof(vesk_client)));
  if (made == nullptr) return VESK_CLIENT_SYSTEM;
  made->timeout_ms = timeout_ms;
  const auto code = open_channel(made->channel, vesk_client_run_dir(run_dir));
  if (code != VESK_CLIENT_OK) {
    std::free(made);
    return code;
  }
  *client = made;
  return VESK_CLIENT_OK;
}

void vesk_client_close(vesk_client *client) {
  if (client == nullptr) return;
  close(client->channel.fd);
  std::free(client);
}

const char *vesk_client_address(const vesk_client *client) {
  return client == nullptr ? "" : client->channel.daemon.sun_path;
}

vesk_client_code vesk_client_log(vesk_client *client, const vesk_client_record *record) {
  if (client == nullptr || record == nullptr) return VESK_CLIENT_BAD_ARGUMENT;
  if (const auto code = check_record(*record); code != VESK_CLIENT_OK) return code;
  const vesk_log_req head = head_of(*record);
  const bytes head_bytes = as_bytes(&head, sizeof head);
  const bytes data = as_bytes(record->data, record->length);
  if (record->sync == VESK_CLIENT_SYNC_NONE) {
    return send_request(client->channel, IPQ_OPC_VESK_LOG, 0, head_bytes, data,
                        deadline_of(*client));
  }
  reply back{};
  const auto code = exchange(*client, IPQ_OPC_VESK_LOG, head_bytes, data, back);
  return code == VESK_CLIENT_OK ? code_of_answer(back) : code;
}

vesk_client_code vesk_client_update(vesk_client *client, const vesk_client_record *record,
                                    uint32_t instance) {
  if (record == nullptr) return VESK_CLIENT_BAD_ARGUMENT;
  vesk_client_record changed = *record;
  changed.update = VESK_UPDATE_ENTRY;
  changed.instance = instance;
  return vesk_client_log(client, &changed);
}

vesk_client_code vesk_client_send(vesk_client *client, uint32_t opcode, const void *payload,
                                  size_t length) {
  const auto code = check_payload(client, payload, length);
  if (code != VESK_CLIENT_OK) return code;
  return send_request(client->channel, opcode, 0, as_bytes(payload, length), {},
                      deadline_of(*client));
}

vesk_client_code vesk_client_confirm(vesk_client *client, uint32_t opcode, const void *payload,
                                     size_t length) {
  const auto code = check_payload(client, payload, length);
  reply back{};
  return code == VESK_CLIENT_OK ? exchange(*client, opcode, as_bytes(payload, length), {}, back)
                                : code;
}

vesk_client_code vesk_client_request(vesk_client *client, uint32_t opcode, const void *payload,
                                     size_t length, void *answer, size_t capacity,
                                     size_t *answer_length) {
  auto code = check_payload(client, payload, length);
  if (code != VESK_CLIENT_OK) return code;
  if ((answer == nullptr && capacity != 0) || answer_length == nullptr) {
    return VESK_CLIENT_BAD_ARGUMENT;
  }
  reply back{};
  code = exchange(*client, opcode, as_bytes(payload, length), {}, back);
  if (code != VESK_CLIENT_OK) return code;
  if (back.kind == VESK_WIRE_RECEIPT) return VESK_CLIENT_UNANSWERED;
  if (back.payload.size() > capacity) return VESK_CLIENT_BAD_ANSWER;
  if (!back.payload.empty()) std::memcpy(answer, back.payload.data(), back.payload.size());
  *answer_length = back.payload.size();
  return VESK_CLIENT_OK;
}

vesk_client_code vesk_client_statistics(vesk_client *client, vesk_client_sender_statistics *rows) {
  if (client == nullptr || rows == nullptr) return VESK_CLIENT_BAD_ARGUMENT;
  constexpr size_t size = VESK_CLIENT_STATISTICS_ROWS * sizeof *rows;
  reply back{};
  const auto code = exchange(*client, IPQ_OPC_VESK_STATISTICS, {}, {}, back);
  if (code != VESK_CLIENT_OK) return code;
  if (back.kind == VESK_WIRE_RECEIPT) return VESK_CLIENT_UNANSWERED;
  if (back.payload.size() != size) return VESK_CLIENT_BAD_ANSWER;
  std::memcpy(rows, back.payload.data(), size);
  return VESK_CLIENT_OK;
}
