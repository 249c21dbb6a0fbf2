"""Texts and Base64: trim, shell-quote, field, base64."""

import base64
import os
import random
import subprocess
import tempfile

from roqutil_case import NO, REFUSED, USAGE, Case, roqutil


class Trim(Case):
    def test_removes_white_space_from_both_ends(self):
        self.assertEqual(self.succeed("trim", "  ab ", "\tc d\n").out, "ab\nc d\n")

    def test_empties_what_has_one_character(self):
        self.assertEqual(self.succeed("trim", "x", "a  ").out, "\n\n")
        self.assertEqual(self.succeed("trim", "--exact", "x", "a  ").out, "x\na\n")

    def test_reads_lines(self):
        self.assertEqual(self.succeed("trim", "-", input=b" ab\ncd \n").out, "ab\ncd\n")

    def test_refuses_zero_bytes(self):
        self.fail_with(NO, "trim", "-", input=b"a\0b\n")

    def test_json(self):
        self.assertEqual(self.succeed("trim", " a b ", "x", "--json").json(),
                         [{"text": " a b ", "trimmed": "a b"}, {"text": "x", "trimmed": ""}])
        self.assertEqual(self.fail_with(NO, "trim", "-", "--json", input=b"a\na\0b\n").out, "")


class ShellQuote(Case):
    def test_quotes_every_character(self):
        self.assertEqual(self.succeed("shell-quote", "a b", "it's", "").out, "'a'' ''b'\n'i''t'\"'\"'s'\n\n")

    def test_json(self):
        self.assertEqual(self.succeed("shell-quote", "a'", "--json").json(), [{"text": "a'", "quoted": "'a'\"'\""}])

    def test_is_read_back_by_the_shell(self):
        text = bytes(range(1, 256)).replace(b"\n", b"")
        quoted = roqutil("shell-quote", "-", input=text + b"\n").raw[:-1]
        shell = subprocess.run(["sh", "-c", b"printf %s " + quoted], stdout=subprocess.PIPE, check=True)
        self.assertEqual(shell.stdout, text)


class Field(Case):
    def test_prints_the_word_behind_the_key(self):
        self.assertEqual(self.succeed("field", "=", "name = eth0 up").out, "eth0\n")
        self.assertEqual(self.succeed("field", "=", "name = eth0 up", "--length", 2).out, "et\n")

    def test_reads_lines_and_passes_over_those_without_the_key(self):
        lines = b"default via 10.0.0.1 dev eth0\nnothing here\n10.0.0.0/8 dev eth1 proto kernel\n"
        self.assertEqual(self.succeed("field", "dev", input=lines).out, "eth0\neth1\n")
        self.assertEqual(self.succeed("field", "dev", "-", input=lines).out, "eth0\neth1\n")

    def test_takes_words_of_any_length(self):
        word = "x" * 100000
        self.assertEqual(self.succeed("field", "=", input=f"k={word} y\n".encode()).out, "x" * 255 + "\n")
        self.assertEqual(self.succeed("field", "=", "--length", 2147483646, input=f"k={word} y\n".encode()).out, word + "\n")

    def test_says_when_the_key_occurs_nowhere(self):
        self.assertEqual(self.fail_with(NO, "field", "key", "text").err, "roqutil: field: key 'key': it occurs nowhere; type it as it stands in the texts\n")
        self.fail_with(NO, "field", "key", input=b"")

    def test_json(self):
        self.assertEqual(self.succeed("field", "=", "a = b", "c", "--json").json(),
                         [{"text": "a = b", "word": "b"}, {"text": "c", "word": None}])
        self.assertEqual(self.fail_with(NO, "field", "=", "c", "--json").json(), [{"text": "c", "word": None}])

    def test_wrong_usage(self):
        self.fail_with(USAGE, "field", "=", "a=b", "--length", 0)
        self.fail_with(USAGE, "field")


class Base64(Case):
    def test_encodes_and_decodes_pipes_of_many_sizes(self):
        data = random.Random(1).randbytes(200000)
        for size in (0, 1, 2, 3, 4, 5, 100, 49151, 49152, 49153, 98303, 98304, 98305, 200000):
            with self.subTest(size):
                text = self.succeed("base64", "encode", input=data[:size]).raw
                self.assertEqual(text, base64.b64encode(data[:size]) + (b"\n" if size else b""))
                self.assertEqual(self.succeed("base64", "decode", input=text).raw, data[:size])

    def test_json(self):
        self.assertEqual(self.succeed("base64", "encode", "--json", input=b"Man").json(), {"input": "-", "base64": "TWFu"})
        self.assertEqual(self.succeed("base64", "decode", "--json", input=b"/0E=").json(),
                         {"input": "-", "value": {"text": None, "hex": "ff41"}})
        self.assertEqual(self.fail_with(NO, "base64", "decode", "--json", input=b"TWFu" * 50000 + b"*").out, "")

    def test_encodes_and_decodes_files(self):
        with tempfile.TemporaryDirectory() as folder:
            plain, coded = os.path.join(folder, "plain"), os.path.join(folder, "coded")
            data = random.Random(2).randbytes(3000000)
            with open(plain, "wb") as file:
                file.write(data)
            with open(coded, "wb") as file:
                file.write(self.succeed("base64", "encode", plain).raw)
            self.assertEqual(self.succeed("base64", "decode", coded).raw, data)

    def test_takes_texts_without_padding_and_line_end(self):
        for text, expected in ((b"TWFuTQ", b"ManM"), (b"TWFuT", b"Man"), (b"TQ==\r\n", b"M"), (b"\n", b""), (b"", b"")):
            self.assertEqual(self.succeed("base64", "decode", input=text).raw, expected)

    def test_takes_a_last_group_of_any_length_in_every_piece(self):
        for size in range(65536 - 20, 65536 + 24):
            text = b"A" * size
            expected = bytes(size // 4 * 3 + max(size % 4 - 1, 0))
            self.assertEqual(self.succeed("base64", "decode", input=text).raw, expected, size)

    def test_names_the_character_that_is_no_digit(self):
        for text, place, code in ((b"TW*u", 3, 0x2A), (b"TQ=A", 3, 0x3D), (b"T===", 2, 0x3D), (b"TWFu\n\n", 5, 0x0A),
                                  (b"A" * 70000 + b"*" + b"A" * 70000, 70001, 0x2A),
                                  (b"A" * 65535 + b"=" + b"A" * 100, 65536, 0x3D), (b"A" * 131000 + b"\0" * 4, 131001, 0)):
            with self.subTest(place):
                result = self.fail_with(NO, "base64", "decode", input=text)
                self.assertEqual(result.err, f"roqutil: base64 decode: '-': character {place} (0x{code:02x}) is no Base64 digit; take it out\n")

    def test_refuses_fewer_than_four_characters(self):
        for text in (b"T", b"TWF", b"TWF\n"):
            self.fail_with(NO, "base64", "decode", input=text)

    def test_says_when_a_file_cannot_be_read(self):
        self.assertEqual(self.fail_with(REFUSED, "base64", "encode", "/nowhere").err,
                         "roqutil: base64 encode: '/nowhere': No such file or directory; name a file that can be read\n")
        self.fail_with(REFUSED, "base64", "decode", "/")
