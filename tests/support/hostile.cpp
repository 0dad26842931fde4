#include "support/hostile.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/uci.h"

namespace pemo::test {

std::vector<std::string> hostile_values() {
  using namespace std::string_literals;
  std::vector<std::string> values = {
      ";touch /tmp/pwned", "&& touch /tmp/pwned", "|| touch /tmp/pwned", "| touch /tmp/pwned",
      "& touch /tmp/pwned &", "$(touch /tmp/pwned)", "`touch /tmp/pwned`", "'; touch /tmp/pwned; '",
      "\"; touch /tmp/pwned; \"", "'$(touch /tmp/pwned)'", "\"$(touch /tmp/pwned)\"",
      "\\'; touch /tmp/pwned; \\'", "a\ntouch /tmp/pwned", "a\rtouch /tmp/pwned",
      "a\0;touch /tmp/pwned"s, "$IFS;touch${IFS}/tmp/pwned", "> /tmp/pwned", "2>/tmp/pwned",
      "< /etc/passwd", "{touch,/tmp/pwned}", "$((1+1))", "${PATH}", "*", "?", "~root", "#", "!",
      "\\", "\\\\", "'", "\"", "''", "\"\"", "'\\''", "\"'\"'\"'", " ", "  padded  ", "\t",
      "' OR '1'='1", "'; DROP TABLE Device; --", "\"); DELETE FROM Device; --",
      "x' UNION SELECT name FROM sqlite_master --", "';ATTACH DATABASE '/tmp/pwned' AS p;--",
      "../../../../etc/passwd", "/etc/config/wireless", "..%2f..%2fetc%2fpasswd", "%s%s%s%s%n",
      "%x%x%x%x", "\xff\xfe\x80\x81", "\xc3\x28", "\xe2\x82", "-rf /", "--help", "-c", "a b c",
      "\n\n\n", "x'\n\toption pwned '1'\n#", "x\nconfig pwned 'p'",
      "02:10:18:cc:dd:01'; touch /tmp/pwned; '", "02:10:18:cc:dd:01 02:10:18:cc:dd:02",
      "a4:5e:60:11:22:33\"; touch /tmp/pwned; \"",
  };
  for (std::size_t length : {64, 128, 256, 1024}) values.push_back(std::string(length, 'A'));
  values.push_back(std::string(1800, 'B') + "$(touch /tmp/pwned)" + std::string(1800, 'B'));
  return values;
}

std::vector<std::string> shell_shape(std::string_view command) {
  std::vector<std::string> shape;
  bool in_word = false;
  const auto word = [&] {
    if (!in_word) shape.emplace_back("W");
    in_word = true;
  };
  for (std::size_t k = 0; k < command.size(); ++k) {
    const char c = command[k];
    if (c == ' ' || c == '\t') {
      in_word = false;
    } else if (std::string_view("\n;&|<>()").find(c) != std::string_view::npos) {
      in_word = false;
      shape.emplace_back(c == '\n' ? "NL" : std::string(1, c));
    } else if (c == '\'') {
      word();
      k = command.find('\'', k + 1);
      if (k == std::string_view::npos) return {"UNTERMINATED"};
    } else if (c == '"') {
      word();
      for (++k; k < command.size() && command[k] != '"'; ++k) {
        if (command[k] == '\\') ++k;
        else if (command[k] == '$' || command[k] == '`') shape.emplace_back("$");
      }
      if (k >= command.size()) return {"UNTERMINATED"};
    } else if (c == '#' && !in_word) {  // a comment runs to the line's end
      shape.emplace_back("#");
      k = std::min(command.find('\n', k), command.size()) - 1;
    } else {
      if (c == '~' && !in_word) shape.emplace_back("~");
      word();
      if (c == '\\') ++k;  // the escaped character is literal
      else if (c == '$' || c == '`') shape.emplace_back("$");
      else if (c == '*' || c == '?' || c == '[') shape.emplace_back("*");
    }
  }
  return shape;
}

std::set<std::string> option_names(const std::function<std::string(const std::string&)>& read) {
  std::set<std::string> names;
  for (const char* package : {"wireless", "system", "network", "parental", "firewall", "wps", "wps5G", "web-redirect"}) {
    uci::Package parsed;
    uci::ParseError error;
    EXPECT_EQ(uci::parse_package(read(std::string("/etc/config/") + package), package, parsed, error), uci::kOk)
        << package << " line " << error.line << ": " << error.message;
    for (const uci::Section& section : parsed.sections)
      for (const uci::Option& option : section.options) names.insert(std::string(package) + "." + option.name);
  }
  return names;
}

}  // namespace pemo::test
