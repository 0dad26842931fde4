// The UCI configuration format and its semantics: package files under a config
// directory, staged changes in a save directory, lookups in the extended syntax,
// and commits that replace a package file atomically under a per-package lock.
// Shared by the agent (cfg.h) and the `uci` command-line tool.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace pemo::uci {

// Error numbers of the UCI library family; callers pass them through unchanged.
enum Error : int {
  kOk = 0,
  kErrMem = 1,
  kErrInval = 2,
  kErrNotFound = 3,
  kErrIo = 4,
  kErrParse = 5,
  kErrDuplicate = 6,
  kErrUnknown = 7,
};

const char* error_text(int error);

struct Option {
  std::string name;
  bool is_list = false;
  std::vector<std::string> values;  // exactly one for a plain option
  std::string text() const;         // list values joined by one blank
};

struct Section {
  std::string name;  // generated "cfgXXYYYY" for an anonymous section
  std::string type;
  bool anonymous = false;
  std::vector<Option> options;
  Option* option(std::string_view option_name);
  const Option* option(std::string_view option_name) const;
};

struct Package {
  std::string name;
  std::vector<Section> sections;
  Section* section(std::string_view section_name);
  const Section* section(std::string_view section_name) const;
};

struct ParseError {
  int line = 0;
  std::string message;
};

// Package names are file names: letters, digits, '_' and '-'. Section and option
// names: letters, digits and '_'. Section types may also hold '-'.
bool valid_package_name(std::string_view name);
bool valid_name(std::string_view name);
bool valid_type(std::string_view type);

// Parses package text. kOk, or kErrParse with `error` filled in.
int parse_package(std::string_view text, std::string_view name, Package& out, ParseError& error);
// The package as file text that parse_package reads back unchanged.
std::string format_package(const Package& package);
// One value as a single-quoted word ('it'\''s').
std::string quote_value(std::string_view value);

// A lookup path: package[.section[.option]], where section is a name or @type[n]
// (n counts from the end when negative).
struct Path {
  std::string package;
  std::string section;  // a name, empty when by_index
  std::string type;     // with by_index
  int index = 0;        // with by_index
  bool by_index = false;
  bool has_section = false;
  std::string option;
  bool has_option = false;
};
// kOk, or kErrInval for a malformed path or an invalid name.
int parse_path(std::string_view text, Path& out);

struct Dirs {
  std::string config = "/etc/config";
  std::string save = "/tmp/.uci";
};

// Loads a package with its staged changes applied. kOk; kErrNotFound when the
// package file does not exist; kErrParse (with `error`) or kErrIo otherwise.
int load_package(const Dirs& dirs, std::string_view name, Package& out, ParseError* error = nullptr);
// The same, shared instead of copied, for readers that only look. Both files are
// read every time; only their parse is reused, and only for the same bytes.
int load_shared(const Dirs& dirs, std::string_view name, std::shared_ptr<const Package>& out,
                ParseError* error = nullptr);

enum class Found { kComplete, kSectionMissing, kOptionMissing };
struct Resolved {
  Found found = Found::kSectionMissing;
  const Section* section = nullptr;
  const Option* option = nullptr;
};
Resolved resolve(const Package& package, const Path& path);

// Stages `path`=`value`: a section path sets the section's type (creating it), an
// option path sets the option (its section must exist). kOk, kErrInval, kErrNotFound,
// kErrParse or kErrIo. The change is visible to every later load of the package.
int stage_set(const Dirs& dirs, const Path& path, std::string_view value);
// Stages the deletion of a section or option. kOk, kErrNotFound, kErrParse, kErrIo.
int stage_delete(const Dirs& dirs, const Path& path);
// Merges the staged changes into the package file, atomically; kOk when there were none.
int commit(const Dirs& dirs, std::string_view package);
// Drops the staged changes of a package.
int revert(const Dirs& dirs, std::string_view package);
// Packages in the config directory, in name order.
std::vector<std::string> packages(const Dirs& dirs);
// Packages that have staged changes, in name order.
std::vector<std::string> staged_packages(const Dirs& dirs);
// The staged change lines of a package, as stored.
int staged_changes(const Dirs& dirs, std::string_view package, std::vector<std::string>& lines);

}  // namespace pemo::uci
