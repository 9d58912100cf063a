#!/usr/bin/python3
"""Holds the manual page against the help of tarn, and runs its examples.

Usage: manual_test.py TARN PAGE
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile


def tarn(*arguments):
    return subprocess.run([TARN, *arguments], capture_output=True, text=True, check=True,
                          timeout=60).stdout


def render(page):
    """The page as a terminal shows it, in one column of any width."""
    shown = subprocess.run(["groff", "-ww", "-K", "utf8", "-T", "utf8", "-P-cbou", "-rLL=200n",
                            "-rHY=0", "-man", page], capture_output=True, text=True,
                           check=True, timeout=60)
    assert not shown.stderr, shown.stderr
    return shown.stdout


def sections(text, indent):
    """The text below each heading that is indented so far."""
    parts = re.split(rf"^ {{{indent}}}(\S.*)\n", text, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def check_verbs(page):
    usage = tarn("help")
    verbs = re.findall(r"^  (\w+) {2,}\w", usage, re.M)
    assert len(verbs) > 5, usage
    shown = sections(page["VERBS"], 3)
    assert list(shown) == verbs + ["help", "--version"], list(shown)
    options = 0
    for verb in verbs:
        wanted = re.findall(r"^  (?:-h,)?(--[\w-]+|[A-Z|]+)\b", tarn("help", verb), re.M)
        wanted.remove("--help")
        wide = [line for line in tarn("help", verb).splitlines() if len(line) > 80]
        assert not wide, wide
        got = re.findall(r"^ {7}(--[\w-]+|[A-Z|]+)(?= |$)", shown[verb], re.M)
        assert got == wanted, f"{verb}: the page has {got}, the help {wanted}"
        for choices in re.findall(r":\{(.*)\}", tarn("help", verb)):
            sentence = " is " + " or ".join(choices.replace(",", ", ").rsplit(", ", 1)) + "."
            assert sentence in shown[verb], f"{verb}: {sentence}"
        options += len(got)
    return options


def check_exit_statuses(page):
    shown = re.findall(r"^ {7}(\d) ", page["EXIT STATUS"], re.M)
    assert shown == re.findall(r"\b\d(?= )", tarn("help").rpartition("Exit status:")[2]), shown


def examples_of(source):
    """The commands of the page, each with what it prints."""
    for block in re.findall(r"^\.EX\n(.*?)^\.EE\n", source, re.M | re.S):
        for old, new in ((r"\&", ""), (r"\(aq", "'"), (r"\-", "-"), (r"\e", "\\")):
            block = block.replace(old, new)
        for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
            command, _, printed = part.partition("\n")
            yield command, printed


def check_examples(source):
    """What the examples say comes out is what comes out."""
    programs = pathlib.Path(TARN).resolve().parent
    environment = dict(os.environ, PATH=f"{programs}:{os.environ['PATH']}")
    examples = list(examples_of(source))
    assert len(examples) > 5, examples
    with tempfile.TemporaryDirectory() as folder:
        for command, printed in examples:
            got = subprocess.run(command, shell=True, cwd=folder, env=environment, text=True,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60,
                                 check=False).stdout
            assert got == printed, f"$ {command}\n{got}\nThe page has:\n{printed}"
    return len(examples)


TARN, path = sys.argv[1], pathlib.Path(sys.argv[2])
text = render(path)
assert re.search(r"^NAME\n {7}tarn - \w.*$", text, re.M), text[:200]
page = sections(text, 0)
options = check_verbs(page)
check_exit_statuses(page)
examples = check_examples(path.read_text())
print(f"{options} options are those of the help, {examples} examples hold")
