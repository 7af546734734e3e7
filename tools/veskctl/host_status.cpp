#include "tools/veskctl/host_status.h"

#include <cstring>

namespace vesk::veskctl {

vesk_client_code fetch_host_status(vesk_client &client, vesk_wire_status &status) {
  char answer[4096];  // with room for the fields of later versions
  size_t length = 0;
  const auto code = vesk_client_request(&client, VESK_WIRE_OPC_STATUS, nullptr, 0, answer,
                                        sizeof answer, &length);
  if (code != VESK_CLIENT_OK) return code;
  vesk_wire_status got{};
  if (length < sizeof got) return VESK_CLIENT_BAD_ANSWER;
  std::memcpy(&got, answer, sizeof got);
  if (got.version < VESK_WIRE_STATUS_VERSION) return VESK_CLIENT_BAD_ANSWER;
  status = got;
  return VESK_CLIENT_OK;
}

}  // namespace vesk::veskctl
