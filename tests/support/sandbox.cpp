#include "support/sandbox.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <thread>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/fd.h"

namespace pemo::test {
namespace {

bool write_proc(const char* path, const std::string& text) {
  UniqueFd fd(open(path, O_WRONLY | O_CLOEXEC));
  return fd.valid() && write(fd.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

bool fail(std::string& why, const std::string& what) {
  why = what + ": " + std::strerror(errno);
  return false;
}

}  // namespace

bool enter_sandbox(std::string& why) {
  const uid_t uid = getuid();
  const gid_t gid = getgid();
  // Under qemu-user, which cannot make namespaces, cmake/cross-run.sh makes them
  // around the emulator and says so; the mounts below are made here all the same.
  if (std::getenv("PEMO_NAMESPACES_MADE") == nullptr) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) != 0) return fail(why, "unshare");
    write_proc("/proc/self/setgroups", "deny");
    if (!write_proc("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1\n") ||
        !write_proc("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1\n"))
      return fail(why, "id maps");
  }
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    return fail(why, "private mounts");
  // A checkout under /tmp or /run (CI may clone there) must stay visible under
  // the fresh mounts: hold its directories open and bind them back.
  std::vector<std::pair<std::string, UniqueFd>> kept;
  for (std::string dir : {PEMO_SOURCE_DIR, PEMO_BINARY_DIR}) {
    if (dir.rfind("/tmp/", 0) == 0 || dir.rfind("/run/", 0) == 0)
      kept.emplace_back(dir, UniqueFd(open(dir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)));
  }
  for (const char* dir : {"/tmp", "/run"}) {
    if (mount("tmpfs", dir, "tmpfs", 0, "mode=1777") != 0) return fail(why, std::string("tmpfs ") + dir);
  }
  for (const auto& [dir, fd] : kept) {
    for (std::size_t slash = dir.find('/', 1); slash != std::string::npos; slash = dir.find('/', slash + 1))
      mkdir(dir.substr(0, slash).c_str(), 0755);
    mkdir(dir.c_str(), 0755);
    const std::string source = "/proc/self/fd/" + std::to_string(fd.get());
    if (mount(source.c_str(), dir.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
      return fail(why, "keeping " + dir);
  }
  mkdir("/run/.etc", 0700);
  mkdir("/run/.etc/upper", 0755);
  mkdir("/run/.etc/work", 0700);
  if (mount("overlay", "/etc", "overlay", 0,
            "lowerdir=/etc,upperdir=/run/.etc/upper,workdir=/run/.etc/work") != 0)
    return fail(why, "overlay on /etc");
  // Agent messages must not reach the host's syslog.
  if (file_exists("/dev/log") && mount("/dev/null", "/dev/log", nullptr, MS_BIND, nullptr) != 0)
    return fail(why, "hiding /dev/log");
  mkdir("/etc/config", 0755);
  mkdir("/etc/pemo-agent", 0755);

  UniqueFd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
  if (!sock.valid() || ioctl(sock.get(), SIOCGIFFLAGS, &request) != 0) return fail(why, "loopback");
  request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
  if (ioctl(sock.get(), SIOCSIFFLAGS, &request) != 0) return fail(why, "loopback up");
  return true;
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    if (condition()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

bool in_ci() {
  const char* ci = std::getenv("CI");
  return ci != nullptr && std::string_view(ci) == "true";
}

void write_file(const std::string& path, std::string_view content) {
  if (!write_text_file(path, content)) throw std::runtime_error("cannot write " + path);
}

std::string read_file(const std::string& path) {
  std::string content;
  return read_text_file(path, content, SIZE_MAX) ? content : std::string();
}

long proc_status_field(pid_t pid, const std::string& field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind(field + ":", 0) == 0) return std::stol(line.substr(field.size() + 1));
  return -1;
}

long guard_pages(pid_t pid) {
  std::ifstream maps(pid == 0 ? std::string("/proc/self/maps") : "/proc/" + std::to_string(pid) + "/maps");
  long count = 0;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    std::string range, perms, offset, device, inode, path;
    fields >> range >> perms >> offset >> device >> inode >> path;
    const std::size_t dash = range.find('-');
    if (perms == "---p" && path.empty() && dash != std::string::npos &&
        std::stoull(range.substr(dash + 1), nullptr, 16) - std::stoull(range.substr(0, dash), nullptr, 16) == 4096)
      ++count;
  }
  return count;
}

void seed_system_package(std::string_view password) {
  // An option with an empty value is no option (as in libuci): a list of one
  // empty item is how a file holds an empty password.
  std::string text = "config system 'main'\n\toption hostname 'HomeGate'\n\t";
  text += password.empty() ? "list pwd ''" : "option pwd '" + std::string(password) + "'";
  text += "\n";
  write_file("/etc/config/system", text);
}

void seed_gateway_config() {
  for (const char* package :
       {"system", "wireless", "network", "parental", "firewall", "wps", "wps5G", "web-redirect"}) {
    write_file(std::string("/etc/config/") + package,
               read_file(std::string(PEMO_SOURCE_DIR "/sim/seed/etc/config/") + package));
  }
}

ShellResult RecordingRunner::execute(const ShellRequest& request) {
  Answer answer{{}, ShellResult{0, false, {}}, {}};
  ShellRequest real;
  {
    std::lock_guard lock(mutex_);
    requests_.push_back(request);
    for (const Answer& a : answers_)
      if (request.command.find(a.needle) != std::string::npos) answer = a;
    for (const auto& [prefix, program] : real_)
      if (request.command.rfind(prefix, 0) == 0) {
        real = request;
        real.command = program + request.command.substr(prefix.size());
      }
  }
  if (answer.act) answer.act();
  return real.command.empty() ? answer.result : posix_runner().execute(real);
}

bool RecordingRunner::ran(std::string_view command) const {
  std::lock_guard lock(mutex_);
  for (const ShellRequest& r : requests_)
    if (r.command == command) return true;
  return false;
}

std::vector<std::string> RecordingRunner::commands(std::size_t from) const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> commands;
  for (std::size_t k = from; k < requests_.size(); ++k) commands.push_back(requests_[k].command);
  return commands;
}

std::chrono::milliseconds RecordingRunner::timeout_of(std::string_view needle) const {
  std::lock_guard lock(mutex_);
  for (auto it = requests_.rbegin(); it != requests_.rend(); ++it)
    if (it->command.find(needle) != std::string::npos) return it->timeout;
  return {};
}

void RecordingRunner::answer(std::string needle, ShellResult result, std::function<void()> act) {
  std::lock_guard lock(mutex_);
  answers_.push_back({std::move(needle), std::move(result), std::move(act)});
}

void RecordingRunner::run_for_real(std::string prefix, std::string program) {
  std::lock_guard lock(mutex_);
  real_.emplace_back(std::move(prefix), std::move(program));
}

}  // namespace pemo::test
