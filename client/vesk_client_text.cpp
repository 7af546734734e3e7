#include <utility>

#include "client/vesk_client.h"

namespace {

constexpr std::pair<vesk_client_code, const char *> texts[] = {
    {VESK_CLIENT_OK, "done"},
    {VESK_CLIENT_REFUSED, "the daemon refused it; its log says why"},
    {VESK_CLIENT_UNANSWERED, "the daemon let it go without an answer: is the flash mounted?"},
    {VESK_CLIENT_BAD_ANSWER,
     "the daemon's answer makes no sense: are library and daemon of the same version?"},
    {VESK_CLIENT_HOST_BAD_VERSION,
     "the daemon's message service speaks another version of the wire format"},
    {VESK_CLIENT_HOST_BAD_LENGTH, "the daemon's message service refused the request's length"},
    {VESK_CLIENT_HOST_NOT_PERMITTED, "only root and the daemon's own user may do this"},
    {VESK_CLIENT_HOST_BAD_REQUEST, "the daemon's message service does not understand the request"},
    {VESK_CLIENT_HOST_REFUSED,
     "the daemon's message service refused the request for an unknown reason"},
    {VESK_CLIENT_TIMED_OUT, "the daemon did not answer in time"},
    {VESK_CLIENT_BUSY, "the daemon's queue stayed full"},
    {VESK_CLIENT_NO_DAEMON, "no daemon answers"},
    {VESK_CLIENT_NO_PERMISSION, "permission denied at the daemon's socket"},
    {VESK_CLIENT_SYSTEM, "a system call failed"},
    {VESK_CLIENT_BAD_ARGUMENT, "a null pointer was passed"},
    {VESK_CLIENT_BAD_RUN_DIR, "the run directory's name is empty or too long for a socket"},
    {VESK_CLIENT_BAD_FILE_TYPE, "the file type is not 1 to 38"},
    {VESK_CLIENT_BAD_UUID, "the uuid is not 1 to 2736"},
    {VESK_CLIENT_BAD_TYPE, "the object type is not 1024 to 65535"},
    {VESK_CLIENT_BAD_SYNC, "the kind of answer wanted is not 0, 1 or 2"},
    {VESK_CLIENT_EMPTY, "the record has no data"},
    {VESK_CLIENT_TOO_LONG, "longer than the 65532 bytes that a record can hold"},
    {VESK_CLIENT_TOO_LARGE_FOR_FILE, "the record is larger than its log file"},
    {VESK_CLIENT_LARGE, "a record this large can cost other entries of its log file"},
    {VESK_CLIENT_NO_SUCH_FILE, "no log file has this file type"},
};

}  // namespace

const char *vesk_client_error_text(vesk_client_code code) {
  for (const auto &[known, text] : texts) {
    if (known == code) return text;
  }
  return "unknown result code";
}

const char *vesk_client_version(void) {
  return VESK_CLIENT_VERSION_TEXT;
}
