// Which files the user means.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/vesk_catalogue.h"
#include "reader/vesk_ring_walk.h"

namespace vesk::shared {

struct log_file {
  std::string path;
  std::string name;               // the path, or less where the directory was not typed with it
  const vesk_catalogue_row *row;  // of the catalogue, by the file's name; or null
};

// The catalogue's files that exist in the directory, in the order of their types.
[[nodiscard]] std::vector<log_file> files_in(const std::string &directory);

// All of the catalogue's files as they would lie in the directory, in the same order.
[[nodiscard]] std::vector<log_file> possible_files(const std::string &directory);

// What an argument means: a number is a file type; anything with a slash is a path; any other word
// is a file in the directory, the catalogue's names with or without their ".log". Where no
// directory was given, a regular file of that name in the current one comes first, and whatever
// else has that name there comes last. Empty when the argument means no file.
[[nodiscard]] std::optional<log_file> file_meant_by(const std::string &argument,
                                                    const std::string &directory,
                                                    bool directory_given);

// Whether there is anything at the file's path, even a link to nothing.
[[nodiscard]] bool exists(const log_file &file);

// The directory in which a path lies, with a slash at its end; "." where the path does not say it.
[[nodiscard]] std::string directory_of(const std::string &path);

// The type by the catalogue, or 0.
[[nodiscard]] uint32_t type_of(const log_file &file);

// The capacity by the catalogue, or unknown_capacity.
[[nodiscard]] uint32_t capacity_of(const log_file &file);

// "offset 48: the checksum of the entry header does not hold".
[[nodiscard]] std::string damage_text(const ring_damage &damage);

}  // namespace vesk::shared
