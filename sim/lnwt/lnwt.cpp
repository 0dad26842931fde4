// Stand-in for the gateway's network-probe library (liblnwt.so): records each call
// in the simulated gateway's call log, where there is one, and does nothing else.
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "platform/lnwt.h"

namespace {

// A text argument as the shell stand-ins log theirs: bare when it is plain, else
// in single quotes with line ends written as \n, so one call is always one line.
std::string logged(const char* text) {
  if (text == nullptr) return "(null)";
  const std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:=,@%+-";
  const std::string_view value(text);
  if (!value.empty() && value.find_first_not_of(plain) == std::string_view::npos) return std::string(value);
  std::string quoted = "'";
  for (char c : value) {
    if (c == '\'')
      quoted += "'\\''";
    else if (c == '\n')
      quoted += "\\n";
    else
      quoted += c;
  }
  return quoted + "'";
}

}  // namespace

extern "C" int lnwt_updtae_netmap_record(const char* mac, int field, const char* name,
                                         const char* type) {
  std::unique_ptr<FILE, int (*)(FILE*)> log(std::fopen("/sim/calls.log", "a"), std::fclose);
  if (log) {
    std::fprintf(log.get(), "lnwt_updtae_netmap_record %s %d %s %s\n", logged(mac).c_str(), field,
                 logged(name).c_str(), logged(type).c_str());
  }
  return 0;
}
