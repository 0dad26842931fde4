#include "wire/cipher.h"

#include <algorithm>
#include <array>

namespace pemo {

namespace {
constexpr std::size_t kScheduleLength = 4096;  // entries the protocol's schedule runs over
}

// The state lives in the object, but the loops work on locals: the byte pointers
// they write through could alias it, which would make the compiler reload the
// indices and key on every byte. The inner loops are unrolled so that their
// counting is paid once per four bytes: the schedule runs twice per exchange.
SessionCipher::SessionCipher(std::string_view key) {
  std::uint8_t* const s = s_.data();
  for (std::size_t k = 0; k < s_.size(); ++k) s[k] = static_cast<std::uint8_t>(k);
  const auto* const key_bytes = reinterpret_cast<const std::uint8_t*>(key.data());
  const std::size_t key_length = key.size();
  std::uint8_t j = 0;
  std::size_t key_index = 0;  // k mod key length, without a division per entry

  // Entries 0..255: the ordinary swap.
  for (std::size_t k = 0; k < s_.size(); ++k) {
    const std::uint8_t entry = s[k];
    j = static_cast<std::uint8_t>(j + entry + key_bytes[key_index]);
    s[k] = s[j];
    s[j] = entry;
    if (++key_index == key_length) key_index = 0;
  }

  // Entries 256..4095: the 8-bit index never reaches them, so each still holds
  // its initial value k mod 256 when the schedule comes to it, and what is
  // swapped into it is never read again. Only the write into S[j] remains.
  // Runs follow the key so that its index needs no wrap test per entry; a short
  // key (the factory password has four bytes) is first repeated into a longer
  // block, which starts at the same key position, so the runs stay long.
  std::array<std::uint8_t, 128> repeated;
  const std::uint8_t* period = key_bytes;
  std::size_t period_length = key_length;
  if (key_length <= repeated.size() / 2) {
    period_length = repeated.size() - repeated.size() % key_length;
    for (std::size_t n = 0; n < period_length; ++n) repeated[n] = key_bytes[n % key_length];
    period = repeated.data();
  }
  std::uint8_t entry = 0;  // k mod 256
  for (std::size_t k = s_.size(); k < kScheduleLength;) {
    const std::size_t run = std::min(period_length - key_index, kScheduleLength - k);
    const std::uint8_t* const key_run = period + key_index;
#pragma GCC unroll 4
    for (std::size_t m = 0; m < run; ++m, ++entry) {
      j = static_cast<std::uint8_t>(j + entry + key_run[m]);
      s[j] = entry;
    }
    k += run;
    key_index = 0;
  }
}

void SessionCipher::crypt(const std::uint8_t* in, std::uint8_t* out, std::size_t length) {
  std::uint8_t* const s = s_.data();
  std::size_t i = i_;
  std::uint8_t j = j_;
  // Runs of i that do not wrap, so the inner loop indexes the table without
  // masking i.
  for (std::size_t n = 0; n < length;) {
    const std::size_t first = (i + 1) & 255U;
    const std::size_t run = std::min(256 - first, length - n);
    std::uint8_t* const table = s + first;
    const std::uint8_t* const src = in + n;
    std::uint8_t* const dst = out + n;
#pragma GCC unroll 4
    for (std::size_t m = 0; m < run; ++m) {
      const std::uint8_t si = table[m];
      j = static_cast<std::uint8_t>(j + si);
      const std::uint8_t sj = s[j];
      table[m] = sj;
      s[j] = si;
      dst[m] = src[m] ^ s[static_cast<std::uint8_t>(si + sj)];
    }
    i = first + run - 1;
    n += run;
  }
  i_ = static_cast<std::uint8_t>(i);
  j_ = j;
}

}  // namespace pemo
