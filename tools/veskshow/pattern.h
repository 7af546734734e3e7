// A regular expression that entries' texts are held against.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace vesk::veskshow {

class text_pattern {
 public:
  // Null where the pattern is no regular expression; `reason` then says why and where. Case matters
  // only where the pattern has an upper-case letter, one behind a backslash not counted.
  static std::unique_ptr<const text_pattern> compile(std::string_view pattern, std::string &reason);

  ~text_pattern();
  text_pattern(const text_pattern &) = delete;
  text_pattern &operator=(const text_pattern &) = delete;

  // Whether the text has a match somewhere. It has to be UTF-8, as what text_of() gives is: nobody
  // looks at that again. A search that takes too many steps is given up, and after a few of those
  // every other: that counts as no match.
  bool matches(std::string_view text) const;

  // Whether a search was given up, so that matches may have been missed.
  bool gave_up() const { return given_up_ > 0; }

 private:
  struct machine;
  explicit text_pattern(std::unique_ptr<machine> compiled);

  std::unique_ptr<machine> machine_;
  mutable size_t given_up_ = 0;
};

}  // namespace vesk::veskshow
