// One walk of the daemon over its log files, in a process of its own: prints how much processor
// time it took, in nanoseconds.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/cpu_time.h"
#include "bench/log_record.h"
#include "daemon/vesk_request.h"
#include "recovery/vesk_recover.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_state.h"

namespace vesk::bench {
namespace {

struct walk_options {
  log_record record;
  uint32_t count = 1;
  uint32_t mark = 3;
};

void log_records(const walk_options &options) {
  const std::vector<uint8_t> bytes = bytes_of(options.record);
  const auto *record = reinterpret_cast<const vesk_log_req *>(bytes.data());
  for (uint32_t i = 0; i < options.count; ++i) vesk_do_vesk(record);
}

void recover(const walk_options &options) {
  vesk_file_sanity[options.record.file_type] = options.mark;
  vesk_recover_corrupted_files();
}

int print_time_of(const std::function<void()> &walk) {
  vesk_file_state.fill(VESK_LOGGING_ENABLED);
  const long long before = cpu_nanoseconds();
  walk();
  std::printf("%lld\n", cpu_nanoseconds() - before);
  return 0;
}

}  // namespace
}  // namespace vesk::bench

int main(int argc, char **argv) {
  using namespace vesk::bench;
  CLI::App app("Lets the daemon's code walk over the log files once");
  walk_options options;
  app.require_subcommand(1);
  CLI::App *validate = app.add_subcommand("validate", "All files, as at a first start");
  CLI::App *recover_file = app.add_subcommand("recover", "Repairs one file");
  CLI::App *log = app.add_subcommand("log", "Logs records, all alike");
  for (CLI::App *one_file : {recover_file, log}) {
    one_file->add_option("file_type", options.record.file_type)->required();
  }
  recover_file->add_option("mark", options.mark, "3: the global header, 2: the entry headers");
  log->add_option("size", options.record.length, "Bytes of data")->required();
  log->add_option("count", options.count, "How many");
  log->add_option("--type", options.record.type, "Their object type");
  log->add_option("--instance", options.record.instance, "Which entry an update replaces");
  log->add_option("--text", options.record.text, "What their data begin with");
  log->add_flag("--update", options.record.update, "Update instead of append");
  CLI11_PARSE(app, argc, argv);
  if (*validate) return print_time_of([] { vesk_validate_files(); });
  if (*recover_file) return print_time_of([&] { recover(options); });
  return print_time_of([&] { log_records(options); });
}
