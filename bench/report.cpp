#include "bench/report.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <cstdio>

namespace vesk::bench {

namespace {

std::string line(const char *format, auto... values) {
  char text[256];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

// A figure with three digits that count, or all of a larger one.
std::string figure(double value) {
  const char *format = value >= 100   ? "%.0f"
                       : value >= 10  ? "%.1f"
                       : value >= 0.1 ? "%.2f"
                                      : "%.4f";
  return line(format, value);
}

std::string goal_of(const comparison &row) {
  if (row.goal == 0) return "";
  return line("%s %.2f%s", row.more_is_better ? ">=" : "<=", row.goal, row.met() ? "" : "  MISSED");
}

std::string row_of(const comparison &row) {
  return line("%-30s %-10s %9s %9s %-10s %6.2f (%.2f to %.2f)  %s\n", row.name.c_str(),
              row.unit.c_str(), figure(row.ours.median).c_str(), figure(row.theirs.median).c_str(),
              row.against.c_str(), row.ratio.median, row.ratio.lowest, row.ratio.highest,
              goal_of(row).c_str());
}

template <typename Writer>
void write_spread(Writer &out, const char *name, const spread &values) {
  out.Key(name);
  out.StartObject();
  out.Key("median");
  out.Double(values.median);
  out.Key("lowest");
  out.Double(values.lowest);
  out.Key("highest");
  out.Double(values.highest);
  out.EndObject();
}

template <typename Writer>
void write_row(Writer &out, const std::string &section, const comparison &row) {
  out.StartObject();
  out.Key("section");
  out.String(section.c_str());
  out.Key("name");
  out.String(row.name.c_str());
  out.Key("unit");
  out.String(row.unit.c_str());
  out.Key("against");
  out.String(row.against.c_str());
  write_spread(out, "ours", row.ours);
  write_spread(out, "theirs", row.theirs);
  write_spread(out, "ratio", row.ratio);
  if (row.goal != 0) {
    out.Key("goal");
    out.Double(row.goal);
    out.Key("met");
    out.Bool(row.met());
  }
  out.EndObject();
}

}  // namespace

void report::add(const std::string &section, const comparison &row) {
  std::fprintf(stderr, "%s: %s, %s\n", section.c_str(), row.name.c_str(), row.unit.c_str());
  rows_.emplace_back(section, row);
}

std::string report::table() const {
  std::string text;
  std::string section;
  for (const auto &[of, row] : rows_) {
    if (of != section) {
      text += (text.empty() ? "" : "\n") +
              line("%-30s %-10s %9s %9s %-10s %s\n", of.c_str(), "", "ours", "other", "", "ratio");
    }
    section = of;
    text += row_of(row);
  }
  return text;
}

std::string report::json() const {
  rapidjson::StringBuffer text;
  rapidjson::PrettyWriter out(text);
  out.SetIndent(' ', 2);
  out.StartArray();
  for (const auto &[section, row] : rows_) write_row(out, section, row);
  out.EndArray();
  return std::string(text.GetString()) + "\n";
}

}  // namespace vesk::bench
