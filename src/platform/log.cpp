#include "platform/log.h"
#include "wire/status.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

namespace pemo {
namespace {

// The request members and UCI options that hold a password or a key.
constexpr std::array<std::string_view, 3> kSecretMembers = {"ConfigPassword", "PreShareKey", "Password"};
constexpr std::array<std::string_view, 4> kSecretOptions = {"pwd", "password", "pptp_password", "WPAPSKkey"};

std::atomic<bool> masking{true};

constexpr bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The end of the JSON scalar that starts at `at`: past its closing quote for a
// string (a cut line ends it early), else at the next ',', '}' or ']'.
std::size_t scalar_end(std::string_view text, std::size_t at) {
  if (at < text.size() && text[at] == '"') {
    for (std::size_t k = at + 1; k < text.size(); ++k) {
      if (text[k] == '\\') ++k;
      else if (text[k] == '"') return k + 1;
    }
    return text.size();
  }
  const std::size_t end = text.find_first_of(",}]", at);
  return end == std::string_view::npos ? text.size() : end;
}

}  // namespace

std::atomic<int> log_level{kLogDebug};

void log_mask_secrets(bool on) { masking.store(on, std::memory_order_relaxed); }

std::string_view log_value(std::string_view uci_path, std::string_view value) {
  if (!masking.load(std::memory_order_relaxed)) return value;
  const std::string_view option = uci_path.substr(uci_path.rfind('.') + 1);
  return std::find(kSecretOptions.begin(), kSecretOptions.end(), option) != kSecretOptions.end() ? kMasked : value;
}

std::string mask_secret_members(std::string_view text) {
  std::string masked;
  std::size_t copied = 0;
  for (std::size_t quote = text.find('"'); quote != std::string_view::npos; quote = text.find('"', quote + 1)) {
    const std::size_t name_end = text.find('"', quote + 1);
    if (name_end == std::string_view::npos) break;
    const std::string_view name = text.substr(quote + 1, name_end - quote - 1);
    std::size_t at = name_end + 1;
    while (at < text.size() && is_blank(text[at])) ++at;
    if (at >= text.size() || text[at] != ':') {
      quote = name_end;  // a string value, not a member name
      continue;
    }
    for (++at; at < text.size() && is_blank(text[at]);) ++at;
    if (at >= text.size() || text[at] == '{' || text[at] == '[') {
      quote = at;  // the members inside are looked at in turn
      continue;
    }
    const std::size_t end = scalar_end(text, at);
    if (std::find(kSecretMembers.begin(), kSecretMembers.end(), name) != kSecretMembers.end()) {
      masked.append(text.substr(copied, at - copied)).append("\"").append(kMasked).append("\"");
      copied = end;
    }
    quote = end - 1;
  }
  return masked.append(text.substr(copied));
}

void log_open() { openlog("pemo-agent", LOG_NOWAIT, LOG_USER); }

void log_msg(int priority, const char* format, ...) {  // NOLINT(cert-dcl50-cpp)
  if (log_level.load(std::memory_order_relaxed) < priority) return;
  va_list args;
  va_start(args, format);
  if (!masking.load(std::memory_order_relaxed)) {
    vsyslog(priority, format, args);
    va_end(args);
    return;
  }
  va_list measure;
  va_copy(measure, args);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  std::string line(static_cast<std::size_t>(std::max(length, 0)) + 1, '\0');
  std::vsnprintf(line.data(), line.size(), format, args);
  va_end(args);
  line.pop_back();
  syslog(priority, "%s", mask_secret_members(line).c_str());
}

int log_status(int status, const char* reason) {
  const StatusRow* row = status_row(status);
  const std::string_view name = row != nullptr ? row->name : "unnamed";
  log_msg(kLogInfo, "status %d (%.*s): %s", status, static_cast<int>(name.size()), name.data(), reason);
  return status;
}

}  // namespace pemo
