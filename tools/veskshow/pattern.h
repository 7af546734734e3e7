// A regular expression that entries' texts are held against.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "base/vesk_failure.h"

namespace vesk::veskshow {

class text_pattern {
 public:
  // Fails where the pattern is no regular expression. Case matters only where it has an upper-case
  // letter, one behind a backslash not counted.
  static failure compile(std::string_view pattern, std::optional<text_pattern> &ret_pattern);

  // Whether the text has a match somewhere. It has to be UTF-8, as what text_of() gives is: nobody
  // looks at that again. A search that takes too many steps is given up, and after a few of those
  // every other: that counts as no match.
  [[nodiscard]] bool matches(std::string_view text) const;

  // Whether a search was given up, so that matches may have been missed.
  [[nodiscard]] bool gave_up() const;

 private:
  struct machine;
  explicit text_pattern(std::shared_ptr<machine> compiled) : machine_(std::move(compiled)) {}

  std::shared_ptr<machine> machine_;
};

}  // namespace vesk::veskshow
