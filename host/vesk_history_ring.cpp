#include "host/vesk_history_ring.h"

#include <algorithm>
#include <cstddef>

#include "format/vesk_ring.h"

namespace vesk {
namespace {

constexpr size_t max_text = 512;

// What stands in front of each text.
struct record_front {
  uint32_t order;
  vesk_wire_history head;
};
static_assert(sizeof(record_front) == sizeof(uint32_t) + sizeof(vesk_wire_history));

}  // namespace

uint32_t history_ring::place(uint32_t position) const {
  return position & (static_cast<uint32_t>(storage_.size()) - 1);
}

uint32_t history_ring::up_to_wrap(uint32_t position, size_t wanted) const {
  return static_cast<uint32_t>(std::min(wanted, storage_.size() - place(position)));
}

void history_ring::copy_in(uint32_t position, std::string_view bytes) {
  const uint32_t front = up_to_wrap(position, bytes.size());
  std::copy_n(bytes.data(), front, storage_.data() + place(position));
  std::copy_n(bytes.data() + front, bytes.size() - front, storage_.data());
}

void history_ring::copy_out(uint32_t position, std::span<char> bytes) const {
  const uint32_t front = up_to_wrap(position, bytes.size());
  std::copy_n(storage_.data() + place(position), front, bytes.data());
  std::copy_n(storage_.data(), bytes.size() - front, bytes.data() + front);
}

uint32_t history_ring::order_at(uint32_t position) const {
  uint32_t order = 0;
  copy_out(position, {reinterpret_cast<char *>(&order), sizeof order});
  return order;
}

uint32_t history_ring::record_size(uint32_t position) const {
  record_front front;
  copy_out(position, {reinterpret_cast<char *>(&front), sizeof front});
  return static_cast<uint32_t>(sizeof front.head) + padded(front.head.length);
}

uint32_t history_ring::next(uint32_t position) const {
  return position + static_cast<uint32_t>(offsetof(record_front, head)) + record_size(position);
}

void history_ring::read_out(uint32_t position, std::span<char> record) const {
  copy_out(position + static_cast<uint32_t>(offsetof(record_front, head)), record);
}

void history_ring::append(uint32_t order, vesk_wire_history head, std::string_view text) {
  text = text.substr(0, max_text);
  head.length = static_cast<uint16_t>(text.size());
  const record_front front = {order, head};
  const uint32_t size = static_cast<uint32_t>(sizeof front) + padded(head.length);
  const uint32_t position = head_.load();
  while (position + size - tail_.load() > storage_.size()) tail_.store(next(tail_.load()));

  constexpr char zeros[3] = {};
  const uint32_t text_at = position + static_cast<uint32_t>(sizeof front);
  copy_in(position, {reinterpret_cast<const char *>(&front), sizeof front});
  copy_in(text_at, text);
  copy_in(text_at + head.length, {zeros, padded(head.length) - head.length});
  head_.store(position + size);
}

}  // namespace vesk
