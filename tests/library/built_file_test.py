#!/usr/bin/python3
"""The built library as a file: what it needs, exports and does when loaded.

Usage: built_file_test.py LIBRARY DEBUG_FILE VERSION OBJDUMP COMPILER
                          trained|untrained|unoptimised [unittest options]

Reads the file of any processor, so that a cross-built library passes through
the same checks.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import zlib

from elftools.elf.elffile import ELFFile
from elftools.elf.relocation import RelocationSection

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1]))
# pylint: disable=wrong-import-position
from reference import schema_table

LIBRARY = DEBUG_FILE = VERSION = OBJDUMP = COMPILER = PROFILE = ""

# How code begins that an indirect branch may lead to, on processors that look:
# endbr64; bti c, or paciasp which also signs the return address.
BRANCH_TARGETS = {"EM_X86_64": {"f30f1efa"},
                  "EM_AARCH64": {"5f2403d5", "3f2303d5"}}

# Where the guard of the stack is not a variable of the loader.
GUARDED = ("EM_X86_64", "EM_S390")

# The messages, and the entry classes of the maps.
DEFAULT_INSTANCES = schema_table.MESSAGES + schema_table.MAPS


class BuiltFile(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.file = open(LIBRARY, "rb")
        cls.elf = ELFFile(cls.file)
        cls.dynamic = cls.elf.get_section_by_name(".dynamic")

    @classmethod
    def tearDownClass(cls):
        cls.file.close()

    def order(self):
        return "little" if self.elf.little_endian else "big"

    def tags(self, name):
        return [t for t in self.dynamic.iter_tags() if t.entry.d_tag == name]

    def test_needs_exactly_four_libraries(self):
        self.assertEqual(
            sorted(t.needed for t in self.tags("DT_NEEDED")),
            ["libc.so.6", "libgcc_s.so.1", "libprotobuf.so.32",
             "libstdc++.so.6"])

    def test_has_the_soname_and_the_links(self):
        self.assertEqual([t.soname for t in self.tags("DT_SONAME")],
                         ["libschema.so.0"])
        folder = os.path.dirname(LIBRARY)
        full = f"libschema.so.{VERSION}"
        self.assertEqual(os.readlink(f"{folder}/libschema.so"),
                         "libschema.so.0")
        self.assertEqual(os.readlink(f"{folder}/libschema.so.0"), full)
        self.assertEqual(os.path.basename(os.path.realpath(LIBRARY)), full)

    def test_binds_at_once_and_is_never_unloaded(self):
        # DF_BIND_NOW of DT_FLAGS; DF_1_NOW and DF_1_NODELETE of DT_FLAGS_1.
        self.assertTrue(self.tags("DT_FLAGS")[0].entry.d_val & 0x8)
        self.assertEqual(self.tags("DT_FLAGS_1")[0].entry.d_val & 0x9, 0x9)

    def test_relocated_data_is_read_only(self):
        segments = {s.header.p_type: s for s in self.elf.iter_segments()}
        self.assertIn("PT_GNU_RELRO", segments)
        # Full RELRO: the table of called functions lies in it as well.
        relro = segments["PT_GNU_RELRO"].header
        got = self.elf.get_section_by_name(".got").header
        self.assertGreaterEqual(got.sh_addr, relro.p_vaddr)
        self.assertLessEqual(got.sh_addr + got.sh_size,
                             relro.p_vaddr + relro.p_memsz)
        self.assertIsNone(self.elf.get_section_by_name(".got.plt"))

    def test_stack_is_not_executable(self):
        stack, = [s for s in self.elf.iter_segments()
                  if s.header.p_type == "PT_GNU_STACK"]
        self.assertEqual(stack.header.p_flags & 1, 0)

    def test_has_no_run_path_and_no_text_relocations(self):
        for name in ("DT_RPATH", "DT_RUNPATH", "DT_TEXTREL"):
            self.assertEqual(self.tags(name), [])

    def test_exported_functions_begin_with_the_mark_of_a_branch_target(self):
        text = self.elf.get_section_by_name(".text")
        code, start = text.data(), text.header.sh_addr
        marks = BRANCH_TARGETS[self.elf.header.e_machine]
        functions = [s for s in
                     self.elf.get_section_by_name(".dynsym").iter_symbols()
                     if s["st_info"]["type"] == "STT_FUNC"
                     and s["st_shndx"] != "SHN_UNDEF"]
        self.assertGreater(len(functions), 1000)
        unmarked = [s.name for s in functions
                    if code[s["st_value"] - start:][:4].hex() not in marks]
        self.assertEqual(unmarked, [])

    def test_stack_is_guarded_where_that_needs_no_other_library(self):
        imported = {s.name for s in
                    self.elf.get_section_by_name(".dynsym").iter_symbols()
                    if s["st_shndx"] == "SHN_UNDEF"}
        self.assertEqual("__stack_chk_fail" in imported,
                         self.elf.header.e_machine in GUARDED)

    def units(self):
        """What the debug information says of each compiled source."""
        with open(DEBUG_FILE, "rb") as debug:
            return [unit.get_top_DIE().attributes for unit in
                    ELFFile(debug).get_dwarf_info().iter_CUs()]

    def test_is_compiled_with_a_profile_where_one_was_trained(self):
        # The compiler notes down its options; without the profile's file,
        # this one makes it fail.
        trained = [b"-fprofile-use" in unit["DW_AT_producer"].value
                   for unit in self.units()]
        self.assertEqual(trained, [PROFILE == "trained"])

    def addresses(self, method):
        """Where the given method of each message lies in the file."""
        with open(DEBUG_FILE, "rb") as debug:
            table = ELFFile(debug).get_section_by_name(".symtab")
            wanted = re.compile(r"_ZNK?4tarn\d+[A-Za-z0-9_]+?" + method)
            return [symbol["st_value"] for symbol in table.iter_symbols()
                    if wanted.fullmatch(symbol.name)]

    def test_is_laid_out_by_its_profile(self):
        # Code that the trainer never ran goes before all that it ran.
        never = self.addresses("12GetClassDataEv")
        often = self.addresses("14_InternalParseEPKcPN6google8protobuf8"
                               "internal12ParseContextE")
        self.assertEqual((len(never), len(often)),
                         2 * (schema_table.MESSAGES,))
        self.assertLess(max(never), min(often))

    def test_debug_information_names_no_folder_of_the_build(self):
        self.assertEqual([unit["DW_AT_name"].value for unit in self.units()],
                         [b"/usr/src/schema/schema.cc"])
        # Make compiles in a folder below that of the build.
        for unit in self.units():
            self.assertRegex(unit["DW_AT_comp_dir"].value,
                             rb"^/usr/src/schema(/proto)?$")

    def test_debug_link_names_the_debug_file(self):
        self.assertIsNone(self.elf.get_section_by_name(".debug_info"))
        self.assertIsNone(self.elf.get_section_by_name(".symtab"))
        data = self.elf.get_section_by_name(".gnu_debuglink").data()
        name = data[:data.index(b"\0")]
        self.assertEqual(name, b"libschema.debug")
        self.assertEqual(os.path.basename(DEBUG_FILE), "libschema.debug")
        with open(DEBUG_FILE, "rb") as debug:
            checksum = zlib.crc32(debug.read())
        self.assertEqual(data[-4:], checksum.to_bytes(4, self.order()))
        with open(DEBUG_FILE, "rb") as debug:
            self.assertTrue(ELFFile(debug).has_dwarf_info())

    def initialisers(self):
        """Names of the functions run on loading, in the order of running."""
        array = self.elf.get_section_by_name(".init_array")
        start, data = array.header.sh_addr, array.data()
        size = self.elf.elfclass // 8
        addresses = {}
        for section in self.elf.iter_sections():
            if isinstance(section, RelocationSection):
                for entry in section.iter_relocations():
                    at = entry["r_offset"] - start
                    if not 0 <= at < len(data):
                        continue
                    # Where relocations hold no address, the array does.
                    addresses[at] = (
                        entry["r_addend"] if entry.is_RELA() else
                        int.from_bytes(data[at:at + size], self.order()))
        with open(DEBUG_FILE, "rb") as debug:
            symbols = {s["st_value"]: s.name
                       for s in ELFFile(debug).get_section_by_name(
                           ".symtab").iter_symbols()
                       if s["st_info"]["type"] == "STT_FUNC"}
        return [symbols[addresses[at]] for at in sorted(addresses)]

    def calls(self, function):
        """What one function calls, in order."""
        with open(DEBUG_FILE, "rb") as debug:
            symbol, = ELFFile(debug).get_section_by_name(
                ".symtab").get_symbol_by_name(function)
        start, size = symbol["st_value"], symbol["st_size"]
        options = []
        if self.elf.header.e_machine == "EM_ARM" and start & 1:
            start, options = start - 1, ["-M", "force-thumb"]
        text = subprocess.run(
            [OBJDUMP, "-d", "--no-show-raw-insn", *options,
             f"--start-address={start}",
             f"--stop-address={start + size}", LIBRARY],
            check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout
        # Calls and jumps, direct or by way of the linkage table; jumps within
        # the function itself have an offset after the name.
        names = re.findall(r"(?:call|jmp|blx?|b(?:\.[nw])?|brasl|jg)\s"
                           r".*<([^>+]+?)(?:@plt[^>]*)?>", text)
        return [name.split("@")[0] for name in names]

    def initialisers_of_the_streams(self):
        """What <iostream> adds to a file that includes it: before the 13th
        release of the standard library an initialiser, since then nothing."""
        with tempfile.NamedTemporaryFile(suffix=".o") as compiled:
            subprocess.run([COMPILER, "-x", "c++", "-c", "-o", compiled.name,
                            "-"], check=True, input=b"#include <iostream>\n")
            table = ELFFile(compiled).get_section_by_name(".symtab")
            return [symbol.name for symbol in table.iter_symbols()
                    if symbol.name.startswith("_ZNSt8ios_base4InitC")]

    def test_initialisation_runs_in_the_promised_order(self):
        names = [n for n in self.initialisers() if n.startswith("_GLOBAL_")]
        streams = self.initialisers_of_the_streams()
        self.assertEqual(
            names,
            ["_GLOBAL__sub_I.00101_schema.cc",
             "_GLOBAL__sub_I.00102_schema.cc"] +
            ["_GLOBAL__sub_I_schema.cc"] * len(streams),
            "an initialiser was added, lost or moved")

    def test_initialisers_do_what_is_promised_of_each(self):
        names = [n for n in self.initialisers() if n.startswith("_GLOBAL_")]
        streams = self.initialisers_of_the_streams()
        first, second, *rest = map(self.calls, names)
        at_exit = ("__aeabi_atexit" if self.elf.header.e_machine == "EM_ARM"
                   else "__cxa_atexit")
        self.assertEqual(first, [at_exit] * DEFAULT_INSTANCES)
        add = ("_ZN6google8protobuf8internal20AddDescriptorsRunnerC1EPKNS1_"
               "15DescriptorTableE")
        self.assertEqual(second, [add] * 2)
        self.assertEqual(rest, [[name, at_exit] for name in streams])

    def test_only_the_start_files_add_initialisers(self):
        others = [n for n in self.initialisers()
                  if not n.startswith("_GLOBAL_")]
        self.assertEqual(others, ["frame_dummy"])


if __name__ == "__main__":
    LIBRARY, DEBUG_FILE, VERSION, OBJDUMP, COMPILER, PROFILE = sys.argv[1:7]
    with open(LIBRARY, "rb") as library:
        if ELFFile(library).header.e_machine not in BRANCH_TARGETS:
            del (BuiltFile.
                 test_exported_functions_begin_with_the_mark_of_a_branch_target)
    if PROFILE != "trained":
        del BuiltFile.test_is_laid_out_by_its_profile
    if PROFILE == "unoptimised":
        # One function does it all there, told by an argument what to do.
        del BuiltFile.test_initialisers_do_what_is_promised_of_each
    unittest.main(argv=sys.argv[:1] + sys.argv[7:], verbosity=2)
