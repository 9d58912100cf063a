"""Names that the preprocessor replaces where programs include the headers."""

import functools
import subprocess

from .verdict import CannotTell

# The newest dialect of GNU, which defines the most; linux and unix among it.
COMMAND = ["g++", "-std=gnu++20", "-dM", "-E", "-x", "c++",
           "-include", "google/protobuf/message.h",
           "-include", "google/protobuf/map_entry.h", "/dev/null"]


@functools.lru_cache(maxsize=None)
def predefined():
    done = subprocess.run(COMMAND, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, encoding="utf-8", check=False)
    if done.returncode != 0:
        raise CannotTell(f"{' '.join(COMMAND)}:\n{done.stderr}")
    # "#define NAME(arguments) text"
    return {line.split()[1].split("(")[0] for line in done.stdout.splitlines()}
