// pemo-cli: talk to the agent as the phone application does.
#include <fcntl.h>
#include <getopt.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "check.h"
#include "client.h"
#include "document.h"
#include "platform/fd.h"
#include "request/param_tree.h"
#include "wire/status.h"

namespace {

using namespace pemo;
using client::Reply;
using client::Session;

// Exit statuses, worst last: a batch exits with the worst of its lines.
enum Exit : int {
  kServed = 0,       // every request was served
  kAgentStatus = 1,  // the agent answered with an error status
  kUnreachable = 2,  // no answer: unreachable, or the connection broke
  kLocalError = 3,   // usage, an unreadable or malformed document, a path or member the tree does not know
};

constexpr std::size_t kMaxPassword = 31;  // the agent keys sessions with at most 31 characters
constexpr const char* kHostCount = R"({"Device":{"Hosts":{"HostNumberOfEntries":0}}})";

struct Options {
  std::string host = "127.0.0.1";
  std::uint16_t port = kServicePort;
  std::string password;
  std::chrono::seconds timeout{10};
  bool timeout_given = false;
  std::optional<cli::Layout> layout;  // none: indented on a terminal, compact otherwise
  std::string band;
  bool json = false;
  bool write = false;  // check: also the reversible changes
  std::string only;    // check: one family
};

int complain(int code, const std::string& message) {
  std::fprintf(stderr, "pemo-cli: %s\n", message.c_str());
  return code;
}

void usage(FILE* out) {
  std::fputs(
      "Usage: pemo-cli [OPTIONS] COMMAND [ARGUMENTS]\n"
      "\n"
      "Commands:\n"
      "  get PATH...          read values: Device.WiFi.SSID.1.SSID, or Device.WiFi. for every\n"
      "                       leaf below (instance tables as their first instance);\n"
      "                       PATH=VALUE sends that value (Device.WiFi.SSID.1.CheckFreqBand=5G)\n"
      "  set PATH=VALUE...    change values, in the order given, in one request\n"
      "  get DOC | set DOC    send a request document (inline JSON, @FILE, or - for stdin)\n"
      "  query [DOC]          system query (default: the application's feature request)\n"
      "  batch FILE|-         one request a line (get/set/query as above) over one session\n"
      "  hosts                the host table, read in one session\n"
      "  discover [ADDRESS]   send the discovery datagram (default: to the broadcast address\n"
      "                       of every local IPv4 interface) and list the gateways that answer\n"
      "  check [ADDRESS]      what of the gateway works, a line per capability with a hint\n"
      "                       for each failure (exit 0 all pass, 1 a failure, 2 unreachable)\n"
      "  schema               every path of the agent's tree with its type (no agent needed)\n"
      "  statuses             every status the agent answers with, and its meaning\n"
      "\n"
      "Options:\n"
      "  -H, --host ADDR          agent address (default 127.0.0.1)\n"
      "  -p, --port N             port (default 263)\n"
      "  -P, --password TEXT      device password (default $PEMO_PASSWORD, else the factory 5927)\n"
      "      --password-file F    read the password from the first line of F\n"
      "      --ask-password       prompt for the password on the terminal\n"
      "  -t, --timeout SEC        wait for connect and reply (default 10); for discover, how\n"
      "                           long to collect answers (default 3); for check, also how\n"
      "                           long to wait for a WPS session's outcome (default 130)\n"
      "  -b, --band 24G|5G        address one radio: adds CheckFreqBand where the tree has it\n"
      "  -c, --compact            compact JSON (the default when standard output is no terminal)\n"
      "      --paths              print replies as PATH=VALUE lines\n"
      "      --json               discover, check: print the answers as JSON\n"
      "      --write              check: also make reversible changes, each undone at the end\n"
      "                           (an interrupted run is undone by the next)\n"
      "      --only FAMILY        check: one family (discovery session tree hosts diagnostics\n"
      "                           firmware wifi guest parental blocking mesh wps)\n"
      "  -V, --version            print the version\n"
      "  -h, --help               this text\n"
      "\n"
      "Standard output carries only replies; statuses and warnings go to standard error.\n"
      "Exit status: 0 served, 1 an error status from the agent, 2 no answer (unreachable or\n"
      "closed), 3 a local error: usage, an unreadable or malformed document, or a path or\n"
      "member the agent's tree does not know (a known path is never sent with it).\n",
      out);
}

bool read_source(const std::string& name, std::string& text, std::string& error) {
  std::ostringstream content;
  if (name == "-") {
    content << std::cin.rdbuf();
  } else {
    std::ifstream file(name);
    if (!file) {
      error = "cannot read " + name;
      return false;
    }
    content << file.rdbuf();
  }
  text = content.str();
  return true;
}

bool read_password_file(const std::string& name, std::string& password, std::string& error) {
  std::string text;
  if (!read_source(name, text, error)) return false;
  password = text.substr(0, text.find_first_of("\r\n"));
  return true;
}

bool ask_password(std::string& password, std::string& error) {
  UniqueFd tty(open("/dev/tty", O_RDWR | O_CLOEXEC));
  termios saved{};
  if (!tty.valid() || tcgetattr(tty.get(), &saved) != 0) {
    error = "no terminal to ask the password on";
    return false;
  }
  termios quiet = saved;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  static_cast<void>(write(tty.get(), "Password: ", 10));  // a lost prompt still leaves the read
  tcsetattr(tty.get(), TCSAFLUSH, &quiet);
  password.clear();
  for (char c; read(tty.get(), &c, 1) == 1 && c != '\n';) password += c;
  tcsetattr(tty.get(), TCSAFLUSH, &saved);
  static_cast<void>(write(tty.get(), "\n", 1));
  return true;
}

// One request, built from a command's words.
struct Request {
  std::uint8_t type = kTypeParamGet;
  std::string text;
  bool unknown_members = false;  // warned: sent, but the exit is kLocalError
};

// A document argument: inline JSON, @FILE, or - (standard input).
bool is_document(const std::string& word) { return word == "-" || word[0] == '{' || word[0] == '@'; }

int build_request(const std::string& command, std::span<const std::string> words, const Options& options,
                  Request& request) {
  if (command == "query") {
    request.type = kTypeSysQuery;
  } else if (command == "get" || command == "set") {
    request.type = command == "get" ? kTypeParamGet : kTypeParamSet;
    if (words.empty()) return complain(kLocalError, command + " needs a path or a document");
  } else {
    return complain(kLocalError, "unknown command '" + command + "' (see --help)");
  }
  JsonPtr document;
  std::string error;
  if (words.empty()) {
    document.reset(json_tokener_parse(std::string(client::kFeatureRequest).c_str()));
  } else if (words.size() == 1 && is_document(words[0])) {
    std::string text = words[0];
    if (text[0] == '@' || text == "-") {
      if (!read_source(text == "-" ? text : text.substr(1), text, error)) return complain(kLocalError, error);
    }
    if (!cli::parse_document(text, document, error)) return complain(kLocalError, "malformed document: " + error);
    for (const std::string& warning : cli::unknown_members(document.get())) {
      complain(kLocalError, "warning: " + warning);
      request.unknown_members = true;
    }
  } else if (request.type == kTypeSysQuery) {
    return complain(kLocalError, "query takes a document, not paths");
  } else {
    document.reset(json_object_new_object());
    for (const std::string& word : words) {
      const bool added = request.type == kTypeParamGet ? cli::add_get(document.get(), word, error)
                                                       : cli::add_set(document.get(), word, error);
      if (!added) return complain(kLocalError, error);
    }
  }
  if (!options.band.empty()) cli::add_band(document.get(), options.band);
  request.text = json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
  if (request.text.size() > kMaxPayload)
    return complain(kLocalError, "the request has " + std::to_string(request.text.size()) +
                                     " bytes; one message carries at most " + std::to_string(kMaxPayload));
  return kServed;
}

// One session for a run of requests; a new one after the agent closed the last.
class Connection {
 public:
  explicit Connection(const Options& options) : options_(options) {}

  // Exchanges `request`; false (with the message printed) when no reply came.
  bool exchange(const Request& request, Reply& reply) {
    std::string error;
    if (!session_.valid()) {
      session_ = Session::connect(options_.host, options_.port, options_.timeout, error);
      if (!session_.valid()) {
        complain(kUnreachable, "cannot reach the agent at " + options_.host + ":" + std::to_string(options_.port) +
                                   ": " + error);
        return false;
      }
    }
    if (!session_.exchange(request.type, request.text, options_.password, reply, error)) {
      session_ = Session();
      complain(kUnreachable, error);
      return false;
    }
    // A set that reaches Wi-Fi is answered "{}", and the agent closes to restart Wi-Fi.
    if (request.type == kTypeParamSet && reply.payload == "{}") {
      session_ = Session();
      std::fputs("pemo-cli: Wi-Fi change accepted: the agent closed the session and applies it in about a second\n",
                 stderr);
    }
    return true;
  }

 private:
  const Options& options_;
  Session session_;
};

cli::Layout layout_of(const Options& options) {
  if (options.layout) return *options.layout;
  return isatty(STDOUT_FILENO) != 0 ? cli::Layout::kPretty : cli::Layout::kCompact;
}

int print_reply(const Reply& reply, const Options& options) {
  if (reply.status() <= 0) {
    complain(kAgentStatus, "status " + std::to_string(reply.status()) + ": " +
                               std::string(cli::status_meaning(reply.status())));
    return reply.status() == 0 ? kServed : kAgentStatus;
  }
  JsonPtr document(json_tokener_parse(reply.payload.c_str()));
  const std::string text = document ? cli::format_reply(document.get(), layout_of(options)) : reply.payload + "\n";
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
  return kServed;
}

int send_one(Connection& connection, const std::string& command, std::span<const std::string> words,
             const Options& options) {
  Request request;
  if (int rc = build_request(command, words, options, request); rc != kServed) return rc;
  Reply reply;
  if (!connection.exchange(request, reply)) return kUnreachable;
  const int rc = print_reply(reply, options);
  return request.unknown_members ? std::max(rc, static_cast<int>(kLocalError)) : rc;
}

// The words of a batch line: blanks separate them, quotes group them ('...' as
// it stands, "..." with \" and \\), and a document runs to the end of the line.
bool split_words(const std::string& line, std::vector<std::string>& words, std::string& error) {
  words.clear();
  std::size_t k = line.find_first_not_of(" \t");
  while (k < line.size()) {
    if (!words.empty() && line[k] == '{') {
      words.push_back(line.substr(k));
      return true;
    }
    std::string word;
    for (; k < line.size() && line[k] != ' ' && line[k] != '\t'; ++k) {
      const char c = line[k];
      if (c == '\'' || c == '"') {
        std::size_t end = k + 1;
        for (; end < line.size() && line[end] != c; ++end) {
          if (c == '"' && line[end] == '\\' && end + 1 < line.size()) ++end;
          word += line[end];
        }
        if (end >= line.size()) {
          error = "a quote is not closed";
          return false;
        }
        k = end;
      } else if (c == '\\' && k + 1 < line.size()) {
        word += line[++k];
      } else {
        word += c;
      }
    }
    words.push_back(std::move(word));
    k = line.find_first_not_of(" \t", k);
  }
  return true;
}

int run_batch(std::span<const std::string> words, const Options& options) {
  if (words.size() != 1) return complain(kLocalError, "batch takes one file (- for standard input)");
  std::string text, error;
  if (!read_source(words[0], text, error)) return complain(kLocalError, error);
  Connection connection(options);
  std::istringstream lines(text);
  int worst = kServed;
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos || line[first] == '#') continue;
    std::vector<std::string> parts;
    if (!split_words(line, parts, error)) {
      worst = std::max(worst, complain(kLocalError, "line " + std::to_string(number) + ": " + error));
      continue;
    }
    const int rc = send_one(connection, parts[0], std::span(parts).subspan(1), options);
    if (rc != kServed) std::fprintf(stderr, "pemo-cli: line %d: exit %d\n", number, rc);
    worst = std::max(worst, rc);
  }
  return worst;
}

// The host table's columns: member, heading.
constexpr std::pair<const char*, const char*> kHostColumns[] = {
    {"PhysAddress", "MAC"},     {"IPAddress", "IP"},
    {"HostName", "NAME"},       {"X_Halvo_HostType", "TYPE"},
    {"Active", "ACTIVE"},       {"X_Halvo_ConnectionType", "CONNECTION"},
    {"X_Halvo_Band", "BAND"},   {"X_Halvo_RSSI", "RSSI"},
};

// Reads the host count, then the hosts, in one session: the snapshot that the
// count takes lives as long as the session.
int run_hosts(std::span<const std::string> words, const Options& options) {
  if (!words.empty()) return complain(kLocalError, "hosts takes no arguments");
  Connection connection(options);
  Reply reply;
  if (!connection.exchange({kTypeParamGet, kHostCount, false}, reply)) return kUnreachable;
  if (reply.status() <= 0) return print_reply(reply, options);
  JsonPtr counted(json_tokener_parse(reply.payload.c_str()));
  const int count = json_integer(json_member(json_member(json_member(counted.get(), "Device"), "Hosts"),
                                             "HostNumberOfEntries")).value_or(0);
  std::vector<std::vector<std::string>> rows = {{"#"}};
  for (const auto& [member, heading] : kHostColumns) rows[0].emplace_back(heading);
  for (int first = 1; first <= count; first += client::kHostsPerRequest) {
    const int last = std::min(count, first + client::kHostsPerRequest - 1);
    JsonPtr document(json_object_new_object());
    for (int k = first; k <= last; ++k)
      for (const auto& [member, heading] : kHostColumns) {
        std::string error;
        const std::string path = "Device.Hosts.Host." + std::to_string(k) + "." + member;
        if (!cli::add_get(document.get(), path, error)) return complain(kLocalError, error);
      }
    if (!connection.exchange({kTypeParamGet, json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN),
                              false},
                             reply))
      return kUnreachable;
    if (reply.status() <= 0) return print_reply(reply, options);
    JsonPtr hosts(json_tokener_parse(reply.payload.c_str()));
    json_object* table = json_member(json_member(json_member(hosts.get(), "Device"), "Hosts"), "Host");
    for (int k = first; k <= last; ++k) {
      json_object* host = json_member(table, ("i" + std::to_string(k)).c_str());
      rows.push_back({std::to_string(k)});
      for (const auto& [member, heading] : kHostColumns) rows.back().push_back(cli::value_text(json_member(host, member)));
    }
  }
  std::vector<std::size_t> widths(rows[0].size(), 0);
  for (const auto& row : rows)
    for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t c = 0; c < row.size(); ++c)
      line += c + 1 < row.size() ? row[c] + std::string(widths[c] - row[c].size() + 2, ' ') : row[c];
    std::printf("%s\n", line.c_str());
  }
  return kServed;
}

// Identity members worth a column, wherever the identity document holds them.
void find_member(json_object* object, const char* name, std::string& out) {
  if (!json_object_is_type(object, json_type_object) || !out.empty()) return;
  if (auto text = json_text(json_member(object, name))) {
    out = *text;
    return;
  }
  json_object_object_foreach(object, key, value) {
    static_cast<void>(key);
    find_member(value, name, out);
  }
}

int run_discover(std::span<const std::string> words, const Options& options) {
  if (words.size() > 1) return complain(kLocalError, "discover takes at most one address");
  std::vector<std::string> targets;
  std::string error;
  if (!words.empty()) targets.push_back(words[0]);
  else if (!client::local_broadcasts(targets, error)) return complain(kLocalError, error);
  if (targets.empty()) return complain(kUnreachable, "no interface with a broadcast address is up: name an address");
  const auto wait = options.timeout_given ? std::chrono::duration_cast<std::chrono::milliseconds>(options.timeout)
                                          : std::chrono::milliseconds(client::kDiscoveryWait);
  std::vector<client::DiscoveryAnswer> answers;
  for (const std::string& target : targets) {
    std::vector<client::DiscoveryAnswer> more;
    if (!client::discover(target, options.port, wait, client::kFeatureRequest, more, error))
      return complain(kLocalError, "discovery to " + target + " failed: " + error);
    for (auto& answer : more) answers.push_back(std::move(answer));
  }
  JsonPtr list(json_object_new_array());
  bool identified = false;
  for (const auto& answer : answers) {
    JsonPtr identity(answer.header.length > 0 ? json_parse_object(answer.payload.c_str()) : nullptr);
    identified = identified || identity != nullptr;
    if (options.json) {
      json_object* entry = json_object_new_object();
      json_object_object_add(entry, "address", json_object_new_string(answer.address.c_str()));
      if (identity) json_object_object_add(entry, "identity", identity.release());
      else json_object_object_add(entry, "status", json_object_new_int(answer.header.length));
      json_object_array_add(list.get(), entry);
    } else if (identity) {
      std::string model, serial, name;
      find_member(identity.get(), "ModelName", model);
      find_member(identity.get(), "SerialNumber", serial);
      find_member(identity.get(), "SystemName", name);
      std::printf("%-15s  %s  %s  %s\n", answer.address.c_str(), model.c_str(), serial.c_str(), name.c_str());
    } else {
      complain(kAgentStatus, answer.address + " answered status " + std::to_string(answer.header.length) + ": " +
                                 std::string(cli::status_meaning(answer.header.length)));
    }
  }
  if (options.json) std::fputs(cli::format_reply(list.get(), cli::Layout::kPretty).c_str(), stdout);
  if (answers.empty()) return complain(kUnreachable, "no gateway answered");
  return identified ? kServed : kAgentStatus;
}

int run_schema(std::span<const std::string> words, const Options&) {
  if (!words.empty()) return complain(kLocalError, "schema takes no arguments");
  const ParamTree& tree = param_tree();
  for (int k = 0; k < static_cast<int>(kNodeCount); ++k) {
    const ParamNode& node = tree.node(k);
    const char* type = node.type == kInt ? "int" : node.type == kString ? "string" : "object";
    std::printf("%s %s %s %s\n", tree.path(k).c_str(), type, node.handler != nullptr ? handler_name(node.handler) : "-",
                node.argument != nullptr ? node.argument : "-");
  }
  return kServed;
}

int run_statuses(std::span<const std::string> words, const Options&) {
  if (!words.empty()) return complain(kLocalError, "statuses takes no arguments");
  for (const StatusRow& row : kStatusTable)
    std::printf("%4d  %.*s\n", row.code, static_cast<int>(row.meaning.size()), row.meaning.data());
  return kServed;
}

int run_check_command(std::span<const std::string> words, const Options& options) {
  if (words.size() > 1) return complain(kLocalError, "check takes at most one address");
  cli::CheckOptions check;
  check.host = words.empty() ? options.host : words[0];
  check.port = options.port;
  check.password = options.password;
  check.timeout = options.timeout;
  if (options.timeout_given) check.outcome_wait = options.timeout;
  check.write = options.write;
  check.json = options.json;
  check.only = options.only;
  check.undo_file = cli::default_undo_file(check.host, check.port);
  return cli::run_check(check);
}

int run_request(const std::string& command, std::span<const std::string> words, const Options& options) {
  Connection connection(options);
  return send_one(connection, command, words, options);
}

constexpr struct {
  const char* name;
  int (*run)(std::span<const std::string>, const Options&);
} kCommands[] = {
    {"batch", run_batch}, {"hosts", run_hosts}, {"discover", run_discover}, {"schema", run_schema},
    {"statuses", run_statuses}, {"check", run_check_command},
};

bool parse_number(const char* text, long low, long high, long& value) {
  char* end = nullptr;
  errno = 0;
  value = std::strtol(text, &end, 10);
  return errno == 0 && end != text && *end == '\0' && value >= low && value <= high;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const char* env_password = std::getenv("PEMO_PASSWORD");  // NOLINT(concurrency-mt-unsafe)
  options.password = env_password != nullptr ? env_password : std::string(client::kFactoryPassword);
  enum { kPasswordFile = 256, kAskPassword, kPaths, kJson, kWrite, kOnly };
  const option long_options[] = {{"host", required_argument, nullptr, 'H'},
                                 {"port", required_argument, nullptr, 'p'},
                                 {"password", required_argument, nullptr, 'P'},
                                 {"password-file", required_argument, nullptr, kPasswordFile},
                                 {"ask-password", no_argument, nullptr, kAskPassword},
                                 {"timeout", required_argument, nullptr, 't'},
                                 {"band", required_argument, nullptr, 'b'},
                                 {"compact", no_argument, nullptr, 'c'},
                                 {"paths", no_argument, nullptr, kPaths},
                                 {"json", no_argument, nullptr, kJson},
                                 {"write", no_argument, nullptr, kWrite},
                                 {"only", required_argument, nullptr, kOnly},
                                 {"version", no_argument, nullptr, 'V'},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  std::string error;
  long number = 0;
  for (int c; (c = getopt_long(argc, argv, "H:p:P:t:b:cVh", long_options, nullptr)) != -1;) {  // NOLINT(concurrency-mt-unsafe)
    switch (c) {
      case 'H': options.host = optarg; break;
      case 'p':
        if (!parse_number(optarg, 1, 65535, number)) return complain(kLocalError, "bad port: " + std::string(optarg));
        options.port = static_cast<std::uint16_t>(number);
        break;
      case 'P': options.password = optarg; break;
      case kPasswordFile:
        if (!read_password_file(optarg, options.password, error)) return complain(kLocalError, error);
        break;
      case kAskPassword:
        if (!ask_password(options.password, error)) return complain(kLocalError, error);
        break;
      case 't':
        if (!parse_number(optarg, 1, 3600, number)) return complain(kLocalError, "bad timeout: " + std::string(optarg));
        options.timeout = std::chrono::seconds(number);
        options.timeout_given = true;
        break;
      case 'b':
        options.band = optarg == std::string("2.4G") ? "24G" : optarg;
        if (options.band != "24G" && options.band != "5G") return complain(kLocalError, "the band is 24G or 5G");
        break;
      case 'c': options.layout = cli::Layout::kCompact; break;
      case kPaths: options.layout = cli::Layout::kPaths; break;
      case kJson: options.json = true; break;
      case kWrite: options.write = true; break;
      case kOnly: options.only = optarg; break;
      case 'V': std::printf("pemo-cli %s\n", PEMO_VERSION); return kServed;
      case 'h': usage(stdout); return kServed;
      default: usage(stderr); return kLocalError;
    }
  }
  if (optind >= argc) {
    usage(stderr);
    return kLocalError;
  }
  if (options.password.empty() || options.password.size() > kMaxPassword)
    return complain(kLocalError, "the password must have 1 to 31 characters");
  const std::string command = argv[optind];
  const std::vector<std::string> words(argv + optind + 1, argv + argc);
  for (const auto& entry : kCommands)
    if (command == entry.name) return entry.run(words, options);
  return run_request(command, words, options);
}
