# Registers a test executable, so that it runs inside a private root of its own.
function(vesk_add_test target)
  add_test(NAME ${target}
    COMMAND ${CMAKE_SOURCE_DIR}/script/private-root --fresh $<TARGET_FILE:${target}>)
  set_tests_properties(${target} PROPERTIES TIMEOUT 300
    ENVIRONMENT "VESK_BIN_DIR=$<TARGET_FILE_DIR:${target}>")
endfunction()
