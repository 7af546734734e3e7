// Every entry that can still be had from a file, whatever it has become.
#include "reader/vesk_salvage.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <numeric>

#include "reader/vesk_ring_image.h"
#include "tools/veskshow/filter.h"
#include "tools/veskshow/jobs.h"

namespace vesk::veskshow {

namespace {

// What was found in one file.
struct tally {
  std::array<size_t, certainty_count> shown{};  // by certainty, the least first
  bool all_in_chain = true;                     // those that the filter leaves out included

  size_t total() const { return std::accumulate(shown.begin(), shown.end(), size_t{0}); }
};

// "7 entries: 3 chain, 2 sure, 1 likely, 1 doubtful".
std::string counts(const tally &found) {
  std::string line = std::to_string(found.total()) + (found.total() == 1 ? " entry" : " entries");
  const char *between = ": ";
  for (size_t i = certainty_count; i-- > 0;) {
    if (found.shown[i] == 0) continue;
    line.append(between).append(std::to_string(found.shown[i])).append(" ");
    line.append(certainty_name(static_cast<certainty>(i)));
    between = ", ";
  }
  return line;
}

// "doubtful, 40 of 100 bytes".
std::string certainty_of(const salvaged_entry &found) {
  std::string text(certainty_name(found.level));
  if (!found.whole()) {
    text += ", " + std::to_string(found.entry.data.size()) + " of " + std::to_string(found.size) +
            " bytes";
  }
  return text;
}

class salvager {
 public:
  salvager(const request &asked, const shared::log_file &file, output &out)
      : asked_(asked), file_(file), out_(out) {}

  // Shows what is found, and returns the counts.
  tally run(salvage &&search) {
    while (const auto found = search.next()) {
      std::visit([this](const auto &what) { show(what); }, *found);
      out_.flush_when_large();
    }
    if (search.damage()) out_.problem(file_.path, shared::damage_text(*search.damage()));
    if (!found_.all_in_chain) out_.status = exit_problem;
    if (!asked_.wanted.quiet) out_.note("-- " + file_.path + ": " + counts(found_) + " --");
    return found_;
  }

 private:
  void show(const salvaged_entry &found) {
    if (found.level != certainty::chain) found_.all_in_chain = false;
    if (!passes(asked_.filter, found.entry)) return;
    ++found_.shown[static_cast<size_t>(found.level)];
    const std::string certainty = certainty_of(found);
    shown_entry shown = entry_in(file_, found.entry);
    shown.certainty = certainty;
    shown.base = found.offset - found.entry.offset;
    append_entry(out_.text, shown, asked_.style);
  }

  void show(const salvaged_gheader &found) {
    if (asked_.wanted.quiet) return;
    const ring_state &ring = found.state;
    out_.note("-- " + file_.path + ": offset " + std::to_string(found.offset) +
              ": a global header: capacity " + std::to_string(ring.max) + ", start " +
              std::to_string(ring.start) + ", end " + std::to_string(ring.end) + " --");
  }

  void show(const unreadable_stretch &found) {
    out_.problem(file_.path, "offset " + std::to_string(found.offset) + " to " +
                                 std::to_string(found.end) + ": " + errno_text(found.error));
  }

  const request &asked_;
  const shared::log_file &file_;
  output &out_;
  tally found_;
};

// How many bytes there are to be searched; less than 0 where it has no such number.
off_t length_of(int fd, const struct stat &status) {
  if (S_ISREG(status.st_mode)) return status.st_size;
  return S_ISBLK(status.st_mode) ? lseek(fd, 0, SEEK_END) : -1;
}

// Shows what one file holds, and returns how much of it was wanted.
size_t show_salvage_of(const request &asked, const shared::log_file &file, output &out) {
  const unique_fd fd = open_ring(file.path);
  struct stat status;
  if (!fd || fstat(fd.get(), &status) != 0) {
    out.problem(file.path, errno_text(errno));
    return 0;
  }
  const off_t length = length_of(fd.get(), status);
  if (length < 0) {
    out.problem(file.path,
                S_ISDIR(status.st_mode) ? errno_text(EISDIR) : "Neither a file nor a block device");
    return 0;
  }
  salvager shows(asked, file, out);
  // A file that cannot be read as a whole may still be readable in parts.
  std::vector<uint8_t> image;
  if (!read_ring_image(file.path, shared::capacity_of(file), image)) {
    return shows.run(salvage(image, shared::capacity_of(file))).total();
  }
  return shows.run(salvage(fd.get(), static_cast<uint64_t>(length))).total();
}

}  // namespace

void show_salvage(const request &asked, output &out) {
  size_t matched = 0;
  for (const shared::log_file &file : asked.files) matched += show_salvage_of(asked, file, out);
  if (matched == 0) out.status = exit_problem;
}

}  // namespace vesk::veskshow
