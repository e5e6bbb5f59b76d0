#pragma once
// A loopback TCP server for peers that misbehave: each connection reads the request head
// (up to the blank line), then runs the test's script with the connection's socket, which
// writes whatever bytes the test wants and ends the connection as the test wants. For
// protocols where the server speaks first (gpsd greets its clients), start it with
// readsRequestHead false: the script then runs as soon as a connection is accepted.
//
//   RawSocketServer server;
//   server.start([&server](int fd) {
//     server.sendAll(fd, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly part");
//     server.resetConnection(fd);
//   });
//
// Use the object from one thread (the test's); scripts run on a thread per connection and
// use the helpers below on their own connection only. The server closes a connection the
// script left open when the script returns. stop() and the destructor stop accepting, shut
// down the connections still open (so a script blocked in waitForPeerClose returns) and
// wait for every script. Failures throw std::runtime_error.

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

class RawSocketServer {
 public:
  using Script = std::function<void(int fd)>;

  RawSocketServer() = default;
  ~RawSocketServer();
  RawSocketServer(const RawSocketServer&) = delete;
  RawSocketServer& operator=(const RawSocketServer&) = delete;

  //! Listens on 127.0.0.1 and an ephemeral port; every connection runs `script`.
  void start(Script script, bool readsRequestHead = true);
  void stop();

  int port() const { return port_; }
  //! "http://127.0.0.1:<port><path>".
  std::string url(std::string_view path) const;
  int acceptedConnections() const { return acceptedConnections_; }
  //! The request heads read so far, "\r\n\r\n" included, in the order they completed.
  std::vector<std::string> requestHeads() const;

  // For scripts.
  //! Writes all of `text`; false when the peer has gone.
  bool sendAll(int fd, std::string_view text);
  //! Closes so that the peer sees a reset (RST) rather than an orderly end.
  void resetConnection(int fd);
  //! Closes in order (FIN).
  void closeConnection(int fd);
  //! Reads and drops what the peer sends until it closes, or until the server stops.
  void waitForPeerClose(int fd);

 private:
  void acceptConnections();
  void serve(int fd);
  bool readRequestHead(int fd);
  void closeOnce(int fd);

  Script script_;
  bool readsRequestHead_ = true;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<int> acceptedConnections_{0};
  std::thread acceptThread_;
  mutable std::mutex mutex_;  // guards the members below
  std::set<int> openConnections_;
  std::vector<std::thread> connectionThreads_;
  std::vector<std::string> requestHeads_;
  bool stopping_ = false;
};
