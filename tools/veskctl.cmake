# veskctl: talks to a running daemon.
find_package(CLI11 REQUIRED)

add_executable(veskctl
  veskctl.cpp
  veskctl_command.cpp
  veskctl_config.cpp
  veskctl_debug.cpp
  veskctl_fail_notice.cpp
  veskctl_lines.cpp
  veskctl_listener.cpp
  veskctl_monitor.cpp
  veskctl_recover.cpp
  veskctl_send.cpp
  veskctl_stats.cpp
  veskctl_support.cpp
)
# Every subcommand builds its part of the command line with it, and it is a large header.
target_precompile_headers(veskctl PRIVATE <CLI/CLI.hpp>)
target_compile_definitions(veskctl PRIVATE VESK_PROJECT_VERSION="${PROJECT_VERSION}")
target_link_libraries(veskctl PRIVATE vesk_client vesk_format CLI11::CLI11)
