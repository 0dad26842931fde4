// Command-line access to UCI configuration, built from the agent's own UCI code.
// It speaks the platform tool's command line (commands, options, output and exit
// statuses), so scripts and people use it the same way, and it stands in for the
// platform tool in the simulated gateway.
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/uci.h"

namespace {

namespace uci = pemo::uci;

constexpr int kExitError = 1;
constexpr int kExitUnknownCommand = 255;
constexpr std::size_t kMaxBatchWords = 4;  // a command and its arguments on one batch line

struct Cli {
  uci::Dirs dirs;
  bool quiet = false;
  bool no_commit = false;  // -P: changes go to a directory of their own and stay there
  bool merge = false;
  bool show_indexes = true;  // @type[n] for anonymous sections in a whole-package show
  bool strict = true;
  bool name_anonymous = false;
  std::string delimiter = " ";
  FILE* input = stdin;
  bool in_batch = false;
};

Cli cli;

void usage() {
  std::fputs(
      "Usage: uci [<options>] <command> [<arguments>]\n\n"
      "Commands:\n"
      "\tbatch\n"
      "\texport     [<config>]\n"
      "\timport     [<config>]\n"
      "\tchanges    [<config>]\n"
      "\tcommit     [<config>]\n"
      "\tadd        <config> <section-type>\n"
      "\tadd_list   <config>.<section>.<option>=<string>\n"
      "\tdel_list   <config>.<section>.<option>=<string>\n"
      "\tshow       [<config>[.<section>[.<option>]]]\n"
      "\tget        <config>.<section>[.<option>]\n"
      "\tset        <config>.<section>[.<option>]=<value>\n"
      "\tdelete     <config>[.<section>[[.<option>][=<id>]]]\n"
      "\trename     <config>.<section>[.<option>]=<name>\n"
      "\trevert     <config>[.<section>[.<option>]]\n"
      "\treorder    <config>.<section>=<position>\n"
      "\n"
      "Options:\n"
      "\t-c <path>  set the search path for config files (default: /etc/config)\n"
      "\t-d <str>   set the delimiter for list values in uci show\n"
      "\t-f <file>  use <file> as input instead of stdin\n"
      "\t-m         when importing, merge data into an existing package\n"
      "\t-n         name unnamed sections on export\n"
      "\t-N         don't name unnamed sections (default)\n"
      "\t-p <path>  add a search path for config change files\n"
      "\t-P <path>  add a search path for config change files and use as default\n"
      "\t-t <path>  set save path for config change files\n"
      "\t-q         quiet mode (don't print error messages)\n"
      "\t-s         force strict mode (stop on parser errors, default)\n"
      "\t-S         disable strict mode\n"
      "\t-X         do not use extended syntax on 'show'\n"
      "\n",
      stderr);
}

int fail(int error, const uci::ParseError* parse = nullptr) {
  if (!cli.quiet) {
    std::fprintf(stderr, "uci: %s", uci::error_text(error));
    if (parse != nullptr && error == uci::kErrParse)
      std::fprintf(stderr, " (%s) at line %d", parse->message.c_str(), parse->line);
    std::fputc('\n', stderr);
  }
  return kExitError;
}

int load(const std::string& name, uci::Package& package, std::vector<uci::Change>* staged = nullptr) {
  uci::ParseError error;
  const int rc = uci::load_package(cli.dirs, name, package, &error, staged);
  return rc == uci::kOk ? 0 : fail(rc, &error);
}

// Splits "path[=value]"; a path that does not parse is reported.
int split(std::string_view argument, uci::Path& path, std::string& value, bool& has_value) {
  const std::size_t equals = argument.find('=');
  has_value = equals != std::string_view::npos;
  value = has_value ? std::string(argument.substr(equals + 1)) : std::string();
  if (uci::parse_path(argument.substr(0, equals), path) != uci::kOk) return fail(uci::kErrParse);
  if (has_value && !uci::valid_value(value)) return fail(uci::kErrParse);
  return 0;
}

// Values as `show` prints them (each quoted) or `get` does (a list item quoted
// only when it holds a blank), list items joined by the delimiter.
std::string values_text(const uci::Option& option, bool quote) {
  std::string out;
  for (const std::string& item : option.values) {
    if (!out.empty()) out += cli.delimiter;
    const bool blank = option.is_list && item.find_first_of(" \t\r\n") != std::string::npos;
    out += quote || blank ? uci::quote_value(item) : item;
  }
  return out;
}

void show_section(const uci::Package& package, const uci::Section& section, const std::string& ref) {
  std::printf("%s.%s=%s\n", package.name.c_str(), ref.c_str(), section.type.c_str());
  for (const uci::Option& option : section.options)
    std::printf("%s.%s.%s=%s\n", package.name.c_str(), ref.c_str(), option.name.c_str(),
                values_text(option, true).c_str());
}

void show_package(const uci::Package& package) {
  std::vector<std::pair<std::string, int>> seen;  // per type: sections shown so far
  for (const uci::Section& section : package.sections) {
    int index = 0;
    auto it = std::find_if(seen.begin(), seen.end(), [&](const auto& t) { return t.first == section.type; });
    if (it == seen.end()) seen.emplace_back(section.type, 1);
    else index = it->second++;
    const bool indexed = cli.show_indexes && section.anonymous;
    show_section(package, section, indexed ? "@" + section.type + "[" + std::to_string(index) + "]" : section.name);
  }
}

// show, changes, export and commit take one package (or a path) or all of them.
int package_command(std::string_view command, const std::string& argument) {
  uci::Path path;
  std::string value;
  bool has_value = false;
  if (int status = split(argument, path, value, has_value); status != 0) return status;
  if (command == "commit") {
    if (cli.no_commit) return 0;
    const int rc = uci::commit(cli.dirs, path.package);
    return rc == uci::kOk ? 0 : fail(rc);
  }
  uci::Package package;
  std::vector<uci::Change> staged;
  if (int status = load(path.package, package, &staged); status != 0) return status;
  if (command == "changes") {
    for (const uci::Change& change : staged) std::puts(uci::describe_change(package.name, change).c_str());
  } else if (command == "export") {
    std::printf("package %s\n%s", package.name.c_str(), uci::format_package(package, cli.name_anonymous).c_str());
  } else {
    const uci::Resolved found = uci::resolve(package, path);
    if (found.found != uci::Found::kComplete) return fail(uci::kErrNotFound);
    if (found.option != nullptr)
      std::printf("%s.%s.%s=%s\n", package.name.c_str(), found.section->name.c_str(), found.option->name.c_str(),
                  values_text(*found.option, true).c_str());
    else if (found.section != nullptr)
      show_section(package, *found.section, found.section->name);
    else
      show_package(package);
  }
  return 0;
}

int get(const uci::Path& path) {
  uci::Package package;
  if (int status = load(path.package, package); status != 0) return status;
  const uci::Resolved found = uci::resolve(package, path);
  if (found.found != uci::Found::kComplete) return fail(uci::kErrNotFound);
  if (found.option != nullptr) std::puts(values_text(*found.option, false).c_str());
  else if (found.section != nullptr) std::puts(found.section->type.c_str());
  return 0;
}

struct SectionCommand {
  const char* name;
  uci::Command command;
};
constexpr SectionCommand kStaging[] = {
    {"set", uci::Command::kSet},          {"delete", uci::Command::kDelete},
    {"del", uci::Command::kDelete},       {"rename", uci::Command::kRename},
    {"ren", uci::Command::kRename},       {"reorder", uci::Command::kReorder},
    {"add_list", uci::Command::kListAdd}, {"del_list", uci::Command::kListDelete},
};

// get, set, delete, rename, reorder, revert, add_list, del_list: one path argument.
int section_command(std::string_view command, const std::string& argument) {
  uci::Path path;
  std::string value;
  bool has_value = false;
  if (int status = split(argument, path, value, has_value); status != 0) return status;
  if (command == "get" || command == "revert") {
    if (has_value) return kExitError;
    if (command == "get") return get(path);
    uci::Package package;
    if (int status = load(path.package, package); status != 0) return status;
    const int rc = uci::revert(cli.dirs, path);
    return rc == uci::kOk ? 0 : fail(rc);
  }
  for (const SectionCommand& c : kStaging) {
    if (strcasecmp(c.name, std::string(command).c_str()) != 0) continue;
    const bool needs_value = c.command != uci::Command::kDelete;
    if ((needs_value && !has_value) || !path.has_section) return fail(uci::kErrInval);
    // A list item is deleted by its index: a value that does not start with a
    // number is refused silently, as the platform's tool does.
    int index = 0;
    if (c.command == uci::Command::kDelete && has_value && std::sscanf(value.c_str(), "%d", &index) == 0)
      return kExitError;
    const int rc = uci::stage(cli.dirs, c.command, path, value);
    return rc == uci::kOk ? 0 : fail(rc);
  }
  return kExitUnknownCommand;
}

int add(const std::string& package, const std::string& type) {
  std::string name;
  const int rc = uci::stage_add(cli.dirs, package, type, name);
  if (rc != uci::kOk) return fail(rc);
  std::puts(name.c_str());
  return 0;
}

std::string read_input() {
  std::string text;
  char chunk[4096];
  for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, cli.input)) > 0;) text.append(chunk, n);
  return text;
}

int import(const std::vector<std::string>& args) {
  if (args.size() > 2) return kExitUnknownCommand;
  const std::string name = args.size() == 2 ? args[1] : std::string();
  if (cli.merge && name.empty()) return kExitUnknownCommand;
  const std::string text = read_input();
  uci::ParseError error;
  uci::Package existing;
  if (cli.merge && uci::load_package(cli.dirs, name, existing) == uci::kOk) {
    std::vector<uci::Change> changes;
    int rc = uci::parse_merge(text, existing, changes, error, cli.strict);
    if (rc == uci::kOk) rc = uci::stage_changes(cli.dirs, name, changes);
    return rc == uci::kOk ? 0 : fail(rc, &error);
  }
  std::vector<uci::Package> packages;
  int rc = uci::parse_import(text, name, packages, error, cli.strict);
  for (const uci::Package& package : packages) {
    if (rc == uci::kOk) rc = uci::write_package(cli.dirs, package);
  }
  return rc == uci::kOk ? 0 : fail(rc, &error);
}

int run(const std::vector<std::string>& args);

int batch() {
  cli.in_batch = true;
  const std::string text = read_input();
  uci::Words words(text);
  std::vector<std::string> args;
  while (!words.at_end()) {
    uci::ParseError error;
    if (!words.next(args, error)) {
      fail(uci::kErrParse, &error);
      continue;
    }
    if (args.empty()) continue;
    if (args.size() > kMaxBatchWords) {
      if (!cli.quiet) std::fputs("Too many arguments\n", stderr);
      continue;
    }
    if (strcasecmp(args[0].c_str(), "exit") == 0) break;
    if (run(args) == kExitUnknownCommand && !cli.quiet) std::fputs("Unknown command\n", stderr);
    std::fflush(stdout);
  }
  cli.in_batch = false;
  return 0;
}

bool is(const std::string& word, const char* command) { return strcasecmp(word.c_str(), command) == 0; }

int run(const std::vector<std::string>& args) {
  const std::string& command = args[0];
  if (is(command, "batch") && !cli.in_batch) return batch();
  if (is(command, "help")) {
    usage();
    return 0;
  }
  if (is(command, "import")) return import(args);
  if (is(command, "add")) return args.size() == 3 ? add(args[1], args[2]) : kExitUnknownCommand;
  for (const char* name : {"show", "changes", "export", "commit"}) {
    if (!is(command, name)) continue;
    if (args.size() > 2) return kExitUnknownCommand;
    if (args.size() == 2) return package_command(name, args[1]);
    for (const std::string& package : uci::packages(cli.dirs)) static_cast<void>(package_command(name, package));
    return 0;  // as the platform tool: each package reports its own failure
  }
  for (const char* name : {"get", "revert", "set", "delete", "del", "rename", "ren", "reorder", "add_list", "del_list"}) {
    if (!is(command, name)) continue;
    return args.size() == 2 ? section_command(name, args[1]) : kExitUnknownCommand;
  }
  return kExitUnknownCommand;
}

// -P and -t make a directory the one changes are saved to; the previous one is
// still read, before it.
void save_to(const std::string& dir) {
  auto& more = cli.dirs.more_changes;
  std::erase(more, dir);
  if (cli.dirs.save != dir) more.push_back(cli.dirs.save);
  cli.dirs.save = dir;
}

}  // namespace

int main(int argc, char** argv) {
  for (int option; (option = getopt(argc, argv, "c:d:f:mnNp:P:qsSt:X")) != -1;) {  // NOLINT(concurrency-mt-unsafe)
    switch (option) {
      case 'c': cli.dirs.config = optarg; break;
      case 'd': cli.delimiter = optarg; break;
      case 'f':
        if (cli.input != stdin) {
          std::fputs("Too many input files.\n", stderr);
          return kExitError;
        }
        cli.input = std::fopen(optarg, "re");
        if (cli.input == nullptr) {
          std::fprintf(stderr, "uci: %s\n", std::strerror(errno));
          return kExitError;
        }
        break;
      case 'm': cli.merge = true; break;
      case 'n': cli.name_anonymous = true; break;
      case 'N': cli.name_anonymous = false; break;
      case 'p':
        if (optarg != cli.dirs.save && std::find(cli.dirs.more_changes.begin(), cli.dirs.more_changes.end(), optarg) ==
                                           cli.dirs.more_changes.end())
          cli.dirs.more_changes.emplace_back(optarg);
        break;
      case 'P':
        save_to(optarg);
        cli.no_commit = true;
        break;
      case 't': save_to(optarg); break;
      case 'q': cli.quiet = true; break;
      case 's': cli.strict = true; break;
      case 'S': cli.strict = false; break;
      case 'X': cli.show_indexes = false; break;
      default: usage(); return 0;
    }
  }
  if (optind >= argc) {
    usage();
    return 0;
  }
  const std::vector<std::string> args(argv + optind, argv + argc);
  const int status = run(args);
  if (status == kExitUnknownCommand) usage();
  if (cli.input != stdin) std::fclose(cli.input);
  return status;
}
