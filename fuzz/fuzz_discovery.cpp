// A discovery datagram as received: header checks, then the identity request.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/discovery.h"
#include "wire/frame.h"
#include "environment.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  pemo::fuzz::enter_gateway(true);
  pemo::test::write_file("/tmp/mfsh.info", "LD Version: 1.0.12\nModel Name: HG-2400\nSerial Number: HG24A0001234\n");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace pemo;
  if (size == 0 || size > 4096) return 0;
  HeaderBytes bytes{};
  std::memcpy(bytes.data(), data, std::min<std::size_t>(size, 4));
  if (discovery_header_status(decode_header(bytes)) != 0) return 0;
  std::string reply;
  const std::string payload(reinterpret_cast<const char*>(data) + std::min<std::size_t>(size, 4),
                            size - std::min<std::size_t>(size, 4));
  const int r = doDevDiscoverReq(payload, reply);
  if (r > 0 && static_cast<std::size_t>(r) != reply.size()) std::abort();
  return 0;
}
