// The enumeration itself: it must find what goes otherwise than its tables say.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "platform/program.h"
#include "tests/faults/event_text.h"
#include "tests/faults/report.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

constexpr char path[] = "/mnt/vesk/temperature_err.log";

workload named(const std::string &name) {
  for (workload &workload : all_workloads()) {
    if (workload.name == name) return workload;
  }
  throw std::out_of_range(name);
}

// An operation of the test's own, on a file of type 7 with an entry from 20 to 80.
workload made_of(std::function<int32_t()> operation, call_table expected, ending ends = {}) {
  return {.name = "test",
          .file_type = 7,
          .files = {{7, ring(7).entry(1024, 40, 1).bytes()}},
          .operate = [operation](scene &) { return operation(); },
          .expected = std::move(expected),
          .ends = std::move(ends)};
}

trial_result run(const workload &workload, const std::string &kind, uint32_t number,
                 const failure &failure, lasting lasts = lasting::once) {
  trials trials(workload);
  for (const std::string &line : trials.broken()) ADD_FAILURE() << line;
  for (const fault_point &point : trials.points()) {
    if (point.kind == kind && point.number == number) return trials.run(point, failure, lasts);
  }
  throw std::out_of_range(kind);
}

std::string picture(const workload &workload, size_t point, const failure &failure) {
  trials trials(workload);
  const fault_point &at = trials.points().at(point);
  return picture_of(workload, at, failure, lasting::once, trials.run(at, failure, lasting::once));
}

// Writes over the global header.
int32_t write_at_front() {
  const int fd = open(path, O_RDWR);
  const ssize_t count = write(fd, "abcd", 4);
  close(fd);
  return count == 4 ? 0 : -1;
}

const row opened = {"open " + std::string(path) + " 2"};

workload writing(const std::vector<rule> &rules) {
  return made_of(write_at_front, {opened, {"write 4 bytes at 0", rules}, {"close"}});
}

const sequel closed_and_refused = {.events = {"close"}, .ends = ending{.result = -1}};

using lines = std::vector<std::string>;

TEST(Faults, a_run_that_goes_as_the_table_says_breaks_nothing) {
  const trial_result result = run(named("append"), "write", 2, {-1, ENOSPC});
  EXPECT_EQ(result.broken, lines());
  EXPECT_EQ(result.effect, fault_effect::refused);
  EXPECT_EQ(result.found.ends, (ending{.result = -1, .code = 2}));
}

TEST(Faults, a_call_that_follows_unexpectedly_is_found) {
  const workload workload = writing({{any_error(), {.ends = ending{.result = -1}}}});
  EXPECT_EQ(run(workload, "write", 1, {-1, ENOSPC}).broken, lines{"it went otherwise"});
}

TEST(Faults, a_file_that_is_removed_instead_of_kept_is_found) {
  const auto remove_unwritten = [] {
    const int32_t result = write_at_front();
    if (result != 0) execute_program_and_let_go("/bin/rm", path, nullptr);
    return result;
  };
  const std::string removal = "start rm " + std::string(path);
  const auto broken = [&](const ending &ends) {
    const rule removed = {any_error(), {.events = {"close", removal}, .ends = ends}};
    const call_table table = {opened, {"write 4 bytes at 0", {removed}}, {"close"}};
    return run(made_of(remove_unwritten, table), "write", 1, {-1, ENOSPC}).broken;
  };
  EXPECT_EQ(broken({.result = -1, .removed = {path}}), lines());
  EXPECT_EQ(broken({.result = -1}), lines{"it went otherwise"});
}

TEST(Faults, a_failure_that_no_rule_names_is_found) {
  const workload workload = writing({{on({ENOSPC}), closed_and_refused}});
  EXPECT_EQ(run(workload, "write", 1, {-1, ENOSPC}).broken, lines());
  EXPECT_EQ(run(workload, "write", 1, {-1, EFBIG}).broken,
            lines{"the table does not say what is expected then"});
}

TEST(Faults, a_table_that_misses_a_call_is_found_without_a_fault) {
  const workload workload = made_of(write_at_front, {opened, {"close"}});
  const trials trials(workload);
  ASSERT_FALSE(trials.broken().empty());
  EXPECT_EQ(trials.broken().front(), "without a fault, the calls are not those of the table");
  EXPECT_TRUE(trials.points().empty());
}

// Two bytes of four tear the global header.
TEST(Faults, a_next_record_that_is_refused_unexpectedly_is_found) {
  const workload workload = writing({{counts(2, 2), closed_and_refused}});
  EXPECT_EQ(run(workload, "write", 1, {2, 0}).broken,
            lines{"the next record was refused: ! ERROR: ghdr may be corrupt 4242"});
}

TEST(Faults, a_next_record_that_is_stored_unexpectedly_is_found) {
  const workload workload = writing({{any_error(), closed_and_refused, "ERROR: some reason"}});
  EXPECT_EQ(run(workload, "write", 1, {-1, ENOSPC}).broken,
            lines{"the next record was not refused, as it should be for \"ERROR: some reason\""});
}

TEST(Faults, a_descriptor_that_stays_open_is_found) {
  const auto open_only = [] { return open(path, O_RDWR) < 0 ? -1 : 0; };
  const workload workload = made_of(open_only, {opened});
  EXPECT_EQ(trials(workload).broken().back(), "  * = 0   |   = 0, open temperature_err.log");
}

TEST(Faults, a_write_beyond_the_capacity_is_found) {
  const auto write_far = [] {
    const int fd = open(path, O_RDWR);
    lseek(fd, 8190, SEEK_SET);
    const ssize_t count = write(fd, "abcd", 4);
    close(fd);
    return count == 4 ? 0 : -1;
  };
  const workload workload =
      made_of(write_far, {opened, {"lseek 8190"}, {"write 4 bytes at 8190"}, {"close"}});
  EXPECT_EQ(trials(workload).broken(),
            lines{"4 bytes written at 8190, beyond the capacity of " + std::string(path)});
}

// The operation repeats a read until it succeeds.
TEST(Faults, an_operation_that_would_not_end_is_stopped) {
  const auto insist = [] {
    const int fd = open(path, O_RDWR);
    char buf[20];
    for (int n = 0; n < 150'000 && read(fd, buf, sizeof buf) < 0;) ++n;
    return close(fd);
  };
  const workload workload = made_of(insist, {opened, ignored("read 20"), {"close"}});
  const lines broken = run(workload, "read", 1, {-1, EIO}, lasting::for_ever).broken;
  EXPECT_NE(std::find(broken.begin(), broken.end(), "it would not end"), broken.end());
}

TEST(Faults, an_input_error_mounts_the_flash_again_before_anything_else) {
  workload workload = named("append");
  const trial_result once = run(workload, "read", 1, {-1, EIO});
  const event_list &found = once.found.events;
  EXPECT_EQ(lines(found.begin() + 6, found.begin() + 10),
            (lines{"stat /kyte_mounted", "run rm /kyte_mounted", "run umount /mnt/vesk/",
                   "start /vamo/bin/kytemount"}));
  EXPECT_TRUE(once.remounted);
  EXPECT_FALSE(run(workload, "lseek", 1, {-1, EIO}).remounted);
}

TEST(Faults, a_picture_has_an_arrow_and_both_sides) {
  const workload workload =
      writing({{any_error(), {.events = {"close twice"}, .ends = ending{.result = -1}}}});
  EXPECT_EQ(picture(workload, 1, {-1, ENOSPC}),
            "test: the 1st write fails with ENOSPC, once\n"
            "     open /mnt/vesk/temperature_err.log 2\n"
            "  -> write 4 bytes at 0\n"
            "   expected:\n"
            "     - close twice\n"
            "   found:\n"
            "     + close\n"
            "     = -1\n"
            "  it went otherwise\n");
}

TEST(Faults, an_ending_is_told_with_all_that_is_not_as_usual) {
  EXPECT_EQ(as_text(ending{}), "= 0");
  EXPECT_EQ(
      as_text(ending{.result = -1,
                     .code = 3,
                     .counted = true,
                     .cleared = true,
                     .made = {"/mnt/vesk/nruda.log"},
                     .removed = {path},
                     .marks = {{7, 1}, {21, 3}},
                     .open = {"/mnt/vesk/kernel.log"},
                     .no_directory = true,
                     .up_failures = 2}),
      "= -1, code 3, counted, cleared, made nruda.log, gone temperature_err.log, marked 7: 1, "
      "marked 21: 3, open kernel.log, no directory, UP failed 2 times");
}

TEST(Faults, a_read_of_a_header_fails_in_every_way) {
  const std::vector<failure> all = failures_of("read", 20, extent::quick);
  // Seven errnos, and each count from 0 to 19 with two values of errno.
  ASSERT_EQ(all.size(), 47u);
  EXPECT_EQ(as_text(all[0]), "EIO");
  EXPECT_EQ(as_text(all[7]), "0");
  EXPECT_EQ(as_text(all[46]), "19 and EIO");
  EXPECT_EQ(failures_of("write", 1000, extent::full).size(), 11 + 2 * 1000u);
  EXPECT_TRUE(failures_of("sync", 0, extent::full).empty());
}

TEST(Faults, a_write_is_told_by_its_bytes) {
  const image file = ring(7).entry(1026, 4, 1).null(8, 1).bytes();
  const std::span bytes(file);
  EXPECT_EQ(text_of_write(0, bytes.first(20)), "write header 20..72");
  EXPECT_EQ(text_of_write(20, bytes.subspan(20, 20)), "write E1026/4 at 20");
  EXPECT_EQ(text_of_write(40, bytes.subspan(40, 4)), "write 4 bytes at 40");
  EXPECT_EQ(text_of_write(44, bytes.subspan(44, 20)), "write N/8 at 44");
  EXPECT_EQ(text_of_write(64, bytes.subspan(64, 8)), "write 8 zeros at 64");
}

}  // namespace

}  // namespace vesk::test
