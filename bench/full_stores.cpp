#include "bench/full_stores.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include "bench/full_files.h"
#include "bench/sender.h"
#include "bench/stage.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

// A record of 100 bytes; no two are the same.
std::string text_of(int number, const std::string &word = "letters") {
  char text[101];
  std::snprintf(text, sizeof text, "Record number %09d has the word %-58s end.", number,
                word.c_str());
  return text;
}

// How many entries the full files of the first store have.
int count_entries() {
  bring_files(full_files);
  const std::string all = run({"veskshow", "-o", "cat"}).output;
  return static_cast<int>(std::count(all.begin(), all.end(), '\n'));
}

// Gives a store as many records, the rare word as far from the end as it is in ours.
void make_full(const store &filled, int entries) {
  constexpr auto when = flushing::by_the_kernel;
  const int rare = entries - 1001;
  bring_files("");
  filled.set_up(when);
  {
    const process server(filled.program(when));
    sender records(filled.socket);
    records.wait_for_queue();
    for (int i = 0; i < entries; ++i) {
      records.send_one(filled.record(i == rare ? text_of(i, rare_word) : text_of(i), when));
    }
    records.wait_until_taken();
    server.wait_until_idle();
  }
  check_that_all_are_stored(filled, "Record number", entries);
  keep_files(filled.full);
}

double bytes_of_files() {
  double total = 0;
  for (const auto &entry : fs::recursive_directory_iterator(log_dir)) {
    if (entry.is_regular_file()) total += static_cast<double>(entry.file_size());
  }
  return total;
}

struct started {
  double milliseconds;  // from its call until the first record is taken
  double resident_kib;
};

// As after a reboot: the daemon looks at all of its files before it takes a record.
started start(const store &measured) {
  fs::remove("/run/vesk/vesk_sup.pid");
  const std::vector<uint8_t> record = measured.record(text_of(0), flushing::by_the_kernel);
  const auto began = std::chrono::steady_clock::now();
  const process server(measured.program(flushing::by_the_kernel));
  sender records(measured.socket);
  records.wait_for_queue();
  records.send_one(record);
  records.wait_until_taken();
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - began;
  server.wait_until_idle();
  return {took.count(), server.peak_kib()};
}

double milliseconds(const command &program) {
  return run(program).wall_seconds * 1000;
}

// Of one store, in each round.
struct figures {
  std::vector<double> bytes, start, resident, last_ten, search;
};

void measure(const store &measured, int entries, figures &into) {
  bring_files(measured.full);
  measured.set_up(flushing::by_the_kernel);
  into.bytes.push_back(bytes_of_files() / entries);
  const auto [start_ms, resident] = start(measured);
  into.start.push_back(start_ms);
  into.resident.push_back(resident);
  into.last_ten.push_back(milliseconds(measured.last_ten));
  into.search.push_back(milliseconds(measured.search(rare_word)));
}

// What a process takes that does nothing.
double empty_process_kib() {
  const process nothing({"sleep", "60"});
  usleep(50'000);
  return nothing.peak_kib();
}

void add_memory_row(const std::vector<double> &resident_kib, report &out) {
  constexpr double allowed_kib = 4096;
  const double empty = empty_process_kib();
  both beside;
  for (const double kib : resident_kib) {
    beside.ours.push_back(kib - empty);
    beside.theirs.push_back(allowed_kib);
  }
  out.add("Full stores", compare("beyond an empty process", "KiB", "allowed", beside).at_most(1));
}

struct row {
  const char *name;
  const char *unit;
  std::vector<double> figures::*values;
};

const row rows[] = {
    {"kept of a record of 100 bytes", "bytes", &figures::bytes},
    {"start to the first record", "ms", &figures::start},
    {"resident size", "KiB", &figures::resident},
    {"last ten", "ms", &figures::last_ten},
    {"a rare word", "ms", &figures::search},
};

}  // namespace

void measure_full_stores(const std::vector<store> &stores, report &out) {
  const int entries = count_entries();
  for (size_t i = 1; i < stores.size(); ++i) make_full(stores[i], entries);
  std::vector<figures> measured(stores.size());
  for (int round = 0; round < rounds_of_stores; ++round) {
    for (size_t i = 0; i < stores.size(); ++i) measure(stores[i], entries, measured[i]);
  }
  for (const row &shown : rows) {
    for (size_t i = 1; i < stores.size(); ++i) {
      out.add("Full stores", compare(shown.name, shown.unit, stores[i].name,
                                     {measured[0].*shown.values, measured[i].*shown.values}));
    }
  }
  add_memory_row(measured[0].resident, out);
}

}  // namespace vesk::bench
