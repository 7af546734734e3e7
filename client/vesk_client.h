/* The sender's library: hand log records and requests to the Persistent Logger.
 *
 * A handle is one socket. Calls never run longer than the handle's time-out, start no thread and
 * touch no signal. Different threads may use different handles at the same time; one handle is for
 * one thread at a time. Opening does not talk to the daemon: a handle outlives its restarts.
 *
 * Usable from C11 and, by itself or through vesk_client.hpp, from C++. As long as the version
 * begins with "0.", programs have to be built anew for another second number: records and codes
 * may change with it, and so does the name of the shared library. */
#ifndef VESK_CLIENT_H
#define VESK_CLIENT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __GNUC__
#pragma GCC visibility push(default) /* nothing else in the library is to be seen from outside */
#endif

typedef struct vesk_client vesk_client;

/* How a call ended. */
typedef enum vesk_client_code {
  VESK_CLIENT_OK = 0,

  /* The daemon took the request and ... */
  VESK_CLIENT_REFUSED = 1,    /* said no */
  VESK_CLIENT_UNANSWERED = 2, /* let it go without an answer, as it does while the flash is not
                                 mounted: a record was not stored */
  VESK_CLIENT_BAD_ANSWER = 3, /* answered with something else than this request's answer */

  /* The message service refused the request before the daemon saw it. */
  VESK_CLIENT_HOST_BAD_VERSION = 10,   /* it speaks another version of the wire format */
  VESK_CLIENT_HOST_BAD_LENGTH = 11,    /* the request's length does not hold or is too large */
  VESK_CLIENT_HOST_NOT_PERMITTED = 12, /* only root and the daemon's own user may send this */
  VESK_CLIENT_HOST_BAD_REQUEST = 13,   /* it does not understand a request to itself */
  VESK_CLIENT_HOST_REFUSED = 14,       /* for a reason that this library does not know */

  /* Nobody answered. */
  VESK_CLIENT_TIMED_OUT = 20,     /* sent, but nothing came back: it may or may not be done */
  VESK_CLIENT_BUSY = 21,          /* the daemon's queue stayed full: nothing was sent */
  VESK_CLIENT_NO_DAEMON = 22,     /* nobody listens at the daemon's socket: nothing was sent */
  VESK_CLIENT_NO_PERMISSION = 23, /* the daemon's socket may not be opened: nothing was sent */
  VESK_CLIENT_SYSTEM = 24,        /* a system call failed, errno says why: nothing was sent, unless
                                     waiting for the answer failed */

  /* Refused before anything was sent. */
  VESK_CLIENT_BAD_ARGUMENT = 30,  /* a null pointer where there must be none */
  VESK_CLIENT_BAD_RUN_DIR = 31,   /* empty, or too long for a socket's address */
  VESK_CLIENT_BAD_FILE_TYPE = 32, /* not 1 to 38 */
  VESK_CLIENT_BAD_UUID = 33,      /* not 1 to 2736 */
  VESK_CLIENT_BAD_TYPE = 34,      /* an object type below 1024 or above 65,535 */
  VESK_CLIENT_BAD_SYNC = 35,      /* not one of VESK_CLIENT_SYNC_... */
  VESK_CLIENT_EMPTY = 36,         /* a record without data */
  VESK_CLIENT_TOO_LONG = 37,      /* a record of more than 65,532 bytes, or a payload of more than
                                     65,559 */
  VESK_CLIENT_TOO_LARGE_FOR_FILE = 38, /* a record that never fits its file */
  VESK_CLIENT_LARGE = 39,              /* a large record, and `allow_large` is 0 */
  VESK_CLIENT_NO_SUCH_FILE = 40        /* no log file has this file type */
} vesk_client_code;

/* A sentence without a full stop, for people. Never null, whatever the code. */
const char *vesk_client_error_text(vesk_client_code code);

/* The version of the library in use, such as "0.1.0". */
const char *vesk_client_version(void);

/* The directory of the daemon's sockets: `run_dir` unless it is null, else VESK_RUN_DIR of the
 * environment unless that is unset or empty, else "/run/vesk". */
const char *vesk_client_run_dir(const char *run_dir);

/* Makes a handle and stores it in `*client`, to be given back by vesk_client_close(); stores null
 * when it fails. `run_dir` as for vesk_client_run_dir(). `timeout_ms` is how long one call may take
 * from its start until its answer is there. Codes: OK, BAD_ARGUMENT, BAD_RUN_DIR, SYSTEM. */
vesk_client_code vesk_client_open(vesk_client **client, const char *run_dir, uint32_t timeout_ms);

/* Null is allowed. */
void vesk_client_close(vesk_client *client);

/* The path of the daemon's socket; lives as long as the handle. Empty for null. */
const char *vesk_client_address(const vesk_client *client);

/* What the sender of a record waits for. */
enum {
  VESK_CLIENT_SYNC_NONE = 0,   /* for nothing: OK means that the record is in the daemon's queue */
  VESK_CLIENT_SYNC_ANSWER = 1, /* for the daemon's answer: OK means that the record is stored */
  VESK_CLIENT_SYNC_FLASH = 2   /* the same, and the daemon writes it through to the flash */
};

typedef struct vesk_client_record {
  uint32_t file_type;  /* which log file, 1 to 38 */
  uint32_t uuid;       /* the sender's service uuid, 1 to 2736 */
  uint32_t type;       /* object type, 1024 to 65,535 */
  uint8_t flags;       /* kept with the entry */
  uint8_t sync;        /* VESK_CLIENT_SYNC_... */
  uint8_t update;      /* 1: replace a matching entry where there is one, 0: append */
  uint8_t allow_large; /* 1: send a large record too, see below */
  uint32_t instance;   /* which matching entry an update replaces: 0 the last, n the n-th */
  uint32_t secs;       /* time stamp; when both words are 0, the time of the call */
  uint32_t usecs;
  const void *data;
  size_t length; /* 1 to 65,532 bytes */
} vesk_client_record;

/* Sends one record and, as its `sync` asks, waits for the answer.
 *
 * A record that the daemon would refuse, or whose padded length its entry cannot tell, is refused
 * before it is sent. So is a large one unless `allow_large` is set: the daemon stores it, but
 * making room for it can cost entries that are not due yet, or leave the file unreadable. Large is
 * a record of more than half its file's capacity. */
vesk_client_code vesk_client_log(vesk_client *client, const vesk_client_record *record);

/* Sends one record in place of the `instance`-th entry with its uuid and object type, counted from
 * the oldest; in place of the last one when there are fewer, or for 0; as a new entry when there is
 * none. What `update` and `instance` of the record say does not matter. The padded length should be
 * that of the entry: the daemon drops a longer record and yet answers that all is well, and a
 * shorter one puts the entries behind it out of reach. */
vesk_client_code vesk_client_update(vesk_client *client, const vesk_client_record *record,
                                    uint32_t instance);

/* Sends a request and waits for nothing: OK means that it is in the daemon's queue. */
vesk_client_code vesk_client_send(vesk_client *client, uint32_t opcode, const void *payload,
                                  size_t length);

/* Sends a request and waits until the daemon let it go: OK means no more than that, since a daemon
 * without its flash lets every message go unread. An answer is taken for a confirmation too. */
vesk_client_code vesk_client_confirm(vesk_client *client, uint32_t opcode, const void *payload,
                                     size_t length);

/* Sends a request and waits for its answer. Stores the answer in `answer` and its size in
 * `*answer_length`, both only for OK; BAD_ANSWER when it is larger than `capacity`. */
vesk_client_code vesk_client_request(vesk_client *client, uint32_t opcode, const void *payload,
                                     size_t length, void *answer, size_t capacity,
                                     size_t *answer_length);

/* What one sender has stored since the daemon started or its statistics were cleared. */
typedef struct vesk_client_sender_statistics {
  uint32_t entry_count;
  uint32_t byte_count; /* in the log files: headers and padding included */
} vesk_client_sender_statistics;

#define VESK_CLIENT_STATISTICS_ROWS 2737 /* one a uuid; nobody has uuid 0 */

/* Fetches every sender's statistics; `rows` has VESK_CLIENT_STATISTICS_ROWS elements, indexed by
 * the uuid, and is written only for OK. */
vesk_client_code vesk_client_statistics(vesk_client *client, vesk_client_sender_statistics *rows);

#ifdef __GNUC__
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
