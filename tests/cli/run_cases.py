#!/usr/bin/python3
"""Runs tarn on the cases beside this file, and compares what it does.

Usage: run_cases.py [--update | --stop] TARN [CASE...]

A case is a folder; tarn runs inside of it. Its files:
  args     arguments of tarn, quoted as for a shell
  command  instead of args: a shell script, with tarn on its path
  stdin    standard input; nothing when it is left out
  tty      which of stdin, stdout and stderr are a terminal; and its size, such
           as 80x24, if programs are to know it
  env      NAME=VALUE lines
  stdout, stderr, exit
           what is expected; a file left out stands for nothing, or for 0.
           What a terminal got that is both stdout and stderr is in stdout.
--update writes these from what tarn does now. Read the difference.
--stop goes no further than to the first case that fails, and names it.
"""
import difflib
import fcntl
import os
import pathlib
import pty
import shlex
import struct
import subprocess
import sys
import termios
import threading
import tty

STREAMS = ("stdin", "stdout", "stderr")


def read_all(fd, into):
    """Collects what a terminal shows until nobody writes to it any more."""
    while True:
        try:
            data = os.read(fd, 65536)
        except OSError:  # Linux ends a terminal that way
            return
        if not data:
            return
        into.append(data)


def run(tarn, case):
    """Returns what the case puts out: stdout, stderr and exit as bytes."""
    terminal = (case / "tty").read_text().split() if (case / "tty").exists() else []
    if (case / "command").exists():
        command = ["/bin/sh", "-eu", "command"]
    else:
        command = [str(tarn)] + shlex.split((case / "args").read_text())
    environment = {"PATH": f"{tarn.parent}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8"}
    for name in os.environ:
        if name.endswith("SAN_OPTIONS"):
            environment[name] = os.environ[name]
    if (case / "env").exists():
        environment.update(line.split("=", 1) for line in (case / "env").read_text().splitlines())

    screen = []
    files = dict.fromkeys(STREAMS, subprocess.PIPE)
    if terminal:
        master, slave = pty.openpty()
        tty.setraw(slave)
        for columns, rows in (word.split("x") for word in terminal if "x" in word):
            fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("4H", int(rows), int(columns), 0, 0))
        files.update({name: slave for name in terminal if name in STREAMS})
    process = subprocess.Popen(command, cwd=case, env=environment, **files)
    if terminal:
        os.close(slave)
        reader = threading.Thread(target=read_all, args=(master, screen))
        reader.start()
    given = (case / "stdin").read_bytes() if (case / "stdin").exists() else None
    stdout, stderr = process.communicate(given if "stdin" not in terminal else None, timeout=60)
    if terminal:
        reader.join()
        os.close(master)
    shown = b"".join(screen)
    if "stdout" in terminal:
        stdout = shown
    elif "stderr" in terminal:
        stderr = shown
    return {
        "stdout": stdout or b"",
        "stderr": stderr or b"",
        "exit": b"" if process.returncode == 0 else b"%d\n" % process.returncode,
    }


def printable(text):
    """Lines of output as a terminal can show them: a line each, all escaped
    that is not a character of text, and a note where the last line has no end."""
    lines = text.decode("utf-8", "backslashreplace").split("\n")
    if lines[-1]:
        lines[-1] += "\n\\ no line end"
    else:
        lines.pop()
    return ["".join(c if c.isprintable() or c == "\n" else
                    c.encode("unicode_escape").decode() for c in line)
            for line in lines]


def compare(case, results):
    """Prints how the results differ from what is expected; true if they don't."""
    same = True
    for name, got in results.items():
        path = case / name
        want = path.read_bytes() if path.exists() else b""
        if got == want:
            continue
        same = False
        if printable(got) == printable(want):  # other bytes for the same text
            want, got = repr(want).encode(), repr(got).encode()
        print(*difflib.unified_diff(
            printable(want), printable(got), f"{case.name}/{name}, expected",
            f"{case.name}/{name}, printed", lineterm=""), sep="\n")
    return same


def update(case, results):
    for name, got in results.items():
        path = case / name
        if got:
            path.write_bytes(got)
        else:
            path.unlink(missing_ok=True)


def main(arguments):
    option = arguments.pop(0) if arguments[:1] in (["--update"], ["--stop"]) else None
    tarn, *names = arguments
    tarn = pathlib.Path(tarn).resolve()
    folder = pathlib.Path(__file__).resolve().parent
    cases = [folder / name for name in names] or sorted(
        p for p in folder.iterdir() if p.is_dir() and p.name != "__pycache__")
    failed = 0
    for case in cases:
        results = run(tarn, case)
        if option == "--update":
            update(case, results)
        elif not compare(case, results):
            failed += 1
            if option == "--stop":
                print(f"{case.name}: differs")
                break
    print(f"{len(cases)} cases, {failed} failed")
    return 1 if failed or not cases else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
