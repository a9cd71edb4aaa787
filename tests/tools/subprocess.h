// Runs a program and captures its output.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zenta::tools {

struct Finished {
  int status = -1;  // exit status; 128 + signal if it was killed
  std::string out;
  std::string err;
  long peak_kilobytes = 0;  // of memory, resident
};

struct RunOptions {
  std::vector<std::pair<std::string, std::string>> environment = {};  // set on top of ours
  rlim_t max_file_bytes = RLIM_INFINITY;      // writing more to one file fails, as on a full disk
  const char* out = nullptr;                  // file for standard output, instead of Finished::out
  const char* err = nullptr;                  // the same for standard error
  std::function<void(pid_t)> meanwhile = {};  // called with the process id after the start
};

inline std::string ReadToEnd(int descriptor) {
  std::string text;
  char part[4096];
  for (ssize_t count; (count = read(descriptor, part, sizeof part)) > 0;)
    text.append(part, static_cast<std::size_t>(count));
  close(descriptor);
  return text;
}

// Runs the program to its end. Standard error must fit into a pipe (64 KiB), because it is read
// after standard output; while `meanwhile` runs nothing is read.
inline Finished RunProgram(std::vector<std::string> command, const RunOptions& options = {}) {
  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(options.out != nullptr ? open(options.out, O_WRONLY) : out[1], STDOUT_FILENO);
    dup2(options.err != nullptr ? open(options.err, O_WRONLY) : err[1], STDERR_FILENO);
    for (const int end : {out[0], out[1], err[0], err[1]}) close(end);
    for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
    const rlimit limit{options.max_file_bytes, options.max_file_bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
    std::vector<char*> arguments;
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  if (options.meanwhile) options.meanwhile(child);
  Finished finished{.out = ReadToEnd(out[0]), .err = ReadToEnd(err[0])};
  int status = 0;
  rusage used{};
  wait4(child, &status, 0, &used);
#ifdef __APPLE__
  finished.peak_kilobytes = used.ru_maxrss / 1024;
#else
  finished.peak_kilobytes = used.ru_maxrss;
#endif
  finished.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return finished;
}

}  // namespace zenta::tools
