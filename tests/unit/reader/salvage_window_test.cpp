// Bytes that are too many to be read at once. They are read a mebibyte at a time.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/reader/pread_faults.h"
#include "tests/unit/reader/salvaged.h"

namespace vesk::test {
namespace {

constexpr size_t window = 1 << 20;

class SalvageInPieces : public ::testing::Test {
 protected:
  ~SalvageInPieces() override { faulty_pread = {}; }

  std::string found_in(const std::string &bytes) {
    store(path, bytes);
    return salvaged_in_pieces(path);
  }

  scratch_directory directory;
  const std::string path = directory / "image";
};

TEST_F(SalvageInPieces, nothing_is_in_an_empty_file) {
  EXPECT_EQ(found_in(""), "");
}

TEST_F(SalvageInPieces, entries_in_a_few_bytes) {
  EXPECT_EQ(found_in(alpha() + beta()), "0:677/1024/8=sure 28:80/1025/4=sure");
}

// There is no chain in pieces, and every global header is news.
TEST_F(SalvageInPieces, ring_is_only_noted) {
  EXPECT_EQ(found_in(gheader(120, 20, 48) + alpha()), "0:ring 120/20/48 20:677/1024/8=sure");
}

// Its data are worth a look at each place, so that none is passed over.
TEST_F(SalvageInPieces, entry_across_every_place_where_a_piece_may_end) {
  std::string data;
  while (data.size() < 65532) data.append("\1\0\1\0", 4);
  const std::string largest = entry({.type = 3000}, data);
  for (size_t at = window - 220000; at <= window + 400; at += 8000) {
    EXPECT_EQ(found_in(std::string(at, 'y') + largest + beta() + std::string(3 * window, 'y')),
              std::to_string(at) + ":677/3000/65532=sure " + std::to_string(at + 65552) +
                  ":80/1025/4=likely");
  }
}

TEST_F(SalvageInPieces, data_are_those_of_the_file_in_every_piece) {
  std::string bytes;
  for (int i = 0; bytes.size() < 3 * window; ++i) {
    const std::string number = std::to_string(1000000 + i);  // and a dot: eight bytes
    bytes += entry({}, number + "." + std::string(static_cast<size_t>(i % 250) * 4, '.'));
  }
  store(path, bytes);
  const int fd = open(path.c_str(), O_RDONLY);
  salvage search(fd, bytes.size());
  size_t end = 0;
  int i = 0;
  while (const auto found = search.next()) {
    const auto &entry = std::get<salvaged_entry>(*found);
    ASSERT_EQ(entry.offset, end);
    EXPECT_EQ(entry.level, certainty::sure);
    const std::string data(entry.entry.data.begin(), entry.entry.data.end());
    ASSERT_EQ(data.substr(0, 7), std::to_string(1000000 + i++));
    end += 20 + data.size();
  }
  EXPECT_EQ(end, bytes.size());
  close(fd);
}

TEST_F(SalvageInPieces, entry_rewritten_behind_a_large_one_in_another_piece) {
  const std::string largest = entry({.type = 3000}, std::string(65532, 'x'));
  // 4 - 65532
  const std::string rewritten = entry({.sum = 0x0007, .prev_size = 65532}, "data");
  EXPECT_EQ(found_in(std::string(window - 4000, 'y') + largest + rewritten + "yyyy"),
            "1044576:677/3000/65532=sure 1110128:677/1024/4=rewritten");
}

// A sparse file: what was never written to it is not read, and is zeros all the same.
TEST_F(SalvageInPieces, entries_around_holes) {
  const std::string zeros = entry({.type = 3000, .size = 60000}, "");
  store(path, std::string(window - 4000, 'y') + zeros);
  std::filesystem::resize_file(path, 40 * window);
  std::ofstream(path, std::ios::binary | std::ios::app) << alpha() << beta();
  std::filesystem::resize_file(path, 80 * window);
  EXPECT_EQ(salvaged_in_pieces(path),
            "1044576:677/3000/60000=likely 41943040:677/1024/8=sure 41943068:80/1025/4=likely");
}

TEST_F(SalvageInPieces, nothing_is_in_a_hole) {
  store(path, "");
  std::filesystem::resize_file(path, uint64_t{1} << 40);
  EXPECT_EQ(salvaged_in_pieces(path), "");
}

TEST_F(SalvageInPieces, file_that_shrinks_meanwhile_ends_where_it_ends) {
  store(path, alpha() + std::string(2 * window, 'y') + beta() + std::string(window, 'y'));
  faulty_pread.after = [&](int calls) {
    if (calls == 1) std::filesystem::resize_file(path, 2 * window + 52);
  };
  EXPECT_EQ(salvaged_in_pieces(path), "0:677/1024/8=likely 2097180:80/1025/4=sure");
}

TEST_F(SalvageInPieces, what_is_added_meanwhile_is_not_looked_at) {
  store(path, alpha());
  faulty_pread.after = [&](int) { store(path, alpha() + beta()); };
  EXPECT_EQ(salvaged_in_pieces(path), "0:677/1024/8=sure");
}

// --- flash of which parts cannot be read: they are passed over in blocks of 4096 bytes ---

TEST_F(SalvageInPieces, blocks_that_cannot_be_read_are_passed_over) {
  faulty_pread.bad_from = 4096;
  faulty_pread.bad_to = 12288;
  EXPECT_EQ(found_in(alpha() + std::string(12260, 'y') + beta()),
            "0:677/1024/8=likely 4096-12288:unreadable 12288:80/1025/4=sure");
}

TEST_F(SalvageInPieces, entry_is_whole_up_to_what_cannot_be_read) {
  faulty_pread.bad_from = 4096;
  faulty_pread.bad_to = 8192;
  EXPECT_EQ(found_in(std::string(4068, 'y') + entry({}, std::string(4200, 'x')) + beta()),
            "4068:677/1024/8 of 4200=doubtful 4096-8192:unreadable 8288:80/1025/4=sure");
}

TEST_F(SalvageInPieces, header_that_cannot_be_read_as_a_whole_is_none) {
  faulty_pread.bad_from = 4096;
  faulty_pread.bad_to = 8192;
  // Its last word is zero, and so is what stands for the bytes that cannot be read.
  EXPECT_EQ(found_in(std::string(4080, 'y') + entry({}, std::string(4200, 'x'))),
            "4096-8192:unreadable");
}

TEST_F(SalvageInPieces, stretch_that_cannot_be_read_may_go_on_for_long) {
  faulty_pread.bad_from = 4096;
  faulty_pread.bad_to = 3 * window;
  EXPECT_EQ(found_in(alpha() + std::string(3 * window - 28, 'y') + beta()),
            "0:677/1024/8=likely 4096-3145728:unreadable 3145728:80/1025/4=sure");
}

TEST_F(SalvageInPieces, last_bytes_that_cannot_be_read_are_reported) {
  faulty_pread.bad_from = 4096;
  faulty_pread.bad_to = 8192;
  EXPECT_EQ(found_in(std::string(4068, 'y') + alpha() + "yyyy"),
            "4068:677/1024/8=likely 4096-4100:unreadable");
}

TEST_F(SalvageInPieces, last_block_of_many_that_cannot_be_read_ends_with_the_file) {
  faulty_pread.bad_from = window;
  faulty_pread.bad_to = window + 4096;
  EXPECT_EQ(found_in(std::string(window + 100, 'y')), "1048576-1048676:unreadable");
}

// What was read before must not shine through.
TEST_F(SalvageInPieces, what_cannot_be_read_confirms_nothing) {
  std::string bytes;
  while (bytes.size() < 3 * window) bytes += gamma_ray();  // 32 bytes each
  faulty_pread.bad_from = 2 * window;
  faulty_pread.bad_to = 2 * window + 4096;
  store(path, bytes);
  const int fd = open(path.c_str(), O_RDONLY);
  salvage search(fd, bytes.size());
  std::map<uint64_t, certainty> levels;
  while (const auto found = search.next()) {
    if (const auto *entry = std::get_if<salvaged_entry>(&*found)) {
      levels[entry->offset] = entry->level;
    }
  }
  close(fd);
  EXPECT_EQ(levels.size(), (3 * window - 4096) / 32);
  EXPECT_EQ(levels.at(2 * window - 64), certainty::sure);
  EXPECT_EQ(levels.at(2 * window - 32), certainty::likely);
}

TEST_F(SalvageInPieces, nothing_can_be_read) {
  faulty_pread.error = EIO;
  EXPECT_EQ(found_in(alpha() + std::string(20000, 'y')), "0-20028:unreadable");
}

TEST_F(SalvageInPieces, read_is_tried_again_after_a_signal) {
  store(path, alpha());
  faulty_pread.error = EINTR;
  faulty_pread.errors = 1;
  EXPECT_EQ(salvaged_in_pieces(path), "0:677/1024/8=sure");
}

}  // namespace
}  // namespace vesk::test
