"""Changes to a copy of the tree, as the cases of the tests beside this file
make them."""

import re
import shutil
import subprocess
from typing import NamedTuple

from elftools.elf.elffile import ELFFile

CMAKE = "proto/CMakeLists.txt"
TARN, NETWORK = "proto/Tarn.proto", "proto/Network.proto"

# Of an entry of a symbol table of 64 bits.
ST_OTHER, STV_PROTECTED = 5, 3


class Edit(NamedTuple):
    """Replaces the first match of a pattern in a file."""
    file: str
    pattern: str
    replacement: str
    count: int = 1

    def apply(self, tree):
        path = tree / self.file
        text, count = re.subn(self.pattern, self.replacement,
                              path.read_text() if path.exists() else "",
                              count=self.count, flags=re.DOTALL | re.MULTILINE)
        if count == 0:
            raise AssertionError(f"{self.file} has no {self.pattern}")
        path.write_text(text)


class Remove(NamedTuple):
    """Removes a folder."""
    folder: str

    def apply(self, tree):
        shutil.rmtree(tree / self.folder)


class Run:
    """Runs a command in the folder."""

    def __init__(self, *command):
        self.command = command

    def apply(self, tree):
        subprocess.run(self.command, cwd=tree, check=True)


class ProtectSymbols(NamedTuple):
    """Gives the symbols that a library exports the visibility protected, as
    -fvisibility=protected does."""
    file: str

    def apply(self, tree):
        path = tree / self.file
        data = bytearray(path.read_bytes())
        with open(path, "rb") as file:
            symbols = ELFFile(file).get_section_by_name(".dynsym")
            for index, symbol in enumerate(symbols.iter_symbols()):
                if symbol["st_shndx"] != "SHN_UNDEF":
                    entry = (symbols["sh_offset"] +
                             index * symbols["sh_entsize"])
                    data[entry + ST_OTHER] = STV_PROTECTED
        path.write_bytes(data)


def edit_in(file, message, pattern, replacement):
    """An edit within one message or enum."""
    return Edit(file, rf"(\n(?:message|enum) {message} {{(?:(?!\n}}).)*?)"
                      rf"{pattern}", rf"\g<1>{replacement}")


def append(file, text):
    return Edit(file, r"\Z", text)


NEW_MESSAGE = "\nmessage Extra {\n  int32 number = 1;\n}\n"


def new_value(name, number):
    """A value at the end of StatusCodes."""
    last = "price_update_ok = 11;"
    return edit_in(NETWORK, "StatusCodes", last,
                   f"{last}\n  {name} = {number};")
