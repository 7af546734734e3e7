#include "tools/shared/files.h"

#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "tools/shared/text.h"

namespace vesk::shared {

namespace {

const vesk_catalogue_row *row_named(std::string_view name) {
  const auto row = std::find_if(vesk_file_catalogue.begin(), vesk_file_catalogue.end(),
                                [&](const auto &r) { return r.name == name; });
  return row == vesk_file_catalogue.end() ? nullptr : &*row;
}

bool exists(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

bool is_regular_file(const std::string &path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string in_directory(const std::string &directory, std::string_view name) {
  std::string path = directory;
  if (!path.empty() && !path.ends_with('/')) path += '/';
  return path += name;
}

log_file file_at(const std::string &path) {
  return {path, path, row_named(std::string_view(path).substr(path.rfind('/') + 1))};
}

log_file file_of(const vesk_catalogue_row &row, const std::string &directory) {
  return {in_directory(directory, row.name), row.name, &row};
}

}  // namespace

std::vector<log_file> possible_files(const std::string &directory) {
  std::vector<log_file> files;
  for (const auto &row : vesk_file_catalogue) files.push_back(file_of(row, directory));
  std::sort(files.begin(), files.end(), [](const log_file &a, const log_file &b) {
    return a.row->file_type() < b.row->file_type();
  });
  return files;
}

std::vector<log_file> files_in(const std::string &directory) {
  std::vector<log_file> files = possible_files(directory);
  std::erase_if(files, [](const log_file &file) { return !exists(file); });
  return files;
}

std::optional<log_file> file_meant_by(const std::string &argument, const std::string &directory,
                                      bool directory_given) {
  if (is_digits(argument)) {
    const auto type = number_in<uint32_t>(argument);
    const vesk_catalogue_row *row = type ? find_file(*type) : nullptr;
    return row ? std::optional(file_of(*row, directory)) : std::nullopt;
  }
  if (argument.find('/') != std::string::npos) return file_at(argument);
  if (!directory_given && is_regular_file(argument)) return file_at(argument);
  for (const std::string &name : {argument, argument + ".log"}) {
    if (const vesk_catalogue_row *row = row_named(name)) return file_of(*row, directory);
  }
  if (!directory_given) return exists(argument) ? std::optional(file_at(argument)) : std::nullopt;
  return log_file{in_directory(directory, argument), argument, nullptr};
}

bool exists(const log_file &file) {
  return exists(file.path);
}

std::string directory_of(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

uint32_t type_of(const log_file &file) {
  return file.row ? file.row->file_type() : 0;
}

uint32_t capacity_of(const log_file &file) {
  return file.row ? file.row->max_size : unknown_capacity;
}

std::string damage_text(const ring_damage &damage) {
  return "offset " + std::to_string(damage.offset) + ": " + damage.reason;
}

}  // namespace vesk::shared
