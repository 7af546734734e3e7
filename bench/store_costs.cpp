#include "bench/store_costs.h"

#include <cstdio>
#include <string>

#include "bench/flash.h"
#include "bench/sender.h"
#include "bench/stage.h"
#include "bench/strace_log.h"

namespace vesk::bench {

namespace {

const std::string common = "line card 7: link 23 down, 3 errors in 1048576 frames, last a bad sum";

// No two are the same, and each has 101 bytes.
std::string text_of(int number) {
  char behind[40];
  std::snprintf(behind, sizeof behind, " at 1500. Record number %08d", number);
  return common + behind;
}

// Of one store, in each round.
struct costs {
  std::vector<double> cpu_micros, device_bytes, device_requests;
  std::vector<double> file_bytes, file_calls;
};

struct figure {
  const char *name;
  const char *unit;
  std::vector<double> costs::*values;
  double of_the_record;  // what the record itself has of it; 0: nothing to compare with
  double goal;           // beside each of the others; 0: there is none
};

const auto length = static_cast<double>(text_of(0).size());

const figure processor_time = {"processor time", "us/record", &costs::cpu_micros, 0, 0};
const figure file_bytes = {"to the file system", "bytes", &costs::file_bytes, length, 0};
const figure file_calls = {"to the file system", "calls", &costs::file_calls, 1, 0};
const figure device_bytes = {"to the device", "bytes", &costs::device_bytes, length, 1};
const figure device_requests = {"to the device", "requests", &costs::device_requests, 1, 0};

struct schedule {
  flushing when;
  const char *title;
  int records;
  int block_size;  // of the file system
  std::vector<figure> shown;
};

// 1024 bytes is what mkfs.ext4 gives to a small flash, 4096 what it gives to a disk.
const std::vector<figure> all = {processor_time, file_bytes, file_calls, device_bytes,
                                 device_requests};
const std::vector<figure> of_the_device = {device_bytes, device_requests};

const schedule schedules[] = {
    {flushing::by_the_kernel, "Flushed by the kernel", 7000, 1024, all},
    {flushing::each_record, "Flushed one by one", 1500, 1024, all},
    {flushing::each_record, "One by one, 4 KiB blocks", 1500, 4096, of_the_device},
};

// What has been stored before anything is measured: files are made and have grown, and a data base
// has begun to use its log of changes again.
constexpr int earlier_records = 1200;

// A server at rest, which has stored those.
class running {
 public:
  running(const store &measured, flushing when, const command &program)
      : store_(measured), when_(when), server_(program), records_(measured.socket) {
    records_.wait_for_queue();
    send(earlier_records);
  }

  void send(int count) {
    for (int i = 0; i < count; ++i) {
      records_.send_one(store_.record(text_of(number_++), when_));
      if (when_ == flushing::each_record) records_.wait_until_taken();
    }
    records_.wait_until_taken();
    server_.wait_until_idle();
  }

  double cpu_micros() const { return static_cast<double>(server_.cpu_nanoseconds()) / 1000; }

 private:
  const store &store_;
  const flushing when_;
  int number_ = 0;
  process server_;
  sender records_;
};

void serve(const store &measured, const schedule &plan, costs &into) {
  const flash device(plan.block_size);
  bring_files(measured.begins_with);
  measured.set_up(plan.when);
  flash::counts before{};
  {
    running server(measured, plan.when, measured.program(plan.when));
    before = device.written();
    const double cpu_before = server.cpu_micros();
    server.send(plan.records);
    into.cpu_micros.push_back((server.cpu_micros() - cpu_before) / plan.records);
  }
  const flash::counts after = device.written();
  into.device_bytes.push_back((after.bytes - before.bytes) / plan.records);
  into.device_requests.push_back((after.requests - before.requests) / plan.records);
  check_that_all_are_stored(measured, common, plan.records + earlier_records);
}

// Counted once. The few of the start and the stop are among them.
void count_calls(const store &measured, const schedule &plan, costs &into) {
  bring_files(measured.begins_with);
  measured.set_up(plan.when);
  running(measured, plan.when, with_writes_watched(measured.program(plan.when))).send(plan.records);
  wait_for_log();
  const written total = written_below(log_dir, calls_log);
  const int records = plan.records + earlier_records;
  into.file_bytes = {total.bytes / records};
  into.file_calls = {total.calls / records};
}

void add_rows(const schedule &plan, const figure &shown, const std::vector<store> &stores,
              const std::vector<costs> &measured, report &out) {
  const std::vector<double> &ours = measured[0].*shown.values;
  if (shown.of_the_record != 0) {
    const both beside = {ours, std::vector<double>(ours.size(), shown.of_the_record)};
    out.add(plan.title, compare(shown.name, shown.unit, "record", beside));
  }
  for (size_t i = 1; i < stores.size(); ++i) {
    const std::vector<double> &theirs = measured[i].*shown.values;
    if (theirs.empty()) continue;
    const comparison row = compare(shown.name, shown.unit, stores[i].name, {ours, theirs});
    out.add(plan.title, shown.goal == 0 ? row : row.at_most(shown.goal));
  }
}

void measure(const schedule &plan, const std::vector<store> &stores, report &out) {
  std::vector<costs> measured(stores.size());
  for (size_t i = 0; i < stores.size(); ++i) {
    if (stores[i].writes_are_counted) count_calls(stores[i], plan, measured[i]);
  }
  for (int round = 0; round < rounds_of_stores; ++round) {
    for (size_t i = 0; i < stores.size(); ++i) serve(stores[i], plan, measured[i]);
  }
  for (const figure &shown : plan.shown) add_rows(plan, shown, stores, measured, out);
}

}  // namespace

void measure_store_costs(const std::vector<store> &stores, report &out) {
  for (const schedule &plan : schedules) measure(plan, stores, out);
}

}  // namespace vesk::bench
