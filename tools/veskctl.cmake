# veskctl: talks to a running daemon.
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)

add_executable(veskctl
  vesk_copy_note.cpp
  vesk_preserve.cpp
  vesk_preserve_store.cpp
  vesk_preserve_verdicts.cpp
  veskctl.cpp
  veskctl_command.cpp
  veskctl_config.cpp
  veskctl_debug.cpp
  veskctl_events.cpp
  veskctl_exposition.cpp
  veskctl_fail_notice.cpp
  veskctl_findings.cpp
  veskctl_flash.cpp
  veskctl_host_status.cpp
  veskctl_lines.cpp
  veskctl_listener.cpp
  veskctl_manifest.cpp
  veskctl_metrics.cpp
  veskctl_monitor.cpp
  veskctl_new_file.cpp
  veskctl_progress.cpp
  veskctl_recover.cpp
  veskctl_send.cpp
  veskctl_snapshot.cpp
  veskctl_stats.cpp
  veskctl_status.cpp
  veskctl_status_json.cpp
  veskctl_status_text.cpp
  veskctl_support.cpp
  # Which files there are, where repairs end, and text that does no harm: shared with veskshow.
  veskshow_files.cpp
  veskshow_repairs.cpp
  veskshow_text.cpp
)
vesk_command_line(
  veskctl.cpp
  veskctl_command.cpp
  veskctl_config.cpp
  veskctl_debug.cpp
  veskctl_fail_notice.cpp
  veskctl_metrics.cpp
  veskctl_monitor.cpp
  veskctl_recover.cpp
  veskctl_snapshot.cpp
  veskctl_stats.cpp
  veskctl_status.cpp
  veskctl_support.cpp
)
target_compile_definitions(veskctl PRIVATE VESK_PROJECT_VERSION="${PROJECT_VERSION}")
target_link_libraries(veskctl PRIVATE vesk_client vesk_reader CLI11::CLI11 PkgConfig::SODIUM)
