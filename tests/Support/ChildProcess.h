#pragma once
// Programs that test fixtures run as children (nginx, openssl, dbus-daemon,
// gnome-keyring-daemon): each in a process group of its own, so that stopping it ends
// everything it started, and killed with the thread that started it, so that a crashed test
// leaves nothing running. Failures throw std::runtime_error.

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

class ChildProcess {
 public:
  //! The program's path: the first executable of `firstChoices`, then of PATH.
  static std::string findExecutable(const std::string& name, const std::vector<std::string>& firstChoices = {});
  //! Starts `arguments` (the program's path first) with standard output and error appended
  //! to `outputPath` and standard input from `input` (/dev/null when negative).
  static pid_t spawn(const std::vector<std::string>& arguments, const std::string& outputPath, int input = -1);
  //! Waits for `pid` to exit; its wait status.
  static int waitForExit(pid_t pid);
  //! Whether `pid` has exited (and is reaped).
  static bool hasExited(pid_t pid);
  //! Sends `signal` to `pid`, waits up to `grace` for it to exit, then kills its process
  //! group; `pid` becomes -1. Does nothing when `pid` is not positive.
  static void stop(pid_t& pid, int signal, std::chrono::milliseconds grace);
};
