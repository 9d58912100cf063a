#!/usr/bin/python3
"""What the library exports, held against an option-free build of its sources.

Usage: exports_test.py LIBRARY GENERATED_DIR CXX [unittest options]

Programs are linked against whatever correct build of libschema.so.0 they find.
So everything that a plain build exports with strong binding must be here too,
in whichever dialect of C++ that build was made.
"""

import subprocess
import sys
import tempfile
import unittest

LIBRARY = GENERATED_DIR = CXX = ""


def symbols(library, kinds):
    """Names that a library defines and exports, by nm's letters for kinds."""
    text = subprocess.run(["nm", "-D", "--defined-only", library], check=True,
                          stdout=subprocess.PIPE, encoding="utf-8").stdout
    lines = [line.split() for line in text.splitlines()]
    return {name for _, kind, name in lines if kind in kinds}


STRONG = "ABCDGRT"
ANY = STRONG + "VWu"


def plain_build(options, output):
    subprocess.run([CXX, *options, "-fPIC", "-shared",
                    f"{GENERATED_DIR}/Tarn.pb.cc",
                    f"{GENERATED_DIR}/Network.pb.cc", "-lprotobuf",
                    "-o", output], check=True)


class Exports(unittest.TestCase):
    def check(self, *options):
        with tempfile.TemporaryDirectory() as folder:
            plain = f"{folder}/libplain.so"
            plain_build(options, plain)
            expected = symbols(plain, STRONG)
        # Constructors, accessors and tables of 53 classes: an empty or tiny
        # set would mean that the plain build went wrong.
        self.assertGreater(len(expected), 1000)
        self.assertIn("descriptor_table_Tarn_2eproto", expected)
        self.assertEqual(expected - symbols(LIBRARY, STRONG), set())

    def test_nothing_of_a_plain_build_is_missing(self):
        self.check()

    def test_nothing_of_an_optimised_cxx11_build_is_missing(self):
        self.check("-std=c++11", "-O2")

    def test_nothing_of_a_cxx20_build_is_missing(self):
        self.check("-std=c++20")

    def test_default_instances_tables_and_helpers_are_exported(self):
        names = {"_ZN4tarn24_Price_default_instance_E",
                 "_ZN4tarn24_Frame_default_instance_E",
                 "descriptor_table_Tarn_2eproto",
                 "descriptor_table_Network_2eproto",
                 "_Z36descriptor_table_Tarn_2eproto_getterv",
                 "_Z39descriptor_table_Network_2eproto_getterv",
                 "_ZN4tarn19StatusCodes_IsValidEi",
                 "_ZN4tarn22StatusCodes_descriptorEv",
                 "_ZN4tarn18Font_Style_IsValidEi",
                 # Font::Bold: only dialects before C++17 refer to it.
                 "_ZN4tarn4Font4BoldE"}
        self.assertEqual(names - symbols(LIBRARY, ANY), set())


if __name__ == "__main__":
    LIBRARY, GENERATED_DIR, CXX = sys.argv[1:4]
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
