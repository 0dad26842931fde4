// The gateway's IEEE 1905 multi-AP tool, which every mesh command goes through.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>

#include "platform/files.h"

namespace pemo {

inline constexpr const char* kMeshTool = "/usr/sbin/hv1905App";
// The tool hands a command to an extender and returns; its verdict comes later
// in this file.
inline constexpr const char* kMeshToolAnswer = "/tmp/1905ReturnValue";
// It returns within a second or two on a loaded gateway; a run past this bound
// hangs, and leaves no verdict to read.
inline constexpr std::chrono::seconds kMeshToolBound{30};

// The first line of the answer file, at most `limit` characters; false when the
// file is missing or empty.
inline bool mesh_tool_answer(std::string& line, std::size_t limit) {
  std::string text;
  if (!read_text_file(kMeshToolAnswer, text, 4096) || text.empty()) return false;
  line = text.substr(0, std::min(text.find('\n'), limit));
  return true;
}

}  // namespace pemo
