#include "tests/faults/failure.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <set>

namespace vesk::test {

namespace {

std::vector<failure> with_errnos(const std::vector<int> &errnos) {
  std::vector<failure> all;
  for (const int error : errnos) all.push_back({-1, error});
  return all;
}

// Exit statuses stand for a program that was started and came to nothing.
const std::vector<failure> launch_failures = {{-1, ENOENT}, {-1, EACCES}, {-1, EAGAIN},
                                              {-1, ENOMEM}, {1, 0},       {127, 0}};

const std::map<std::string, std::vector<failure>> &failures_by_kind() {
  static const std::map<std::string, std::vector<failure>> all = {
      {"open", with_errnos({EIO, EACCES, EMFILE, ENFILE, ENOENT, ENOSPC, EROFS, EISDIR, EINTR,
                            ENOMEM, ENXIO, ENOTDIR, ELOOP, EPERM, EDQUOT})},
      {"stat", with_errnos({EIO, ENOENT, EACCES, ENOTDIR, ELOOP, ENOMEM, EOVERFLOW, ENAMETOOLONG,
                            EFAULT, EBADF})},
      {"lseek", with_errnos({EBADF, EINVAL, EOVERFLOW, ESPIPE, ENXIO, EIO})},
      {"read", with_errnos({EIO, EBADF, EFAULT, EINVAL, EINTR, EAGAIN, EISDIR})},
      {"write", with_errnos({EIO, ENOSPC, EFAULT, EBADF, EINVAL, EINTR, EAGAIN, EFBIG, EDQUOT,
                             EPERM, EROFS})},
      {"close", with_errnos({EIO, EBADF, EINTR, ENOSPC, EDQUOT})},
      {"gettimeofday", with_errnos({EFAULT, EINVAL, EPERM})},
      {"rmdir", with_errnos({EIO, ENOENT, EBUSY, ENOTEMPTY, EACCES, EROFS})},
      {"sigaction", with_errnos({EINVAL, EFAULT})},
      {"execute_program_and_wait", launch_failures},
      {"execute_program_and_let_go", launch_failures},
      {"exec_cmd_with_files_print", launch_failures},
      {"ipq_bind", with_errnos({EADDRINUSE, EACCES})},
      {"ipq_recv", with_errnos({EAGAIN, EBADF})},
      {"ipq_send", with_errnos({EAGAIN, ECONNREFUSED, EBADF})},
      {"ipq_drop", with_errnos({EINVAL, EBADF})},
      {"dbgkit_dbg_init", {{-1, EINVAL}, {1, 0}}},
      {"dbgkit_sys_init_helper", {{-1, EINVAL}, {1, 0}}},
      {"tg_create_group", {{0, ENOMEM}}},
      {"tg_create_timer", {{0, ENOMEM}}},
      {"tg_start_timer", {{0, EINVAL}, {2, 0}}},
      {"card_get_slot_num", {{-1, EIO}, {1, ENODEV}}},
      {"runctl_heartbeat", {{-1, EAGAIN}}},
  };
  return all;
}

// Around the limits that matter: nothing, the size of a header, all but one byte.
std::set<size_t> short_counts(size_t size, extent extent) {
  constexpr size_t all_of_a_header = 24;
  std::set<size_t> counts;
  if (extent == extent::full || size <= all_of_a_header) {
    for (size_t count = 0; count < size; ++count) counts.insert(count);
    return counts;
  }
  for (const size_t count :
       {size_t{0}, size_t{1}, size_t{4}, size_t{19}, size_t{20}, size_t{21}, size / 2, size - 1}) {
    if (count < size) counts.insert(count);
  }
  return counts;
}

}  // namespace

std::string as_text(const failure &failure) {
  const char *const error = failure.error == 0 ? nullptr : strerrorname_np(failure.error);
  if (failure.result == -1) return error == nullptr ? "-1" : error;
  return std::to_string(failure.result) + (error == nullptr ? "" : std::string(" and ") + error);
}

std::vector<failure> failures_of(const std::string &kind, size_t size, extent extent) {
  const auto found = failures_by_kind().find(kind);
  if (found == failures_by_kind().end()) return {};
  std::vector<failure> all = found->second;
  if (kind != "read" && kind != "write") return all;
  // A short count is no failure to the system, so that errno may be anything, left from earlier.
  for (const size_t count : short_counts(size, extent)) {
    all.push_back({static_cast<int64_t>(count), 0});
    all.push_back({static_cast<int64_t>(count), EIO});
  }
  return all;
}

}  // namespace vesk::test
