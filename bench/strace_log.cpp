#include "bench/strace_log.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace vesk::bench {

namespace {

using what = system_call::what;

// The text between the first pair of quotation marks.
std::string quoted(std::string_view line) {
  const size_t from = line.find('"');
  if (from == line.npos) return {};
  return std::string(line.substr(from + 1, line.find('"', from + 1) - from - 1));
}

long result_of(std::string_view line) {
  const size_t at = line.rfind(" = ");
  return at == line.npos ? -1 : std::atol(line.data() + at + 3);
}

// How many bytes a call has moved.
uint32_t moved_by(std::string_view line) {
  return static_cast<uint32_t>(std::max(0L, result_of(line)));
}

int descriptor_of(std::string_view line) {
  return std::atoi(line.data() + line.find('(') + 1);
}

// The last argument, a count of bytes.
uint32_t count_of(std::string_view line) {
  const std::string_view call = line.substr(0, line.rfind(')'));
  return static_cast<uint32_t>(std::atol(call.data() + call.rfind(',') + 1));
}

uint32_t second_of(std::string_view line) {
  return static_cast<uint32_t>(std::atol(line.data() + line.find(',') + 1));
}

int32_t open_flags(std::string_view line) {
  int32_t flags = line.find("O_RDWR") != line.npos ? O_RDWR : O_RDONLY;
  if (line.find("O_CREAT") != line.npos) flags |= O_CREAT;
  if (line.find("O_DSYNC") != line.npos) flags |= O_DSYNC;
  return flags;
}

bool is_watched(std::string_view path) {
  return path.starts_with("/mnt/vesk/") || path == "/kyte_mounted";
}

class log_reader {
 public:
  std::optional<system_call> next(const std::string &line) {
    const std::string name = line.substr(0, line.find('('));
    if (name == "pselect6" || name == "select") return system_call{.call = what::wait};
    if (name == "recvmsg") return system_call{.call = what::receive};
    if (name == "sendmsg") return answer(line);
    if (name == "newfstatat" || name == "stat") return status(line);
    if (name == "openat" || name == "open") return open(line);
    if (!open_.contains(descriptor_of(line))) return {};
    if (name == "lseek") return system_call{.call = what::seek, .number = second_of(line)};
    if (name == "read" || name == "pread64") return transfer(what::read, line);
    if (name == "write") return transfer(what::write, line);
    if (name != "close") return {};
    open_.erase(descriptor_of(line));
    return system_call{.call = what::close};
  }

 private:
  // Only answers have an abstract address; the system manager's socket has a path.
  static std::optional<system_call> answer(const std::string &line) {
    if (line.find("sun_path=@") == line.npos) return {};
    return system_call{.call = what::answer, .number = moved_by(line)};
  }

  static system_call transfer(what call, const std::string &line) {
    return {.call = call, .number = count_of(line), .result = moved_by(line)};
  }

  static std::optional<system_call> status(const std::string &line) {
    const std::string path = quoted(line);
    if (!is_watched(path)) return {};
    return system_call{.call = what::stat, .path = path};
  }

  std::optional<system_call> open(const std::string &line) {
    const std::string path = quoted(line);
    if (!is_watched(path)) return {};
    if (result_of(line) >= 0) open_.insert(static_cast<int>(result_of(line)));
    return system_call{.call = what::open, .flags = open_flags(line), .path = path};
  }

  std::set<int> open_;
};

}  // namespace

system_calls read_strace_log(const std::string &path) {
  std::ifstream log(path);
  if (!log) throw std::runtime_error("cannot read " + path);
  log_reader reader;
  system_calls calls;
  for (std::string line; std::getline(log, line);) {
    if (auto call = reader.next(line)) calls.push_back(std::move(*call));
  }
  return calls;
}

system_calls calls_for_messages(system_calls calls) {
  // The host answers a status request before the daemon looks at it.
  const auto first = std::adjacent_find(
      calls.begin(), calls.end(), [](const system_call &call, const system_call &next) {
        return call.call == what::receive && next.call != what::answer;
      });
  calls.erase(calls.begin(), first);
  return calls;
}

written written_below(const std::string &directory, const std::string &path) {
  std::ifstream log(path);
  if (!log) throw std::runtime_error("cannot read " + path);
  written total{};
  std::set<std::string> interrupted;  // threads whose write is reported on a later line
  for (std::string line; std::getline(log, line);) {
    const std::string thread = line.substr(0, line.find(' '));
    const bool begins =
        line.find("write") < line.find('(') && line.find("<" + directory + "/") < line.find(',');
    const bool goes_on = line.find("write") < line.find(" resumed>") && interrupted.erase(thread);
    if (!begins && !goes_on) continue;
    if (line.ends_with("<unfinished ...>")) {
      interrupted.insert(thread);
      continue;
    }
    total.bytes += moved_by(line);
    ++total.calls;
  }
  return total;
}

}  // namespace vesk::bench
