// UCI package text and a lookup path: parse, resolve, and the formatted text must
// read back to the same package.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/uci.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace pemo::uci;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t split = input.find('\n');
  const std::string_view path_text = input.substr(0, split);
  const std::string_view text = split == std::string_view::npos ? std::string_view{} : input.substr(split + 1);
  Package package;
  ParseError error;
  if (parse_package(text, "p", package, error) == kOk) {
    Path path;
    if (parse_path(path_text, path) == kOk) static_cast<void>(resolve(package, path));
    const std::string formatted = format_package(package);
    Package again;
    if (parse_package(formatted, "p", again, error) != kOk || format_package(again) != formatted) std::abort();
  }
  return 0;
}
