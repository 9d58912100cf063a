#!/usr/bin/python3
"""What the files in debian/ say of those who keep the packages.

Usage: packaging_test.py SOURCE_DIR BUILD_DIR [unittest options]
"""

import re
import sys
import unittest
from pathlib import Path

DEBIAN = Path()


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
