#include "Support/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(10);
constexpr int kExecFailed = 127;
constexpr mode_t kOutputMode = 0600;

}  // namespace

// nginx lives in /usr/sbin, which is not on every PATH.
std::string ChildProcess::findExecutable(const std::string& name, const std::vector<std::string>& firstChoices) {
  std::vector<std::string> candidates = firstChoices;
  std::istringstream path(std::getenv("PATH") ? std::getenv("PATH") : "");
  for (std::string directory; std::getline(path, directory, ':');) {
    if (!directory.empty()) candidates.push_back(directory + "/" + name);
  }
  for (const auto& candidate : candidates) {
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  throw std::runtime_error(name + " is not installed (scripts/install-deps.sh)");
}

pid_t ChildProcess::spawn(const std::vector<std::string>& arguments, const std::string& outputPath, int input) {
  std::vector<char*> argv;
  for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const pid_t parent = ::getpid();
  const pid_t pid = ::fork();
  if (pid < 0) throw std::runtime_error("cannot fork to run " + arguments[0]);
  if (pid > 0) return pid;
  // The child of a threaded process: only async-signal-safe calls until exec.
  const int output = ::open(outputPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, kOutputMode);
  const int in = input >= 0 ? input : ::open("/dev/null", O_RDONLY);
  if (output < 0 || in < 0) ::_exit(kExecFailed);
  ::dup2(in, STDIN_FILENO);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(kExecFailed);  // the parent died before prctl
  ::execv(argv[0], argv.data());
  ::_exit(kExecFailed);
}

int ChildProcess::waitForExit(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

bool ChildProcess::hasExited(pid_t pid) {
  int status = 0;
  return ::waitpid(pid, &status, WNOHANG) == pid;
}

void ChildProcess::stop(pid_t& pid, int signal, std::chrono::milliseconds grace) {
  if (pid <= 0) return;
  ::kill(pid, signal);
  const auto deadline = std::chrono::steady_clock::now() + grace;
  int status = 0;
  while (::waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(-pid, SIGKILL);  // the whole group
      waitForExit(pid);
      break;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  pid = -1;
}
