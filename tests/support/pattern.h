// Extended regular expressions, for output of which some parts are not known beforehand.
#pragma once

#include <regex.h>

#include <stdexcept>
#include <string>

namespace vesk::test {

class pattern {
 public:
  explicit pattern(const std::string &text) {
    if (regcomp(&compiled_, text.c_str(), REG_EXTENDED) != 0) throw std::invalid_argument(text);
  }
  pattern(const pattern &) = delete;
  pattern &operator=(const pattern &) = delete;
  ~pattern() { regfree(&compiled_); }

  // Whether the text holds it; a '^' and a '$' stand for the ends of the whole text.
  bool is_in(const std::string &text) const {
    return regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0;
  }

  // The text with `other` in place of what matches first.
  std::string replaced(const std::string &text, const std::string &other) const {
    regmatch_t found;
    if (regexec(&compiled_, text.c_str(), 1, &found, 0) != 0) return text;
    const auto begin = static_cast<size_t>(found.rm_so);
    const auto end = static_cast<size_t>(found.rm_eo);
    return text.substr(0, begin) + other + text.substr(end);
  }

 private:
  regex_t compiled_;
};

}  // namespace vesk::test
