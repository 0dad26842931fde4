#include "core/cipher.h"

#include <utility>

namespace pemo {

// The state lives in the object, but the loops work on locals: the byte pointers
// they write through could alias it, which would make the compiler reload the
// indices and key on every byte.
SessionCipher::SessionCipher(std::string_view key) {
  std::uint8_t* const s = s_.data();
  for (std::size_t k = 0; k < s_.size(); ++k) s[k] = static_cast<std::uint8_t>(k);
  // The schedule runs over all 4096 entries with an 8-bit index, so entries above
  // 255 are swapped into the first 256, the only ones the keystream reads.
  const auto* const key_bytes = reinterpret_cast<const std::uint8_t*>(key.data());
  const std::size_t key_length = key.size();
  std::uint8_t j = 0;
  std::size_t key_index = 0;  // k mod key length, without a division per entry
  for (std::size_t k = 0; k < s_.size(); ++k) {
    const std::uint8_t entry = s[k];
    j = static_cast<std::uint8_t>(j + entry + key_bytes[key_index]);
    s[k] = s[j];
    s[j] = entry;
    if (++key_index == key_length) key_index = 0;
  }
}

void SessionCipher::crypt(const std::uint8_t* in, std::uint8_t* out, std::size_t length) {
  std::uint8_t* const s = s_.data();
  std::uint8_t i = i_;
  std::uint8_t j = j_;
  for (std::size_t n = 0; n < length; ++n) {
    i = static_cast<std::uint8_t>(i + 1);
    const std::uint8_t si = s[i];
    j = static_cast<std::uint8_t>(j + si);
    const std::uint8_t sj = s[j];
    s[i] = sj;
    s[j] = si;
    out[n] = in[n] ^ s[static_cast<std::uint8_t>(si + sj)];
  }
  i_ = i;
  j_ = j;
}

}  // namespace pemo
