#include "tests/unit/daemon/daemon_test.h"

#include <cstring>
#include <filesystem>

#include "daemon/vesk_flash_control.h"
#include "daemon/vesk_send.h"
#include "format/vesk_catalogue.h"
#include "tests/support/intercept.h"

namespace fs = std::filesystem;

namespace vesk::test {

void daemon_test::SetUp() {
  platform.reset();
  platform.clobber_errno = 4242;
  ipq_q = 7;
  append_instead = nullptr;
  remove_all("/mnt/vesk");
  remove_all("/mnt/qvd");
  remove_all("/vamo-upgrade");
  make_dir("/mnt/vesk");
  write_file(VESK_MOUNT_MARKER, {});
}

void daemon_test::TearDown() {
  EXPECT_EQ(platform.unused(), lines());
  EXPECT_EQ(platform.history, platform.prints);
}

void daemon_test::unmount() {
  remove_all(VESK_MOUNT_MARKER);
}

void make_dir(const std::string &path) {
  fs::create_directories(path);
}

void remove_all(const std::string &path) {
  fs::remove_all(path);
}

bytes hex(std::string_view text) {
  bytes result;
  for (size_t i = 0; i + 1 < text.size(); i += text[i] == ' ' ? 1 : 2) {
    if (text[i] == ' ') continue;
    result.push_back(static_cast<uint8_t>(std::stoul(std::string(text.substr(i, 2)), nullptr, 16)));
  }
  return result;
}

bytes zeros(size_t count) {
  return bytes(count);
}

bytes operator+(bytes left, const bytes &right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

void put(bytes &target, size_t offset, const bytes &part) {
  std::copy(part.begin(), part.end(), target.begin() + static_cast<std::ptrdiff_t>(offset));
}

bytes host16(uint16_t value) {
  bytes result(sizeof value);
  std::memcpy(result.data(), &value, sizeof value);
  return result;
}

bytes host32(uint32_t value) {
  bytes result(sizeof value);
  std::memcpy(result.data(), &value, sizeof value);
  return result;
}

log_lines numbered(size_t count, const log_line &line) {
  log_lines result;
  for (size_t i = 0; i < count; ++i) {
    log_line one = line;
    one.text.replace(one.text.find('%'), 1, std::to_string(i));
    result.push_back(one);
  }
  return result;
}

}  // namespace vesk::test
