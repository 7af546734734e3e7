#include "format/vesk_catalogue.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr uint32_t key(uint16_t file_type, uint16_t owner) {
  return uint32_t{file_type} << 16 | owner;
}

}  // namespace

// clang-format off
constexpr std::array<vesk_catalogue_row, VESK_CATALOGUE_ROWS> vesk_file_catalogue = {{
    {key( 2,  677), "nruda.log",               0x40000,  "nruda_show",      "nruda_vesk_disp_func"},
    {key(29,  677), "ferro_tovik.log",         0x40000,  "nruda_show",      "nruda_vesk_disp_func"},
    {key(30,  677), "ferro_marun.log",         0x40000,  "nruda_show",      "nruda_vesk_disp_func"},
    {key(33,  677), "ferro_belquist.log",      0x40000,  "nruda_show",      "nruda_vesk_disp_func"},
    {key( 4,  300), "dev_log_sup.log",         0x80000,  "dev_log_sup_cli", "dev_log_sup_disp_func"},
    {key( 1,   80), "exception.log",           0x80000,  "expl",            "exvesk_sup_disp_func"},
    {key( 3,  298), "kyte.log",                0x20000,  "kyte_cli",        "kyte_cli_print"},
    {key( 6,  677), "temperature_history.log", 0x20000,  "nruda_show",      "nruda_vesk_disp_func"},
    {key( 7,  677), "temperature_err.log",     0x2000,   "nruda_show",      "nruda_vesk_disp_func"},
    {key( 5,   25), "vesk.log",                0x100000, nullptr,           nullptr},
    {key(25,  551), "platform.log",            0x100000, nullptr,           nullptr},
    {key(21,  510), "kernel.log",              0x800000, "kyte_cli",        "kyte_cli_print"},
    {key(22,  510), "kernel_big.log",          0x800000, "kyte_cli",        "kyte_cli_print"},
    {key(34,  677), "trident.log",             0x40000,  "nruda_show",      "nruda_vesk_disp_func"},
    {key(35,  779), "bcm_usd.log",             0x40000,  nullptr,           nullptr},
    {key(36, 1012), "btcm.log",                0x40000,  nullptr,           nullptr},
}};
// clang-format on

const vesk_catalogue_row *vesk::find_file(uint32_t file_type) {
  const auto row = std::find_if(vesk_file_catalogue.begin(), vesk_file_catalogue.end(),
                                [&](const auto &r) { return r.file_type() == file_type; });
  return row == vesk_file_catalogue.end() ? nullptr : &*row;
}

void vesk::log_path(const vesk_catalogue_row &row, char *path) {
  const std::string_view dir = std::string_view(VESK_LOG_DIR).substr(0, VESK_PATH_DIR_MAX);
  const std::string_view name = std::string_view(row.name).substr(0, VESK_PATH_NAME_MAX);
  std::memcpy(path, dir.data(), dir.size());
  std::memcpy(path + dir.size(), name.data(), name.size());
  path[dir.size() + name.size()] = '\0';
}
