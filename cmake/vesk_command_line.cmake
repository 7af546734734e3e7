# Sources that do little but describe a command line to CLI11. The compiler would take ten to thirty
# seconds for each to make it faster, and nobody would notice.
function(vesk_command_line)
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O0)
endfunction()
