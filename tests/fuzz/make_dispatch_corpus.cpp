// Writes the seeds of the dispatch fuzzer: one small file for each thing that a message may bring
// about.
#include <map>
#include <string>

#include "tests/fuzz/dispatch_input.h"
#include "tests/fuzz/write_seeds.h"
#include "tests/support/file_bytes.h"
#include "tests/support/record.h"

namespace vesk::test {
namespace {

// A card in slot 3, its flash mounted or not.
const std::string mounted("\x00\x03", 2);
const std::string not_mounted("\x01\x03", 2);

std::string low_first(uint32_t value, int width) {
  std::string bytes;
  for (int i = 0; i < width; ++i) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}

std::string happens(int kind, const std::string &bytes) {
  return static_cast<char>(kind) + low_first(static_cast<uint32_t>(bytes.size()), 2) + bytes;
}

std::string logs(const record_fields &fields, int platform = 0) {
  const std::vector<uint8_t> bytes = record(fields).bytes();
  return happens(log_record | platform, {bytes.begin(), bytes.end()});
}

std::string commands(uint32_t what, uint32_t file_type, int platform = 0) {
  return happens(command | platform, low_first(what, 2) + low_first(file_type, 2));
}

std::string recovers(uint32_t file_type, uint32_t entries) {
  return happens(recover, low_first(file_type, 4) + low_first(entries, 4));
}

// What configures slot 3: the switch of the module and those of all its file types.
std::string configures(char module, char types) {
  return happens(config, std::string(3 * 65, '\0') + module + std::string(64, types));
}

std::string failure_in_slot(char slot) {
  return happens(flash_failure, std::string("\0\0\0\x03\0\0\0", 7) + slot);
}

// In the catalogue's order: row 8 is type 7, of 8 KiB.
std::string appears(char row, const std::string &file) {
  return happens(file_appears, row + file);
}

std::map<std::string, std::string> seeds() {
  const record_fields small{.len = 40, .sync = 1};
  const record_fields kernel{.len = 40, .file_type = 21, .sync = 1};
  std::string lap = mounted;
  for (int i = 0; i < 12; ++i) lap += logs({.len = 900, .sync = 1});
  const std::string sound = file_of(alpha() + beta() + gamma_ray());
  return {
      {"answered", mounted + logs(small)},
      {"synchronous", mounted + logs({.len = 7, .sync = 2})},
      {"not_answered", mounted + logs({.len = 8}) + logs({.len = 8, .sync = 3})},
      {"update", mounted + logs(small) + logs({.len = 40, .update = 1, .sync = 1})},
      {"lap", lap},
      {"refused", mounted + logs({.type = 1023, .len = 4, .sync = 1}) +
                      logs({.len = 0, .sync = 1}) + logs({.uuid = 2737, .len = 4, .sync = 1}) +
                      logs({.len = 4, .file_type = 39, .sync = 1}) +
                      logs({.len = 8129, .sync = 1})},
      {"statistics", mounted + logs(small) + happens(statistics, "")},
      {"disable_enable", mounted + commands(2, 7) + logs(small) + commands(1, 7) + logs(small)},
      {"disable_all", mounted + commands(2, 0) + logs(small) + commands(1, 0)},
      {"clear", mounted + logs(small) + commands(3, 7) + happens(statistics, "") + logs(small)},
      {"clear_all", mounted + logs(small) + commands(3, 0)},
      {"stray_type", mounted + commands(2, 64 + 7) + recovers(64 + 7, 0) + logs(small)},
      {"unknown_command", mounted + commands(7, 0) + commands(7, 65535)},
      {"configured", mounted + configures(1, 1) + configures(1, 2) + logs(small) +
                         configures(2, 1) + configures(1, 1) + logs(small)},
      {"recover_gheader", mounted + appears(8, sound) + recovers(7, 0) + logs(small)},
      {"recover_entries", mounted + appears(8, sound) + recovers(7, 1) + logs(small)},
      {"recover_kernel_log", mounted + logs(kernel) + recovers(21, 0) + recovers(7, 0)},
      {"recover_stray", mounted + recovers(64, 0) + recovers(UINT32_MAX, 1)},
      {"recover_all_damaged", mounted + appears(8, stale(400)) + recovers(7, 0) + logs(small)},
      {"too_small", mounted + appears(8, stale(10)) + logs(small) + logs(small)},
      {"flash_failed", mounted + failure_in_slot(4) + logs(small) + failure_in_slot(3) +
                           logs(small) + commands(1, 7) + commands(3, 7) + configures(1, 1) +
                           recovers(7, 0)},
      {"unmounted", not_mounted + logs(small) + happens(flash_mounted, "") + logs(small) +
                        happens(flash_unmounted, "") + logs(small)},
      {"no_payload", mounted + happens(log_record, "") + happens(command, "") +
                         happens(config, "") + happens(recover, "") + happens(flash_failure, "")},
      {"short_payload", mounted + happens(log_record, "\x01") + happens(command, "\x03")},
      {"ignored", mounted + happens(ignored, "") + happens(ignored, "1")},
      {"unknown_opcode", mounted + happens(any_opcode, low_first(4711, 4) + "data")},
      {"taken_and_kept", mounted + logs(small, taken) + logs(small, kept)},
      {"platform_fails", mounted + logs(small, send_fails) + commands(1, 7, send_fails) +
                             logs(small, drop_fails) + logs(small, not_received)},
  };
}

}  // namespace
}  // namespace vesk::test

int main(int argc, char **argv) {
  return vesk::test::write_seeds(argc, argv, vesk::test::seeds());
}
