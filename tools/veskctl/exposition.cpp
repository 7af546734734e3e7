#include "tools/veskctl/exposition.h"

namespace vesk::veskctl {
namespace {

// With the three characters escaped that the format gives a meaning to.
void append_value(std::string &out, std::string_view value) {
  for (const char c : value) {
    if (c == '\\' || c == '"') {
      out.append("\\") += c;
    } else if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
}

}  // namespace

void exposition::family(const char *name, metric_type type, const char *help) {
  name_ = name;
  text_.append("# HELP ").append(name).append(" ").append(help).append("\n# TYPE ").append(name);
  text_.append(type == metric_type::counter ? " counter\n" : " gauge\n");
}

void exposition::sample(std::initializer_list<label> labels, std::string_view value) {
  text_ += name_;
  const char *before = "{";
  for (const label &l : labels) {
    text_.append(before).append(l.name).append("=\"");
    append_value(text_, l.value);
    text_ += '"';
    before = ",";
  }
  text_.append(labels.size() == 0 ? " " : "} ").append(value).append("\n");
}

void exposition::sample(std::initializer_list<label> labels, uint64_t value) {
  sample(labels, std::to_string(value));
}

}  // namespace vesk::veskctl
