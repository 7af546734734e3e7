#include "bench/records.h"

#include <unistd.h>

#include "bench/process.h"
#include "bench/sender.h"
#include "bench/stage.h"

namespace vesk::bench {

namespace {

constexpr uint16_t kernel_log = 21;  // 8 MiB: nothing wraps in it
constexpr uint16_t vesk_log = 5;     // 1 MiB

constexpr int rounds = 15;

struct workload {
  const char *name;
  log_record record;
  uint32_t count;
  log_record before;  // what fills the file,
  uint32_t filled;    // so many of them
};

const workload workloads[] = {
    {"8 bytes", {.file_type = kernel_log, .length = 8}, 8000, {.file_type = kernel_log}, 1},
    {"101 bytes", {.file_type = kernel_log}, 8000, {.file_type = kernel_log}, 1},
    {"1000 bytes", {.file_type = kernel_log, .length = 1000}, 6000, {.file_type = kernel_log}, 1},
    {"8 bytes, answered",
     {.file_type = kernel_log, .length = 8, .sync = 1},
     8000,
     {.file_type = kernel_log},
     1},
    {"101 bytes, answered",
     {.file_type = kernel_log, .sync = 1},
     8000,
     {.file_type = kernel_log},
     1},
    {"1000 bytes, answered",
     {.file_type = kernel_log, .length = 1000, .sync = 1},
     6000,
     {.file_type = kernel_log},
     1},
    {"101 bytes, wrapped ring", {}, 8000, {}, 12000},
    {"101 bytes, synchronous",
     {.file_type = kernel_log, .sync = 2},
     300,
     {.file_type = kernel_log},
     1},
    {"update of 101 bytes", {.file_type = vesk_log, .update = true}, 8000, {}, 1},
};

struct measured {
  double cpu_micros;  // for one record
  double records_per_second;
};

// The daemon, or its floor, serves the workload's records.
measured serve(const workload &work, const command &server, bool is_daemon) {
  bring_files(work.name);
  const process served(server);
  sender records(queue_path);
  if (is_daemon) {
    records.wait_for_daemon();
  } else {
    records.wait_for_queue();
  }
  const long long before = served.cpu_nanoseconds();
  const double seconds = records.send(work.record, work.count);
  usleep(5000);  // it has a little to do behind the last answer
  const auto cpu = static_cast<double>(served.cpu_nanoseconds() - before);
  return {cpu / 1000 / work.count, work.count / seconds};
}

void watch(const workload &work) {
  {
    const process daemon(watched({"vesk_sup"}));
    sender records(queue_path);
    records.wait_for_daemon();
    records.send(work.record, work.count);
  }
  wait_for_log();
}

void measure(const workload &work, report &out) {
  clear_stage();
  fill(work.before, work.filled);
  keep_files(work.name);
  watch(work);

  const command floor = {"vesk_floor", "--queue", queue_path, calls_log};
  both cpu, rate;
  for (int i = 0; i < rounds; ++i) {
    const measured ours = serve(work, {"vesk_sup"}, true);
    const measured theirs = serve(work, floor, false);
    cpu.ours.push_back(ours.cpu_micros);
    cpu.theirs.push_back(theirs.cpu_micros);
    rate.ours.push_back(ours.records_per_second);
    rate.theirs.push_back(theirs.records_per_second);
  }
  out.add("Records", compare(work.name, "us/record", "floor", cpu).at_most(1.15));
  out.add("Records", compare(work.name, "records/s", "floor", rate).at_least(0.9));
}

}  // namespace

void measure_records(report &out) {
  for (const workload &work : workloads) measure(work, out);
}

}  // namespace vesk::bench
