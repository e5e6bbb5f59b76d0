#include "Support/NginxServer.h"

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Support/ChildProcess.h"

namespace {

constexpr int kStartAttempts = 4;  // new ports each time another process took ours
constexpr auto kStartTimeout = std::chrono::seconds(10);
constexpr auto kStopGrace = std::chrono::seconds(5);
constexpr auto kPollInterval = std::chrono::milliseconds(10);
constexpr std::string_view kCertificateDays = "2";  // made for one run
constexpr std::string_view kPortTakenMessage = "Address already in use";
constexpr std::string_view kDefaultDocument = "Hello, world!\n";

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void writeFile(const std::string& path, std::string_view text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  if (!file) throw std::runtime_error("NginxServer: cannot write " + path);
}

void run(const std::vector<std::string>& arguments, const std::string& logPath) {
  const int status = ChildProcess::waitForExit(ChildProcess::spawn(arguments, logPath));
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  throw std::runtime_error("NginxServer: " + arguments[0] + " " + arguments[1] + " failed:\n" + readFile(logPath));
}

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

bool acceptsConnections(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  const bool connected = fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (fd >= 0) ::close(fd);
  return connected;
}

// A socket bound to a port the system chose; the caller closes it once all ports are picked,
// so that two picks never give the same port.
int bindEphemeral(int& port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("NginxServer: cannot pick a port on 127.0.0.1");
  }
  port = ntohs(address.sin_port);
  return fd;
}

// Certificate extensions for the authority and the server, and a subject without prompts.
constexpr std::string_view kOpenSSLConfiguration = R"([req]
distinguished_name = subject
prompt = no
[subject]
CN = OvrinCore test server
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[server]
basicConstraints = critical, CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = serverAuth
subjectAltName = IP:127.0.0.1, DNS:localhost
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
)";

// Running as root, nginx would hand its workers to "nobody", who cannot read the private
// temporary directory; keep them as the user running the tests.
std::string userDirective() {
  if (::geteuid() != 0) return "";
  const passwd* user = ::getpwuid(::geteuid());
  const group* userGroup = ::getgrgid(::getegid());
  if (!user || !userGroup) return "";
  return std::string("user ") + user->pw_name + " " + userGroup->gr_name + ";\n";
}

}  // namespace

NginxServer::NginxServer(Options options) : options_(options), directory_("ovrin-nginx") {
  std::filesystem::create_directory(docRoot());
  writeFile(docRoot() + "/hello.txt", kDefaultDocument);
}

NginxServer::~NginxServer() { stop(); }

void NginxServer::start() {
  if (pid_ > 0) throw std::logic_error("NginxServer: already started");
  if (options_.tls) makeCertificates();
  for (int attempt = 1;; ++attempt) {
    pickPorts();
    writeConfiguration();
    if (launch() == Launch::Ready) return;
    if (attempt == kStartAttempts) {
      throw std::runtime_error("NginxServer: ports kept being taken; error log:\n" + errorLog());
    }
  }
}

void NginxServer::stop() {
  ChildProcess::stop(pid_, SIGQUIT, kStopGrace);  // finish the requests in progress, then exit
}

std::string NginxServer::httpURL(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(httpPort_) + std::string(path);
}

std::string NginxServer::httpsURL(std::string_view path) const {
  if (!options_.tls) throw std::logic_error("NginxServer: started without TLS");
  return "https://127.0.0.1:" + std::to_string(httpsPort_) + std::string(path);
}

std::string NginxServer::errorLog() const { return readFile(directory_.path() + "/error.log"); }

std::vector<std::string> NginxServer::accessLog(std::size_t atLeast) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  for (;;) {
    std::vector<std::string> lines;
    std::istringstream log(readFile(directory_.path() + "/access.log"));
    for (std::string line; std::getline(log, line);) lines.push_back(line);
    if (lines.size() >= atLeast || std::chrono::steady_clock::now() > deadline) return lines;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

void NginxServer::makeCertificates() const {
  const std::string dir = directory_.path();
  const std::string openssl = ChildProcess::findExecutable("openssl");
  const std::string config = dir + "/openssl.cnf";
  const std::string log = dir + "/openssl.log";
  writeFile(config, kOpenSSLConfiguration);
  const std::vector<std::string> newKey{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"};
  std::vector<std::string> authority{openssl, "req", "-x509", "-config", config, "-extensions", "authority"};
  authority.insert(authority.end(), newKey.begin(), newKey.end());
  authority.insert(authority.end(), {"-subj", "/CN=OvrinCore test authority", "-days", std::string(kCertificateDays),
                                     "-keyout", dir + "/ca.key", "-out", caFile()});
  run(authority, log);
  std::vector<std::string> request{openssl, "req", "-new", "-config", config};
  request.insert(request.end(), newKey.begin(), newKey.end());
  request.insert(request.end(),
                 {"-subj", "/CN=localhost", "-keyout", dir + "/server.key", "-out", dir + "/server.csr"});
  run(request, log);
  const std::string serial = std::to_string(std::random_device()() | 1u);
  run({openssl, "x509", "-req", "-in", dir + "/server.csr", "-CA", caFile(), "-CAkey", dir + "/ca.key", "-set_serial",
       serial, "-days", std::string(kCertificateDays), "-extfile", config, "-extensions", "server", "-out",
       dir + "/server.pem"},
      log);
}

void NginxServer::pickPorts() {
  const int http = bindEphemeral(httpPort_);
  const int https = options_.tls ? bindEphemeral(httpsPort_) : -1;
  ::close(http);
  if (https >= 0) ::close(https);
}

void NginxServer::writeConfiguration() const {
  const std::string dir = directory_.path();
  std::ostringstream conf;
  // One worker runs as a single process, which dies with the thread that started it; a
  // master's workers would outlive a killed test.
  const bool master = options_.workerProcesses > 1;
  conf << (master ? userDirective() : "") << "daemon off;\nmaster_process " << (master ? "on" : "off")
       << ";\nworker_processes " << options_.workerProcesses << ";\npid " << dir << "/nginx.pid;\nlock_file " << dir
       << "/nginx.lock;\nerror_log " << dir << "/error.log warn;\nevents { worker_connections 1024; }\nhttp {\n";
  if (options_.accessLog) {
    conf << "  log_format counted '$request_method $uri $status';\n  access_log " << dir << "/access.log counted;\n";
  } else {
    conf << "  access_log off;\n";
  }
  // Temporary files inside our directory, so nginx never needs /var/lib/nginx or root.
  for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
    conf << "  " << kind << "_temp_path " << dir << "/" << kind << "_temp;\n";
  }
  conf << "  keepalive_timeout 65;\n  keepalive_requests 1000000;\n"
       << "  gzip on;\n  gzip_types application/json text/plain;\n  gzip_min_length 256;\n  gzip_comp_level 1;\n"
       << "  default_type application/octet-stream;\n"
       << "  types { application/json json; text/plain txt; image/png png; }\n"
       << "  server {\n    listen 127.0.0.1:" << httpPort_ << ";\n";
  if (options_.tls) {
    conf << "    listen 127.0.0.1:" << httpsPort_ << " ssl http2;\n    ssl_certificate " << dir
         << "/server.pem;\n    ssl_certificate_key " << dir << "/server.key;\n";
  }
  conf << "    root " << docRoot() << ";\n    location = /redirect { return 302 /hello.txt; }\n"
       << "    location = /redirect-loop { return 302 /redirect-loop; }\n"
       << "    location = /connection { default_type text/plain; return 200 \"$connection\"; }\n"
       << "    location /cache/fresh/ { expires 1h; }\n"
       << "    location /cache/check/ { add_header Cache-Control no-cache; }\n";
  for (int code : kStatusCodes) conf << "    location = /status/" << code << " { return " << code << "; }\n";
  conf << "  }\n}\n";
  writeFile(dir + "/nginx.conf", conf.str());
}

// nginx writes its pid file after it has bound both ports, so a port that accepts while the
// file is missing belongs to someone else.
NginxServer::Launch NginxServer::launch() {
  const std::string dir = directory_.path();
  std::filesystem::remove(dir + "/nginx.pid");
  std::filesystem::remove(dir + "/error.log");  // a previous attempt's port message would mislead
  pid_ = ChildProcess::spawn({ChildProcess::findExecutable("nginx", {"/usr/sbin/nginx"}), "-p", dir + "/", "-c",
                              dir + "/nginx.conf", "-e", dir + "/error.log"},
                             dir + "/nginx.out");
  const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
  while (std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      if (errorLog().find(kPortTakenMessage) != std::string::npos) return Launch::PortTaken;
      throw std::runtime_error("NginxServer: nginx exited; error log:\n" + errorLog() + readFile(dir + "/nginx.out"));
    }
    if (std::filesystem::exists(dir + "/nginx.pid") && acceptsConnections(httpPort_) &&
        (!options_.tls || acceptsConnections(httpsPort_))) {
      return Launch::Ready;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  stop();
  throw std::runtime_error("NginxServer: nginx did not accept connections on 127.0.0.1:" + std::to_string(httpPort_) +
                           " within " + std::to_string(kStartTimeout.count()) + " s; error log:\n" + errorLog());
}
