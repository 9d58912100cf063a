#!/usr/bin/python3
"""What script/bootstrap does on each kind of system.

Usage: bootstrap_test.py SOURCE_DIR BUILD_DIR [unittest options]

The system is made up: a file in the form of /etc/os-release, and a folder of
programs that stand for its own, which note down how they are called.
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path()

PROGRAMS = {
    "dpkg": 'case $1 in --print-architecture) echo amd64 ;; '
            '*) echo "dpkg $*" >>"$CALLS" ;; esac',
    # The installed packages are in a file, as "name status architecture".
    "dpkg-query": 'shift 2; for name; do sed -n "s/^$name //p" "$INSTALLED"; '
                  'done',
    "apt-get": 'echo "apt-get $*" >>"$CALLS"; exit "${APT_STATUS:-0}"',
    "id": 'echo "${USER_ID:-0}"',
    "sudo": 'echo "sudo" >>"$CALLS"; exec "$@"',
}
OF_THE_MACHINE = ("cmp", "dirname", "env", "grep", "sed", "sh")
DEBIAN_12 = 'ID=debian\nVERSION_ID="12"\n'
DEBIAN_13 = 'ID=debian\nVERSION_ID="13"\n'
UBUNTU = 'ID=ubuntu\nVERSION_ID="24.04"\n'
FEDORA = "ID=fedora\nVERSION_ID=40\n"
SID = "ID=debian\n"


class Bootstrap(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "bin").mkdir()
        for name in OF_THE_MACHINE:
            (self.folder / "bin" / name).symlink_to(f"/bin/{name}")

    def run_it(self, system, *groups, without=(), installed="", **settings):
        """Returns status, what was said, and the calls that change things."""
        for name, text in PROGRAMS.items():
            program = self.folder / "bin" / name
            program.unlink(missing_ok=True)
            if name not in without:
                program.write_text(f"#!/bin/sh\n{text}\n")
                program.chmod(0o755)
        files = {"OS_RELEASE": system, "INSTALLED": installed, "CALLS": ""}
        for name, text in files.items():
            (self.folder / name).write_text(text)
        environment = {name: str(self.folder / name) for name in files}
        environment["PATH"] = str(self.folder / "bin")
        environment.update(settings)
        done = subprocess.run(
            [SOURCE / "script" / "bootstrap", *groups], env=environment,
            check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            encoding="utf-8")
        return (done.returncode, done.stdout,
                (self.folder / "CALLS").read_text())

    def installable(self, *groups):
        """Names of all packages that a bare system would install."""
        calls = self.run_it(DEBIAN_12, *groups)[2]
        return calls.split("--no-install-recommends ")[1].split()

    def test_installs_what_is_missing_on_both_systems(self):
        for system in (DEBIAN_12, DEBIAN_13):
            status, said, calls = self.run_it(system)
            self.assertEqual(status, 0, said)
            self.assertRegex(calls, r"apt-get .* install .* protobuf-compiler")
            self.assertNotIn("made for", said)

    def test_packages_can_be_built_on_a_bare_system(self):
        self.assertIn("build-essential", self.installable("package"))
        self.assertIn("git", self.installable("package"))

    def test_the_demonstration_asks_for_what_it_needs_and_no_more(self):
        demo = set(self.installable("demo"))
        self.assertLessEqual({"nats-server", "libnats-dev", "libsqlite3-dev",
                              "g++", "cmake"}, demo)
        self.assertEqual(demo & {"clang", "gdb", "zsh", "fish", "libgtest-dev",
                                 "libcli11-dev"}, set())
        self.assertLessEqual(demo, set(self.installable("test")))
        self.assertNotIn("nats-server", self.installable())

    def test_ends_the_service_that_only_it_has_brought(self):
        # The service runs as soon as its package is installed.
        for before, ended in (("false", True), ("true", False)):
            systemctl = self.folder / "bin" / "systemctl"
            systemctl.write_text(
                "#!/bin/sh\ncase $1 in is-active) "
                f'grep -q "apt-get .*install" "$CALLS" || {before} ;; '
                '*) echo "systemctl $*" >>"$CALLS" ;; esac\n')
            systemctl.chmod(0o755)
            calls = self.run_it(DEBIAN_12, "demo")[2]
            self.assertEqual("systemctl disable --now nats-server" in calls,
                             ended, calls)

    def test_does_nothing_where_all_is_there(self):
        installed = "".join(f"{name} installed amd64\n"
                            for name in self.installable())
        self.assertEqual(self.run_it(DEBIAN_13, installed=installed),
                         (0, "", ""))

    def test_another_processors_package_does_not_serve(self):
        installed = "".join(f"{name} installed arm64\n"
                            for name in self.installable())
        self.assertIn(" cmake ", self.run_it(DEBIAN_12, installed=installed)[2])

    def test_asks_for_the_libraries_of_another_processor(self):
        for processor in ("arm64", "armhf", "s390x"):
            calls = self.run_it(DEBIAN_13, processor)[2]
            self.assertIn(f"--add-architecture {processor}\n",
                          calls.split("apt-get", 1)[0])
            self.assertRegex(calls, f"install .* libprotobuf-dev:{processor} ")

    def test_knows_the_new_name_of_a_library(self):
        installed = "".join(
            f"{name.replace('minimal4', 'minimal4t64')} installed amd64\n"
            for name in self.installable("bench"))
        self.assertNotIn("apt-get", self.run_it(DEBIAN_13, "bench",
                                                installed=installed)[2])

    def test_asks_sudo_where_it_is_not_root(self):
        calls = self.run_it(DEBIAN_13, USER_ID="1000")[2].splitlines()
        self.assertEqual(calls[0], "sudo")
        self.assertTrue(all(before == "sudo" for before, call in
                            zip(calls, calls[1:]) if call != "sudo"), calls)

    def test_another_system_is_told_so_and_tries_its_own_packages(self):
        for system, name in ((UBUNTU, "ubuntu 24.04"), (SID, "debian ")):
            status, said, calls = self.run_it(system)
            self.assertEqual(status, 0, said)
            self.assertIn(f'made for Debian 12 and 13; going on with what '
                          f'"{name}" has', said)
            self.assertRegex(calls, r"apt-get .* install .* protobuf-compiler")

    def test_fails_where_the_packages_do_not_exist(self):
        self.assertNotEqual(self.run_it(UBUNTU, APT_STATUS="100")[0], 0)

    def test_goes_on_where_there_are_no_debian_packages(self):
        status, said, calls = self.run_it(
            FEDORA, without=("apt-get", "dpkg", "dpkg-query"))
        self.assertEqual((status, calls), (0, ""))
        self.assertIn("protobuf-compiler", said)


if __name__ == "__main__":
    SOURCE = Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
