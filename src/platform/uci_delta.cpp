// Change records and lookup paths: what each change does to a package, and how
// both are written, exactly as the platform's library reads and writes them.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "platform/uci.h"

namespace pemo::uci {
namespace {

struct CommandMark {
  Command command;
  char mark;  // the record's first character; none for a set
};
constexpr std::array<CommandMark, 6> kMarks{{
    {Command::kAdd, '+'},
    {Command::kDelete, '-'},
    {Command::kRename, '@'},
    {Command::kReorder, '^'},
    {Command::kListAdd, '|'},
    {Command::kListDelete, '~'},
}};

std::string target(std::string_view package, const Change& change) {
  std::string text(package);
  text.append(".").append(change.section);
  if (!change.option.empty()) text.append(".").append(change.option);
  return text;
}

// One record's text (its single word) as a change; false for a record the
// platform's library would refuse.
bool parse_record(std::string_view word, std::string_view package, Change& change) {
  change = Change{};
  for (const CommandMark& m : kMarks) {
    if (!word.empty() && word[0] == m.mark) {
      change.command = m.command;
      word.remove_prefix(1);
      break;
    }
  }
  const std::size_t equals = word.find('=');
  change.has_value = equals != std::string_view::npos;
  if (change.has_value) change.value = word.substr(equals + 1);
  Path path;
  if (parse_path(word.substr(0, equals), path) != kOk || path.package != package || !path.has_section ||
      path.by_index || !valid_value(change.value))
    return false;
  change.section = path.section;
  change.option = path.option;
  switch (change.command) {
    case Command::kDelete: return true;
    case Command::kReorder: return change.has_value && change.option.empty();
    case Command::kRename: return change.has_value && valid_name(change.value);
    case Command::kListAdd:
    case Command::kListDelete: return change.has_value && !change.option.empty();
    default: return change.has_value;
  }
}

using SectionIt = std::vector<Section>::iterator;

int set_section(Package& package, SectionIt section, const Change& change, bool& changed) {
  if (change.value.empty()) {  // setting nothing deletes
    if (section == package.sections.end()) return kOk;
    package.sections.erase(section);
    changed = true;
    return kOk;
  }
  if (!valid_type(change.value)) return kErrInval;
  if (section == package.sections.end()) {
    package.sections.push_back(Section{change.section, change.value, false, {}});
    ++package.sections_made;
    section = std::prev(package.sections.end());
    changed = true;
  } else if (section->type != change.value) {
    section->type = change.value;
    changed = true;
  }
  if (change.command == Command::kAdd) section->anonymous = true;
  return kOk;
}

int set_option(Section& section, const Change& change, bool& changed) {
  auto& options = section.options;
  auto option = std::find_if(options.begin(), options.end(), [&](const Option& o) { return o.name == change.option; });
  if (change.value.empty()) {
    if (option == options.end()) return kOk;
    options.erase(option);
  } else if (option == options.end()) {
    options.push_back(Option{change.option, false, {change.value}});
  } else if (!option->is_list && option->values.front() == change.value) {
    return kOk;
  } else {
    *option = Option{change.option, false, {change.value}};  // a list becomes a plain option in its place
  }
  changed = true;
  return kOk;
}

int delete_element(Package& package, SectionIt section, const Change& change, bool& changed) {
  if (section == package.sections.end()) return kErrNotFound;
  if (change.option.empty()) {
    package.sections.erase(section);
    changed = true;
    return kOk;
  }
  auto& options = section->options;
  auto option = std::find_if(options.begin(), options.end(), [&](const Option& o) { return o.name == change.option; });
  if (option == options.end()) return kErrNotFound;
  if (option->is_list && change.has_value && !change.value.empty()) {  // one item, by its index
    int index = 0;
    if (std::sscanf(change.value.c_str(), "%d", &index) != 1) return kErrInval;
    if (index < 0 || index >= static_cast<int>(option->values.size())) return kOk;
    option->values.erase(option->values.begin() + index);
  } else {
    options.erase(option);
  }
  changed = true;
  return kOk;
}

int reorder(Package& package, SectionIt section, const Change& change, bool& changed) {
  if (section == package.sections.end()) return kErrNotFound;
  // The library reads the position with strtoul into an int: "-1" is the front.
  const auto wanted = static_cast<long>(static_cast<int>(std::strtoul(change.value.c_str(), nullptr, 10)));
  const long from = std::distance(package.sections.begin(), section);
  const long last = static_cast<long>(package.sections.size()) - 1;
  const long to = std::max(0L, std::min(wanted, last));
  if (to == from) return kOk;
  Section moved = std::move(*section);
  package.sections.erase(section);
  package.sections.insert(package.sections.begin() + to, std::move(moved));
  changed = true;
  return kOk;
}

}  // namespace

int apply_change(Package& package, const Change& change, bool* changed) {
  auto found = std::find_if(package.sections.begin(), package.sections.end(),
                            [&](const Section& s) { return s.name == change.section; });
  return apply_change_at(package, static_cast<std::size_t>(found - package.sections.begin()), change, changed);
}

int apply_change_at(Package& package, std::size_t index, const Change& change, bool* changed) {
  bool ignored = false;
  bool& did = changed != nullptr ? *changed : ignored;
  did = false;
  const auto section = package.sections.begin() + static_cast<std::ptrdiff_t>(std::min(index, package.sections.size()));
  const bool has_section = section != package.sections.end();
  Option* option = has_section ? section->option(change.option) : nullptr;
  switch (change.command) {
    case Command::kSet:
    case Command::kAdd:
      if (change.option.empty()) return set_section(package, section, change, did);
      return has_section ? set_option(*section, change, did) : kErrInval;
    case Command::kDelete:
      return delete_element(package, section, change, did);
    case Command::kRename:
      if (!has_section || (!change.option.empty() && option == nullptr)) return kErrNotFound;
      if (option != nullptr) {
        option->name = change.value;
      } else {
        section->name = change.value;
        section->anonymous = false;
      }
      did = true;
      return kOk;
    case Command::kReorder:
      return reorder(package, section, change, did);
    case Command::kListAdd:
      if (!has_section) return kErrInval;
      if (option == nullptr) {
        section->options.push_back(Option{change.option, true, {change.value}});
      } else {
        option->is_list = true;  // a plain option becomes the list's first item
        option->values.push_back(change.value);
      }
      did = true;
      return kOk;
    case Command::kListDelete:
      if (!has_section) return kErrInval;
      if (option == nullptr || !option->is_list) return kOk;
      std::erase(option->values, change.value);
      did = true;
      return kOk;
  }
  return kErrInval;
}

std::string format_change(std::string_view package, const Change& change) {
  std::string line;
  for (const CommandMark& m : kMarks)
    if (m.command == change.command) line += m.mark;
  line += target(package, change);
  if (change.command != Command::kDelete || change.has_value) line += "=" + quote_value(change.value);
  line += '\n';
  return line;
}

std::string describe_change(std::string_view package, const Change& change) {
  if (change.command == Command::kDelete) return "-" + target(package, change);
  const char* op = change.command == Command::kListAdd      ? "+="
                   : change.command == Command::kListDelete ? "-="
                                                            : "=";
  return target(package, change) + op + quote_value(change.value);
}

std::vector<Change> parse_changes(std::string_view text, std::string_view package) {
  if (!text.empty() && text.back() != '\n') text = text.substr(0, text.rfind('\n') + 1);  // torn
  std::vector<Change> changes;
  Words words(text);
  std::vector<std::string> record;
  ParseError error;
  while (!words.at_end()) {
    if (!words.next(record, error)) continue;  // a NUL byte costs its line; open quotes end the text
    Change change;
    if (record.size() == 1 && parse_record(record.front(), package, change)) changes.push_back(std::move(change));
  }
  return changes;
}

std::string anonymous_name(const Package& package, std::string_view type) {
  // The library's names: a counter of sections made, then a hash of the type.
  std::uint32_t hash = 5381;
  for (char c : type) hash = hash * 33 + static_cast<std::uint32_t>(static_cast<int>(c));
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "cfg%02x%04x", static_cast<unsigned>(package.sections_made + 1),
                static_cast<unsigned>((hash & 0x7fffffffu) % 0x10000u));
  return name.data();
}

int parse_path(std::string_view text, Path& out) {
  out = Path{};
  std::array<std::string_view, 3> parts;
  std::size_t count = 0;
  for (;;) {
    std::size_t dot = text.find('.');
    if (count == parts.size()) return kErrInval;
    parts[count++] = text.substr(0, dot);
    if (dot == std::string_view::npos) break;
    text.remove_prefix(dot + 1);
  }
  if (!valid_package_name(parts[0])) return kErrInval;
  out.package = parts[0];
  if (count >= 2) {
    std::string_view section = parts[1];
    out.has_section = true;
    if (!section.empty() && section[0] == '@') {
      const std::size_t open = section.find('[');
      if (open == std::string_view::npos || section.back() != ']') return kErrInval;
      const std::string_view type = section.substr(1, open - 1);
      const std::string number(section.substr(open + 1, section.size() - open - 2));
      if (!type.empty() && !valid_type(type)) return kErrInval;
      char* end = nullptr;
      const long index = std::strtol(number.c_str(), &end, 10);  // "" reads as 0, as the library has it
      if (*end != '\0' || index != static_cast<int>(index)) return kErrInval;
      out.index = static_cast<int>(index);
      out.by_index = true;
      out.type = type;
    } else {
      if (!valid_name(section)) return kErrInval;
      out.section = section;
    }
  }
  if (count == 3) {
    if (!valid_name(parts[2])) return kErrInval;
    out.option = parts[2];
    out.has_option = true;
  }
  return kOk;
}

Resolved resolve(const Package& package, const Path& path) {
  Resolved result;
  if (!path.has_section) {
    result.found = Found::kComplete;
    return result;
  }
  if (path.by_index) {
    std::vector<const Section*> typed;
    for (const Section& s : package.sections)
      if (path.type.empty() || s.type == path.type) typed.push_back(&s);
    const long index = path.index < 0 ? static_cast<long>(typed.size()) + path.index : path.index;
    if (index >= 0 && index < static_cast<long>(typed.size())) result.section = typed[static_cast<std::size_t>(index)];
  } else {
    result.section = package.section(path.section);
  }
  if (result.section == nullptr) return result;
  if (path.has_option) {
    result.option = result.section->option(path.option);
    if (result.option == nullptr) {
      result.found = Found::kOptionMissing;
      return result;
    }
  }
  result.found = Found::kComplete;
  return result;
}

}  // namespace pemo::uci
