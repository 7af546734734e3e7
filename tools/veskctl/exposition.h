// The text format in which monitoring systems of the Prometheus family take in metrics.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace vesk::veskctl {

struct label {
  const char *name;
  std::string value;  // in UTF-8
};

enum class metric_type { counter, gauge };

// Families one after the other, each with its samples behind it.
class exposition {
 public:
  // Begins a family. `help` is one line without a backslash.
  void family(const char *name, metric_type type, const char *help);

  // A sample of the last family; `value` is a number as the format wants it.
  void sample(std::initializer_list<label> labels, std::string_view value);
  void sample(std::initializer_list<label> labels, uint64_t value);

  const std::string &text() const { return text_; }

 private:
  const char *name_ = "";
  std::string text_;
};

}  // namespace vesk::veskctl
