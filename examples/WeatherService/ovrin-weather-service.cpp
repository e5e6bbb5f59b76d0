// ovrin-weather-service: the local weather service as a program, for trying the library
// (or curl) against it by hand.
//
//   ovrin-weather-service [--port N] [--client-id ID] [--client-secret S] [--username U]
//                         [--password P] [--token-lifetime SECONDS]
//
// Serves on 127.0.0.1 until SIGINT or SIGTERM.

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "LocalWeatherService.h"

namespace {

constexpr int kExitUsage = 2;

struct Arguments {
  LocalWeatherService::Options options;
};

void printUsage(std::ostream& out) {
  out << "usage: ovrin-weather-service [--port N] [--client-id ID] [--client-secret S] [--username U]\n"
         "                             [--password P] [--token-lifetime SECONDS]\n"
         "\n"
         "Serves the local weather service on 127.0.0.1 until interrupted (SIGINT or SIGTERM).\n"
         "Requests carry the client's credentials or an OAuth 2.0 access token from POST /oauth.\n"
         "  --port N            the port to listen on; 0 (the default) picks a free one\n"
         "  --client-id ID      the client_id every request must carry (default demo-client)\n"
         "  --client-secret S   the client_secret every request must carry (default demo-secret)\n"
         "  --username U        the resource owner of the password grant (default demo-user)\n"
         "  --password P        the resource owner's password (default demo-password)\n"
         "  --token-lifetime SECONDS\n"
         "                      how long access tokens last (default 3600)\n"
         "  --help              this text\n";
}

// Null after printing the usage (to stderr when the arguments are wrong).
std::optional<Arguments> parseArguments(int argc, char** argv, int& exitCode) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (option == "--help" || option == "-h") {
      printUsage(std::cout);
      exitCode = EXIT_SUCCESS;
      return std::nullopt;
    }
    const bool known = option == "--port" || option == "--client-id" || option == "--client-secret" ||
                       option == "--username" || option == "--password" || option == "--token-lifetime";
    if (i + 1 >= argc || !known) {
      std::cerr << "ovrin-weather-service: unexpected argument " << option << "\n";
      printUsage(std::cerr);
      exitCode = kExitUsage;
      return std::nullopt;
    }
    const std::string value = argv[++i];
    if (option == "--port") {
      char* end = nullptr;
      const long port = std::strtol(value.c_str(), &end, 10);
      constexpr long kMaxPort = 65535;
      if (value.empty() || *end != '\0' || port < 0 || port > kMaxPort) {
        std::cerr << "ovrin-weather-service: --port needs a number from 0 to 65535\n";
        exitCode = kExitUsage;
        return std::nullopt;
      }
      arguments.options.port = static_cast<int>(port);
    } else if (option == "--token-lifetime") {
      char* end = nullptr;
      const long long seconds = std::strtoll(value.c_str(), &end, 10);
      if (value.empty() || *end != '\0' || seconds <= 0) {
        std::cerr << "ovrin-weather-service: --token-lifetime needs a number of seconds from 1\n";
        exitCode = kExitUsage;
        return std::nullopt;
      }
      arguments.options.tokenLifetimeSeconds = seconds;
    } else if (option == "--client-id") {
      arguments.options.clientId = value;
    } else if (option == "--client-secret") {
      arguments.options.clientSecret = value;
    } else if (option == "--username") {
      arguments.options.username = value;
    } else {
      arguments.options.password = value;
    }
  }
  return arguments;
}

}  // namespace

int main(int argc, char** argv) {
  int exitCode = EXIT_SUCCESS;
  const auto arguments = parseArguments(argc, argv, exitCode);
  if (!arguments) return exitCode;

  // The signals are blocked before the server's threads start, so they inherit the mask and
  // only sigwait below receives them.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  LocalWeatherService service(arguments->options);
  try {
    service.start();
  } catch (const std::exception& error) {
    std::cerr << "ovrin-weather-service: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  const LocalWeatherService::Options& options = arguments->options;
  std::cout << "listening on " << service.baseURL() << " (client_id=" << options.clientId
            << ", client_secret=" << options.clientSecret << ")\n";
  std::cout << "OAuth 2.0 token endpoint: POST " << service.baseURL() << "oauth (grants:";
  for (const std::string& grant : options.grantTypes) std::cout << " " << grant;
  std::cout << "; client authentication in the body or by HTTP Basic)\n"
            << "  resource owner: username=" << options.username << ", password=" << options.password << "\n"
            << "  access tokens last " << options.tokenLifetimeSeconds
            << " s; send one as access_token=... or Authorization: Bearer ...; GET " << service.baseURL()
            << "account shows its holder" << std::endl;

  int received = 0;
  sigwait(&signals, &received);
  service.stop();
  std::cout << "stopped after " << service.requestCount() << " requests" << std::endl;
  return EXIT_SUCCESS;
}
