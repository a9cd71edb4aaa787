// Prints the thread's id on standard output, one process at a time: an example of how
// NamedSemaphore serializes the output of several processes.
#pragma once

#include <cstdint>

namespace tstl {

// The semaphore that print_thread_id() waits on. Create it with the count 1 to serialize the lines.
inline constexpr char kDiagnosticSemaphore[] = "test_semp_mkf_cmd_line20151130";

// Prints "ThreadID: ", the value of pthread_self() in decimal and a newline, between a wait and a
// post on the semaphore, or without these if it cannot be opened. Like every close of a
// NamedSemaphore, it unlinks NamedSemaphore::kLabel. The library does not call it: it is for a
// debugger's command line and for programs that link the library. Returns 0.
std::uint32_t print_thread_id() noexcept;

}  // namespace tstl
