// Starting other programs. Arguments are C strings behind the program's path, ended by a null
// pointer; the path itself becomes the program's argument 0.
#pragma once

#include <cstdint>

extern "C" {

// Runs a program to its end. Non-zero when it could not be started; how it ended cannot be told by
// a process that ignores SIGCHLD.
int32_t execute_program_and_wait(const char *program, ...) __attribute__((sentinel));

// Starts a program and returns at once: 0 when it was started.
int32_t execute_program_and_let_go(const char *program, ...) __attribute__((sentinel));

// Runs a shell command to its end, its output and errors going to the two files named.
int32_t exec_cmd_with_files_print(const char *command, int32_t, const char *out, const char *err,
                                  int32_t);

}  // extern "C"
