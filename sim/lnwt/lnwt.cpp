// Stand-in for the gateway's network-probe library (liblnwt.so): records each call
// in the simulated gateway's call log, where there is one, and does nothing else.
#include <cstdio>
#include <memory>

#include "platform/lnwt.h"

extern "C" int lnwt_updtae_netmap_record(const char* mac, int field, const char* name,
                                         const char* type) {
  std::unique_ptr<FILE, int (*)(FILE*)> log(std::fopen("/sim/calls.log", "a"), std::fclose);
  if (log) {
    std::fprintf(log.get(), "lnwt_updtae_netmap_record %s %d %s %s\n", mac != nullptr ? mac : "(null)",
                 field, name != nullptr ? name : "(null)", type != nullptr ? type : "(null)");
  }
  return 0;
}
