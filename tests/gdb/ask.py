"""Runs in gdb: executes commands, and writes down what they print."""
import json
import os

import gdb


def answer(command):
    try:
        return gdb.execute(command, to_string=True)
    except gdb.error as error:
        return f"error: {error}"


with open(os.environ["ASKED"]) as asked:
    answers = [answer(command) for command in json.load(asked)]
with open(os.environ["ANSWERED"], "w") as answered:
    json.dump(answers, answered)
