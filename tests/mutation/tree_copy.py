"""A copy of the tree with a build of its own, and what is run in it."""

import filecmp
import os
import re
import shutil
import signal
import subprocess
import sys
from typing import NamedTuple

# Seconds for one command; the first ones build all that there is.
TIMEOUT, FIRST_TIMEOUT = 900, 7200
# A break can make a program run, write and grow without end.
LIMITED = ["prlimit", "--cpu=300", f"--fsize={4 << 30}", f"--as={6 << 30}", "--core=0"]
BUILD = "build/debug"
OPTIONS = ["-DSCHEMA_PROFILE=OFF", "-DSCHEMA_BUILD_EXPLORER=OFF"]
# Those that start tarn thousands of times look for what few breaks bring about.
LONG = ["-LE", "many_starts", "-E", r"^cli\.memory$"]


class CannotRun(Exception):
    """The tree cannot be built, or its tests fail, without any break."""


class Stage(NamedTuple):
    """What may notice a break: `build` of targets, `test` of what matches, `cases`
    of tarn, those first that begin with a word, or `run` of a command; `compile`
    runs one, too."""
    kind: str
    what: str


class Failure(NamedTuple):
    """What noticed a break, and what it said."""
    by: str
    said: str
    compiles: bool = True


def listed(folder):
    names = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        cwd=folder, stdout=subprocess.PIPE, check=True, encoding="utf-8").stdout
    return {name for name in names.split("\0") if name and (folder / name).is_file()}


class TreeCopy:
    # Stages that have passed where nothing is broken.
    unbroken = set()
    # Cases that have noticed breaks in a folder of tarn, the last of them last.
    noticed = {}

    def __init__(self, source, folder):
        self.folder, self.log = folder, folder.with_suffix(".log")
        self.group = None  # of the processes that run in it
        folder.mkdir(parents=True, exist_ok=True)
        if not (folder / ".git").exists():
            subprocess.run(["git", "init", "-q"], cwd=folder, check=True)
        self.bring_up_to_date(source)
        self.environment = dict(os.environ, CCACHE_BASEDIR=str(folder), CCACHE_NOHASHDIR="1",
                                CCACHE_SLOPPINESS="pch_defines,time_macros")
        launchers = [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")
                     if shutil.which("ccache")]
        status, said = self.call(["cmake", "--preset", "debug", *OPTIONS, *launchers],
                                 FIRST_TIMEOUT)
        if status != 0:
            raise CannotRun(said)

    def bring_up_to_date(self, source):
        """Takes over what differs, and nothing else, so that little is built."""
        names = listed(source)
        for name in names:
            old, new = self.folder / name, source / name
            if (old.exists() and filecmp.cmp(old, new, shallow=False)
                    and old.stat().st_mode == new.stat().st_mode):
                continue
            old.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(new, old, follow_symlinks=False)
        for name in listed(self.folder) - names:
            (self.folder / name).unlink()
        # Ignored by git, and fetched once by script/bootstrap.
        buf = self.folder / "packaging/buf/node_modules"
        if not buf.is_symlink():
            buf.symlink_to(source / "packaging/buf/node_modules")
        subprocess.run(["git", "add", "-A"], cwd=self.folder, check=True)

    def call(self, command, timeout):
        """The status of a command and what it prints. It ends with all that it
        has started."""
        with open(self.log, "wb") as log:
            process = subprocess.Popen(
                [*LIMITED, *command], cwd=self.folder, env=self.environment,
                stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                start_new_session=True)
            self.group = process.pid
            try:
                status = process.wait(timeout)
            except subprocess.TimeoutExpired:
                status = "timeout"
            self.end_command()
            process.wait()
            self.group = None
        with open(self.log, "rb") as log:
            return status, log.read(1 << 20).decode(errors="replace")

    def end_command(self):
        """Ends what runs in the copy, if anything does."""
        try:
            if self.group:
                os.killpg(self.group, signal.SIGKILL)
        except ProcessLookupError:
            pass

    def command(self, stage, file):
        if stage.kind == "build":
            return ["cmake", "--build", BUILD, "--parallel", "1", "--target",
                    *stage.what.split()]
        if stage.kind == "test":
            return ["ctest", "--test-dir", BUILD, "--stop-on-failure", "--no-tests=error",
                    "--timeout", "300", "-R", stage.what, *LONG]
        if stage.kind == "cases":
            return [sys.executable, "-IS", "tests/cli/run_cases.py", "--stop",
                    f"{BUILD}/tarn", *self.cases(stage.what, os.path.dirname(file))]
        return ["sh", "-euc", stage.what]

    def cases(self, first, layer):
        """The names of all cases, in the order in which they are tried."""
        names = sorted(path.name for path in (self.folder / "tests/cli").iterdir()
                       if path.is_dir() and path.name != "__pycache__")
        known = self.noticed.get(layer, [])
        return sorted(names, key=lambda name: (
            not (first and name.startswith(first)),
            -known.index(name) if name in known else 1))

    def try_stage(self, stage, file="", timeout=FIRST_TIMEOUT):
        """Nothing, or what noticed that the tree is broken."""
        status, said = self.call(self.command(stage, file), timeout)
        if status == 0:
            return None
        return Failure(self.culprit(stage, file, said), said)

    def culprit(self, stage, file, said):
        if stage.kind == "test":
            names = re.findall(r"^\s+\d+ - (\S+) \(", said, re.MULTILINE)
            return names[0] if names else "ctest"
        if stage.kind == "cases":
            case = re.search(r"^(\w+): (?:differs|does not end)$", said, re.MULTILINE)
            if case:
                known = self.noticed.setdefault(os.path.dirname(file), [])
                known[:] = [name for name in known if name != case[1]] + [case[1]]
                return f"cli.case.{case[1]}"
        return stage.kind if stage.kind != "run" else stage.what.split()[0]

    def check_unbroken(self, stages):
        """All tests have to pass once where nothing is broken."""
        # The order of the cases does not matter.
        stages = [Stage(kind, "" if kind == "cases" else what) for kind, what in stages]
        tests = [stage for stage in stages if stage.kind not in ("build", "compile")]
        if self.unbroken.issuperset(tests):
            return
        for stage in stages:
            failure = None if stage in self.unbroken else self.try_stage(stage)
            if failure:
                raise CannotRun(f"{stage.kind} {stage.what} fails without a break:\n"
                                f"{failure.said[-3000:]}")
        self.unbroken.update(tests)

    def try_break(self, a_break):
        """What notices a break, if anything does; then all is as it was."""
        path = self.folder / a_break.file
        text = path.read_text()
        try:
            path.write_text(a_break.apply(text))
            for stage in a_break.stages:
                failure = self.try_stage(stage, a_break.file, TIMEOUT)
                if failure:
                    # What is built first is what the break is in.
                    return failure._replace(compiles=not (
                        stage.kind == "compile" or failure.by.endswith(".build") or
                        stage.kind == "build" and stage is a_break.stages[0]))
            return None
        finally:
            path.write_text(text)
