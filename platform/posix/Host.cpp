#include "platform/Host.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <vector>

namespace ky::platform {
namespace {

/// The user's name and home folder.
struct User {
  std::string name;
  std::string home;
};

User currentUser() {
  std::vector<char> texts(16384);
  passwd entry = {};
  passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, texts.data(), texts.size(), &found) != 0 || !found) return {};
  return {found->pw_name, found->pw_dir};
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

std::string hostIdentifier() {
  std::string id;
  std::ifstream("/etc/machine-id") >> id;
  if (!id.empty()) return id;
  const std::string name = hostName();
  return name.empty() ? "localhost" : name;
}

std::string userName() { return currentUser().name; }

std::string hostName() {
  utsname facts = {};
  return ::uname(&facts) == 0 ? facts.nodename : "";
}

std::string programPath() {
  char path[PATH_MAX] = {};
  return ::readlink("/proc/self/exe", path, sizeof path - 1) > 0 ? path : "";
}

std::string userSettingsFolder() {
  std::string folder = environment("XDG_CONFIG_HOME");
  if (folder.empty() || folder[0] != '/') {
    std::string home = environment("HOME");
    if (home.empty()) home = currentUser().home;
    if (home.empty()) return "";
    folder = home + "/.config";
  }
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  (void)::mkdir(folder.c_str(), 0700);
  return folder;
}

long processNumber() { return static_cast<long>(::getpid()); }

bool isOutputTerminal() { return ::isatty(STDOUT_FILENO) != 0; }

int errorTerminalWidth() {
  constexpr int kUsual = 80;  // for one that does not tell
  if (::isatty(STDERR_FILENO) == 0) return 0;
  struct winsize size = {};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

int processorCount() {
  const long count = ::sysconf(_SC_NPROCESSORS_ONLN);
  return count > 0 ? static_cast<int>(count) : 1;
}

std::string addressOf(const char* host) {
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host, nullptr, &wanted, &found) != 0) return "";
  char text[INET_ADDRSTRLEN] = {};
  const auto* const address = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  ::inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
  ::freeaddrinfo(found);
  return text;
}

}  // namespace ky::platform
