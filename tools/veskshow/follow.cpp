#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "reader/vesk_ring_follow.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/watch.h"

namespace vesk::veskshow {

namespace {

using news = ring_follower::news;

constexpr size_t shown_at_first = 10;

// The files that are followed, and what was new at the last look.
struct followed {
  std::vector<shared::log_file> files;
  std::deque<ring_follower> rings;
  std::vector<ring_walk> walks;
  std::vector<news> found;
};

followed follow(const std::vector<shared::log_file> &files) {
  followed all{by_type(files), {}, {}, {}};
  for (const shared::log_file &file : all.files) {
    all.rings.emplace_back(file.path, shared::capacity_of(file));
  }
  return all;
}

// Whether it is no problem that a file cannot be read: one that nobody named may appear later.
bool is_expected(const request &asked, const shared::log_file &file) {
  return asked.wanted.arguments.empty() && !shared::exists(file);
}

void look_at_all(followed &all, const request &asked, bool first, output &out) {
  all.walks.clear();
  all.found.clear();
  for (size_t i = 0; i < all.rings.size(); ++i) {
    auto look = all.rings[i].look_again(ring_follower::clock::now());
    const shared::log_file &file = all.files[i];
    if (first && look.trouble && !is_expected(asked, file)) {
      out.problem(file.path, look.trouble.reason);
    }
    if (look.what == news::lost && !asked.wanted.quiet) {
      out.note("-- " + file.path + ": entries were overwritten before they could be shown --");
    }
    all.walks.push_back(std::move(look.walk));
    all.found.push_back(look.what);
  }
}

void show_news(followed &all, const request &asked, const choice &chosen, output &out) {
  show_walks(asked, chosen, all.files, all.walks, out);
  for (size_t i = 0; i < all.rings.size(); ++i) {
    const ring_walk &walk = all.walks[i];
    if (all.found[i] != news::none) all.rings[i].went(walk);
    if (walk.damage) out.problem(all.files[i].path, shared::damage_text(*walk.damage));
  }
  out.flush();
}

// With --since, everything since then is wanted.
choice first_choice(const options &wanted) {
  if (wanted.last || !wanted.since.empty()) return {wanted.last};
  return {shown_at_first};
}

}  // namespace

// Ctrl-C is how it is meant to end: the exit status then speaks of problems alone.
void follow_entries(const request &asked, output &out) {
  followed all = follow(asked.files);
  if (all.files.empty()) return;
  std::vector<std::string> paths;
  for (const shared::log_file &file : all.files) paths.push_back(file.path);
  change_watch watch(paths);

  look_at_all(all, asked, true, out);
  show_news(all, asked, first_choice(asked.wanted), out);
  while (watch.wait()) {
    look_at_all(all, asked, false, out);
    show_news(all, asked, {}, out);
  }
}

}  // namespace vesk::veskshow
