#include "wire/frame.h"

namespace pemo {

HeaderBytes encode_header(const FrameHeader& header) {
  auto length = static_cast<std::uint16_t>(header.length);
  return {header.version, header.type, static_cast<std::uint8_t>(length & 0xff),
          static_cast<std::uint8_t>(length >> 8)};
}

FrameHeader decode_header(const HeaderBytes& bytes) {
  auto length = static_cast<std::uint16_t>(bytes[2] | (bytes[3] << 8));
  return {bytes[0], bytes[1], static_cast<std::int16_t>(length)};
}

int check_request_header(const FrameHeader& header) {
  if (header.type < 1 || header.type > 10) return kStatusBadType;
  if (header.length < 1 || header.length > static_cast<int>(kMaxPayload)) return kStatusBadLength;
  if (header.version != kProtocolVersion) return kStatusBadVersion;
  return 0;
}

}  // namespace pemo
