// The servers other tests stand on: enough to show each one serves what it promises.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Support/HttpTestServer.h"
#include "Support/NginxServer.h"
#include "Support/RawSocketServer.h"

namespace {

struct Exchange {
  std::string received;
  int error = 0;  // errno of the read that ended it; 0 for an orderly end
};

int connectAndSend(int port, const std::string& request) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(::send(fd, request.data(), request.size(), MSG_NOSIGNAL), static_cast<ssize_t>(request.size()));
  return fd;
}

// Reads until the connection ends, or until what was read ends with `until` (when given).
Exchange receive(int fd, const std::string& until = "") {
  Exchange result;
  char buffer[1024];
  while (until.empty() || !result.received.ends_with(until)) {
    const ssize_t received = ::recv(fd, buffer, sizeof buffer, 0);
    if (received <= 0) {
      result.error = received < 0 ? errno : 0;
      break;
    }
    result.received.append(buffer, static_cast<std::size_t>(received));
  }
  return result;
}

TEST(TestServersTest, NginxServesFilesCompressedOverHTTPAndHTTPS) {
  NginxServer nginx;
  const std::string json = "[" + std::string(1800, ' ') + "]";
  std::ofstream(nginx.docRoot() + "/data.json") << json;
  nginx.start();

  httplib::Client plain("127.0.0.1", nginx.httpPort());
  const auto compressed = plain.Get("/data.json", {{"Accept-Encoding", "gzip"}});
  ASSERT_TRUE(compressed) << compressed.error();
  EXPECT_EQ(compressed->status, 200);
  EXPECT_EQ(compressed->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(compressed->get_header_value("Content-Encoding"), "gzip");
  EXPECT_EQ(compressed->body, json);  // inflated by the client
  for (const auto& [path, status] : {std::pair{"/status/404", 404}, {"/status/204", 204}, {"/redirect", 302}}) {
    const auto response = plain.Get(path);
    ASSERT_TRUE(response) << path;
    EXPECT_EQ(response->status, status) << path;
  }

  httplib::SSLClient trusting("127.0.0.1", nginx.httpsPort());
  trusting.set_ca_cert_path(nginx.caFile());
  trusting.enable_server_certificate_verification(true);
  const auto secure = trusting.Get("/hello.txt");
  ASSERT_TRUE(secure) << secure.error();
  EXPECT_EQ(secure->body, "Hello, world!\n");

  httplib::SSLClient untrusting("127.0.0.1", nginx.httpsPort());
  untrusting.enable_server_certificate_verification(true);
  EXPECT_EQ(untrusting.Get("/hello.txt").error(), httplib::Error::SSLServerVerification);
}

TEST(TestServersTest, HttpTestServerRunsTheTestsHandlers) {
  HttpTestServer server;
  server.server().Post("/echo", [](const httplib::Request& request, httplib::Response& response) {
    response.set_content(request.body, "text/plain");
  });
  server.start();
  httplib::Client client("127.0.0.1", server.port());
  const auto response = client.Post("/echo", "ping", "text/plain");
  ASSERT_TRUE(response) << response.error();
  EXPECT_EQ(response->body, "ping");
  EXPECT_EQ(server.url("/echo"), "http://127.0.0.1:" + std::to_string(server.port()) + "/echo");
}

TEST(TestServersTest, RawSocketServerEndsConnectionsAsTheScriptSays) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n";
  const std::string request = "GET /raw HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
  struct Case {
    const char* name;
    void (RawSocketServer::*ending)(int);
    int error;
  };
  const Case cases[] = {{"close", &RawSocketServer::closeConnection, 0},
                        {"reset", &RawSocketServer::resetConnection, ECONNRESET}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    RawSocketServer server;
    server.start([&](int fd) {
      server.sendAll(fd, head + "partial");
      (server.*c.ending)(fd);
    });
    const int fd = connectAndSend(server.port(), request);
    const Exchange result = receive(fd);
    ::close(fd);
    EXPECT_EQ(result.error, c.error);
    // A reset may discard bytes the client had not read yet; an orderly close never does.
    if (c.error == 0) {
      EXPECT_EQ(result.received, head + "partial");
    }
    EXPECT_EQ(server.acceptedConnections(), 1);
    EXPECT_EQ(server.requestHeads(), std::vector<std::string>{request});
  }
}

TEST(TestServersTest, RawSocketServerStopsAStalledScript) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n";
  auto server = std::make_unique<RawSocketServer>();
  server->start([&head, raw = server.get()](int fd) {
    raw->sendAll(fd, head);
    raw->waitForPeerClose(fd);
  });
  const int fd = connectAndSend(server->port(), "GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(receive(fd, head).received, head);
  server.reset();  // the client never closes: stopping must end the stall
  const Exchange rest = receive(fd);
  ::close(fd);
  EXPECT_EQ(rest.error, 0);
  EXPECT_EQ(rest.received, "");
}

}  // namespace
