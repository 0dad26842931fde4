// The network-probe library's one call: tells the probe daemon that a host's
// name (field 2) or type (field 4) was changed.
#pragma once

extern "C" int lnwt_updtae_netmap_record(const char* mac, int field, const char* name,
                                         const char* type);

namespace pemo {
inline constexpr int kNetmapFieldName = 2;
inline constexpr int kNetmapFieldType = 4;
}  // namespace pemo
