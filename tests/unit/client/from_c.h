/* The library used by a C program. */
#ifndef VESK_TESTS_FROM_C_H
#define VESK_TESTS_FROM_C_H

#include "client/vesk_client.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opens a handle, logs one record with an answer and closes; returns what came of it. */
vesk_client_code vesk_test_from_c(const char *run_dir);

#ifdef __cplusplus
}
#endif

#endif
