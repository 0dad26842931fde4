// Small text files under /tmp and /etc that other gateway software shares with us.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pemo {

// Reads at most `limit` bytes of a file. false when it cannot be opened.
[[nodiscard]] bool read_text_file(const std::string& path, std::string& out, std::size_t limit = std::size_t{64} * 1024);
// The number that a text begins with, after blanks and an optional sign, as atoi
// reads it but clamped to int's range; 0 when it begins with none.
int leading_decimal(std::string_view text);
// The first blank-separated word of a text, or empty.
std::string_view first_word(std::string_view text);
// The first word of a file; empty when the file is missing or has none.
std::string read_first_word(const std::string& path);
bool file_exists(const std::string& path);
// Lines of a text, each read as a line buffer of `limit` characters would: a
// longer line comes in pieces.
std::vector<std::string> text_lines(std::string_view text, std::size_t limit);
// The text of an errno value (thread-safe, unlike strerror).
std::string error_text(int error);
// Removes a file; a missing one is no error.
void unlink_file(const std::string& path);
// Replaces a file whole, as a commit does: the content goes to `temp`, is synced
// and renamed over `path`, so a reader sees the old file or the new one. false,
// with the old file as it was and no `temp` left, when any step fails.
[[nodiscard]] bool replace_text_file(const std::string& path, const std::string& temp, std::string_view content);
// Replaces a file's content. false when it cannot be written.
[[nodiscard]] bool write_text_file(const std::string& path, std::string_view content);

}  // namespace pemo
