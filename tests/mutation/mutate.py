#!/usr/bin/python3
"""Breaks copies of the tree, one change at a time, and reports what no test sees.

Usage: mutate.py [--draw N] [--only WORD] [--workers N] [GROUP...]
  GROUP       schema, inspector, build, examples or packages; all without it
  --draw N    so many of each group, instead of its own number
  --only WORD only breaks of files whose path contains the word
  --workers N so many at a time, instead of two

Every survivor is shown as a difference, in the form that explained.txt takes. The
last line counts those that were noticed or are explained, and those that were not.
"""

import argparse
import difflib
import signal
import sys
import threading
import time
from pathlib import Path

sys.dont_write_bytecode = True
# pylint: disable=wrong-import-position
import lists
from tree_copy import CannotRun, TreeCopy

TREE = Path(__file__).resolve().parents[2]
FOLDER = TREE / "build/mutate"
# In this order: what breaks the schema makes all be built again.
GROUPS = {"inspector": 150, "examples": 30, "packages": 0, "build": 0, "schema": 100}


class Run:
    """What the workers share."""

    def __init__(self, explained):
        self.explained, self.lock = explained, threading.Lock()
        self.queues, self.running = {}, dict.fromkeys(GROUPS, 0)
        self.wanted, self.counts = {}, {group: {} for group in GROUPS}
        self.seconds = dict.fromkeys(GROUPS, 0)
        self.survivors, self.copies = [], []
        self.error: Exception | None = None

    def stop(self, *_):
        """Ends what the workers run; they put their files back."""
        self.error = CannotRun("ended from outside")
        for copy in self.copies:
            copy.end_command()

    def take(self):
        """The next break that may still be needed, or nothing."""
        with self.lock:
            for group, queue in self.queues.items():
                counts = self.counts[group]
                done = sum(counts.values()) - counts.get("does not compile", 0)
                if self.error or done + self.running[group] >= self.wanted[group]:
                    continue
                a_break = next(queue, None)
                if a_break:
                    self.running[group] += 1
                    return a_break
        return None

    def end(self, a_break, difference, failure, seconds):
        """Counts a break and prints what became of it."""
        verdict = "killed"
        if failure is None:
            verdict = "explained" if self.explained.has(difference) else "survived"
        elif not a_break.written and not failure.compiles:
            verdict = "does not compile"
        with self.lock:
            self.running[a_break.group] -= 1
            self.seconds[a_break.group] += seconds
            counts = self.counts[a_break.group]
            counts[verdict] = counts.get(verdict, 0) + 1
            by = f" by {failure.by}" if verdict == "killed" else ""
            print(f"{self.progress()} {verdict}{by}, {seconds:.0f} s: {a_break.rule}, "
                  f"{difference[0]}", flush=True)
            if verdict == "survived":
                self.survivors.append(difference)

    def progress(self):
        done = sum(n for counts in self.counts.values() for verdict, n in counts.items()
                   if verdict != "does not compile")
        return f"{done}/{sum(self.wanted.values())}"


def difference_of(a_break):
    """The lines that a break changes: file and line, then those with - and +."""
    text = (TREE / a_break.file).read_text()
    lines = list(difflib.unified_diff(
        text.splitlines(), a_break.apply(text).splitlines(), lineterm="", n=0))[2:]
    number = text.count("\n", 0, a_break.begin) + 1
    return [f"{a_break.file}:{number}", *(line for line in lines if line[0] in "-+")]


def work(run, folder):
    try:
        copy = TreeCopy(TREE, folder)
        run.copies.append(copy)
        while a_break := run.take():
            copy.check_unbroken(a_break.stages)
            began = time.monotonic()
            failure = copy.try_break(a_break)
            if run.error is not None:
                break
            run.end(a_break, difference_of(a_break), failure, time.monotonic() - began)
    except Exception as error:  # pylint: disable=broad-exception-caught
        run.error = run.error or error  # the other worker stops, too


def report(run):
    """Prints what survived and all counts. Returns the exit status."""
    for difference in run.survivors:
        print("survived:", *difference, "", sep="\n")
    columns = ["killed", "explained", "survived", "does not compile"]
    print("| group | " + " | ".join(columns) + " | minutes of a worker |")
    print("|---" * (len(columns) + 2) + "|")
    for group in run.queues:
        counts = " | ".join(str(run.counts[group].get(name, 0)) for name in columns)
        print(f"| {group} | {counts} | {run.seconds[group] / 60:.0f} |")
    passed, explained, failed, _ = (sum(counts.get(name, 0) for counts in run.counts.values())
                                    for name in columns)
    passed += explained
    print(f"\n{passed} passed, {failed} failed")
    return 1 if failed or not passed else 0


def main():
    parser = argparse.ArgumentParser(usage=__doc__.split("\n\n", 1)[1])
    parser.add_argument("--draw", type=int)
    parser.add_argument("--only", default="")
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("groups", nargs="*", metavar="GROUP")
    arguments = parser.parse_args()
    unknown = set(arguments.groups) - set(GROUPS)
    if unknown:
        parser.error(f"no group {', '.join(sorted(unknown))}")
    run = Run(lists.Explained(TREE, TREE / "tests/mutation/explained.txt"))
    for group, number in GROUPS.items():
        if arguments.groups and group not in arguments.groups:
            continue
        breaks = [b for b in lists.breaks_of(TREE, group)
                  if arguments.only in b.file]
        run.wanted[group] = min(arguments.draw or number or len(breaks), len(breaks))
        run.queues[group] = iter(breaks)
    began = time.monotonic()
    workers = [threading.Thread(target=work, args=(run, FOLDER / str(number + 1)))
               for number in range(arguments.workers)]
    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, run.stop)
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    print(f"{(time.monotonic() - began) / 60:.0f} minutes\n")
    status = report(run)
    if run.error is not None:
        raise run.error
    return status


if __name__ == "__main__":
    try:
        sys.exit(main())
    except CannotRun as error:
        sys.exit(f"mutate: {error}")
