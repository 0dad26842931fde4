#include "wire/cipher.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "wire/frame.h"

namespace pemo {
namespace {

std::string hex(std::string_view bytes) {
  std::string out;
  for (const unsigned char c : bytes) out += {"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
  return out;
}

std::string encipher(std::string_view key, std::string text) {
  SessionCipher(key).crypt(text.data(), text.size());
  return text;
}

// Expected bytes computed by a separate implementation of the key schedule and
// keystream, enciphering the text {"Device":{}}.
TEST(SessionCipher, MatchesReferenceVectors) {
  const std::string text = R"({"Device":{}})";
  EXPECT_EQ(hex(encipher("5", text)), "44b04d56f48badeb4468019e89");
  EXPECT_EQ(hex(encipher("abcdefghijklmnopqrstuvwxyz01234", text)), "57e16ebf120503de13b5c9b9af");
  EXPECT_EQ(hex(encipher("5927", text)), "96d6c11cda1ca8d221cf27f5fb");
}

// The protocol's cipher exactly as the application runs it: the whole 4096-entry
// table through the schedule, then the keystream.
std::string literal_encipher(std::string_view key, std::string text) {
  std::array<std::uint8_t, 4096> s{};
  for (std::size_t k = 0; k < s.size(); ++k) s[k] = static_cast<std::uint8_t>(k % 256);
  std::uint8_t j = 0;
  for (std::size_t k = 0; k < s.size(); ++k) {
    j = static_cast<std::uint8_t>(j + s[k] + static_cast<std::uint8_t>(key[k % key.size()]));
    std::swap(s[k], s[j]);
  }
  std::uint8_t i = 0;
  j = 0;
  for (char& c : text) {
    i = static_cast<std::uint8_t>(i + 1);
    j = static_cast<std::uint8_t>(j + s[i]);
    std::swap(s[i], s[j]);
    c = static_cast<char>(c ^ s[static_cast<std::uint8_t>(s[i] + s[j])]);
  }
  return text;
}

// Every key length past the password limit and long keys around the block sizes,
// bytes above 127, over the largest payload: both index wraps crossed many times.
TEST(SessionCipher, MatchesTheFullTableCipherForEveryKeyLength) {
  std::string payload(4092, '\0');
  for (std::size_t n = 0; n < payload.size(); ++n) payload[n] = static_cast<char>(n * 7 + 3);
  std::vector<std::size_t> lengths{63, 64, 65, 127, 128, 129, 300, 5000};
  for (std::size_t length = 1; length <= 40; ++length) lengths.push_back(length);
  for (const std::size_t length : lengths) {
    std::string key;
    for (std::size_t n = 0; n < length; ++n) key += static_cast<char>(0x5A + 37 * (n + length));
    ASSERT_EQ(encipher(key, payload), literal_encipher(key, payload)) << "key length " << length;
  }
}

TEST(FrameHeader, LengthIsSignedLittleEndian) {
  EXPECT_EQ(encode_header({1, 5, 40}), (HeaderBytes{0x01, 0x05, 0x28, 0x00}));
  EXPECT_EQ(encode_header({2, 5, -8}), (HeaderBytes{0x02, 0x05, 0xF8, 0xFF}));
  FrameHeader h = decode_header({0x01, 0x07, 0xFC, 0x0F});
  EXPECT_EQ(h.length, 4092);
  EXPECT_EQ(decode_header({0x01, 0x07, 0x00, 0x80}).length, -32768);
}

}  // namespace
}  // namespace pemo
