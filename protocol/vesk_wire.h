// The wire format of the message service on plain Linux: what stands in front of each payload.
// docs/host-platform.md describes it for other languages.
//
// A message is one datagram: this header, then `length` bytes of payload. Header fields are in the
// machine's byte order, since a datagram never leaves the machine.
#pragma once

#include <cstddef>
#include <cstdint>

#include "format/vesk_format.h"

constexpr uint32_t VESK_WIRE_MAGIC = 0x5645534B;
constexpr uint8_t VESK_WIRE_VERSION = 1;
constexpr uint32_t VESK_WIRE_HEADER_SIZE = 24;
constexpr uint32_t VESK_WIRE_MAX_PAYLOAD =
    VESK_LOG_REQ_SIZE + UINT16_MAX;  // the largest log record

// The first eight bytes mean the same in every version, so that a refusal of a version is
// understood.
struct vesk_wire_header {
  uint32_t magic;    // VESK_WIRE_MAGIC
  uint8_t version;   // VESK_WIRE_VERSION
  uint8_t reserved;  // 0
  uint16_t flags;    // VESK_WIRE_...
  uint32_t opcode;
  uint32_t sequence;  // chosen by the sender; an answer, a receipt or a refusal carries it back
  uint32_t source;    // the sender's service uuid, for the records; nothing depends on it
  uint32_t length;    // of the payload
};
static_assert(sizeof(vesk_wire_header) == VESK_WIRE_HEADER_SIZE);
static_assert(offsetof(vesk_wire_header, flags) == 6 && offsetof(vesk_wire_header, opcode) == 8);
static_assert(offsetof(vesk_wire_header, sequence) == 12 &&
              offsetof(vesk_wire_header, source) == 16);
static_assert(offsetof(vesk_wire_header, length) == 20);

// Flags of a request.
constexpr uint16_t VESK_WIRE_WANT_RECEIPT = 0x0001;  // if no answer was sent by the time the daemon
                                                     // lets the message go, send a receipt
// Flags of what comes back.
constexpr uint16_t VESK_WIRE_ANSWER = 0x0100;   // the daemon's answer
constexpr uint16_t VESK_WIRE_RECEIPT = 0x0200;  // the daemon let the message go; no payload
constexpr uint16_t VESK_WIRE_REFUSED = 0x0400;  // the host refused it; payload: a u32 reason
constexpr uint16_t VESK_WIRE_REPLY = VESK_WIRE_ANSWER | VESK_WIRE_RECEIPT | VESK_WIRE_REFUSED;

enum vesk_wire_refusal : uint32_t {
  VESK_WIRE_BAD_VERSION = 1,    // the version is not VESK_WIRE_VERSION
  VESK_WIRE_BAD_LENGTH = 2,     // `length` is not what came, or beyond VESK_WIRE_MAX_PAYLOAD
  VESK_WIRE_NOT_PERMITTED = 3,  // only root and the daemon's own user may send this
  VESK_WIRE_BAD_REQUEST = 4,    // a request to the host itself that it does not understand
};

// Requests to the host itself, all privileged except the last; answered with VESK_WIRE_ANSWER.
constexpr uint32_t VESK_WIRE_OPC_DEBUG = 60001;       // payload vesk_wire_debug
constexpr uint32_t VESK_WIRE_OPC_HISTORY = 60002;     // no payload; answered with vesk_wire_history
constexpr uint32_t VESK_WIRE_OPC_SWITCHOVER = 60003;  // payload a u32 context
constexpr uint32_t VESK_WIRE_OPC_STATUS = 60004;      // no payload; answered with vesk_wire_status

// VESK_WIRE_OPC_DEBUG: which levels are printed and recorded from now on. The answer is the same
// record with the values now in force.
constexpr uint8_t VESK_WIRE_DEBUG_KEEP = 0xFF;  // leave this one as it is
constexpr uint8_t VESK_WIRE_DEBUG_NONE = 0;
constexpr uint8_t VESK_WIRE_DEBUG_ERROR = 1;
constexpr uint8_t VESK_WIRE_DEBUG_TRACE = 2;  // and errors
struct vesk_wire_debug {
  uint8_t print;
  uint8_t record;  // the same for the event history
  uint8_t reserved[2];
};
static_assert(sizeof(vesk_wire_debug) == 4);

// VESK_WIRE_OPC_HISTORY: answered with one of these a record, oldest first, each followed by
// `length` bytes of text, no terminator, and padding to a multiple of four. As many of the newest
// as fit one datagram.
constexpr uint16_t VESK_WIRE_RECEIVED = 3;  // a message of the daemon's
constexpr uint16_t VESK_WIRE_SENT = 4;
struct vesk_wire_history {
  uint32_t secs;
  uint32_t usecs;
  uint16_t kind;  // a level of vesk_levels.h, or one of the next two, which have no text
  uint16_t length;
  uint32_t opcode;  // of the message received or sent; else 0
};
static_assert(sizeof(vesk_wire_history) == 16);

// VESK_WIRE_OPC_STATUS: answered at once, even while the flash is not mounted. A later version has
// these fields in these places and more behind them.
constexpr uint32_t VESK_WIRE_STATUS_VERSION = 1;
struct vesk_wire_status {
  uint32_t version;
  uint32_t pid;
  uint64_t uptime_usecs;  // since the process bound its access point
  // Numbers of datagrams since then.
  uint64_t received;  // accepted, this request among them
  uint64_t refused_bad_version;
  uint64_t refused_bad_length;
  uint64_t refused_not_permitted;
  uint64_t refused_bad_request;
  uint64_t dropped_not_ours;   // without our header
  uint64_t dropped_came_back;  // answers sent to the access point
  uint64_t answered;           // answers and receipts sent, except the one to this request
  uint64_t unanswered;         // answers, receipts and refusals that reached nobody
  uint64_t listeners_reached;
  uint64_t listeners_missed;
};
static_assert(sizeof(vesk_wire_status) == 104);
static_assert(offsetof(vesk_wire_status, uptime_usecs) == 8);
static_assert(offsetof(vesk_wire_status, received) == 16);
static_assert(offsetof(vesk_wire_status, dropped_not_ours) == 56);
static_assert(offsetof(vesk_wire_status, answered) == 72);
static_assert(offsetof(vesk_wire_status, listeners_missed) == 96);
