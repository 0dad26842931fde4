// Command-line access to UCI configuration, built from the agent's own UCI code:
// what the agent's shell commands use and what a person needs on the gateway.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/uci.h"

namespace {

namespace uci = pemo::uci;

constexpr int kExitError = 1;
constexpr int kExitUsage = 2;

bool quiet = false;

void usage(FILE* out) {
  std::fputs(
      "Usage: uci [-c <confdir>] [-P <savedir>] [-q] <command> [<argument>]\n"
      "\n"
      "Commands:\n"
      "  get     <package>.<section>[.<option>]           print a value or a section's type\n"
      "  set     <package>.<section>[.<option>]=<value>   stage a change\n"
      "  delete  <package>.<section>[.<option>]           stage a deletion\n"
      "  show    [<package>[.<section>[.<option>]]]       print the configuration\n"
      "  changes [<package>]                              print the staged changes\n"
      "  commit  [<package>]                              write staged changes to the files\n"
      "  revert  <package>                                drop the staged changes\n"
      "\n"
      "A section is a name or @type[index]; a negative index counts from the end.\n"
      "Options:\n"
      "  -c <dir>  package directory (default /etc/config)\n"
      "  -P <dir>  directory of staged changes (default /tmp/.uci)\n"
      "  -q        no error messages\n",
      out);
}

int fail(int error, const std::string& detail = {}) {
  if (!quiet) {
    std::fprintf(stderr, "uci: %s", uci::error_text(error));
    if (!detail.empty()) std::fprintf(stderr, " (%s)", detail.c_str());
    std::fputc('\n', stderr);
  }
  return kExitError;
}

// Loads a package; on failure reports it and returns the exit status.
int load(const uci::Dirs& dirs, const std::string& name, uci::Package& package) {
  uci::ParseError error;
  int rc = uci::load_package(dirs, name, package, &error);
  if (rc == uci::kOk) return 0;
  if (rc == uci::kErrParse)
    return fail(rc, error.message + " at line " + std::to_string(error.line) + " of " + name);
  return fail(rc);
}

int parse(std::string_view text, uci::Path& path) {
  return uci::parse_path(text, path);
}

void print_option(const std::string& prefix, const uci::Option& option) {
  std::string line = prefix + "." + option.name + "=";
  for (std::size_t k = 0; k < option.values.size(); ++k) {
    if (k > 0) line += ' ';
    line += uci::quote_value(option.values[k]);
  }
  std::puts(line.c_str());
}

void print_section(const uci::Package& package, const uci::Section& section) {
  std::string prefix = package.name + ".";
  if (section.anonymous) {
    int index = 0;
    for (const uci::Section& other : package.sections) {
      if (&other == &section) break;
      if (other.type == section.type) ++index;
    }
    prefix += "@" + section.type + "[" + std::to_string(index) + "]";
  } else {
    prefix += section.name;
  }
  std::printf("%s=%s\n", prefix.c_str(), section.type.c_str());
  for (const uci::Option& option : section.options) print_option(prefix, option);
}

int cmd_get(const uci::Dirs& dirs, std::string_view argument) {
  uci::Path path;
  if (parse(argument, path) != uci::kOk || !path.has_section) return fail(uci::kErrInval);
  uci::Package package;
  if (int status = load(dirs, path.package, package); status != 0) return status;
  uci::Resolved found = uci::resolve(package, path);
  if (found.found != uci::Found::kComplete) return fail(uci::kErrNotFound);
  std::puts(found.option != nullptr ? found.option->text().c_str() : found.section->type.c_str());
  return 0;
}

int cmd_set(const uci::Dirs& dirs, std::string_view argument) {
  std::size_t equals = argument.find('=');
  if (equals == std::string_view::npos) return fail(uci::kErrInval, "no value given");
  uci::Path path;
  if (parse(argument.substr(0, equals), path) != uci::kOk || !path.has_section)
    return fail(uci::kErrInval);
  int rc = uci::stage_set(dirs, path, argument.substr(equals + 1));
  return rc == uci::kOk ? 0 : fail(rc);
}

int cmd_delete(const uci::Dirs& dirs, std::string_view argument) {
  uci::Path path;
  if (parse(argument, path) != uci::kOk || !path.has_section) return fail(uci::kErrInval);
  int rc = uci::stage_delete(dirs, path);
  return rc == uci::kOk ? 0 : fail(rc);
}

int show_package(const uci::Dirs& dirs, const std::string& name) {
  uci::Package package;
  if (int status = load(dirs, name, package); status != 0) return status;
  for (const uci::Section& section : package.sections) print_section(package, section);
  return 0;
}

int cmd_show(const uci::Dirs& dirs, const char* argument) {
  if (argument == nullptr) {
    for (const std::string& name : uci::packages(dirs)) {
      if (int rc = show_package(dirs, name); rc != 0) return rc;
    }
    return 0;
  }
  uci::Path path;
  if (parse(argument, path) != uci::kOk) return fail(uci::kErrInval);
  if (!path.has_section) return show_package(dirs, path.package);
  uci::Package package;
  if (int status = load(dirs, path.package, package); status != 0) return status;
  uci::Resolved found = uci::resolve(package, path);
  if (found.found != uci::Found::kComplete) return fail(uci::kErrNotFound);
  if (found.option == nullptr) {
    print_section(package, *found.section);
  } else {
    print_option(package.name + "." + found.section->name, *found.option);
  }
  return 0;
}

int cmd_changes(const uci::Dirs& dirs, const char* argument) {
  std::vector<std::string> names;
  if (argument != nullptr)
    names.emplace_back(argument);
  else
    names = uci::staged_packages(dirs);
  for (const std::string& name : names) {
    std::vector<std::string> lines;
    if (int rc = uci::staged_changes(dirs, name, lines); rc != uci::kOk) return fail(rc);
    for (const std::string& line : lines) std::puts(line.c_str());
  }
  return 0;
}

int cmd_commit(const uci::Dirs& dirs, const char* argument) {
  std::vector<std::string> names;
  if (argument != nullptr)
    names.emplace_back(argument);
  else
    names = uci::staged_packages(dirs);
  int status = 0;
  for (const std::string& name : names) {
    if (int rc = uci::commit(dirs, name); rc != uci::kOk) status = fail(rc, name);
  }
  return status;
}

int cmd_revert(const uci::Dirs& dirs, std::string_view argument) {
  uci::Path path;
  if (parse(argument, path) != uci::kOk || path.has_section) return fail(uci::kErrInval);
  int rc = uci::revert(dirs, path.package);
  return rc == uci::kOk ? 0 : fail(rc);
}

}  // namespace

int main(int argc, char** argv) {
  uci::Dirs dirs;
  for (int option; (option = getopt(argc, argv, "+c:P:qh")) != -1;) {  // NOLINT(concurrency-mt-unsafe)
    switch (option) {
      case 'c': dirs.config = optarg; break;
      case 'P': dirs.save = optarg; break;
      case 'q': quiet = true; break;
      case 'h': usage(stdout); return 0;
      default: usage(stderr); return kExitUsage;
    }
  }
  if (optind >= argc) {
    usage(stderr);
    return kExitUsage;
  }
  std::string_view command = argv[optind];
  const char* argument = optind + 1 < argc ? argv[optind + 1] : nullptr;
  if (optind + 2 < argc) {
    usage(stderr);
    return kExitUsage;
  }
  bool optional = command == "show" || command == "changes" || command == "commit";
  if (argument == nullptr && !optional) {
    usage(stderr);
    return kExitUsage;
  }
  if (command == "get") return cmd_get(dirs, argument);
  if (command == "set") return cmd_set(dirs, argument);
  if (command == "delete") return cmd_delete(dirs, argument);
  if (command == "show") return cmd_show(dirs, argument);
  if (command == "changes") return cmd_changes(dirs, argument);
  if (command == "commit") return cmd_commit(dirs, argument);
  if (command == "revert") return cmd_revert(dirs, argument);
  usage(stderr);
  return kExitUsage;
}
