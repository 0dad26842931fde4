#include "wire/status.h"
// The 4-byte header in front of every TCP message and UDP datagram.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace pemo {

inline constexpr std::size_t kHeaderSize = 4;
inline constexpr std::size_t kMessageBufferSize = 4096;
inline constexpr std::size_t kMaxPayload = kMessageBufferSize - kHeaderSize;  // 4092
inline constexpr std::uint8_t kProtocolVersion = 1;
inline constexpr std::uint16_t kServicePort = 263;

// Request and reply types.
inline constexpr std::uint8_t kTypeDiscovery = 1;
inline constexpr std::uint8_t kTypeSysQuery = 3;
inline constexpr std::uint8_t kTypeSysQueryReply = 4;
inline constexpr std::uint8_t kTypeParamGet = 5;
inline constexpr std::uint8_t kTypeParamGetReply = 6;
inline constexpr std::uint8_t kTypeParamSet = 7;
inline constexpr std::uint8_t kTypeParamSetReply = 8;

struct FrameHeader {
  std::uint8_t version = 0;
  std::uint8_t type = 0;
  std::int16_t length = 0;  // little-endian on the wire, whatever the host order
};

using HeaderBytes = std::array<std::uint8_t, kHeaderSize>;

HeaderBytes encode_header(const FrameHeader& header);
FrameHeader decode_header(const HeaderBytes& bytes);

// The status of a received request header: 0 when acceptable, else -10, -9 or -8,
// tested in that order.
int check_request_header(const FrameHeader& header);

}  // namespace pemo
