// The UCI configuration format and its semantics, kept interchangeable with the
// platform's own library: package files under a config directory, staged changes
// as one record per line in a save directory, lookups in the extended syntax, and
// the same file locks. Shared by the agent (cfg.h) and the `uci` command-line tool.
//
// uci_text.cpp reads and writes package text, uci_delta.cpp the change records
// and what each does to a package, uci.cpp the files and their locks.
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
  std::string name;  // generated "cfgNNHHHH" for an anonymous section
  std::string type;
  bool anonymous = false;
  std::vector<Option> options;
  Option* option(std::string_view option_name);
  const Option* option(std::string_view option_name) const;
};

struct Package {
  std::string name;
  std::vector<Section> sections;
  // Sections ever created in this package, deleted ones included: the counter
  // that anonymous section names carry.
  int sections_made = 0;
  Section* section(std::string_view section_name);
  const Section* section(std::string_view section_name) const;
};

struct ParseError {
  int line = 0;
  std::string message;
};

// Package names are file names: letters, digits, '_' and '-'. Section and option
// names: letters, digits and '_'. Section types: any printable character but the
// blank. Values may hold anything but control characters other than tab, CR, LF.
bool valid_package_name(std::string_view name);
bool valid_name(std::string_view name);
bool valid_type(std::string_view type);
bool valid_value(std::string_view value);

// Splits UCI text into statements of words: bare, 'single-quoted' (kept as is,
// across lines) and "double-quoted" (a backslash takes the next character; a
// backslash before a line feed joins the lines) pieces, glued when adjacent. An
// unquoted '#' ends the line; an unquoted ';' ends the statement.
class Words {
 public:
  explicit Words(std::string_view text) : text_(text) {}
  bool at_end() const { return pos_ >= text_.size(); }
  int line() const { return line_; }  // where the next statement begins
  // The words of the next statement; false (with `error`) for text that ends
  // inside quotes or holds a NUL byte. A statement may be empty.
  bool next(std::vector<std::string>& words, ParseError& error);

 private:
  bool read_word(std::string& word, bool& ends_line, ParseError& error);
  std::string_view text_;
  std::size_t pos_ = 0;
  int line_ = 1;
};

// A staged change, as the save directory stores it (one line each):
//   pkg.sec='type'  pkg.sec.opt='value'   set        -pkg.sec[.opt][='index']  delete
//   +pkg.sec='type'                        add section |pkg.sec.opt='value'      list add
//   @pkg.sec[.opt]='name'                  rename      ~pkg.sec.opt='value'      list delete
//   ^pkg.sec='position'                    reorder
enum class Command { kSet, kAdd, kDelete, kRename, kReorder, kListAdd, kListDelete };
struct Change {
  Command command = Command::kSet;
  std::string section;
  std::string option;  // empty for a section
  std::string value;
  bool has_value = true;  // only a delete may go without
};

// Applies one change as the platform's library does. kOk, or the error of a
// change that cannot apply (a missing section, an invalid type); `changed` tells
// whether the package differs afterwards, which is when a change is recorded.
[[nodiscard]] int apply_change(Package& package, const Change& change, bool* changed = nullptr);
// The same for a caller that knows where the change's section is: the index of
// the first section of that name, or the number of sections when there is none.
[[nodiscard]] int apply_change_at(Package& package, std::size_t index, const Change& change, bool* changed = nullptr);
// The record of a change in a save directory, with its line feed.
std::string format_change(std::string_view package, const Change& change);
// How `uci changes` shows a change: "=", "+=" for a list add, "-=" for a list
// delete, a leading '-' for a delete.
std::string describe_change(std::string_view package, const Change& change);
// Reads change records. A record that does not parse or names another package is
// skipped, as the platform's library does, so one bad line loses only itself; a
// last record without its line feed was torn by a crash while being appended and
// is dropped.
std::vector<Change> parse_changes(std::string_view text, std::string_view package);
// The name the platform's library gives the next anonymous section of `type`.
std::string anonymous_name(const Package& package, std::string_view type);

// Parses package text (strict: any error refuses the text). kOk, or kErrParse
// with `error` filled in. A "package" line is checked and otherwise ignored.
[[nodiscard]] int parse_package(std::string_view text, std::string_view name, Package& out, ParseError& error);
// Import: "package" lines start a new package; statements before the first one
// belong to `name` (empty: none may come first). Not strict: a bad statement is
// skipped.
[[nodiscard]] int parse_import(std::string_view text, std::string_view name, std::vector<Package>& out,
                 ParseError& error, bool strict);
// Merge import: the statements become changes to an existing package, applied
// to it and returned for staging.
[[nodiscard]] int parse_merge(std::string_view text, Package& into, std::vector<Change>& changes, ParseError& error,
                bool strict);
// The package as file text (the platform's export form, without its "package"
// line); anonymous sections carry their generated names when `name_anonymous`.
std::string format_package(const Package& package, bool name_anonymous = false);
// One value as a single-quoted word ('it'\''s').
std::string quote_value(std::string_view value);

// A lookup path: package[.section[.option]], where section is a name or
// @type[n] or @[n] (n counts from the end when negative).
struct Path {
  std::string package;
  std::string section;  // a name, empty when by_index
  std::string type;     // with by_index; empty: sections of any type
  int index = 0;        // with by_index
  bool by_index = false;
  bool has_section = false;
  std::string option;
  bool has_option = false;
};
// kOk, or kErrInval for a malformed path or an invalid name.
[[nodiscard]] int parse_path(std::string_view text, Path& out);

enum class Found { kComplete, kSectionMissing, kOptionMissing };
struct Resolved {
  Found found = Found::kSectionMissing;
  const Section* section = nullptr;
  const Option* option = nullptr;
};
Resolved resolve(const Package& package, const Path& path);

struct Dirs {
  std::string config = "/etc/config";
  std::string save = "/tmp/.uci";
  // Further directories of staged changes, read before `save` (never written).
  std::vector<std::string> more_changes;
};

// Loads a package with its staged changes applied, reading each file under a
// shared lock. kOk; kErrNotFound when the package file does not exist; kErrParse
// (with `error`) or kErrIo otherwise. `staged` receives the changes read.
[[nodiscard]] int load_package(const Dirs& dirs, std::string_view name, Package& out, ParseError* error = nullptr,
                 std::vector<Change>* staged = nullptr);
// The same, shared instead of copied, for readers that only look. Outside a
// ReadScope the files are read every time; only their parse is reused, and only
// for the same bytes.
[[nodiscard]] int load_shared(const Dirs& dirs, std::string_view name, std::shared_ptr<const Package>& out,
                ParseError* error = nullptr);

struct ScopeReads;

// While a ReadScope is open on a thread, the thread reads each package once: its
// later loads are served from that read, until the scope ends or the thread
// writes the package through this engine (which reads the files afresh). A
// request opens one: it pays for one read of each package and sees one state of
// it, and another program's change shows in the next request. Scopes do not
// nest: an inner one shares the outer one's reads.
class ReadScope {
 public:
  ReadScope();
  ~ReadScope();
  ReadScope(const ReadScope&) = delete;
  ReadScope& operator=(const ReadScope&) = delete;

 private:
  std::unique_ptr<ScopeReads> reads_;  // null in an inner scope
};
// Drops every read of this thread's scope: a platform command may have changed
// any package.
void forget_reads();

// Stages one change given by a path: resolves @type[n] to the section's name,
// checks that the change applies to the package as it is, and appends its record
// under an exclusive lock of the change file; a change that alters nothing is not
// recorded. For kSet, an option path sets the option (its section must exist) and
// a section path creates the section or sets its type. kOk, kErrInval,
// kErrNotFound, kErrDuplicate (a rename onto an existing name), kErrParse, kErrIo.
[[nodiscard]] int stage(const Dirs& dirs, Command command, const Path& path, std::string_view value);
[[nodiscard]] int stage_set(const Dirs& dirs, const Path& path, std::string_view value);
// Stages a new anonymous section of `type`; `name` receives its generated name.
[[nodiscard]] int stage_add(const Dirs& dirs, std::string_view package, std::string_view type, std::string& name);
// Stages changes already applied to a loaded package (a merge import).
[[nodiscard]] int stage_changes(const Dirs& dirs, std::string_view package, const std::vector<Change>& changes);
// Merges the staged changes into the package file under an exclusive lock of the
// package file, writing a new file beside it and renaming it over; then empties
// the change file. kOk when there were none.
[[nodiscard]] int commit(const Dirs& dirs, std::string_view package);
// Writes a whole package file, staged changes left alone (an import).
[[nodiscard]] int write_package(const Dirs& dirs, const Package& package);
// Drops the staged changes of a package, of one section, or of one option.
[[nodiscard]] int revert(const Dirs& dirs, const Path& path);
[[nodiscard]] int revert(const Dirs& dirs, std::string_view package);
// Packages in the config directory, in name order.
std::vector<std::string> packages(const Dirs& dirs);

}  // namespace pemo::uci
