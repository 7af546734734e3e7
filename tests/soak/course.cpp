#include "tests/soak/course.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>

#include "tests/soak/sender.h"
#include "tests/support/files.h"
#include "tests/support/process.h"

namespace vesk::soak {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

class senders {
 public:
  senders(const part &of, ledger &notes) {
    for (uint32_t sender = 0; sender < of.senders; ++sender) {
      processes_.push_back(test::start_process([&] { return send_all(of, notes, sender); }));
    }
  }
  senders(const senders &) = delete;
  senders &operator=(const senders &) = delete;
  ~senders() {
    for (const pid_t process : processes_) {
      kill(process, SIGKILL);
      test::wait_for(process);
    }
  }

  bool at_work() {
    for (size_t i = processes_.size(); i-- > 0;) {
      int status = 0;
      if (waitpid(processes_[i], &status, WNOHANG) == 0) continue;
      processes_.erase(processes_.begin() + static_cast<ptrdiff_t>(i));
      if (status != 0) throw std::runtime_error("a sender gave up");
    }
    return !processes_.empty();
  }

 private:
  std::vector<pid_t> processes_;
};

class course {
 public:
  course(const part &of, uint64_t seed, const progress &tell)
      : part_(of),
        tell_(tell),
        random_(seed * 7919 + number_of(of)),
        notes_(seed, of.senders, of.records),
        audit_(of, notes_) {}

  course_result run() {
    const auto began = steady_clock::now();
    service::wipe();
    service_.start();
    service_.wait_until_up();
    {
      senders all(part_, notes_);
      for (uint32_t kills = 0; wait_for_next_kill(all, kills); ++kills) {
        kill_and_look();
        start_again(kills);
      }
    }
    kill_and_look();
    // What the last start makes of it.
    boot();
    service_.start();
    service_.wait_until_up();
    kill_and_look();
    const std::chrono::duration<double> took = steady_clock::now() - began;
    return result_of(took.count());
  }

 private:
  uint32_t below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }

  // Kills come after an even number of records each, give or take, and then at any moment of the
  // next few milliseconds. False when all is sent before.
  bool wait_for_next_kill(senders &all, uint32_t kills) {
    const uint64_t total = uint64_t{part_.senders} * part_.records;
    const uint64_t each = total / (part_.kills + 1);
    const uint64_t threshold = each * kills + each / 2 + below(static_cast<uint32_t>(each)) + 1;
    while (kills >= part_.kills || notes_.begun() < threshold) {
      if (!all.at_work()) return false;
      tell_progress(kills, total);
      std::this_thread::sleep_for(kills >= part_.kills ? 10ms : 1ms);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(below(3000)));
    return true;
  }

  void start_again(uint32_t kills) {
    if (below(2) == 0) boot();
    service_.start();
    // One start in four is itself cut off.
    if (below(4) == 0) {
      std::this_thread::sleep_for(std::chrono::microseconds(below(20000)));
      kill_and_look();
      if (below(2) == 0) boot();
      service_.start();
    }
    service_.wait_until_up();
    tell_progress(kills + 1, uint64_t{part_.senders} * part_.records);
  }

  void boot() {
    ++boots_;
    service::boot();
  }

  void kill_and_look() {
    service_.kill();
    audit_.death(notes_.now());
    evidence found;
    for (const volume &of : part_.volumes) found.files[of.file_type] = sight_of(of);
    found.search_file = [&](uint16_t file_type) {
      const volume &of = volume_of(part_, file_type);
      return search(test::read_file(path_of(of)), of, notes_);
    };
    found.search_copies = [&](uint16_t file_type) { return in_copies(file_type); };
    audit_.look(found, notes_.now());
  }

  static std::string path_of(const volume &of) {
    return std::string(log_directory) + '/' + of.name;
  }

  sighting sight_of(const volume &of) const {
    if (access(path_of(of).c_str(), F_OK) != 0) return {};
    return look_at(test::read_file(path_of(of)), of, notes_);
  }

  // Copies do not change, so each is searched once.
  std::vector<author> in_copies(uint16_t file_type) {
    const volume &of = volume_of(part_, file_type);
    std::vector<author> all;
    for (const std::string &path : service::copies_of(of.name)) {
      auto [known, fresh] = searched_.try_emplace(path);
      if (fresh) known->second = search(test::read_file(path), of, notes_);
      all.insert(all.end(), known->second.begin(), known->second.end());
    }
    return all;
  }

  void tell_progress(uint32_t kills, uint64_t total) {
    const auto now = steady_clock::now();
    if (now < next_word_) return;
    next_word_ = now + 2s;
    tell_(part_.name + ": " + std::to_string(notes_.begun()) + " of at most " +
          std::to_string(total) + " records, " + std::to_string(kills) + " kills, " +
          std::to_string(audit_.failure_count()) + " broken promises");
  }

  course_result result_of(double seconds) {
    course_result result{.name = part_.name,
                         .sums = audit_.result(),
                         .boots = boots_,
                         .copied = service_.copied(),
                         .seconds = seconds,
                         .used = service_.used(),
                         .hits = audit_.hits(),
                         .failures = audit_.failures(),
                         .failure_count = audit_.failure_count()};
    for (uint32_t sender = 0; sender < notes_.senders(); ++sender) {
      const uint32_t begun = notes_.begun(sender);
      result.sent += begun;
      for (uint32_t number = 0; number < begun; ++number) {
        result.bytes += notes_.at(sender, number).length;
      }
    }
    return result;
  }

  const part &part_;
  const progress &tell_;
  std::mt19937_64 random_;
  ledger notes_;
  audit audit_;
  service service_;
  uint32_t boots_ = 0;
  std::map<std::string, std::vector<author>> searched_;
  steady_clock::time_point next_word_{};
};

}  // namespace

course_result run_part(const part &of, uint64_t seed, const progress &tell) {
  return course(of, seed, tell).run();
}

}  // namespace vesk::soak
