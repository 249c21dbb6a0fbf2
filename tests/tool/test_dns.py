"""roqutil resolve, srv and dns: the DNS client, typed as a user types it, beside a scripted relay."""

import os
import struct

from roqutil_case import NO, USAGE, Case
from scenery import A, SRV, Relay, addresses_of_both_families, asked_type, ipv4, record, reply, wire_name


class Resolve(Case):
    def test_shows_the_addresses_of_both_families(self):
        with Relay(addresses_of_both_families):
            lines = self.succeed("resolve", "www.example.net").lines
        self.assertRegex(lines[0], r"^IPv4  www\.example\.net \([0-9.]+ ms\)$")
        self.assertEqual([line.strip() for line in lines[1:3]], ["192.0.2.1", "192.0.2.2"])
        self.assertRegex(lines[3], r"^IPv6  www\.example\.net \([0-9.]+ ms\)$")
        self.assertEqual(lines[4].strip(), "2001:db8::1")

    def test_asks_for_one_family_only(self):
        with Relay(addresses_of_both_families):
            self.assertNotIn("IPv6", self.succeed("resolve", "-4", "www.example.net").out)
            self.assertNotIn("IPv4", self.succeed("resolve", "www.example.net", "-6").out)
            self.assertNotIn("IPv6", self.succeed("resolve", "--ipv4", "www.example.net").out)
            self.assertNotIn("IPv4", self.succeed("resolve", "--ipv6", "www.example.net").out)

    def test_gives_the_same_as_json(self):
        with Relay(addresses_of_both_families):
            data = self.succeed("resolve", "www.example.net", "--json").json()
        self.assertEqual(data["name"], "www.example.net")
        first, second = data["answers"]
        self.assertEqual((first["family"], first["code"], first["resolved"]), ("IPv4", 0, True))
        self.assertEqual(first["official_name"], "www.example.net")
        self.assertEqual(first["addresses"], ["192.0.2.1", "192.0.2.2"])
        self.assertGreaterEqual(first["milliseconds"], 0)
        self.assertEqual(second["addresses"], ["2001:db8::1"])

    def test_asks_from_the_source(self):
        with Relay(addresses_of_both_families) as relay:
            self.succeed("resolve", "-4", "www.example.net", "--source", "127.0.0.9")
            self.assertEqual(relay.clients, ["127.0.0.9"])

    def test_answers_no_when_nothing_came(self):
        result = self.fail_with(NO, "resolve", "www.example.net")
        self.assertIn("IPv4  not resolved: no usable answer from the relay", result.out)
        self.assertIn("IPv6  not resolved", result.out)
        self.assertIn("'www.example.net': no address came; 'roqutil dns trace' shows why", result.err)

    def test_names_the_switch_that_is_off(self):
        with open("/var/dns/ipv4", "w") as switch:
            switch.write("0")
        self.addCleanup(os.unlink, "/var/dns/ipv4")
        self.assertIn("switched off in /var/dns/ipv4", self.fail_with(NO, "resolve", "-4", "10.0.0.1").out)
        data = self.fail_with(NO, "resolve", "-4", "10.0.0.1", "--json").json()
        self.assertEqual(data["answers"][0]["code"], 22)

    def test_refuses_wrong_arguments(self):
        for words in ([], ["-4"], ["-4", "-6"], ["-4", "one", "--ipv6"], ["one", "two"]):
            self.fail_with(USAGE, "resolve", *words)


class Trace(Case):
    def verdicts(self, script):
        with Relay(script):
            data = self.fail_with(NO, "dns", "trace", "-4", "www.example.net", "--json").json()
        return [attempt["verdict"] for attempt in data["lookups"][0]["attempts"]]

    def test_shows_what_was_sent_and_received(self):
        with Relay(addresses_of_both_families):
            attempt, = self.succeed("dns", "trace", "-4", "www.example.net", "--json").json()["lookups"][0]["attempts"]
        query = bytes.fromhex(attempt["sent"])
        self.assertEqual(query[2:], bytes.fromhex("01000001000000000000") + wire_name("www.example.net") + b"\0\1\0\1")
        self.assertEqual(bytes.fromhex(attempt["received"]), addresses_of_both_families(query))
        self.assertEqual((attempt["server"], attempt["source"]), ("127.0.0.1", "127.0.0.1"))
        self.assertEqual(attempt["verdict"], "accepted")

    def test_says_why_a_reply_was_rejected(self):
        for script, verdict in (
                (lambda query: query[:11], "rejected: shorter than a header"),
                (lambda query: reply(query, ipv4(1), flip=1), "rejected: the id of another query"),
                (lambda query: reply(query, ipv4(1), flags=0x100), "rejected: not a response"),
                (lambda query: reply(query, flags=0x8183), "rejected: error code 3, no such name"),
                (lambda query: reply(query), "rejected: no answers"),
                (lambda query: reply(query, ipv4(1))[:-1], "rejected: its answers are cut off or lead outside"),
                (lambda query: reply(query, ipv4(1), record(A, bytes(5))),
                 "rejected: its owner names or address lengths are not acceptable")):
            self.assertEqual(self.verdicts(script), [verdict] * 4)

    def test_says_that_an_alias_is_not_followed(self):
        self.assertEqual(self.verdicts(lambda query: reply(query, record(5, wire_name("other.net")))),
                         ["rejected: no address of the family; aliases are not followed"])

    def test_shows_that_no_relay_runs(self):
        data = self.fail_with(NO, "dns", "trace", "-4", "www.example.net", "--json").json()
        attempts = data["lookups"][0]["attempts"]
        self.assertEqual([attempt["server"] for attempt in attempts], ["127.0.0.1", "127.0.0.1", "::1", "::1"])
        self.assertEqual({attempt["verdict"] for attempt in attempts}, {"Connection refused"})

    def test_shows_that_a_missing_source_is_tried_once(self):
        result = self.fail_with(NO, "dns", "trace", "-4", "www.example.net", "--source", "192.0.2.99")
        self.assertIn("attempt 1: not sent, from 192.0.2.99", result.out)
        self.assertNotIn("attempt 2", result.out)

    def test_shows_bytes_to_the_reader(self):
        with Relay(addresses_of_both_families):
            out = self.succeed("dns", "trace", "-6", "www.example.net").out
        self.assertIn("attempt 1: ::1 port 53 from ::1 port ", out)
        self.assertIn("sent 33 bytes", out)
        self.assertIn("www.example.net", out)
        self.assertIn("accepted", out)

    def test_sends_nothing_for_an_address(self):
        self.assertIn("nothing was sent", self.succeed("dns", "trace", "-4", "10.0.0.1").out)


class Srv(Case):
    def services(self, query):
        if asked_type(query) != SRV:
            return addresses_of_both_families(query)
        return reply(query, record(SRV, struct.pack(">3H", 10, 20, 5060) + wire_name("sip1.example.net")),
                     record(SRV, struct.pack(">3H", 11, 21, 5061) + wire_name("sip2.example.net")))

    def tearDown(self):
        for path in ("/var/voice_dns", "/var/wan/srv_result"):
            if os.path.exists(path):
                os.unlink(path)

    def test_shows_the_records_and_the_files(self):
        with Relay(self.services):
            out = self.succeed("srv", "_sip._udp.example.net").out
        self.assertRegex(out, r"(?m)^10 +20 +5060 +sip1\.example\.net +192\.0\.2\.1$")
        self.assertRegex(out, r"(?m)^11 +21 +5061 +sip2\.example\.net +192\.0\.2\.1$")
        self.assertIn("/var/voice_dns\n  |127.0.0.1\n", out)
        self.assertIn("/var/wan/srv_result\n  |\n  |ttl=0\n", out)

    def test_gives_the_same_as_json(self):
        with Relay(self.services):
            data = self.succeed("srv", "_sip._udp.example.net", "--json").json()
        self.assertEqual(data["records"][1], {"priority": 11, "weight": 21, "port": 5061,
                                              "target": "sip2.example.net", "address": "192.0.2.1"})
        self.assertEqual(data["files"], ["/var/voice_dns", "/var/wan/srv_result"])

    def test_answers_no_when_only_addresses_came(self):
        with Relay(lambda query: reply(query, ipv4(7))):
            result = self.fail_with(NO, "srv", "_sip._udp.example.net")
        self.assertIn("address 192.0.2.7, TTL 300", result.out)

    def test_passes_on_why_the_connection_cannot_be_asked(self):
        result = self.fail_with(NO, "srv", "_sip._udp.example.net", "--interface", "nosuch0")
        self.assertTrue(result.err.startswith("ifdns:can't get dns server\n"), result)
