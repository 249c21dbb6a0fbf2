"""Finds what a program left on the machine, while other programs come and go there."""

import glob
import os
import time
import uuid

MARK = "ROQ_TEST_MARK"


class Leftovers:
    def __init__(self):
        self._mark = uuid.uuid4().hex
        self._namespaces = set()
        self._mounts = self._read_mounts()

    def environment(self):
        """The environment to start programs with: their descendants carry a mark."""
        return dict(os.environ, **{MARK: self._mark})

    def watch_namespaces(self, names):
        """Namespaces, as the links in /proc/PID/ns tell them, of which none may be left; ours are passed over."""
        own = {os.readlink(path) for path in glob.glob("/proc/self/ns/*")}
        self._namespaces.update(set(names) - own)

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
            try:
                name = os.readlink(path)
            except OSError:
                continue
            if name in self._namespaces:
                left.append(f"{path}: {name}")
        return left + [f"mount {line}" for line in sorted(self._read_mounts() - self._mounts)]

    @staticmethod
    def _processes():
        return [int(name) for name in os.listdir("/proc") if name.isdigit() and int(name) != os.getpid()]

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
