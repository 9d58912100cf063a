#!/usr/bin/python3
"""Presses the tab key in bash, zsh and fish with an installed tarn.

Usage: completion_test.py STAGE
"""
import os
import pathlib
import pty
import select
import subprocess
import sys
import tempfile
import time

# A line as it is typed, what must be among the candidates, and what must not:
# a set of names, or ALL for every other.
ALL = None
FILES = {"capture.bin", "notes.txt"}
CASES = (
    ("tarn ", {"annotate", "tree", "help"}, {"manual", "complete", "capture.bin"}),
    ("tarn de", {"decode", "describe"}, ALL),
    ("tarn help de", {"decode", "describe"}, ALL),
    ("tarn decode ", {"Server", "Price"}, {"Server.name", "capture.bin", "network"}),
    ("tarn decode tarn.Serv", {"tarn.Server"}, {"Server"}),
    ("tarn decode Server ", FILES, ALL),
    ("tarn decode Server ca", {"capture.bin"}, ALL),
    ("tarn decode Server --", {"--to", "--strict", "--help"}, {"--budget", "capture.bin"}),
    ("tarn decode --pretty Server --p", {"--partial"}, ALL),
    ("tarn decode --to ", {"text", "json", "hex", "binary"}, ALL),
    ("tarn decode --to=", {"text", "json", "hex", "binary"}, ALL),
    ("tarn decode --to=json ", {"Server"}, {"text"}),
    ("tarn decode --from b", {"binary", "base64"}, ALL),
    ("tarn decode --frame=u32", {"u32be", "u32le"}, ALL),
    ("tarn decode --color a", {"auto", "always"}, ALL),
    ("tarn decode --max-size ", set(), ALL),
    ("tarn conform --only Serv", {"Server"}, ALL),
    ("tarn conform -- ", FILES, ALL),
    ("tarn check --fail-on ", {"advice", "warning", "error"}, ALL),
    ("tarn describe Serv", {"Server"}, {"Server.name"}),
    ("tarn describe Server.", {"Server.name", "Server.status"}, {"Server"}),
    ("tarn describe StatusCodes.r", {"StatusCodes.retry_mode"}, ALL),
    ("tarn diff Server capture.bin ", FILES, ALL),
    ("tarn rows --table pr", {"price", "product"}, ALL),
    ("tarn rows Server --folder ", FILES, ALL),
    ("tarn sample net", {"network"}, {"Server"}),
    ("tarn status ", FILES, ALL),
    ("tarn what ", FILES, ALL),
    ("tarn tree --type Mods", {"ModsAvailable", "ModsConfigured"}, ALL),
    ("tarn tree --only ok,comm_", {"ok,comm_error"}, ALL),
    ("tarn list ", {"--json", "--color", "--no-pager", "--help"}, ALL),
    ("tarn nonsense ", set(), ALL),
)

# Both write what the tab key finds to the file "got", and tell of it.
BASH = r"""
PS1= PS2=
. /usr/share/bash-completion/bash_completion
_completion_loader tarn
watch() {
  _tarn "$@"
  printf '%s\n' "${COMPREPLY[@]}" >"$CONTROL/part"
  mv "$CONTROL/part" "$CONTROL/got"
}
complete -F watch tarn
echo >"$CONTROL/got"
"""
ZSH = r"""
PS1= PS2=
unsetopt AUTO_LIST
fpath=($STAGE/share/zsh/site-functions $fpath)
autoload -U compinit
compinit -u -D
compadd() {
  local -a hits
  if [[ ${@[1,(i)(-|--)]} != *-[OAD]* ]]; then
    builtin compadd -O hits "$@"
    print -rl -- $hits >>$CONTROL/part
  fi
  builtin compadd "$@"
}
watch() {
  : >$CONTROL/part
  zle complete-word
  mv $CONTROL/part $CONTROL/got
}
zle -N watch
bindkey '\t' watch
echo >$CONTROL/got
"""
# The completion of a whole line on standard input.
FISH = "while read --line line; complete --do-complete $line; echo end of line; end"


class Terminal:
    """A shell that somebody sits at; its rules are those of the folder."""

    def __init__(self, command, environment):
        self.got = pathlib.Path(environment["CONTROL"], "got")
        self.master, slave = pty.openpty()
        self.process = subprocess.Popen(command, env=environment, cwd=environment["HOME"],
                                        stdin=slave, stdout=slave, stderr=slave,
                                        start_new_session=True)
        os.close(slave)
        self.screen = b""
        self.answer("its start")

    def complete(self, line):
        # First, away with what stands there.
        os.write(self.master, b"\x15" + line.encode() + b"\t")
        return set(self.answer(line).split("\n")) - {""}

    def answer(self, question):
        """What the shell puts into the file, once it does."""
        end = time.monotonic() + 60
        while not self.got.exists():
            if time.monotonic() > end:
                raise AssertionError(f"no answer to {question!r}: {self.screen!r}")
            if select.select([self.master], [], [], 0.02)[0]:
                self.screen += os.read(self.master, 65536)
        text = self.got.read_text()
        self.got.unlink()
        return text

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self.master)


def answers_of_a_terminal(command, environment, lines):
    terminal = Terminal(command, environment)
    try:
        return [terminal.complete(line) for line in lines], terminal.screen
    finally:
        terminal.close()


def bash(environment, lines):
    path = pathlib.Path(environment["CONTROL"], "bashrc")
    path.write_text(BASH)
    return answers_of_a_terminal(["bash", "--noprofile", "--rcfile", path, "-i"], environment,
                                 lines)


def zsh(environment, lines):
    pathlib.Path(environment["CONTROL"], ".zshrc").write_text(ZSH)
    return answers_of_a_terminal(["zsh", "-d", "-i"], environment, lines)


def fish(environment, lines):
    done = subprocess.run(["fish", "-c", FISH], input="\n".join(lines) + "\n", env=environment,
                          cwd=environment["HOME"], capture_output=True, text=True, check=True,
                          timeout=120)
    answers = done.stdout.split("end of line\n")[:-1]
    return [{line.split("\t")[0] for line in answer.splitlines()}
            for answer in answers], done.stderr


def check(shell, environment):
    """Returns in how many of the cases the shell is wrong."""
    wrong = 0
    answers, _ = shell(environment, [line for line, _, _ in CASES])
    assert len(answers) == len(CASES), answers
    for (line, wanted, unwanted), got in zip(CASES, answers):
        # Some shells complete the whole word, others the part after "=".
        got = {word.partition("=")[2] or word for word in got}
        others = got - wanted if unwanted is ALL else got & unwanted
        if wanted - got or others:
            wrong += 1
            print(f"{shell.__name__}: {line!r} lacks {wanted - got}, offers {others}")
    return wrong


def check_failing_program(shell, environment):
    """A tarn that fails leaves neither candidates nor words on the screen."""
    answers, screen = shell(environment, ["tarn ", "tarn decode "])
    assert answers == [set(), set()] and "broken" not in str(screen), f"{answers} {screen}"


stage = pathlib.Path(sys.argv[1]).resolve()
with tempfile.TemporaryDirectory() as folder:
    folder = pathlib.Path(folder)
    for name in ("home", "control", "broken"):
        (folder / name).mkdir()
    for name in FILES:
        (folder / "home" / name).touch()
    (folder / "broken" / "tarn").write_text("#!/bin/sh\necho broken >&2\nexit 1\n")
    (folder / "broken" / "tarn").chmod(0o755)
    environment = {
        "PATH": f"{stage}/bin:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "TERM": "dumb",
        "STAGE": str(stage), "XDG_DATA_DIRS": f"{stage}/share:/usr/share",
        "HOME": str(folder / "home"), "XDG_CONFIG_HOME": str(folder / "control"),
        "XDG_DATA_HOME": str(folder / "control"), "XDG_CACHE_HOME": str(folder / "control"),
        "ZDOTDIR": str(folder / "control"), "CONTROL": str(folder / "control"),
    }
    wrong = 0
    for shell in (bash, zsh, fish):
        wrong += check(shell, environment)
        check_failing_program(
            shell, dict(environment, PATH=f"{folder}/broken:{os.environ['PATH']}"))
print(f"{len(CASES)} lines in 3 shells, {wrong} wrong")
sys.exit(wrong > 0)
