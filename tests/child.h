// A process that runs a function of the test and ends; killed at the object's end if it still runs.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zenta {

class Child {
 public:
  // The exit status is what `fn` returns.
  template <class Fn>
  explicit Child(Fn fn) : id_(fork()) {
    if (id_ != 0) return;
    alarm(60);
    _exit(fn());
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { Kill(); }

  // Waits for its end. The exit status, or 128 and the signal that ended it.
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
