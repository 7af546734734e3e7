#include "format/vesk_catalogue.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace vesk::test {
namespace {

struct expected_row {
  uint16_t file_type;
  uint16_t owner;
  const char *name;
  uint32_t max_size;
  const char *show_library;
  const char *display_function;
};

constexpr expected_row expected[] = {
    {2, 677, "nruda.log", 262144, "nruda_show", "nruda_vesk_disp_func"},
    {29, 677, "ferro_tovik.log", 262144, "nruda_show", "nruda_vesk_disp_func"},
    {30, 677, "ferro_marun.log", 262144, "nruda_show", "nruda_vesk_disp_func"},
    {33, 677, "ferro_belquist.log", 262144, "nruda_show", "nruda_vesk_disp_func"},
    {4, 300, "dev_log_sup.log", 524288, "dev_log_sup_cli", "dev_log_sup_disp_func"},
    {1, 80, "exception.log", 524288, "expl", "exvesk_sup_disp_func"},
    {3, 298, "kyte.log", 131072, "kyte_cli", "kyte_cli_print"},
    {6, 677, "temperature_history.log", 131072, "nruda_show", "nruda_vesk_disp_func"},
    {7, 677, "temperature_err.log", 8192, "nruda_show", "nruda_vesk_disp_func"},
    {5, 25, "vesk.log", 1048576, nullptr, nullptr},
    {25, 551, "platform.log", 1048576, nullptr, nullptr},
    {21, 510, "kernel.log", 8388608, "kyte_cli", "kyte_cli_print"},
    {22, 510, "kernel_big.log", 8388608, "kyte_cli", "kyte_cli_print"},
    {34, 677, "trident.log", 262144, "nruda_show", "nruda_vesk_disp_func"},
    {35, 779, "bcm_usd.log", 262144, nullptr, nullptr},
    {36, 1012, "btcm.log", 262144, nullptr, nullptr},
};

std::string path_of(const vesk_catalogue_row &row) {
  char path[VESK_PATH_SIZE];
  std::memset(path, 'x', sizeof path);
  log_path(row, path);
  return path;
}

TEST(Catalogue, holds_the_sixteen_rows_in_their_order) {
  ASSERT_EQ(vesk_file_catalogue.size(), 16u);
  for (size_t i = 0; i < 16; ++i) {
    SCOPED_TRACE(expected[i].name);
    const vesk_catalogue_row &row = vesk_file_catalogue[i];
    EXPECT_EQ(row.file_type(), expected[i].file_type);
    EXPECT_EQ(row.owner(), expected[i].owner);
    EXPECT_EQ(row.key, uint32_t{expected[i].file_type} * 65536 + expected[i].owner);
    EXPECT_STREQ(row.name, expected[i].name);
    EXPECT_EQ(row.max_size, expected[i].max_size);
    EXPECT_STREQ(row.show_library, expected[i].show_library);
    EXPECT_STREQ(row.display_function, expected[i].display_function);
  }
}

TEST(Catalogue, finds_the_row_of_each_of_its_types) {
  for (size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(find_file(expected[i].file_type), &vesk_file_catalogue[i]) << expected[i].name;
  }
}

TEST(Catalogue, has_no_row_for_any_other_type) {
  std::set<uint32_t> without_row = {0, 23, 24, 26, 27, 28, 31, 32};
  for (uint32_t type = 8; type <= 20; ++type) without_row.insert(type);
  for (uint32_t type = 37; type <= 63; ++type) without_row.insert(type);
  ASSERT_EQ(without_row.size(), 64u - 16u);
  for (const uint32_t type : without_row) EXPECT_EQ(find_file(type), nullptr) << type;
}

TEST(Catalogue, takes_a_file_type_whole) {
  for (const uint32_t type : {64u, 255u, 65535u, 0x10002u, 0xFFFF0007u, 0xFFFFFFFFu}) {
    EXPECT_EQ(find_file(type), nullptr) << type;
  }
}

TEST(Catalogue, puts_every_file_in_the_log_directory) {
  EXPECT_EQ(path_of(*find_file(2)), "/mnt/vesk/nruda.log");
  EXPECT_EQ(path_of(*find_file(6)), "/mnt/vesk/temperature_history.log");
  EXPECT_EQ(path_of(*find_file(22)), "/mnt/vesk/kernel_big.log");
}

TEST(Catalogue, cuts_a_name_that_is_too_long_for_its_buffer) {
  const std::string name(200, 'n');
  const vesk_catalogue_row row{.key = 0,
                               .name = name.c_str(),
                               .max_size = 0,
                               .show_library = nullptr,
                               .display_function = nullptr};
  EXPECT_EQ(path_of(row), "/mnt/vesk/" + std::string(118, 'n'));
}

}  // namespace
}  // namespace vesk::test
