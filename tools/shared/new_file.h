// Files that are there whole or not at all, and stay so when the power goes.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

#include "base/vesk_failure.h"

namespace vesk::shared {

// Makes a file that must not be there yet, and writes it through to the disk. `modified` becomes
// the time of its last change, unless it is null. Where this fails, the new file is removed again.
failure write_new_file(const std::string &path, std::string_view content,
                       const timespec *modified = nullptr);

// The same, in place of a regular file that may be there: who opens it meets the old one or the new
// one.
failure replace_file(const std::string &path, std::string_view content);

// Makes sure that what was made in the directory is found there again.
failure sync_directory(const std::string &path);

}  // namespace vesk::shared
