#include "Platform/Location/detail/OVNGpsdConnection.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>

namespace ovn::detail {

namespace {

using Clock = std::chrono::steady_clock;

// gpsd greets every client with VERSION at once; a peer that stays silent this long is not it.
constexpr auto kGreetingTimeout = std::chrono::seconds(5);
constexpr auto kConnectTimeout = std::chrono::seconds(10);
constexpr int kConnectSliceMilliseconds = 100;  // how often a connection being made checks for stop
// Larger than the longest line libgps accepts, so a report is never cut short here.
constexpr std::size_t kMessageCapacity = 16 * 1024;
constexpr std::size_t kExcerptLength = 40;

std::string systemMessage(int error) { return std::generic_category().message(error); }

// One connection attempt to one address, without blocking longer than a slice: 0 when
// it connected, else an errno value (ECANCELED when cancelled).
int connectOnce(const addrinfo& address, const std::function<bool()>& cancelled) {
  const int fd = ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
  if (fd < 0) return errno;
  const struct Closer {
    int fd;
    ~Closer() { ::close(fd); }
  } closer{fd};
  if (::connect(fd, address.ai_addr, address.ai_addrlen) == 0) return 0;
  if (errno != EINPROGRESS) return errno;
  const auto deadline = Clock::now() + kConnectTimeout;
  for (;;) {
    if (cancelled()) return ECANCELED;
    pollfd waiting{fd, POLLOUT, 0};
    const int ready = ::poll(&waiting, 1, kConnectSliceMilliseconds);
    if (ready < 0 && errno != EINTR) return errno;
    if (ready > 0) {
      int error = 0;
      socklen_t length = sizeof error;
      ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
      return error;
    }
    if (Clock::now() > deadline) return ETIMEDOUT;
  }
}

// libgps reports an unreachable daemon with a bare "can't connect" code and cannot be
// interrupted while it connects. Connecting here first gives the system's reason, can be
// abandoned when the provider stops, and tells libgps which of the host's addresses answered
// (libgps does not try the others). The test connection is closed at once.
bool findAddress(const std::string& host, const std::string& port, const std::function<bool()>& cancelled,
                 std::string& address, std::string& reason) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (const int status = ::getaddrinfo(host.c_str(), port.c_str(), &hints, &found); status != 0) {
    reason = ::gai_strerror(status);
    return false;
  }
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(found, ::freeaddrinfo);
  int error = EHOSTUNREACH;
  for (const addrinfo* candidate = found; candidate; candidate = candidate->ai_next) {
    error = connectOnce(*candidate, cancelled);
    if (error == ECANCELED) break;
    if (error != 0) continue;
    char text[NI_MAXHOST] = {};
    if (::getnameinfo(candidate->ai_addr, candidate->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) != 0) {
      continue;
    }
    address = text;
    return true;
  }
  reason = systemMessage(error);
  return false;
}

std::string_view trimmed(std::string_view line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == '\n' || line.back() == ' ')) line.remove_suffix(1);
  return line;
}

// Every line gpsd sends is one JSON object with a class member; libgps quietly skips
// anything else, so the check is made here.
bool isReport(std::string_view line) {
  return line.size() >= 2 && line.front() == '{' && line.back() == '}' && line.find("\"class\"") != line.npos;
}

// The start of an unexpected line, printable, for an error message.
std::string excerpt(std::string_view line) {
  std::string text(line.substr(0, kExcerptLength));
  for (char& character : text) {
    if (static_cast<unsigned char>(character) < 0x20 || static_cast<unsigned char>(character) > 0x7e) character = '?';
  }
  return "\"" + text + (line.size() > kExcerptLength ? "...\"" : "\"");
}

}  // namespace

OVNGpsdConnection::~OVNGpsdConnection() {
  if (opened_) ::gps_close(&data_);
}

bool OVNGpsdConnection::open(const std::function<bool()>& cancelled) {
  std::string address;
  std::string reason;
  if (!findAddress(host_, port_, cancelled, address, reason)) {
    fail("gpsd at " + where() + " cannot be reached: " + reason);
    return false;
  }
  errno = 0;
  if (::gps_open(address.c_str(), port_.c_str(), &data_) != 0) {
    fail("gpsd at " + where() + " cannot be reached: " + ::gps_errstr(errno));
    return false;
  }
  opened_ = true;
  openedAt_ = Clock::now();
  message_.assign(kMessageCapacity, '\0');
  if (::gps_stream(&data_, WATCH_ENABLE | WATCH_JSON, nullptr) != 0) {
    fail("gpsd at " + where() + " cannot be asked for reports: " + systemMessage(errno));
    return false;
  }
  return true;
}

OVNGpsdConnection::Result OVNGpsdConnection::read(int timeoutMicroseconds) {
  errno = 0;
  if (!::gps_waiting(&data_, timeoutMicroseconds)) {
    if (errno != 0 && errno != EINTR) {
      return fail("the connection to gpsd at " + where() + " failed: " + systemMessage(errno));
    }
    if (!greeted_ && Clock::now() - openedAt_ > kGreetingTimeout) {
      return fail("the peer at " + where() + " is not gpsd: it sent no greeting within " +
                  std::to_string(kGreetingTimeout.count()) + " seconds");
    }
    return Result::Idle;
  }
  data_.set = 0;  // libgps keeps the flags of earlier reports; only this report's matter
  message_[0] = '\0';
  errno = 0;
  const int count = ::gps_read(&data_, message_.data(), static_cast<int>(message_.size()));
  if (count < 0) {
    return fail("the connection to gpsd at " + where() +
                " was lost: " + (errno != 0 ? systemMessage(errno) : std::string("the peer closed it")));
  }
  if (count == 0) return Result::Idle;
  message_.back() = '\0';
  const std::string_view line = trimmed(message_.data());
  if (!greeted_) {
    if (!isReport(line) || (data_.set & VERSION_SET) == 0) {
      return fail("the peer at " + where() + " is not gpsd: instead of a VERSION greeting it sent " + excerpt(line));
    }
    greeted_ = true;
    return Result::Idle;
  }
  if (!isReport(line)) return fail("gpsd at " + where() + " sent a line that is not a JSON report: " + excerpt(line));
  if (data_.set & ERROR_SET) {
    return fail("gpsd at " + where() +
                " reported an error: " + std::string(data_.error, ::strnlen(data_.error, sizeof data_.error)));
  }
  return Result::Report;
}

OVNGpsdConnection::Result OVNGpsdConnection::fail(std::string description) {
  failure_ = std::move(description);
  return Result::Failed;
}

}  // namespace ovn::detail
