#!/usr/bin/python3
"""tarn --version names the library that is loaded, not the one it was built with.

Usage: version_test.py TARN LIBRARY
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

tarn, library = sys.argv[1:]


def versions(**environment):
    shown = subprocess.run([tarn, "--version"], check=True, capture_output=True, text=True,
                           env={**os.environ, **environment}).stdout
    return dict(line.split(" ", 1) for line in shown.splitlines())


built = versions()
file = pathlib.Path(library).resolve()
number = file.name.split(".so.")[1]
assert built["libschema"] == f"{number} {file}", built
with tempfile.TemporaryDirectory() as scratch:
    folder = pathlib.Path(scratch).resolve()
    other = folder / "libschema.so.0.98.7"
    shutil.copy(file, other)
    (folder / "libschema.so.0").symlink_to(other.name)
    loaded = versions(LD_LIBRARY_PATH=scratch)
    assert loaded["libschema"] == f"0.98.7 {other}", loaded
    assert loaded["schema"] == built["schema"]
print(loaded["libschema"])
