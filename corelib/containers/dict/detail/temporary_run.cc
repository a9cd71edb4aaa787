#include "corelib/containers/dict/detail/temporary_run.h"

#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>

#include "corelib/io/files/unnamed_file.h"

namespace tstl::detail {

TemporaryRun& TemporaryRun::operator=(TemporaryRun&& other) noexcept {
  if (this == &other) return *this;
  reset();
  fd_ = std::exchange(other.fd_, -1);
  error_ = std::exchange(other.error_, 0);
  start_ = std::exchange(other.start_, 0);
  end_ = std::exchange(other.end_, 0);
  is_writing_ = std::exchange(other.is_writing_, false);
  bytes_ = std::move(other.bytes_);
  return *this;
}

void TemporaryRun::reset() {
  (void)close_file(std::exchange(fd_, -1));
  bytes_.reset();
  error_ = 0;
  start_ = end_ = 0;
  is_writing_ = false;
}

int TemporaryRun::create(const char* folder) {
  reset();
  fd_ = open_unnamed_file(folder);
  is_writing_ = true;
  return error_ = fd_ < 0 ? errno : 0;
}

int TemporaryRun::append(const void* bytes, std::uint64_t n) {
  assert(is_writing_ && n <= kMostAtOnce);
  if (end_ + n > kBuffer) flush();
  if (error_ == 0 && !bytes_.recapacity(kBuffer)) error_ = ENOMEM;
  if (error_ != 0) return error_;
  std::memcpy(bytes_.str(end_), bytes, n);
  end_ += static_cast<std::uint32_t>(n);
  return 0;
}

int TemporaryRun::flush() {
  if (error_ == 0) error_ = write_all(fd_, bytes_.cstr(), end_);
  end_ = 0;
  return error_;
}

int TemporaryRun::rewind() {
  if (is_writing_) flush();
  is_writing_ = false;
  start_ = end_ = 0;
  if (error_ == 0 && ::lseek(fd_, 0, SEEK_SET) < 0) error_ = errno;
  return error_;
}

bool TemporaryRun::fill(std::uint64_t n) {
  assert(!is_writing_ && n <= kMostAtOnce);
  if (error_ == 0 && !bytes_.recapacity(kBuffer)) error_ = ENOMEM;
  if (error_ != 0) return false;
  std::memmove(bytes_.str(), bytes_.cstr(start_), end_ - start_);
  end_ -= std::exchange(start_, 0);
  const std::int64_t got = read_up_to(fd_, bytes_.str(end_), kBuffer - end_);
  if (got < 0) error_ = errno;
  if (got > 0) end_ += static_cast<std::uint32_t>(got);
  return n <= end_;
}

int TemporaryRun::read_at(std::uint64_t offset, void* to, std::uint64_t n) {
  if (::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) < 0) return errno;
  const std::int64_t got = read_up_to(fd_, to, n);
  if (got < 0) return errno;
  return static_cast<std::uint64_t>(got) == n ? 0 : EIO;
}

int TemporaryRun::write_at(std::uint64_t offset, const void* from, std::uint64_t n) {
  if (::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) < 0) return errno;
  return write_all(fd_, from, n);
}

}  // namespace tstl::detail
