// Hostile request values, and the shape of a shell command line: what the shell
// would make of it apart from the literal text of its words.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace pemo::test {

// The canary that every value able to run something tries to create.
inline constexpr const char* kCanary = "/tmp/pwned";

// Shell metacharacters, both quotes, $(...), backticks, line breaks, NUL, SQL
// fragments, path traversal, format strings, non-UTF-8 bytes, and long texts.
std::vector<std::string> hostile_values();

// The command line as the shell parses it, with each word's literal text left
// out: "W" for a word, the operators (; & | < > ( ) and line breaks) as they
// stand, "$" for an expansion (unquoted or within double quotes), "*" for an
// unquoted glob character, "#" for a comment, "~" for a tilde prefix, and
// "UNTERMINATED" for an open quote. A value that is one quoted word leaves the
// shape of the command as it is with any other value there.
std::vector<std::string> shell_shape(std::string_view command);

// "package.option" for every option of every seeded package, read through `read`
// (a path under /etc/config to its text), after checking with gtest that each
// package still parses whole.
std::set<std::string> option_names(const std::function<std::string(const std::string&)>& read);

}  // namespace pemo::test
