# Registers a test executable, so that it runs inside a private root of its own, and under the
# emulator where it is one for another machine.
function(vesk_add_test target)
  set(timeout 300)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(timeout 1200)
  endif()
  add_test(NAME ${target}
    COMMAND ${CMAKE_SOURCE_DIR}/script/private-root --fresh
            ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${target}>)
  set_tests_properties(${target} PROPERTIES TIMEOUT ${timeout}
    ENVIRONMENT "VESK_BIN_DIR=$<TARGET_FILE_DIR:${target}>")
endfunction()
