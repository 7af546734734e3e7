// Texts that programs print, and their parts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vesk::test {

bool contains(std::string_view text, std::string_view part);

// The lines of a text, without their newlines.
std::vector<std::string> lines_of(const std::string &text);

}  // namespace vesk::test
