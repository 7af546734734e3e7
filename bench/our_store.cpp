#include "bench/full_files.h"
#include "bench/sender.h"
#include "bench/stage.h"
#include "bench/store.h"

namespace vesk::bench {

namespace {

constexpr char wrapped_ring[] = "wrapped ring";

std::vector<uint8_t> our_record(const std::string &text, flushing when) {
  return message_of({.file_type = 5,
                     .length = static_cast<uint16_t>(text.size()),
                     .sync = static_cast<uint8_t>(when == flushing::each_record ? 2 : 0),
                     .text = text});
}

}  // namespace

store our_store() {
  make_full_files();
  clear_stage();
  fill({}, 12000);
  keep_files(wrapped_ring);
  return {.name = "ours",
          .socket = queue_path,
          .begins_with = wrapped_ring,
          .full = full_files,
          .set_up = [](flushing) {},
          .program = [](flushing) { return command{"vesk_sup"}; },
          .record = our_record,
          .last_ten = {"veskshow", "-n", "10"},
          .search =
              [](const std::string &word) {
                return command{"veskshow", "--grep", word, "-o", "cat"};
              }};
}

}  // namespace vesk::bench
