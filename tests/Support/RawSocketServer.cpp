#include "Support/RawSocketServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace {

constexpr int kListenBacklog = 64;
constexpr std::size_t kMaximumHeadSize = 64 * 1024;
constexpr std::string_view kEndOfHead = "\r\n\r\n";

}  // namespace

RawSocketServer::~RawSocketServer() { stop(); }

void RawSocketServer::start(Script script, bool readsRequestHead) {
  if (acceptThread_.joinable()) throw std::logic_error("RawSocketServer: already started");
  script_ = std::move(script);
  readsRequestHead_ = readsRequestHead;
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::listen(listener_, kListenBacklog) != 0 ||
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    if (listener_ >= 0) ::close(listener_);
    listener_ = -1;
    throw std::runtime_error("RawSocketServer: cannot listen on 127.0.0.1");
  }
  port_ = ntohs(address.sin_port);
  acceptThread_ = std::thread([this] { acceptConnections(); });
}

void RawSocketServer::stop() {
  if (!acceptThread_.joinable()) return;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    stopping_ = true;
  }
  ::shutdown(listener_, SHUT_RDWR);  // wakes the blocked accept
  acceptThread_.join();
  std::vector<std::thread> threads;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    // Wakes scripts blocked on their socket; the fds stay open until their thread closes them.
    for (int fd : openConnections_) ::shutdown(fd, SHUT_RDWR);
    threads.swap(connectionThreads_);
  }
  for (auto& thread : threads) thread.join();
  ::close(listener_);
  listener_ = -1;
}

std::string RawSocketServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

std::vector<std::string> RawSocketServer::requestHeads() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return requestHeads_;
}

void RawSocketServer::acceptConnections() {
  for (;;) {
    const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0 && errno == EINTR) continue;
    if (fd < 0) return;
    std::lock_guard<std::mutex> guard(mutex_);
    if (stopping_) {
      ::close(fd);
      return;
    }
    ++acceptedConnections_;
    openConnections_.insert(fd);
    connectionThreads_.emplace_back([this, fd] { serve(fd); });
  }
}

void RawSocketServer::serve(int fd) {
  if (!readsRequestHead_ || readRequestHead(fd)) script_(fd);
  closeOnce(fd);
}

// One byte at a time, so that a request body stays unread for the script.
bool RawSocketServer::readRequestHead(int fd) {
  std::string head;
  while (head.size() < kMaximumHeadSize) {
    char byte = 0;
    const ssize_t received = ::recv(fd, &byte, 1, 0);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return false;
    head += byte;
    if (head.ends_with(kEndOfHead)) {
      std::lock_guard<std::mutex> guard(mutex_);
      requestHeads_.push_back(std::move(head));
      return true;
    }
  }
  return false;
}

bool RawSocketServer::sendAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = ::send(fd, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

void RawSocketServer::resetConnection(int fd) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (openConnections_.erase(fd) == 0) return;
  // Lingering for zero seconds makes close() discard unsent data and send RST.
  const linger abort{1, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  ::close(fd);
}

void RawSocketServer::closeConnection(int fd) { closeOnce(fd); }

void RawSocketServer::waitForPeerClose(int fd) {
  char buffer[4096];
  for (;;) {
    const ssize_t received = ::recv(fd, buffer, sizeof buffer, 0);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return;
  }
}

// Under the lock, so that stop() never shuts down a number the system has handed out again.
void RawSocketServer::closeOnce(int fd) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (openConnections_.erase(fd) != 0) ::close(fd);
}
