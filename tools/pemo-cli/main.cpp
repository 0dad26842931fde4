// pemo-cli: talk to the agent as the phone application does.
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "client.h"
#include "request/param_tree.h"

namespace {

using pemo::client::Reply;
using pemo::client::Session;

constexpr int kExitStatus = 1;   // the agent answered with an error status
constexpr int kExitFailure = 2;  // no answer: unreachable, closed, bad arguments

int print_schema() {
  const pemo::ParamTree& tree = pemo::param_tree();
  for (int k = 0; k < static_cast<int>(pemo::kNodeCount); ++k) {
    const pemo::ParamNode& node = tree.node(k);
    const char* type = node.type == pemo::kInt ? "int" : node.type == pemo::kString ? "string" : "object";
    std::printf("%s %s %s %s\n", tree.path(k).c_str(), type,
                node.handler != nullptr ? pemo::handler_name(node.handler) : "-",
                node.argument != nullptr ? node.argument : "-");
  }
  return 0;
}

void usage(FILE* out) {
  std::fputs(
      "Usage: pemo-cli [options] <command> [<document>]\n"
      "\n"
      "Commands:\n"
      "  query [DOC]   system query: the gateway's feature list\n"
      "                (default document: the phone application's feature request)\n"
      "  get DOC       parameter get, e.g. '{\"Device\":{\"WiFi\":{\"SSID\":{\"i1\":{\"SSID\":\"\"}}}}}'\n"
      "  set DOC       parameter set\n"
      "  discover [ADDR]  send the discovery datagram (default: broadcast 255.255.255.255)\n"
      "                and print each gateway that answers\n"
      "  schema        list every path of the parameter tree with its type, handler and\n"
      "                argument (no agent needed)\n"
      "DOC is JSON text, or @FILE to read it from a file ('@-' reads standard input).\n"
      "\n"
      "Options:\n"
      "  -H, --host ADDR       agent address (default 127.0.0.1)\n"
      "  -p, --port N          port (default 263)\n"
      "  -P, --password TEXT   device password (default $PEMO_PASSWORD, else the factory 5927)\n"
      "  -t, --timeout SEC     seconds to wait for connect and reply (default 10)\n"
      "  -h, --help            this text\n"
      "\n"
      "Prints the reply document, or 'status N' for a reply without one. Exit status:\n"
      "0 success, 1 an error status from the agent, 2 no answer or bad usage.\n",
      out);
}

bool read_document(const std::string& argument, std::string& text) {
  if (argument.empty() || argument[0] != '@') {
    text = argument;
    return true;
  }
  std::string path = argument.substr(1);
  std::ostringstream content;
  if (path == "-") {
    content << std::cin.rdbuf();
  } else {
    std::ifstream file(path);
    if (!file) return false;
    content << file.rdbuf();
  }
  text = content.str();
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string host = "127.0.0.1";
  long port = pemo::kServicePort;
  const char* env_password = std::getenv("PEMO_PASSWORD");
  std::string password(env_password != nullptr ? env_password : pemo::client::kFactoryPassword);
  long timeout_s = 10;

  const option options[] = {{"host", required_argument, nullptr, 'H'},
                            {"port", required_argument, nullptr, 'p'},
                            {"password", required_argument, nullptr, 'P'},
                            {"timeout", required_argument, nullptr, 't'},
                            {"help", no_argument, nullptr, 'h'},
                            {nullptr, 0, nullptr, 0}};
  for (int c; (c = getopt_long(argc, argv, "+H:p:P:t:h", options, nullptr)) != -1;) {  // NOLINT(concurrency-mt-unsafe)
    switch (c) {
      case 'H': host = optarg; break;
      case 'p': port = std::strtol(optarg, nullptr, 10); break;
      case 'P': password = optarg; break;
      case 't': timeout_s = std::strtol(optarg, nullptr, 10); break;
      case 'h': usage(stdout); return 0;
      default: usage(stderr); return kExitFailure;
    }
  }
  if (port < 1 || port > 65535 || timeout_s < 1) {
    std::fputs("pemo-cli: bad port or timeout\n", stderr);
    return kExitFailure;
  }
  if (optind >= argc) {
    usage(stderr);
    return kExitFailure;
  }
  std::string command = argv[optind];
  std::string argument = optind + 1 < argc ? argv[optind + 1] : "";

  if (command == "schema") return print_schema();
  if (command == "discover") {
    std::string error;
    std::vector<pemo::client::DiscoveryAnswer> answers;
    const std::string target = argument.empty() ? "255.255.255.255" : argument;
    if (!pemo::client::discover(target, static_cast<std::uint16_t>(port),
                                std::chrono::seconds(std::min<long>(timeout_s, 3)),
                                pemo::client::kFeatureRequest, answers, error)) {
      std::fprintf(stderr, "pemo-cli: discovery failed: %s\n", error.c_str());
      return kExitFailure;
    }
    bool identity = false;
    for (const auto& answer : answers) {
      if (answer.header.length > 0) {
        std::printf("%s %s\n", answer.address.c_str(), answer.payload.c_str());
        identity = true;
      } else {
        std::printf("%s status %d\n", answer.address.c_str(), answer.header.length);
      }
    }
    if (answers.empty()) std::fputs("pemo-cli: no gateway answered\n", stderr);
    return identity ? 0 : kExitStatus;
  }

  std::uint8_t type;
  if (command == "query") {
    type = pemo::kTypeSysQuery;
    if (argument.empty()) argument = pemo::client::kFeatureRequest;
  } else if (command == "get" || command == "set") {
    type = command == "get" ? pemo::kTypeParamGet : pemo::kTypeParamSet;
    if (argument.empty()) {
      std::fprintf(stderr, "pemo-cli: %s needs a document\n", command.c_str());
      return kExitFailure;
    }
  } else {
    std::fprintf(stderr, "pemo-cli: unknown command '%s' (see --help)\n", command.c_str());
    return kExitFailure;
  }
  std::string document;
  if (!read_document(argument, document)) {
    std::fprintf(stderr, "pemo-cli: cannot read %s\n", argument.c_str() + 1);
    return kExitFailure;
  }
  if (password.empty() || password.size() > 31) {
    std::fputs("pemo-cli: the password must have 1 to 31 characters\n", stderr);
    return kExitFailure;
  }

  std::string error;
  Session session = Session::connect(host, static_cast<std::uint16_t>(port),
                                     std::chrono::seconds(timeout_s), error);
  if (!session.valid()) {
    std::fprintf(stderr, "pemo-cli: cannot reach the agent at %s:%ld: %s\n", host.c_str(), port,
                 error.c_str());
    return kExitFailure;
  }
  Reply reply;
  if (!session.exchange(type, document, password, reply, error)) {
    std::fprintf(stderr, "pemo-cli: %s\n", error.c_str());
    return kExitFailure;
  }
  if (reply.status() <= 0) {
    std::printf("status %d\n", reply.status());
    return reply.status() == 0 ? 0 : kExitStatus;
  }
  std::printf("%s\n", reply.payload.c_str());
  return 0;
}

