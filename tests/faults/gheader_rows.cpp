#include "tests/faults/gheader_rows.h"

#include "tests/faults/sweep_rows.h"

namespace vesk::test {

namespace {

const std::string max_7 = " max 8192";

std::string updating(uint32_t start, uint32_t end) {
  return "! Updating gheader start " + std::to_string(start) + " end " + std::to_string(end) +
         max_7 + ".\n";
}

}  // namespace

event_list writing(uint32_t start, uint32_t end) {
  return {updating(start, end), "lseek 0",
          "write header " + std::to_string(start) + ".." + std::to_string(end)};
}

sequel rebuilt(uint32_t start, uint32_t end) {
  return writing(start, end) + event_list{"close"} + done(swept_7);
}

sequel rebuilt_unwritten(uint32_t start, uint32_t end) {
  return event_list{updating(start, end), "lseek 0", "! ERROR: lseek failed to seek 0, errno = %e",
                    "close"} +
         done(swept_7);
}

std::string phase(const std::string &which, uint32_t start, uint32_t end) {
  return "! gheader recovery " + which + std::to_string(start) + " end " + std::to_string(end) +
         max_7 + " \n";
}

std::string pass_failed(const std::string &pass, uint32_t reason) {
  return "! ERROR: vesk_ghdr_recovery_" + pass + "_pass returned error " + std::to_string(reason) +
         "for " + file_7 + " \n";
}

std::string first_pass_read(uint32_t offset) {
  return "! ERROR: ehdr read failed errno %e seek " + std::to_string(offset) + "\n";
}
std::string second_pass_read(uint32_t offset) {
  return "! ERROR: ehdr read failed at " + std::to_string(offset) + " errno %e\n";
}

}  // namespace vesk::test
