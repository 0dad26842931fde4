// The TCP session: framed, enciphered request/reply exchanges on one connection.
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "wire/frame.h"
#include "platform/fd.h"

namespace pemo {

using MessageBuffer = std::array<char, kMessageBufferSize>;

// Reads one message: the header into `header`, the payload from buffer[4].
// 0 message ready; 1 peer closed (or would block); -1 receive failed (a -26 reply
// was sent); -2 header rejected (its error reply was sent).
[[nodiscard]] int tcp_msg_recv(int sock, FrameHeader& header, MessageBuffer& buffer);

// Sends `count` bytes without raising SIGPIPE. Bytes sent, or -errno.
[[nodiscard]] int tcp_msg_send(int sock, const void* data, std::size_t count);

// True when a deciphered payload holds a byte other than TAB, 32-126 or 128-255.
bool has_forbidden_byte(const char* text, std::size_t length);

// Serves one connection until it ends; owns and closes the socket.
void tcp_handler(UniqueFd sock);

// The key used while a firmware update runs (copied when a reply is enciphered).
void cached_device_pwd_store(const std::string& key);
std::string cached_device_pwd_load();

}  // namespace pemo
