#include "tools/veskshow/names.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "tools/shared/text.h"

namespace vesk::veskshow {

namespace {

constexpr off_t largest_file = off_t{1} << 20;
constexpr std::string_view blanks = " \t\r";

numbered_names::const_iterator named(const numbered_names &names, std::string_view name) {
  return std::find_if(names.begin(), names.end(),
                      [&](const auto &entry) { return entry.second == name; });
}

// Takes the first word and the blanks around it off the line. Returns the word.
std::string_view take_word(std::string_view &line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  return word;
}

failure add_name(numbered_names &names, const std::string &kind, uint16_t number,
                 std::string_view name) {
  if (name.empty()) return {"a name is missing"};
  if (shared::safely(name) != name) return {"the name is not plain UTF-8 text"};
  if (shared::is_digits(name)) return {"the name is itself a number"};
  if (const auto other = named(names, name); other != names.end()) {
    return {"this is the name of " + kind + " " + std::to_string(other->first) + " already"};
  }
  if (!names.emplace(number, name).second) {
    return {kind + " " + std::to_string(number) + " has a name already"};
  }
  return {};
}

failure read_line(std::string_view line, name_table &names) {
  line = line.substr(0, line.find_last_not_of(blanks) + 1);
  if (line.empty() || line[0] == '#') return {};
  const std::string kind(take_word(line));
  if (kind != "uuid" && kind != "type") {
    return {"the line begins with neither \"uuid\" nor \"type\""};
  }
  const auto number = shared::number_in<uint16_t>(take_word(line));
  if (!number) return {"a number from 0 to 65535 is missing"};
  return add_name(kind == "uuid" ? names.uuids : names.types, kind, *number, line);
}

failure check_that_it_may_be_one(const std::string &path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return {errno_text(errno)};
  if (S_ISDIR(status.st_mode)) return {errno_text(EISDIR)};
  if (!S_ISREG(status.st_mode)) return {"Not a regular file"};
  if (status.st_size > largest_file) return {"Too large for a file of names"};
  return {};
}

}  // namespace

failure read_names(const std::string &path, name_table &ret_names) {
  if (failure why = check_that_it_may_be_one(path)) return {path + ": " + why.reason};
  std::ifstream file(path, std::ios::binary);
  if (!file) return {path + ": " + errno_text(errno)};
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (failure why = read_line(line, ret_names)) {
      return {path + ":" + std::to_string(number) + ": " + why.reason};
    }
  }
  return {file.bad() ? path + ": " + errno_text(EIO) : ""};
}

const std::string *find_name(const numbered_names &names, uint16_t number) {
  const auto found = names.find(number);
  return found == names.end() ? nullptr : &found->second;
}

std::optional<uint16_t> number_of(const numbered_names &names, std::string_view typed) {
  if (shared::is_digits(typed)) return shared::number_in<uint16_t>(typed);
  const auto found = named(names, typed);
  if (found == names.end()) return {};
  return found->first;
}

}  // namespace vesk::veskshow
