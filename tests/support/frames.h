// Frame headers as raw bytes, for peers that send what the protocol client would
// refuse to build.
#pragma once

#include <cstdint>
#include <string>

#include "wire/frame.h"

namespace pemo::test {

inline std::string header_bytes(int version, int type, int length) {
  const HeaderBytes h = encode_header({static_cast<std::uint8_t>(version), static_cast<std::uint8_t>(type),
                                       static_cast<std::int16_t>(length)});
  return std::string(reinterpret_cast<const char*>(h.data()), h.size());
}

}  // namespace pemo::test
