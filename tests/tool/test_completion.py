"""Completion in bash: the installed file, loaded, and asked as bash asks it; and once in a real terminal."""

import concurrent.futures
import os
import pty
import re
import select
import shlex
import subprocess
import tempfile
import time

from roqutil_case import COMMAND, Case, every_command, help_of, remove_module, roqutil, typed_names

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools", "roqutil", "completion.bash")

# As bash does it: $2 is the piece behind the last character of COMP_WORDBREAKS.
ASK = r"""
source "$1"
roqutil() { "${COMMAND[@]}" "$@"; }
compopt() { printf 'compopt %s\n' "$*"; }
shift
COMMAND=("$@")
while IFS= read -r COMP_LINE; do
  COMP_POINT=${#COMP_LINE} piece=${COMP_LINE##*[[:blank:]:=]}
  _roqutil roqutil "$piece"
  printf '%s\n' "${COMPREPLY[@]}" END
done
"""


class Completion(Case):
    def answers(self, *lines):
        """What is offered for every line, which is typed without the command's name. The two halves side by side."""
        halves = lines[: len(lines) // 2], lines[len(lines) // 2 :]
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            return sum(pool.map(self.answers_of_one_shell, filter(None, halves)), [])

    def answers_of_one_shell(self, lines):
        text = "".join(f"roqutil {line}\n" for line in lines)
        process = subprocess.run(["bash", "-c", ASK, "bash", SCRIPT, *COMMAND], input=text, capture_output=True, text=True, timeout=120)
        self.assertEqual(process.stderr, "")
        answers = process.stdout.split("END\n")
        self.assertEqual(answers.pop(), "")
        return [answer.split() for answer in answers]

    def offered(self, line):
        return self.answers(line)[0]

    def test_offers_every_group_and_command(self):
        top = typed_names()
        self.assertEqual(self.offered(""), top["Groups"] + top["Commands"])
        self.assertEqual(self.offered("gv"), ["gvar"])
        self.assertEqual(self.offered("nonsense"), [])
        self.assertEqual(self.answers(*(group + " " for group in top["Groups"])),
                         [typed_names(group)["Commands"] for group in top["Groups"]])
        self.assertEqual(self.offered("gvar delete"), ["delete", "delete-module"])

    def test_offers_exactly_the_options_that_the_help_lists(self):
        commands = every_command()
        answers = self.answers(*(" ".join(words) + " -" for words in commands))
        for words, answer in zip(commands, answers):
            with self.subTest(words):
                self.assertEqual(answer, typed_names(*words)["Options"])
        self.assertEqual(self.offered("gvar get --h"), ["--hex", "--help"])
        self.assertEqual(self.offered("version "), ["--json", "--help"])

    def test_offers_modules_and_the_variables_that_exist(self):
        self.assertEqual(self.offered("gvar show "), list("0123456"))
        self.addCleanup(remove_module, 2)
        roqutil("gvar", "init", 2)
        for number in (1, 7, 17):
            roqutil("gvar", "set", f"2:{number}", "x")
        self.assertEqual(self.offered("gvar get "), ["2:17", "2:7", "2:1"])
        # What stands in front of the colon is there already.
        self.assertEqual(self.offered("gvar get 2:"), ["17", "7", "1"])
        self.assertEqual(self.offered("gvar get 2:1"), ["17", "1"])
        self.assertEqual(self.offered("gvar get 0x"), ["0x00020011", "0x00020007", "0x00020001"])
        self.assertEqual(self.offered("gvar set 2:1 "), [])

    def test_offers_interfaces_kinds_and_areas(self):
        self.assertIn("lo", self.offered("net addr "))
        self.assertEqual(self.offered("net modem "), ["pcui", "modem", "voice"])
        self.assertEqual(self.offered("doctor gvar d"), ["dns"])

    def test_leaves_files_folders_and_programs_to_bash(self):
        self.assertEqual(self.offered("base64 encode /e"), ["compopt", "-o", "default"])
        self.assertEqual(self.offered("gvar map 2 --svg "), ["compopt", "-o", "default"])
        self.assertEqual(self.offered("gvar map 2 --svg=/v"), ["compopt", "-o", "default"])
        self.assertEqual(self.offered("module insert-dir "), ["compopt", "-o", "dirnames"])
        self.assertEqual(self.offered("lock /var/lock/x "), ["--"])
        self.assertIn("bash", self.offered("lock /var/lock/x -- bas"))

    def test_names_in_the_help_that_mean_something_to_it_are_spelt_alike(self):
        """A word in capitals that is misspelt would silently offer nothing."""
        known = {"AREA", "COMMAND", "DIRECTORY", "FILE", "ID", "INTERFACE", "MODULE"}
        free = {"ADDRESS", "ARGUMENT", "BYTES", "CHAIN", "HH", "KEY", "LINE", "MASK", "MAXIMUM", "MINIMUM", "MM", "NAME", "NUMBER",
                "OPTION", "PROGRAM", "SECONDS", "SERVICE", "TABLE", "TEXT", "VALUE", "WORD"}
        words = set()
        for command in every_command():
            words |= set(re.findall(r"\b[A-Z]{2,}\b", help_of(*command).lines[0]))
        self.assertEqual(words - known - free, set())

    def test_in_a_terminal(self):
        with tempfile.TemporaryDirectory() as folder:
            program = os.path.join(folder, "roqutil")
            with open(program, "w") as file:
                file.write(f'#!/bin/sh\nexec {shlex.join(COMMAND)} "$@"\n')
            os.chmod(program, 0o755)
            os.mkdir(os.path.join(folder, "somewhere"))
            with Terminal(folder) as terminal:
                terminal.type(f". {shlex.quote(SCRIPT)}; PATH=$PWD:$PATH\n", "ready> ")
                terminal.type("roqutil gvar sh\t", "show ")
                terminal.type("3\x15roqutil net mod\tv\t", "modem voice ")
                terminal.type("\x15roqutil module insert-dir s\t", "insert-dir somewhere/")


class Terminal:
    """bash as in a terminal, at a prompt."""

    def __init__(self, folder):
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            environment = {**os.environ, "PS1": "ready> ", "TERM": "dumb", "INPUTRC": "/dev/null", "HISTFILE": "/dev/null"}
            os.execvpe("bash", ["bash", "--norc", "--noprofile", "-i"], environment)

    def __enter__(self):
        self.wait_for("ready> ")
        return self

    def __exit__(self, *reason):
        os.close(self.fd)
        os.waitpid(self.pid, 0)

    def type(self, text, expected):
        os.write(self.fd, text.encode())
        self.wait_for(expected)

    def wait_for(self, expected):
        seen = ""
        deadline = time.monotonic() + 60
        while expected not in seen:
            if not select.select([self.fd], [], [], max(deadline - time.monotonic(), 0))[0]:
                raise AssertionError(f"{expected!r} did not come, but {seen!r}")
            seen += os.read(self.fd, 4096).decode(errors="replace")
