"""The last release as programs met it: its example programs, its headers and a
library, the latter two made again from its descriptor set.

The example programs are compiled against both releases and run with both
libraries, for the processor of the machine itself. For the other one, files and
interfaces are compared, and nothing is run.
"""

import hashlib
import os
import shutil
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import NamedTuple

from . import descriptors
from .commands import run
from .verdict import CannotTell, Finding, Level

HERE = Path(__file__).parent


class Released(NamedTuple):
    """The last release made again, in a folder."""
    folder: Path
    clients: Path

    @property
    def headers(self):
        return self.folder / "include" / "tarn"

    @property
    def libdir(self):
        return self.folder / "lib"

    def program(self, name):
        return self.folder / "bin" / name


def digest(release):
    """Changes with everything that a made release depends on."""
    found = hashlib.sha256()
    sources = [release / "tarn.binpb", HERE / "replay.cc", Path(__file__),
               *sorted((release / "clients").rglob("*"))]
    for path in filter(Path.is_file, sources):
        found.update(f"{path.name}\n".encode() + path.read_bytes())
    return found.hexdigest()[:16]


def compile_all(commands):
    with ThreadPoolExecutor(2) as pool:
        list(pool.map(lambda command: run(*command), commands))


def make_again(tree, release):
    """Once for each release: its library without optimization, and programs
    that are linked against it."""
    released = Released(
        tree / "build" / "compat" / "released" / digest(release),
        release / "clients")
    if released.folder.exists():
        return released
    work = released.folder.with_suffix(".unfinished")
    shutil.rmtree(work, ignore_errors=True)
    made = Released(work, released.clients)
    for folder in (made.headers, made.libdir, work / "bin"):
        folder.mkdir(parents=True)
    names = [file.name for file in
             descriptors.own_files(release / "tarn.binpb")]
    run("protoc", f"--descriptor_set_in={release / 'tarn.binpb'}",
        f"--cpp_out={made.headers}", *names)
    include = f"-I{made.headers.parent}"
    sources = sorted(made.headers.glob("*.cc"))
    compile_all([["g++", "-std=c++11", "-O0", "-fPIC", include, "-c", source,
                  "-o", source.with_suffix(".o")] for source in sources])
    run("g++", "-shared", "-Wl,-soname,libschema.so.0", "-o",
        made.libdir / "libschema.so.0",
        *(source.with_suffix(".o") for source in sources), "-lprotobuf")
    (made.libdir / "libschema.so").symlink_to("libschema.so.0")
    programs = {path.name: sorted(path.glob("*.cc"))
                for path in sorted(made.clients.iterdir())}
    # It uses the library only through reflection, so the linker would leave the
    # library out.
    programs["replay"] = [HERE / "replay.cc", "-Wl,--no-as-needed"]
    compile_all([["g++", "-std=c++17", "-O1", include, *inputs, "-o",
                  made.program(name), f"-L{made.libdir}", "-lschema",
                  "-lprotobuf"] for name, inputs in programs.items()])
    work.rename(released.folder)
    return released


def start(program, libdir, *arguments):
    """Exit status and output with the library of a folder."""
    done = subprocess.run(
        [program, *arguments],
        env=dict(os.environ, LD_LIBRARY_PATH=str(libdir), LD_BIND_NOW="1"),
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8",
        errors="replace", check=False)
    return done.returncode, done.stdout


def run_client(what, program, libdir, expected):
    status, output = start(program, libdir)
    if status == 0 and (expected is None or output == expected.read_text()):
        return []
    return [Finding(Level.BINARY, f"{what} ends with status {status} and "
                                  f"prints:\n{output}")]


def run_old(released, libdir, names_hold):
    """Programs linked against the last release run with the new library; where
    names have changed, what they print may show it."""
    return [finding for client in sorted(released.clients.iterdir())
            for finding in run_client(
                f"{client.name}, linked against the last release,",
                released.program(client.name), libdir,
                client / "expected.txt" if names_hold else None)]


def build_and_run_new(released, install, work):
    """The last release's programs are compiled against the install, and run
    with the library of the last release."""
    shutil.rmtree(work, ignore_errors=True)
    try:
        run("cmake", "-S", HERE / "clients", "-B", work,
            f"-DCLIENTS={released.clients}",
            f"-DCMAKE_PREFIX_PATH={install.root}")
        run("cmake", "--build", work, "--parallel", "2")
        run("g++", HERE / "by_pkg_config.cc", "-o", work / "by_pkg_config",
            *run("pkg-config", "--cflags", "--libs", "schema",
                 env=dict(os.environ, PKG_CONFIG_PATH=str(
                     install.libdir / "pkgconfig"))).split())
    except CannotTell as error:
        return [Finding(Level.SOURCE, "the last release's programs no longer "
                                      f"compile:\n{error}")]
    return [finding for client in sorted(released.clients.iterdir())
            for finding in run_client(
                f"{client.name} with the last release's library",
                work / client.name / client.name, released.libdir,
                client / "expected.txt")]


def replay(released, libdir, tree, manifest, names_hold):
    """The library reads and writes the last release's golden messages; in text
    and JSON as well, unless the schema has changed the names in them."""
    status, output = start(released.program("replay"), libdir, tree, manifest,
                           *([] if names_hold else [".binpb"]))
    if status == 0:
        return []
    # If a program does not run to its end, nothing is known about the bytes.
    level = Level.WIRE if status == 1 else Level.BINARY
    return [Finding(level, f"golden messages, status {status}:\n{output}")]
