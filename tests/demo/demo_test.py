#!/usr/bin/env python3
"""The demonstration as its users run it: what it tells, what its exit code says, and that nothing of it stays."""

import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from xml.etree import ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from leftovers import Leftovers  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
DEMO = ROOT / "demo"
SUMMARY_LINE = re.compile(r"^(\d\d-\S+) +(ok|FAILED|not run) +\d+\.\d s  \S", re.MULTILINE)

# Overwrites the head of the first module's pool.
DAMAGE = """
import ctypes
system = ctypes.CDLL(None)
system.shmat.restype = ctypes.c_void_p
with open("/proc/sysvipc/shm") as table:
    segment = min(int(line.split()[1]) for line in table.readlines()[1:])
ctypes.memset(system.shmat(segment, None, 0) + 52, 0x5a, 64)
"""


def demo(*arguments, **options):
    return subprocess.run([str(DEMO), *arguments], capture_output=True, text=True, timeout=300, **options)


def results(transcript):
    return dict(SUMMARY_LINE.findall(transcript))


class DemoTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # Once, so that no test measures or interrupts the compiler.
        built = demo("--shell", input="")
        if built.returncode != 0:
            raise AssertionError(built.stderr)

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="more steps ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def step(self, name, body, needs=""):
        (self.folder / name).write_text(f'title="A step of the test"\nneeds="{needs}"\ntell() {{\n{body}\n}}\n')


class TheStory(DemoTest):
    def test_is_told_to_its_end_and_leaves_nothing(self):
        leftovers = Leftovers()
        told = demo(env=leftovers.environment())
        self.assertEqual(told.returncode, 0, told.stdout[-3000:] + told.stderr)
        self.assertEqual(leftovers.find(), [])
        steps = sorted(path.name for path in (ROOT / "tools" / "gateway" / "steps").iterdir())
        self.assertEqual(results(told.stdout), dict.fromkeys(steps, "ok"))
        self.assertIn(f"\n{len(steps)} of {len(steps)} steps went well, in ", told.stdout)
        self.assertEqual([line for line in (told.stdout + told.stderr).splitlines() if len(line) > 100], [])
        self.assertNotIn("\x1b", told.stdout)
        self.assertNotIn("FAILED", told.stdout)
        for call in ("ROQ_UTIL_GVarInit", "ROQ_UTIL_GVarSetValue", "ROQ_UTIL_GVarGetValueEx", "ROQ_MSG_SendAndRecv"):
            self.assertIn(call, told.stdout)

    def test_with_svg_draws_the_store_and_the_processes_around_it(self):
        drawn = self.folder / "gateway.svg"
        told = demo("--svg", str(drawn), "30-services")
        self.assertEqual(told.returncode, 0, told.stdout + told.stderr)
        self.assertEqual(results(told.stdout)["80-picture"], "ok")
        texts = [element.text or "" for element in ElementTree.parse(drawn).iter("{http://www.w3.org/2000/svg}text")]
        self.assertIn("The gateway: 3 processes around 2 modules of the store", texts)
        for shown in (r"cms, process \d+", r"wan, process \d+", r"voice, process \d+", r"module 0 at 0x2ef00000",
                      r"module 1 at 0x2f000000", r"lock: 10 of 10 units free.*", r"answers on the bus"):
            self.assertTrue(any(re.fullmatch(shown, text) for text in texts), shown)

    def test_of_one_step_runs_what_it_needs_and_no_more(self):
        for name in ("30", "services", "30-services"):
            told = demo(name)
            self.assertEqual(told.returncode, 0)
            self.assertEqual(list(results(told.stdout)), ["10-machine", "20-settings", "30-services"])

    def test_shows_that_something_takes_long(self):
        self.step("15-slow", "sleep 2.5")
        self.assertIn("\n   ... 1 s\n", demo("--steps", str(self.folder), "slow").stdout)

    def test_has_colours_on_a_terminal_but_not_with_no_color(self):
        for environment, colours in (({"TERM": "xterm"}, True), ({"TERM": "xterm", "NO_COLOR": "1"}, False)):
            code, shown = at_terminal(["machine"], dict(os.environ, **environment))
            self.assertEqual(code, 0)
            self.assertEqual(re.search(r"\x1b\[\d*m", shown) is not None, colours)


class Failures(DemoTest):
    def test_of_a_step_are_told_and_later_steps_that_need_it_do_not_run(self):
        self.step("25-broken", 'holds "the moon is cheese" false\nsays "never told"')
        self.step("26-later", 'says "never told"', needs="25-broken")
        self.step("27-other", 'says "told all the same"')
        told = demo("--steps", str(self.folder), "26", "27")
        self.assertEqual(told.returncode, 1)
        self.assertEqual(results(told.stdout), {"25-broken": "FAILED", "26-later": "not run", "27-other": "ok"})
        self.assertIn(" FAILED  the moon is cheese\n", told.stdout)
        self.assertIn("   told all the same\n", told.stdout)
        self.assertNotIn("never told", told.stdout)
        self.assertIn("1 of 3 steps went well", told.stdout)

    def test_of_any_command_in_a_step_count(self):
        for body in ("false\ntrue", "run sh -c 'exit 4'\ntrue", "no-such-command\ntrue", "kill -KILL $BASHPID"):
            self.step("25-broken", body)
            told = demo("--steps", str(self.folder), "25")
            self.assertEqual((told.returncode, results(told.stdout)), (1, {"25-broken": "FAILED"}), body)

    def test_damage_to_the_store_is_found_by_the_check(self):
        self.step("65-damage", f"python3 - <<'END'\n{DAMAGE}\nEND", needs="20-settings")
        told = demo("--steps", str(self.folder), "65", "70")
        self.assertEqual(told.returncode, 1)
        self.assertEqual(results(told.stdout)["65-damage"], "ok", told.stdout)
        self.assertEqual(results(told.stdout)["70-check"], "FAILED")

    def test_a_missing_configuration_manager_is_noticed(self):
        self.step("25-no-manager", "kill $(cat /var/run/cms.pid)\nsleep 0.5", needs="20-settings")
        told = demo("--steps", str(self.folder), "25", "30", "40")
        self.assertEqual(told.returncode, 1)
        self.assertEqual(results(told.stdout)["30-services"], "FAILED")
        self.assertEqual(results(told.stdout)["40-change"], "not run")

    def test_of_the_settings_file_stop_the_configuration_manager(self):
        bad = self.folder / "bad.conf"
        bad.write_text("0x00000001 device.name = gateway\nnonsense\n")
        self.step("25-bad", f"cms '{bad}'")
        told = demo("--steps", str(self.folder), "25")
        self.assertEqual(told.returncode, 1)
        self.assertIn("bad.conf:2: expected ID NAME [= VALUE | < FILE]", told.stderr)


class TheSettings(unittest.TestCase):
    def test_are_some_hundred_with_an_id_and_a_name_each(self):
        text = (ROOT / "tools" / "gateway" / "settings.conf").read_text()
        lines = [line.split(maxsplit=3) for line in text.splitlines() if line and not line.startswith("#")]
        self.assertGreater(len([line for line in lines if line[2:3] == ["="]]), 300)
        for column in (0, 1):
            self.assertEqual(len({line[column] for line in lines}), len(lines))


class WrongUse(DemoTest):
    def test_gives_2_and_says_what_was_expected(self):
        for arguments in (("nothing",), ("--wrong",), ("--steps",), ("--steps", "/no/such"), ("--svg",),
                          ("--svg", "x", "--list"), ("--svg", "x", "--shell")):
            used = demo(*arguments)
            self.assertEqual((used.returncode, used.stdout), (2, ""))
            self.assertRegex(used.stderr, r"\Ademo: .+\n\Z")

    def test_a_picture_that_cannot_be_written_gives_3(self):
        for file in ("/no/such/folder/x.svg", "/proc/x.svg"):
            used = demo("--svg", file)
            self.assertEqual((used.returncode, used.stdout), (3, ""))
            self.assertEqual(used.stderr, f"demo: {file} cannot be written; name a file in a folder of yours\n")

    def test_list_and_help_start_nothing(self):
        listed = demo("--list")
        self.assertEqual(listed.returncode, 0)
        self.assertRegex(listed.stdout, r"\n20-settings +The configuration manager loads the settings +10-machine\n")
        self.assertTrue(demo("--help").stdout.startswith("usage: ./demo [STEP]...\n"))


class TheShell(DemoTest):
    def test_runs_commands_in_the_running_gateway_and_passes_the_code_on(self):
        leftovers = Leftovers()
        commands = "roqutil gvar check 0 || exit 1\nsetting wan.2.enable 0\n"
        commands += "until setting voice.1.now.state | grep -q '^no '; do sleep 0.1; done\n"
        commands += "setting voice.1.now.state\nexit 7\n"
        shell = demo("--shell", input=commands, env=leftovers.environment())
        self.assertEqual(shell.returncode, 7, shell.stderr)
        self.assertRegex(shell.stdout, r"\Amodule 0: clean; .*\nno connection\n\Z")
        self.assertEqual(leftovers.find(), [])

    def test_greets_at_a_terminal(self):
        leftovers = Leftovers()
        code, shown = at_terminal(["--shell"], leftovers.environment(), b"gateway# ", b"setting wan.1.now.state; exit 3\r")
        self.assertEqual(code, 3, shown)
        self.assertRegex(shown, r"\rconnected\r\n")
        self.assertEqual(leftovers.find(), [])


class AnInterruption(DemoTest):
    def test_at_any_time_leaves_nothing(self):
        leftovers = Leftovers()
        began = time.monotonic()
        demo("34-turns")
        whole = time.monotonic() - began
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            for part in range(8):
                told = subprocess.Popen([str(DEMO), "34-turns"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        env=leftovers.environment())
                self.addCleanup(told.kill)
                time.sleep(0.05 + whole * part / 8)
                told.send_signal(number)
                # Without code 128 and more when it came too late, or before the first line of the script.
                self.assertIn(told.wait(timeout=30), (128 + number, -number, 0))
                self.assertEqual(leftovers.find(), [])

    def test_by_a_key_in_any_step_leaves_nothing(self):
        for path in sorted((ROOT / "tools" / "gateway" / "steps").iterdir()):
            with self.subTest(step=path.name):
                leftovers = Leftovers()
                headline = b"\n\r\x1b[K\x1b[1m" + path.name.encode()
                code, shown = at_terminal([path.name], dict(leftovers.environment(), TERM="xterm"), headline, b"\x03")
                self.assertEqual(code, 130, shown)
                self.assertNotIn("steps went well", shown)
                self.assertEqual(leftovers.find(), [])

    def test_while_it_builds_leaves_no_compiler(self):
        leftovers = Leftovers()
        wan = ROOT / "tools" / "gateway" / "services" / "service.h"
        wan.touch()
        told = subprocess.Popen([str(DEMO)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                env=leftovers.environment())
        self.addCleanup(told.kill)
        deadline = time.monotonic() + 30
        while not self.compiles(leftovers) and time.monotonic() < deadline:
            time.sleep(0.01)
        told.send_signal(signal.SIGINT)
        self.assertEqual(told.wait(timeout=30), 130)
        self.assertEqual(leftovers.find(patience=5), [])

    @staticmethod
    def compiles(leftovers):
        for pid in leftovers.marked_processes():
            try:
                if pathlib.Path(f"/proc/{pid}/comm").read_text().startswith("cc1plus"):
                    return True
            except OSError:
                continue
        return False


def at_terminal(arguments, environment, awaited=None, typed=b""):
    """Runs the demonstration at a terminal and types when something awaited has been shown."""
    child, terminal = pty.fork()
    if child == 0:
        os.execve(DEMO, [str(DEMO), *arguments], environment)
    shown = b""
    while True:
        try:
            piece = os.read(terminal, 4096)
        except OSError:
            break
        if not piece:
            break
        shown += piece
        if awaited is not None and awaited in shown:
            os.write(terminal, typed)
            awaited = None
    _, status = os.waitpid(child, 0)
    os.close(terminal)
    return os.waitstatus_to_exitcode(status), shown.decode(errors="replace")


if __name__ == "__main__":
    unittest.main()
