// TCP connections named by text.
#include "socket.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace site_office {
namespace {

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses Resolve(const std::string& address) {
  const size_t colon = address.rfind(':');
  if (colon == std::string::npos || colon == 0) {
    throw std::invalid_argument(address + " is not HOST:PORT");
  }
  std::string host = address.substr(0, colon);
  if (host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const int error =
      getaddrinfo(host.c_str(), address.c_str() + colon + 1, &hints, &list);
  if (error == EAI_SYSTEM) ThrowErrno(address);
  if (error != 0) {
    throw std::invalid_argument(address + ": " + gai_strerror(error));
  }
  return Addresses(list, freeaddrinfo);
}

}  // namespace

Fd& Fd::operator=(Fd&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

Fd::~Fd() {
  if (fd_ >= 0) close(fd_);
}

Fd Listen(const std::string& address) {
  const Addresses list = Resolve(address);
  Fd fd(socket(list->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const int on = 1;
  if (fd.get() < 0 ||
      setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(fd.get(), list->ai_addr, list->ai_addrlen) != 0 ||
      listen(fd.get(), SOMAXCONN) != 0) {
    ThrowErrno("cannot listen on " + address);
  }
  return fd;
}

Fd Connect(const std::string& address) {
  const Addresses list = Resolve(address);
  for (const addrinfo* each = list.get(); each != nullptr;
       each = each->ai_next) {
    Fd fd(socket(each->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.get() >= 0 &&
        connect(fd.get(), each->ai_addr, each->ai_addrlen) == 0) {
      return fd;
    }
  }
  ThrowErrno("cannot connect to " + address);
}

std::string AddressText(const void* address, unsigned length) {
  char host[NI_MAXHOST];
  char port[NI_MAXSERV];
  if (getnameinfo(static_cast<const sockaddr*>(address), length, host,
                  sizeof host, port, sizeof port,
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "unknown address";
  }
  const std::string text = host;
  return (text.find(':') == std::string::npos ? text : "[" + text + "]") + ":" +
         port;
}

std::string LocalAddress(int fd) {
  sockaddr_storage address;
  socklen_t length = sizeof address;
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    ThrowErrno("cannot tell the address of a socket");
  }
  return AddressText(&address, length);
}

void ThrowErrno(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void WriteAll(int fd, std::string_view bytes, const std::string& what) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) ThrowErrno(what);
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace site_office
