// Package text: its words, its statements, and the export form written back.
#include <algorithm>
#include <unordered_map>

#include "platform/uci.h"

namespace pemo::uci {
namespace {

bool blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

bool alnum(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool name_chars(std::string_view text, bool allow_dash) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [allow_dash](char c) {
    return alnum(c) || c == '_' || (allow_dash && c == '-');
  });
}

// Escapes single quotes for the inside of a single-quoted word.
std::string escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out;
}

}  // namespace

const char* error_text(int error) {
  switch (error) {
    case kOk: return "Success";
    case kErrMem: return "Out of memory";
    case kErrInval: return "Invalid argument";
    case kErrNotFound: return "Entry not found";
    case kErrIo: return "I/O error";
    case kErrParse: return "Parse error";
    case kErrDuplicate: return "Duplicate entry";
    default: return "Unknown error";
  }
}

std::string Option::text() const {
  std::string joined;
  for (const std::string& v : values) {
    if (!joined.empty()) joined += ' ';
    joined += v;
  }
  return joined;
}

Option* Section::option(std::string_view option_name) {
  auto it = std::find_if(options.begin(), options.end(), [&](const Option& o) { return o.name == option_name; });
  return it == options.end() ? nullptr : &*it;
}

const Option* Section::option(std::string_view option_name) const {
  return const_cast<Section*>(this)->option(option_name);
}

Section* Package::section(std::string_view section_name) {
  auto it = std::find_if(sections.begin(), sections.end(), [&](const Section& s) { return s.name == section_name; });
  return it == sections.end() ? nullptr : &*it;
}

const Section* Package::section(std::string_view section_name) const {
  return const_cast<Package*>(this)->section(section_name);
}

bool valid_package_name(std::string_view name) { return name_chars(name, true); }
bool valid_name(std::string_view name) { return name_chars(name, false); }

bool valid_type(std::string_view type) {
  return !type.empty() && std::all_of(type.begin(), type.end(), [](char c) { return c > ' ' && c < 127; });
}

bool valid_value(std::string_view value) {
  return std::none_of(value.begin(), value.end(), [](char c) {
    const auto u = static_cast<unsigned char>(c);
    return u < 32 && c != '\t' && c != '\n' && c != '\r';
  });
}

bool Words::next(std::vector<std::string>& words, ParseError& error) {
  words.clear();
  for (;;) {
    while (pos_ < text_.size() && blank(text_[pos_])) ++pos_;
    if (pos_ >= text_.size()) return true;
    if (text_[pos_] == '\n') {
      ++pos_;
      ++line_;
      return true;
    }
    if (text_[pos_] == ';') {  // a statement ends here; another may follow on the line
      ++pos_;
      return true;
    }
    if (text_[pos_] == '#') {  // a comment, to the end of the line
      while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
      continue;
    }
    std::string word;
    bool ends_line = false;
    if (!read_word(word, ends_line, error)) return false;
    words.push_back(std::move(word));
    if (ends_line) {
      while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
    }
  }
}

bool Words::read_word(std::string& word, bool& ends_line, ParseError& error) {
  auto fail = [&](int line, const char* message) {
    error.line = line;
    error.message = message;
    return false;
  };
  auto nul = [&] {  // the rest of the line is lost with it, not the lines after
    const std::size_t end = text_.find('\n', pos_);
    pos_ = end == std::string_view::npos ? text_.size() : end;
    return fail(line_, "unexpected NUL byte");
  };
  bool unescaped = true;  // as read: no quote or backslash taken out
  while (pos_ < text_.size()) {
    const char c = text_[pos_];
    if (blank(c) || c == '\n') return true;
    if (c == '\0') return nul();
    if (c == '#') {
      ends_line = true;
      return true;
    }
    if (c == ';') {
      // As the platform's parser does: a ';' right after plain text cuts the
      // line there; after quotes it only ends the statement.
      if (unescaped) ends_line = true;
      return true;
    }
    ++pos_;
    if (c == '\'' || c == '"') {
      unescaped = false;
      // At the end of the text the error names its last line, as the platform's does.
      auto last_line = [&] { return !text_.empty() && text_.back() == '\n' ? line_ - 1 : line_; };
      for (;;) {
        if (pos_ < text_.size() && text_[pos_] == '\0') return nul();
        if (pos_ >= text_.size()) return fail(last_line(), c == '"' ? "EOF with unterminated \"" : "EOF with unterminated '");
        char q = text_[pos_++];
        if (q == c) break;
        if (q == '\n') ++line_;
        if (c == '"' && q == '\\') {
          if (pos_ < text_.size() && text_[pos_] == '\n') {  // a continued line
            ++pos_;
            ++line_;
            continue;
          }
          if (text_.substr(pos_, 2) == "\r\n") {
            pos_ += 2;
            ++line_;
            continue;
          }
          if (pos_ >= text_.size()) return fail(last_line(), "EOF with unterminated \"");
          if (text_[pos_] == '\0') return nul();
          q = text_[pos_++];
        }
        word += q;
      }
    } else if (c == '\\') {
      unescaped = false;
      if (pos_ >= text_.size()) return true;
      if (text_[pos_] == '\n' || text_.substr(pos_, 2) == "\r\n") {
        pos_ += text_[pos_] == '\n' ? 1 : 2;
        ++line_;
        continue;
      }
      if (text_[pos_] == '\0') return nul();
      word += text_[pos_++];
    } else {
      word += c;
    }
  }
  return true;
}

namespace {

// Statements of package text, applied as the platform's parser applies them.
class Parser {
 public:
  Parser(std::vector<Package>& packages, bool strict, bool single)
      : packages_(packages), strict_(strict), single_(single) {}

  void merge_into(Package* package, std::vector<Change>* changes) {
    merge_ = package;
    changes_ = changes;
  }

  // kOk or kErrParse; a bad statement outside strict mode is skipped.
  int run(std::string_view text, std::string_view name, ParseError& error) {
    name_ = name;
    Words words(text);
    std::vector<std::string> statement;
    while (!words.at_end()) {
      const int line = words.line();
      const char* problem = nullptr;
      if (!words.next(statement, error)) {
        if (strict_) return kErrParse;
        continue;  // a NUL byte cost its line; an open quote took the rest of the text
      }
      if (!statement.empty()) problem = take(statement);
      if (problem == nullptr) continue;
      if (strict_) {
        error.line = line;
        error.message = problem;
        return kErrParse;
      }
    }
    return kOk;
  }

 private:
  static bool is(const std::string& word, const char* keyword) {
    return word == keyword || (word.size() == 1 && word[0] == keyword[0]);
  }

  // Applies one statement; the reason it cannot, or null.
  const char* take(const std::vector<std::string>& w) {
    if (is(w[0], "package")) {
      if (w.size() < 2) return "invalid command";
      if (!valid_package_name(w[1])) return "invalid character in name field";
      if (w.size() > 2) return "too many arguments";
      if (!single_) start(w[1]);
      return nullptr;
    }
    if (is(w[0], "config")) return config(w);
    if (is(w[0], "option") || is(w[0], "list")) return option(w, is(w[0], "list"));
    return "invalid command";
  }

  void start(const std::string& name) {
    packages_.push_back(Package{name, {}, 0});
    current_ = packages_.size() - 1;
    section_ = kNone;
    indexed_ = nullptr;
  }

  Package* package() {
    if (merge_ != nullptr) return merge_;
    if (current_ == kNone && !name_.empty()) start(std::string(name_));
    return current_ == kNone ? nullptr : &packages_[current_];
  }

  // Applies a change to the section at `index` (the package's size: none yet).
  const char* record(Package& package, std::size_t index, const Change& change) {
    bool changed = false;
    if (apply_change_at(package, index, change, &changed) != kOk) return "invalid statement";
    if (changes_ != nullptr && changed) changes_->push_back(change);
    return nullptr;
  }

  // Where the first section of a name is, kept as sections are added (a parse
  // adds sections and never removes one), so a long package parses in linear time.
  std::size_t find(const Package& package, const std::string& name) {
    if (indexed_ != &package) {  // another package, or this one moved
      indexed_ = &package;
      first_.clear();
      indexed_count_ = 0;
    }
    for (; indexed_count_ < package.sections.size(); ++indexed_count_)
      first_.emplace(package.sections[indexed_count_].name, indexed_count_);
    auto it = first_.find(name);
    return it == first_.end() ? package.sections.size() : it->second;
  }

  const char* config(const std::vector<std::string>& w) {
    Package* target = package();
    if (target == nullptr) return "attempting to import a file without a package name";
    if (w.size() < 2) return "invalid command";
    if (!valid_type(w[1])) return "invalid character in type field";
    if (w.size() > 2 && !w[2].empty() && !valid_name(w[2])) return "invalid character in name field";
    if (w.size() > 3 && strict_) return "too many arguments";
    Change change{Command::kSet, w.size() > 2 ? w[2] : std::string(), {}, w[1], true};
    if (change.section.empty()) {
      change.command = Command::kAdd;
      change.section = anonymous_name(*target, w[1]);
    }
    std::size_t index = find(*target, change.section);
    if (change.command == Command::kSet && index < target->sections.size() &&
        target->sections[index].type != w[1] && strict_)
      return "section of different type overwrites prior section with same name";
    if (const char* problem = record(*target, index, change); problem != nullptr) return problem;
    section_ = find(*target, change.section);
    return nullptr;
  }

  const char* option(const std::vector<std::string>& w, bool list) {
    Package* target = package();
    if (target == nullptr || section_ >= target->sections.size())
      return "option/list command found before the first section";
    if (w.size() < 2) return "invalid command";
    if (!valid_name(w[1])) return "invalid character in name field";
    if (w.size() > 3 && strict_) return "too many arguments";
    const std::string value = w.size() > 2 ? w[2] : std::string();
    const std::string& name = target->sections[section_].name;
    return record(*target, section_, Change{list ? Command::kListAdd : Command::kSet, name, w[1], value, true});
  }

  std::vector<Package>& packages_;
  bool strict_;
  bool single_;
  std::string_view name_;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t current_ = kNone;  // index: packages are appended while parsing
  Package* merge_ = nullptr;
  std::vector<Change>* changes_ = nullptr;
  std::size_t section_ = kNone;  // the index of the section that options go to
  const Package* indexed_ = nullptr;
  std::size_t indexed_count_ = 0;
  std::unordered_map<std::string, std::size_t> first_;
};

}  // namespace

int parse_package(std::string_view text, std::string_view name, Package& out, ParseError& error) {
  std::vector<Package> packages;
  Parser parser(packages, true, true);
  if (int rc = parser.run(text, name, error); rc != kOk) return rc;
  out = packages.empty() ? Package{std::string(name), {}, 0} : std::move(packages.front());
  return kOk;
}

int parse_import(std::string_view text, std::string_view name, std::vector<Package>& out, ParseError& error,
                 bool strict) {
  out.clear();
  Parser parser(out, strict, false);
  return parser.run(text, name, error);
}

int parse_merge(std::string_view text, Package& into, std::vector<Change>& changes, ParseError& error,
                bool strict) {
  std::vector<Package> none;
  Parser parser(none, strict, true);
  parser.merge_into(&into, &changes);
  return parser.run(text, into.name, error);
}

std::string quote_value(std::string_view value) { return "'" + escape(value) + "'"; }

std::string format_package(const Package& package, bool name_anonymous) {
  std::string text;
  for (const Section& section : package.sections) {
    // A type is written bare, as the library writes it, unless it holds a
    // character that would make it read back as something else.
    const bool plain = section.type.find_first_of("'\"\\#;") == std::string::npos;
    text += "\nconfig " + (plain ? section.type : quote_value(section.type));
    if (!section.anonymous || name_anonymous) text += " " + quote_value(section.name);
    text += '\n';
    for (const Option& option : section.options) {
      for (const std::string& value : option.values) {
        text += option.is_list ? "\tlist " : "\toption ";
        text += escape(option.name) + " " + quote_value(value) + "\n";
      }
    }
  }
  text += '\n';
  return text;
}

}  // namespace pemo::uci
