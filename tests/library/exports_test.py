#!/usr/bin/python3
"""What the library exports and holds, against option-free builds of its sources.

Usage: exports_test.py LIBRARY DEBUG_FILE OBJECTS CXX [unittest options]

Programs are linked against whatever correct build of libschema.so.0 they find.
So everything that a plain build exports with strong binding must be here too,
in whichever dialect of C++ that build was made, and what tells one class from
another with any binding. Nothing may be here that a plain build does not have:
no function and no data but those of the generated code.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1]))
# pylint: disable=wrong-import-position
from reference import schema_table

LIBRARY = DEBUG_FILE = OBJECTS = CXX = ""

STRONG = "ABCDGRT"
WEAK = "VWu"

# Virtual tables, type information and names of types. The messages have them,
# and the entry classes of the maps.
CLASS_DATA = re.compile(r"_ZT[VIS]N4tarn")
CLASSES = schema_table.MESSAGES + schema_table.MAPS

# Instances of templates, of the standard library and of the runtime: which of
# them a compiler needs depends on what it inlines.
OF_A_TEMPLATE = re.compile(r"_Z(T[ISV])?N?K?(S[a-z]|6google8protobuf)")
# What a compiler makes of parts of a function, and of what it runs on loading.
PART = re.compile(r"(\.(part|isra|cold|constprop|localalias|\d+))+$")
MADE_BY_THE_COMPILER = re.compile(r"_GLOBAL__sub_I|CSWTCH$")
# Both files have a local object of this name; as one unit they cannot.
RENAMED = {"_ZL15network_schemas": "_ZL7schemas",
           "_ZL30network_file_default_instances":
               "_ZL22file_default_instances"}


def symbols(file, options=()):
    """Names of the symbols that a file defines, each with nm's letter for it."""
    text = subprocess.run(["nm", "--defined-only", *options, file], check=True,
                          stdout=subprocess.PIPE, encoding="utf-8").stdout
    lines = [line.split() for line in text.splitlines()]
    return {name: kind for _, kind, name in lines}


def exported(file):
    return symbols(file, ["-D"])


def missing(plain, library):
    """What a plain build exports, and the library does not as it should."""
    return {name for name, kind in plain.items()
            if (kind in STRONG and library.get(name, "-") not in STRONG)
            or (CLASS_DATA.match(name) and name not in library)}


def additions(plain, library):
    """What the library holds, and no plain build."""
    known = {PART.sub("", name) for name in plain}
    found = set()
    for symbol, kind in library.items():
        name = PART.sub("", symbol)
        if name in known or RENAMED.get(name) in known:
            continue
        if MADE_BY_THE_COMPILER.match(name):
            continue
        if OF_A_TEMPLATE.match(name) and (kind in WEAK or name != symbol):
            continue
        found.add(name)
    return found


class Exports(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.plain = cls.link("plain", "plain")
        cls.cxx11 = cls.link("cxx11", "cxx11")
        cls.cxx20 = cls.link("cxx20", "cxx20")
        # The library's own dialect, with and without optimisation.
        cls.generated = (symbols(cls.cxx11) |
                         symbols(cls.link("cxx11_plain", "cxx11_plain")))

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    @classmethod
    def link(cls, name, output, *others):
        """Links a build of the generated sources; returns the library."""
        output = f"{cls.folder.name}/{output}.so"
        subprocess.run([CXX, "-shared", f"{OBJECTS}/{name}.Tarn.o",
                        f"{OBJECTS}/{name}.Network.o", *others,
                        "-lprotobuf", "-o", output], check=True)
        return output

    def check_nothing_is_missing(self, plain):
        expected = exported(plain)
        # Constructors, accessors and tables of all classes: an empty or tiny
        # set would mean that the plain build went wrong.
        self.assertGreater(len(expected), 1000)
        self.assertIn("descriptor_table_Tarn_2eproto", expected)
        self.assertEqual(len(list(filter(CLASS_DATA.match, expected))),
                         3 * CLASSES)
        self.assertEqual(missing(expected, exported(LIBRARY)), set())

    def test_nothing_of_a_plain_build_is_missing(self):
        self.check_nothing_is_missing(self.plain)

    def test_nothing_of_an_optimised_cxx11_build_is_missing(self):
        self.check_nothing_is_missing(self.cxx11)

    def test_nothing_of_a_cxx20_build_is_missing(self):
        self.check_nothing_is_missing(self.cxx20)

    def test_hidden_virtual_tables_would_be_seen(self):
        script = f"{self.folder.name}/hide.map"
        with open(script, "w", encoding="utf-8") as file:
            file.write("{ local: _ZTVN4tarn*; _ZTIN4tarn*; _ZTSN4tarn*; };")
        hidden = self.link("plain", "hidden", f"-Wl,--version-script={script}")
        self.assertEqual(
            len(missing(exported(self.plain), exported(hidden))), 3 * CLASSES)

    def test_holds_nothing_but_what_the_generated_code_has(self):
        held = symbols(DEBUG_FILE)
        self.assertGreater(len(held), 1000)
        self.assertEqual(additions(self.generated, held), set())

    def test_functions_and_data_written_by_hand_would_be_seen(self):
        source = f"{self.folder.name}/hand.cc"
        with open(source, "w", encoding="utf-8") as file:
            file.write("static int local_counter;\n"
                       "int Count() { return ++local_counter; }\n"
                       "namespace tarn { int global_counter; }\n")
        subprocess.run([CXX, "-fPIC", "-c", source, "-o", source + ".o"],
                       check=True)
        written = self.link("cxx11", "written", source + ".o")
        self.assertEqual(
            additions(self.generated, symbols(written)),
            {"_ZL13local_counter", "_Z5Countv", "_ZN4tarn14global_counterE"})

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
        self.assertEqual(names - exported(LIBRARY).keys(), set())


if __name__ == "__main__":
    LIBRARY, DEBUG_FILE, OBJECTS, CXX = sys.argv[1:5]
    unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
