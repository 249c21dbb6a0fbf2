"""What commands find around them: a DNS relay, the message bus, kernel tables, a process that holds a lock."""

import os
import selectors
import signal
import socket
import struct
import threading
from contextlib import contextmanager

from roqutil_case import change_semaphore

A, AAAA, SRV = 1, 28, 33
ASKED_NAME = b"\xc0\x0c"


def wire_name(dotted):
    return b"".join(bytes([len(label)]) + label.encode() for label in dotted.split(".")) + b"\0"


def record(kind, data, owner=ASKED_NAME):
    return owner + struct.pack(">HHIH", kind, 1, 300, len(data)) + data


def ipv4(last):
    return record(A, bytes([192, 0, 2, last]))


def ipv6(last):
    return record(AAAA, bytes.fromhex("20010db8") + bytes(11) + bytes([last]))


def reply(query, *records, flags=0x8180, flip=0):
    identity = struct.unpack(">H", query[:2])[0] ^ flip
    return struct.pack(">6H", identity, flags, 1, len(records), 0, 0) + query[12:] + b"".join(records)


def asked_type(query):
    return struct.unpack(">H", query[-4:-2])[0]


class Relay:
    """Answers queries at port 53 of the loopback with what the script returns: bytes or None."""

    def __init__(self, script):
        self.script = script
        self.clients = []
        self.selector = selectors.DefaultSelector()
        self.stop_reader, self.stop_writer = os.pipe()
        self.selector.register(self.stop_reader, selectors.EVENT_READ)
        for family, address in ((socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::1")):
            server = socket.socket(family, socket.SOCK_DGRAM)
            server.bind((address, 53))
            self.selector.register(server, selectors.EVENT_READ)
        self.thread = threading.Thread(target=self.serve)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *reason):
        os.close(self.stop_writer)
        self.thread.join()
        os.close(self.stop_reader)
        for key in list(self.selector.get_map().values()):
            if key.fd != self.stop_reader:
                key.fileobj.close()
        self.selector.close()

    def serve(self):
        while True:
            for key, _ in self.selector.select():
                if key.fd == self.stop_reader:
                    return
                query, client = key.fileobj.recvfrom(2048)
                self.clients.append(client[0])
                answer = self.script(query)
                if answer is not None:
                    key.fileobj.sendto(answer, client)


def addresses_of_both_families(query):
    if asked_type(query) == A:
        return reply(query, ipv4(1), ipv4(2))
    return reply(query, ipv6(1))


class Bus:
    """The configuration manager on the message bus: answers every request with a result, or not at all."""

    FOLDER = "/var/run/roqmsg"

    def __init__(self, result):
        os.makedirs(self.FOLDER, exist_ok=True)
        self.path = os.path.join(self.FOLDER, "cms")
        self.result = result
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(self.path)
        self.thread = threading.Thread(target=self.serve)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *reason):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.sendto(b"end", self.path)
        self.thread.join()
        self.socket.close()
        os.unlink(self.path)

    def serve(self):
        while (message := self.socket.recvfrom(2048))[0] != b"end":
            request, sender = message
            # Numbers are in the sender's byte order.
            order = "<" if request[16] else ">"
            kind, value, _, serial = struct.unpack(order + "4I", request[16:32])
            if self.result is not None:
                header = struct.pack(order + "16s6I", b"", kind, value, os.getpid(), serial, self.result, 0)
                self.socket.sendto(header, sender)


@contextmanager
def holder_of(units, module=2):
    """A process that holds units of the module's semaphore."""
    ready, go = os.pipe()
    child = os.fork()
    if child == 0:
        change_semaphore(module, -units)
        os.write(go, b"x")
        signal.pause()
        os._exit(0)
    os.read(ready, 1)
    try:
        yield child
    finally:
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)
        os.close(ready)
        os.close(go)


def with_proc(files):
    """Words in front of a command that put these files in the place of /proc; a process still finds itself there."""
    steps = ["mkdir -p /var/tmp/proc", "mount --bind /proc /var/tmp/proc", "mount -t tmpfs tables /proc",
             "ln -s /var/tmp/proc/self /var/tmp/proc/$$ /proc"]
    steps += [f"mkdir -p $(dirname /proc/{name}) && printf %s '{text}' >/proc/{name}" for name, text in files.items()]
    return ["unshare", "--mount", "sh", "-c", " && ".join(steps) + ' && exec "$@"', "sh"]
