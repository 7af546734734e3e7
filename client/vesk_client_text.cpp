#include "client/vesk_client.h"

const char *vesk_client_error_text(vesk_client_code code) {
  switch (code) {
    case VESK_CLIENT_OK:
      return "done";
    case VESK_CLIENT_REFUSED:
      return "the daemon refused it; its log says why";
    case VESK_CLIENT_UNANSWERED:
      return "the daemon let it go without an answer: is the flash mounted?";
    case VESK_CLIENT_BAD_ANSWER:
      return "the daemon's answer makes no sense: are library and daemon of the same version?";
    case VESK_CLIENT_HOST_BAD_VERSION:
      return "the daemon's message service speaks another version of the wire format";
    case VESK_CLIENT_HOST_BAD_LENGTH:
      return "the daemon's message service refused the request's length";
    case VESK_CLIENT_HOST_NOT_PERMITTED:
      return "only root and the daemon's own user may do this";
    case VESK_CLIENT_HOST_BAD_REQUEST:
      return "the daemon's message service does not understand the request";
    case VESK_CLIENT_HOST_REFUSED:
      return "the daemon's message service refused the request for an unknown reason";
    case VESK_CLIENT_TIMED_OUT:
      return "the daemon did not answer in time";
    case VESK_CLIENT_BUSY:
      return "the daemon's queue stayed full";
    case VESK_CLIENT_NO_DAEMON:
      return "no daemon answers";
    case VESK_CLIENT_NO_PERMISSION:
      return "permission denied at the daemon's socket";
    case VESK_CLIENT_SYSTEM:
      return "a system call failed";
    case VESK_CLIENT_BAD_ARGUMENT:
      return "a null pointer was passed";
    case VESK_CLIENT_BAD_RUN_DIR:
      return "the run directory's name is empty or too long for a socket";
    case VESK_CLIENT_BAD_FILE_TYPE:
      return "the file type is not 1 to 38";
    case VESK_CLIENT_BAD_UUID:
      return "the uuid is not 1 to 2736";
    case VESK_CLIENT_BAD_TYPE:
      return "the object type is not 1024 to 65535";
    case VESK_CLIENT_BAD_SYNC:
      return "the kind of answer wanted is not 0, 1 or 2";
    case VESK_CLIENT_EMPTY:
      return "the record has no data";
    case VESK_CLIENT_TOO_LONG:
      return "longer than the 65532 bytes that a record can hold";
    case VESK_CLIENT_TOO_LARGE_FOR_FILE:
      return "the record is larger than its log file";
    case VESK_CLIENT_LARGE:
      return "a record this large can cost other entries of its log file";
    case VESK_CLIENT_NO_SUCH_FILE:
      return "no log file has this file type";
  }
  return "unknown result code";
}

const char *vesk_client_version(void) {
  return VESK_CLIENT_VERSION_TEXT;
}
