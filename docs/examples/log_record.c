#include <stdio.h>
#include <vesk_client.h>

int main(void) {
  vesk_client *client = NULL;
  vesk_client_code code = vesk_client_open(&client, NULL, 1000);
  if (code == VESK_CLIENT_OK) {
    const vesk_client_record record = {.file_type = 25, /* platform.log */
                                       .uuid = 551,
                                       .type = 1024,
                                       .sync = VESK_CLIENT_SYNC_ANSWER,
                                       .data = "fan tray 2 removed",
                                       .length = 18};
    code = vesk_client_log(client, &record);
    vesk_client_close(client);
  }
  if (code != VESK_CLIENT_OK) fprintf(stderr, "not logged: %s\n", vesk_client_error_text(code));
  return code == VESK_CLIENT_OK ? 0 : 1;
}
