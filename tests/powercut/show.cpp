#include "tests/powercut/show.h"

#include <sstream>
#include <stdexcept>

#include "tests/support/log_file.h"
#include "tools/shared/problem_text.h"

namespace vesk::test {

namespace {

std::string look_of(const maybe_image &file) {
  if (!file) return "(no file)";
  return std::to_string(file->size()) + " bytes: " + picture_of(*file);
}

std::string told(const std::vector<flash_write> &writes, const power_cut *cut) {
  std::ostringstream out;
  for (size_t i = 0; i < writes.size(); ++i) {
    out << "  " << writes[i].bytes.size() << " bytes at " << writes[i].offset;
    if (cut != nullptr && (cut->whole >> i & 1) != 0) out << ": whole";
    if (cut != nullptr && cut->bytes > 0 && cut->torn == i) out << ": " << cut->bytes << " of them";
    out << "\n";
  }
  return out.str();
}

std::string told(const file_forecast &predicted) {
  std::string text(fate_name(predicted.fate));
  if (predicted.objection) {
    text += ", " + std::to_string(predicted.objection.offset) + ": " +
            shared::objection_text(predicted);
  }
  if (predicted.repair_failure) text += "; " + shared::repair_failure_text(predicted);
  return text;
}

// Of lines that differ in their numbers only, the first and how many follow.
std::string told(const std::vector<std::string> &lines) {
  const auto kind = [](std::string text) {
    std::erase_if(text, [](char c) { return c >= '0' && c <= '9'; });
    return text;
  };
  std::ostringstream out;
  for (size_t i = 0, next = 0; i < lines.size(); i = next) {
    for (next = i + 1; next < lines.size() && kind(lines[next]) == kind(lines[i]);) ++next;
    out << "  " << lines[i] << (lines[i].ends_with("\n") ? "" : "\n");
    if (next > i + 1) out << "    and " << next - i - 1 << " more of these\n";
  }
  return out.str();
}

std::string told(const losses &found) {
  std::ostringstream out;
  out << found.entries << " entries could be read before the cut; lost after the first start "
      << found.first << ", after the second " << found.second << ", with a search of the file "
      << found.with_search << ", with preserved copies " << found.with_copy
      << "; shown, but never sent: " << found.untrue << "\n";
  for (const auto &[cause, entries] : found.causes) out << "  " << entries << " " << cause << "\n";
  for (const std::string &failure : found.failures) out << "  FAILED: " << failure << "\n";
  return out.str();
}

}  // namespace

std::string story_of(const case_plan &plan, const cut_name &name) {
  if (name.variant >= plan.variants) throw std::out_of_range("no such ring");
  const power_case c = make_case(plan, name.variant);
  named_cut found;
  course course;
  {
    daemon_in_memory daemon(c.file_type, true);
    found = find_cut(daemon, c, name);
    course = take_course(daemon, c, found.state.file);
  }
  std::ostringstream out;
  out << plan.name << " " << as_text(name) << "\nbefore: " << look_of(c.before)
      << "\nthe operation writes:\n"
      << told(found.run.writes, &found.cut) << "uncut: " << look_of(found.run.after) << "\n";
  if (name.repair_cut) {
    out << "the repair after the cut writes, and is cut after " << *name.repair_cut << " bytes:\n"
        << told(found.repair, nullptr);
  }
  out << "cut: " << look_of(found.state.file)
      << "\nfirst start, predicted: " << told(course.first_forecast) << "\n"
      << told(course.first.lines) << "after it: " << look_of(course.first.file)
      << "\nnext record: " << (course.next.served ? "stored" : "refused") << "\n"
      << told(course.next.lines) << "after it: " << look_of(course.next.file)
      << "\nsecond start, predicted: " << told(course.second_forecast) << "\n"
      << told(course.second.lines) << "after it: " << look_of(course.second.file) << "\n"
      << told(losses_of(c, found.state, course));
  return out.str();
}

}  // namespace vesk::test
