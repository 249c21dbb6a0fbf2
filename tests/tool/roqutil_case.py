"""What the tests of the command-line tool share: typing a command, and reaching into the store behind its back."""

import concurrent.futures
import ctypes
import functools
import json
import os
import re
import shlex
import struct
import subprocess
import unittest

import schema

COMMAND = shlex.split(os.environ["ROQUTIL_COMMAND"])
OK, NO, USAGE, REFUSED = 0, 1, 2, 3
TIMEOUT = 120
# Somebody without rights but one: to come into the checkout's folders, which may be closed to others.
AS_NOBODY = ("setpriv", "--reuid=65534", "--clear-groups", "--inh-caps=-all,+dac_read_search",
             "--ambient-caps=-all,+dac_read_search")


class Result:
    def __init__(self, process):
        self.code = process.returncode
        self.raw = process.stdout
        self.out = process.stdout.decode("utf-8", "surrogateescape")
        self.err = process.stderr.decode("utf-8", "surrogateescape")
        self.lines = self.out.splitlines()

    def json(self):
        return json.loads(self.out)

    def __repr__(self):
        return f"exit code {self.code}\n--- standard output\n{self.out}\n--- standard error\n{self.err}"


def roqutil(*words, input=None, environment=None, prefix=()):
    """Types a command and returns what came of it."""
    process = subprocess.run([*prefix, *COMMAND, *map(str, words)], input=input, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, timeout=TIMEOUT,
                             stdin=subprocess.DEVNULL if input is None else None,
                             env=None if environment is None else {**os.environ, **environment})
    result = Result(process)
    if "--json" in words and "--" not in words and result.code in (OK, NO) and result.out:
        schema.check_output([str(word) for word in words if not str(word).startswith("-")], result.out)
    return result


def start(*words, **arguments):
    """Starts a command that goes on."""
    return subprocess.Popen([*COMMAND, *map(str, words)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, **arguments)


class Case(unittest.TestCase):
    maxDiff = None

    def for_each(self, work, items):
        """Calls work(item) for all of them, several at a time: mostly it waits for a program."""
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for item, future in [(item, pool.submit(work, item)) for item in items]:
                with self.subTest(item):
                    future.result()

    def succeed(self, *words, **arguments):
        result = roqutil(*words, **arguments)
        self.assertEqual(result.code, OK, result)
        return result

    def fail_with(self, code, *words, **arguments):
        """A failure: its exit code, and one line on standard error that begins with the tool's name."""
        result = roqutil(*words, **arguments)
        self.assertEqual(result.code, code, result)
        lines = [line for line in result.err.splitlines() if not line.startswith("roqutil: warning:")]
        self.assertTrue(lines, result)
        self.assertRegex(lines[-1], r"\Aroqutil: .+: .+; .+\Z")
        if code == USAGE:
            self.assertEqual(len(lines), 1, result)
            self.assertIn("expected", result.err)
            self.assertEqual(result.out, "")
        return result


@functools.cache
def help_of(*words):
    return roqutil(*words, "--help")


def typed_names(*words):
    """What a help lists: the names under each heading."""
    listed = re.findall(r"^(Groups|Commands|Options):\n((?:  .*\n)+)", help_of(*words).out, re.MULTILINE)
    # Lines that go on begin further right.
    return {title: re.findall(r"^ {2,6}(?:-\w, )?(--[\w-]+|[a-z][\w-]*)(?= |$)", lines, re.MULTILINE) for title, lines in listed}


@functools.cache
def every_command():
    """The words of every command there is."""
    top = typed_names()
    grouped = [(group, command) for group in top["Groups"] for command in typed_names(group)["Commands"]]
    commands = [(command,) for command in top["Commands"]] + grouped
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        list(pool.map(lambda words: help_of(*words), commands))
    return commands


libc = ctypes.CDLL(None, use_errno=True)
libc.shmat.restype = ctypes.c_void_p
libc.shmat.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_int]
libc.shmdt.argtypes = [ctypes.c_void_p]
libc.semctl.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_int, ctypes.c_int]
IPC_RMID, IPC_CREAT, SEM_UNDO = 0, 0o1000, 0x1000
MAGIC = 0x00042047


def check_result(result):
    if result == -1:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))
    return result


def key_of(module):
    return libc.ftok(b"/var/", ord("g") + module)


def segment_id(module):
    return libc.shmget(key_of(module), 0, 0)


def semaphore_id(module):
    return libc.semget(key_of(module), 0, 0)


def remove_module(module):
    """Removes the segment and the semaphore set, where they exist."""
    segment, semaphore = segment_id(module), semaphore_id(module)
    if segment >= 0:
        libc.shmctl(segment, IPC_RMID, None)
    if semaphore >= 0:
        libc.semctl(semaphore, 0, IPC_RMID, 0)


class SemaphoreOperation(ctypes.Structure):
    _fields_ = [("number", ctypes.c_ushort), ("change", ctypes.c_short), ("flags", ctypes.c_short)]


def change_semaphore(module, units):
    operation = SemaphoreOperation(0, units, SEM_UNDO)
    check_result(libc.semop(semaphore_id(module), ctypes.byref(operation), 1))


class Segment:
    """A module's segment, to be looked at and damaged; fields in the byte order of the processor that made it."""

    def __init__(self, module):
        self.place = check_result(libc.shmat(check_result(segment_id(module)), None, 0))
        self.base = 0x2EF00000 + module * 0x100000
        self.order = ">" if self.read(0, 4) == MAGIC.to_bytes(4, "big") else "<"

    def __enter__(self):
        return self

    def __exit__(self, *reason):
        libc.shmdt(self.place)

    def read(self, offset, length):
        return ctypes.string_at(self.place + offset, length)

    def write(self, offset, data):
        ctypes.memmove(self.place + offset, data, len(data))

    def word(self, offset):
        return struct.unpack(self.order + "I", self.read(offset, 4))[0]

    def put(self, offset, value):
        self.write(offset, struct.pack(self.order + "I", value & 0xFFFFFFFF))
