#include "reader/vesk_ring_follow.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "format/vesk_checksum.h"
#include "format/vesk_format.h"
#include "reader/vesk_ring_image.h"

namespace vesk {

namespace {

static_assert(VESK_EHDR_SIZE == VESK_GHEADER_SIZE);

// How long a writer may take between the first byte of an entry and the header that counts it, a
// busy flash included.
constexpr std::chrono::seconds patience{3};

// The bytes of a header, as many as the file has.
std::vector<uint8_t> read_header(int fd, uint32_t offset) {
  std::vector<uint8_t> header(VESK_EHDR_SIZE);
  const ssize_t got = read_ring_bytes(fd, header, offset);
  header.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
  return header;
}

// A small ring that gave up all its entries for one that it then cannot reach either. It is in
// order again with the next one.
bool gave_up_all(ring_bytes bytes) {
  vesk_gheader header;
  if (bytes.size() < sizeof header) return false;
  std::memcpy(&header, bytes.data(), sizeof header);
  return checksum_holds(header) && header.start == header.end && header.start != VESK_GHEADER_SIZE;
}

// Whether the offset lies between the ring's start and its end, these included.
bool has_place(const ring_state &ring, uint32_t offset) {
  return ring.wrapped() ? offset >= ring.start || offset <= ring.end
                        : offset >= ring.start && offset <= ring.end;
}

bool is_broken(ring_walk walk) {
  while (next_entry(walk)) {
  }
  return walk.damage.has_value();
}

}  // namespace

ring_follower::ring_follower(std::string path, uint32_t capacity)
    : path_(std::move(path)), capacity_(capacity) {}

ring_follower::look ring_follower::look_again(clock::time_point now) {
  const unique_fd fd = open_ring(path_);
  if (!fd) return {.trouble = {errno_text(errno)}};
  if (!seen_ && !reported_) return read_all(fd.get(), news::anew);

  const std::vector<uint8_t> header = read_header(fd.get(), 0);
  if (gave_up_all(header)) return {};
  const ring_walk walk = begin_walk(header, capacity_);
  if (!walk.state) return wait_with(walk, now);
  if (seen_ && goes_on(fd.get(), *walk.state)) return read_added(fd.get(), *walk.state, now);
  const bool went_around = seen_ && walk.state->start != VESK_GHEADER_SIZE;
  return read_all(fd.get(), went_around ? news::lost : news::anew);
}

void ring_follower::went(const ring_walk &walk) {
  if (!walk.state) return;
  position_ = walk.state->end;
  last_stamp_ = walk.last_stamp;
  const bool has_entries = walk.state->start != walk.state->end;
  if (!walk.damage && has_entries) last_entry_ = walk.offset;
}

ring_follower::look ring_follower::read_all(int fd, news what) {
  last_entry_.reset();
  broken_since_.reset();
  if (failure why = read_ring_image(fd, capacity_, image_)) return {.trouble = std::move(why)};
  const ring_walk walk = begin_walk(image_, capacity_);
  seen_ = walk.state;
  reported_ = !seen_;
  return {what, walk};
}

ring_follower::look ring_follower::read_added(int fd, const ring_state &ring,
                                              clock::time_point now) {
  const bool around = ring.wrapped() && position_ >= ring.start;
  const bool whole =
      position_ == ring.end || (read_stretch(fd, position_, around ? ring.max : ring.end) &&
                                (!around || read_stretch(fd, VESK_GHEADER_SIZE, ring.end)));
  // What was read counts only where it was not overwritten meanwhile.
  const ring_walk again = begin_walk(read_header(fd, 0), capacity_);
  if (!whole || !again.state || !has_place(*again.state, position_)) {
    return {};
  }

  seen_ = ring;
  const ring_walk walk = resume_walk(image_, ring, position_, last_stamp_);
  if (is_broken(walk)) return wait_with(walk, now);
  broken_since_.reset();
  reported_ = false;
  return {walk.ended ? news::none : news::more, walk};
}

// Nothing yet, or the damage in `broken` when it has lasted for too long.
ring_follower::look ring_follower::wait_with(const ring_walk &broken, clock::time_point now) {
  if (!broken_since_) broken_since_ = now;
  if (reported_ || now - *broken_since_ < patience) return {};
  broken_since_.reset();
  reported_ = !broken.state;
  return {broken.state ? news::more : news::none, broken};
}

// Whether this is the ring that was seen, grown by less than a whole round: a header that was read
// then is still there, and so is the place where the last walk ended.
bool ring_follower::goes_on(int fd, const ring_state &ring) const {
  if (!has_place(ring, position_)) return false;
  if (seen_->start == seen_->end) return ring.start == seen_->start;
  return (last_entry_ && still_holds(fd, *last_entry_)) ||
         (has_place(*seen_, ring.start) && still_holds(fd, ring.start));
}

bool ring_follower::still_holds(int fd, uint32_t offset) const {
  if (size_t{offset} + VESK_EHDR_SIZE > image_.size()) return false;
  const ring_bytes seen = ring_bytes(image_).subspan(offset, VESK_EHDR_SIZE);
  const std::vector<uint8_t> header = read_header(fd, offset);
  return std::equal(header.begin(), header.end(), seen.begin(), seen.end());
}

// False where the file cannot be read; what lies beyond its end is left out of the image.
bool ring_follower::read_stretch(int fd, uint32_t begin, uint32_t end) {
  struct stat status;
  if (fstat(fd, &status) != 0 || status.st_size > static_cast<off_t>(ring_image_limit)) {
    return false;
  }
  image_.resize(static_cast<size_t>(status.st_size));
  if (begin >= image_.size()) return true;
  const std::span<uint8_t> stretch = std::span(image_).subspan(begin);
  return read_ring_bytes(fd, stretch.first(std::min<size_t>(stretch.size(), end - begin)), begin) >=
         0;
}

}  // namespace vesk
