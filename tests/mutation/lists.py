"""The breaks of each group, with what may notice them, and the two lists that are
written by hand."""

import itertools
from pathlib import Path

import rules
from tree_copy import Stage

# The unit tests of each layer of tarn.
UNIT_TESTS = {"terminal": "forms", "wire": "walker ranking",
              "forms": "forms reading printer text_check", "network": "difference",
              "rows": "rows"}
INSTALLED = "schema tarn tarn_pages sample_capture"
SCHEMA_STAGES = (
    Stage("build", "python_package"),
    Stage("test", r"^(corpus\.(python_python|RuntimeLimitsAreMarked)|docs\.other_languages)$"),
    Stage("build", "schema_test"),
    Stage("test", r"^schema\.[A-Z]"),
    Stage("build", "wire_test corpus_test"),
    Stage("test", r"^(wire|corpus)\.[A-Z]"))
# What tries each example.
EXAMPLES = {
    "first": (Stage("test", r"^examples\.first$"),),
    "controller": (Stage("test", r"^examples\.controller$"),),
    "fleet": (Stage("test", r"^fleet\.(bad_input|questions|together|demo)$"),),
    "firmware": (
        Stage("test", r"^install\.stage$"),
        Stage("compile", "[ -d build/nanopb ] || examples/firmware/nanopb build/nanopb\n"
              "cmake -S examples/firmware -B build/firmware -G Ninja"
              " -D NANOPB=$(echo $PWD/build/nanopb/nanopb-*/)"
              " -D TARN_SHARE=$PWD/build/debug/stage/share/tarn\n"
              "cmake --build build/firmware"),
        Stage("run", "tests/firmware/firmware_test.py build/debug/stage corpus build/firmware"))}
# What only the other machine runs, or only tells a size.
ELSEWHERE = ("examples/firmware/line_mps2.c", "examples/firmware/sizes.c")


def inspector_stages(file):
    """What may notice a break of a file of tarn, the quickest first."""
    layer = Path(file).parent.name
    units = UNIT_TESTS.get(layer, "").split()
    stages = [Stage("build", " ".join(["tarn", *(f"{unit}_test" for unit in units)]))]
    if units:
        stages.append(Stage("test", rf"^({'|'.join(units)})\."))
    first = Path(file).stem.split("_")[0] if layer in ("verbs", "network", "rows") else ""
    return (*stages, Stage("cases", first),
            Stage("build", f"{INSTALLED} python_package test-cli"),
            Stage("test", r"^cli\.[a-z_]+$"))


def in_turn(lists):
    """One of each list, then the second of each, and so on."""
    for row in itertools.zip_longest(*lists):
        yield from (item for item in row if item is not None)


def by(key, breaks):
    lists = {}
    for a_break in breaks:
        lists.setdefault(key(a_break), []).append(a_break)
    return [lists[name] for name in sorted(lists)]


def files(tree, *patterns):
    return sorted(str(path.relative_to(tree)) for pattern in patterns
                  for path in tree.glob(pattern))


def code_breaks(tree, group, names, stages):
    """Breaks of code in the order in which they are tried: of each folder in turn,
    and in each by each rule in turn."""
    breaks = rules.drawn(rules.code_breaks(tree, group, names), tree)
    folders = by(lambda a_break: Path(a_break.file).parent, breaks)
    for a_break in in_turn([list(in_turn(by(lambda b: b.rule, folder)))
                            for folder in folders]):
        yield a_break._replace(stages=stages(a_break.file))


def breaks_of(tree, group):
    """The breaks of a group in the order in which they are tried."""
    if group == "schema":
        breaks = rules.drawn((a_break for file in files(tree, "proto/*.proto")
                              for a_break in rules.schema_breaks(tree, file)), tree)
        return [a_break._replace(stages=SCHEMA_STAGES)
                for a_break in in_turn(by(lambda b: b.rule, breaks))]
    if group == "inspector":
        return list(code_breaks(tree, group, files(tree, "tools/tarn/**/*.cc"),
                                inspector_stages))
    if group == "examples":
        names = [name for name in files(tree, *(f"examples/{name}/*.c*" for name in EXAMPLES))
                 if name.endswith((".c", ".cc")) and name not in ELSEWHERE]
        return list(code_breaks(
            tree, group, names,
            lambda file: (Stage("build", INSTALLED), *EXAMPLES[Path(file).parent.name])))
    return written_breaks(tree, group)


def written_breaks(tree, group):
    """The breaks that are written down; their file says how."""
    path = tree / f"tests/mutation/{group}.txt"
    breaks, stages, state = [], [], {}
    for number, line in enumerate(path.read_text().splitlines(), 1):
        word, _, rest = line.partition(" ")
        if word in ("build", "test", "run"):
            # The first of these after a break says what may notice the next ones.
            stages = [Stage(word, rest)] if state else [*stages, Stage(word, rest)]
            state = {}
        elif word in ("break", "file", "find"):
            state[word] = rest
        elif word == "with":
            breaks.append(written(tree, group, state, rest, stages, f"{path}:{number}"))
        elif line and word[0] != "#":
            raise SystemExit(f"{path}:{number}: unknown word {word}")
    return breaks


def written(tree, group, state, new, stages, place):
    text = (tree / state["file"]).read_text()
    old, new = (part.replace(r"\n", "\n") for part in (state["find"], new))
    if text.count(old) != 1:
        raise SystemExit(f"{place}: {state['file']} has {text.count(old)} times: {old}")
    begin = text.index(old)
    return rules.Break(group, state["break"], state["file"], begin, begin + len(old), new,
                       tuple(stages), True)


class Explained:
    """Survivors that may survive. Each begins with its file, goes on with the lines
    that differ, and ends with the reason in one line."""

    def __init__(self, tree, path):
        self.entries = set()
        for number, block in enumerate(path.read_text().split("\n\n")):
            if number == 0:
                continue  # what the file is for
            place, *lines, why = block.strip().splitlines()
            file = place.partition(":")[0]
            if not why.startswith("why: ") or any(line[0] not in "-+" for line in lines):
                raise SystemExit(f"{path}: entry {number} is not as it should be")
            text = (tree / file).read_text()
            if any(line[1:].strip() not in text for line in lines if line[0] == "-"):
                raise SystemExit(f"{path}: {file} no longer has the lines of entry {number}")
            self.entries.add((file, *map(plain, lines)))

    def has(self, difference):
        place, *lines = difference
        return (place.partition(":")[0], *map(plain, lines)) in self.entries


def plain(line):
    """A line of a difference without its indentation."""
    return line[0] + line[1:].strip()
