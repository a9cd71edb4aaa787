#include "corelib/io/files/buffer_write.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "corelib/io/files/descriptor.h"

namespace tstl {

template <class Storage>
unsigned BufferWriteBase<Storage>::open(const char* path, bool append) noexcept {
  close();
  error_ = path == nullptr ? EINVAL : 0;
  if (path == nullptr || !reserve()) return FAILURE;
  const int fd = detail::open_file(path, O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC));
  file_ = fd < 0 ? nullptr : ::fdopen(fd, append ? "ab" : "wb");
  if (file_ == nullptr) {
    error_ = errno;
    (void)detail::close_file(fd);
    close();
    return FAILURE;
  }
  (void)std::setvbuf(file_, nullptr, _IONBF, 0);
  if (sizeof(T) == 2 && !(append && file_size() != 0)) write_chr(static_cast<T>(0xFEFF));
  return 0;
}

template <class Storage>
bool BufferWriteBase<Storage>::reserve() noexcept {
  if (block_.recapacity(kBlock + kMargin)) return true;
  fail(ENOMEM);
  return false;
}

// For more elements than the margin, or the first ones after the block was freed.
template <class Storage>
BufferWriteBase<Storage>& BufferWriteBase<Storage>::write_long(View data) noexcept {
  if (data.is_empty() || !has_block()) return *this;
  const unsigned head = std::min(data.len(), kBlock - block_.len());
  block_.end_at(copy(block_.place(), data.sub_head(head)));
  data = data.sub_tail(head);
  if (data.is_empty()) return *this;
  put(block_.str(), kBlock);
  const unsigned direct = data.len() / kBlock * kBlock;
  put(data.cstr(), direct);
  // `data` may lie in the block, which was not written to up to here; so memmove.
  data = data.sub_tail(direct);
  std::memmove(block_.str(), data.cstr(), data.len() * sizeof(T));
  block_.end_at(block_.str(data.len()));
  return *this;
}

// For parts that may exceed the margin, or the first ones after the block was freed.
template <class Storage>
[[gnu::noinline]] BufferWriteBase<Storage>& BufferWriteBase<Storage>::write_long_pair(
    View key, T separator, std::uint64_t value, bool crlf) noexcept {
  return write(key).write_chr(separator).write_num(value).write_line_end(crlf);
}

// Writes the first block of what is pending, and moves the rest to the front. Not inlined, because
// it is the cold path of every short write.
template <class Storage>
[[gnu::noinline]] void BufferWriteBase<Storage>::spill() noexcept {
  put(block_.str(), kBlock);
  const unsigned rest = block_.len() - kBlock;
  std::memcpy(block_.str(), block_.str(kBlock), rest * sizeof(T));
  block_.end_at(block_.str(rest));
}

// Passes elements to the system. It writes to the descriptor, because a C library may split what
// goes to an unbuffered stream into small pieces.
template <class Storage>
void BufferWriteBase<Storage>::put(const T* from, std::uint64_t n) noexcept {
  written_ += n;
  if (n == 0 || file_ == nullptr || error_ != 0) return;
  error_ = detail::write_all(::fileno(file_), from, n * sizeof(T));
}

template <class Storage>
void BufferWriteBase<Storage>::force_flush() noexcept {
  put(block_.cstr(), block_.len());
  block_.reset();
  if (file_ != nullptr && std::fflush(file_) != 0) fail(errno);
}

template <class Storage>
void BufferWriteBase<Storage>::close() noexcept {
  put(block_.cstr(), block_.len());
  if (file_ != nullptr && std::fclose(file_) != 0) fail(errno);
  file_ = nullptr;
  block_.reset();
  written_ = 0;
}

template <class Storage>
std::uint64_t BufferWriteBase<Storage>::file_size() const noexcept {
  struct stat info;
  const bool known = file_ != nullptr && ::fstat(::fileno(file_), &info) == 0;
  return (known ? static_cast<std::uint64_t>(info.st_size) : 0) + block_.len() * sizeof(T);
}

template class BufferWriteBase<Buffer<unsigned char>>;
template class BufferWriteBase<Buffer<unsigned short>>;

}  // namespace tstl
