# veskshow: shows log files. A library holds all but main(), so that its parts can be tested alone.
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(PCRE2 REQUIRED IMPORTED_TARGET libpcre2-8)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)

add_library(vesk_show STATIC
  vesk_copy_note.cpp
  vesk_preserve.cpp
  vesk_preserve_store.cpp
  vesk_preserve_verdicts.cpp
  # What snapshots are made with as well.
  veskctl_flash.cpp
  veskctl_new_file.cpp
  veskshow_entries.cpp
  veskshow_export.cpp
  veskshow_fields.cpp
  veskshow_files.cpp
  veskshow_filter.cpp
  veskshow_follow.cpp
  veskshow_format.cpp
  veskshow_header.cpp
  veskshow_json.cpp
  veskshow_lines.cpp
  veskshow_list.cpp
  veskshow_map.cpp
  veskshow_names.cpp
  veskshow_options.cpp
  veskshow_output.cpp
  veskshow_pager.cpp
  veskshow_pattern.cpp
  veskshow_preserve.cpp
  veskshow_repairs.cpp
  veskshow_salvage.cpp
  veskshow_stats.cpp
  veskshow_table.cpp
  veskshow_text.cpp
  veskshow_time.cpp
  veskshow_verify.cpp
  veskshow_watch.cpp
)
vesk_command_line(veskshow_options.cpp)
target_compile_definitions(vesk_show PRIVATE VESK_VERSION_TEXT="${PROJECT_VERSION}")
target_link_libraries(vesk_show
  PUBLIC vesk_reader
  PRIVATE CLI11::CLI11 PkgConfig::PCRE2 PkgConfig::SODIUM
)

add_executable(veskshow veskshow.cpp)
target_link_libraries(veskshow PRIVATE vesk_show)
