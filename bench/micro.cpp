// In-process costs: cipher, one UCI read, and the walk of a twenty-leaf get.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "wire/cipher.h"
#include "platform/cfg.h"
#include "platform/log.h"
#include "platform/json.h"
#include "request/parser.h"
#include "sandboxed_main.h"
#include "support/sandbox.h"
#include "workloads.h"

namespace pemo {
namespace {

void BM_CipherKeySchedule(benchmark::State& state) {
  for (auto _ : state) {
    SessionCipher cipher("homegateway-key");
    benchmark::DoNotOptimize(cipher);
  }
}
BENCHMARK(BM_CipherKeySchedule);

void BM_CipherFullPayload(benchmark::State& state) {
  std::string payload(4092, 'x');
  for (auto _ : state) {
    SessionCipher("homegateway-key").crypt(payload.data(), payload.size());
    benchmark::DoNotOptimize(payload.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 4092);
}
BENCHMARK(BM_CipherFullPayload);

void BM_CfgGetSsid(benchmark::State& state) {
  for (auto _ : state) {
    std::string buffer = "wireless.@wifi-iface[4].ssid";
    benchmark::DoNotOptimize(cfg_get(buffer));
  }
}
BENCHMARK(BM_CfgGetSsid);

void BM_ParseAndWalkWifiRead(benchmark::State& state) {
  test::RecordingRunner recorder;
  ScopedRunner scoped(recorder);
  for (auto _ : state) {
    const uci::ReadScope reads;  // as the session serves a message
    JsonPtr document(json_tokener_parse(bench::kWifiRead.c_str()));
    ParseContext context = new_parse_context(false);
    benchmark::DoNotOptimize(message_parser(document.get(), context));
    benchmark::DoNotOptimize(json_object_to_json_string(document.get()));
  }
}
BENCHMARK(BM_ParseAndWalkWifiRead);

}  // namespace
}  // namespace pemo

int main(int argc, char** argv) { return pemo::bench::run_sandboxed(argc, argv); }
