// The agent's UCI operations on the platform's own library (-DPEMO_UCI=libuci):
// a fresh context per call, the extended lookup, set, save, commit, unload.
#include <uci.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "platform/cfg.h"
#include "platform/cfg_report.h"
#include "platform/log.h"

namespace pemo {
namespace {

using namespace cfg_report;

// The gateway's library tells a missing package and a missing section or option
// by these lookup flags; upstream's never sets them, and the lookup itself tells.
constexpr int kLookupPackageMissing = 8;
constexpr int kLookupEntryMissing = 16;

struct ContextDeleter {
  void operator()(uci_context* context) const { uci_free_context(context); }
};
using Context = std::unique_ptr<uci_context, ContextDeleter>;

// A lookup and the package it loaded, unloaded when done. The library keeps
// pointers into `text`, so it lives as long as the lookup.
struct Lookup {
  Context context{uci_alloc_context()};
  std::vector<char> text;
  uci_ptr ptr{};
  int rc = UCI_ERR_MEM;

  explicit Lookup(std::string_view path) : text(path.begin(), path.end()) {
    text.push_back('\0');
    if (context) rc = uci_lookup_ptr(context.get(), &ptr, text.data(), true);
  }
  ~Lookup() {
    if (context && ptr.p != nullptr) uci_unload(context.get(), ptr.p);
  }
  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;

  // 0 when the lookup loaded its package; -12, or -13 for a path that does not parse.
  int package_found(std::string_view path) const {
    uci::Path parsed;
    if (uci::parse_path(path, parsed) != uci::kOk) return unusable_path(path);
    if (rc != UCI_OK || ptr.p == nullptr || (ptr.flags & kLookupPackageMissing) != 0) return package_not_found();
    return 0;
  }
  // The same, and -13 unless every part the path names was found.
  int found(std::string_view path) const {
    if (int result = package_found(path); result != 0) return result;
    if ((ptr.flags & kLookupEntryMissing) != 0 || (ptr.flags & uci_ptr::UCI_LOOKUP_COMPLETE) == 0) return not_found();
    return 0;
  }
};

std::string option_text(const uci_option& option) {
  if (option.type == UCI_TYPE_STRING) return option.v.string;
  std::string joined;  // list items joined by one blank, as the project's engine does
  uci_element* item = nullptr;
  uci_foreach_element(&option.v.list, item) {
    if (!joined.empty()) joined += ' ';
    joined += item->name;
  }
  return joined;
}

}  // namespace

int cfg_get(std::string& buffer, std::size_t capacity) {
  log_msg(kLogDebug, "UCI get command: %s\n", buffer.c_str());
  const Lookup lookup(buffer);
  if (int rc = lookup.found(buffer); rc != 0) {
    buffer.clear();
    return rc;
  }
  if (lookup.ptr.o == nullptr) return 0;  // a package or section path: the buffer stays
  return value_found(buffer, option_text(*lookup.ptr.o), capacity);
}

int cfg_set(std::string_view path, std::string_view value) {
  const std::string path_copy(path), value_copy(value);
  const std::string shown(log_value(path_copy, value_copy));
  log_msg(kLogDebug, "UCI set command: %s value:%s\n", path_copy.c_str(), shown.c_str());
  Lookup lookup(path);
  if (int rc = lookup.package_found(path); rc != 0) return rc;
  // A value the format cannot hold (a NUL byte, a control character) is refused
  // as the project's engine refuses it.
  const int staged = value.find('\0') != std::string_view::npos || !uci::valid_value(value) ? UCI_ERR_INVAL : [&] {
    log_msg(kLogDebug, "set:ptr.value=%s\n", shown.c_str());
    lookup.ptr.value = value_copy.c_str();
    int rc = uci_set(lookup.context.get(), &lookup.ptr);
    if (rc == UCI_OK) rc = uci_save(lookup.context.get(), lookup.ptr.p);
    return rc;
  }();
  if (uci_commit(lookup.context.get(), &lookup.ptr.p, false) != UCI_OK) {
    log_msg(kLogDebug, "failed to commit change!\n");
    return kCfgCommitFailed;
  }
  return set_result(staged);
}

int cfg_apply(std::string_view package) {
  const Lookup lookup(package);
  if (lookup.rc != UCI_OK || lookup.ptr.p == nullptr || !uci::valid_package_name(package)) return package_not_found();
#ifdef PEMO_HAVE_UCI_APPLY
  uci_context* context = lookup.context.get();
  if (const int rc = uci_apply(&context); rc != 0) {
    std::fprintf(stderr, "failed to apply this transaction ret = %d\n", rc);
    return kCfgApplyFailed;
  }
  return 0;
#else
  return run_apply_command(package);  // a library without uci_apply: the platform's command
#endif
}

}  // namespace pemo
