"""roqutil gvar: the variable store, typed as a user types it."""

import ctypes
import os
import re
import signal
import subprocess
import time
import xml.etree.ElementTree

import roqutil_case
import schema
from roqutil_case import AS_NOBODY, COMMAND, NO, OK, REFUSED, USAGE, Case, Segment, libc, remove_module, roqutil, start
from scenery import holder_of

MODULE = 2
HEAD, HANDLE = 20, 24


class StoreCase(Case):
    """Module 2 with three variables, and no other module."""

    def setUp(self):
        self.addCleanup(lambda: [remove_module(module) for module in range(7)])
        self.gvar("init", MODULE, "--size", 8192)
        self.gvar("set", "2:1", "one")
        self.gvar("set", "2:2", "two")
        self.gvar("set", "2:3", "three")

    def gvar(self, *words, **arguments):
        return self.succeed("gvar", *words, **arguments)

    def data(self, *words):
        return self.gvar(*words, "--json").json()

    def check(self):
        result = roqutil("gvar", "check", MODULE, "--json")
        self.assertIn(result.code, (OK, NO), result)
        data = result.json()
        self.assertEqual(result.code, OK if data["clean"] else NO)
        return data

    def broken(self):
        return [finding["invariant"] for finding in self.check()["findings"]]

    def ids(self):
        return [variable["id"] for variable in roqutil("gvar", "list", MODULE, "--json").json()["variables"]]


class Init(StoreCase):
    def test_creates_once_and_finds_then(self):
        self.assertEqual(self.gvar("init", 4).out, "module 4: created, 65536 bytes at 0x2f300000\n")
        self.assertEqual(self.gvar("init", 4).out, "module 4: existed already, 65536 bytes at 0x2f300000\n")
        self.assertEqual(self.data("init", 5, "--size", "0x1000"), {"module": 5, "created": True, "size": 4096, "address": "0x2f400000"})
        self.assertEqual(self.data("init", 5, "--size", "0x1000")["created"], False)

    def test_tells_why_a_larger_size_is_refused(self):
        result = self.fail_with(REFUSED, "gvar", "init", MODULE, "--size", 16384)
        self.assertIn("its segment exists with 8192 bytes, fewer than the 16384 asked for", result.err)

    def test_refuses_numbers_out_of_range(self):
        for words in ([7], ["-1"], ["two"], [""], ["0x"], ["99999999999"], [4, "--size", 1023], [4, "--size", "0x80001"],
                      [4, "--header", 51], [4, "--size", 2048, "--header", 2028], [4, "--header", 54]):
            with self.subTest(words):
                self.fail_with(USAGE, "gvar", "init", *words)
        self.assertEqual(roqutil_case.segment_id(4), -1)

    def test_switches_locking_off_for_everybody(self):
        self.gvar("init", MODULE, "--size", 8192, "--no-lock")
        self.assertIn("(locking is off)", self.gvar("show", MODULE).out)
        self.assertEqual(self.check()["notes"][0]["note"], "locking-off")
        with holder_of(10):
            self.assertEqual(self.gvar("get", "2:1").out, "one\n")


class SetAndGet(StoreCase):
    def test_carry_text_hex_files_and_standard_input(self):
        self.assertEqual(self.gvar("set", "2:9", "ppp0").out, "")
        self.assertEqual(self.gvar("get", "0x00020009").out, "ppp0\n")
        self.gvar("set", "2:9", "--hex", "00ff0A")
        self.assertEqual(self.gvar("get", "2:9", "--raw").raw, b"\x00\xff\n")
        self.assertEqual(self.gvar("get", "2:9", "--hex").out, "00ff0a\n")
        self.assertEqual(self.gvar("get", "2:9").out, "\\x00\\xff\\n\n")
        self.gvar("set", "2:9", "--file", "/etc/hosts")
        with open("/etc/hosts", "rb") as hosts:
            self.assertEqual(self.gvar("get", "2:9", "--raw").raw, hosts.read())
        self.gvar("set", "2:9", "--file", "-", input=b"from a pipe")
        self.assertEqual(self.gvar("get", "2:9", "--raw").raw, b"from a pipe")
        self.gvar("set", "2:9", "--terminated", "text")
        self.assertEqual(self.gvar("get", "2:9", "--raw").raw, b"text\0")
        self.gvar("set", "2:9", "--", "--dashes")
        self.assertEqual(self.gvar("get", "2:9").out, "--dashes\n")

    def test_json_holds_every_byte(self):
        every = bytes(range(256))
        self.gvar("set", "2:9", "--file", "-", input=every)
        self.assertEqual(self.data("get", "2:9"),
                         {"id": "0x00020009", "length": 256, "value": {"text": None, "hex": every.hex()}})
        text = 'a "quoted" back\\slash, a tab\t, grün €\n'
        self.gvar("set", "2:9", text)
        self.assertEqual(self.data("get", "2:9")["value"], {"text": text, "hex": text.encode().hex()})

    def test_refuse_what_they_do_not_understand(self):
        for words in (["get", "7:1"], ["get", "2:65536"], ["get", "0x00070001"], ["get", "2"+":"], ["get", "x"],
                      ["get", "2:1", "--hex", "--raw"], ["set", "2:1"], ["set", "2:1", "x", "--file", "/etc/hosts"],
                      ["set", "2:1", "--hex", "0"], ["set", "2:1", "--hex", "xy"], ["set", "2:1", ""],
                      ["set", "2:1", "--file", "/dev/null"], ["get", "2:1", "--wait", "0"]):
            with self.subTest(words):
                self.fail_with(USAGE, "gvar", *words)
        self.assertEqual(self.gvar("get", "2:1").out, "one\n")

    def test_say_what_is_missing(self):
        self.assertIn("0x00020063: not set", self.fail_with(NO, "gvar", "get", "2:99").err)
        self.assertIn("module 5: it has no segment", self.fail_with(NO, "gvar", "get", "5:1").err)
        self.assertIn("module 5: it has no segment", self.fail_with(REFUSED, "gvar", "set", "5:1", "x").err)
        self.assertIn("/no/such", self.fail_with(REFUSED, "gvar", "set", "2:1", "--file", "/no/such").err)
        self.assertEqual(roqutil_case.segment_id(5), -1)

    def test_say_that_the_pool_is_full(self):
        result = self.fail_with(REFUSED, "gvar", "set", "2:1", "--file", "-", input=b"x" * 9000)
        self.assertRegex(result.err, r"\Abget report: memory expired, pid:\d+\nroqutil: gvar set: 0x00020001: the pool of module 2 "
                                     r"has no room for 9000 bytes; see 'roqutil gvar map 2'\n\Z")
        self.assertEqual(result.out, "")
        self.assertEqual(self.gvar("get", "2:1").out, "one\n")
        self.assertIn("no segment holds that", self.fail_with(REFUSED, "gvar", "set", "2:1", "--file", "/dev/zero").err)

    def test_do_not_wait_for_ever(self):
        with holder_of(10):
            for words in (["get", "2:1"], ["set", "2:1", "x"]):
                result = self.fail_with(REFUSED, "gvar", *words, "--wait", 1)
                self.assertIn("not done after 1 seconds", result.err)
                self.assertEqual(result.out, "")
        self.assertEqual(self.gvar("get", "2:1").out, "one\n")

    def test_survive_a_list_that_never_ends(self):
        with Segment(MODULE) as segment:
            oldest = int(self.data("list", MODULE)["variables"][-1]["address"], 16)
            last = next(at for at in range(52, 8192, 4) if segment.word(at) == 0x00020001 and segment.word(at + 4) == oldest)
            segment.put(last + 12, segment.word(HEAD))
        result = self.fail_with(REFUSED, "gvar", "get", "2:99", "--wait", 1)
        self.assertIn("its variable list never ends", result.err)
        self.assertEqual(self.broken(), ["node-cycle"])

    def test_survive_links_into_nowhere(self):
        with Segment(MODULE) as segment:
            segment.put(HEAD, 0x10)
        for words in (["get", "2:1"], ["set", "2:1", "x"]):
            result = self.fail_with(REFUSED, "gvar", *words)
            self.assertIn("so module 2 is damaged; see 'roqutil gvar check 2'", result.err)


class List(StoreCase):
    def test_is_newest_first_with_length_address_and_preview(self):
        self.gvar("set", "2:4", "x" * 100)
        lines = self.gvar("list", MODULE).lines
        self.assertEqual(lines[0].split(), ["ID", "LENGTH", "ADDRESS", "PREVIEW"])
        self.assertRegex(lines[1], r"^0x00020004 +100  0x2f10[0-9a-f]{4}  x{40}\.\.\.$")
        self.assertEqual([line.split()[0] for line in lines[1:]], ["0x00020004", "0x00020003", "0x00020002", "0x00020001"])
        self.assertTrue(lines[4].endswith("  one"))

    def test_json_tells_addresses_and_values(self):
        data = self.data("list", MODULE)
        self.assertEqual(data["module"], MODULE)
        self.assertTrue(data["complete"])
        newest = data["variables"][0]
        self.assertEqual((newest["id"], newest["length"], newest["value"]["text"]), ("0x00020003", 5, "three"))
        with Segment(MODULE) as segment:
            self.assertEqual(segment.read(int(newest["address"], 16) - segment.base, 5), b"three")

    def test_of_an_empty_module_has_only_its_heading(self):
        self.gvar("init", 3)
        self.assertEqual(len(self.gvar("list", 3).lines), 1)
        self.assertEqual(self.data("list", 3)["variables"], [])

    def test_shows_what_is_left_of_a_damaged_list(self):
        with Segment(MODULE) as segment:
            segment.put(segment.word(HEAD) - segment.base + 12, 0x12345678)
        result = self.fail_with(NO, "gvar", "list", MODULE)
        self.assertEqual([line.split()[0] for line in result.lines[1:]], ["0x00020003"])
        self.assertIn("module 2: it is damaged", result.err)


class Show(StoreCase):
    def test_tells_header_semaphore_and_pool(self):
        out = self.gvar("show", MODULE).out
        self.assertRegex(out, r"segment +id \d+, key 0x[0-9a-f]{8}, 8192 bytes at 0x2f100000, attached by 0 processes")
        self.assertRegex(out, r"header +magic 0x00042047, 52 bytes, pool of 8140 bytes, semaphore id \d+")
        self.assertRegex(out, r"semaphore +id \d+, 10 of 10 units free, 0 processes wait, last used by process \d+")
        self.assertRegex(out, r"pool +120 bytes in 6 blocks allocated, 8012 bytes in 1 blocks free, the largest 8012")
        self.assertIn("6 allocations and 0 releases so far", out)

    def test_json_agrees_with_the_kernel(self):
        data = self.data("show", MODULE)
        self.assertEqual(data["segment"]["id"], roqutil_case.segment_id(MODULE))
        self.assertEqual(data["semaphore"]["id"], roqutil_case.semaphore_id(MODULE))
        self.assertEqual(data["header"], {"magic": "0x00042047", "header_size": 52, "pool_length": 8140,
                                          "semaphore_id": data["semaphore"]["id"], "locking": True})
        self.assertEqual((data["variables"], data["broken_invariants"], data["locked_snapshot"]), (3, 0, True))

    def test_attach_shows_the_module_with_itself_attached(self):
        self.assertEqual(self.data("attach", MODULE)["segment"]["attached"], 1)
        self.fail_with(NO, "gvar", "attach", 5)

    def test_tells_who_waits_while_a_writer_holds_the_lock(self):
        with holder_of(10) as holder:
            with start("gvar", "get", "2:1", "--wait", "60") as waiting:
                deadline = time.monotonic() + 60
                while True:
                    data = self.data("show", MODULE, "--wait", 0)
                    if data["semaphore"]["waiting"] == 1 or time.monotonic() > deadline:
                        break
                self.assertEqual((data["semaphore"]["value"], data["semaphore"]["waiting"]), (0, 1))
                self.assertEqual(data["semaphore"]["last_process"], holder)
                self.assertFalse(data["locked_snapshot"])
                self.assertEqual(len(data["semaphore"]["waiting_processes"]), 1)
                self.assertIn("the lock was not to be had", self.gvar("show", MODULE, "--wait", 0).out)
                waiting.kill()

    def test_warns_of_ids_that_mean_none(self):
        """Inside namespaces where nobody has used up id 0."""
        script = '"$@" gvar init 2; "$@" gvar delete-module 2; ipcrm --all; true'
        process = subprocess.run(["unshare", "--ipc", "sh", "-c", script, "sh", *COMMAND], capture_output=True, text=True)
        self.assertIn("roqutil: warning: module 2: its semaphore set has the id 0", process.stderr)
        self.assertIn("roqutil: warning: module 2: its segment has the id 0", process.stderr)
        self.assertIn("its segment 0 was not removed", process.stderr)


class Check(StoreCase):
    def test_calls_a_sound_module_clean(self):
        self.assertEqual(self.gvar("check", MODULE).out,
                         "module 2: clean; 3 variables, 120 bytes allocated, 8012 bytes free\n")
        self.assertEqual(self.check()["findings"], [])

    def test_names_every_broken_invariant(self):
        with Segment(MODULE) as segment:
            segment.put(0, 0x41414141)
            segment.put(HANDLE + 16, 7)
        result = roqutil("gvar", "check", MODULE)
        self.assertEqual(result.code, NO)
        self.assertEqual(result.lines[0], "module 2: damaged, 2 broken invariants; 3 variables, 120 bytes allocated, 8012 bytes free")
        self.assertIn("  0x2f100000 magic: expected 0x00042047, found 0x41414141 (the segment begins with the store's magic number)",
                      result.lines)
        self.assertIn("  0x2f100028 totalloc: expected 120, found 7 (totalloc is the size of all allocated blocks)", result.lines)
        finding = self.check()["findings"][0]
        self.assertEqual((finding["invariant"], finding["address"], finding["expected"], finding["actual"]),
                         ("magic", "0x2f100000", "0x00042047", "0x41414141"))

    def test_takes_the_readers_lock(self):
        with holder_of(1):
            self.gvar("check", MODULE)
        with holder_of(10):
            result = self.fail_with(REFUSED, "gvar", "check", MODULE, "--wait", 1)
            self.assertRegex(result.err, r"its lock was not to be had within 1 seconds: 0 of 10 units are free, process \d+ used it last")
        self.gvar("check", MODULE)

    def test_passes_after_a_holder_was_killed(self):
        with holder_of(10):
            pass
        self.assertEqual(self.data("show", MODULE)["semaphore"]["value"], 10)
        self.assertEqual(self.broken(), [])

    def test_never_crashes_whatever_the_segment_holds(self):
        for fill in (b"\0", b"\xff", b"\x55", b"\x80", b"\x00\x00\x00\x10"):
            with self.subTest(fill):
                with Segment(MODULE) as segment:
                    segment.write(0, (fill * 8192)[:8192])
                self.assertEqual(roqutil("gvar", "check", MODULE).code, NO)
                self.assertEqual(roqutil("gvar", "list", MODULE).code, NO)
                self.assertEqual(roqutil("gvar", "map", MODULE).code, NO)
                self.assertEqual(roqutil("gvar", "repair", MODULE).code, NO)

    def test_judges_a_foreign_segment_with_the_modules_key(self):
        for module, size in ((5, 100), (6, 2000000)):
            roqutil_case.check_result(libc.shmget(roqutil_case.key_of(module), size, 0o1666))
            result = roqutil("gvar", "check", module)
            self.assertEqual(result.code, NO)
            self.assertIn(f"segment-size: expected 1024 to 524288, found {size}", result.out)
            self.assertEqual(roqutil("gvar", "show", module).code, OK)
            self.assertEqual(roqutil("gvar", "repair", module).code, NO)

    def test_says_that_permission_is_denied(self):
        roqutil_case.check_result(libc.shmget(roqutil_case.key_of(5), 4096, IPC_CREAT_ONLY_OWNER))
        for words in (["check", 5], ["get", "5:1"], ["init", 5], ["set", "5:1", "x"], ["repair", 5]):
            with self.subTest(words):
                result = self.fail_with(REFUSED, "gvar", *words, prefix=AS_NOBODY)
                self.assertIn("Permission denied", result.err)


IPC_CREAT_ONLY_OWNER = 0o1600


class Repair(StoreCase):
    def test_has_nothing_to_do_with_a_sound_module(self):
        self.assertEqual(self.gvar("repair", MODULE).out, "module 2: nothing to repair; 3 variables are listed\n")

    def test_leaves_a_module_that_is_clean_and_works(self):
        with Segment(MODULE) as segment:
            for offset in (0, 4, 8, 12, HANDLE, HANDLE + 4, HANDLE + 8, HANDLE + 12, HANDLE + 24):
                segment.put(offset, 0x01020304)
        self.assertGreaterEqual(len(self.broken()), 8)
        self.assertRegex(self.gvar("repair", MODULE).out, r"\Amodule 2: repaired, 9 fields changed; 3 variables are listed\n\Z")
        self.assertEqual(self.broken(), [])
        self.assertEqual(self.gvar("get", "2:2").out, "two\n")
        self.gvar("set", "2:2", "new")
        self.gvar("set", "2:8", "newer")
        self.assertEqual(self.broken(), [])

    def test_refuses_when_nothing_tells_where_the_pool_begins(self):
        with Segment(MODULE) as segment:
            segment.put(4, 100)
            segment.put(HANDLE + 16, 100)
        result = self.fail_with(NO, "gvar", "repair", MODULE)
        self.assertIn("header size and pool length contradict each other", result.err)

    def test_cuts_the_list_and_gives_unlisted_blocks_back_when_asked(self):
        with Segment(MODULE) as segment:
            second = segment.word(segment.word(HEAD) - segment.base + 12)
            segment.put(second - segment.base + 12, 0x66666666)
        self.assertEqual(self.broken(), ["node-link"])
        out = self.gvar("repair", MODULE).out
        self.assertIn(f"the variable list was cut at 0x{second + 12:08x}", out)
        self.assertIn("2 blocks (40 bytes) are used by no listed variable; --release-unlisted gives them back", out)
        self.assertEqual(self.ids(), ["0x00020003", "0x00020002"])
        self.assertEqual(self.check()["unlisted_blocks"], 2)
        data = self.data("repair", MODULE, "--release-unlisted")
        self.assertEqual((data["released_blocks"], data["released_bytes"], data["unlisted_blocks"]), (2, 40, 0))
        self.assertEqual((self.broken(), self.check()["unlisted_blocks"]), ([], 0))
        self.assertEqual(self.gvar("get", "2:3").out, "three\n")

    def test_refuses_a_broken_block_chain_and_changes_nothing(self):
        with Segment(MODULE) as segment:
            segment.put(52 + 4, 6)
            before = segment.read(0, 8192)
            result = self.fail_with(NO, "gvar", "repair", MODULE)
            self.assertIn("nothing was changed: at 0x2f100034 the block chain itself is broken", result.err)
            self.assertEqual(segment.read(0, 8192), before)

    def test_waits_for_all_units(self):
        with holder_of(1):
            result = self.fail_with(REFUSED, "gvar", "repair", MODULE, "--wait", 1)
            self.assertIn("9 of 10 units are free", result.err)

    def test_leaves_the_modules_own_area_alone(self):
        self.gvar("init", 3, "--size", 4096, "--header", 128)
        with Segment(3) as segment:
            segment.write(52, b"the module's own area")
            segment.put(0, 0)
            self.gvar("repair", 3)
            self.assertEqual(segment.read(52, 21), b"the module's own area")


class Delete(StoreCase):
    def test_tells_what_it_would_do_and_does_nothing(self):
        result = self.fail_with(NO, "gvar", "delete", "2:2")
        self.assertIn("the list will begin behind it: 1 of 3 variables stay: 0x00020001", result.out)
        self.assertIn("the 1 newer variables are dropped, and their memory stays allocated: 0x00020003", result.out)
        self.assertIn("nothing was deleted", result.err)
        self.assertIn("--force", result.err)
        self.assertEqual(len(self.ids()), 3)
        self.assertEqual(self.broken(), [])

    def test_reports_what_happened_instead_of_crashing(self):
        out = self.gvar("delete", "2:2", "--force").out
        self.assertIn("0x00020002 is no longer listed; 1 of 3 variables are left", out)
        self.assertIn("the deleting process ", out)
        self.assertEqual(self.ids(), ["0x00020001"])
        self.assertEqual(self.data("show", MODULE)["semaphore"]["value"], 10)
        self.gvar("repair", MODULE, "--release-unlisted")
        self.assertEqual(self.broken(), [])
        self.assertEqual(self.gvar("get", "2:1").out, "one\n")

    def test_of_the_newest_variable_faults_a_process_and_keeps_the_list(self):
        self.assertIn("it is the newest variable", self.fail_with(NO, "gvar", "delete", "2:3").out)
        result = roqutil("gvar", "delete", "2:3", "--force")
        self.assertEqual(result.code, NO)
        self.assertIn("was ended by a signal (Segmentation fault), as documented", result.out)
        self.assertEqual(len(self.ids()), 3)
        data = roqutil("gvar", "delete", "2:3", "--force", "--json").json()
        self.assertEqual((data["faults"], len(data["stay"]), data["dropped"]), (True, 3, []))
        outcome = data["outcome"]
        self.assertEqual((outcome["listed"], outcome["signal"], outcome["variables"]), (True, signal.SIGSEGV, 3))

    def test_tells_a_program_what_it_would_do(self):
        result = self.fail_with(NO, "gvar", "delete", "2:2", "--json")
        self.assertEqual(result.json(), {"id": "0x00020002", "faults": False, "stay": ["0x00020001"],
                                         "dropped": ["0x00020003"], "outcome": None})
        self.assertEqual(len(result.err.splitlines()), 1)

    def test_of_a_variable_that_is_not_set_says_so(self):
        self.assertIn("not set", self.fail_with(NO, "gvar", "delete", "2:99", "--force").err)
        self.fail_with(NO, "gvar", "delete", "5:1")
        self.fail_with(USAGE, "gvar", "delete", "7:1")


class DeleteModule(StoreCase):
    def test_removes_the_segment_and_keeps_the_semaphore_set(self):
        semaphore = roqutil_case.semaphore_id(MODULE)
        self.assertRegex(self.gvar("delete-module", MODULE).out, r"\Amodule 2: segment \d+ removed; 0 processes keep their mapping")
        self.assertEqual(roqutil_case.segment_id(MODULE), -1)
        self.assertEqual(roqutil_case.semaphore_id(MODULE), semaphore)

    def test_of_a_module_that_does_not_exist_creates_nothing(self):
        self.assertIn("it has no segment", self.fail_with(NO, "gvar", "delete-module", 5).err)
        self.fail_with(USAGE, "gvar", "delete-module", 7)


class Map(StoreCase):
    def test_fits_a_hundred_columns(self):
        self.gvar("init", 6, "--size", "0x80000")
        for module in (MODULE, 6):
            lines = self.gvar("map", module).lines
            self.assertLessEqual(max(map(len, lines)), 100)
            self.assertTrue(lines[0].startswith("0x"))
            self.assertIn(". free", lines[-2])
        picture = "".join(line[11:] for line in self.gvar("map", MODULE).lines[:-2])
        self.assertTrue(picture.endswith("oooooo####" * 3), picture[-40:])
        self.assertEqual(len(picture), 8132 // 4)

    def test_svg_is_well_formed_and_names_every_block(self):
        self.gvar("map", MODULE, "--svg", "/var/tmp/pool.svg")
        root = xml.etree.ElementTree.parse("/var/tmp/pool.svg").getroot()
        titles = [title.text for title in root.iter("{http://www.w3.org/2000/svg}title")]
        self.assertEqual(len(titles), 7)
        self.assertRegex(titles[-1], r"^value, 16 bytes at 0x2f10[0-9a-f]{4}, variable 0x00020001$")
        self.fail_with(REFUSED, "gvar", "map", MODULE, "--svg", "/no/such/folder/pool.svg")

    def test_json_lists_the_blocks(self):
        data = self.data("map", MODULE)
        self.assertEqual(sum(block["size"] for block in data["blocks"]), data["bytes"])
        self.assertEqual([block["use"] for block in data["blocks"]], ["free"] + ["node", "value"] * 3)


class Watch(StoreCase):
    def test_prints_a_line_per_change(self):
        with start("gvar", "watch", "2:1", "--interval", "0.005", "--count", 2, text=True) as watching:
            lines = [watching.stdout.readline()]
            for value in ("first", "second"):
                self.gvar("set", "2:1", value)
                lines.append(watching.stdout.readline())
            self.assertEqual(watching.wait(60), OK)
            rest = watching.stdout.read()
        self.assertEqual([re.sub(r"^\d\d:\d\d:\d\d\.\d\d\d ", "", line) for line in lines],
                         ["0x00020001 3 bytes one\n", "0x00020001 5 bytes first\n", "0x00020001 6 bytes second\n"])
        self.assertEqual(rest, "")

    def test_notices_that_a_variable_comes_to_be(self):
        with start("gvar", "watch", "2:50", "--interval", "0.005", "--count", 1, text=True) as watching:
            self.assertIn("0x00020032 not set", watching.stdout.readline())
            self.gvar("set", "2:50", "here")
            self.assertIn("4 bytes here", watching.stdout.readline())
            self.assertEqual(watching.wait(60), OK)

    def test_json_is_one_object_per_line(self):
        with start("gvar", "watch", "2:1", "--interval", "0.005", "--json", text=True) as watching:
            data = roqutil_case.json.loads(watching.stdout.readline())
            watching.terminate()
        schema.check_output(["gvar", "watch"], roqutil_case.json.dumps(data))
        self.assertEqual((data["id"], data["set"], data["value"]["text"]), ("0x00020001", True, "one"))

    def test_ends_quietly_when_nobody_reads_any_more(self):
        with start("gvar", "watch", "2:1", "--interval", "0.005", text=True) as watching:
            watching.stdout.readline()
            watching.stdout.close()
            self.gvar("set", "2:1", "news")
            self.assertEqual(watching.wait(60), -signal.SIGPIPE)
            self.assertEqual(watching.stderr.read(), "")


class Bench(StoreCase):
    def test_measures_in_a_module_of_its_own_and_removes_it(self):
        data = self.data("bench", 6, "--rounds", 20)
        self.assertEqual((data["variables"], data["bytes"], data["rounds"]), (100, 64, 20))
        for kind in ("get", "set"):
            self.assertGreater(data[kind]["nanoseconds"], 0)
            self.assertGreater(data[kind]["floor_nanoseconds"], 0)
        self.assertEqual((roqutil_case.segment_id(6), roqutil_case.semaphore_id(6)), (-1, -1))
        self.assertRegex(self.gvar("bench", 6, "--rounds", 10).out, r"(?m)^get +\d+ ns; .*: \d+\.\d\d times$")

    def test_refuses_a_module_that_exists(self):
        self.assertIn("module 2 exists", self.fail_with(REFUSED, "gvar", "bench", MODULE).err)
        self.assertEqual(len(self.ids()), 3)
