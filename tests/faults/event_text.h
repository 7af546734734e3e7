// Calls as the tables write them.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vesk::test {

struct sent_message;

// What a write does, by its bytes. "write header 20..264" is a global header with this start and
// end; "write E1026/24 at 220" an entry's header, as in a picture of a ring: "!E" where its sum
// does not hold, "N" for a null entry. Others are "write 2 zeros at 262" and "write 22 bytes at
// 240".
std::string text_of_write(uint32_t offset, std::span<const uint8_t> written);

// A call of the platform, in short: "start rm FILE" does not wait and "run rm FILE" does,
// "answer 1" is a result, "note sent" the sending as it is noted in the history. Empty for calls
// that are of no interest here. `last_sent` is what a call that sends has sent.
std::string text_of_platform_call(const std::string &call, const sent_message *last_sent);

}  // namespace vesk::test
