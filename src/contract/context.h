#include "wire/status.h"
// The handler contract: what a parameter handler receives and leaves behind.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace pemo {

// JSON value types a node can expect (json-c's enumeration).
inline constexpr int kInt = 3;
inline constexpr int kObject = 4;
inline constexpr int kString = 6;

// ParseContext flag bits.
inline constexpr std::uint32_t kFlagWifiApply = 0x1;      // apply Wi-Fi after the set
inline constexpr std::uint32_t kFlagInstance = 0x2;       // an instance member was just recorded
inline constexpr std::uint32_t kFlagMagicMismatch = 0x4;  // request's MagicNum is not ours
inline constexpr std::uint32_t kFlagVersionFail = 0x8;    // request's AppVersion is not 1
inline constexpr std::uint32_t kFlagGuestAp = 0x10;       // walking inside X_Halvo_GuestAP
inline constexpr std::uint32_t kFlagSet = 0x20;           // set request
inline constexpr std::uint32_t kFlagWan = 0x1000;         // the request holds an object "Wan"

inline constexpr std::size_t kMaxInstanceLevels = 8;
// The handler text holds at most this many characters (a 128-byte buffer's worth).
inline constexpr std::size_t kMaxText = 127;
// Member names and argument texts are compared and copied up to this length.
inline constexpr std::size_t kMaxName = 63;

struct ParseContext;

// (member name, member value as text, context) -> 0, -5 (nothing here, treated as
// success) or a negative error that ends the walk. In a get request the handler
// leaves the value in `text`; in a set request a non-empty `text` replaces the
// member's value in the reply.
using ParamHandler = int (*)(std::string_view name, std::string_view value, ParseContext& context);

struct ParseContext {
  int object_depth = 0;
  int node_type = 0;
  std::array<int, kMaxInstanceLevels> instance{};  // 0-based, outermost first
  int instance_depth = 0;
  int node_index = 0;
  int node_parent = 0;
  std::uint32_t flags = 0;
  ParamHandler handler = nullptr;
  std::string text;  // at most kMaxText characters
  int position = 0;  // tree position at which the next member search starts

  bool is_set() const { return (flags & kFlagSet) != 0; }
  // The innermost instance, 1-based, or 0 outside any instance.
  int innermost_instance() const {
    return instance_depth > 0 ? instance[static_cast<std::size_t>(instance_depth - 1)] + 1 : 0;
  }
};

// Most handlers cut set values at double quotes: leading quotes are skipped and the
// text ends before the next one.
inline std::string_view cut_at_quotes(std::string_view text) {
  const std::size_t start = text.find_first_not_of('"');
  if (start == std::string_view::npos) return {};
  text.remove_prefix(start);
  return text.substr(0, text.find('"'));
}

// For handlers that serve a member without changing it: a get answers the value
// as sent, a set leaves it as sent.
inline int leave_as_sent(std::string_view value, ParseContext& context) {
  if (context.is_set())
    context.text.clear();
  else
    context.text.assign(value.substr(0, kMaxText));
  return 0;
}

// Handlers that dispatch by argument text publish their keys in their header, so
// that the catalogue's build fails on a node whose argument no row serves; a table
// states at its definition that it holds exactly those keys, in their order.
template <typename Row, std::size_t kRows, std::size_t kKeys>
constexpr bool rows_keyed_by(const Row (&rows)[kRows], const std::string_view (&keys)[kKeys]) {
  if (kRows != kKeys) return false;
  for (std::size_t k = 0; k < kRows; ++k)
    if (rows[k].argument != keys[k]) return false;
  return true;
}

}  // namespace pemo
