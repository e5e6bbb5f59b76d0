#pragma once
// One HTTP exchange of a task on a libcurl easy handle: the request turned into options,
// the reply's status line and header fields gathered into a response, the body handed on,
// activity noted for the idle timeout. A task has one transfer per hop of its redirects.
// Used only on its session's I/O thread.

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class OVNURLRequest;
class OVNHTTPURLResponse;
class OVNURLSessionConfiguration;
class OVNError;
class OVNData;

namespace ovn::detail {

class OVNCurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;
  struct Callbacks {
    //! The reply's header fields are complete (not called for a redirect).
    std::function<void(std::shared_ptr<OVNHTTPURLResponse>)> response;
    std::function<void(const char* bytes, std::size_t length)> body;
    std::function<void(std::int64_t totalSent, std::int64_t expected)> sent;
  };
  struct Limits {
    double idleTimeout;
    Clock::time_point resourceDeadline;
  };

  OVNCurlTransfer(CURL* easy, std::shared_ptr<OVNURLRequest> request, Callbacks callbacks);
  OVNCurlTransfer(const OVNCurlTransfer&) = delete;
  OVNCurlTransfer& operator=(const OVNCurlTransfer&) = delete;
  ~OVNCurlTransfer();

  //! Sets the easy handle up; an error (nothing sent) when the request cannot be sent.
  std::shared_ptr<OVNError> prepare(const OVNURLSessionConfiguration& configuration, const Limits& limits, void* owner);
  CURL* handle() const { return easy_; }
  //! Gives the handle back (for reuse) and leaves the transfer without one.
  CURL* releaseHandle() { return std::exchange(easy_, nullptr); }
  const std::shared_ptr<OVNURLRequest>& request() const { return request_; }

  //! The error for a failed result, with libcurl's own words.
  std::shared_ptr<OVNError> errorForResult(CURLcode result) const;
  //! Whether the reply was a redirect with a location (its body kept, not handed on).
  bool isRedirect() const { return redirect_.has_value(); }
  const std::shared_ptr<OVNHTTPURLResponse>& response() const { return response_; }
  const std::string& redirectLocation() const { return *redirect_; }
  std::vector<char>& redirectBody() { return redirectBody_; }

  bool isIdleLongerThan(double seconds, Clock::time_point now) const;
  void setPaused(bool paused);
  bool isPaused() const { return paused_; }

 private:
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
  static int onProgress(void* self, curl_off_t, curl_off_t downloaded, curl_off_t totalUpload, curl_off_t uploaded);
  void headerLine(std::string_view line);
  void headersComplete();
  std::shared_ptr<OVNError> setHeaders(const OVNURLSessionConfiguration& configuration);
  void setMethodAndBody();

  CURL* easy_;
  std::shared_ptr<OVNURLRequest> request_;
  Callbacks callbacks_;
  curl_slist* headerList_ = nullptr;
  std::shared_ptr<const OVNData> body_;
  char errorBuffer_[CURL_ERROR_SIZE] = {};
  // The reply being read.
  std::int64_t status_ = 0;
  std::string version_;
  std::vector<std::pair<std::string, std::string>> fields_;
  std::shared_ptr<OVNHTTPURLResponse> response_;
  std::optional<std::string> redirect_;
  std::vector<char> redirectBody_;
  Clock::time_point lastActivity_ = Clock::now();
  curl_off_t lastDownloaded_ = 0;
  curl_off_t lastUploaded_ = 0;
  bool paused_ = false;
};

}  // namespace ovn::detail
