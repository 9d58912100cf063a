// TCP connections named by text such as "127.0.0.1:4000" or "[::1]:4000".
// Failures are thrown: std::invalid_argument for text that is no address,
// std::system_error for what the system refuses.
#ifndef SITE_OFFICE_SOCKET_H_
#define SITE_OFFICE_SOCKET_H_

#include <string>
#include <string_view>

namespace site_office {

// A file descriptor that is closed with its owner.
class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  Fd& operator=(Fd&& other) noexcept;
  ~Fd();
  int get() const { return fd_; }

 private:
  int fd_;
};

// A socket that accepts connections without blocking. Port 0: a free one.
Fd Listen(const std::string& address);

// A connection to `address`.
Fd Connect(const std::string& address);

// "127.0.0.1:4000" for this end of a socket.
std::string LocalAddress(int fd);

// The same for a raw socket address, as accept(2) hands it out.
std::string AddressText(const void* address, unsigned length);

// Throws std::system_error with the text of errno.
[[noreturn]] void ThrowErrno(const std::string& what);

// Writes all of `bytes`, over interruptions and partial writes. To a connection
// whose other end is gone this raises SIGPIPE, unless the program ignores it.
void WriteAll(int fd, std::string_view bytes, const std::string& what);

}  // namespace site_office

#endif  // SITE_OFFICE_SOCKET_H_
