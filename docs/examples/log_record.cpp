#include <cstdio>
#include <vesk_client.hpp>

int main() {
  vesk::log_client client;
  vesk_client_code code = client.open(1000);
  if (code == VESK_CLIENT_OK) {
    code = client.log({.file_type = 25,  // platform.log
                       .uuid = 551,
                       .type = 1024,
                       .sync = VESK_CLIENT_SYNC_ANSWER},
                      "fan tray 2 removed");
  }
  if (code != VESK_CLIENT_OK) {
    std::fprintf(stderr, "not logged: %s\n", vesk_client_error_text(code));
  }
  return code == VESK_CLIENT_OK ? 0 : 1;
}
