# Counts which lines and branches of the daemon are executed, which script/coverage shows.
target_compile_options(vesk_core PRIVATE --coverage)
target_link_options(vesk_core INTERFACE --coverage)
target_compile_options(vesk_sup PRIVATE --coverage)

# The counts are written when a program ends; by _exit(), as the daemon does it, only if asked to.
target_sources(vesk_core PRIVATE ${CMAKE_SOURCE_DIR}/tests/support/counted_exit.cpp)
target_link_options(vesk_core INTERFACE LINKER:--wrap=_exit,--undefined=__wrap__exit)
