#include "bench/full_files.h"

#include <cstdint>

#include "bench/stage.h"

namespace vesk::bench {

namespace {

struct filling {
  uint16_t file_type;
  uint32_t records;
};

// An entry takes 120 bytes.
constexpr filling fillings[] = {{2, 6000},   {29, 6000}, {30, 6000},  {33, 6000},
                                {4, 6000},   {1, 6000},  {3, 6000},   {6, 6000},
                                {7, 6000},   {5, 12000}, {25, 12000}, {21, 90000},
                                {22, 90000}, {34, 6000}, {35, 6000},  {36, 6000}};

}  // namespace

void make_full_files() {
  static bool made = false;
  if (made) return;
  clear_stage();
  for (const auto &[file_type, records] : fillings) {
    fill({.file_type = file_type, .length = 100}, records);
  }
  fill({.file_type = 25, .length = 100, .text = rare_word}, 1);
  fill({.file_type = 25, .length = 100}, 1000);
  keep_files(full_files);
  made = true;
}

}  // namespace vesk::bench
