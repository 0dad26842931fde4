// The agent's UCI operations. Outside a uci::ReadScope each call loads what it
// needs afresh; inside one (a request), each package is read once, and the
// request's own writes and platform commands make the next read fresh.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/uci.h"
#include "wire/status.h"

namespace pemo {

// A value that does not fit the caller's buffer is kCfgTooLong, never cut: a cut
// password or SSID would silently become another one.

// Buffer sizes of the callers, terminating zero included.
inline constexpr std::size_t kTextCapacity = 128;     // handler text
inline constexpr std::size_t kPasswordCapacity = 32;  // cipher key: at most 31 characters
inline constexpr std::size_t kNameCapacity = 64;

// The platform command that puts a committed package into effect; it receives the
// package name as its one argument and exits 0 on success.
inline constexpr std::string_view kUciApplyCommand = "/sbin/uci_apply";

// Every result is 0 or negative. A package that cannot be loaded for any reason
// (missing, unparsable, unreadable, out of memory) is -12, like a path whose package
// part is no package name; a path whose section or option part is unusable is -13.

// On entry `buffer` holds the path; on success it holds the option's value (list
// values joined by blanks). A path that names only a package or section leaves the
// buffer as it is and returns 0. On every failure the buffer is emptied. Result: 0,
// -12, -13 or -16 (value of `capacity` bytes or more).
[[nodiscard]] int cfg_get(std::string& buffer, std::size_t capacity = kTextCapacity);
// The value at `path`, empty when the read fails; `result`, when given, receives
// cfg_get's result, and `capacity` is cfg_get's.
std::string cfg_value(std::string_view path, int* result = nullptr, std::size_t capacity = kTextCapacity);
// Reads a decimal option as atoi would, clamped to int's range: text that is not a
// number reads as 0, and so does an option or section that is not there. Result:
// 0, or the failure of a package that cannot be read (-12, with `value` 0), which
// a caller about to write on the number must not take for a 0.
[[nodiscard]] int cfg_get_number(std::string_view path, int& value);
// Sets and commits one option. Result: 0, -12, -13 (no such section, or a name or
// value the format cannot hold) or -15 (the change could not be saved or committed).
[[nodiscard]] int cfg_set(std::string_view path, std::string_view value);
// Runs the platform apply command for a package. Result: 0, -12 or -14.
[[nodiscard]] int cfg_apply(std::string_view package);

[[nodiscard]] int get_device_pwd(std::string& buffer);       // "system.main.pwd", at most 31 characters
[[nodiscard]] int get_device_hostname(std::string& buffer);  // "system.main.hostname", at most 63 characters
[[nodiscard]] int apply_wireless();

}  // namespace pemo
