#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>

#include "platform/fd.h"
#include "platform/uci_files.h"

namespace pemo {

bool read_text_file(const std::string& path, std::string& out, std::size_t limit) {
  UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.valid()) return false;
  out.clear();
  std::array<char, 4096> chunk;
  while (out.size() < limit) {
    ssize_t n = read(fd.get(), chunk.data(), std::min(chunk.size(), limit - out.size()));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    out.append(chunk.data(), static_cast<std::size_t>(n));
  }
  return true;
}

std::string_view first_word(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n\v\f";
  std::size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string_view::npos) return {};
  std::size_t end = text.find_first_of(kBlanks, start);
  return text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
}

int leading_decimal(std::string_view text) {
  const std::string copy(text);  // strtoll needs the terminating zero
  const long long number = std::strtoll(copy.c_str(), nullptr, 10);  // saturates on overflow
  return static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX));
}

std::string read_first_word(const std::string& path) {
  std::string text;
  if (!read_text_file(path, text, 4096)) return {};
  return std::string(first_word(text));
}

bool file_exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

std::vector<std::string> text_lines(std::string_view text, std::size_t limit) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    // A line longer than the buffer is read in pieces, as fgets would.
    do {
      lines.emplace_back(line.substr(0, limit));
      line.remove_prefix(std::min(limit, line.size()));
    } while (!line.empty());
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

std::string error_text(int error) { return std::generic_category().message(error); }

void unlink_file(const std::string& path) { unlink(path.c_str()); }

bool replace_text_file(const std::string& path, const std::string& temp, std::string_view content) {
  bool written = false;
  {
    UniqueFd fd(open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    written = fd.valid() && uci::files::write_all(fd.get(), content) && fsync(fd.get()) == 0;
  }
  if (written && rename(temp.c_str(), path.c_str()) == 0) return true;
  unlink(temp.c_str());
  return false;
}

bool write_text_file(const std::string& path, std::string_view content) {
  UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  return fd.valid() && uci::files::write_all(fd.get(), content);
}

}  // namespace pemo
