#include "Support/GpsdDaemon.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pty.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Support/ChildProcess.h"

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  return address;
}

// A port nobody listens on: bound to 0, read back, released for gpsd.
int freePort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                     ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
  ::close(fd);
  if (!bound) throw std::runtime_error("GpsdDaemon: no free port on 127.0.0.1");
  return ntohs(address.sin_port);
}

bool acceptsConnections(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  const bool connected = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(fd);
  return connected;
}

}  // namespace

GpsdDaemon::GpsdDaemon() : directory_("ovrin-gpsd"), port_(freePort()) {
  termios raw{};
  ::cfmakeraw(&raw);
  char name[256] = {};
  if (::openpty(&master_, &slave_, name, &raw, nullptr) != 0) throw std::runtime_error("GpsdDaemon: no terminal");
  devicePath_ = name;
  ::fcntl(master_, F_SETFL, O_NONBLOCK);
  ::fcntl(master_, F_SETFD, FD_CLOEXEC);
  ::fcntl(slave_, F_SETFD, FD_CLOEXEC);
  // gpsd may run as another user (see start): it opens the device and makes its socket here.
  ::fchmod(slave_, 0666);
  std::filesystem::permissions(directory_.path(), std::filesystem::perms::all | std::filesystem::perms::sticky_bit);
}

GpsdDaemon::~GpsdDaemon() {
  stop();
  ::close(master_);
  ::close(slave_);
}

void GpsdDaemon::start() {
  const std::string control = directory_.path() + "/control.sock";
  std::filesystem::remove(control);  // left behind by a killed gpsd
  std::vector<std::string> command{ChildProcess::findExecutable("gpsd", {"/usr/sbin/gpsd"}),
                                   "-N",
                                   "-n",
                                   "-b",
                                   "-S",
                                   std::to_string(port_),
                                   "-F",
                                   control,
                                   devicePath_};
  // Started as root, gpsd gives up its privileges, and with them the signal that ends it
  // with the test; started as nobody, it keeps the signal, which setpriv arms again.
  if (::geteuid() == 0) {
    command.insert(command.begin(), {ChildProcess::findExecutable("setpriv"), "--reuid=nobody", "--regid=nogroup",
                                     "--clear-groups", "--pdeathsig=KILL"});
  }
  pid_ = ChildProcess::spawn(command, directory_.path() + "/gpsd.log");
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!acceptsConnections(port_)) {
    if (ChildProcess::hasExited(pid_) || std::chrono::steady_clock::now() > deadline) {
      stop(SIGKILL);
      throw std::runtime_error("GpsdDaemon: gpsd did not start; its log:\n" + log());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void GpsdDaemon::stop(int signal) { ChildProcess::stop(pid_, signal, std::chrono::seconds(5)); }

void GpsdDaemon::writeNMEA(std::string_view sentence) {
  unsigned checksum = 0;
  for (const char character : sentence.substr(1)) checksum ^= static_cast<unsigned char>(character);
  char end[8];
  std::snprintf(end, sizeof end, "*%02X\r\n", checksum);
  const std::string line = std::string(sentence) + end;
  if (::write(master_, line.data(), line.size()) < 0 && errno != EAGAIN) throw std::runtime_error("GpsdDaemon: write");
}

std::string GpsdDaemon::log() const {
  std::ostringstream text;
  text << std::ifstream(directory_.path() + "/gpsd.log").rdbuf();
  return text.str();
}
