# Counts which lines and branches of the daemon are executed, which script/coverage shows.
foreach(room vesk_format vesk_store vesk_recovery vesk_daemon vesk_sup)
  target_compile_options(${room} PRIVATE --coverage)
endforeach()
target_link_options(vesk_format INTERFACE --coverage)

# The counts are written when a program ends; by _exit(), as the daemon does it, only if asked to.
target_sources(vesk_core PRIVATE ${CMAKE_SOURCE_DIR}/tests/support/counted_exit.cpp)
target_link_options(vesk_core INTERFACE LINKER:--wrap=_exit,--undefined=__wrap__exit)
