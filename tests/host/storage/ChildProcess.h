#pragma once

#include <cstdio>
#include <exception>

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

/// What a child process ended with.
struct ChildEnd {
  /// The exit status, -1 where a signal ended it.
  int status;
  /// The signal, 0 where there was none.
  int signal;
};

/// Runs `work` in a child process, for what a process cannot take back (limits, users, signals). Its result is the
/// exit status; 99 where an exception leaves it.
template <class Work>
ChildEnd InChild(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    int status = 99;
    try {
      status = work();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "in the child: %s\n", error.what());
    }
    ::_exit(status);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0};
}

/// Gives up the rights of root, for which no file is read-only; to be called in a child.
inline void BecomeAnybody() {
  constexpr uid_t c_nobody = 65534;
  if (::getuid() == 0 &&
      (::setresgid(c_nobody, c_nobody, c_nobody) != 0 || ::setresuid(c_nobody, c_nobody, c_nobody) != 0)) {
    ::_exit(98);
  }
}
