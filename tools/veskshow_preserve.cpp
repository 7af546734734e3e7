// --preserve: copies of the files that the daemon's next first start would change or remove.
#include <string>
#include <utility>
#include <vector>

#include "tools/vesk_preserve.h"
#include "tools/veskshow_jobs.h"
#include "tools/veskshow_repairs.h"
#include "tools/veskshow_text.h"

namespace vesk {

namespace {

// The files that do not stay as they are.
std::vector<evidence> find_evidence(const request &asked, output &out) {
  repairs_end ended;
  std::vector<evidence> found;
  for (const log_file &file : asked.files) {
    evidence seen{};
    if (auto reason = examine(file, ended.before(file), seen); !reason.empty())
      out.problem(file.path, reason);
    else if (seen.foretold.fate != file_fate::keep)
      found.push_back(std::move(seen));
  }
  return found;
}

void show(const preserve_result &result, output &out) {
  for (const std::string &path : result.evicted) {
    append_safely(out.text, path);
    out.text += ": removed to make room\n";
  }
  for (const preserved_file &file : result.files) {
    if (file.known) continue;
    out.text.append(file.name).append(": ").append(fate_name(file.fate)).append("; copied to ");
    append_safely(out.text, file.path);
    out.text += "\n";
  }
  for (const preserve_trouble &trouble : result.troubles)
    out.problem(trouble.subject, trouble.reason);
}

}  // namespace

void show_preserved(const request &asked, output &out) {
  const options &wanted = asked.wanted;
  const std::vector<evidence> found = find_evidence(asked, out);
  show(preserve({wanted.preserve_directory, uint64_t{wanted.preserve_limit} << 20, wanted.directory,
                 "start"},
                found),
       out);
}

}  // namespace vesk
