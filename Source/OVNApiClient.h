#pragma once
// OVNApiClient: the library's entry for calls to the weather service. A session manager
// with a base URL and a property mapper that adds the account's credentials to every
// request, sends it, and hands the JSON reply, wrapped in an OVNApiResponse, to a
// completion on the main queue.
//
// Credentials belong to a client class, not to an instance: configureWithClientID<C>()
// stores them for class C, and every request of an instance of C looks them up again
// (an instance of a subclass sees only its own class's entry). Each class also has at most
// one shared instance, made by sharedClient<C>() from C::serverPath().
//
// Threads: requests may be made from any thread (usually the main one); completions run
// on the main queue. The class-level tables are guarded by one mutex, never held while
// calling out. A cancelled request calls no completion.

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Networking/OVNURLSessionManager.h"
#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURL.h"

class OVNApiResponse;
class OVNResponse;
class OVNPropertyMapper;
class OVNURLSessionTask;

class OVN_EXPORT OVNApiClient : public OVNURLSessionManager {
  OVN_CLASS(OVNApiClient, OVNURLSessionManager)

 public:
  using Completion = std::function<void(const std::shared_ptr<OVNApiResponse>& response)>;

  OVNApiClient() = default;

  // ---- Class-level configuration ------------------------------------------------------

  //! Stores the credentials of the client class `Receiver`, replacing earlier ones; they
  //! apply to requests that start afterwards, on existing instances too.
  template <class Receiver = OVNApiClient>
  static void configureWithClientID(std::string clientID, std::string secret) {
    configureWithClientID(Receiver::classObject(), std::move(clientID), std::move(secret));
  }
  static void configureWithClientID(const OVNClass& receiver, std::string clientID, std::string secret);

  //! The shared instance of `Receiver`, made on the first call with the default session
  //! configuration, the base URL parsed from Receiver::serverPath() (none: no base URL) and
  //! the credentials configured for the class at that moment.
  template <class Receiver = OVNApiClient>
  static std::shared_ptr<Receiver> sharedClient() {
    return std::static_pointer_cast<Receiver>(sharedClient(Receiver::classObject(), [] {
      const auto path = Receiver::serverPath();
      auto& entry = Receiver::classObject();
      return initWithBaseURL<Receiver>(path ? OVNURL::URLWithString(*path) : nullptr, nullptr,
                                       configuredCredential(entry, true), configuredCredential(entry, false));
    }));
  }

  //! The server's base URL for the shared instance; none here. Subclasses hide it with
  //! their own static serverPath().
  static std::optional<std::string> serverPath() { return std::nullopt; }

  // ---- Initialisers ---------------------------------------------------------------------

  //! A client of class `Receiver` with the default session configuration.
  template <class Receiver = OVNApiClient>
  static std::shared_ptr<Receiver> initWithBaseURL(std::shared_ptr<OVNURL> baseURL) {
    return initWithBaseURL<Receiver>(std::move(baseURL), nullptr);
  }
  //! A null configuration means the default one.
  template <class Receiver = OVNApiClient>
  static std::shared_ptr<Receiver> initWithBaseURL(std::shared_ptr<OVNURL> baseURL,
                                                   std::shared_ptr<OVNURLSessionConfiguration> configuration) {
    return initWithBaseURL<Receiver>(std::move(baseURL), std::move(configuration), std::nullopt, std::nullopt);
  }
  //! The designated initialiser. `clientID` and `secret` are accepted and deliberately
  //! ignored: credentials come only from configureWithClientID. Calls setupMappings(), and
  //! installs OVNURLCache's shared cache as the process-wide response cache.
  template <class Receiver = OVNApiClient>
  static std::shared_ptr<Receiver> initWithBaseURL(std::shared_ptr<OVNURL> baseURL,
                                                   std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                                   std::optional<std::string> clientID,
                                                   std::optional<std::string> secret) {
    auto client = initWithConfiguration<Receiver>(defaultIfNull(std::move(configuration)));
    static_cast<OVNApiClient&>(*client).finishInitialising(std::move(baseURL));
    (void)clientID;
    (void)secret;
    return client;
  }

  // ---- Instance ---------------------------------------------------------------------------

  //! Looked up under this object's class name at each call (OVNOAuthApiClient holds its
  //! own instead).
  virtual std::optional<std::string> clientID() const;
  virtual std::optional<std::string> clientSecret() const;

  std::shared_ptr<OVNURL> baseURL() const;
  void setBaseURL(std::shared_ptr<OVNURL> baseURL);
  std::shared_ptr<OVNPropertyMapper> mapper() const;
  void setMapper(std::shared_ptr<OVNPropertyMapper> mapper);

  //! Called once by the initialiser: subclasses register their model mappings into mapper().
  virtual void setupMappings() {}
  //! The class made for every reply; subclasses may name a subclass of OVNApiResponse.
  virtual const OVNClass& responseClass() const;

  //! A new dictionary with the members of `parameters` and the configured "client_id" and
  //! "client_secret" (replacing the caller's own).
  virtual OVNDictionaryRef optionsForRequestWithParameters(const OVNDictionaryRef& parameters) const;

  //! request(path, method, 0, parameters, completion).
  std::shared_ptr<OVNRequest> request(std::string_view path, OVNRequestMethod method, const OVNValue& parameters,
                                      Completion completion);
  //! Sends `method` to `path` (percent-encoded, then resolved against baseURL) with the
  //! parameters (a dictionary, an OVNApiRequestOptions, or missing) and the credentials, and
  //! returns the started request, which the caller may cancel. The expiration interval is
  //! accepted and has no effect, as intended. The completion gets an OVNApiResponse on the
  //! main queue: the envelope read from the reply, or one whose error is the transport's or
  //! the serializer's; it is not called for a cancelled request.
  std::shared_ptr<OVNRequest> request(std::string_view path, OVNRequestMethod method, double expirationInterval,
                                      const OVNValue& parameters, Completion completion);

 protected:
  //! Called last by the designated initialiser, after setupMappings(): subclasses that add
  //! state of their own give it its defaults here, when baseURL is known.
  virtual void didInitialise() {}
  //! Wraps the JSON reply in a response of responseClass() (with an error when it is no
  //! JSON object) and calls the completion.
  void deliverSuccess(const OVNValue& json, const Completion& completion) const;
  //! The error a reply failed with: the serializer's, else the task's own; null on success.
  static std::shared_ptr<OVNError> failureOf(const OVNResponse& reply, const std::shared_ptr<OVNURLSessionTask>& task);
  //! `path` resolved against baseURL (RFC 3986) as an absolute URL string; text that is no
  //! URL reference as it is.
  std::string resolvedURLString(std::string_view path) const;

 private:
  static std::shared_ptr<OVNApiClient> sharedClient(const OVNClass& receiver,
                                                    const std::function<std::shared_ptr<OVNApiClient>()>& make);
  static std::optional<std::string> configuredCredential(const OVNClass& receiver, bool identifier);
  static std::shared_ptr<OVNURLSessionConfiguration> defaultIfNull(
      std::shared_ptr<OVNURLSessionConfiguration> configuration);
  void finishInitialising(std::shared_ptr<OVNURL> baseURL);
  void deliverFailure(const std::shared_ptr<OVNURLSessionTask>& task, const std::shared_ptr<OVNError>& error,
                      const Completion& completion) const;

  mutable std::mutex mutex_;  // guards baseURL_ and mapper_
  std::shared_ptr<OVNURL> baseURL_;
  std::shared_ptr<OVNPropertyMapper> mapper_;
};

using OVNApiClientRef = std::shared_ptr<OVNApiClient>;
