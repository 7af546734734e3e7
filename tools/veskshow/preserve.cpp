// --preserve: copies of the files that the daemon's next first start would change or remove.
#include <string>
#include <utility>
#include <vector>

#include "tools/shared/preserve.h"
#include "tools/shared/repairs.h"
#include "tools/shared/text.h"
#include "tools/veskshow/jobs.h"

namespace vesk::veskshow {

namespace {

// The files that do not stay as they are.
std::vector<shared::evidence> find_evidence(const request &asked, output &out) {
  shared::repairs_end ended;
  std::vector<shared::evidence> found;
  for (const shared::log_file &file : asked.files) {
    shared::evidence seen{};
    if (failure why = shared::examine(file, ended, seen)) {
      out.problem(file.path, why.reason);
    } else if (seen.predicted.fate != file_fate::keep) {
      found.push_back(std::move(seen));
    }
  }
  return found;
}

void show(const shared::preserve_result &result, output &out) {
  for (const std::string &path : result.evicted) {
    out.text += shared::safely(path) + ": removed to make room\n";
  }
  for (const shared::preserved_file &file : result.files) {
    if (file.known) continue;
    out.text.append(file.name).append(": ").append(fate_name(file.fate));
    out.text += "; copied to " + shared::safely(file.path) + "\n";
  }
  for (const shared::preserve_trouble &trouble : result.troubles) {
    out.problem(trouble.subject, trouble.reason);
  }
}

}  // namespace

void show_preserved(const request &asked, output &out) {
  const options &wanted = asked.wanted;
  const std::vector<shared::evidence> found = find_evidence(asked, out);
  const uint64_t limit = wanted.preserve_limit.value_or(shared::preserve_limit_mib);
  show(preserve({wanted.preserve_directory, limit << 20, wanted.directory, "start"}, found), out);
}

}  // namespace vesk::veskshow
