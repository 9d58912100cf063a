// tarn explore: opens the explorer, with the bytes of a file.
#include <fcntl.h>
#include <google/protobuf/stubs/strutil.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "command.h"
#include "command_line.h"
#include "output.h"
#include "reader.h"

namespace tarn::tool {
namespace {

namespace fs = std::filesystem;

// What fits into an address that every browser takes.
constexpr uint64_t kLargestFile = 700 << 10;

// The page of the same install as this program.
std::string InstalledPage() {
  std::error_code error;
  const auto program = fs::canonical("/proc/self/exe", error);
  return (program.parent_path() / TARN_EXPLORER).lexically_normal();
}

std::string AddressOf(const fs::path& file) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string address = "file://";
  for (const unsigned char c : fs::absolute(file).lexically_normal().string()) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       (c >= '0' && c <= '9') || c == '/' || c == '-' ||
                       c == '.' || c == '_' || c == '~';
    if (plain) {
      address += static_cast<char>(c);
    } else {
      address += {'%', kDigits[c >> 4], kDigits[c & 15]};
    }
  }
  return address;
}

// A page that leads on to an address: programs that open files lose what stands
// after "#". Only the user can read it; the folder is emptied at logout.
std::string WriteLeadingPage(const std::string& address) {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  std::string file =
      std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") +
      "/tarn-explore-XXXXXX.html";
  const int fd = ::mkstemps(file.data(), 5);
  const std::string page =
      "<!doctype html><meta charset=\"utf-8\"><title>tarn explorer</title>"
      "<script>location.replace(\"" +
      address + "\")</script>\n";
  const bool written = fd >= 0 && WriteAll(fd, page);
  if (fd >= 0 && ::close(fd) == 0 && written) return file;
  if (fd >= 0) ::unlink(file.c_str());
  throw Failure(kInputOutput, file + ": cannot be written");
}

// Whether a program of the desktop has opened the file.
bool Open(const std::string& file) {
  if (std::getenv("DISPLAY") == nullptr &&
      std::getenv("WAYLAND_DISPLAY") == nullptr) {
    return false;
  }
  char program[] = "xdg-open";
  std::string argument = file;
  char* const arguments[] = {program, argument.data(), nullptr};
  pid_t child = 0;
  if (::posix_spawnp(&child, program, nullptr, nullptr, arguments, environ) !=
      0) {
    return false;
  }
  int status = 0;
  return ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

std::string BytesOf(const std::string& file) {
  Reader reader(file);
  if (reader.known_size() > kLargestFile || reader.Fill(kLargestFile + 1)) {
    throw Failure(kMalformed,
                  InputName(file) +
                      ": too large for an address: run tarn explore without "
                      "it, and drop the file onto the page");
  }
  return std::string(reader.window());
}

}  // namespace

ExitCode RunExplore(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  std::string file, page;
  bool print = false;
  line.app().add_option("FILE", file,
                        "File whose bytes the page shows, in any form, or -; "
                        "its own example if not given");
  line.app()
      .add_option("--page", page, "The page; the one installed if not given")
      ->type_name("FILE")
      ->group("Input");
  line.app()
      .add_flag("--print", print, "Print the address, and open nothing")
      ->group("Output");
  line.Parse();

  if (page.empty()) page = InstalledPage();
  std::error_code error;
  if (!fs::is_regular_file(page, error)) {
    throw Failure(kInputOutput, page + ": the explorer is not installed");
  }
  std::string address = AddressOf(page);
  if (!file.empty()) {
    std::string bytes;
    google::protobuf::WebSafeBase64Escape(BytesOf(file), &bytes);
    address += "#bytes=" + bytes;
  }
  if (!print) {
    const std::string leading = WriteLeadingPage(address);
    if (Open(leading)) return kFine;
    ::unlink(leading.c_str());
    Complain("nothing here opens pages; this is the address for a browser");
  }
  Output output;
  output.Write(address + '\n');
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
