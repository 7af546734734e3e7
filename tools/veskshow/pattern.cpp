#include "tools/veskshow/pattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>
#include <cstdint>
#include <utility>

namespace vesk::veskshow {

namespace {

// What one search may take; a text of 64 KiB and a pattern with two stars come to less.
constexpr uint32_t most_steps = 1'000'000;
constexpr uint32_t most_heap_kib = 64 * 1024;
constexpr size_t jit_stack_least = 32 * 1024;
constexpr size_t jit_stack_most = 1024 * 1024;

// A pattern that takes too long for so many texts does so for all.
constexpr size_t most_given_up = 16;

PCRE2_SPTR units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.data());
}

std::string message_of(int error) {
  std::array<PCRE2_UCHAR, 256> buffer{};
  pcre2_get_error_message(error, buffer.data(), buffer.size());
  return reinterpret_cast<const char *>(buffer.data());
}

template <auto free_it>
struct freer {
  template <typename T>
  void operator()(T *object) const {
    free_it(object);
  }
};

using code = std::unique_ptr<pcre2_code, freer<pcre2_code_free>>;
using match_data = std::unique_ptr<pcre2_match_data, freer<pcre2_match_data_free>>;
using match_context = std::unique_ptr<pcre2_match_context, freer<pcre2_match_context_free>>;
using jit_stack = std::unique_ptr<pcre2_jit_stack, freer<pcre2_jit_stack_free>>;

failure compile_code(std::string_view pattern, uint32_t flags, code &ret_code) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  flags |= PCRE2_UTF | PCRE2_NEVER_BACKSLASH_C;
  ret_code.reset(pcre2_compile(units(pattern), pattern.size(), flags, &error, &offset, nullptr));
  if (ret_code) return {};
  return {message_of(error) + " at offset " + std::to_string(offset)};
}

// Without what follows each backslash: \S and \W are not written for the sake of their case.
std::string without_escapes(std::string_view pattern) {
  std::string rest;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '\\') {
      ++i;
    } else {
      rest += pattern[i];
    }
  }
  return rest;
}

bool has_upper_case(std::string_view pattern) {
  code upper;
  if (compile_code("\\p{Lu}", 0, upper)) return false;
  const match_data found(pcre2_match_data_create(1, nullptr));
  const std::string text = without_escapes(pattern);
  return pcre2_match(upper.get(), units(text), text.size(), 0, 0, found.get(), nullptr) >= 0;
}

}  // namespace

struct text_pattern::machine {
  code compiled;
  match_data found;
  match_context limits;
  jit_stack stack;
  size_t given_up = 0;
};

failure text_pattern::compile(std::string_view pattern, std::optional<text_pattern> &ret_pattern) {
  auto made = std::make_shared<machine>();
  const uint32_t flags = has_upper_case(pattern) ? 0 : PCRE2_CASELESS;
  if (failure why = compile_code(pattern, flags, made->compiled)) return why;
  // Where the system lets no program make machine code, patterns are interpreted.
  pcre2_jit_compile(made->compiled.get(), PCRE2_JIT_COMPLETE);
  made->found.reset(pcre2_match_data_create(1, nullptr));
  made->limits.reset(pcre2_match_context_create(nullptr));
  made->stack.reset(pcre2_jit_stack_create(jit_stack_least, jit_stack_most, nullptr));
  pcre2_set_match_limit(made->limits.get(), most_steps);
  pcre2_set_heap_limit(made->limits.get(), most_heap_kib);
  pcre2_jit_stack_assign(made->limits.get(), nullptr, made->stack.get());
  ret_pattern = text_pattern(std::move(made));
  return {};
}

bool text_pattern::matches(std::string_view text) const {
  if (machine_->given_up >= most_given_up) return false;
  const int result = pcre2_match(machine_->compiled.get(), units(text), text.size(), 0,
                                 PCRE2_NO_UTF_CHECK, machine_->found.get(), machine_->limits.get());
  if (result < 0 && result != PCRE2_ERROR_NOMATCH) ++machine_->given_up;
  return result >= 0;
}

bool text_pattern::gave_up() const {
  return machine_->given_up > 0;
}

}  // namespace vesk::veskshow
