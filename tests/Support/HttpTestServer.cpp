#include "Support/HttpTestServer.h"

#include <chrono>
#include <stdexcept>

namespace {

constexpr auto kReadyPollInterval = std::chrono::milliseconds(1);
constexpr auto kReadyTimeout = std::chrono::seconds(10);

}  // namespace

HttpTestServer::~HttpTestServer() { stop(); }

void HttpTestServer::start() {
  if (thread_.joinable()) throw std::logic_error("HttpTestServer: already started");
  port_ = server_.bind_to_any_port("127.0.0.1");
  if (port_ <= 0) throw std::runtime_error("HttpTestServer: cannot bind 127.0.0.1");
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  // httplib 0.11 has no wait_until_ready; stop() only takes effect once the server runs.
  const auto deadline = std::chrono::steady_clock::now() + kReadyTimeout;
  while (!server_.is_running()) {
    if (std::chrono::steady_clock::now() > deadline) {
      stop();
      throw std::runtime_error("HttpTestServer: the server did not start");
    }
    std::this_thread::sleep_for(kReadyPollInterval);
  }
}

void HttpTestServer::stop() {
  if (!thread_.joinable()) return;
  server_.stop();
  thread_.join();
}

std::string HttpTestServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}
