// The session stream cipher. Every payload, in each direction, is processed from a
// fresh key schedule keyed with the device password.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pemo {

class SessionCipher {
 public:
  // `key` must not be empty (an empty key has no schedule); at most 31 bytes are
  // ever passed by the agent, but any length works.
  explicit SessionCipher(std::string_view key);

  // XORs `length` bytes with the keystream; `in` and `out` may be the same.
  void crypt(const std::uint8_t* in, std::uint8_t* out, std::size_t length);
  void crypt(char* data, std::size_t length) {
    auto* bytes = reinterpret_cast<std::uint8_t*>(data);
    crypt(bytes, bytes, length);
  }

 private:
  // The protocol's table has 4096 entries, but only the first 256 are ever read
  // after the schedule, so only those are kept (see the constructor).
  std::array<std::uint8_t, 256> s_;
  std::uint8_t i_ = 0;
  std::uint8_t j_ = 0;
};

}  // namespace pemo
