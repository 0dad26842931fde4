#include "core/session.h"

#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <span>
#include <thread>

#include "wire/cipher.h"
#include "contract/connection.h"
#include "core/guard.h"
#include "core/wan_watch.h"
#include "firmware/fw_flags.h"
#include "platform/cfg.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/lifetime.h"
#include "request/dispatch.h"

namespace pemo {
namespace {

struct PasswordCache {
  std::mutex mutex;
  std::string key;
};

PasswordCache& password_cache() { return process_lifetime<PasswordCache>(); }

void send_error(int sock, const FrameHeader& request, int code) {
  FrameHeader reply{request.version, request.type, static_cast<std::int16_t>(code)};
  HeaderBytes bytes = encode_header(reply);
  static_cast<void>(tcp_msg_send(sock, bytes.data(), bytes.size()));
}

// The cipher key: the cached copy while a firmware update runs, else the UCI
// password. An empty password has no key schedule and counts as unavailable.
// Every password read goes into the cache at once, so the request that starts
// an update has left its key there before the flag is up, whatever it answers.
int read_session_key(std::string& key) {
  if (fw_upgrade_running.load()) {
    key = cached_device_pwd_load();
    return key.empty() ? kCfgNotFound : 0;
  }
  int rc = get_device_pwd(key);
  if (rc == 0 && key.empty()) rc = kCfgNotFound;
  if (rc == 0) cached_device_pwd_store(key);
  return rc;
}

// The address a connection comes from, as the guard counts it.
PeerId peer_of(int sock) {
  sockaddr_in peer{};
  socklen_t length = sizeof peer;
  if (getpeername(sock, reinterpret_cast<sockaddr*>(&peer), &length) != 0 || peer.sin_family != AF_INET) return 0;
  return peer.sin_addr.s_addr;
}

}  // namespace

// TAB, printable ASCII and every byte from 128 up are allowed; other control
// characters (line feed and carriage return among them) and DEL are not.
bool has_forbidden_byte(const char* text, std::size_t length) {
  return std::any_of(text, text + length, [](char c) {
    auto b = static_cast<unsigned char>(c);
    return b != 9 && (b < 32 || b == 127);
  });
}

void cached_device_pwd_store(const std::string& key) {
  auto& cache = password_cache();
  std::lock_guard lock(cache.mutex);
  cache.key = key;
}

std::string cached_device_pwd_load() {
  auto& cache = password_cache();
  std::lock_guard lock(cache.mutex);
  return cache.key;
}

int tcp_msg_send(int sock, const void* data, std::size_t count) {
  const auto* bytes = static_cast<const char*>(data);
  std::size_t sent = 0;
  while (sent < count) {
    ssize_t n = send(sock, bytes + sent, count - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      int error = errno;
      std::perror("send");
      return -error;
    }
    sent += static_cast<std::size_t>(n);
  }
  return static_cast<int>(sent);
}

int tcp_msg_recv(int sock, FrameHeader& header, MessageBuffer& buffer) {
  // Hardened, a message must be complete within the idle limit, or the
  // connection ends without a word; strict, only TCP keepalive ends it.
  const Clock::time_point deadline = clock_now() + kIdleLimit;
  const auto arrives = [&] { return guard_strict() || clock_wait_readable(sock, deadline); };
  HeaderBytes bytes{};  // bytes that do not arrive stay zero
  if (!arrives()) return 1;
  ssize_t n = recv(sock, bytes.data(), bytes.size(), 0);
  header = decode_header(bytes);
  if (n < 0) {
    if (errno == EAGAIN) return 1;
    send_error(sock, header, log_status(kActionFailed, "the header could not be received"));
    return -1;
  }
  if (n == 0) return 1;
  if (int status = check_request_header(header); status != 0) {
    send_error(sock, header, status);
    return -2;
  }
  const auto length = static_cast<std::size_t>(header.length);
  char* payload = buffer.data() + kHeaderSize;
  std::size_t received = 0;
  while (received < length) {
    // A payload mostly comes with its header: what is there is read before any wait.
    n = recv(sock, payload + received, length - received, MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      if (!arrives()) return 1;
      n = recv(sock, payload + received, length - received, 0);
    }
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n < 0) {
        std::perror("recv");
      } else {
        log_msg(kLogErr, "%s : Payload length is %d\n", "tcp_msg_recv", header.length);
        log_msg(kLogErr, "%s : recv_len is 0\n", "tcp_msg_recv");
      }
      send_error(sock, header, log_status(kActionFailed, "the payload was not received whole"));
      return -1;
    }
    received += static_cast<std::size_t>(n);
  }
  return 0;
}

void tcp_handler(UniqueFd sock) {
  // Named so that `ps -T` on a gateway (and a test) tells connections from the
  // agent's long-lived threads.
  pthread_setname_np(pthread_self(), "pemo-conn");
  const auto self = std::this_thread::get_id();
  const PeerId peer = peer_of(sock.get());
  if (connection_record_add(self) != 0) return;
  if (active_connections.fetch_add(1) + 1 == 1) wan_first_connection();

  MessageBuffer buffer;
  std::span<char, kMaxPayload> payload(buffer.data() + kHeaderSize, kMaxPayload);
  for (;;) {
    buffer.fill(0);
    FrameHeader request;
    int received = tcp_msg_recv(sock.get(), request, buffer);
    if (received == -2 || received == 1) break;
    if (received == -1) continue;
    const uci::ReadScope reads;  // the message, key included, reads each package once
    log_msg(kLogInfo,
            "%s : req_header.type = 0x%x req_header.length = 0x%x req_header.version = 0x%x\n",
            "tcp_handler", request.type, static_cast<unsigned>(request.length), request.version);

    const int length = request.length;
    // Statuses without a handler of their own (-20, and -1 for an unknown type)
    // carry the request's type back.
    FrameHeader reply{kProtocolVersion, request.type, 0};
    std::string key;
    int result;
    if (int rc = read_session_key(key); rc < 0) {
      std::fprintf(stderr, "get device pwd error:%d\n", rc);
      log_msg(kLogErr, "%s : get device pwd error\n", "tcp_handler");
      result = kStatusBadPassword;
    } else {
      SessionCipher(key).crypt(payload.data(), static_cast<std::size_t>(length));
      if (has_forbidden_byte(payload.data(), static_cast<std::size_t>(length))) {
        // A wrong key: from an address that keeps guessing, the answer waits its turn.
        clock_sleep(wrong_key_wait(peer));
        result = kStatusBadPassword;
      } else {
        right_key(peer);
        log_msg(kLogInfo, "%s : Recv : %.*s\n", "tcp_handler", length, payload.data());
        result = request_dispatch(request, reply, payload, length);
      }
    }

    bool close_after = false;
    if (result == 1) {  // Wi-Fi is being applied: answer "{}" and let the client go
      std::memcpy(payload.data(), "{}", 2);
      result = 2;
      close_after = true;
    }
    reply.version = kProtocolVersion;
    reply.length = static_cast<std::int16_t>(result);
    HeaderBytes header = encode_header(reply);
    std::memcpy(buffer.data(), header.data(), header.size());
    std::size_t reply_length = result > 0 ? static_cast<std::size_t>(result) : 0;
    if (reply_length > 0) {
      log_msg(kLogInfo, "%s : Resp : %.*s\n", "tcp_handler", result, payload.data());
      SessionCipher(key).crypt(payload.data(), reply_length);
    }
    int sent = tcp_msg_send(sock.get(), buffer.data(), kHeaderSize + reply_length);
    if (sent < 0) break;
    log_msg(kLogDebug, "%s : ret %d\n", "tcp_handler", sent);
    log_msg(kLogDebug, "%s : send %d\n", "tcp_handler", static_cast<int>(kHeaderSize + reply_length));
    if (close_after) break;
  }

  connection_record_remove(self);
  sock.reset();
  active_connections.fetch_sub(1);
}

}  // namespace pemo
