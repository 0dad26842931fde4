// What both builds of the agent's UCI operations (cfg.cpp on the project's engine,
// cfg_libuci.cpp on the platform's library) report the same way.
#pragma once

#include <string>
#include <string_view>

namespace pemo::cfg_report {

// "can not find package name!" and -12: a package that cannot be used (missing,
// unparsable, unreadable, out of memory, or a name that is no package) counts as not
// found, so its text is never mistaken for a value.
[[nodiscard]] int package_not_found();
// "can not find sec/opt name!" and -13.
[[nodiscard]] int not_found();
// A path that does not parse: its package part decides which of the two it is.
[[nodiscard]] int unusable_path(std::string_view text);
// Copies a found value into the caller's buffer: 0, or -16 with the buffer emptied.
[[nodiscard]] int value_found(std::string& buffer, std::string value, std::size_t capacity);
// Maps the result of staging a set (the library family's numbers) to the agent's.
[[nodiscard]] int set_result(int staged);
// Runs the platform's apply command for a package: 0 or -14.
[[nodiscard]] int run_apply_command(std::string_view package);

}  // namespace pemo::cfg_report
