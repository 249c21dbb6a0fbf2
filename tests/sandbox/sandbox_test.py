#!/usr/bin/env python3
"""The sandbox as its users meet it: what the command finds inside, what comes back, and that nothing stays behind."""

import os
import pathlib
import pty
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import uuid

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from leftovers import Leftovers  # noqa: E402

SANDBOX = pathlib.Path(__file__).resolve().parents[2] / "tools" / "gateway" / "sandbox"


def run(*arguments, sandbox=SANDBOX, **options):
    return subprocess.run([str(sandbox), *map(str, arguments)], capture_output=True, text=True, timeout=60, **options)


def output(*arguments, **options):
    result = run(*arguments, **options)
    if result.returncode != 0:
        raise AssertionError(f"{arguments} gave {result.returncode}: {result.stderr}")
    return result.stdout


class SandboxTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="sandbox test, with: odd name ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.folder.chmod(0o755)

    def programs(self, name, **scripts):
        """A folder of shell scripts."""
        folder = self.folder / name
        folder.mkdir(exist_ok=True)
        for program, text in scripts.items():
            path = folder / program
            path.write_text(f"#!/bin/sh\n{text}\n")
            path.chmod(0o755)
        return folder


class TheCommand(SandboxTest):
    def test_exit_code_is_passed_on(self):
        for code in (0, 1, 3, 124, 125, 255):
            self.assertEqual(run("--", "sh", "-c", f"exit {code}").returncode, code)

    def test_death_by_a_signal_is_128_and_the_signal(self):
        for name in ("ABRT", "SEGV", "KILL", "TERM", "INT"):
            result = run("--", "sh", "-c", f"kill -{name} $$")
            self.assertEqual(result.returncode, 128 + getattr(signal, "SIG" + name))
            self.assertEqual(result.stderr, "")

    def test_arguments_arrive_as_given(self):
        texts = ["", "two words", "--", "--bin", "a\nb", "*", "$HOME", "'"]
        self.assertEqual(output("--", "printf", r"%s\0", *texts).split("\0")[:-1], texts)

    def test_options_may_be_left_out(self):
        self.assertEqual(output("printf", "%s", "--help"), "--help")

    def test_standard_input_is_the_callers(self):
        self.assertEqual(output("--", "cat", input="some text"), "some text")

    def test_closed_standard_input_stays_closed(self):
        closed = subprocess.run(["sh", "-c", '"$1" -- sh -c "exec cat" <&-', "sh", str(SANDBOX)],
                                capture_output=True, text=True, timeout=60)
        self.assertEqual(closed.returncode, 1)
        self.assertIn("Bad file descriptor", closed.stderr)

    def test_no_descriptor_of_the_sandbox_is_open(self):
        self.assertEqual(output("--", "ls", "/proc/self/fd", close_fds=True).split(), ["0", "1", "2", "3"])

    def test_keyboard_signals_are_not_ignored(self):
        ignored = output("--", "sh", "-c", "grep SigIgn /proc/self/status").split()[1]
        self.assertEqual(int(ignored, 16) & (1 << signal.SIGINT - 1 | 1 << signal.SIGQUIT - 1), 0)

    def test_that_is_missing_gives_127(self):
        result = run("--", "no-such-program")
        self.assertEqual((result.returncode, result.stderr), (127, "sandbox: no-such-program: no such command\n"))

    def test_wrong_use_gives_125_and_one_line(self):
        for arguments in ((), ("--",), ("--wrong", "true"), ("--bin",), ("--bin", "/no/such", "true")):
            result = run(*arguments)
            self.assertEqual((result.returncode, result.stdout), (125, ""))
            self.assertRegex(result.stderr, r"\Asandbox: .+\n\Z")

    def test_help_is_printed(self):
        self.assertTrue(output("--help").startswith("usage: sandbox [--bin DIR]... [--] COMMAND"))


class TheMachine(SandboxTest):
    def test_has_its_own_namespaces(self):
        kinds = ("mnt", "net", "ipc", "pid", "uts")
        inside = output("--", "readlink", *(f"/proc/self/ns/{kind}" for kind in kinds)).split()
        for kind, name in zip(kinds, inside):
            self.assertNotEqual(name, os.readlink(f"/proc/self/ns/{kind}"))

    def test_is_called_gateway_and_has_only_a_loopback_that_is_up(self):
        self.assertEqual(output("--", "hostname"), "gateway\n")
        links = output("--", "ip", "-brief", "address").splitlines()
        self.assertEqual(len(links), 1)
        self.assertRegex(links[0], r"^lo\s.*127\.0\.0\.1/8")
        self.assertEqual(run("--", "ping", "-c1", "-W1", "127.0.0.1").returncode in (0, 127), True)

    def test_has_an_empty_var_and_run(self):
        self.assertEqual(output("--", "find", "/var", "/run", "-path", "/run/mount", "-prune", "-o", "-type", "f"),
                         "/run/mount\n")
        self.assertEqual(output("--", "stat", "-f", "-c", "%T", "/var", "/run"), "tmpfs\ntmpfs\n")
        output("--", "sh", "-c", "touch /var/run/x /var/log/x /var/wan/x /var/dns/x $(mktemp) && test $TMPDIR = /var/tmp")

    def test_gives_no_segment_and_no_semaphore_set_the_id_0(self):
        segment, semaphores = output("--", "sh", "-c", "ipcmk -M 4096; ipcmk -S 1").split("\n")[:2]
        self.assertGreater(int(segment.split()[-1]), 0)
        self.assertGreater(int(semaphores.split()[-1]), 0)

    def test_starts_without_segments_and_semaphore_sets(self):
        tables = output("--", "cat", "/proc/sysvipc/shm", "/proc/sysvipc/sem").splitlines()
        self.assertEqual([line.split()[0] for line in tables], ["key", "key"])

    def test_shows_only_its_own_processes(self):
        self.assertLess(len([name for name in output("--", "ls", "/proc").split() if name.isdigit()]), 5)

    def test_says_that_it_is_a_sandbox_and_how_deep_it_lies(self):
        self.assertEqual(output("--", "sh", "-c", "echo $ROQ_SANDBOX"), "1\n")
        self.assertEqual(output(SANDBOX, SANDBOX, "sh", "-c", "echo $ROQ_SANDBOX"), "3\n")

    def test_has_iptables_in_bin(self):
        output("--", "/bin/iptables", "--version")

    def test_collects_orphans(self):
        states = output("--", "sh", "-c", "(sh -c 'sleep 0.1' &); (sh -c 'exit 3' &); sleep 0.5; cat /proc/[0-9]*/stat")
        self.assertNotIn(") Z ", states)


class ProgramFolders(SandboxTest):
    def test_come_before_the_machines_programs_in_both_folders(self):
        folder = self.programs("tools", insmod="echo recorded $1", true="echo ours")
        script = "/bin/insmod a; /usr/bin/insmod b; /bin/true"
        self.assertEqual(output("--bin", folder, "--", "sh", "-c", script), "recorded a\nrecorded b\nours\n")

    def test_come_in_the_order_given(self):
        first = self.programs("first one", insmod="echo first")
        second = self.programs("second, with: signs", insmod="echo second", rmmod="echo second")
        self.assertEqual(output("--bin", first, "--bin", second, "--", "sh", "-c", "/bin/insmod; /bin/rmmod"),
                         "first\nsecond\n")

    def test_may_be_named_relative_to_the_working_folder(self):
        self.programs("tools", insmod="echo here; pwd")
        self.assertEqual(output("--bin", "tools", "--", "/bin/insmod", cwd=self.folder), f"here\n{self.folder}\n")

    def test_work_in_nested_sandboxes_beyond_the_limit_of_overlays(self):
        command = []
        for depth in range(4):
            command += [SANDBOX, "--bin", self.programs(f"depth {depth}", insmod=f"echo {depth}")]
        self.assertEqual(output(*command[1:], "--", "sh", "-c", "/bin/insmod; /bin/echo still there"),
                         "3\nstill there\n")


class ACheckout(SandboxTest):
    def test_below_var_stays_visible(self):
        with tempfile.TemporaryDirectory(prefix="sand box:", dir="/var/tmp") as checkout:
            tools = pathlib.Path(checkout, "tools", "gateway")
            tools.mkdir(parents=True)
            copy = shutil.copy(SANDBOX, tools)
            (tools / "insmod").write_text("#!/bin/sh\npwd; ls /var/tmp\n")
            (tools / "insmod").chmod(0o755)
            self.assertEqual(output("--bin", "tools/gateway", "--", "/bin/insmod", sandbox=copy, cwd=checkout),
                             f"{checkout}\n{pathlib.Path(checkout).name}\n")


class Refusals(SandboxTest):
    def with_path(self, **scripts):
        plain = tempfile.TemporaryDirectory()
        self.addCleanup(plain.cleanup)
        path = self.programs(plain.name, **scripts)
        for tool in ("bash", "cat", "id"):
            (path / tool).symlink_to(shutil.which(tool))
        return dict(os.environ, PATH=str(path))

    def test_of_the_kernel_are_explained(self):
        refusing = "echo 'unshare: unshare failed: Operation not permitted' >&2; exit 1"
        tools = {tool: "exit 0" for tool in ("ipcmk", "mount", "ip", "cmp", "hostname")}
        environment = self.with_path(unshare=refusing, setpriv='shift 2; exec "$@"', **tools)
        result = run("--", "true", env=environment)
        self.assertEqual(result.returncode, 125)
        self.assertRegex(result.stderr, r"\nsandbox: .*(CAP_SYS_ADMIN|run it as root).*\n\Z")

    def test_of_a_chroot_are_explained(self):
        script = """
          root=/var/tmp/root
          mkdir -p $root/usr $root/proc $root/dev
          for folder in bin sbin lib lib32 lib64; do [ ! -L /$folder ] || ln -s usr/$folder $root/$folder; done
          for folder in usr proc dev; do mount --rbind /$folder $root/$folder; done
          cp "$1" $root/sandbox
          exec chroot $root /sandbox -- true"""
        result = run("--", "sh", "-ec", script, "sh", SANDBOX)
        self.assertEqual(result.returncode, 125)
        self.assertRegex(result.stderr, r"\nsandbox: / is no mount point here.* mount --bind DIR DIR\n\Z")

    def test_name_the_package_of_a_missing_tool(self):
        result = run("--", "true", env=self.with_path())
        self.assertEqual((result.returncode, result.stderr),
                         (125, "sandbox: unshare is missing: apt-get install util-linux\n"))

    def test_are_told_from_a_command_that_fails_with_1(self):
        self.assertEqual((run("--", "false").returncode, run("--", "false").stderr), (1, ""))


@unittest.skipIf(os.getuid() != 0, "the other tests run as a plain user already")
class APlainUser(SandboxTest):
    def test_gets_a_sandbox_with_all_that_root_gets(self):
        tools = self.folder / "tools" / "gateway"
        tools.mkdir(parents=True)
        copy = shutil.copy(SANDBOX, tools)
        programs = self.programs("programs", insmod="echo ours")
        script = "id -u; hostname; touch /var/run/x; ip link add wan0 type veth peer name isp0; ip netns add isp; /bin/insmod; ipcs"
        result = subprocess.run(["setpriv", "--reuid", "12345", "--regid", "12345", "--clear-groups", str(copy), "--bin",
                                 str(programs), str(copy), "--bin", str(programs), "--", "sh", "-ec", script],
                                capture_output=True, text=True, timeout=60)
        self.assertEqual((result.returncode, result.stdout.split("\n")[:3]), (0, ["0", "gateway", "ours"]), result.stderr)


class NothingStays(SandboxTest):
    def setUp(self):
        super().setUp()
        self.leftovers = Leftovers()
        self.addCleanup(self.leftovers.close)

    def start(self, *command, **options):
        """Starts a sandbox that creates something of everything, waits until it has, and lets it go on to the command."""
        ready, go_on = self.folder / uuid.uuid4().hex, self.folder / uuid.uuid4().hex
        os.mkfifo(go_on)
        script = (f'ipcmk -M 4096 -S 1 >/dev/null; ip netns add isp; (sleep 1000 &); setsid -f sleep 1000; '
                  f'readlink /proc/self/ns/* >"{ready}.part"; mv "{ready}.part" "{ready}"; read go <"{go_on}"; exec "$@"')
        process = subprocess.Popen([str(SANDBOX), "--", "sh", "-c", script, "sh", *command],
                                   env=self.leftovers.environment(), stderr=subprocess.PIPE, **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.addCleanup(process.stderr.close)
        deadline = time.monotonic() + 30
        while not ready.exists() and time.monotonic() < deadline:
            time.sleep(0.01)
        self.leftovers.watch_namespaces(ready.read_text().split())
        go_on.write_text("go\n")
        return process

    def ends(self, process, code):
        self.assertEqual(process.wait(timeout=30), code)
        self.assertEqual(process.stderr.read(), b"")
        self.assertEqual(self.leftovers.find(), [])

    def test_would_be_missed(self):
        self.start("sleep", "1000")
        left = "".join(self.leftovers.find())
        for kind in ("mnt", "net", "ipc", "pid", "uts"):
            self.assertRegex(left, rf"/ns/{kind}: {kind}:")

    def test_after_the_command(self):
        self.ends(self.start("sh", "-c", "exit 7"), 7)

    def test_after_signals_that_end_programs(self):
        for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGHUP):
            process = self.start("sleep", "1000")
            process.send_signal(number)
            self.ends(process, 128 + number)

    def test_after_a_command_that_ignores_the_request_to_end(self):
        process = self.start("sh", "-c", "trap '' TERM HUP; while :; do sleep 1000; done")
        time.sleep(0.2)
        began = time.monotonic()
        process.terminate()
        self.ends(process, 128 + signal.SIGTERM)
        self.assertGreater(time.monotonic() - began, 1.5)

    def test_after_a_command_that_cleans_up_and_gives_its_own_code(self):
        process = self.start("sh", "-c", "trap 'sleep 0.3; exit 9' TERM; sleep 1000 & wait")
        time.sleep(0.2)
        process.terminate()
        self.ends(process, 9)

    def test_after_the_sandbox_is_killed(self):
        process = self.start("sleep", "1000")
        process.kill()
        process.wait()
        self.assertEqual(self.leftovers.find(patience=10), [])

    def test_after_a_signal_during_the_start(self):
        for _ in range(60):
            number = random.choice((signal.SIGINT, signal.SIGTERM, signal.SIGHUP))
            process = subprocess.Popen([str(SANDBOX), "--", "sleep", "1000"], env=self.leftovers.environment())
            self.addCleanup(process.kill)
            time.sleep(random.uniform(0, 0.08))
            process.send_signal(number)
            self.assertIn(process.wait(timeout=30), (-number, 128 + number))
        # A shell that dies before it has traps leaves the rest to the kernel, which takes a moment.
        self.assertEqual(self.leftovers.find(patience=10), [])

    def test_after_ctrl_c_at_a_terminal(self):
        child, terminal = pty.fork()
        if child == 0:
            os.environ.update(self.leftovers.environment())
            os.execv(SANDBOX, [str(SANDBOX), "--", "sh", "-c", "echo read""y; exec sleep 1000"])
        seen = b""
        while b"ready" not in seen:
            seen += os.read(terminal, 100)
        os.write(terminal, b"\x03")
        deadline = time.monotonic() + 30
        while (ended := os.waitpid(child, os.WNOHANG))[0] == 0 and time.monotonic() < deadline:
            time.sleep(0.01)
        if ended[0] == 0:
            os.kill(child, signal.SIGKILL)
            self.fail("the sandbox did not end")
        status = ended[1]
        os.close(terminal)
        self.assertEqual(os.waitstatus_to_exitcode(status), 130)
        self.assertEqual(self.leftovers.find(), [])


class TheStart(unittest.TestCase):
    def test_takes_a_fraction_of_a_second(self):
        times = []
        for _ in range(10):
            began = time.monotonic()
            output("--", "true")
            times.append(time.monotonic() - began)
        print(f"start and end of a sandbox: {min(times) * 1000:.0f} ms at best of 10")
        self.assertLess(min(times), 0.5)


if __name__ == "__main__":
    unittest.main()
