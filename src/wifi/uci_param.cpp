// The UCI-backed nodes: dispatch by argument text, then by member name.
#include "control/parental.h"
#include "info/identity.h"
#include "platform/cfg.h"
#include "wifi/wifi.h"

namespace pemo {
namespace {

constexpr std::string_view kWifiArgument = "uci.wifi.custom";
constexpr std::string_view kParentalArgument = "parental.custom.custom";

bool is_radio_argument(std::string_view argument) {
  return argument == "WIFI_CHANNEL" || argument == "GET_AUTOCHANNEL_SELECT" || argument == "GET_TXPOWER";
}

int uci_set(std::string_view name, std::string_view raw, ParseContext& context,
            const std::string& argument) {
  if (raw.empty()) return kEmptySetValue;
  // The configuration password and the guest key are taken whole, quotes and all.
  const bool whole =
      name == "ConfigPassword" || (name == "PreShareKey" && (context.flags & kFlagGuestAp) != 0);
  const std::string_view value = whole ? raw : cut_at_quotes(raw);
  if (value.empty()) return kEmptySetValue;  // nothing but quotes
  if (argument == kWifiArgument) return wifi_parameter_set(name, value, context);
  if (argument == kParentalArgument) return parental_rule_value_set(name, value, context);
  if (is_radio_argument(argument)) return 0;  // accepted, no effect
  if (name == "ConfigPassword") {
    // The password keys the session cipher, which takes at most 31 characters: a
    // longer one would lock every client out, so it is refused.
    if (value.size() >= kPasswordCapacity) return kValueTooLong;
    if (const int rc = cfg_set(argument, value); rc < 0) return rc;  // an unsaved password is no success
    return cfg_apply("system");
  }
  return cfg_set(argument, value);
}

int uci_get(std::string_view name, std::string_view value, ParseContext& context,
            const std::string& argument) {
  if (argument == kWifiArgument) return wifi_parameter_get(name, value, context);
  if (argument == kParentalArgument) return parental_rule_value_get(name, context);
  if (is_radio_argument(argument)) return 0;  // the argument text reads as 0
  if (name == "GatewayHostname" || name == "GatewayHostMAC") {
    std::string found;
    if (name == "GatewayHostname")
      gateway_name_get(found);
    else
      gateway_almac_get(found);
    context.text = found.substr(0, 31);
    return 0;
  }
  if (name == "GatewayAutoCfg") {
    std::string state = "0";
    gateway_autocfg_get(state);
    context.text = state;
    return 0;
  }
  std::string buffer = argument;
  int rc = cfg_get(buffer, kNameCapacity);
  context.text = rc < 0 ? "" : buffer;
  return rc;
}

}  // namespace

int uci_param_handler(std::string_view name, std::string_view value, ParseContext& context) {
  const std::string argument = context.text.substr(0, kMaxName);
  if (!context.is_set()) return uci_get(name, value, context, argument);
  int rc = uci_set(name, value, context, argument);
  context.text.clear();  // a set leaves every member as sent
  return rc;
}

}  // namespace pemo
