"""The frame of the tool: help, messages, exit codes."""

import os
import pty
import re
import subprocess

from roqutil_case import COMMAND, OK, REFUSED, USAGE, Case, roqutil


class Help(Case):
    def commands_of(self, *words):
        """The names in a help's list of groups and commands."""
        text = self.succeed(*words, "--help").out
        listed = re.findall(r"^(Groups|Commands):\n((?:  .*\n)+)", text, re.MULTILINE)
        return {title: [line.split()[0] for line in lines.splitlines()] for title, lines in listed}

    def test_every_level_has_the_same_style(self):
        top = self.commands_of()
        texts = [("--help",)]
        texts += [(group, "--help") for group in top["Groups"]]
        texts += [(command, "--help") for command in top["Commands"]]
        for group in top["Groups"]:
            texts += [(group, command, "--help") for command in self.commands_of(group)["Commands"]]
        for words in texts:
            with self.subTest(words):
                result = self.succeed(*words)
                self.assertEqual(result.err, "")
                self.assertTrue(result.out.startswith("usage: roqutil "), result)
                self.assertRegex(result.out, r"(?m)^Examples:\n  roqutil ")

    def test_short_form_is_help_too(self):
        self.assertEqual(self.succeed("-h").out, self.succeed("--help").out)
        self.assertEqual(self.succeed("gvar", "set", "-h").out, self.succeed("gvar", "set", "--help").out)

    def test_exit_codes_are_told(self):
        self.assertIn("Exit codes: 0 success, 1 the answer is no, 2 wrong usage, 3 the system refused.",
                      self.succeed("--help").out)


class Version(Case):
    def test_names_tool_and_library(self):
        self.assertRegex(self.succeed("version").out,
                         r"\Aroqutil \d+\.\d+\.\d+\nROQR2\.3\.0-BUILD075 ROQUTIL <libroqutilcore\.a> V1\.19\n\Z")
        data = self.succeed("version", "--json").json()
        self.assertEqual(data["library"], "ROQR2.3.0-BUILD075 ROQUTIL <libroqutilcore.a> V1.19")


class Usage(Case):
    def test_wrong_words_are_answered_in_one_line(self):
        for words in ([], ["nonsense"], ["gvar"], ["gvar", "nonsense"], ["version", "1"], ["version", "--nonsense"],
                      ["gvar", "get", "--wait", "x", "2:1"], ["gvar", "get"], ["gvar", "get", "2:1", "2:2"],
                      ["gvar", "set", "2:1", "x", "--file"], ["gvar", "get", "2:1", "--json=yes"]):
            with self.subTest(words):
                self.fail_with(USAGE, *words)

    def test_messages_name_the_command_and_its_help(self):
        result = self.fail_with(USAGE, "gvar", "init", "9")
        self.assertEqual(result.err, "roqutil: gvar init: module '9': expected a number from 0 to 6, decimal or 0x hexadecimal; "
                                     "see 'roqutil gvar init --help'\n")


class Output(Case):
    def test_a_full_device_is_a_failure(self):
        with open("/dev/full", "w") as full:
            process = subprocess.run([*COMMAND, "version"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(process.returncode, REFUSED)
        self.assertIn(b"roqutil: standard output: ", process.stderr)

    def test_colours_are_for_terminals(self):
        roqutil("gvar", "init", 1)
        self.addCleanup(roqutil, "gvar", "delete-module", 1)
        self.assertNotIn("\033", self.succeed("gvar", "map", 1).out)
        self.assertIn(b"\033[", self.on_terminal("gvar", "map", "1"))
        self.assertNotIn(b"\033", self.on_terminal("gvar", "map", "1", NO_COLOR="1"))
        self.assertNotIn(b"\033", self.on_terminal("gvar", "map", "1", TERM="dumb"))

    def on_terminal(self, *words, **environment):
        ours, theirs = pty.openpty()
        variables = {**{name: value for name, value in os.environ.items() if name != "NO_COLOR"}, "TERM": "xterm", **environment}
        with subprocess.Popen([*COMMAND, *words], stdout=theirs, env=variables) as process:
            os.close(theirs)
            output = b""
            while True:
                try:
                    piece = os.read(ours, 4096)
                except OSError:
                    break
                if not piece:
                    break
                output += piece
        os.close(ours)
        self.assertEqual(process.returncode, OK)
        return output
