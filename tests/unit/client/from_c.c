#include "tests/unit/client/from_c.h"

#include <string.h>

vesk_client_code vesk_test_from_c(const char *run_dir) {
  static const char text[] = "logged from C";
  vesk_client *client = NULL;
  vesk_client_code code = vesk_client_open(&client, run_dir, 1000);
  if (code != VESK_CLIENT_OK) return code;
  vesk_client_record record = {.file_type = 5, .uuid = 25, .type = 1024, .data = text};
  record.length = strlen(text);
  record.sync = VESK_CLIENT_SYNC_ANSWER;
  code = vesk_client_log(client, &record);
  vesk_client_close(client);
  return code;
}
