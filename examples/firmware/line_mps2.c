// The line is the first UART of the board MPS2 with the image AN385, a
// Cortex-M3 at 25 MHz.
#include "line.h"

typedef volatile uint32_t Register;

static struct {
  Register data, state, control, interrupt, divider;
}* const uart = (void*)0x40004000;
enum { kOutputFull = 1, kInputFull = 2, kOutputOn = 1, kInputOn = 2 };

// The timer of the processor ends a round ten times a second.
static struct {
  Register control, reload, value;
}* const timer = (void*)0xE000E010;
enum { kTimerOn = 1, kOwnClock = 4, kRoundEnded = 1 << 16 };
enum { kClock = 25000000, kRounds = 10, kBaud = 115200 };

static void Start(void) {
  if (uart->control != 0) return;
  uart->divider = kClock / kBaud;
  uart->control = kOutputOn | kInputOn;
  timer->reload = kClock / kRounds - 1;
  timer->value = 0;
  timer->control = kTimerOn | kOwnClock;
}

int ReadByte(unsigned seconds) {
  Start();
  unsigned rounds = 0;
  while ((uart->state & kInputFull) == 0) {
    if ((timer->control & kRoundEnded) != 0) ++rounds;
    if (seconds != 0 && rounds > seconds * kRounds) return kSilence;
  }
  return (int)(uart->data & 0xFF);
}

void WriteBytes(const uint8_t* bytes, size_t size) {
  Start();
  for (; size > 0; --size) {
    while ((uart->state & kOutputFull) != 0) continue;
    uart->data = *bytes++;
  }
}
