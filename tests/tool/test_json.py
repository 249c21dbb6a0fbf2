"""docs/tool.md describes every JSON document, and the documents that are really printed are those."""

import pathlib
import re
import struct
import subprocess
import time

import schema
from roqutil_case import NO, Case, Segment, every_command, help_of, remove_module, roqutil, start
from scenery import (A, SRV, Bus, Relay, addresses_of_both_families, asked_type, holder_of, ipv4, record, reply, with_proc,
                     wire_name)

# Where it depends on the processor whether there is a value.
EITHER_WAY = {"gvar delete": {"outcome.signal as null"}}


def name_of(words):
    return "check KIND" if words[0] == "check" else " ".join(words)


class Page(Case):
    def test_describes_the_document_of_every_command_that_has_one(self):
        commands = {name_of(words) for words in every_command() if "--json" in help_of(*words).out}
        self.assertEqual(set(schema.DOCUMENTS), commands)

    def test_tells_when_the_answer_is_no(self):
        listed = re.findall(r"^\| `roqutil ([^`]+)` \| [^|]+ \|$", schema.TEXT, re.MULTILINE)
        self.assertEqual(listed, sorted(set(listed)))
        self.assertLess(set(listed), {name_of(words) for words in every_command()})

    def test_is_what_the_checker_enforces(self):
        page = schema.DOCUMENTS["cidr"]
        page.check({"mask": "255.0.0.0", "bits": 8})
        for wrong in ({"mask": "255.0.0.0"}, {"bits": 8, "mask": "x"}, {"mask": "x", "bits": "8"}, {"mask": None, "bits": 8},
                      {"mask": "x", "bits": True}, {"mask": "x", "bits": 8, "more": 1}, [], "text"):
            with self.assertRaises(AssertionError):
                page.check(wrong)


class Documents(Case):
    """Every place that the page names is seen in real output, also as null where it may be null."""

    def setUp(self):
        self.addCleanup(setattr, schema, "DOCUMENTS", schema.DOCUMENTS)
        schema.DOCUMENTS = schema.read_page()[0]

    def show(self, *words, **arguments):
        """Types the command with --json; what it prints is compared with the page."""
        result = roqutil(*words, "--json", **arguments)
        self.assertIn(result.code, (0, NO), result)
        self.assertTrue(result.out, result)
        return result

    def all_was_seen(self, *names):
        for name in names:
            missing = set(schema.DOCUMENTS[name].never_seen()) - EITHER_WAY.get(name, set())
            self.assertEqual(missing, set(), name)

    def test_of_texts_values_and_programs(self):
        self.show("base64", "encode", input=b"abc")
        self.show("base64", "decode", input=b"YWJj")
        self.show("base64", "decode", input=b"/w==")
        self.show("check", "ip", "1.2.3.4", "1.2.3")
        self.show("cidr", "255.0.0.0")
        roqutil("complete", "--json", "gv")
        self.show("exec", "true")
        self.show("field", "=", "a = b", "c")
        self.show("minutes", "9:05")
        self.show("parse", "program argument >out 2>>err &")
        self.show("parse", "program")
        self.show("pid", "unittest", "--all")
        self.show("sh", "exit 1")
        self.show("shell-quote", "a b")
        self.show("split", "1.2.3.4")
        self.show("trim", " a ")
        self.show("version")
        self.show("which", "sh")
        self.all_was_seen("base64 encode", "base64 decode", "check KIND", "cidr", "complete", "exec", "field", "minutes", "parse",
                          "pid", "sh", "shell-quote", "split", "trim", "version", "which")

    def test_of_the_dns_client(self):
        def services(query):
            if asked_type(query) == SRV:
                return reply(query, *(record(SRV, struct.pack(">3H", 1, 2, 3) + wire_name(name + ".example.net")) for name in
                                      ("one", "two")), ipv4(7))
            return reply(query, ipv4(1)) if b"\x03one" in query else reply(query, flags=0x8183)

        self.addCleanup(lambda: [pathlib.Path(path).unlink(missing_ok=True) for path in ("/var/voice_dns", "/var/wan/srv_result")])
        with Relay(services):
            self.show("resolve", "-4", "one.example.net")
            self.show("resolve", "-4", "two.example.net")
            self.show("dns", "trace", "-4", "one.example.net")
            self.show("dns", "trace", "-4", "two.example.net")
            self.show("srv", "_sip._udp.example.net")
        self.all_was_seen("resolve", "dns trace", "srv")

    def test_of_the_doctor(self):
        self.show("doctor", "gvar", "bus")
        self.all_was_seen("doctor")

    def test_of_the_network(self):
        self.addCleanup(subprocess.run, "ip link del lan0", shell=True)
        subprocess.run("ip link add lan0 type veth peer name far0 && ip link set lan0 addrgenmode none && ip link set lan0 up && "
                       "ip link set far0 up && ip addr add 192.0.2.1/24 dev lan0 && ip -6 addr add fe80::1/64 dev lan0 nodad",
                       shell=True, check=True)
        self.show("net", "routes")
        subprocess.run("ip route add default via 192.0.2.9 && ip -6 route add default dev lan0", shell=True, check=True)
        self.show("net", "routes")
        for fact in ("addr", "peer", "link6"):
            self.show("net", fact, "lan0")
        self.show("net", "ifname", 27)
        with Bus(3):
            self.show("net", "iftype", "lan0")
        self.show("net", "modem", "pcui", prefix=with_proc({"proc_user_umts": "pcui:ttyUSB2\n"}))
        self.show("net", "stat", "lo", "--watch", "--interval", "0.1", "--count", 2)
        stopped = "two\nlines\n    lo: " + "4294967295 " * 16 + "\n"
        self.show("net", "stat", "lo", "--watch", "--interval", "0.1", "--count", 2, prefix=with_proc({"net/dev": stopped}))
        self.all_was_seen(*("net " + command for command in ("addr", "ifname", "iftype", "link6", "modem", "peer", "routes", "stat")))

    def test_of_kernel_modules_and_firewall_rules(self):
        table = with_proc({"modules": "usb 16384 2 - Live 0x0\n"})
        self.show("module", "list", prefix=table)
        self.show("module", "insert", "usb", "/lib", prefix=table)
        self.show("module", "remove", "vfat", "/lib", prefix=table)
        folder = pathlib.Path("/var/tmp/shown-modules")
        folder.mkdir()
        self.addCleanup(folder.rmdir)
        (folder / "usb.ko").touch()
        self.addCleanup((folder / "usb.ko").unlink)
        self.show("module", "insert-dir", folder, prefix=table)
        self.addCleanup(subprocess.run, ["/bin/iptables", "-F", "INPUT"])
        subprocess.run(["/bin/iptables", "-A", "INPUT", "-i", "ppp0", "-j", "ACCEPT"], check=True)
        self.show("firewall", "list")
        self.show("firewall", "remove", "ppp0", "filter", "INPUT")
        self.all_was_seen("module list", "module insert", "module insert-dir", "module remove", "firewall list", "firewall remove")

    def test_of_the_variable_store(self):
        self.addCleanup(lambda: [remove_module(module) for module in range(7)])
        self.show("gvar", "init", 2, "--size", 8192)
        self.show("gvar", "init", 3, "--size", 8192, "--no-lock")
        for number, value in ((1, "text"), (2, "text"), (3, "text")):
            roqutil("gvar", "set", f"2:{number}", value)
        roqutil("gvar", "set", "2:4", "--hex", "00ff")
        for id in ("2:3", "2:4"):
            self.show("gvar", "get", id)
        self.show("gvar", "list", 2)
        self.show("gvar", "map", 2)
        self.show("gvar", "show", 3)
        self.show("gvar", "check", 3)
        self.watch()
        self.attach_and_show()
        self.show("gvar", "repair", 2)
        self.show("gvar", "delete", "2:2")
        self.show("gvar", "delete", "2:2", "--force")
        self.show("gvar", "delete", "2:1", "--force")
        with Segment(2) as segment:
            segment.put(0, 0)
            segment.put(segment.word(20) - segment.base + 4, 0)
        self.show("gvar", "check", 2)
        self.show("gvar", "list", 2)
        self.show("gvar", "repair", 2)
        self.show("gvar", "bench", 6, "--rounds", 1)
        self.show("gvar", "delete-module", 2)
        self.all_was_seen(*(name for name in schema.DOCUMENTS if name.startswith("gvar ")))

    def watch(self):
        with start("gvar", "watch", "2:9", "--interval", "0.005", "--count", 2, "--json", text=True) as watching:
            lines = [watching.stdout.readline()]
            for words in (["text"], ["--hex", "00"]):
                roqutil("gvar", "set", "2:9", *words)
                lines.append(watching.stdout.readline())
        schema.check_output(["gvar", "watch"], "".join(lines))

    def attach_and_show(self):
        self.show("gvar", "attach", 2)
        with holder_of(10), start("gvar", "get", "2:1", "--wait", "60") as waiting:
            deadline = time.monotonic() + 60
            while not self.show("gvar", "show", 2, "--wait", 0).json()["semaphore"]["waiting_processes"]:
                self.assertLess(time.monotonic(), deadline)
            waiting.kill()
