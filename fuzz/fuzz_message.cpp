// A TCP message as received (header and payload), enciphered with the gateway's
// password: header checks, decipher, the control-byte check, the JSON parse and
// the walk against the tree, in get or set mode as the header's type says.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "wire/cipher.h"
#include "wire/frame.h"
#include "core/session.h"
#include "environment.h"
#include "platform/json.h"
#include "request/parser.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  pemo::fuzz::enter_gateway(true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace pemo;
  if (size < 4 || size > kMessageBufferSize) return 0;
  HeaderBytes bytes;
  std::memcpy(bytes.data(), data, 4);
  const FrameHeader header = decode_header(bytes);
  if (check_request_header(header) != 0 || static_cast<std::size_t>(header.length) > size - 4) return 0;
  // The fuzzer writes plain text; encipher it as the application would, so the
  // agent's decipher yields the fuzzer's bytes.
  std::string payload(reinterpret_cast<const char*>(data) + 4, static_cast<std::size_t>(header.length));
  SessionCipher("5927").crypt(payload.data(), payload.size());
  SessionCipher("5927").crypt(payload.data(), payload.size());
  if (has_forbidden_byte(payload.data(), payload.size())) return 0;
  JsonPtr document(json_tokener_parse(payload.c_str()));
  if (!document || !json_object_is_type(document.get(), json_type_object)) return 0;
  ParseContext context = new_parse_context(header.type == kTypeParamSet);
  message_parser(document.get(), context);
  static_cast<void>(json_object_to_json_string(document.get()));
  return 0;
}
