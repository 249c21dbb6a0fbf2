"""Finds what a program left on the machine, while other programs come and go there."""

import contextlib
import glob
import os
import time
import uuid

MARK = "ROQ_TEST_MARK"


class Leftovers:
    def __init__(self):
        self._mark = uuid.uuid4().hex
        self._namespaces = {}
        self._mounts = self._read_mounts()

    def environment(self):
        """The environment to start programs with: their descendants carry a mark."""
        return dict(os.environ, **{MARK: self._mark})

    def watch_namespaces(self, names):
        """Namespaces in use, as the links in /proc/PID/ns tell them, of which none may be left; ours are passed over.

        They are held open, for the kernel gives the number of one that ended to the next that anyone makes."""
        own = {os.readlink(path) for path in glob.glob("/proc/self/ns/*")}
        for path in glob.glob("/proc/[0-9]*/ns/*"):
            name = self._link(path)
            if name in names and name not in own and name not in self._namespaces:
                # The process may have ended meanwhile, and others be in there.
                with contextlib.suppress(OSError):
                    self._namespaces[name] = os.open(path, os.O_RDONLY)
        missing = set(names) - own - set(self._namespaces)
        if missing:
            raise AssertionError(f"not in use: {missing}")

    def close(self):
        """Lets the watched namespaces go."""
        while self._namespaces:
            os.close(self._namespaces.popitem()[1])

    def find(self, patience=0.0):
        """What is left: processes with the mark or in a watched namespace, new mounts. Asks again for some seconds."""
        deadline = time.monotonic() + patience
        while (left := self._find_now()) and time.monotonic() < deadline:
            time.sleep(0.05)
        return left

    def marked_processes(self):
        mark = f"{MARK}={self._mark}".encode()
        return [pid for pid in self._processes() if mark in self._read(f"/proc/{pid}/environ").split(b"\0")]

    def _find_now(self):
        left = [f"process {pid}: {self._read(f'/proc/{pid}/cmdline')}" for pid in self.marked_processes()]
        for path in glob.glob("/proc/[0-9]*/ns/*"):
            if (name := self._link(path)) in self._namespaces:
                left.append(f"{path}: {name}")
        return left + [f"mount {line}" for line in sorted(self._read_mounts() - self._mounts)]

    @staticmethod
    def _processes():
        return [int(name) for name in os.listdir("/proc") if name.isdigit() and int(name) != os.getpid()]

    @staticmethod
    def _link(path):
        try:
            return os.readlink(path)
        except OSError:
            return None

    @staticmethod
    def _read(path):
        try:
            with open(path, "rb") as file:
                return file.read()
        except OSError:
            return b""

    @staticmethod
    def _read_mounts():
        with open("/proc/self/mountinfo", encoding="utf-8", errors="replace") as file:
            return {line.split(" ", 2)[2] for line in file}
