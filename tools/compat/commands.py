"""Runs other programs."""

import subprocess

from .verdict import CannotTell


def run(*command, cwd=None, env=None):
    """What the program prints; one that fails ends the comparison."""
    done = subprocess.run(command, cwd=cwd, env=env, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding="utf-8",
                          check=False)
    if done.returncode != 0:
        raise CannotTell(f"{' '.join(map(str, command))}:\n{done.stdout}")
    return done.stdout
