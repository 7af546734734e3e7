#include "store/vesk_file_info.h"

#include <algorithm>

#include "store/vesk_flash.h"

int32_t vesk_get_file_info(uint32_t file_type, uint32_t *max_size, uint32_t *file_size,
                           char *path) {
  const vesk_catalogue_row *row = vesk::find_file(file_type);
  if (row == nullptr) return -1;
  vesk::log_path(*row, path);
  *max_size = row->max_size;

  struct stat st;
  if (vesk_stat_fs(path, &st) != 0) return -1;
  *file_size = vesk::size_of_file(st);
  return 0;
}

uint32_t vesk::size_of_file(const struct stat &status) {
  return static_cast<uint32_t>(std::min<int64_t>(status.st_size, UINT32_MAX));
}
