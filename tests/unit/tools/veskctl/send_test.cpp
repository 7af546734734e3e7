// veskctl send: what becomes a record, what is said of it, and how far it is.
#include <gtest/gtest.h>

#include "tests/support/fake_service.h"
#include "tests/unit/tools/veskctl/run_veskctl.h"

namespace vesk::test {
namespace {

TEST(Send, sends_the_text_as_one_record) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const ended end =
      veskctl(dir, {"send", "--file", "kernel.log", "--uuid", "510", "--type", "2000", "--flags",
                    "7", "--sync", "flash", "--update", "--instance", "3", "fan", "2", "gone"});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out, "1 accepted, 0 refused, 0 unanswered\n");
  EXPECT_EQ(end.err, "");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].payload.substr(0, 8), std::string("\x01\xFE\x07\xD0\x00\x0A\x07\x01", 8));
  EXPECT_EQ(seen[0].payload.substr(16), std::string("\x00\x15\x02\x00\x00\x00\x00\x03"
                                                    "fan 2 gone",
                                                    18));
}

TEST(Send, knows_files_by_name_and_number) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  for (const char *file : {"kernel", "kernel.log", "21"}) {
    EXPECT_EQ(veskctl(dir, {"send", "--file", file, "--uuid", "510", "x"}).status, 0);
    EXPECT_EQ(service.requests().back().payload.substr(16, 2), std::string("\x00\x15", 2)) << file;
  }
}

TEST(Send, sends_one_record_a_line) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const ended end = send_lines(dir, "first\nsecond line\n\nlast, without an end");
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out, "3 accepted, 0 refused, 0 unanswered, 1 skipped (empty)\n");
  EXPECT_EQ(end.err, "");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].payload.substr(24), "first");
  EXPECT_EQ(seen[1].payload.substr(24), "second line");
  EXPECT_EQ(seen[2].payload.substr(24), "last, without an end");
  // Big-endian words compare like strings.
  EXPECT_LT(seen[0].payload.substr(8, 8), seen[1].payload.substr(8, 8));
  EXPECT_LT(seen[1].payload.substr(8, 8), seen[2].payload.substr(8, 8));
}

TEST(Send, counts_nothing_for_no_input) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const ended end = send_lines(dir, "");
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.out, "0 accepted, 0 refused, 0 unanswered\n");
}

TEST(Send, refuses_a_line_that_no_record_can_hold) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const ended end = send_lines(dir, std::string(65533, 'a') + '\n' + std::string(65532, 'b') +
                                        '\n' + std::string(200000, 'c') + "\nd\n");
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.out, "2 accepted, 2 refused, 0 unanswered\n");
  EXPECT_EQ(end.err,
            "veskctl: line 1 was refused: longer than the 65532 bytes that a record can hold\n");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].payload.substr(24), std::string(65532, 'b'));
  EXPECT_EQ(seen[1].payload.substr(24), "d");
}

TEST(Send, counts_what_was_refused_and_unanswered) {
  const run_dir dir;
  const fake_service service(dir, [](const fake_service &s, const request &to) {
    switch (to.payload[24]) {
      case 'r':
        return s.answer(to, word(0));
      case 'u':
        return s.receipt(to);
      default:
        return s.answer(to, word(1));
    }
  });
  const ended end = send_lines(dir, "a\nr\nu\na\nr\n");
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.out, "2 accepted, 2 refused, 1 unanswered\n");
  EXPECT_EQ(end.err, "veskctl: line 2 was refused: the daemon refused it; its log says why\n");
  const ended unanswered = send_lines(dir, "u\n");
  EXPECT_EQ(unanswered.status, 1);
  EXPECT_EQ(unanswered.out, "0 accepted, 0 refused, 1 unanswered\n");
  EXPECT_TRUE(contains(unanswered.err, "line 1 was not answered: ")) << unanswered.err;
  EXPECT_TRUE(contains(unanswered.err, "is the flash mounted?")) << unanswered.err;
}

TEST(Send, stops_when_the_daemon_is_silent) {
  const run_dir dir;
  const fake_service service(dir, [](const fake_service &s, const request &to) {
    if (to.payload.substr(24) == "one") s.answer(to, word(1));
  });
  const ended end = send_lines(dir, "one\ntwo\nthree\n", {"--timeout", "0.05"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.out, "1 accepted, 0 refused, 1 unanswered\n");
  EXPECT_TRUE(contains(end.err, "stopped at line 2: ")) << end.err;
  EXPECT_EQ(service.requests().size(), 2u);
}

TEST(Send, says_sent_when_it_waits_for_nothing) {
  const run_dir dir;
  const fake_service service(dir, silence);
  const ended end = send_lines(dir, "one\ntwo\n", {"--sync", "none"});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out, "2 sent, 0 refused\n");
}

TEST(Send, says_when_the_input_cannot_be_read) {
  const run_dir dir;
  const fake_service service(dir, silence);
  const ended end = run_shell("exec veskctl send --file 5 --uuid 25 </", in(dir));
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(contains(end.err, "standard input cannot be read")) << end.err;
}

// The time stamp of a record, as it is sent.
std::string stamp_of(const request &sent) {
  return sent.payload.substr(8, 8);
}

TEST(SendTime, is_the_one_given) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  for (const char *time : {"1600000000", "1600000000.000001", "1.5", "0.25", "4294967295.999999"}) {
    EXPECT_EQ(veskctl(dir, {"send", "--file", "5", "--uuid", "25", "--time", time, "x"}).status, 0);
  }
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 5u);
  EXPECT_EQ(stamp_of(seen[0]), std::string("\x5F\x5E\x10\x00\x00\x00\x00\x00", 8));
  EXPECT_EQ(stamp_of(seen[1]), std::string("\x5F\x5E\x10\x00\x00\x00\x00\x01", 8));
  EXPECT_EQ(stamp_of(seen[2]), std::string("\x00\x00\x00\x01\x00\x07\xA1\x20", 8));
  EXPECT_EQ(stamp_of(seen[3]), std::string("\x00\x00\x00\x00\x00\x03\xD0\x90", 8));
  EXPECT_EQ(stamp_of(seen[4]), std::string("\xFF\xFF\xFF\xFF\x00\x0F\x42\x3F", 8));
}

TEST(SendTime, is_the_same_for_every_line) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  EXPECT_EQ(send_lines(dir, "one\ntwo\n", {"--time", "7.000009"}).status, 0);
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  for (const request &sent : seen) {
    EXPECT_EQ(stamp_of(sent), std::string("\x00\x00\x00\x07\x00\x00\x00\x09", 8));
  }
}

TEST(SendTime, that_is_none_is_named) {
  const run_dir dir;
  const ended end = send_lines(dir, "", {"--time", "noon"});
  EXPECT_EQ(end.status, 2);
  EXPECT_EQ(end.err,
            "veskctl: --time: 'noon' is no time of the form SECS[.MICROS] (--help tells more)\n");
}

TEST(SendWhole, sends_the_input_as_one_record_byte_for_byte) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const std::string input("two\nlines\0and \xFF more\n\n", 23);
  const ended end = send_lines(dir, input, {"--whole"});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out, "1 accepted, 0 refused, 0 unanswered\n");
  EXPECT_EQ(end.err, "");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].payload.substr(4, 2), std::string("\x00\x17", 2));
  EXPECT_EQ(seen[0].payload.substr(24), input);
}

TEST(SendWhole, takes_as_much_as_a_record_holds_and_no_more) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  EXPECT_EQ(send_lines(dir, std::string(65532, 'x'), {"--whole"}).status, 0);
  const ended longer = send_lines(dir, std::string(65533, 'x'), {"--whole"});
  EXPECT_EQ(longer.status, 1);
  EXPECT_EQ(longer.out, "0 accepted, 1 refused, 0 unanswered\n");
  EXPECT_EQ(
      longer.err,
      "veskctl: the record was refused: longer than the 65532 bytes that a record can hold\n");
  ASSERT_EQ(service.requests().size(), 1u);
  EXPECT_EQ(service.requests()[0].payload.substr(24), std::string(65532, 'x'));
}

TEST(SendWhole, refuses_an_empty_input) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const ended end = send_lines(dir, "", {"--whole"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "veskctl: the record was refused: the record has no data\n");
  EXPECT_TRUE(service.requests().empty());
}

TEST(SendWhole, says_when_the_input_cannot_be_read) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const ended end = run_shell("exec veskctl send --file 5 --uuid 25 --whole </", in(dir));
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "veskctl: standard input cannot be read: Is a directory\n");
  EXPECT_TRUE(service.requests().empty());
}

// temperature_err.log holds 8192 bytes.
TEST(SendLarge, is_refused_unless_it_is_allowed) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const std::vector<std::string> arguments = {"send",   "--file", "temperature_err",
                                              "--uuid", "677",    "--whole"};
  const std::string large(5000, 'x');
  const ended refused = veskctl(dir, arguments, large);
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.out, "0 accepted, 1 refused, 0 unanswered\n");
  EXPECT_TRUE(contains(refused.err, ": --allow-large sends it\n")) << refused.err;
  expect_one_line(refused.err);
  EXPECT_TRUE(service.requests().empty());

  std::vector<std::string> allowed = arguments;
  allowed.push_back("--allow-large");
  EXPECT_EQ(veskctl(dir, allowed, large).status, 0);
  ASSERT_EQ(service.requests().size(), 1u);
  EXPECT_EQ(service.requests()[0].payload.substr(24), large);

  EXPECT_EQ(veskctl(dir, allowed, std::string(8192, 'x')).status, 1) << "no file can hold it";
  EXPECT_EQ(service.requests().size(), 1u);
}

}  // namespace
}  // namespace vesk::test
