"""Runs a program with failing_calls.cc, which lets a call fail."""
import errno
import os
import re
import subprocess

# The errors of each call that a disk, a limit or a signal can give; 0 is a call that does one
# byte of what is asked.
LIKELY = {"read": (errno.EIO, errno.EINTR, 0),
          "write": (errno.ENOSPC, errno.EIO, errno.EINTR, 0),
          "open": (errno.EMFILE, errno.EACCES),
          "close": (errno.EIO, errno.ENOSPC, errno.EINTR),
          "mmap": (errno.ENOMEM,),
          "fsync": (errno.EIO, errno.ENOSPC),
          "rename": (errno.EACCES, errno.ENOSPC)}
# After these a program goes on as if nothing had happened.
HARMLESS = errno.EINTR, 0


class Faults:
    """The calls of one command: `failing` is the library."""

    def __init__(self, failing, command, **options):
        self.failing = failing
        self.command = [str(word) for word in command]
        self.options = {"capture_output": True, "timeout": 120, "check": False, **options}

    def run(self, **environment):
        return subprocess.run(self.command, env={**os.environ, **environment}, **self.options)

    def counts(self):
        """How often the program makes each call."""
        said = self.run(LD_PRELOAD=self.failing).stderr
        found = re.findall(rb"^(\w+) (\d+)$", said, re.M)[-len(LIKELY):]
        assert [name.decode() for name, _ in found] == list(LIKELY), said
        return {name.decode(): int(count) for name, count in found}

    def fail(self, call, number, error):
        return self.run(LD_PRELOAD=self.failing, FAIL_CALL=call, FAIL_AT=str(number),
                        FAIL_WITH=str(error))

    def all(self, every):
        """(call, number, error, what came of it) for each likely error of each call; without
        `every`, for some of many calls: the first, the last, and those between."""
        for call, count in self.counts().items():
            numbers = range(1, count + 1)
            for number in numbers if every or count <= 6 else sorted(
                    {1, 2, 3, *numbers[::-(-count // 3)], count - 1, count}):
                for error in LIKELY[call]:
                    yield call, number, error, self.fail(call, number, error)
