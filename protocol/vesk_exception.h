// The exception report: what the daemon sends to its listeners when the flash has trouble.
//
// The layout, and the constants in it, are those of the receivers of exception reports. Words are
// in host byte order, at odd addresses; the two of the time alone are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "format/vesk_format.h"

namespace vesk {

// A word in host byte order at any address.
struct host32 {
  uint8_t b[4];

  operator uint32_t() const {
    uint32_t value;
    std::memcpy(&value, b, sizeof value);
    return value;
  }
  host32 &operator=(uint32_t value) {
    std::memcpy(b, &value, sizeof b);
    return *this;
  }
};

}  // namespace vesk

constexpr uint32_t IPQ_OPC_EXCEPTION = 7000;
constexpr uint32_t VESK_EXCEPTION_SIZE = 330;

struct vesk_exception_record {
  vesk::host32 code;
  uint16_t constant_48;
  uint8_t severity;
  vesk::host32 code_again;
  char constant_a;
  uint8_t zero_1[8];
  vesk::host32 zero_2;
  vesk::host32 identity;
  char text[127];  // not terminated when full
  uint8_t zero_3[6];
  vesk::be32 secs;
  vesk::be32 usecs;
  uint8_t zero_4[161];
};
static_assert(sizeof(vesk_exception_record) == VESK_EXCEPTION_SIZE);
static_assert(offsetof(vesk_exception_record, constant_48) == 4);
static_assert(offsetof(vesk_exception_record, severity) == 6);
static_assert(offsetof(vesk_exception_record, code_again) == 7);
static_assert(offsetof(vesk_exception_record, constant_a) == 11);
static_assert(offsetof(vesk_exception_record, zero_2) == 20);
static_assert(offsetof(vesk_exception_record, identity) == 24);
static_assert(offsetof(vesk_exception_record, text) == 28);
static_assert(offsetof(vesk_exception_record, secs) == 161);
static_assert(offsetof(vesk_exception_record, usecs) == 165);
