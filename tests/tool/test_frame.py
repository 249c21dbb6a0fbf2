"""The frame of the tool: help, messages, exit codes, colours."""

import os
import pty
import re
import subprocess

from roqutil_case import COMMAND, NO, OK, REFUSED, USAGE, Case, every_command, help_of, roqutil, typed_names


def usage_of(words):
    """The places of a command's arguments: those that must be there, and whether there may be more than listed."""
    usage = help_of(*words).lines[0]
    places = usage[len("usage: roqutil " + " ".join(words)):].replace("[OPTION...]", "").split()
    needed = [place for place in places if not place.startswith("[")]
    return needed, places


class Help(Case):
    def check_style(self, words):
        result = help_of(*words)
        self.assertEqual((result.code, result.err), (OK, ""))
        self.assertTrue(result.out.startswith(f"usage: {' '.join(['roqutil', *words])} "), result)
        self.assertIn("[OPTION...]", result.lines[0])
        self.assertRegex(result.lines[2], r"\A[A-Z0-9].*\.\Z")
        self.assertRegex(result.out, r"(?m)^Options:\n(?:  .*\n)*  -h, --help +this text\n")
        examples = re.search(r"(?m)^Examples:\n((?:  .*\n)+)", result.out)
        self.assertTrue(examples, result)
        lines = examples[1].splitlines()
        self.assertEqual(len(lines) % 2, 0, result)
        for line, meaning in zip(lines[::2], lines[1::2]):
            self.assertRegex(line, r"\A  (\S.* \| )?roqutil ")
            self.assertRegex(meaning, r"\A      \S")
            if words:
                self.assertIn(" ".join(["roqutil", *words]), line)
        self.assertLessEqual(max(map(len, result.lines)), 100, result)

    def test_every_level_has_the_same_style(self):
        commands = every_command()
        self.assertGreater(len(commands), 60)
        self.for_each(self.check_style, [(), *((group,) for group in typed_names()["Groups"]), *commands])

    def test_short_form_is_help_too(self):
        for words in ((), ("gvar",), ("gvar", "set"), ("version",)):
            self.assertEqual(self.succeed(*words, "-h").out, help_of(*words).out)

    def test_an_option_has_one_value_everywhere(self):
        values = {}
        for words in every_command():
            options = re.search(r"^Options:\n((?:  .*\n)+)", help_of(*words).out, re.MULTILINE)[1]
            for name, value in re.findall(r"^  .{4}(--[\w-]+)(?: ([A-Z]+))?", options, re.MULTILINE):
                values.setdefault(name, set()).add(value)
        self.assertIn("--json", values)
        self.assertEqual({name: kinds for name, kinds in values.items() if len(kinds) > 1}, {})

    def test_exit_codes_are_told(self):
        self.assertIn("Exit codes: 0 success, 1 the answer is no, 2 wrong usage, 3 the system refused.",
                      self.succeed("--help").out)


class Version(Case):
    def test_names_tool_and_library(self):
        self.assertRegex(self.succeed("version").out,
                         r"\Aroqutil \d+\.\d+\.\d+\nROQR2\.3\.0-BUILD075 ROQUTIL <libroqutilcore\.a> V1\.19\n\Z")
        data = self.succeed("version", "--json").json()
        self.assertEqual(data["library"], "ROQR2.3.0-BUILD075 ROQUTIL <libroqutilcore.a> V1.19")
        self.assertEqual(self.succeed("--version").out, self.succeed("version").out)


class Usage(Case):
    def test_wrong_options_and_unknown_names_on_the_levels_above(self):
        def check(words):
            for more in ([], ["nonsense"], ["--nonsense"], [""]):
                self.fail_with(USAGE, *words, *more)

        self.for_each(check, [(), *((group,) for group in typed_names()["Groups"])])

    def test_wrong_options_missing_and_surplus_arguments_of_every_command(self):
        def check(words):
            self.assertIn("unknown option --nonsense", self.fail_with(USAGE, *words, "--nonsense").err)
            needed, places = usage_of(words)
            if needed:
                self.assertIn("an argument is missing", self.fail_with(USAGE, *words).err)
            # The dashes may be left out.
            if (few := len(needed) - 1 - needed.count("--")) > 0:
                self.fail_with(USAGE, *words, *["x"] * few)
            if not any("..." in place for place in places):
                result = self.fail_with(USAGE, *words, *["x"] * len(places), "surplus")
                self.assertIn("argument 'surplus' is too many", result.err)

        self.for_each(check, every_command())

    def test_wrong_values_are_answered_in_one_line(self):
        for words in (["gvar", "get", "--wait", "x", "2:1"], ["gvar", "set", "2:1", "x", "--file"],
                      ["gvar", "get", "2:1", "--json=yes"], ["gvar", "watch", "2:1", "--interval", "0.0001"],
                      ["gvar", "watch", "2:1", "--interval", "3601"], ["doctor", "nonsense"]):
            with self.subTest(words):
                self.fail_with(USAGE, *words)

    def test_typed_bytes_cannot_make_a_second_line_or_command_a_terminal(self):
        for words in (["a\nb\x1b[2J"], ["gvar", "a\nb\x1b[2J"], ["version", "a\nb\x1b[2J"], ["gvar", "get", "a\nb\x1b[2J"]):
            with self.subTest(words):
                self.assertIn("'a\\nb\\x1b[2J'", self.fail_with(USAGE, *words).err)
        self.assertEqual(self.fail_with(NO, "cidr", "a\nb").err, "roqutil: cidr: 'a\\nb': it is no mask; give one such as 255.255.255.0\n")

    def test_messages_name_the_command_and_its_help(self):
        result = self.fail_with(USAGE, "gvar", "init", "9")
        self.assertEqual(result.err, "roqutil: gvar init: module '9': expected a number from 0 to 6, decimal or 0x hexadecimal; "
                                     "see 'roqutil gvar init --help'\n")
        result = self.fail_with(USAGE, "net", "stat", "--watch", "--interval", "x")
        self.assertEqual(result.err, "roqutil: net stat: --interval 'x': expected seconds from 0.1 to 3600, with three decimals "
                                     "at most; see 'roqutil net stat --help'\n")


class Output(Case):
    def test_a_full_device_is_a_failure(self):
        with open("/dev/full", "w") as full:
            process = subprocess.run([*COMMAND, "version"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(process.returncode, REFUSED)
        self.assertIn(b"roqutil: standard output: ", process.stderr)

    def test_colours_are_for_terminals(self):
        roqutil("gvar", "init", 1)
        self.addCleanup(roqutil, "gvar", "delete-module", 1)
        for words, code in ((["gvar", "map", "1"], OK), (["gvar", "check", "1"], OK), (["check", "bool", "1", "2"], NO),
                            (["doctor", "gvar"], OK)):
            with self.subTest(words):
                result = roqutil(*words)
                self.assertEqual(result.code, code)
                self.assertNotIn("\033", result.out)
                coloured = self.on_terminal(code, *words)
                self.assertIn("\033[", coloured)
                self.assertEqual(re.sub(r"\033\[\d+m", "", coloured), result.out)
                self.assertNotIn("\033", self.on_terminal(code, *words, NO_COLOR="1"))
                self.assertNotIn("\033", self.on_terminal(code, *words, TERM="dumb"))

    def on_terminal(self, code, *words, **environment):
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
        self.assertEqual(process.returncode, code)
        return output.decode().replace("\r\n", "\n")
