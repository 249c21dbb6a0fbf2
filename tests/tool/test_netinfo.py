"""roqutil net, module and firewall, typed as a user types them, on a machine with a network of its own."""

import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import unittest

from roqutil_case import COMMAND, NO, OK, REFUSED, USAGE, Case, roqutil, start
from scenery import with_proc


def run(command):
    subprocess.run(command, shell=True, check=True, stdout=subprocess.DEVNULL)


def shown_by_ip(arguments):
    return json.loads(subprocess.run(["ip", "-json", *arguments.split()], stdout=subprocess.PIPE, check=True).stdout)


class NetworkCase(Case):
    """A cable from lan0 to far0 and a tunnel, both without routes at first."""

    def setUp(self):
        self.addCleanup(subprocess.run, "ip link del lan0; ip link del tun0", shell=True, stderr=subprocess.DEVNULL)
        run("ip link add lan0 type veth peer name far0")
        # The kernel would give them addresses at a time of its own choice.
        run("ip link set lan0 addrgenmode none && ip link set far0 addrgenmode none")
        run("ip link set lan0 up && ip link set far0 up && ip addr add 192.0.2.1/24 dev lan0")
        run("ip tuntap add tun0 mode tun && ip addr add 10.9.0.1 peer 10.9.0.2 dev tun0 && ip link set tun0 up")


class Routes(NetworkCase):
    def test_none_is_a_no(self):
        result = roqutil("net", "routes")
        self.assertEqual((result.code, result.out), (NO, "IPv4  none\nIPv6  none\n"))
        self.assertEqual(roqutil("net", "routes", "--json").json(), {"ipv4": None, "ipv6": None})

    def test_both_default_routes(self):
        run("ip route add default via 192.0.2.9")
        self.assertEqual(self.succeed("net", "routes").out, "IPv4  lan0\nIPv6  none\n")
        run("ip -6 route add default dev far0")
        self.assertEqual(self.succeed("net", "routes", "--json").json(), {"ipv4": "lan0", "ipv6": "far0"})


class Addresses(NetworkCase):
    def test_own_and_other_end(self):
        self.assertEqual(self.succeed("net", "addr", "lan0").out, "192.0.2.1\n")
        self.assertEqual(self.succeed("net", "addr", "tun0").out, "10.9.0.1\n")
        self.assertEqual(self.succeed("net", "peer", "tun0").out, "10.9.0.2\n")
        self.assertEqual(self.succeed("net", "peer", "tun0", "--json").json(), {"interface": "tun0", "peer": "10.9.0.2"})

    def test_link_local(self):
        run("ip -6 addr add fe80::d897:b4ff:fe9a:1a9e/64 dev lan0 nodad")
        shown = shown_by_ip("-6 addr show dev lan0 scope link")[0]["addr_info"][0]["local"]
        self.assertEqual(self.succeed("net", "link6", "lan0").out, shown + "\n")

    def test_what_is_not_there(self):
        self.assertIn("no IPv4 address", self.fail_with(NO, "net", "addr", "far0").err)
        self.assertIn("no IPv4 address", self.fail_with(NO, "net", "peer", "far0").err)
        self.assertIn("no IPv6 link-local", self.fail_with(NO, "net", "link6", "lo").err)
        for command in ("addr", "peer", "link6", "stat"):
            self.assertIn("no such interface", self.fail_with(NO, "net", command, "nobody").err)


class Counters(NetworkCase):
    def setUp(self):
        super().setUp()
        # What IPv6 sends of its own accord would be counted between two looks.
        for interface in ("lan0", "far0"):
            pathlib.Path(f"/proc/sys/net/ipv6/conf/{interface}/disable_ipv6").write_text("1")

    def stat(self, *words):
        return {entry["interface"]: entry for entry in self.succeed("net", "stat", *words, "--json").json()}

    def test_are_those_that_ip_shows(self):
        shown = shown_by_ip("-s link show dev lan0")[0]["stats64"]
        counters = self.stat("lan0")["lan0"]
        self.assertEqual(counters["tx_bytes"], shown["tx"]["bytes"])
        self.assertEqual(counters["rx_drops"], shown["rx"]["dropped"])

    def test_of_all_interfaces_when_none_is_named(self):
        self.assertEqual(set(self.stat()), {"lo", "lan0", "far0", "tun0"})
        lines = self.succeed("net", "stat").lines
        self.assertTrue(lines[0].startswith("interface "))
        self.assertEqual(len(lines), 5)

    def test_belong_to_exactly_that_interface(self):
        self.addCleanup(subprocess.run, "ip link del xlan0", shell=True)
        run("ip link add xlan0 index 2000 type veth peer name y0 && ip link del lan0 && "
            "ip link add lan0 index 3000 type veth peer name far0 && ip link set lan0 up && ip link set far0 up")
        table = pathlib.Path("/proc/net/dev").read_text()
        self.assertLess(table.index("xlan0:"), table.index(" lan0:"))
        run("ip addr add 192.0.2.1/24 dev lan0 && ip neigh add 192.0.2.9 lladdr 02:00:00:00:00:09 dev lan0")
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.sendto(b"x" * 1000, ("192.0.2.9", 9))
        self.assertGreater(self.stat("lan0")["lan0"]["tx_bytes"], 1000)
        self.assertEqual(self.stat("xlan0")["xlan0"]["tx_bytes"], 0)

    def test_watched_have_rates_from_the_second_table_on(self):
        result = self.succeed("net", "stat", "lo", "--watch", "--count", 2, "--json")
        first, second = (json.loads(line)[0] for line in result.lines)
        self.assertIsNone(first["per_second"])
        self.assertEqual(second["per_second"]["rx_errors"], 0)
        text = self.succeed("net", "stat", "lo", "--watch", "--count", 2).out
        self.assertEqual(text.count("per second"), 1)

    def test_watched_grow_under_traffic(self):
        watching = start("net", "stat", "lo", "--watch", "--count", 2, "--json")
        first = json.loads(watching.stdout.readline())[0]
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            for _ in range(50):
                sender.sendto(b"x" * 1000, ("127.0.0.1", 9))
        second = json.loads(watching.stdout.readline())[0]
        watching.communicate(timeout=60)
        self.assertGreaterEqual(second["rx_bytes"] - first["rx_bytes"], 50 * 1000)
        self.assertGreater(second["per_second"]["rx_bytes"], 0)

    def test_are_watched_until_nobody_reads(self):
        watching = start("net", "stat", "lo", "--watch")
        watching.stdout.readline()
        watching.send_signal(signal.SIGINT)
        watching.communicate(timeout=60)
        self.assertNotEqual(watching.returncode, 0)

    def test_options_of_watch_need_it(self):
        self.fail_with(USAGE, "net", "stat", "--count", 2)
        self.fail_with(USAGE, "net", "stat", "--watch", "--interval", 0)


class Names(Case):
    def test_ifname(self):
        self.assertEqual(self.succeed("net", "ifname", 27).out, "eth1.2\n")
        self.assertEqual(self.succeed("net", "ifname", 13, "--json").json(), {"number": 13, "interface": "wl0"})
        self.fail_with(NO, "net", "ifname", 5)
        self.fail_with(USAGE, "net", "ifname", "eth0")

    def test_iftype_without_a_configuration_manager(self):
        self.fail_with(NO, "net", "iftype", "eth0")

    def test_modem_without_its_driver(self):
        self.assertIn("/proc/proc_user_umts", self.fail_with(REFUSED, "net", "modem", "pcui").err)
        self.fail_with(USAGE, "net", "modem", "fax")


class Modem(Case):
    def test_prints_what_follows_the_colon(self):
        table = {"proc_user_umts": "pcui:ttyUSB2\nmodem:ttyUSB0\n"}
        self.assertEqual(self.succeed("net", "modem", "modem", prefix=with_proc(table)).out, "ttyUSB0\n")
        self.assertEqual(self.succeed("net", "modem", "pcui", "--json", prefix=with_proc(table)).json(),
                         {"kind": "pcui", "node": "ttyUSB2"})
        self.fail_with(NO, "net", "modem", "voice", prefix=with_proc(table))


class Modules(Case):
    """insmod and rmmod that write the kernel's list themselves."""

    TABLE = {"modules": "usb 16384 2 - Live 0x0\n"}

    def setUp(self):
        self.folder = pathlib.Path("/var/tmp/modules")
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        self.addCleanup(shutil.rmtree, self.folder)
        self.tool("insmod", 'name=${1##*/}; echo "${name%.ko} 1 0 - Live 0x0" | tr - _ >>/proc/modules')
        self.tool("rmmod", ": >/proc/modules")

    def tool(self, name, commands):
        path = pathlib.Path("/var") / name
        path.write_text("#!/bin/sh\n" + commands + "\n")
        path.chmod(0o755)
        self.addCleanup(path.unlink, missing_ok=True)

    def module(self, *words):
        return self.succeed("module", *words, prefix=with_proc(self.TABLE)).out

    def test_list(self):
        self.assertEqual(self.module("list").splitlines()[1].split(), ["usb", "16384", "2"])
        self.assertEqual(json.loads(self.module("list", "--json")), [{"module": "usb", "bytes": 16384, "users": 2}])

    def test_insert_and_remove(self):
        self.assertEqual(self.module("insert", "usb", "/lib"), "usb: was loaded already\n")
        self.assertEqual(self.module("insert", "vfat", "/lib"), "vfat: loaded\n")
        self.assertEqual(self.module("insert", "snd-pcm", "/lib"), "snd-pcm: loaded\n")
        self.assertEqual(self.module("remove", "usb", "/lib"), "usb: unloaded\n")
        self.assertEqual(self.module("remove", "vfat", "/lib"), "vfat: was not loaded\n")
        self.assertEqual(json.loads(self.module("insert", "vfat", "/lib", "--json")),
                         {"module": "vfat", "was_loaded": False, "loaded": True})
        self.assertEqual(json.loads(self.module("remove", "usb", "/lib", "--json")),
                         {"module": "usb", "was_loaded": True, "loaded": False})

    def test_what_the_tools_do_not_do_is_refused(self):
        self.tool("insmod", "exit 1")
        self.tool("rmmod", "exit 1")
        self.fail_with(REFUSED, "module", "insert", "vfat", "/lib", prefix=with_proc(self.TABLE))
        self.fail_with(REFUSED, "module", "remove", "usb", "/lib", prefix=with_proc(self.TABLE))

    def test_insert_dir(self):
        for name in ("alpha.ko", "notes.txt", "gamma.ko.bak", "usb.ko"):
            (self.folder / name).touch()
        self.assertEqual(sorted(self.module("insert-dir", self.folder).splitlines()),
                         ["alpha: loaded", "gamma: loaded", "usb: was loaded already"])
        self.assertIn({"module": "usb", "was_loaded": True, "loaded": True},
                      json.loads(self.module("insert-dir", self.folder, "--json")))
        self.fail_with(REFUSED, "module", "insert-dir", "/nowhere", prefix=with_proc(self.TABLE))

    def test_insert_dir_of_a_disk(self):
        # Not in the sandbox's own files: a disk numbers its entries with more bits than a 32-bit program expects.
        with tempfile.TemporaryDirectory(dir="/tmp") as folder:
            pathlib.Path(folder, "new.ko").touch()
            self.assertEqual(self.module("insert-dir", folder), "new: loaded\n")

    def test_without_a_list_everything_is_refused(self):
        for words in (["list"], ["insert", "a", "/lib"], ["remove", "a", "/lib"], ["insert-dir", "/lib"]):
            result = self.fail_with(REFUSED, "module", *words, prefix=with_proc({}))
            self.assertEqual(result.out, "")

    def test_words_that_a_command_line_would_change_are_wrong(self):
        for name in ("a b", "a>b", "'a'", "a&", ""):
            self.fail_with(USAGE, "module", "insert", name, "/lib")


class Firewall(Case):
    def setUp(self):
        self.iptables("-F INPUT")
        self.addCleanup(self.iptables, "-F INPUT")

    def iptables(self, arguments):
        run("/bin/iptables " + arguments)

    def rules(self):
        shown = subprocess.run(["/bin/iptables", "-S", "INPUT"], stdout=subprocess.PIPE, check=True)
        return shown.stdout.decode().splitlines()[1:]

    def test_list(self):
        self.iptables("-A INPUT -i ppp0 -j ACCEPT")
        self.assertIn("ppp0", self.succeed("firewall", "list").out)
        self.assertIn("ppp0", self.succeed("firewall", "list", "filter", "INPUT").out)
        self.assertNotIn("ppp0", self.succeed("firewall", "list", "filter", "OUTPUT").out)
        self.fail_with(REFUSED, "firewall", "list", "filter", "nochain")
        self.fail_with(REFUSED, "firewall", "list", "filter", "nochain", "--json")

    def test_list_for_programs_tells_what_the_library_takes_for_interfaces(self):
        self.iptables("-A INPUT -i ppp0 -j ACCEPT")
        self.iptables("-A INPUT -i ppp0")
        rules = self.succeed("firewall", "list", "--json").json()
        self.assertEqual([(rule["chain"], rule["number"], rule["input"]) for rule in rules],
                         [("INPUT", 1, "ppp0"), ("INPUT", 2, "any")])
        self.assertIn("ACCEPT", rules[0]["line"])
        self.assertEqual(self.succeed("firewall", "list", "filter", "OUTPUT", "--json").json(), [])

    def test_remove_one(self):
        for rule in ("-i eth0 -j ACCEPT", "-i ppp0 -j ACCEPT", "-i ppp0 -j DROP"):
            self.iptables("-A INPUT " + rule)
        out = self.succeed("firewall", "remove", "ppp0", "filter", "INPUT").out
        self.assertEqual(out.split()[:5], ["removed", "2", "0", "0", "ACCEPT"])
        self.assertEqual(self.rules(), ["-A INPUT -i eth0 -j ACCEPT", "-A INPUT -i ppp0 -j DROP"])

    def test_remove_all(self):
        for rule in ("-i eth0 -j ACCEPT", "-i ppp0 -j ACCEPT", "-i ppp0 -j DROP"):
            self.iptables("-A INPUT " + rule)
        self.assertEqual(len(self.succeed("firewall", "remove", "ppp0", "filter", "INPUT", "--all").lines), 2)
        self.assertEqual(self.rules(), ["-A INPUT -i eth0 -j ACCEPT"])
        self.fail_with(NO, "firewall", "remove", "ppp0", "filter", "INPUT", "--all")
        result = roqutil("firewall", "remove", "eth0", "filter", "INPUT", "--all", "--json")
        self.assertEqual([rule["input"] for rule in result.json()], ["eth0"])
        self.assertEqual(roqutil("firewall", "remove", "eth0", "filter", "INPUT", "--json").json(), [])

    def test_a_deletion_that_fails_is_refused_and_not_repeated(self):
        self.iptables("-A INPUT -i ppp0 -j ACCEPT")
        tool = pathlib.Path("/var/iptables")
        tool.write_text('#!/bin/sh\ncase "$*" in *" -D "*) echo tried >>/var/tmp/tried; exit 1 ;; esac\n'
                        'exec /bin/iptables "$@"\n')
        tool.chmod(0o755)
        self.addCleanup(tool.unlink)
        self.addCleanup(os.unlink, "/var/tmp/tried")
        result = self.fail_with(REFUSED, "firewall", "remove", "ppp0", "filter", "INPUT", "--all")
        self.assertIn("rule 1 of INPUT: it is still there", result.err)
        self.assertEqual(pathlib.Path("/var/tmp/tried").read_text(), "tried\n")

    def test_words_that_a_command_line_would_change_are_wrong(self):
        self.fail_with(USAGE, "firewall", "remove", "ppp0", "filter", "INPUT x")


if __name__ == "__main__":
    unittest.main()
