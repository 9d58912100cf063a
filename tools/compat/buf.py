"""What buf, which knows the common rules, says of two descriptor sets."""

import functools
import json
import subprocess

from .tree import MODULES
from .verdict import CannotTell, Finding, Level

# Whose judgement tools/compat/schema.py makes finer: of a oneof's name and
# members, of an enum that is renamed, of a language that gets its first option.
JUDGED_ELSEWHERE = ["ENUM_NO_DELETE", "FIELD_SAME_ONEOF",
                    "FIELD_WIRE_COMPATIBLE_TYPE", "FILE_SAME_GO_PACKAGE"]


def run_buf(*arguments):
    # The program itself: its wrapper for Node takes longer than the work.
    programs = list(MODULES.glob("buf-linux-*/bin/buf"))
    if not programs:
        raise CannotTell("buf is not here: script/bootstrap compat")
    done = subprocess.run([programs[0], *arguments], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, encoding="utf-8",
                          check=False)
    # 100: there are findings.
    if done.returncode not in (0, 100):
        raise CannotTell(f"buf failed:\n{done.stderr}{done.stdout}")
    return [json.loads(line) for line in done.stdout.splitlines()]


@functools.lru_cache(maxsize=None)
def wire_rules():
    rules = run_buf("config", "ls-breaking-rules", "--version", "v2",
                    "--format", "json")
    return {rule["id"] for rule in rules if "WIRE" in rule["categories"]}


def compare(old, new):
    """Findings about two files that hold descriptor sets."""
    config = {"version": "v2", "breaking": {"use": ["FILE", "WIRE"],
                                            "except": JUDGED_ELSEWHERE}}
    return [Finding(Level.WIRE if line["type"] in wire_rules()
                    else Level.SOURCE, f"buf {line['type']}: {line['message']}")
            for line in run_buf("breaking", new, "--against", old,
                                "--error-format", "json", "--config",
                                json.dumps(config))]
