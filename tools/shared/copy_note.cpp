#include "tools/shared/copy_note.h"

#include <sodium.h>

#include "tools/shared/time.h"

namespace vesk::shared {

std::string sha256_of(std::string_view content) {
  unsigned char hash[crypto_hash_sha256_BYTES];
  crypto_hash_sha256(hash, reinterpret_cast<const unsigned char *>(content.data()), content.size());
  char text[2 * sizeof hash + 1];
  return sodium_bin2hex(text, sizeof text, hash, sizeof hash);
}

std::string utc_text(const timespec &when) {
  std::string text;
  append_date_time(text, when.tv_sec, time_zone::utc, 'T');
  append_usecs(text, static_cast<uint32_t>(when.tv_nsec / 1000));
  return text + 'Z';
}

}  // namespace vesk::shared
