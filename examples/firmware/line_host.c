// The line is standard input and output.
#include <poll.h>
#include <unistd.h>

#include "line.h"

int ReadByte(unsigned seconds) {
  struct pollfd input = {STDIN_FILENO, POLLIN, 0};
  uint8_t byte;
  if (poll(&input, 1, seconds == 0 ? -1 : (int)seconds * 1000) == 0) {
    return kSilence;
  }
  return read(STDIN_FILENO, &byte, 1) == 1 ? byte : kLineEnds;
}

void WriteBytes(const uint8_t* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = write(STDOUT_FILENO, bytes, size);
    if (written <= 0) return;
    bytes += written;
    size -= (size_t)written;
  }
}
