"""roqutil parse, exec, sh, which, pid, stop, lock: process control, typed as a user types it."""

import os
import signal
import subprocess
import tempfile
import time

from roqutil_case import NO, OK, REFUSED, USAGE, Case, roqutil, start


class ProcessCase(Case):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def content(self, name):
        with open(self.path(name)) as file:
            return file.read()

    def ends_with(self, code, report, *words):
        """The program's exit code is passed on, and how it ended is told on standard error."""
        result = roqutil(*words)
        self.assertEqual(result.code, code, result)
        self.assertEqual(result.err, f"roqutil: {words[0]}: {report}\n")
        return result


class Parse(ProcessCase):
    def test_prints_a_table(self):
        self.assertEqual(self.succeed("parse", "ping -c 3 'my  host' >>log 2>/dev/null &").out,
                         "0           ping\n"
                         "1           -c\n"
                         "2           3\n"
                         "3           my  host\n"
                         "output      >> log\n"
                         "error       > /dev/null\n"
                         "background\n")

    def test_makes_odd_bytes_visible(self):
        self.assertEqual(self.succeed("parse", "cmd 'a\tb'").out, "0           cmd\n1           a\\tb\n")

    def test_prints_json(self):
        self.assertEqual(self.succeed("parse", "cmd 'a b' 2>&1 >> out", "--json").json(),
                         {"arguments": ["cmd", "a b"], "output": {"file": "out", "append": True},
                          "error": {"file": "out", "append": True}, "background": False})
        self.assertEqual(self.succeed("parse", "", "--json").json(),
                         {"arguments": [], "output": None, "error": None, "background": False})

    def test_may_leave_the_end_of_the_line_alone(self):
        self.assertEqual(self.succeed("parse", "cmd > out &", "--no-plan", "--json").json()["arguments"],
                         ["cmd", ">", "out", "&"])

    def test_says_why_a_line_is_refused(self):
        self.assertIn("open quote", self.fail_with(NO, "parse", "cmd 'a").err)
        self.assertIn("4097 characters: expected 4096 at most", self.fail_with(NO, "parse", "x" * 4097).err)


class Exec(ProcessCase):
    def test_passes_the_exit_code_on(self):
        self.ends_with(0, "exit code 0", "exec", "true")
        self.ends_with(7, "exit code 7", "exec", "sh -c 'exit 7'")
        self.ends_with(255, "exit code 255", "exec", "/there/is/no/such/program")
        self.ends_with(3, "exit code 3", "exec", "--interval", "0.005", "sh -c 'sleep 0.1; exit 3'")

    def test_passes_the_signal_on(self):
        self.ends_with(128 + 15, "killed by signal 15 (Terminated)", "exec", "sh -c 'kill -TERM $$'")

    def test_tells_the_end_in_json_behind_the_programs_output(self):
        result = roqutil("exec", "--json", "sh -c 'echo text; exit 7'")
        self.assertEqual((result.code, result.lines), (7, ["text", '{"signal":0,"exit_code":7}']))

    def test_redirects_without_a_shell(self):
        self.succeed("exec", f"echo $HOME > {self.path('out')}")
        self.assertEqual(self.content("out"), "$HOME\n")

    def test_detaches(self):
        # The program would else keep the pipes of this test.
        line = f"sh -c 'exec >/dev/null 2>&1; echo $$ > {self.path('id')}; exec sleep 1000'"
        for words in (["--detach", line], [line + " &"]):
            with self.subTest(words):
                self.assertEqual(self.succeed("exec", *words).err, "")
                while not (os.path.exists(self.path("id")) and self.content("id")):
                    time.sleep(0.01)
                program = int(self.content("id"))
                self.assertEqual(os.getsid(program), program)
                os.kill(program, signal.SIGKILL)
                os.remove(self.path("id"))

    def test_refuses_what_it_cannot_start(self):
        self.assertIn("'nonsense': no such program in /var, /bin, /sbin, /usr/bin",
                      self.fail_with(REFUSED, "exec", "nonsense -x").err)
        self.fail_with(USAGE, "exec", "")
        self.fail_with(USAGE, "exec", "cmd 'a")
        self.fail_with(USAGE, "exec", "true", "--interval", 0)


class Sh(ProcessCase):
    def test_passes_code_and_signal_on(self):
        self.assertEqual(self.ends_with(4, "exit code 4", "sh", "echo a | tr a b; exit 4").out, "b\n")
        self.ends_with(128 + 9, "killed by signal 9 (Killed)", "sh", "kill -9 $$")
        self.ends_with(4, "exit code 4", "sh", "--limit", 100, "exit 4")

    def test_terminates_the_shell_when_the_limit_is_over(self):
        result = self.fail_with(REFUSED, "sh", "--limit", 1, "exec sleep 100")
        self.assertIn("the limit of 1 s is over", result.err)
        self.assertRegex(result.out, r"Notice Command: exec sleep 100; Pid = \d+")

    def test_knows_the_bounds_of_the_limit(self):
        for limit in (0, 128, "x"):
            self.fail_with(USAGE, "sh", "--limit", limit, "true")


class Which(ProcessCase):
    def test_searches_the_launchers_path(self):
        self.assertEqual(self.succeed("which", "ls").out, "/bin/ls\n")
        self.assertEqual(self.succeed("which", "/not/tested").out, "/not/tested\n")
        self.assertEqual(self.succeed("which", "ls", "--json").json(), {"name": "ls", "path": "/bin/ls"})
        self.fail_with(NO, "which", "nonsense")

    def test_finds_programs_in_var_first(self):
        with open("/var/ls", "w") as file:
            os.fchmod(file.fileno(), 0o755)
        self.addCleanup(os.remove, "/var/ls")
        self.assertEqual(self.succeed("which", "ls").out, "/var/ls\n")


class Pid(ProcessCase):
    def start_program(self, name):
        process = subprocess.Popen(["sh", "-c", "read x", name], stdin=subprocess.PIPE)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.addCleanup(process.stdin.close)
        while f"{name}\0" not in open(f"/proc/{process.pid}/cmdline").read():
            time.sleep(0.01)
        return process.pid

    def test_finds_processes_by_a_piece_of_their_command_line(self):
        one, two = self.start_program("unique-mark-one"), self.start_program("unique-mark-two")
        self.assertEqual(self.succeed("pid", "unique-mark-two").lines, [str(two)])
        self.assertEqual(self.succeed("pid", "unique-mark", "--all").lines, [str(one), str(two)])
        self.assertEqual(self.succeed("pid", "unique-mark").lines, [str(one)])
        self.assertEqual(self.succeed("pid", "unique-mark", "--all", "--json").json(),
                         {"name": "unique-mark", "processes": [one, two]})

    def test_does_not_find_itself(self):
        result = self.fail_with(NO, "pid", "nobody-has-this-name")
        self.assertEqual(result.out, "")
        self.assertEqual(roqutil("pid", "nobody-has-this-name", "--json").json()["processes"], [])


class Stop(ProcessCase):
    def test_tells_that_a_name_is_cut(self):
        self.assertEqual(self.succeed("stop", "dhcpd").err, "")
        self.assertEqual(self.succeed("stop", "a-name-too-long").err,
                         "roqutil: warning: stop: 'a-name-too-long': the supervisor will see 'a-name-too-'; "
                         "make sure that it knows the process by this\n")


class Lock(ProcessCase):
    def test_passes_the_exit_code_on(self):
        for code, words in ((0, ["true"]), (7, ["sh", "-c", "exit 7"]), (137, ["sh", "-c", "kill -9 $$"])):
            result = roqutil("lock", self.path("lock"), "--", *words)
            self.assertEqual((result.code, result.out, result.err), (code, "", ""))

    def test_leaves_the_commands_options_to_it(self):
        self.assertEqual(self.succeed("lock", self.path("lock"), "echo", "--json", "--", "x").out, "--json -- x\n")

    def test_lets_two_processes_take_turns(self):
        counter = self.path("counter")
        with open(counter, "w") as file:
            file.write("0\n")
        script = f"for i in 1 2 3 4 5; do read x < {counter}; sleep 0.01; echo $((x + 1)) > {counter}; done"
        both = [start("lock", self.path("lock"), "--", "sh", "-c", script) for _ in range(2)]
        for process in both:
            self.assertEqual(process.communicate()[1], b"")
            self.assertEqual(process.returncode, OK)
        self.assertEqual(self.content("counter"), "10\n")

    def test_refuses_before_it_runs_anything(self):
        self.assertIn("No such file or directory", self.fail_with(REFUSED, "lock", "/no/such/lock", "--", "true").err)
        self.assertIn("no such program", self.fail_with(REFUSED, "lock", self.path("lock"), "--", "nonsense").err)
        self.assertFalse(os.path.exists(self.path("lock")))
        self.fail_with(USAGE, "lock", self.path("lock"))
        self.fail_with(USAGE, "lock", self.path("lock"), "--")
