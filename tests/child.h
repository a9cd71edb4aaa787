// A child process that runs a function. The destructor kills it if it still runs.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zenta {

class Child {
 public:
  // Forks and calls `fn`, whose result is the exit status. SIGALRM ends the child after 60 seconds.
  template <class Fn>
  explicit Child(Fn fn) : id_(fork()) {
    if (id_ != 0) return;
    alarm(60);
    _exit(fn());
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { Kill(); }

  // Waits for the end. Returns the exit status, or 128 plus the signal that ended the child.
  int Wait() {
    int status = 0;
    waitpid(id_, &status, 0);
    id_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  void Kill() {
    if (id_ <= 0) return;
    kill(id_, SIGKILL);
    Wait();
  }

 private:
  pid_t id_;
};

}  // namespace zenta
