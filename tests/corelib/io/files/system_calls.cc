#include "tests/corelib/io/files/system_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace tstl {

SystemCall opens, reads, writes, listings, closes;

namespace {

ssize_t Call(const SystemCall& call, std::size_t n, auto real) {
  const std::int64_t answer = call ? call(n) : static_cast<std::int64_t>(n);
  if (answer >= 0) return real(std::min(n, static_cast<std::size_t>(answer)));
  errno = static_cast<int>(-answer);
  return -1;
}

}  // namespace
}  // namespace tstl

extern "C" ssize_t write(int fd, const void* from, std::size_t size) {
  static const auto real = reinterpret_cast<decltype(&write)>(dlsym(RTLD_NEXT, "write"));
  return tstl::Call(tstl::writes, size, [=](std::size_t n) { return real(fd, from, n); });
}
extern "C" ssize_t read(int fd, void* to, std::size_t size) {
  static const auto real = reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"));
  return tstl::Call(tstl::reads, size, [=](std::size_t n) { return real(fd, to, n); });
}
extern "C" int openat(int folder, const char* path, int flags, ...) {
  static const auto real = reinterpret_cast<decltype(&openat)>(dlsym(RTLD_NEXT, "openat"));
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, unsigned);  // meaningless without O_CREAT
  va_end(arguments);
  return static_cast<int>(
      tstl::Call(tstl::opens, 0, [=](auto) { return real(folder, path, flags, mode); }));
}
extern "C" dirent* readdir(DIR* folder) {
  static const auto real = reinterpret_cast<decltype(&readdir)>(dlsym(RTLD_NEXT, "readdir"));
  if (tstl::Call(tstl::listings, 0, [](auto) { return 0; }) < 0) return nullptr;
  return real(folder);
}
// The real close runs even if the answer is an error, as on a real system.
extern "C" int close(int fd) {
  static const auto real = reinterpret_cast<decltype(&close)>(dlsym(RTLD_NEXT, "close"));
  const int result = real(fd);
  return static_cast<int>(tstl::Call(tstl::closes, 0, [=](auto) { return result; }));
}
extern "C" int fclose(std::FILE* file) {
  static const auto real = reinterpret_cast<decltype(&fclose)>(dlsym(RTLD_NEXT, "fclose"));
  const int result = real(file);
  return static_cast<int>(tstl::Call(tstl::closes, 0, [=](auto) { return result; }));
}
