// The UCI-backed nodes, each served by the row of its argument text.
#include "control/parental.h"
#include "info/identity.h"
#include "platform/cfg.h"
#include "wifi/wifi.h"

namespace pemo {
namespace {

using Serve = int (*)(std::string_view name, std::string_view value, ParseContext& context);
constexpr Serve kNoEffect = [](std::string_view, std::string_view, ParseContext&) { return 0; };

// The gateway's values from the probe database, read-only, served by member name.
struct GatewayMember {
  std::string_view name;
  void (*read)(std::string& text);  // leaves `text` as it was when the database has no row
  std::string_view unknown;  // the answer when the database has no row
};
constexpr GatewayMember kGatewayMembers[] = {
    {"GatewayHostname", gateway_name_get, ""},
    {"GatewayHostMAC", gateway_almac_get, ""},
    {"GatewayAutoCfg", gateway_autocfg_get, "0"},
};

// An argument that names an option: the handler text holds its path.
int option_get(std::string_view, std::string_view, ParseContext& context) {
  std::string buffer = context.text;
  const int rc = cfg_get(buffer, kNameCapacity);
  context.text = rc < 0 ? "" : buffer;
  return rc;
}

int option_set(std::string_view name, std::string_view value, ParseContext& context) {
  const std::string path = context.text;
  if (name == "ConfigPassword") {
    // The password keys the session cipher, which takes at most 31 characters: a
    // longer one would lock every client out, so it is refused.
    if (value.size() >= kPasswordCapacity) return kValueRefused;
    if (const int rc = cfg_set(path, value); rc < 0) return rc;  // an unsaved password is no success
    return cfg_apply("system");
  }
  return cfg_set(path, value);
}

int gateway_value_get(std::string_view name, std::string_view value, ParseContext& context) {
  for (const GatewayMember& member : kGatewayMembers) {
    if (member.name != name) continue;
    std::string found(member.unknown);
    member.read(found);
    context.text = found.substr(0, 31);
    return 0;
  }
  return option_get(name, value, context);
}

// The nodes uci_param_handler serves, by their catalogue argument: the Wi-Fi and
// parental members, radio values whose argument text reads as 0 and whose sets
// are accepted without effect, the configuration password's option, and the
// gateway's values (no argument).
struct UciArgument {
  std::string_view argument;
  Serve get, set;
};
constexpr UciArgument kArguments[] = {
    {"uci.wifi.custom", wifi_parameter_get, wifi_parameter_set},
    {"parental.custom.custom", [](std::string_view n, std::string_view, ParseContext& c) { return parental_rule_value_get(n, c); },
     parental_rule_value_set},
    {"WIFI_CHANNEL", kNoEffect, kNoEffect},
    {"GET_AUTOCHANNEL_SELECT", kNoEffect, kNoEffect},
    {"GET_TXPOWER", kNoEffect, kNoEffect},
    {"system.main.pwd", option_get, option_set},
    {"", gateway_value_get, option_set},
};
static_assert(rows_keyed_by(kArguments, kUciArguments));

const UciArgument* row_of(const std::string& argument) {
  for (const UciArgument& row : kArguments)
    if (row.argument == argument) return &row;
  return nullptr;
}

}  // namespace

int uci_param_handler(std::string_view name, std::string_view raw, ParseContext& context) {
  const UciArgument* row = row_of(context.text.substr(0, kMaxName));
  if (row == nullptr) return kNothingHere;  // no catalogue node: its build checks every argument has a row
  if (!context.is_set()) return row->get(name, raw, context);
  int rc = kValueRefused;
  // The configuration password and the guest key are taken whole, quotes and all.
  const bool whole =
      name == "ConfigPassword" || (name == "PreShareKey" && (context.flags & kFlagGuestAp) != 0);
  const std::string_view value = whole ? raw : cut_at_quotes(raw);
  if (!value.empty()) rc = row->set(name, value, context);  // empty, or nothing but quotes: refused
  context.text.clear();  // a set leaves every member as sent
  return rc;
}

}  // namespace pemo
