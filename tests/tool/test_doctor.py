"""roqutil doctor on a machine that has everything, and with each thing broken."""

import os
import pathlib
import subprocess
import time

from roqutil_case import AS_NOBODY, COMMAND, NO, OK, Case, key_of, libc, remove_module, roqutil
from scenery import Bus, Relay, addresses_of_both_families, reply, with_proc

TABLES = {"modules": "usb 16384 2 - Live 0x0\n", "net/route": "Iface\n", "net/dev": "two\nlines\n", "net/ipv6_route": "",
          "net/if_inet6": ""}


def in_namespace(commands, run="exec"):
    """Words in front of a command that change the machine for that command alone."""
    return ["unshare", "--mount", "--ipc", "sh", "-c", f'{commands} && {run} "$@"', "sh"]


class Doctor(Case):
    def checks(self, *areas, prefix=()):
        """What the JSON document says of each subject; the exit code fits it, and so does the text."""
        result = roqutil("doctor", *areas, "--json", prefix=prefix)
        data = result.json()
        problems = [check for check in data["checks"] if not check["ok"]]
        self.assertEqual(result.err, "")
        self.assertEqual(result.code, NO if problems else OK)
        self.assertEqual(data["problems"], len(problems))
        for check in data["checks"]:
            self.assertEqual(check["advice"] is None, check["ok"], check)
            self.assertTrue(check["found"] and check["subject"], check)
        return {check["subject"]: check for check in data["checks"]}

    def the_problem(self, *areas, prefix=()):
        """The only one there is, as 'subject: found; advice'."""
        problems = [check for check in self.checks(*areas, prefix=prefix).values() if not check["ok"]]
        self.assertEqual(len(problems), 1, problems)
        return "{subject}: {found}; {advice}".format(**problems[0])

    def put_tool(self, name):
        path = pathlib.Path("/var") / name
        path.write_text("#!/bin/sh\n")
        path.chmod(0o755)
        self.addCleanup(path.unlink)


class Everything(Doctor):
    def test_is_well_on_a_gateway(self):
        self.put_tool("insmod")
        self.put_tool("rmmod")
        with Relay(addresses_of_both_families), Bus(1):
            result = self.succeed("doctor", prefix=with_proc(TABLES))
            areas = {check["area"] for check in self.checks(prefix=with_proc(TABLES)).values()}
        self.assertEqual(areas, {"gvar", "process", "dns", "net", "module", "firewall", "bus"})
        *lines, last = result.lines
        self.assertEqual(last, f"{len(lines)} checks: all ok")
        for line in lines:
            self.assertRegex(line, r"\Aok       (gvar|process|dns|net|module|firewall|bus) +\S.*: \S.*\Z")

    def test_problems_are_told_with_what_to_do_and_counted(self):
        result = roqutil("doctor", "bus")
        self.assertEqual((result.code, result.err), (NO, ""))
        self.assertEqual(result.lines, [
            "problem  bus       configuration manager: 'cms' does not answer: No such file or directory; start the message bus, "
            "and that process", "1 checks: 1 problem"])

    def test_only_the_areas_that_are_asked_for_are_checked(self):
        for areas in (["gvar"], ["process", "net"]):
            result = roqutil("doctor", *areas)
            self.assertEqual({line.split()[1] for line in result.lines[:-1]}, set(areas))

    def test_changes_nothing(self):
        def state():
            files = subprocess.run(["find", "/var", "/run", "-printf", "%p %T@ %s\n"], capture_output=True, check=True).stdout
            ids = subprocess.run(["ipcs", "-a"], capture_output=True, check=True).stdout
            return files, ids
        self.addCleanup(remove_module, 2)
        roqutil("gvar", "init", 2)
        before = state()
        roqutil("doctor")
        self.assertEqual(state(), before)


class Store(Doctor):
    def limit(self, name, value):
        return in_namespace(f"echo '{value}' >/proc/sys/kernel/{name}")

    def test_too_few_segments(self):
        self.assertRegex(self.the_problem("gvar", prefix=self.limit("shmmni", 6)),
                         r"\Asegments: 0 of 6 are in use, the store may need 7 more; raise kernel.shmmni")
        used_up = "for n in 1 2; do ipcmk -M 1 >/var/tmp/ignored; done && echo 8 >/proc/sys/kernel/shmmni"
        self.assertRegex(self.the_problem("gvar", prefix=in_namespace(used_up)), r"\Asegments: 2 of 8 are in use")

    def test_modules_that_exist_need_no_more_room(self):
        script = """segment=$(ipcmk -M 1) && set=$(ipcmk -S 1) && ipcrm -m ${segment##* } -s ${set##* }
                    "$@" gvar init 2 >/var/tmp/ignored && echo 7 >/proc/sys/kernel/shmmni && exec "$@" doctor gvar"""
        process = subprocess.run(["unshare", "--ipc", "sh", "-c", script, "sh", *COMMAND], capture_output=True, text=True)
        self.assertEqual((process.returncode, process.stderr), (OK, ""), process.stdout)
        self.assertIn("segments: 1 of 7 are in use, the store may need 6 more\n", process.stdout)
        self.assertIn("modules: 2 exist and may be used\n", process.stdout)

    def test_segments_too_small(self):
        self.assertRegex(self.the_problem("gvar", prefix=self.limit("shmmax", 524287)),
                         r"\Abytes of a segment: 524287 at most, the store needs 524288; raise kernel.shmmax")

    def test_too_little_shared_memory(self):
        self.assertRegex(self.the_problem("gvar", prefix=self.limit("shmall", 10)), r"\Apages of all segments: 0 of 10 .* kernel.shmall")

    def test_too_few_semaphores(self):
        self.assertRegex(self.the_problem("gvar", prefix=self.limit("sem", "500 32000 500 6")),
                         r"\Asemaphore sets: 0 of 6 are in use, the store may need 7 more; raise the fourth number of kernel.sem")
        self.assertRegex(self.the_problem("gvar", prefix=self.limit("sem", "500 6 500 32000")),
                         r"\Asemaphores: 0 of 6 are in use, the store may need 7 more; raise the second number of kernel.sem")

    def test_addresses_that_are_taken(self):
        """A library that is loaded first has mapped something there."""
        library = os.environ["ROQUTIL_OCCUPIER"]
        words = [*COMMAND[:-1], *(["-E", f"LD_PRELOAD={library}"] if len(COMMAND) > 1 else []), COMMAND[-1], "doctor", "gvar"]
        environment = {**os.environ, "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"}
        if len(COMMAND) == 1:
            environment["LD_PRELOAD"] = library
        process = subprocess.run(words, capture_output=True, text=True, env=environment)
        self.assertEqual(process.returncode, NO, process)
        self.assertRegex(process.stdout, r"(?m)^problem  gvar      addresses: module 3 belongs at 0x2f200000, but there lies "
                                         r"memory without a name; keep that out of processes that use the store$")
        self.assertTrue(process.stdout.endswith("checks: 1 problem\n"), process.stdout)

    def test_modules_that_may_not_be_used(self):
        self.addCleanup(remove_module, 5)
        libc.shmget(key_of(5), 4096, 0o1600)
        self.assertEqual(self.the_problem("gvar", prefix=AS_NOBODY),
                         "module 5: Permission denied; run as a user who may use the store")

    def test_segments_that_are_somebody_elses(self):
        self.addCleanup(remove_module, 5)
        libc.shmget(key_of(5), 2000000, 0o1666)
        self.assertRegex(self.the_problem("gvar"), r"\Amodule 5: a segment with its key has a size that the store never creates; ")

    def test_ids_that_mean_none(self):
        script = '"$@" gvar init 2 >/dev/null 2>&1; exec "$@" doctor gvar'
        process = subprocess.run(["unshare", "--ipc", "sh", "-c", script, "sh", *COMMAND], capture_output=True, text=True)
        self.assertEqual(process.returncode, NO)
        self.assertIn("problem  gvar      module 2: its segment or semaphore set has the id 0", process.stdout)

    def test_no_var(self):
        """In a root that has all other folders; a tool that lies in /var is reached by another path there."""
        root = "/var/tmp/root"
        steps = [f"mkdir -p {root}", f"mount -t tmpfs root {root}"]
        for name in os.listdir("/"):
            place = f"{root}/old-var" if name == "var" else f"{root}/{name}"
            if os.path.islink(f"/{name}"):
                steps.append(f"cp -d /{name} {place}")
            elif os.path.isdir(f"/{name}"):
                steps.append(f"mkdir {place} && mount --rbind /{name} {place}")
        words = [word.replace("/var/", "/old-var/") if word.startswith("/var/") else word for word in COMMAND]
        script = " && ".join(steps) + f' && exec chroot {root} "$@"'
        process = subprocess.run(["unshare", "--mount", "sh", "-c", script, "sh", *words, "doctor", "gvar"],
                                 capture_output=True, text=True)
        self.assertEqual(process.returncode, NO, process)
        self.assertIn("/var/: No such file or directory; make the folder", process.stdout)


class Processes(Doctor):
    def test_no_shell(self):
        # The shell that hides the shell runs already; the emulator is started by another one.
        hidden = in_namespace("mount --bind /dev/null /bin/sh", "exec bash" if len(COMMAND) > 1 else "exec")
        self.assertEqual(self.the_problem("process", prefix=hidden), "/bin/sh: Permission denied; install a shell there")

    def test_no_null_device(self):
        self.assertRegex(self.the_problem("process", prefix=in_namespace("mount -t tmpfs none /dev")),
                         r"\A/dev/null: No such file or directory; make it: mknod")

    def test_no_proc(self):
        # The loader finds the library by one link, and the sanitizer what it is asked for by the other.
        nothing_else = in_namespace("cat /proc/self/environ >/var/environ && mount -t tmpfs none /proc && mkdir /proc/self "
                                    f"&& ln -s {COMMAND[-1]} /proc/self/exe && ln -s /var/environ /proc/self/environ")
        # It looks for leaks there, too.
        without_leaks = ["env", f"ASAN_OPTIONS={os.environ.get('ASAN_OPTIONS', '')}:detect_leaks=0"]
        self.assertEqual(self.the_problem("process", prefix=without_leaks + nothing_else),
                         "/proc/self/cmdline: No such file or directory; mount /proc")

    def test_no_folder_for_logs(self):
        self.assertRegex(self.the_problem("process", prefix=in_namespace("mount -t tmpfs -o ro none /var/log")),
                         r"\A/var/log: Read-only file system; make the folder")
        os.rename("/var/log", "/var/tmp/log")
        self.addCleanup(os.rename, "/var/tmp/log", "/var/log")
        self.assertRegex(self.the_problem("process"), r"\A/var/log: No such file or directory; ")


class Names(Doctor):
    def test_relays_that_do_not_run(self):
        checks = self.checks("dns")
        for relay in ("relay at 127.0.0.1", "relay at ::1"):
            self.assertEqual(checks[relay]["found"], "Connection refused")

    def test_relays_that_do_not_answer_cost_a_second(self):
        start = time.monotonic()
        with Relay(lambda query: None), Bus(None):
            checks = self.checks("dns", "bus")
        self.assertLess(time.monotonic() - start, 7)
        for subject in ("relay at 127.0.0.1", "relay at ::1"):
            self.assertEqual(checks[subject]["found"], "no answer within a second")
        self.assertIn("'cms' does not answer: ", checks["configuration manager"]["found"])

    def test_relays_that_answer_with_an_error_are_there(self):
        with Relay(lambda query: reply(query, flags=0x8185)):
            self.assertTrue(all(check["ok"] for check in self.checks("dns").values()))

    def test_answers_to_other_questions_do_not_count(self):
        for wrong in (lambda query: reply(query, flip=1), lambda query: query, lambda query: reply(query)[:11]):
            with Relay(wrong):
                self.assertEqual(self.checks("dns")["relay at ::1"]["found"], "no answer within a second")

    def test_look_ups_that_are_switched_off(self):
        switch = pathlib.Path("/var/dns/ipv6")
        switch.write_text("0")
        self.addCleanup(switch.unlink)
        with Relay(addresses_of_both_families):
            self.assertRegex(self.the_problem("dns"), r"\AIPv6 look-ups: switched off in /var/dns/ipv6 .*; write 1 into that file")

    def test_folders_that_cannot_be_written_to(self):
        with Relay(addresses_of_both_families):
            self.assertRegex(self.the_problem("dns", prefix=in_namespace("mount -t tmpfs -o ro none /var/wan")),
                             r"\A/var/wan: Read-only file system; ")
            read_only = in_namespace("touch /var/voice_dns && mount --bind -o ro /var/voice_dns /var/voice_dns && "
                                     "mount -o remount,bind,ro /var/voice_dns")
            self.addCleanup(pathlib.Path("/var/voice_dns").unlink)
            self.assertRegex(self.the_problem("dns", prefix=read_only), r"\A/var/voice_dns: Read-only file system; ")


class Tables(Doctor):
    def test_tables_that_are_missing(self):
        for name in ("net/route", "net/dev", "net/ipv6_route", "net/if_inet6"):
            with self.subTest(name):
                rest = {table: text for table, text in TABLES.items() if table != name}
                self.assertRegex(self.the_problem("net", prefix=with_proc(rest)), rf"\A/proc/{name}: No such file or directory; ")

    def test_a_kernel_without_modules(self):
        self.put_tool("insmod")
        self.put_tool("rmmod")
        self.assertRegex(self.the_problem("module", prefix=with_proc({})), r"\A/proc/modules: No such file or directory; ")


class Programs(Doctor):
    def hide(self, *names):
        """Folders of programs without some of them; the search path is that of the launcher."""
        steps = [f"mount --bind /dev/null $(readlink -f {folder}/{name})"
                 for name in names for folder in ("/bin", "/sbin", "/usr/bin") if os.path.exists(f"{folder}/{name}")]
        return in_namespace(" && ".join(steps or ["true"]))

    def test_no_insmod_and_no_rmmod(self):
        self.put_tool("insmod")
        with_rmmod_only = self.checks("module", prefix=self.hide("rmmod"))
        self.assertTrue(with_rmmod_only["insmod"]["ok"])
        self.assertEqual(with_rmmod_only["insmod"]["found"], "/var/insmod")
        self.assertIn("no such program in /var, /bin, /sbin and /usr/bin", with_rmmod_only["rmmod"]["found"])

    def test_no_iptables(self):
        """Wherever it is linked to, it lies in /usr/sbin."""
        checks = self.checks("firewall", prefix=in_namespace("mount -t tmpfs none /usr/sbin"))
        self.assertEqual([subject for subject, check in checks.items() if not check["ok"]], ["/bin/iptables", "iptables"])

    def test_a_listing_that_cannot_be_written(self):
        listing = pathlib.Path("/var/iptable")
        listing.touch()
        self.addCleanup(listing.unlink)
        read_only = in_namespace("mount --bind /var/iptable /var/iptable && mount -o remount,bind,ro /var/iptable")
        self.assertRegex(self.the_problem("firewall", prefix=read_only), r"\A/var/iptable: Read-only file system; ")
