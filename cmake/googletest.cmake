# GoogleTest: the installed library, or, where its machine is another one than that of the tests,
# built from the source that comes along with it.
if(NOT VESK_CORE_ONLY)
  find_package(GTest REQUIRED)
  return()
endif()

set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(library gtest gtest_main)
  set_target_properties(${library} PROPERTIES COMPILE_OPTIONS -w)  # its warnings are not ours
endforeach()
