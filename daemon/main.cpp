#include "daemon/vesk_loop.h"
#include "daemon/vesk_start.h"

int main() {
  if (const int32_t status = vesk_start_up(); status != 0) return status;
  for (;;) vesk_loop_pass();
}
