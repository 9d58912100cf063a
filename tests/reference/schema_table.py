"""What the table of the schema beside this file has, for tests in Python."""
import pathlib
import re

ROWS = re.findall(r"^SCHEMA_(MESSAGE|FIELD|ENUM|VALUE)\(([^)]*)\)$",
                  pathlib.Path(__file__).with_suffix(".inc").read_text("utf-8"),
                  re.MULTILINE)
MESSAGES = sum(kind == "MESSAGE" for kind, _ in ROWS)
# Each map has a class for its entries beside those of the messages.
MAPS = sum(kind == "FIELD" and ", MAP, " in row for kind, row in ROWS)
