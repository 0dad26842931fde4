// One SSID read, three ways, in one run: the agent's cfg_get on the project's
// engine (its parse reused while the files are unchanged), the same engine
// parsing afresh, and the platform's libuci as its build of cfg_get calls it (a
// fresh context, the extended lookup, unload, free).
#include <benchmark/benchmark.h>
#include <uci.h>

#include <cstdio>
#include <string>

#include "platform/cfg.h"
#include "platform/log.h"
#include "sandboxed_main.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

constexpr const char* kSsid = "wireless.@wifi-iface[4].ssid";

void BM_OwnEngineCfgGet(benchmark::State& state) {
  for (auto _ : state) {
    std::string buffer = kSsid;
    benchmark::DoNotOptimize(cfg_get(buffer));
  }
}
BENCHMARK(BM_OwnEngineCfgGet);

void BM_OwnEngineParseAfresh(benchmark::State& state) {
  const std::string text = test::read_file("/etc/config/wireless");
  uci::Path path;
  static_cast<void>(uci::parse_path(kSsid, path));  // a fixed, valid path
  for (auto _ : state) {
    uci::Package package;
    uci::ParseError error;
    benchmark::DoNotOptimize(uci::parse_package(text, "wireless", package, error));
    benchmark::DoNotOptimize(uci::resolve(package, path).option);
  }
}
BENCHMARK(BM_OwnEngineParseAfresh);

void BM_LibuciFreshContext(benchmark::State& state) {
  for (auto _ : state) {
    uci_context* context = uci_alloc_context();
    std::string text = kSsid;
    uci_ptr ptr{};
    std::string value;
    if (uci_lookup_ptr(context, &ptr, text.data(), true) == UCI_OK && ptr.o != nullptr &&
        ptr.o->type == UCI_TYPE_STRING)
      value = ptr.o->v.string;
    if (ptr.p != nullptr) uci_unload(context, ptr.p);
    uci_free_context(context);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_LibuciFreshContext);

}  // namespace
}  // namespace pemo

int main(int argc, char** argv) { return pemo::bench::run_sandboxed(argc, argv); }
