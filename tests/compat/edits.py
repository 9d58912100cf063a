"""Changes to a copy of the tree, as the cases of the tests beside this file
make them."""

import re
import shutil
from typing import NamedTuple

CMAKE = "proto/CMakeLists.txt"
TARN, NETWORK = "proto/Tarn.proto", "proto/Network.proto"


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


def edit_in(file, message, pattern, replacement):
    """An edit within one message or enum."""
    return Edit(file, rf"(\n(?:message|enum) {message} {{(?:(?!\n}}).)*?)"
                      rf"{pattern}", rf"\g<1>{replacement}")


def exchange(file, first, second):
    """Two declarations that follow each other change places."""
    def declaration(name):
        return rf"((?://[^\n]*\n)*{name} {{(?:(?!\n}}).)*\n}}\n)"
    return Edit(file, declaration(first) + r"\n" + declaration(second),
                r"\g<2>\n\g<1>")


def append(file, text):
    return Edit(file, r"\Z", text)


def after_package(file, text):
    return Edit(file, r"package tarn;", rf"\g<0>\n{text}")


NEW_MESSAGE = "\nmessage Extra {\n  int32 number = 1;\n}\n"


def new_message(fields):
    return append(NETWORK, f"\nmessage Extra {{\n{fields}\n}}\n")


def new_value(name, number):
    """A value at the end of StatusCodes."""
    last = "price_update_ok = 11;"
    return edit_in(NETWORK, "StatusCodes", last,
                   f"{last}\n  {name} = {number};")
