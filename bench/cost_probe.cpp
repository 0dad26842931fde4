// Runs one fixed operation once, for callgrind's instruction count.
// Usage: pemo_cost_probe cipher [KEY] | cfg_get | walk
#include <cstdio>
#include <string>

#include <valgrind/callgrind.h>

#include "wire/cipher.h"
#include "platform/cfg.h"
#include "platform/json.h"
#include "request/parser.h"
#include "support/sandbox.h"
#include "workloads.h"

int main(int argc, char** argv) {
  using namespace pemo;
  std::string why;
  if (argc < 2 || argc > 3 || !test::enter_sandbox(why)) {
    std::fprintf(stderr, "usage: pemo_cost_probe cipher [KEY] | cfg_get | walk (needs namespaces: %s)\n", why.c_str());
    return 2;
  }
  test::seed_gateway_config();
  test::RecordingRunner recorder;
  ScopedRunner scoped(recorder);
  const std::string what = argv[1];
  std::string payload(4092, 'x');
  std::string buffer = "wireless.@wifi-iface[4].ssid";
  static_cast<void>(cfg_get(buffer));  // warm: the measured read is the steady-state one
  CALLGRIND_START_INSTRUMENTATION;
  if (what == "cipher") {
    SessionCipher(argc > 2 ? argv[2] : "homegateway-key").crypt(payload.data(), payload.size());
  } else if (what == "cfg_get") {
    buffer = "wireless.@wifi-iface[4].ssid";
    static_cast<void>(cfg_get(buffer));  // measured for its cost, not its value
  } else if (what == "walk") {
    const uci::ReadScope reads;  // as the session serves a message
    JsonPtr document(json_tokener_parse(bench::kWifiRead.c_str()));
    ParseContext context = new_parse_context(false);
    static_cast<void>(message_parser(document.get(), context));  // measured for its cost
  }
  CALLGRIND_STOP_INSTRUMENTATION;
  return 0;
}
