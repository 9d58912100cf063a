#!/usr/bin/python3
"""Checks the readers of examples/conform/ with tarn conform, as they are
installed, and built by the commands that stand in them.

Usage: conform_test.py STAGE CPP_READER
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

STAGE, CPP_READER = (pathlib.Path(path).resolve() for path in sys.argv[1:])
EXAMPLES = STAGE / "share/doc/tarn/examples/conform"
PROBLEMS = {"value", "unknownFields", "unreadable", "refused", "accepted", "died", "hung",
            "flooded", "wrongIdentifier", "garbage", "form"}
DESCRIPTOR_SET = STAGE / "share/tarn/tarn.binpb"


def conform(*command, **environment):
    """What tarn says of a reader, with the golden messages of its install."""
    done = subprocess.run([STAGE / "bin/tarn", "conform", "--json", "--", *command], text=True,
                          stdout=subprocess.PIPE, env={**os.environ, **environment}, check=False,
                          timeout=300)
    report = json.loads(done.stdout)
    assert done.returncode == (1 if report["differ"] else 0), done.returncode
    assert report["questions"] > 1000, report["questions"]
    return report


def cases(report, *problems):
    """The cases with one of these problems, apart from those at limits."""
    return {item["case"] for item in report["differences"]
            if item["problem"] in problems and "limit" not in item}


class ConformTest(unittest.TestCase):
    def test_the_library_agrees_in_everything(self):
        report = conform(CPP_READER)
        self.assertEqual(report["agree"], report["questions"])

    def test_python_with_the_cpp_runtime_agrees(self):
        report = conform("/usr/bin/python3", EXAMPLES / "reader.py", DESCRIPTOR_SET,
                         PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION="cpp")
        self.assertEqual((report["differ"], report["unsupported"]), (0, 0), report)

    def test_python_alone_knows_one_nan_and_one_zero(self):
        report = conform("/usr/bin/python3", EXAMPLES / "reader.py", DESCRIPTOR_SET,
                         PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION="python")
        changed = cases(report, "value")
        self.assertTrue(any("negative_zero" in name for name in changed), changed)
        self.assertTrue(all("nan" in name or "negative_zero" in name for name in changed), changed)
        self.assertEqual(cases(report, *PROBLEMS - {"value", "form"}),
                         {"rejected/BaseMsg/field_number_zero_in_a_group"})
        self.assertEqual(report["unsupported"], 0)

    def test_c_takes_any_bytes_for_text(self):
        with tempfile.TemporaryDirectory() as folder:
            source = (EXAMPLES / "reader.c").read_text()
            pathlib.Path(folder, "reader.c").write_text(source)
            *commands, last = re.findall(r"^//   (.*)", source, re.M)
            self.assertEqual((len(commands), last), (3, "tarn conform -- ./reader"))
            for command in commands:
                command = command.replace("/usr/share", str(STAGE / "share"))
                subprocess.run(command, shell=True, cwd=folder, check=True)
            report = conform(f"{folder}/reader")
        texts = cases(report, "accepted")
        self.assertTrue(any("utf8" in name for name in texts), texts)
        for item in report["differences"]:
            self.assertEqual(item["operation"], "parse")
            if item["case"] in texts:
                self.assertTrue(item["reason"].startswith("tarn."), item)
        self.assertEqual(cases(report, *PROBLEMS - {"accepted", "form", "refused", "value"}), set())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
