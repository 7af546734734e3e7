// Timer groups, in fixed tables: a handle is an index, counted from 1.
#include <array>
#include <cstddef>

#include "host/vesk_clock.h"
#include "host/vesk_timer_due.h"
#include "platform/tg.h"

namespace {

constexpr uint32_t max_groups = 8;
constexpr uint64_t usecs_per_second = 1'000'000;

struct timer {
  uint32_t group;  // 0: this place in the table is free
  uint32_t id;
  bool repeating;
  bool running;
  uint64_t interval;  // in microseconds, as `due`
  uint64_t due;
};

uint32_t group_count;
std::array<timer, 32> timers;

timer *find_timer(uint32_t handle) {
  if (handle == 0 || handle > timers.size()) return nullptr;
  timer &found = timers[handle - 1];
  return found.group == 0 ? nullptr : &found;
}

// The timer of the group that is due first, or null when none runs.
timer *first_due(uint32_t group) {
  timer *first = nullptr;
  for (timer &t : timers) {
    const bool counts = t.running && t.group == group;
    if (counts && (first == nullptr || t.due < first->due)) first = &t;
  }
  return first;
}

}  // namespace

uint32_t tg_create_group(const char *) {
  return group_count < max_groups ? ++group_count : 0;
}

uint32_t tg_create_timer(uint32_t group, uint32_t id, uint32_t, uint32_t repeating) {
  if (group == 0 || group > group_count) return 0;
  for (size_t i = 0; i < timers.size(); ++i) {
    if (timers[i].group != 0) continue;
    timers[i] = {group, id, repeating != 0, false, 0, 0};
    return static_cast<uint32_t>(i + 1);
  }
  return 0;
}

// The sub-second unit is the microsecond.
uint32_t tg_start_timer(uint32_t handle, const uint32_t *interval) {
  timer *t = find_timer(handle);
  if (t == nullptr || interval[1] >= usecs_per_second) return 0;
  t->interval = interval[0] * usecs_per_second + interval[1];
  if (t->interval == 0) return 0;
  t->due = vesk::monotonic_usecs() + t->interval;
  t->running = true;
  return 1;
}

uint32_t tg_destroy_timer(uint32_t handle) {
  timer *t = find_timer(handle);
  if (t == nullptr) return 0;
  *t = {};
  return 1;
}

timeval *tg_get_next_expiry_time(uint32_t group, timeval *tv) {
  const timer *first = first_due(group);
  if (first == nullptr) return nullptr;
  const uint64_t now = vesk::monotonic_usecs();
  const uint64_t left = first->due > now ? first->due - now : 0;
  tv->tv_sec = static_cast<time_t>(left / usecs_per_second);
  tv->tv_usec = static_cast<suseconds_t>(left % usecs_per_second);
  return tv;
}

int32_t tg_get_first_expired_timer(uint32_t group, uint32_t *id, void **data) {
  timer *first = first_due(group);
  const uint64_t now = vesk::monotonic_usecs();
  if (first == nullptr || first->due > now) return 0;
  *id = first->id;
  *data = nullptr;  // a timer is created without any
  if (first->repeating) {
    first->due = vesk::due_again(first->due, first->interval, now);
  } else {
    first->running = false;
  }
  return 1;
}
