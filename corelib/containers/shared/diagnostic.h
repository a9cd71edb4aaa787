// A line on standard output that tells which thread speaks, one process at a time: it shows how
// NamedSemaphore serialises what several processes write to one place.
#pragma once

#include <cstdint>

namespace tstl {

// The semaphore that is waited on. Whoever wants the lines in turns creates it, with the count 1.
inline constexpr char kDiagnosticSemaphore[] = "test_semp_mkf_cmd_line20151130";

// Prints "ThreadID: ", the value of pthread_self() in decimal digits and a newline, between a wait
// and a post on the semaphore; without either when it cannot be opened. Like every close of a
// NamedSemaphore, its end unlinks NamedSemaphore::kLabel. Nothing calls it: it is for a debugger's
// command line and for programs that link the library. Returns 0.
std::uint32_t print_thread_id() noexcept;

}  // namespace tstl
