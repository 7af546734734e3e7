#include "tools/veskshow/names.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <system_error>

#include "tools/shared/text.h"

namespace vesk::veskshow {

namespace {

using numbered_names = std::map<uint16_t, std::string>;

constexpr off_t largest_file = off_t{1} << 20;
constexpr std::string_view blanks = " \t\r";

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::optional<uint16_t> as_number(std::string_view text) {
  uint16_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  if (!is_number(text) || parsed.ec != std::errc()) return {};
  return number;
}

numbered_names::const_iterator named(const numbered_names &names, std::string_view name) {
  return std::find_if(names.begin(), names.end(),
                      [&](const auto &entry) { return entry.second == name; });
}

// The first word of a line, which loses it and the blanks around it.
std::string_view take_word(std::string_view &line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  return word;
}

bool is_safe(std::string_view name) {
  std::string shown;
  shared::append_safely(shown, name);
  return shown == name;
}

// Returns what is wrong with the name, if anything.
std::string add_name(numbered_names &names, std::string_view kind, uint16_t number,
                     std::string_view name) {
  if (name.empty()) return "a name is missing";
  if (!is_safe(name)) return "the name is not plain UTF-8 text";
  if (is_number(name)) return "the name is itself a number";
  if (const auto other = named(names, name); other != names.end()) {
    return "this is the name of " + std::string(kind) + " " + std::to_string(other->first) +
           " already";
  }
  if (!names.emplace(number, name).second) {
    return std::string(kind) + " " + std::to_string(number) + " has a name already";
  }
  return {};
}

std::string read_line(std::string_view line, name_table &names) {
  line = line.substr(0, line.find_last_not_of(blanks) + 1);
  if (line.empty() || line[0] == '#') return {};
  const std::string_view kind = take_word(line);
  if (kind != "uuid" && kind != "type") return "the line begins with neither \"uuid\" nor \"type\"";
  const auto number = as_number(take_word(line));
  if (!number) return "a number from 0 to 65535 is missing";
  return add_name(kind == "uuid" ? names.uuids : names.types, kind, *number, line);
}

std::string reason_not_to_read(const std::string &path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return std::generic_category().message(errno);
  if (S_ISDIR(status.st_mode)) return std::generic_category().message(EISDIR);
  if (!S_ISREG(status.st_mode)) return "Not a regular file";
  if (status.st_size > largest_file) return "Too large for a file of names";
  return {};
}

}  // namespace

std::string read_names(const std::string &path, name_table &names) {
  if (auto reason = reason_not_to_read(path); !reason.empty()) return path + ": " + reason;
  std::ifstream file(path, std::ios::binary);
  if (!file) return path + ": " + std::generic_category().message(errno);
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (auto reason = read_line(line, names); !reason.empty()) {
      return path + ":" + std::to_string(number) + ": " + reason;
    }
  }
  if (file.bad()) return path + ": " + std::generic_category().message(EIO);
  return {};
}

std::string name_of(const std::map<uint16_t, std::string> &names, uint16_t number) {
  const auto found = names.find(number);
  return found == names.end() ? std::to_string(number) : found->second;
}

std::optional<uint16_t> number_of(const std::map<uint16_t, std::string> &names,
                                  std::string_view typed) {
  if (is_number(typed)) return as_number(typed);
  const auto found = named(names, typed);
  if (found == names.end()) return {};
  return found->first;
}

}  // namespace vesk::veskshow
