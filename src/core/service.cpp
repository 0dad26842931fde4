#include "core/service.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <thread>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "core/discovery.h"
#include "core/guard.h"
#include "wire/frame.h"
#include "core/session.h"
#include "core/wan_watch.h"
#include "platform/clock.h"
#include "platform/fd.h"
#include "platform/files.h"
#include "platform/log.h"
#include "platform/shell.h"
#include "platform/thread.h"
#include "request/param_tree.h"
#include "request/requests.h"

namespace pemo {
namespace {

void sigchld_handler(int) {
  int saved = errno;
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = saved;
}

bool set_int_option(int fd, int level, int name, int value) {
  return setsockopt(fd, level, name, &value, sizeof value) == 0;
}

// Steps 10-12 of start-up. Returns the listening socket, or -1 after its message.
int open_listener() {
  UniqueFd fd(socket(AF_INET, SOCK_STREAM, 0));
  if (!fd.valid()) {
    std::perror("socket");
    return -1;
  }
  int flags = fcntl(fd.get(), F_GETFD);
  fcntl(fd.get(), F_SETFD, flags | FD_CLOEXEC);
  if (!set_int_option(fd.get(), SOL_SOCKET, SO_KEEPALIVE, 1)) {
    std::perror("setsockopt()");
    return -1;
  }
  struct {
    int name;
    int value;
    const char* text;
  } const keepalive[] = {{TCP_KEEPIDLE, 30, "TCP_KEEPIDLE"},
                         {TCP_KEEPINTVL, 5, "TCP_KEEPINTVL"},
                         {TCP_KEEPCNT, 2, "TCP_KEEPCNT"}};
  for (const auto& option : keepalive) {
    if (!set_int_option(fd.get(), IPPROTO_TCP, option.name, option.value)) {
      std::printf("setsockopt %s: %s\n", option.text, error_text(errno).c_str());
      return -1;
    }
  }
  if (!set_int_option(fd.get(), SOL_SOCKET, SO_REUSEADDR, 1))
    std::perror("set sock reuse addr error");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kServicePort);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    std::perror("bind");
    return -1;
  }
  if (listen(fd.get(), 5) != 0) {
    std::perror("listen");
    return -1;
  }
  return fd.release();
}

[[noreturn]] void accept_loop(UniqueFd listener) {
  for (;;) {
    sockaddr_in peer{};
    socklen_t peer_length = sizeof peer;
    // Close-on-exec, so that platform commands started in the background never
    // hold a client's connection open after the agent has closed it.
    UniqueFd client(accept4(listener.get(), reinterpret_cast<sockaddr*>(&peer), &peer_length,
                            SOCK_CLOEXEC));
    if (!client.valid()) {
      // Out of descriptors the failure repeats at once: hardened, wait for some to close.
      if (!guard_strict() && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM))
        clock_sleep(kAcceptBackoff);
      continue;
    }
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text);
    log_msg(kLogInfo, "TCP Client from IP: %s, Port: %d\n", text, ntohs(peer.sin_port));
    ConnectionSlot slot = connection_admit(peer.sin_addr.s_addr);
    if (!slot.held()) {  // closed at once: no thread, and no pause for the next client
      log_msg(kLogWarning, "TCP Client from IP: %s refused: %zu connections served\n", text, connections_admitted());
      continue;
    }
    int rc;
    try {
      rc = spawn_detached([sock = std::move(client), held = std::move(slot)]() mutable { tcp_handler(std::move(sock)); });
    } catch (const std::bad_alloc&) {
      // No memory for the connection's cell: drop this connection (its socket is
      // closed with the cell) and keep serving the others.
      continue;
    }
    if (rc != 0) {
      std::printf(" tcp_handler() thread creation failed!!\n");
      std::fflush(nullptr);
      std::_Exit(1);
    }
    clock_sleep(std::chrono::milliseconds(500));
  }
}

}  // namespace

int write_pid_file() {
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(kPidFile, "w"), std::fclose);
  if (!file) return -1;
  std::fprintf(file.get(), "%u\n", static_cast<unsigned>(getpid()));
  return 0;
}

int run_agent(int argc, char** argv) {
  for (int option; (option = getopt(argc, argv, "d:")) != -1;) {  // NOLINT(concurrency-mt-unsafe): before any thread
    if (option == 'd') log_level = std::atoi(optarg);
  }
  signal(SIGCHLD, sigchld_handler);
  use_one_allocator_arena();
  guard_load();  // before any thread that it bounds
  // Without its pid file the agent still serves; only tools that look for it miss it.
  if (write_pid_file() != 0) log_msg(kLogWarning, "%s : cannot write %s\n", "main", kPidFile);
  if (sys_query_response_init() != 0) {
    log_msg(kLogErr, "%s : sys_query_response_init fail\n", "main");
    return 255;
  }
  param_tree();  // linked here, before any thread that parses requests
  wan_chk_init();
  if (spawn_detached(app_discover_main) != 0) {
    std::fprintf(stderr, "%s : app_discover_main() thread creation failed!!\n", "main");
    log_msg(kLogErr, "%s : app_discover_main() thread creation failed!!\n", "main");
    return 1;
  }
  log_open();
  // Prints the manufacturing block at once (default bound).
  shell_fire("sys mfsh > /tmp/mfsh.info");

  int listener = open_listener();
  if (listener < 0) return 1;
  log_msg(kLogDebug, "%s : PEMO Agent TCP socket ready!\n", "main");
  accept_loop(UniqueFd(listener));
}

}  // namespace pemo
