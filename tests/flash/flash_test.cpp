#include "tests/flash/flash_test.h"

#include <signal.h>

#include <filesystem>

namespace vesk::test {

namespace {

response response_in(const reply &got) {
  if (got.header.flags == VESK_WIRE_RECEIPT) return response::dropped;
  if (got.header.flags != VESK_WIRE_ANSWER || got.payload.size() != 4) return response::unknown;
  switch (got.word()) {
    case 0:
      return response::refused;
    case 1:
      return response::stored;
    default:
      return response::unknown;
  }
}

}  // namespace

void PrintTo(response shown, std::ostream *out) {
  constexpr const char *names[] = {"stored", "refused", "dropped", "unknown"};
  *out << names[static_cast<size_t>(shown)];
}

void flash_test::SetUp() {
  flash.mount_new();
  if (ready()) daemon_test::SetUp();
}

void used_flash_test::SetUp() {
  flash_test::SetUp();
  if (!ready()) return;
  ASSERT_EQ(send("before"), response::stored);
  before_ = flash.on_chip("vesk.log");
  ASSERT_EQ(before_.size(), 48u);
}

bool flash_test::ready() {
  return !IsSkipped() && !HasFatalFailure();
}

response flash_test::send(const std::string &data, uint16_t file_type) {
  return response_in(sender.request(good_record(data, file_type)));
}

response flash_test::send_synchronous(const std::string &data) {
  return response_in(sender.request(
      {{.len = static_cast<uint16_t>(data.size()), .file_type = 5, .sync = 2, .data = data}}));
}

void flash_test::boot() {
  if (daemon.running()) daemon.stop(SIGKILL);
  std::filesystem::remove_all("/run/vesk");
  daemon.start();
}

}  // namespace vesk::test
