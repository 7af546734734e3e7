#include "tests/powercut/workers.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>

#include "tests/powercut/enumerate.h"

namespace vesk::test {

namespace {

constexpr int patience_ms = 500;  // between two words about the progress

struct job {
  size_t plan;
  uint32_t variant;
};

struct worker {
  pid_t pid;
  int from;
  job doing;
  std::string told;
};

// A counter that all processes share.
class shared_count {
 public:
  shared_count() {
    void *const place = mmap(nullptr, sizeof(std::atomic<uint64_t>), PROT_READ | PROT_WRITE,
                             MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) throw std::runtime_error("no memory for a counter");
    count_ = new (place) std::atomic<uint64_t>(0);
  }
  ~shared_count() { munmap(count_, sizeof *count_); }
  shared_count(const shared_count &) = delete;
  shared_count &operator=(const shared_count &) = delete;

  void add() { count_->fetch_add(1, std::memory_order_relaxed); }
  uint64_t now() const { return count_->load(std::memory_order_relaxed); }

 private:
  std::atomic<uint64_t> *count_;
};

constexpr char between[] = "--\n";  // the two tallies of one job

void write_all(int fd, const std::string &text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t count = write(fd, text.data() + done, text.size() - done);
    if (count <= 0) _exit(1);
    done += static_cast<size_t>(count);
  }
}

class team {
 public:
  team(const std::vector<case_plan> &plans, const work_limits &limits);
  std::vector<named_tally> work();

 private:
  void start(const job &job);
  [[noreturn]] void do_job(const job &job, int to);
  void listen();
  bool hear(worker &worker);
  void finish(worker &worker);
  void show_progress(bool last);

  const std::vector<case_plan> &plans_;
  const work_limits limits_;
  std::vector<job> jobs_;
  size_t next_job_ = 0;
  std::vector<worker> workers_;
  shared_count tried_;
  std::vector<named_tally> rows_;
};

team::team(const std::vector<case_plan> &plans, const work_limits &limits)
    : plans_(plans), limits_(limits) {
  for (size_t i = 0; i < plans.size(); ++i) {
    for (uint32_t variant = 0; variant < plans[i].variants; ++variant) {
      jobs_.push_back({i, variant});
    }
    rows_.push_back({plans[i].name, {}});
    rows_.push_back({plans[i].name + ",repair", {}});
  }
}

void team::do_job(const job &job, int to) {
  int status = 1;
  try {
    const both_tallies found =
        try_all_cuts(plans_[job.plan], job.variant, limits_.most_repairs, [this] { tried_.add(); });
    write_all(to, as_text(found.cuts) + between + as_text(found.repair_cuts));
    status = 0;
  } catch (const std::exception &e) {
    std::fprintf(stderr, "powercut: %s: %s\n", plans_[job.plan].name.c_str(), e.what());
  }
  _exit(status);
}

void team::start(const job &job) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe to a process");
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("no process can be started");
  if (pid == 0) do_job(job, ends[1]);
  close(ends[1]);
  workers_.push_back({.pid = pid, .from = ends[0], .doing = job, .told = {}});
}

// Whether there is more to come.
bool team::hear(worker &worker) {
  char buffer[4096];
  const ssize_t count = read(worker.from, buffer, sizeof buffer);
  if (count > 0) worker.told.append(buffer, static_cast<size_t>(count));
  return count > 0;
}

void team::finish(worker &worker) {
  close(worker.from);
  int status = 0;
  waitpid(worker.pid, &status, 0);
  tally &cuts = rows_[worker.doing.plan * 2].row;
  tally &repair_cuts = rows_[worker.doing.plan * 2 + 1].row;
  const size_t middle = worker.told.find(between);
  if (status != 0 || middle == std::string::npos) {
    tally failed;
    failed.failures = {plans_[worker.doing.plan].name + " " + std::to_string(worker.doing.variant) +
                       ": the process that tried it did not come to a good end"};
    cuts.add(failed);
    return;
  }
  cuts.add(tally_of(worker.told.substr(0, middle)));
  repair_cuts.add(tally_of(worker.told.substr(middle + sizeof between - 1)));
}

void team::listen() {
  std::vector<pollfd> waited;
  for (const worker &worker : workers_) waited.push_back({worker.from, POLLIN, 0});
  poll(waited.data(), waited.size(), patience_ms);
  for (size_t i = workers_.size(); i-- > 0;) {
    if (waited[i].revents == 0 || hear(workers_[i])) continue;
    finish(workers_[i]);
    workers_.erase(workers_.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

void team::show_progress(bool last) {
  if (!limits_.show_progress) return;
  std::fprintf(stderr, "\r%zu of %zu rings, %llu cuts%s", next_job_ - workers_.size(), jobs_.size(),
               static_cast<unsigned long long>(tried_.now()), last ? "\n" : "");
}

std::vector<named_tally> team::work() {
  while (next_job_ < jobs_.size() || !workers_.empty()) {
    while (next_job_ < jobs_.size() && workers_.size() < limits_.processes) {
      start(jobs_[next_job_]);
      ++next_job_;
    }
    listen();
    show_progress(false);
  }
  show_progress(true);
  std::erase_if(rows_, [](const named_tally &row) {
    return row.row.sums[0] == 0 && row.row.failures.empty();
  });
  return std::move(rows_);
}

}  // namespace

std::vector<named_tally> try_cases(const std::vector<case_plan> &plans, const work_limits &limits) {
  return team(plans, limits).work();
}

}  // namespace vesk::test
