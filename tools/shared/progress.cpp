#include "tools/shared/progress.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "tools/shared/terminal.h"
#include "tools/shared/text.h"

namespace vesk::shared {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds first_after{500};
constexpr milliseconds redrawn_after{200};
constexpr size_t bar_length = 20;

std::string bar(double done) {
  const auto full = static_cast<size_t>(done * bar_length);
  return '[' + std::string(full, '#') + std::string(bar_length - full, '-') +
         formatted("] %3d%%  ", static_cast<int>(done * 100));
}

std::string time_left(double done, double seconds) {
  const auto left = static_cast<uint64_t>(seconds * (1 - done) / done + 0.5);
  return formatted(", %" PRIu64 ":%02" PRIu64 ":%02" PRIu64 " left", left / 3600, left / 60 % 60,
                   left % 60);
}

}  // namespace

std::string progress_text(const progress_counts &counts, std::optional<double> done, double seconds,
                          size_t width) {
  std::string text = done ? bar(*done) : "";
  text += std::to_string(counts.records) + " records";
  if (seconds > 0) {
    const double rate = static_cast<double>(counts.records) / seconds;
    text += ", " + std::to_string(static_cast<uint64_t>(rate)) + "/s";
  }
  if (done && *done > 0) text += time_left(*done, seconds);
  if (counts.refused > 0) text += ", " + std::to_string(counts.refused) + " refused";
  if (counts.unanswered > 0) text += ", " + std::to_string(counts.unanswered) + " unanswered";
  text.resize(std::min(text.size(), width));
  return text;
}

progress::progress()
    : wanted_(isatty(STDERR_FILENO) == 1 && isatty(STDIN_FILENO) == 0),
      next_(begun_ + first_after) {
  struct stat status {};
  if (fstat(STDIN_FILENO, &status) != 0 || !S_ISREG(status.st_mode)) return;
  first_ = ftello(stdin);
  if (first_ >= 0 && status.st_size > first_) behind_ = status.st_size;
}

std::optional<double> progress::part_done() const {
  if (behind_ < 0) return {};
  const int64_t here = std::min<int64_t>(ftello(stdin), behind_);
  return static_cast<double>(here - first_) / static_cast<double>(behind_ - first_);
}

void progress::show(const progress_counts &counts) {
  const auto now = clock::now();
  if (!wanted_ || now < next_) return;
  next_ = now + redrawn_after;
  shown_ = true;
  const double seconds = std::chrono::duration<double>(now - begun_).count();
  const size_t columns = columns_of_terminal(STDERR_FILENO);
  // A line that fills the terminal would put the cursor into the next one.
  const size_t width = (columns > 1 ? columns : 80) - 1;
  const std::string text = progress_text(counts, part_done(), seconds, width);
  std::fprintf(stderr, "\r\033[K%s", text.c_str());
}

void progress::clear() {
  if (!shown_) return;
  shown_ = false;
  std::fputs("\r\033[K", stderr);
}

}  // namespace vesk::shared
