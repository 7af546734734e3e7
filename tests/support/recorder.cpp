#include "tests/support/recorder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "daemon/vesk_flash_control.h"
#include "daemon/vesk_mount_check.h"
#include "daemon/vesk_send.h"
#include "daemon/vesk_start.h"
#include "daemon/vesk_timer.h"
#include "platform/card.h"
#include "platform/dbgkit.h"
#include "platform/program.h"
#include "platform/runctl.h"
#include "platform/tg.h"
#include "store/vesk_state.h"

namespace vesk::test {

recorder platform;

namespace {

constexpr size_t readable_payload = 24 + 65535;

std::string quoted(const char *text) {
  return text ? '"' + std::string(text) + '"' : "null";
}

// Addresses are easier to tell apart in hexadecimal.
std::string address(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return value < 0x10000 ? std::to_string(value) : text;
}

template <typename... Args>
std::string call_text(const char *name, const Args &...args) {
  std::ostringstream out;
  [[maybe_unused]] const char *separator = "(";
  ((out << separator << args, separator = ", "), ...);
  return name + (sizeof...(args) ? out.str() : "(") + ")";
}

template <typename... Args>
int64_t called(const char *name, const Args &...args) {
  platform.note(call_text(name, args...));
  return platform.take(name);
}

template <typename... Args>
int32_t called32(const char *name, const Args &...args) {
  return static_cast<int32_t>(called(name, args...));
}

template <typename... Args>
uint32_t calledu32(const char *name, const Args &...args) {
  return static_cast<uint32_t>(called(name, args...));
}

std::string argument_list(const char *program, std::va_list args) {
  std::string text = program;
  while (const char *argument = va_arg(args, const char *)) text += std::string(", ") + argument;
  return text;
}

void clobber() {
  if (platform.clobber_errno) errno = platform.clobber_errno;
}

uint32_t level_asked_for;  // the level of the print that dbgkit_chk_int() allowed

}  // namespace

struct recorder::received {
  ipq_msg msg{};
  uint32_t opcode = 0;
  std::unique_ptr<bytes> payload;
};

namespace {

recorder::received *find(const ipq_msg *msg) {
  for (const auto &m : platform.messages) {
    if (&m->msg == msg) return m.get();
  }
  return nullptr;
}

std::shared_ptr<recorder::received> make_message(uint32_t opcode, const bytes *payload) {
  auto m = std::make_shared<recorder::received>();
  m->opcode = opcode;
  if (payload) {
    m->payload = std::make_unique<bytes>(*payload);
    m->payload->resize(readable_payload);
  }
  return m;
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const log_line &line) {
  return out << line.level << " " << ::testing::PrintToString(line.text);
}

lines operator+(lines left, const lines &right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

log_lines operator+(log_lines left, const log_lines &right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

recorder::recorder()
    : usual{{"ipq_bind", {7}},
            {"ipq_recv", {0}},
            {"ipq_send", {0}},
            {"ipq_drop", {0}},
            {"ipq_errno_get", {0}},
            {"runctl_handshake", {3}},
            {"runctl_last_pid_get", {0}},
            {"runctl_heartbeat", {0}},
            {"runctl_dispatch", {2}},
            {"runctl_switchover_done", {0}},
            {"dbgkit_dbg_init", {0}},
            {"dbgkit_sys_init_helper", {0}},
            {"dbgkit_hist_init", {0}},
            {"dbgkit_hist_init_for_uuid", {0}},
            {"dbgkit_hist_set_event_subtype", {0}},
            {"dbgkit_hist_ipq_event", {0}},
            {"dbgkit_process_msg", {0}},
            {"tg_create_group", {31}},
            {"tg_create_timer", {32}},
            {"tg_start_timer", {1}},
            {"tg_destroy_timer", {1}},
            {"tg_get_next_expiry_time", {1}},
            {"card_get_slot_num", {0}},
            {"execute_program_and_wait", {0}},
            {"execute_program_and_let_go", {0}},
            {"exec_cmd_with_files_print", {0}},
            // calls of the system that tests intercept
            {"sigaction", {0}},
            {"signal", {0}},
            {"select", {0}},
            {"rmdir", {0}},
            {"sync", {0}}} {}

void recorder::next(std::string_view call, int64_t result, int error) {
  if (!usual.contains(call)) ADD_FAILURE() << "no such call: " << call;
  queued[std::string(call)].push_back({result, error});
}

void recorder::always(std::string_view call, int64_t result, int error) {
  if (!usual.contains(call)) ADD_FAILURE() << "no such call: " << call;
  usual[std::string(call)] = {result, error};
}

lines recorder::unused() const {
  lines names;
  for (const auto &[name, answers] : queued) names.insert(names.end(), answers.size(), name);
  return names;
}

ipq_msg *recorder::message(uint32_t opcode, const bytes &payload) {
  messages.push_back(make_message(opcode, &payload));
  return &messages.back()->msg;
}

ipq_msg *recorder::message_without_payload(uint32_t opcode) {
  messages.push_back(make_message(opcode, nullptr));
  return &messages.back()->msg;
}

void recorder::receive(uint32_t opcode, const bytes &payload) {
  waiting.push_back(message(opcode, payload));
}

void recorder::receive_without_payload(uint32_t opcode) {
  waiting.push_back(message_without_payload(opcode));
}

void recorder::remove_for_real() {
  on_removal([](const std::string &path) { unlink(path.c_str()); });
}

void recorder::on_removal(const std::function<void(const std::string &path)> &remove) {
  on_call = [remove](const std::string &call) {
    const std::string prefix = "execute_program_and_let_go(/bin/rm, ";
    if (call.starts_with(prefix)) {
      remove(call.substr(prefix.size(), call.size() - prefix.size() - 1));
    }
  };
}

void recorder::forget() {
  calls.clear();
  journal.clear();
  history.clear();
  prints.clear();
  sent.clear();
}

void recorder::reset() {
  *this = recorder();
  level_asked_for = 0;

  vesk_file_state = {};
  vesk_file_sanity = {};
  vesk_uuid_stat_table = {};
  bootflash_failure_flag = 0;
  vesk_module_id = 0;
  vesk_sys_state = 0;

  ipq_q = 0;
  remount_count = 0;
  vesk_restarted = 0;
  vesk_tg_handle = 0;
  vesk_ctrl = 0;
  vesk_up_sent = 0;
  vesk_up_sent_retry_count = 0;
  mount_check_pending = 1;
  issu_seen = 0;
  dbgkit_dbg_modname = nullptr;
  dbgkit_sys_facility = nullptr;
}

void recorder::note(const std::string &call) {
  calls.push_back(call);
  journal.push_back(call);
  if (on_call) on_call(call);
}

// The call's answer, with errno set as the last thing done.
int64_t recorder::take(const std::string &call) {
  answer given = usual.at(call);
  if (auto found = queued.find(call); found != queued.end()) {
    given = found->second.front();
    found->second.pop_front();
    if (found->second.empty()) queued.erase(found);
  }
  if (given.error) {
    errno = given.error;
  } else {
    clobber();
  }
  return given.result;
}

std::string recorder::name_of(const ipq_msg *msg) const {
  if (!msg) return "null";
  if (msg == handle) return "handle";
  for (size_t i = 0; i < messages.size(); ++i) {
    if (&messages[i]->msg == msg) return "msg " + std::to_string(i + 1);
  }
  return "unknown message";
}

}  // namespace vesk::test

using namespace vesk::test;

extern "C" {

const char *dbgkit_dbg_modname;
const void *dbgkit_sys_facility;

// Message service.

int32_t ipq_bind(uint32_t node, uint32_t sap, const void *bind_block, const char *name) {
  std::memcpy(platform.bind_block.data(), bind_block, sizeof platform.bind_block);
  return called32("ipq_bind", node, sap, quoted(name));
}

int32_t ipq_recv(int32_t q, ipq_msg **msg, const void *options) {
  std::memcpy(platform.recv_options.data(), options, sizeof platform.recv_options);
  const int32_t result = called32("ipq_recv", q);
  if (result < 0) return result;
  if (platform.waiting.empty()) {
    ADD_FAILURE() << "ipq_recv() called with no message waiting";
    return -1;
  }
  *msg = platform.waiting.front();
  platform.waiting.pop_front();
  return result;
}

int32_t ipq_send(int32_t q, uint32_t dest, uint32_t dest_sap, uint32_t opcode, const void *payload,
                 uint32_t length, ipq_msg *out_handle, ipq_msg *reply_to, uint32_t last) {
  platform.handle = out_handle;
  const auto *first = static_cast<const uint8_t *>(payload);
  platform.sent.push_back({dest, opcode, first ? bytes(first, first + length) : bytes()});
  return called32("ipq_send", q, address(dest), dest_sap, opcode, payload ? "payload" : "null",
                  length, platform.name_of(out_handle), platform.name_of(reply_to), last);
}

int32_t ipq_drop(int32_t q, ipq_msg *msg) {
  const int32_t result = called32("ipq_drop", q, platform.name_of(msg));
  if (auto *m = find(msg); m && result == 0) m->payload.reset();
  return result;
}

void *ipq_payload_get(ipq_msg *msg) {
  const auto *m = find(msg);
  clobber();
  return m && m->payload ? m->payload->data() : nullptr;
}

uint32_t ipq_opc_get(ipq_msg *msg) {
  const auto *m = find(msg);
  clobber();
  return m ? m->opcode : 0;
}

int32_t ipq_errno_get(int32_t q) {
  return called32("ipq_errno_get", q);
}

// System manager.

uint32_t runctl_handshake(int32_t q, uint32_t uuid) {
  return calledu32("runctl_handshake", q, uuid);
}

uint32_t runctl_last_pid_get(void) {
  return calledu32("runctl_last_pid_get");
}

int32_t runctl_heartbeat(uint32_t busy) {
  return called32("runctl_heartbeat", busy);
}

int32_t runctl_dispatch(ipq_msg *msg) {
  return called32("runctl_dispatch", platform.name_of(msg));
}

int32_t runctl_switchover_done(uint32_t context, uint32_t result) {
  return called32("runctl_switchover_done", context, result);
}

// Debug and event-history wrapper.

int32_t dbgkit_dbg_init(int32_t q, const char *name, const char *display_name, uint32_t flag_count,
                        const char *const *flags, uint32_t a, uint32_t b, uint32_t c) {
  std::string names;
  for (uint32_t i = 0; i < flag_count; ++i) names += (i ? ", " : "") + quoted(flags[i]);
  return called32("dbgkit_dbg_init", q, quoted(name), quoted(display_name), flag_count,
                  "{" + names + "}", a, b, c);
}

int32_t dbgkit_sys_init_helper(int32_t q, const char *name, const char *display_name,
                               uint32_t facility, uint32_t a, uint32_t b, uint32_t c) {
  return called32("dbgkit_sys_init_helper", q, quoted(name), quoted(display_name), facility, a, b,
                  c);
}

int32_t dbgkit_hist_init(uint32_t size) {
  return called32("dbgkit_hist_init", size);
}

int32_t dbgkit_hist_init_for_uuid(uint32_t identity, uint32_t size) {
  return called32("dbgkit_hist_init_for_uuid", identity, size);
}

int32_t dbgkit_hist_set_event_subtype(uint32_t event, uint32_t level, uint32_t on) {
  return called32("dbgkit_hist_set_event_subtype", address(event), level, on);
}

int32_t dbgkit_hist_event_subtype_check(uint32_t event, uint32_t level) {
  EXPECT_EQ(event, 0x730000u);
  clobber();
  return platform.suppressed.contains(level) ? 1 : 0;
}

int32_t dbgkit_hist_event(uint32_t event, uint32_t length, const void *record) {
  EXPECT_EQ(event, 0x730000u);
  uint32_t level = 0;
  std::memcpy(&level, record, sizeof level);
  const std::string text = static_cast<const char *>(record) + sizeof level;
  EXPECT_EQ(length, text.size() + 5) << text;
  platform.history.push_back({level, text});
  platform.journal.push_back(std::to_string(level) + " " + text);
  clobber();
  return 0;
}

int32_t dbgkit_hist_ipq_event(uint32_t direction, const ipq_msg *msg, uint32_t a, uint32_t b) {
  return called32("dbgkit_hist_ipq_event", direction, platform.name_of(msg), a, b);
}

int32_t dbgkit_chk_int(uint32_t level, uint32_t a, uint32_t b, uint32_t c) {
  EXPECT_TRUE(a == 0 && b == 0 && c == 1);
  level_asked_for = level;
  clobber();
  return platform.printed.contains(level) ? 1 : 0;
}

void dbgprint(const char *format, ...) {
  char text[4096];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  platform.prints.push_back({level_asked_for, text});
  if (platform.echo) std::fprintf(stderr, "%u %s|", level_asked_for, text);
  clobber();
}

int32_t dbgkit_process_msg(int32_t q, ipq_msg *msg) {
  return called32("dbgkit_process_msg", q, platform.name_of(msg));
}

// Timer group.

uint32_t tg_create_group(const char *name) {
  return calledu32("tg_create_group", quoted(name));
}

uint32_t tg_create_timer(uint32_t group, uint32_t id, uint32_t data, uint32_t repeating) {
  return calledu32("tg_create_timer", group, id, data, repeating);
}

uint32_t tg_start_timer(uint32_t timer, const uint32_t *interval) {
  std::ostringstream words;
  words << "{" << interval[0] << ", " << interval[1] << "}";
  return calledu32("tg_start_timer", timer, words.str());
}

uint32_t tg_destroy_timer(uint32_t timer) {
  return calledu32("tg_destroy_timer", timer);
}

// Points to a value of the recorder's own, so that a caller who passes on `tv` is found out.
timeval *tg_get_next_expiry_time(uint32_t group, timeval *tv) {
  *tv = platform.expiry;
  return called("tg_get_next_expiry_time", group) ? &platform.expiry : nullptr;
}

int32_t tg_get_first_expired_timer(uint32_t group, uint32_t *id, void **data) {
  platform.note(call_text("tg_get_first_expired_timer", group));
  clobber();
  if (platform.expired.empty()) return 0;
  *id = platform.expired.front();
  *data = nullptr;
  platform.expired.pop_front();
  return 1;
}

// Card and programs.

int32_t card_get_slot_num(uint8_t *slot) {
  const int32_t result = called32("card_get_slot_num");
  if (result == 0) *slot = platform.slot;
  return result;
}

int32_t execute_program_and_wait(const char *program, ...) {
  std::va_list args;
  va_start(args, program);
  const std::string list = argument_list(program, args);
  va_end(args);
  return called32("execute_program_and_wait", list);
}

int32_t execute_program_and_let_go(const char *program, ...) {
  std::va_list args;
  va_start(args, program);
  const std::string list = argument_list(program, args);
  va_end(args);
  return called32("execute_program_and_let_go", list);
}

int32_t exec_cmd_with_files_print(const char *command, int32_t a, const char *out, const char *err,
                                  int32_t b) {
  return called32("exec_cmd_with_files_print", quoted(command), a, quoted(out), quoted(err), b);
}

}  // extern "C"
