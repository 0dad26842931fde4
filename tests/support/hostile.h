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

// The command line as the shell parses it, without each word's literal text: "W"
// a word, operators as they stand ("NL" a line break), "$" an expansion, "*" a
// glob, "#" a comment, "~" a tilde prefix, "UNTERMINATED" an open quote.
std::vector<std::string> shell_shape(std::string_view command);

// "package.option" for every option of every seeded package, read through `read`;
// each package must still parse whole.
std::set<std::string> option_names(const std::function<std::string(const std::string&)>& read);

}  // namespace pemo::test
