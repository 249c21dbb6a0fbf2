#!/usr/bin/env python3
"""Asks the library and the model the same questions and compares their answers.

    compare.py [--calls N] [--seed N] DRIVER...

DRIVER is the command that answers one call per line. The questions follow from the seed alone, so that every machine
gets the same ones; their digest and that of the answers are printed.
"""

import argparse
import collections
import hashlib
import itertools
import random
import subprocess
import sys

import model

EDGES_32 = [0, 1, 2, 7, 8, 9, 127, 128, 254, 255, 256, 4093, 4094, 4095, 4096, 65534, 65535, 65536, 0x7FFFFFFE,
            0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFE, 0xFFFFFFFF]
MASK_OCTETS = [0, 128, 192, 224, 240, 248, 252, 254, 255]
OCTETS = MASK_OCTETS + [1, 2, 3, 10, 63, 64, 100, 126, 127, 129, 168, 172, 223, 225, 239, 241, 253, 256, 257, 300, 999]
SPECIAL = [b"", b"0", b".", b":", b"-", b" ", b"\t", b"\n", b"\x0b", b"+", b"T", b"Z", b"x", b"=", b"'", b"\x01",
           b"\x7f", b"\x80", b"\xff", b"00", b"0x", b"1", b"9", b"a", b"%"]
NUMBERS = [b"0", b"1", b"5", b"9", b"00", b"007", b"10", b"012", b"99", b"100", b"255", b"256", b"999", b"1000",
           b"2147483647", b"2147483648", b"4294967295", b"4294967296", b"4294967301", b"4294967551",
           b"18446744073709551615", b"18446744073709551616", b"99999999999999999999999", b"-5", b"+5", b" 5", b"5 ", b"5x"]


class Questions:
    def __init__(self, seed):
        # Only random() is promised to give the same sequence everywhere.
        self.uniform = random.Random(seed).random

    def below(self, limit):
        return int(self.uniform() * limit)

    def between(self, low, high):
        return low + self.below(high - low + 1)

    def pick(self, choices):
        return choices[self.below(len(choices))]

    def chance(self, share):
        return self.uniform() < share

    def bytes_of(self, length, alphabet=None):
        return bytes(self.pick(alphabet) if alphabet else self.between(1, 255) for _ in range(length))

    # Texts

    def text(self, valid, alphabet=None):
        """A valid text more often than not, else one with a few faults, a wild one or none at all."""
        if self.chance(0.01):
            return None
        if self.chance(0.03):
            return self.bytes_of(self.below(26), alphabet if self.chance(0.7) else None)
        text = valid()
        while self.chance(0.3):
            text = self.damaged(text)
        return text

    def damaged(self, text):
        at = self.below(len(text) + 1)
        behind = at + self.below(3)
        kind = self.below(5)
        if kind == 0:
            return text[:at] + self.pick(SPECIAL) + text[at:]
        if kind == 1:
            return text[:at] + self.pick(SPECIAL) + text[behind:]
        if kind == 2:
            return text[:at] + bytes([self.between(1, 255)]) + text[behind:]
        if kind == 3:
            return text[:at]
        return text[:behind] + text[at:]

    def octet(self):
        value = b"%d" % (self.pick(OCTETS) if self.chance(0.3) else self.below(256))
        return b"0" * self.below(4) + value if self.chance(0.06) else value

    def quad(self):
        return b".".join(self.octet() for _ in range(4))

    def host(self):
        first = self.pick([1, 10, 126, 128, 172, 192, 223]) if self.chance(0.5) else self.between(1, 223)
        return b"%d.%d.%d.%d" % (first, self.below(256), self.below(256), self.between(0, 254))

    def group(self):
        first = self.pick([224, 239, 230]) if self.chance(0.9) else self.pick([223, 240, 0, 127])
        return b"%d.%d.%d.%d" % (first, self.below(256), self.below(256), self.between(0, 255))

    def shaped(self):
        fields = [self.bytes_of(self.between(1, 4), b"0123456789") for _ in range(4)]
        return (b"." * self.below(2)) + b".".join(fields) if self.chance(0.2) else self.pick([self.quad, self.host])()

    def mask_of(self, bits):
        value = (0xFFFFFFFF << 32 - bits) & 0xFFFFFFFF
        octets = [b"%d" % byte for byte in value.to_bytes(4, "big")]
        if self.chance(0.1):
            at = self.below(4)
            octets[at] = b"0" * self.between(1, 12) + octets[at]
        if self.chance(0.1):
            octets.append(self.octet())
        return b".".join(octets)

    def mask(self):
        return self.mask_of(self.below(33)) if self.chance(0.8) else b".".join(
            b"%d" % self.pick(MASK_OCTETS) for _ in range(4))

    def loose_address(self):
        """Shortened, octal and hexadecimal notations."""
        count = self.between(1, 4)
        values = [self.pick(MASK_OCTETS) for _ in range(count - 1)]
        values.append(self.below(1 << 8 * (5 - count)) if self.chance(0.5) else
                      (0xFFFFFFFF << self.below(33)) & (1 << 8 * (5 - count)) - 1)
        form = self.pick([b"%d", b"0%o", b"0x%x", b"0X%X"])
        tail = self.pick([b"", b"", b"", b" ", b"\n", b" junk", b"junk", b"."])
        return b".".join((form if self.chance(0.7) else b"%d") % value for value in values) + tail

    def number(self):
        return self.pick(NUMBERS) if self.chance(0.4) else b"%d" % self.below(10 ** self.between(1, 12))

    def short_number(self):
        return self.bytes_of(self.between(1, 3 + self.chance(0.2)), b"0123456789")

    def padded(self, value, width):
        text = b"%0*d" % (width, value)
        if self.chance(0.08):
            text = b"%*d" % (width, value)
        if self.chance(0.08):
            text = (self.pick([b"+", b"-", b" +", b"  ", b"\t"]) + b"%d" % value).rjust(width)[:width]
        return text

    def date(self):
        year = self.pick([1, 4, 100, 400, 1900, 1999, 2000, 2023, 2024, 2100, 9999, 0]) if self.chance(
            0.6) else self.below(10000)
        day = self.pick([1, 28, 29, 30, 31, 32, 0]) if self.chance(0.4) else self.between(1, 28)
        return b"-".join([self.padded(year, 4), self.padded(self.between(1, 12 + self.chance(0.1)), 2),
                          self.padded(day, 2)])

    def time_with_seconds(self):
        parts = [self.padded(self.below(25), 2), self.padded(self.below(60 + self.chance(0.1)), 2),
                 self.padded(self.below(60 + self.chance(0.1)), 2)]
        return b":".join(parts) + (self.bytes_of(self.below(5)) if self.chance(0.3) else b"")

    def date_time(self):
        tail = self.pick([b"", b"Z", b"z", b".5Z", b".123Z", b"Zabc", b"ZZ"])
        return self.date() + self.pick([b"T", b"T", b"T", b"T", b"t", b" "]) + self.time_with_seconds() + tail

    def hour_and_minute(self):
        hour = self.pick([b"%d", b"%02d", b"%02d", b"%03d"]) % self.below(25)
        return hour + b":" + self.pick([b"%02d", b"%02d", b"%d", b"%03d"]) % self.below(61)

    def mac(self):
        groups = [self.pick([b"%02x", b"%02X", b"%x", b"%02x"]) % self.below(256) for _ in range(6)]
        if self.chance(0.1):
            groups[self.below(6)] = self.pick([b"0x", b"0x1", b"0Xff", b"0ff", b"100", b"000", b"0x0", b"0xg", b"-1", b" 1"])
        if self.chance(0.05):
            groups.append(b"%x" % self.below(16))
        return b":".join(groups)

    def ipv6(self):
        groups = [self.pick([b"0", b"0000", b"1", b"ffff", b"fe80", b"febf", b"fec0", b"ff02", b"2001", b"db8", b"00ff"])
                  if self.chance(0.7) else b"%x" % self.below(65536) for _ in range(8)]
        if self.chance(0.15):
            groups[6:] = [self.quad()]
        if self.chance(0.7):
            start = self.below(len(groups))
            end = self.between(start + 1, len(groups))
            return b":".join(groups[:start]) + b"::" + b":".join(groups[end:])
        return b":".join(groups)

    def ipv6_address(self):
        special = [b"::", b"::1", b"::2", b"0:0:0:0:0:0:0:1", b"::1.0.0.0", b"::0.0.0.1", b"0:80fe::1", b"fe80::1", b"ff02::1",
                   b"feff::", b"fe7f::1", b"febf::", b"fec0::1", b"fc00::1", b"::ffff:192.168.1.1", b"1:2:3:4:5:6:7::"]
        return self.pick(special) if self.chance(0.15) else self.ipv6()

    def words(self):
        alphabet = b"ab= \t'\"\\$`\n\r\x0b\x0c\x80\xa0\xff"
        return self.bytes_of(self.below(30), alphabet)

    def spaced(self):
        inner = self.bytes_of(self.below(5), b"ab \xa0\x85")
        return self.bytes_of(self.below(4), b" \t\n\r\x0b\x0c") + inner + self.bytes_of(self.below(4), b" \t\n\r\x0b\x0c")

    # Numbers

    def unsigned(self):
        return self.pick(EDGES_32) if self.chance(0.8) else self.below(1 << 32)

    def signed(self):
        value = self.unsigned()
        return value - (1 << 32) if value >= 1 << 31 else value

    def octets(self, wide):
        if self.chance(0.01):
            return None
        return [self.pick([-1, -255, -0x80000000, 0x7FFFFFFF, 256, 511]) if wide and self.chance(0.02) else
                self.pick([0, 127, 128, 223, 224, 254, 255]) if self.chance(0.3) else self.below(256) for _ in range(4)]

    def mask_octets(self, wide):
        mask = self.octets(wide)
        if mask is not None and self.chance(0.9):
            mask = list(((0xFFFFFFFF << self.below(33)) & 0xFFFFFFFF).to_bytes(4, "big"))
        return mask

    def broadcast_pair(self):
        address, mask = self.octets(True), self.mask_octets(True)
        if address and mask and self.chance(0.6):
            address = [min(octet, 223) | 255 - bits if 0 <= bits <= 255 else octet for octet, bits in zip(address, mask)]
            if self.chance(0.3):
                address[0] = min(255 - mask[0], 223)
        return [address, mask]

    def subnet_pair(self):
        address, mask = self.octets(False), self.mask_octets(False)
        other = address and [octet ^ self.below(2) if self.chance(0.2) else octet for octet in address]
        return [address, mask, other, mask if self.chance(0.8) else self.mask_octets(False)]

    def host_and_mask(self):
        address, mask = self.text(self.host), self.text(self.mask)
        if address and mask and self.chance(0.3):
            value, bits = model.aton(address), model.aton(mask)
            if value is not None and bits is not None:
                value = value & bits if self.chance(0.5) else value | ~bits & 0xFFFFFFFF
                address = b".".join(b"%d" % byte for byte in value.to_bytes(4, "big"))
        return [address, mask]

    def append_arguments(self):
        text = None if self.chance(0.02) else self.bytes_of(self.below(12))
        near = len(text or b"") + self.between(-2, 8)
        size = max(near, 0) if self.chance(0.9) else self.pick([0, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF])
        return [text, size, None if self.chance(0.02) else self.bytes_of(self.below(12))]

    def word_arguments(self):
        text = None if self.chance(0.02) else self.words()
        key = text[self.below(4):][: self.below(4)] if text and self.chance(0.7) else self.pick([None, b"", b"=", b"ab", b"z"])
        limit = self.between(-2, 12) if self.chance(0.95) else self.pick([-0x80000000, 40])
        return [text, key, int(self.chance(0.98)), limit]

    def encode_arguments(self):
        data = None if self.chance(0.02) else bytes(self.below(256) for _ in range(self.below(64)))
        length = len(data or b"") - (self.below(2) if data else 0)
        return [data, length if self.chance(0.95) else self.pick([0, -1, -0x80000000]), int(self.chance(0.98))]

    def decode_arguments(self):
        alphabet = b"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
        text = self.bytes_of(self.below(64), alphabet) + self.pick([b"", b"", b"=", b"==", b"==="])
        if self.chance(0.3):
            at = self.below(len(text) + 1)
            text = text[:at] + self.pick([bytes([self.below(256)]), b"=", b"\0", b" ", b"-", b"_", b"*", b"\n"]) + text[at + 1:]
        if self.chance(0.02):
            text = None
        length = len(text or b"") - (self.below(2) if text else 0)
        if self.chance(0.02):
            length = self.pick([0, 0x80000000, 0xFFFFFFFF])
        return [text, length, int(self.chance(0.98))]

    # Calls

    def arguments_for(self, name):
        return getattr(self, "for_" + name.replace("ROQ_UTIL_", ""))()

    def for_ValidateIpAddress(self): return [self.text(self.quad, b"0123456789.")]
    def for_ValidateHostIpAddress(self): return [self.text(self.host, b"0123456789.")]
    def for_ValidateMCastIpAddress(self): return [self.text(self.group, b"0123456789.")]
    def for_ValidateIpByClass(self): return [self.text(self.pick([self.host, self.group])), self.pick([0, 1, 1, 2, 255])]
    def for_ValidateDnsOrHostAddress(self): return [self.text(self.pick([self.host, self.quad, self.shaped]))]
    def for_IsIpFormat(self): return [self.text(self.shaped, b"0123456789.")]
    def for_ValidateSubnetMask(self): return [self.text(self.mask, b"0128459.")]
    def for_ValidateHostIpWithSubnetMask(self): return self.host_and_mask()
    def for_ValidateBroadcastIp(self): return self.broadcast_pair()
    def for_ValidateIpSameSubNet(self): return self.subnet_pair()
    def for_IpAddrSplit(self): return [self.text(self.quad, b"0123456789."), int(self.chance(0.98))]
    def for_CheckNum(self): return [self.pick(OCTETS) if self.chance(0.8) else self.unsigned()]
    def for_ROQ_IpMaskToCidrLen(self): return [self.text(self.pick([self.mask, self.loose_address]))]
    def for_ValidateNumber(self): return [self.text(self.number, b"0123456789")]
    def for_ValidateThreeNumberEx(self): return [self.text(self.short_number), self.pick([0, 0, 1, 0xFFFFFFFF])]
    def for_ValidateThreeNumber(self): return [self.text(self.short_number)]
    def for_ValidateNumberRange(self): return [self.signed(), self.signed(), self.signed()]
    def for_ValidateRange(self): return [self.text(self.number), self.signed(), self.signed()]
    def for_ValidateLength(self): return [self.text(self.words), self.below(32) if self.chance(0.9) else self.unsigned()]
    def for_ValidateBool(self): return [self.unsigned()]
    def for_ValidatePort(self): return [self.unsigned()]
    def for_ValidateVlanId(self): return [self.unsigned()]
    def for_ValidateVlanIdX(self): return [self.unsigned()]
    def for_ValidatePriority(self): return [self.unsigned()]
    def for_ValidateDate(self): return [self.text(self.date, b"0123456789-")]
    def for_ValidateTime1(self): return [self.text(self.time_with_seconds, b"0123456789:")]
    def for_ValidateDateTime(self): return [self.text(self.date_time)]
    def for_ValidateTime(self): return [self.text(self.hour_and_minute, b"0123456789:")]
    def for_TimeToShort(self): return [self.text(self.hour_and_minute, b"0123456789:"), int(self.chance(0.98))]
    def for_ValidateMacAddress(self): return [self.text(self.mac, b"0123456789abcdefABCDEFx:")]
    def for_ValidateIpv6Address(self): return [self.text(self.ipv6_address, b"0123456789abcdef:.")]
    def for_ValidateHostIpv6Address(self): return [self.text(self.ipv6_address)]
    def for_ValidateGlobalIpv6Address(self): return [self.text(self.ipv6_address)]
    def for_StrTrim(self): return [self.text(self.spaced)]
    def for_StrTrimExc(self): return [self.text(self.spaced)]
    def for_StrCat(self): return self.append_arguments()
    def for_ParseStrInfo(self): return self.word_arguments()
    def for_ConvertStrToShellStr(self): return [self.text(self.words), int(self.chance(0.98))]
    def for_Base64Encode(self): return self.encode_arguments()
    def for_Base64Decode(self): return self.decode_arguments()


def written(value):
    """An argument or an answer as it stands on a line."""
    if value is None:
        return "null"
    if value is model.NOTHING:
        return "-"
    if isinstance(value, bytes):
        return "x" + value.hex()
    if isinstance(value, list):
        return "a" + ",".join(written(element) for element in value)
    return str(int(value))


def make_calls(seed, count):
    questions = Questions(seed)
    names = itertools.islice(itertools.cycle(model.FUNCTIONS), count)
    return [(name, questions.arguments_for(name)) for name in names]


def answers_of(driver, lines):
    result = subprocess.run(driver, input="".join(line + "\n" for line in lines), capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"the driver ended with {result.returncode}: {result.stderr.strip()}")
    return result.stdout.splitlines()


def check_spread(calls, expected):
    """Both verdicts must be frequent for every function, or the comparison shows little."""
    verdicts = collections.defaultdict(collections.Counter)
    for (name, _), answer in zip(calls, expected):
        verdicts[name][answer.split()[0] in ("0", "-")] += 1
    for name, counts in verdicts.items():
        if name in ("ROQ_UTIL_StrTrim", "ROQ_UTIL_StrTrimExc", "ROQ_UTIL_StrCat"):
            continue
        rarer = min(counts[True], counts[False]) / sum(counts.values())
        if rarer < 0.02:
            sys.exit(f"{name}: only {rarer:.1%} of the questions get the rarer verdict")


def digest(lines):
    return hashlib.sha256("\n".join(lines).encode()).hexdigest()[:16]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--calls", type=int, default=200000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("driver", nargs="+")
    options = parser.parse_args()

    calls = make_calls(options.seed, options.calls)
    lines = [" ".join([name, *map(written, arguments)]) for name, arguments in calls]
    expected = [" ".join(map(written, model.FUNCTIONS[name](*arguments))) for name, arguments in calls]
    check_spread(calls, expected)
    answers = answers_of(options.driver, lines)
    if len(answers) != len(lines):
        sys.exit(f"{len(lines)} questions, but {len(answers)} answers")

    different = [triple for triple in zip(lines, expected, answers) if triple[1] != triple[2]]
    for line, should, answer in different[:20]:
        print(f"{line}\n  the model says   {should}\n  the library says {answer}")
    print(f"{len(lines)} calls of {len(model.FUNCTIONS)} functions, questions {digest(lines)}, "
          f"answers {digest(answers)}, {len(different)} different")
    sys.exit(bool(different))


if __name__ == "__main__":
    main()
