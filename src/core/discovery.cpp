#include "core/discovery.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <thread>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <sstream>

#include "core/discovery_seam.h"
#include "core/guard.h"
#include "wire/frame.h"
#include "info/identity.h"
#include "platform/cfg.h"
#include "platform/clock.h"
#include "platform/fd.h"
#include "platform/files.h"
#include "platform/json.h"
#include "platform/log.h"
#include "platform/probe_db.h"
#include "request/parser.h"
#include "request/requests.h"
#include "platform/lifetime.h"

namespace pemo {
namespace {

constexpr const char* kManufacturingFile = "/tmp/mfsh.info";
// The discovery reply carries this type, as each TCP reply carries its request's plus one.
constexpr std::uint8_t kTypeDiscoveryReply = 2;
constexpr std::size_t kDatagramSize = 4096;

constexpr const char* kReplyTemplate =
    R"({"Device":{"DeviceInfo":{"ModelName":"","SerialNumber":"","SoftwareVersion":"",)"
    R"("DeviceMode":"","WIFIConfigFlag":0,"UserConfigFlag":0,"GatewayAPautoconfigEnable":0,)"
    R"("LoginFlag":0,"DirectConnect":1},"X_Halvo_Ext":{"SystemInfo":{"SystemName":""}}}})";

// Read once from the file "sys mfsh" wrote at start-up; only the discovery
// thread uses it, the lock keeps tests that call in from other threads honest.
struct ManufacturingCache {
  std::mutex mutex;
  bool loaded = false;
  std::string software_version, model, serial;
};

ManufacturingCache& manufacturing() { return process_lifetime<ManufacturingCache>(); }

void load_manufacturing(ManufacturingCache& info) {
  std::string text;
  if (!read_text_file(kManufacturingFile, text)) {
    std::printf("%s : fopen is NULL, %s\n", "deviceInfoGet", error_text(errno).c_str());
    std::fflush(stdout);
    return;
  }
  const Manufacturing found = parse_manufacturing(text);
  info.software_version = found.software_version;
  info.model = found.model;
  info.serial = found.serial;
  info.loaded = true;
}

// {"Device":{"X_Halvo_Ext":{"AppInfo":{...}}}} holding only the request's
// MagicNum and AppVersion, those it has.
JsonPtr app_info_only(json_object* request) {
  JsonPtr kept(json_object_new_object());
  json_object* info = json_member(json_member(json_member(request, "Device"), "X_Halvo_Ext"), "AppInfo");
  if (info == nullptr) return kept;
  json_object* members = json_object_new_object();
  for (const char* name : {"MagicNum", "AppVersion"})
    if (json_object* value = json_member(info, name); value != nullptr)
      json_object_object_add(members, name, json_object_get(value));
  json_object* ext = json_object_new_object();
  json_object_object_add(ext, "AppInfo", members);
  json_object* device = json_object_new_object();
  json_object_object_add(device, "X_Halvo_Ext", ext);
  json_object_object_add(kept.get(), "Device", device);
  return kept;
}

// Whether a datagram waited in the socket longer than the app waits for an
// answer; a burst then drains in seconds instead of one pause per datagram.
bool stale(const msghdr& message) {
  for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(const_cast<msghdr*>(&message), c)) {
    if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_TIMESTAMPNS) continue;
    timespec arrived{};
    std::memcpy(&arrived, CMSG_DATA(c), sizeof arrived);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto waited = std::chrono::seconds(now.tv_sec - arrived.tv_sec) +
                        std::chrono::nanoseconds(now.tv_nsec - arrived.tv_nsec);
    return waited > kDiscoveryStaleAfter;
  }
  return false;
}

}  // namespace

Manufacturing parse_manufacturing(std::string_view text) {
  Manufacturing found;
  for (const std::string& line : text_lines(text, 63)) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string key = line.substr(0, std::min<std::size_t>(colon, 31));
    const std::string value(first_word(std::string_view(line).substr(colon + 1)));
    if (key.find("LD") != std::string::npos) {
      found.software_version = value.substr(0, 31);
    } else if (key.find("Model") != std::string::npos) {
      found.model = value.substr(0, 15);
    } else if (key.find("Serial") != std::string::npos) {
      found.serial = value.substr(0, 15);
      break;
    }
  }
  return found;
}

int discovery_header_status(const FrameHeader& header) {
  int code = 0;
  if (header.type != kTypeDiscovery) code = kStatusBadType;
  if (header.length < 1 || header.length > static_cast<int>(kDatagramSize)) code = kStatusBadLength;
  if (header.version != kProtocolVersion) code = kStatusBadVersion;
  return code;
}

int json_member_set(json_object* object, std::string_view name, std::string_view text, int number) {
  if (!json_object_is_type(object, json_type_object)) return -1;
  json_object_object_foreach(object, key, value) {
    if (name == key) {
      switch (json_object_get_type(value)) {
        case json_type_int:
          json_object_set_int(value, number);
          return 0;
        case json_type_boolean:
          json_object_set_boolean(value, number != 0);
          return 0;
        case json_type_string:
          json_object_set_string_len(value, text.data(), static_cast<int>(text.size()));
          return 0;
        default:
          return -1;
      }
    }
    if (json_member_set(value, name, text, number) == 0) return 0;
  }
  return -1;
}

void manufacturing_cache_reset() {
  ManufacturingCache& info = manufacturing();
  std::lock_guard lock(info.mutex);
  info.loaded = false;
  info.software_version.clear();
  info.model.clear();
  info.serial.clear();
}

int deviceInfoGet(DeviceIdentity& identity) {
  identity = DeviceIdentity{};
  ManufacturingCache& info = manufacturing();
  std::unique_lock lock(info.mutex);
  if (!info.loaded) load_manufacturing(info);
  const int wifi_config = wifi_setting_flag_get();
  std::string mac;
  const int autoconfig = gateway_autocfg_state(mac);
  const int login = login_flag_get();

  std::string name = "system.main.hostname";
  identity.system_name = cfg_get(name, kTextCapacity) == 0 ? name : "";
  identity.software_version = info.software_version;
  identity.model_name = info.model;
  identity.serial_number = info.serial;
  lock.unlock();

  std::string mode = "system.main.system_mode";
  if (int rc = cfg_get(mode); rc < 0) return rc;
  identity.device_mode = mode == "1" ? "Router" : "AP";
  identity.wifi_config_flag = wifi_config;
  identity.gateway_ap_autoconfig = autoconfig;
  identity.login_flag = login;
  std::string quick_setup = "system.main.Tovi123";
  int rc = cfg_get(quick_setup);
  if (rc < 0) return rc;
  identity.user_config_flag = quick_setup == "1" ? 1 : 0;
  return rc;
}

int doDevDiscoverReq(std::string_view payload, std::string& reply) {
  log_msg(kLogInfo, "%s : \n", "doDevDiscoverReq");
  {
    JsonPtr request(json_tokener_parse(std::string(payload).c_str()));
    if (!request || !json_object_is_type(request.get(), json_type_object)) return kStatusBadJson;
    // Without a key, only the app's own two members are walked: hardened, no
    // other handler (some have side effects) runs for a datagram.
    if (!guard_strict()) request = app_info_only(request.get());
    ParseContext context = new_parse_context(false);
    int r = message_parser(request.get(), context);
    if ((context.flags & kFlagMagicMismatch) != 0) return kStatusMagicMismatch;
    if ((context.flags & kFlagVersionFail) != 0) return kStatusVersionFail;
    if (r < 0) return r;
  }
  JsonPtr document(json_tokener_parse(kReplyTemplate));
  DeviceIdentity identity;
  // The app is answered with what could be read: a system package that cannot be
  // read leaves the mode empty and the flags 0, as the protocol has it.
  static_cast<void>(deviceInfoGet(identity));
  json_object* root = document.get();
  struct Member {
    const char* name;
    std::string_view text;
    int number;
  };
  const Member members[] = {
      {"SystemName", identity.system_name, 0},
      {"ModelName", identity.model_name, 0},
      {"SoftwareVersion", identity.software_version, 0},
      {"SerialNumber", identity.serial_number, 0},
      {"DeviceMode", identity.device_mode, 0},
      {"WIFIConfigFlag", {}, identity.wifi_config_flag},
      {"GatewayAPautoconfigEnable", {}, identity.gateway_ap_autoconfig},
      {"LoginFlag", {}, identity.login_flag},
      {"DirectConnect", {}, 0},  // this gateway has no direct-connection mode
      {"UserConfigFlag", {}, identity.user_config_flag},
  };
  // Every member named here stands in the template with its type: none can be missing.
  for (const Member& member : members)
    static_cast<void>(json_member_set(root, member.name, member.text, member.number));
  reply = json_object_to_json_string(root);
  log_msg(kLogInfo, "%s : payload: %s\n", "doDevDiscoverReq", reply.c_str());
  log_msg(kLogDebug, "%s : payload Length: %d\n", "doDevDiscoverReq", static_cast<int>(reply.size()));
  if (reply.size() > kMaxPayload) return kStatusBadLength;
  return static_cast<int>(reply.size());
}

void app_discover_main() {
  UniqueFd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!sock.valid()) {
    std::perror("socket");
    std::fflush(nullptr);
    std::_Exit(1);
  }
  int one = 1;
  if (setsockopt(sock.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0)
    std::perror("set sock reuse addr error");
  // Each datagram's arrival time, to tell the stale ones of a burst.
  if (!guard_strict() && setsockopt(sock.get(), SOL_SOCKET, SO_TIMESTAMPNS, &one, sizeof one) != 0)
    std::perror("timestamps");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kServicePort);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(sock.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    std::perror("bind");
    std::fflush(nullptr);
    std::_Exit(1);
  }
  log_msg(kLogInfo, "PEMO Agent UDP socket ready!\n");

  std::array<char, kDatagramSize> buffer{};
  for (;;) {
    // No datagram is read before the probe database can be opened.
    while (!probe_db_ready()) {
      static_cast<void>(probe_db_open());  // the loop asks whether it is ready
      clock_sleep(std::chrono::seconds(1));
    }
    sockaddr_in sender{};
    iovec received{buffer.data(), buffer.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> control{};
    msghdr message{&sender, sizeof sender, &received, 1, control.data(), control.size(), 0};
    ssize_t n = recvmsg(sock.get(), &message, 0);
    const socklen_t sender_length = message.msg_namelen;
    if (n < 0) {
      std::perror("recvfrom error");
      continue;
    }
    if (n == 0) continue;
    if (!guard_strict() && stale(message)) {
      log_msg(kLogDebug, "%s : dropped a datagram that waited too long\n", "app_discover_main");
      continue;
    }
    char peer[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &sender.sin_addr, peer, sizeof peer);
    HeaderBytes header_bytes{};
    std::memcpy(header_bytes.data(), buffer.data(), std::min<std::size_t>(static_cast<std::size_t>(n), 4));
    const FrameHeader request = decode_header(header_bytes);
    log_msg(kLogInfo, "%s : UDP Packet from IP: %s, Port: %d\n", "app_discover_main", peer,
            ntohs(sender.sin_port));
    log_msg(kLogDebug, "%s : version = %d, type = %d, length = %d\n", "app_discover_main",
            request.version, request.type, request.length);

    const uci::ReadScope reads;  // the reply reads each package once
    const int code = discovery_header_status(request);
    auto send_to_sender = [&](const char* data, std::size_t length) {
      return sendto(sock.get(), data, length, 0, reinterpret_cast<sockaddr*>(&sender), sender_length);
    };
    if (code != 0) {
      HeaderBytes error = encode_header({request.version, request.type, static_cast<std::int16_t>(code)});
      if (send_to_sender(reinterpret_cast<const char*>(error.data()), error.size()) < 0)
        std::perror("send");
      buffer.fill(0);
      continue;
    }
    const std::size_t payload_length = n > 4 ? static_cast<std::size_t>(n) - 4 : 0;
    const std::string payload(buffer.data() + 4, payload_length);
    log_msg(kLogInfo, "%s : Rx Payload: %s\n", "app_discover_main", payload.c_str());
    std::string reply;
    const int r = doDevDiscoverReq(payload, reply);
    HeaderBytes reply_header =
        encode_header({kProtocolVersion, kTypeDiscoveryReply, static_cast<std::int16_t>(r)});
    std::memcpy(buffer.data(), reply_header.data(), reply_header.size());
    std::size_t length = 5;  // a status travels with the request's first payload byte
    if (r >= 1) {
      std::memcpy(buffer.data() + 4, reply.data(), reply.size());
      length = 4 + reply.size();
    }
    log_msg(kLogInfo, "%s : Resp Payload: %.*s\n", "app_discover_main", static_cast<int>(length - 4),
            buffer.data() + 4);
    clock_sleep(std::chrono::milliseconds(500));
    ssize_t sent = send_to_sender(buffer.data(), length);
    if (sent < 0) {
      std::perror("sendto");
      continue;
    }
    log_msg(kLogDebug, "%s : len %d\n", "app_discover_main", static_cast<int>(length));
    log_msg(kLogDebug, "%s : ret %d\n", "app_discover_main", static_cast<int>(sent));
    buffer.fill(0);
  }
}

}  // namespace pemo
