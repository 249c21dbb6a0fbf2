"""Judging and converting values: check, cidr, minutes, split."""

import os
import sys

from roqutil_case import NO, USAGE, Case, roqutil

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "model"))
import compare  # noqa: E402
import model  # noqa: E402

# Per kind: a value that is accepted, and values that are refused with the rule that refuses them.
KINDS = {
    "ip": ("001.2.3.255", {"1.2.3": "it has 2 dots, not 3", "1..2.3": "field 4 is missing",
                           "1.2.3.1234567890": "it is longer than 15 characters", "1.+2.3.4": "field 2 does not begin with a digit",
                           "1.2.3a.4": "field 3 is no number", "256.1.1.1": "field 1 is above 255"}),
    "host": ("1.0.0.0", {"": "it has 0 dots, not 3", "0.0.0.0": "it is never the address of a host or group",
                         "1.2.3.04": "field 4 has a leading zero", "1.2.3.x": "field 4 is not one to three digits",
                         "1.256.3.4": "field 2 is above 255", "0.1.1.1": "the first field is 0",
                         "224.0.0.1": "the first field is 224 or above",
                         "127.0.0.1": "the first field is 127, which is loopback", "1.2.3.255": "the last field is 255"}),
    "mcast": ("224.0.0.1", {"192.168.1.1": "the first field is not 224 to 239", "230.1.1.255": "the last field is 255"}),
    "dns-or-host": ("my host", {"127.0.0.1": "it is shaped like an address, and the first field is 127, which is loopback"}),
    "shape": ("..9.99.999.9999", {"1.2.3": "it has 3 fields, not 4", "1.2.x.4": "field 3 is not all digits",
                                  "12345678901234567": "it is longer than 16 characters"}),
    "mask": ("255.255.254.0", {"0.0.0.0": "it is 0.0.0.0", "255.255": "field 3 is missing",
                               "255.x.0.0": "field 2 is not all digits", "256.0.0.0": "field 1 is above 255",
                               "255.0.0.128": "field 4 is not 0 behind the last one bit",
                               "255.253.0.0": "field 2 has one bits behind zero bits"}),
    "mask-octet": ("128", {"255": "it is none of 0, 128, 192, 224, 240, 248, 252 and 254", "x": "it is no number of 32 bits"}),
    "date": ("2024-02-29", {"2023-02-29": "month 2 of 2023 has no day 29", "2023-1-01": "it has 9 characters, not 10",
                            "2023/01-01": "character 5 is no '-'", "2023-01-1-": "character 10 is a '-'",
                            "2023-xx-01": "the month is no number", "0000-01-01": "the year is not 1 to 9999",
                            "2023-13-01": "the month is not 1 to 12", "2023-01-32": "the day is not 1 to 31"}),
    "time": ("9:05", {"": "it is empty", "12:005": "it is longer than 5 characters", "1205": "it has no ':'",
                      ":30": "the hour has 0 characters, not 1 or 2", "x:30": "the hour is no number",
                      "24:00": "the hour is above 23", "9:5": "the minute has 1 characters, not 2",
                      "9:5x": "the minute is no number", "9:60": "the minute is above 59"}),
    "hms": ("23:59:59.123", {"24:00:00": "the hour is not 0 to 23", "12:60:00": "the minute is not 0 to 59",
                             "12:00:60": "the second is not 0 to 59", "1:00:00": "it has 7 characters, not 8 to 12"}),
    "datetime": ("2023-06-01T12:30:00Z", {"2023-06-01 12:30:00": "it has no T",
                                          "2023-06-01T12:30:00+08:00": "it has 25 characters, not 19 to 24",
                                          "2023-06-31T12:30:00": "date: month 6 of 2023 has no day 31",
                                          "2023-06-01T12:30:Z00": "time: it has 6 characters, not 8 to 12"}),
    "number": ("00123", {"": "it is empty", "-5": "character 1 is no digit", "12x": "character 3 is no digit"}),
    "three-number": ("007", {"1000": "it has more than 3 digits", "1a": "character 2 is no digit"}),
    "bool": ("1", {"2": "it is not 0 or 1"}),
    "port": ("65535", {"0": "it is not 1 to 65535", "65536": "it is not 1 to 65535", "http": "it is no number of 32 bits"}),
    "vlan": ("-1", {"4095": "it is not 0 to 4094 or -1"}),
    "vlanx": ("4094", {"0": "it is not 1 to 4094 or -1"}),
    "priority": ("7", {"8": "it is not 0 to 7 or -1"}),
    "mac": ("0:1:2:3:4:0xff", {"0:1:2:3:4": "group 6 is missing", "0:1:2:3:4:5g": "group 6 is no hexadecimal number",
                               "x:1:2:3:4:5": "group 1 does not begin with a hexadecimal digit",
                               "0:100:2:3:4:5": "group 2 is above ff", "00:11:22:33:44:555": "it is longer than 17 characters"}),
    "ipv6": ("::", {"1::2::3": "it is no IPv6 address"}),
    "host6": ("fe80::1", {"::": "it is the unspecified address", "::1": "it is the loopback address",
                          "ff02::1": "it is a multicast address", "x": "it is no IPv6 address"}),
    "global6": ("2001:db8::1", {"fe80::1": "it is link-local", "::1": "it is the loopback address"}),
}

# Kinds of several words; the words of a value in one text.
PAIRS = {
    "host-with-mask": ("192.168.1.1 255.255.255.0", {
        "192.168.1.0 255.255.255.0": "the host part is all zeros", "192.168.1.3 255.255.255.252": "the host part is all ones",
        "127.0.0.1 255.0.0.0": "address: the first field is 127, which is loopback",
        "192.168.1.1 255.0.255.0": "mask: field 3 is not 0 behind the last one bit"}),
    "broadcast": ("10.255.255.255 255.0.0.0", {
        "10.1.255.255 255.0.0.0": "field 2 has a host bit that is zero", "1.2.3.4 255.255.255.255": "the mask leaves no bits for hosts",
        "1.2.255.254 255.255.0.0": "field 4 is not 255", "1.2.255.255 255.255.0.1": "field 4 of the mask is not 0",
        "31.255.255.255 240.0.0.0": "the first field has more than the host bits",
        "1.2.3 255.0.0.0": "word 1 is not four numbers of 0 to 255"}),
    "same-subnet": ("10.0.0.1 255.0.0.0 10.9.9.9 255.0.0.0", {
        "10.0.0.1 255.255.0.0 10.9.9.9 255.255.0.0": "field 2 differs under the masks: 0 and 9"}),
}


class Check(Case):
    def check_kind(self, words, accepted, refused):
        result = self.succeed(*words, *accepted)
        self.assertEqual(result.out, f"{' '.join(accepted)}: accepted\n")
        for value, rule in refused.items():
            with self.subTest(words=words, value=value):
                values = value.split(" ") if len(accepted) > 1 else [value]
                result = roqutil(*words, *values)
                self.assertEqual((result.code, result.out, result.err), (NO, f"{value}: refused: {rule}\n", ""))

    def test_every_kind_names_the_rule_that_refused(self):
        for kind, (accepted, refused) in KINDS.items():
            self.check_kind(["check", kind], [accepted], refused)

    def test_values_of_several_words(self):
        for kind, (accepted, refused) in PAIRS.items():
            self.check_kind(["check", kind], accepted.split(" "), refused)

    def test_range_and_length_have_bounds(self):
        self.check_kind(["check", "range", -5, 10], ["10"], {"11": "it is above 10", "-5": "character 1 is no digit"})
        self.check_kind(["check", "range", 3, 10], ["3"], {"2": "it is below 3"})
        self.check_kind(["check", "range", 0, 2147483647], ["99999999999999999999"], {})
        self.check_kind(["check", "length", 3], ["abc"], {"abcd": "it has 4 bytes, more than 3", "": "it is empty"})

    def test_one_refusal_among_many_values_decides_the_exit_code(self):
        self.assertEqual(self.succeed("check", "bool", 0, 1, 0).lines, ["0: accepted", "1: accepted", "0: accepted"])
        result = roqutil("check", "bool", 0, 2, 1)
        self.assertEqual((result.code, result.lines), (NO, ["0: accepted", "2: refused: it is not 0 or 1", "1: accepted"]))

    def test_values_come_from_standard_input(self):
        result = roqutil("check", "number", "-", input=b"1\nx\n\n2")
        self.assertEqual(result.code, NO)
        self.assertEqual(result.lines, ["1: accepted", "x: refused: character 1 is no digit", ": refused: it is empty",
                                        "2: accepted"])
        self.assertEqual(self.succeed("check", "number", "-", input=b"").out, "")

    def test_words_of_a_value_stand_on_one_line(self):
        result = roqutil("check", "host-with-mask", "-", input=b"10.0.0.1\t 255.0.0.0\n10.0.0.1\n")
        self.assertEqual(result.lines, ["10.0.0.1 255.0.0.0: accepted", "10.0.0.1: refused: it has 1 words, not 2"])

    def test_zero_bytes_and_control_characters_cannot_fool_the_reader(self):
        result = roqutil("check", "number", "-", input=b"1\x002\n\x1b[2J\n\xff\n")
        self.assertEqual(result.code, NO)
        self.assertEqual(result.lines[0], "1: refused: it holds a zero byte")
        self.assertEqual(result.lines[1], "\\x1b[2J: refused: character 1 is no digit")
        self.assertEqual(result.lines[2], "\\xff: refused: character 1 is no digit")

    def test_json(self):
        result = roqutil("check", "ip", "1.2.3.4", "1.2.3", "--json")
        self.assertEqual(result.code, NO)
        self.assertEqual(result.json(), [{"value": "1.2.3.4", "accepted": True, "rule": None},
                                         {"value": "1.2.3", "accepted": False, "rule": "it has 2 dots, not 3"}])
        self.assertEqual(self.succeed("check", "ip", "-", "--json", input=b"").json(), [])

    def test_wrong_usage(self):
        for words in (["check", "ip"], ["check", "range", 1, 2], ["check", "range", "a", 2, 1], ["check", "range", 1, 2147483648, 1],
                      ["check", "length", -1, "a"], ["check", "host-with-mask", "1.2.3.4"],
                      ["check", "same-subnet", 1, 2, 3, 4, 5], ["check", "nonsense", 1]):
            with self.subTest(words):
                self.fail_with(USAGE, *words)


class Verdicts(Case):
    """Generated values: the tool's verdict is the model's, and it knows the rule behind every refusal."""

    FUNCTIONS = {
        "ip": "ROQ_UTIL_ValidateIpAddress", "host": "ROQ_UTIL_ValidateHostIpAddress", "mcast": "ROQ_UTIL_ValidateMCastIpAddress",
        "dns-or-host": "ROQ_UTIL_ValidateDnsOrHostAddress", "shape": "ROQ_UTIL_IsIpFormat", "mask": "ROQ_UTIL_ValidateSubnetMask",
        "date": "ROQ_UTIL_ValidateDate", "time": "ROQ_UTIL_ValidateTime", "datetime": "ROQ_UTIL_ValidateDateTime",
        "hms": "ROQ_UTIL_ValidateTime1", "number": "ROQ_UTIL_ValidateNumber", "three-number": "ROQ_UTIL_ValidateThreeNumber",
        "mac": "ROQ_UTIL_ValidateMacAddress", "ipv6": "ROQ_UTIL_ValidateIpv6Address", "host6": "ROQ_UTIL_ValidateHostIpv6Address",
        "global6": "ROQ_UTIL_ValidateGlobalIpv6Address", "host-with-mask": "ROQ_UTIL_ValidateHostIpWithSubnetMask",
    }

    def values_for(self, questions, function, count):
        values = []
        while len(values) < count:
            words = questions.arguments_for(function)
            forbidden = b"\n \t" if len(words) > 1 else b"\n"
            if all(word is not None and not set(word) & set(forbidden) and (word or len(words) == 1) for word in words):
                values.append(words)
        return values

    def test_agree_with_the_model(self):
        questions = compare.Questions(7)
        for kind, function in self.FUNCTIONS.items():
            with self.subTest(kind):
                values = self.values_for(questions, function, 3000)
                result = roqutil("check", kind, "-", "--json", input=b"".join(b" ".join(words) + b"\n" for words in values))
                verdicts = result.json()
                self.assertEqual(len(verdicts), len(values))
                for words, verdict in zip(values, verdicts):
                    self.assertEqual(verdict["accepted"], model.FUNCTIONS[function](*words)[0] == 1, words)
                    self.assertNotIn("does not know", verdict["rule"] or "", words)

    def test_know_the_rules_of_octets(self):
        questions = compare.Questions(8)
        lines = []
        for _ in range(3000):
            address, mask = ([abs(octet or 0) & 255 for octet in octets or [0] * 4] for octets in questions.broadcast_pair())
            lines.append((address, mask))
        text = "".join(f"{'.'.join(map(str, a))} {'.'.join(map(str, m))}\n" for a, m in lines)
        for (address, mask), verdict in zip(lines, roqutil("check", "broadcast", "-", "--json", input=text.encode()).json()):
            self.assertEqual(verdict["accepted"], model.is_broadcast(address, mask), (address, mask))
            self.assertNotIn("does not know", verdict["rule"] or "", (address, mask))


class Conversions(Case):
    def test_cidr_counts_leading_ones(self):
        self.assertEqual(self.succeed("cidr", "255.255.255.0").out, "24\n")
        self.assertEqual(self.succeed("cidr", "0xffff0000").out, "16\n")
        self.assertEqual(self.succeed("cidr", "0.0.0.0").out, "0\n")
        self.assertEqual(self.succeed("cidr", "255.0.0.0", "--json").json(), {"mask": "255.0.0.0", "bits": 8})
        self.assertEqual(self.fail_with(NO, "cidr", "mask").err, "roqutil: cidr: 'mask': it is no mask; give one such as 255.255.255.0\n")

    def test_minutes_of_the_day(self):
        self.assertEqual(self.succeed("minutes", "9:05").out, "545\n")
        self.assertEqual(self.succeed("minutes", "1:005").out, "65\n")
        self.assertEqual(self.succeed("minutes", "23:59", "--json").json(), {"time": "23:59", "minutes": 1439})
        self.fail_with(NO, "minutes", "24:00")

    def test_split_gives_four_numbers(self):
        self.assertEqual(self.succeed("split", "010.1.1.254").out, "10 1 1 254\n")
        self.assertEqual(self.succeed("split", "1.2.3.4", "--json").json(), {"address": "1.2.3.4", "octets": [1, 2, 3, 4]})
        self.fail_with(NO, "split", "1.2.3")
        self.fail_with(NO, "split", "1.2.3.256")
