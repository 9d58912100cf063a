#!/usr/bin/python3
"""Prints the commands of the README's section Install.

Usage: readme_install.py README
"""

import re
import sys
from pathlib import Path


def install_lines(readme):
    """The first block of shell lines below the heading Install."""
    section = re.search(r"^## Install\n(.*?)^## ", readme, re.M | re.S).group(1)
    return re.search(r"^```sh\n(.*?)^```$", section, re.M | re.S).group(1)


if __name__ == "__main__":
    print(install_lines(Path(sys.argv[1]).read_text()), end="")
