// A log record, as a client sends it, in a buffer of exactly its size.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "format/vesk_format.h"

namespace vesk::test {

struct record_fields {
  uint16_t uuid = 77;
  uint16_t type = 1024;
  uint16_t len = 0;
  uint8_t flags = 0;
  uint8_t update = 0;
  uint32_t secs = 0x5F5E1000;
  uint32_t usecs = 123456;
  uint16_t file_type = 7;
  uint8_t sync = 0;
  uint8_t reserved = 0;
  uint32_t instance = 0;
  std::string data = {};  // the alphabet over and over, where it is not given
};

class record {
 public:
  record(const record_fields &fields);
  record(uint16_t type, uint16_t len) : record(record_fields{.type = type, .len = len}) {}

  const std::vector<uint8_t> &bytes() const { return bytes_; }
  operator const vesk_log_req *() const {
    return reinterpret_cast<const vesk_log_req *>(bytes_.data());
  }

 private:
  std::vector<uint8_t> bytes_;
};

// The letters a to z over and over: the data of such a record.
std::string alphabet(size_t len);

}  // namespace vesk::test
