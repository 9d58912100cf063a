#!/usr/bin/python3
"""What the files in debian/ say of those who keep the packages.

Usage: packaging_test.py SOURCE_DIR BUILD_DIR [unittest options]
"""

import re
import sys
import unittest
from fnmatch import fnmatchcase
from pathlib import Path

DEBIAN = Path()

# What an install holds, and the package in which each file is: that of the first
# pattern which matches.
PACKAGE_OF = ((r"lib/libschema\.so\.[^-]*$", "libschema0"),
              (r"lib/libschema\.(debug|so\..*-gdb\.py)$", "libschema0-dbg"),
              (r"bin/|share/(bash-completion|fish|man|zsh)/", "tarn"),
              (r"(lib|share|share/doc/tarn)/wireshark/", "tarn-wireshark"),
              (r".*/explorer\.html$", "tarn-doc"),
              (r"", "libschema-dev"))
# Where debian/rules moves some of them, and Debian's folder for libraries.
MOVED = ((r"^lib/(.*-gdb\.py)$", r"share/gdb/auto-load/usr/lib/triplet/\1"),
         (r"^lib/(.*\.debug)$", r"lib/debug/usr/lib/triplet/\1"),
         (r"^share/zsh/site-functions/", "share/zsh/vendor-completions/"),
         (r"^lib/(?!debug/)", "lib/triplet/"))


class Contents(unittest.TestCase):
    def takers(self, path):
        """The packages whose lists name the file, or a folder that it is in."""
        return [lines.stem for lines in sorted(DEBIAN.glob("*.install"))
                for line in lines.read_text().splitlines()
                if fnmatchcase(path, line.split()[0])
                or fnmatchcase(path, line.split()[0] + "/*")]

    def test_each_installed_file_is_in_its_package(self):
        installed = (DEBIAN.parent / "tests/install/files.txt").read_text().split()
        self.assertGreater(len(installed), 50)
        for file in installed:
            path = file
            for old, new in MOVED:
                path = re.sub(old, new, path)
            package = next(package for pattern, package in PACKAGE_OF
                           if re.match(pattern, file))
            self.assertEqual(self.takers(f"usr/{path}"), [package], file)


class Maintainer(unittest.TestCase):
    def test_no_address_looks_as_if_it_took_mail(self):
        # RFC 2606 keeps the domain .invalid free for ever.
        found = 0
        for file in sorted(DEBIAN.rglob("*")):
            if not file.is_file():
                continue
            for user, domain in re.findall(r"([\w.+-]+)@([\w.-]+)",
                                           file.read_text()):
                found += 1
                self.assertEqual(user, "no-mail", file)
                self.assertRegex(domain, r"\.invalid$", file)
        self.assertGreaterEqual(found, 2)

    def test_the_reader_is_told_that_the_address_takes_no_mail(self):
        text = " ".join((DEBIAN / "copyright").read_text().split())
        self.assertIn("takes no mail", text)

    def test_one_maintainer_signs_everything(self):
        control = re.search(r"^Maintainer: (.*)$",
                            (DEBIAN / "control").read_text(), re.M).group(1)
        signed = re.findall(r"^ -- (.*?)  \w", (DEBIAN / "changelog").read_text(),
                            re.M)
        self.assertEqual(set(signed), {control})


if __name__ == "__main__":
    DEBIAN = Path(sys.argv[1]).resolve() / "debian"
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
