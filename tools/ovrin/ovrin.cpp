// ovrin: a command-line client of the weather service, built on OvrinCore.
//
//   ovrin get PATH [--param k=v ...] [--base-url URL] [--client-id ID --client-secret SECRET]
//                  [--map observations|forecasts|places [--json]] [--oauth]
//   ovrin login [--username U --password P] [--base-url URL] [--client-id ID --client-secret S]
//   ovrin logout
//
// Without --base-url it starts the local weather service in this process and asks it, so it
// works on a machine with nothing else running. Credentials come from the options, else from
// OVRIN_CLIENT_ID / OVRIN_CLIENT_SECRET (OVRIN_USERNAME / OVRIN_PASSWORD for login), else
// (for the local service) its own. `login` keeps the OAuth credential in the secure store,
// where `get --oauth` in a later run finds it.
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Categories/NSDate+OvrinCore.h"
#include "CredentialText.h"
#include "LocalWeatherService.h"
#include "NearbyStations.h"
#include "OVNApiClient.h"
#include "OVNApiEndpoint.h"
#include "OVNApiResponse.h"
#include "OVNOAuthApiClient.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Location/OVNGpsdLocationProvider.h"
#include "Platform/Location/OVNSimulatedLocationProvider.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNSecureStore.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyMapper.h"
#include "WeatherMappings.h"

namespace {

// Exit statuses, one per kind of failure a script may want to tell apart.
enum ExitStatus : int {
  exitSuccess = 0,
  exitUsage = 1,
  exitBadURL = 2,
  exitUnreachable = 3,
  exitServiceError = 4,
  exitMalformedReply = 5,
};

constexpr double replyTimeoutSeconds = 60.0;
// Names the command's stored credential: "com.ovrinweather.ovrin.CommandOAuthClient.credential".
constexpr const char* commandBundleIdentifier = "com.ovrinweather.ovrin";
// The scope the command asks for when it signs in on its own.
constexpr const char* commandScope = "read";

constexpr const char* usageText = R"(usage: ovrin get PATH [options]
       ovrin nearby [--at LAT,LON | --gpx FILE | --gpsd] [--limit N] [options]
       ovrin login [--username USER --password PASSWORD] [options]
       ovrin logout

get sends GET PATH (relative to the base URL) to the weather service and prints the reply's
envelope as JSON, or, with --map, the typed objects the reply maps into. nearby takes a
position from the location service and lists the service's stations nearest to it, with
their distance and compass bearing. login signs in
with OAuth 2.0 (the password grant at /oauth) and keeps the credential in the secure store
(the desktop's Secret Service, else private files); logout deletes it.

options:
  --param KEY=VALUE        a request parameter; repeat for more (an "action" parameter
                           becomes a path segment: --param action=closest)
  --base-url URL           the service's base URL (http or https); without it, a local
                           weather service is started in this process and asked instead
  --client-id ID           the client ID (else $OVRIN_CLIENT_ID)
  --client-secret SECRET   the client secret (else $OVRIN_CLIENT_SECRET)
  --map FAMILY             map the reply: observations, forecasts or places; print a table
  --json                   with --map, print the mapped objects as JSON instead
  --oauth                  get as an OAuth client: with the access token of the stored
                           credential (signing in with a client-credentials grant when
                           there is none) instead of the client ID and secret
  --at LAT,LON             nearby: this position (the default is 40.7580,-73.9855, Times Square)
  --gpx FILE               nearby: the first point of a GPX track
  --gpsd                   nearby: the position of a GPS receiver, from gpsd
  --gpsd-host HOST         nearby: where gpsd runs (default localhost)
  --gpsd-port PORT         nearby: gpsd's port (default 2947)
  --limit N                nearby: how many stations (default 5)
  --username USER          login: the resource owner (else $OVRIN_USERNAME)
  --password PASSWORD      login: the password (else $OVRIN_PASSWORD)
  --help                   this text

exit status: 0 success, 1 bad usage, 2 bad URL, 3 host unreachable or other transport
failure, 4 the service answered with an error, 5 the reply was not the service's JSON.

examples:
  ovrin get observations/austin,tx
  ovrin get observations --param action=closest --param p=40.7,-74.0 --param limit=3 --map observations
  ovrin get forecasts/paris,fr --map forecasts --json
  ovrin nearby --at 42.36,-71.06 --limit 3
  ovrin login --base-url http://127.0.0.1:8080/ && ovrin get account --oauth --base-url http://127.0.0.1:8080/
)";

enum class Command { get, nearby, login, logout };

constexpr OVNLocationCoordinate2D defaultPosition{40.7580, -73.9855};
constexpr int defaultNearbyLimit = 5;
constexpr double positionTimeoutSeconds = 15.0;

struct Options {
  Command command = Command::get;
  std::string path;
  OVNDictionaryRef parameters = OVNDictionary::make();
  std::optional<std::string> baseURL;
  std::optional<std::string> clientID;
  std::optional<std::string> clientSecret;
  std::optional<std::string> family;
  std::optional<std::string> username;
  std::optional<std::string> password;
  std::optional<OVNLocationCoordinate2D> at;
  std::optional<std::string> gpx;
  bool gpsd = false;
  std::string gpsdHost = "localhost";
  std::string gpsdPort = "2947";
  int limit = defaultNearbyLimit;
  bool json = false;
  bool oauth = false;
  bool help = false;
};

// The command's client: the worked model set in its mapper.
class CommandClient : public OVNApiClient {
  OVN_CLASS(CommandClient, OVNApiClient)

 public:
  void setupMappings() override { (void)registerWeatherMappings(*mapper()); }
};

// The command's OAuth client: every resource of the service is protected.
class CommandOAuthClient : public OVNOAuthApiClient {
  OVN_CLASS(CommandOAuthClient, OVNOAuthApiClient)
};

// Endpoints of the command go through the one client it made.
std::shared_ptr<OVNApiClient> commandClient;

class CommandEndpoint : public OVNApiEndpoint {
  OVN_CLASS(CommandEndpoint, OVNApiEndpoint)

 public:
  std::shared_ptr<OVNApiClient> sharedClient() const override { return commandClient; }
};

int fail(ExitStatus status, const std::string& message) {
  std::fprintf(stderr, "ovrin: %s\n", message.c_str());
  return status;
}

std::optional<std::string> environment(const char* name) {
  const char* value = std::getenv(name);
  return value && *value ? std::optional<std::string>(value) : std::nullopt;
}

// The value of one of nearby's options; an error message when it makes no sense.
std::optional<std::string> parseNearbyOption(std::string_view option, const std::string& value, Options& options) {
  if (option == "--at") {
    double latitude = 0;
    double longitude = 0;
    char end = 0;
    if (std::sscanf(value.c_str(), "%lf,%lf%c", &latitude, &longitude, &end) != 2 ||
        !OVNLocationCoordinate2DIsValid({latitude, longitude})) {
      return "--at needs LAT,LON in degrees, not " + value;
    }
    options.at = OVNLocationCoordinate2D{latitude, longitude};
  } else if (option == "--gpx") {
    options.gpx = value;
  } else if (option == "--gpsd-host") {
    options.gpsdHost = value;
  } else if (option == "--gpsd-port") {
    options.gpsdPort = value;
  } else {
    const auto [end, status] = std::from_chars(value.data(), value.data() + value.size(), options.limit);
    if (status != std::errc() || end != value.data() + value.size() || options.limit < 1 || options.limit > 100) {
      return "--limit needs a number from 1 to 100, not " + value;
    }
  }
  return std::nullopt;
}

// Parses the arguments; an error message when they make no sense.
std::optional<std::string> parseArguments(const std::vector<std::string_view>& arguments, Options& options) {
  std::size_t at = 0;
  auto next = [&]() -> std::optional<std::string> {
    if (at + 1 >= arguments.size()) return std::nullopt;
    return std::string(arguments[++at]);
  };
  std::vector<std::string> positional;
  for (; at < arguments.size(); ++at) {
    const std::string_view argument = arguments[at];
    std::optional<std::string> value;
    if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (argument == "--json") {
      options.json = true;
    } else if (argument == "--oauth") {
      options.oauth = true;
    } else if (argument == "--gpsd") {
      options.gpsd = true;
    } else if (argument == "--at" || argument == "--gpx" || argument == "--gpsd-host" || argument == "--gpsd-port" ||
               argument == "--limit") {
      if (!(value = next())) return std::string(argument) + " needs a value";
      if (auto problem = parseNearbyOption(argument, *value, options)) return problem;
    } else if (argument == "--username" || argument == "--password") {
      if (!(value = next())) return std::string(argument) + " needs a value";
      (argument == "--username" ? options.username : options.password) = value;
    } else if (argument == "--param" || argument == "--base-url" || argument == "--client-id" ||
               argument == "--client-secret" || argument == "--map") {
      if (!(value = next())) return std::string(argument) + " needs a value";
      if (argument == "--param") {
        const auto equals = value->find('=');
        if (equals == std::string::npos || equals == 0) return "--param needs KEY=VALUE, not " + *value;
        options.parameters->set(value->substr(0, equals), value->substr(equals + 1));
      } else if (argument == "--base-url") {
        options.baseURL = value;
      } else if (argument == "--client-id") {
        options.clientID = value;
      } else if (argument == "--client-secret") {
        options.clientSecret = value;
      } else {
        options.family = value;
      }
    } else if (argument.starts_with("--")) {
      return "unknown option " + std::string(argument);
    } else {
      positional.emplace_back(argument);
    }
  }
  if (options.help) return std::nullopt;
  if (positional.size() == 1 && positional[0] == "nearby") {
    options.command = Command::nearby;
    if ((options.at ? 1 : 0) + (options.gpx ? 1 : 0) + (options.gpsd ? 1 : 0) > 1) {
      return "nearby takes one of --at, --gpx and --gpsd";
    }
    return std::nullopt;
  }
  if (positional.size() == 1 && (positional[0] == "login" || positional[0] == "logout")) {
    options.command = positional[0] == "login" ? Command::login : Command::logout;
    return std::nullopt;
  }
  if (positional.size() != 2 || positional[0] != "get") {
    return "expected: ovrin get PATH, ovrin nearby, ovrin login or ovrin logout";
  }
  options.path = positional[1];
  if (options.oauth && options.family) return "--map does not go with --oauth";
  if (options.family && *options.family != "observations" && *options.family != "forecasts" &&
      *options.family != "places") {
    return "--map takes observations, forecasts or places, not " + *options.family;
  }
  if (options.json && !options.family) return "--json goes with --map";
  return std::nullopt;
}

// The exit status and message for a reply that carries an error.
int failureFor(const OVNError& error) {
  const std::string reason = error.localizedDescription();
  if (error.domain() == OVNURLErrorDomain) {
    const bool badURL = error.code() == OVNURLErrorBadURL || error.code() == OVNURLErrorUnsupportedURL;
    return fail(badURL ? exitBadURL : exitUnreachable, (badURL ? "bad URL: " : "cannot reach the service: ") + reason);
  }
  if (error.domain() == OVNApiErrorDomain && error.code() == OVNApiErrorCodeInvalidResponse) {
    return fail(exitMalformedReply, "the reply is not the service's JSON: " + reason);
  }
  return fail(exitServiceError,
              "the service answered with an error (code " + std::to_string(error.code()) + "): " + reason);
}

void printJSON(const OVNValue& value) {
  auto data = OVNJSONSerialization::dataWithJSONObject(value, OVNJSONWritingPrettyPrinted);
  std::printf("%s\n", data ? std::string(data->view()).c_str() : "(not representable as JSON)");
}

int printEnvelope(const std::shared_ptr<OVNApiResponse>& response) {
  OVNValue error = OVNValue::null();
  if (const auto& failure = response->error()) {
    error = OVNDictionary::make({{"code", failure->code()}, {"description", failure->localizedDescription()}});
  }
  printJSON(
      OVNDictionary::make({{"success", response->isSuccessful()},
                           {"error", error},
                           {"response", response->response().isPresent() ? response->response() : OVNValue::null()}}));
  return response->error() ? failureFor(*response->error()) : exitSuccess;
}

std::string placeText(const std::shared_ptr<Place>& place) {
  if (!place) return "";
  return place->name + (place->state.empty() ? "" : ", " + place->state) + ", " + place->country;
}

// The station's clock time and how long ago: "Wed 10:20 CST (15 minutes ago)".
std::string observedText(const Observation& observation) {
  return ovn_formattedDateWithFormat(observation.observedDateTime, "EEE HH:mm zzz", observation.stationTimeZone()) +
         " (" + ovn_timeAgoSinceNow(observation.observedDateTime) + ")";
}

void printTable(const OVNArrayRef& objects, const std::string& family) {
  for (const auto& member : *objects) {
    if (auto place = member.objectAs<Place>()) {
      std::printf("%-24s %-6s %s\n", place->name.c_str(), place->state.c_str(), place->country.c_str());
    } else if (auto observation = member.objectAs<Observation>()) {
      const auto& ob = observation->measurements;
      if (family == "forecasts" || !ob) {
        std::printf("%-8s %s\n", observation->stationId.c_str(), placeText(observation->place).c_str());
      } else {
        std::printf("%-8s %-28s %6.1f °C  %-18s %s\n", observation->stationId.c_str(),
                    placeText(observation->place).c_str(), ob->tempC, ob->weather.c_str(),
                    observedText(*observation).c_str());
      }
      if (family != "forecasts") continue;
      // "Today" and "Tonight" follow the default zone: the station's, for its forecast.
      const auto zone = observation->stationTimeZone();
      OVNTimeZone::setDefaultTimeZone(zone);
      for (const auto& period : observation->periods) {
        std::printf("  %-15s %s  %6.1f °C\n", ovn_dayNameRelativeToNow(period->validAt, false, zone).c_str(),
                    ovn_formattedDateWithFormat(period->validAt, "HH:mm", zone).c_str(), period->tempC);
      }
    }
  }
}

int printMapped(const OVNApiEndpointResultRef& result, const Options& options) {
  if (result->error()) return failureFor(*result->error());
  const OVNArrayRef objects = result->value() ? result->value() : OVNArray::make();
  if (options.json) {
    auto serialized = OVNArray::make();
    for (const auto& member : *objects) serialized->add(commandClient->mapper()->serializeObject(member));
    printJSON(serialized);
  } else {
    printTable(objects, *options.family);
  }
  return exitSuccess;
}

// The base URL when it is an http or https URL with a host; null otherwise.
std::shared_ptr<OVNURL> serviceURL(const std::string& baseURL) {
  auto url = OVNURL::URLWithString(baseURL);
  const std::string scheme = url && url->scheme() ? *url->scheme() : "";
  if (!url || (scheme != "http" && scheme != "https") || !url->host() || url->host()->empty()) return nullptr;
  return url;
}

int noReply() {
  return fail(exitUnreachable, "no reply within " + std::to_string(static_cast<int>(replyTimeoutSeconds)) + " s");
}

// What a sign-in gave. An error reply calls back twice (the error, then a credential without
// a token that the client has stored); only a credential with a token counts.
struct SignIn {
  OVNOAuthCredentialRef credential;
  std::shared_ptr<OVNError> refusal;
  bool answered = false;

  void record(const OVNOAuthCredentialRef& received, const std::shared_ptr<OVNError>& error) {
    if (received) credential = received;
    if (error && !refusal) refusal = error;
    answered = true;
  }
  bool succeeded() const { return !refusal && credential && credential->accessToken(); }
};

// Waits for the sign-in; on failure, forgets what it stored and says why.
std::optional<int> awaitSignIn(CommandOAuthClient& client, const SignIn& signIn) {
  if (!OVNRunLoop::main().runUntil([&] { return signIn.answered; }, replyTimeoutSeconds)) return noReply();
  if (signIn.succeeded()) return std::nullopt;
  client.unauthenticateWithCompletion(nullptr);
  if (signIn.refusal) return fail(exitServiceError, "sign-in refused: " + signIn.refusal->localizedDescription());
  return fail(exitUnreachable, "no readable reply from the token endpoint at " + client.baseURL()->absoluteString() +
                                   client.authenticationPath().substr(1));
}

int login(CommandOAuthClient& client, const std::string& username, const std::string& password) {
  SignIn signIn;
  client.authenticateUsingOAuthWithUsername(
      username, password, [&](const auto& credential, const auto& error) { signIn.record(credential, error); });
  if (auto failed = awaitSignIn(client, signIn)) return *failed;
  auto stored = OVNOAuthCredential::retrieveCredentialWithIdentifier(client.credentialIdentifier());
  std::printf("signed in as %s\nthe credential is kept in %s, as \"%s\":\n  %s\n", username.c_str(),
              whereSecretsLive().c_str(), client.credentialIdentifier().c_str(),
              stored ? maskedCredentialDescription(*stored).c_str() : "(it could not be stored)");
  // The stored copy was written before its expiration was set, so it shows none.
  const auto& expiration = signIn.credential->expiration();
  std::printf("the access token expires at %s\n",
              expiration ? expiration->description().c_str() : "(not said by the service)");
  return stored ? exitSuccess : fail(exitServiceError, "the credential could not be stored");
}

int logout(CommandOAuthClient& client) {
  const bool held = client.oauthCredential() != nullptr;
  client.unauthenticateWithCompletion(nullptr);
  std::printf(
      held ? "signed out: the stored credential \"%s\" was deleted\n" : "not signed in: nothing is stored as \"%s\"\n",
      client.credentialIdentifier().c_str());
  return exitSuccess;
}

// GET with the stored credential's token. Without a credential, a client-credentials grant
// first. A stored credential read back has no expiration, so the first call refreshes it
// while carrying the old token; when that call fails, it is asked once more with the new one.
int getWithOAuth(CommandOAuthClient& client, const Options& options) {
  if (!client.oauthCredential()) {
    SignIn signIn;
    (void)client.authenticateUsingOAuthWithURLString(
        client.authenticationPath(), std::string(commandScope),
        [&](const OVNOAuthCredentialRef& credential) { signIn.record(credential, nullptr); },
        [&](const std::shared_ptr<OVNError>& error) { signIn.record(nullptr, error); });
    if (auto failed = awaitSignIn(client, signIn)) return *failed;
  }
  // The parameters travel in the resource's own query: given separately, they would be glued
  // onto the token.
  std::string resource = options.path;
  if (options.parameters->count() > 0) {
    resource +=
        (resource.find('?') == std::string::npos ? "?" : "&") + client.queryStringFromParameters(options.parameters);
  }
  auto send = [&]() -> std::shared_ptr<OVNApiResponse> {
    std::shared_ptr<OVNApiResponse> response;
    (void)client.GET(resource, nullptr, [&](const auto& reply) { response = reply; });
    OVNRunLoop::main().runUntil([&] { return response != nullptr; }, replyTimeoutSeconds);
    return response;
  };
  const auto before = client.oauthCredential();
  auto response = send();
  if (response && response->error() && client.oauthCredential() != before) response = send();
  return response ? printEnvelope(response) : noReply();
}

// Where nearby's position comes from: gpsd, a GPX track, or a fix at --at (or the default).
OVNLocationProviderRef positionProvider(const Options& options) {
  if (options.gpsd) return std::make_shared<OVNGpsdLocationProvider>(options.gpsdHost, options.gpsdPort);
  if (options.gpx) return OVNSimulatedLocationProvider::withGPXFile(*options.gpx);
  OVNSimulatedLocationProvider::Step here;
  here.delay = 0;
  here.fix.coordinate = options.at.value_or(defaultPosition);
  return std::make_shared<OVNSimulatedLocationProvider>(std::vector{here});
}

int nearby(const Options& options, const std::string& baseURL) {
  auto url = serviceURL(baseURL);
  if (!url) return fail(exitBadURL, "not an http or https URL: " + baseURL);
  const Position position = currentPosition(positionProvider(options), positionTimeoutSeconds);
  if (!position.location) return fail(exitUnreachable, "no position: " + position.error->localizedDescription());
  const OVNLocationCoordinate2D here = position.location->coordinate();
  commandClient = OVNApiClient::initWithBaseURL<CommandClient>(url);
  auto endpoint = OVNApiEndpoint::initWithPath<CommandEndpoint>("observations", Observation::classObject());
  char point[64];
  std::snprintf(point, sizeof point, "%.6f,%.6f", here.latitude, here.longitude);
  int status = exitUsage;
  bool done = false;
  endpoint->getWithOptions(OVNDictionary::make({{"action", "closest"}, {"p", point}, {"limit", options.limit}}),
                           [&](const OVNApiEndpointResultRef& result) {
                             done = true;
                             if (result->error()) {
                               status = failureFor(*result->error());
                               return;
                             }
                             std::printf("position %s (within %.0f m)\n", point,
                                         position.location->horizontalAccuracy());
                             const auto objects = result->value() ? result->value() : OVNArray::make();
                             for (const auto& station : nearbyStations(here, objects))
                               std::printf("%s\n", nearbyStationLine(station).c_str());
                             status = exitSuccess;
                           });
  if (!OVNRunLoop::main().runUntil([&] { return done; }, replyTimeoutSeconds)) return noReply();
  return status;
}

int get(const Options& options, const std::string& baseURL) {
  auto url = serviceURL(baseURL);
  if (!url) return fail(exitBadURL, "not an http or https URL: " + baseURL);
  commandClient = OVNApiClient::initWithBaseURL<CommandClient>(url);
  int status = exitUsage;
  bool done = false;
  if (!options.family) {
    commandClient->request(options.path, OVNRequestMethodGET, options.parameters, [&](const auto& response) {
      status = printEnvelope(response);
      done = true;
    });
  } else {
    const OVNClass& mapped = *options.family == "places" ? Place::classObject() : Observation::classObject();
    auto endpoint = OVNApiEndpoint::initWithPath<CommandEndpoint>(options.path, mapped);
    endpoint->getWithOptions(options.parameters, [&](const OVNApiEndpointResultRef& result) {
      status = printMapped(result, options);
      done = true;
    });
  }
  if (!OVNRunLoop::main().runUntil([&] { return done; }, replyTimeoutSeconds)) return noReply();
  return status;
}

}  // namespace

OVN_PROPERTIES(CommandClient)
OVN_PROPERTIES(CommandOAuthClient)
OVN_PROPERTIES(CommandEndpoint)

int main(int argc, char** argv) {
  Options options;
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  if (auto error = parseArguments(arguments, options)) {
    std::fprintf(stderr, "ovrin: %s\n\n%s", error->c_str(), usageText);
    return exitUsage;
  }
  if (options.help) {
    std::printf("%s", usageText);
    return exitSuccess;
  }
  // The command's stored credential is named after it.
  if (!OVNBundle::mainBundle()->bundleIdentifier()) {
    OVNBundle::mainBundle()->setInfoValue("CFBundleIdentifier", std::string(commandBundleIdentifier));
  }
  if (options.command == Command::logout) {
    return logout(*OVNOAuthApiClient::initWithBaseURL<CommandOAuthClient>(nullptr));
  }
  std::optional<LocalWeatherService> local;
  if (!options.baseURL) {
    local.emplace();
    local->start();
    options.baseURL = local->baseURL();
  }
  const LocalWeatherService::Options localCredentials;
  auto clientID = options.clientID ? options.clientID : environment("OVRIN_CLIENT_ID");
  auto clientSecret = options.clientSecret ? options.clientSecret : environment("OVRIN_CLIENT_SECRET");
  if (local && !clientID) clientID = localCredentials.clientId;
  if (local && !clientSecret) clientSecret = localCredentials.clientSecret;
  if (clientID && clientSecret) OVNApiClient::configureWithClientID<CommandClient>(*clientID, *clientSecret);
  if (options.command == Command::get && !options.oauth) return get(options, *options.baseURL);
  if (options.command == Command::nearby) return nearby(options, *options.baseURL);

  auto url = serviceURL(*options.baseURL);
  if (!url) return fail(exitBadURL, "not an http or https URL: " + *options.baseURL);
  auto client = OVNOAuthApiClient::initWithBaseURL<CommandOAuthClient>(url);
  client->setClientID(clientID);
  client->setClientSecret(clientSecret);
  if (options.command == Command::get) return getWithOAuth(*client, options);
  auto username = options.username ? options.username : environment("OVRIN_USERNAME");
  auto password = options.password ? options.password : environment("OVRIN_PASSWORD");
  if (local && !username) username = localCredentials.username;
  if (local && !password) password = localCredentials.password;
  if (!username || !password)
    return fail(exitUsage, "login needs --username and --password (or $OVRIN_USERNAME and $OVRIN_PASSWORD)");
  return login(*client, *username, *password);
}
