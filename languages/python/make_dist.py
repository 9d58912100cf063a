#!/usr/bin/python3
"""Packs the package as a wheel and an sdist, without network.

Usage: make_dist.py PACKAGE_FOLDER DIST_FOLDER
SOURCE_DATE_EPOCH gives the time of all files; without it they keep theirs.
"""
import os
import pathlib
import shutil
import sys

from flit_core import buildapi

folder, dist = (pathlib.Path(path).resolve() for path in sys.argv[1:])
shutil.rmtree(dist, ignore_errors=True)
dist.mkdir()
os.chdir(folder)
buildapi.build_wheel(dist)
buildapi.build_sdist(dist)
for file in dist.iterdir():
    file.chmod(0o644)
