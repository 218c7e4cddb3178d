"""A client of a Wayland compositor that injects input, over the bare wire format. For KWin with its permission checks off
(org_kde_kwin_fake_input)."""
import os
import socket
import struct
import time

DISPLAY, REGISTRY = 1, 2
SHIFT, SUPER, CONTROL, ESCAPE = 42, 125, 29, 1
RETURN, UP, RIGHT = 28, 103, 106  # of linux/input-event-codes.h
LEFT_BUTTON = 0x110

# Requests, by their order in the protocol's description.
SYNC, GET_REGISTRY, BIND = 0, 1, 0
AUTHENTICATE, BUTTON, MOTION_ABSOLUTE, KEY = 0, 2, 9, 10


def text(value):
    data = value.encode() + b"\0"
    return struct.pack("=I", len(data)) + data + b"\0" * (-len(data) % 4)


def fixed(value):
    return struct.pack("=i", round(value * 256))


def number(value):
    return struct.pack("=I", value)


class FakeInput:
    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.connect(os.fspath(path))
        self.globals = {}
        self.unread = b""
        self.latest = REGISTRY  # objects are numbered without a gap
        self.send(DISPLAY, GET_REGISTRY, number(REGISTRY))
        self.round_trip()
        name, version = self.globals["org_kde_kwin_fake_input"]
        self.input = self.new_object()
        self.send(REGISTRY, BIND,
                  number(name) + text("org_kde_kwin_fake_input") + number(min(version, 4)) + number(self.input))
        self.send(self.input, AUTHENTICATE, text("Pelgra's tests") + text("they press keys"))
        self.round_trip()

    @classmethod
    def offered(cls, path):
        """None where the compositor does not offer it (yet)."""
        try:
            return cls(path)
        except KeyError:
            return None

    def close(self):
        self.socket.close()

    def new_object(self):
        self.latest += 1
        return self.latest

    def send(self, target, opcode, arguments):
        self.socket.sendall(struct.pack("=II", target, (8 + len(arguments)) << 16 | opcode) + arguments)

    def round_trip(self):
        """Waits until everything sent was handled."""
        answer = self.new_object()
        self.send(DISPLAY, SYNC, number(answer))
        while self.take_event() != answer:
            pass

    def take_event(self):
        """Handles one event; its target."""
        while len(self.unread) < 8 or len(self.unread) < struct.unpack_from("=I", self.unread, 4)[0] >> 16:
            data = self.socket.recv(65536)
            if not data:
                raise ConnectionError("the compositor has gone")
            self.unread += data
        target, head = struct.unpack_from("=II", self.unread)
        body, self.unread = self.unread[8:head >> 16], self.unread[head >> 16:]
        if target == REGISTRY and head & 0xFFFF == 0:
            name, length = struct.unpack_from("=II", body)
            interface = body[8:7 + length].decode()
            self.globals[interface] = (name, struct.unpack_from("=I", body, 8 + length + -length % 4)[0])
        elif target == DISPLAY and head & 0xFFFF == 0:
            raise RuntimeError(f"the compositor refuses: {body!r}")
        return target

    # Input

    def move(self, x, y):
        self.send(self.input, MOTION_ABSOLUTE, fixed(x) + fixed(y))
        self.round_trip()

    def button(self, down):
        self.send(self.input, BUTTON, number(LEFT_BUTTON) + number(int(down)))
        self.round_trip()

    def key(self, code, down):
        self.send(self.input, KEY, number(code) + number(int(down)))
        self.round_trip()

    def tap(self, code, seconds=0.03):
        self.key(code, True)
        time.sleep(seconds)
        self.key(code, False)
