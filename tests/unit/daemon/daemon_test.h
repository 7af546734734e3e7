// What the tests of the daemon share: a fresh start for each test, files, byte strings.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "tests/support/files.h"
#include "tests/support/recorder.h"

namespace vesk::test {

// Every test begins like a new process bound to queue 7, on a mounted flash without a log file, and
// with a platform that spoils errno in every call. At its end every scripted answer must have been
// used, and whatever the history got must have been printed too.
class daemon_test : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  void unmount();  // takes the marker of a mounted flash away
};

// Several values to try in turn.
template <typename Value>
using each = std::initializer_list<Value>;

void make_dir(const std::string &path);
void remove_all(const std::string &path);

bytes hex(std::string_view text);  // "76 65 73 6B"
bytes zeros(size_t count);
bytes operator+(bytes left, const bytes &right);
void put(bytes &target, size_t offset, const bytes &part);

// Numbers in the byte order of this machine.
bytes host16(uint16_t value);
bytes host32(uint32_t value);

// `count` times the same line with the numbers 0, 1, 2... in place of "%".
log_lines numbered(size_t count, const log_line &line);

// What these leave in the journal.
inline const lines remount = {"100 TRACE:going to remount filesystem \n",
                              "execute_program_and_wait(/bin/rm, /kyte_mounted)",
                              "execute_program_and_wait(/bin/umount, /mnt/vesk/)",
                              "execute_program_and_let_go(/vamo/bin/kytemount)"};
inline const lines mount_after_upgrade = {"100 TRACE:Left ISSU, start to mount vesk\n",
                                          "execute_program_and_let_go(/vamo/bin/kytemount)"};
inline const lines up_sent = {"ipq_send(7, 0xFE000001, 0, 1156, null, 0, null, null, 0)",
                              "dbgkit_hist_ipq_event(4, null, 0, 0)"};
inline const lines up_failed = {"ipq_send(7, 0xFE000001, 0, 1156, null, 0, null, null, 0)",
                                "101 ERROR: Failed to send IPQ_OPC_VESK_UP message errno 11\n"};

}  // namespace vesk::test
