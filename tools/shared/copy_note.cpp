#include "tools/shared/copy_note.h"

#include <sodium.h>

#include <cstdio>

namespace vesk::shared {

std::string sha256_of(std::string_view content) {
  unsigned char hash[crypto_hash_sha256_BYTES];
  crypto_hash_sha256(hash, reinterpret_cast<const unsigned char *>(content.data()), content.size());
  char text[2 * sizeof hash + 1];
  return sodium_bin2hex(text, sizeof text, hash, sizeof hash);
}

std::string utc_text(const timespec &when) {
  tm utc{};
  gmtime_r(&when.tv_sec, &utc);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%s.%06ldZ", date, static_cast<long>(when.tv_nsec / 1000));
  return text;
}

}  // namespace vesk::shared
