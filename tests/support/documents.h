// Request documents that reach any node of the parameter tree.
#pragma once

#include <string>
#include <vector>

#include "pemo-cli/document.h"

namespace pemo::test {

// The document that holds `value` (JSON text) as the member of `position`, or an
// empty object in its parent when `value` is empty.
inline std::string document_for(const ParamTree& tree, int position, const std::string& value) {
  const std::vector<std::string> names = cli::member_path(tree, position);
  std::string text = value.empty() ? "{}" : "{\"" + names.back() + "\":" + value + "}";
  for (std::size_t k = names.size() - 1; k-- > 0;) text = "{\"" + names[k] + "\":" + text + "}";
  return text;
}

}  // namespace pemo::test
