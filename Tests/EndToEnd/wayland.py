"""Clients of a Wayland compositor that inject input, over the bare wire format: into KWin, which lets the tests by their
desktop entry (org_kde_kwin_fake_input), and into compositors with virtual pointers and keyboards."""
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
CREATE = 0  # of the managers of virtual devices
POINTER_MOTION_ABSOLUTE, POINTER_BUTTON, POINTER_FRAME = 1, 2, 4
KEYBOARD_KEYMAP, KEYBOARD_KEY, KEYBOARD_MODIFIERS = 0, 1, 2

KEYMAP = b"""xkb_keymap { xkb_keycodes { include "evdev+aliases(qwerty)" }; xkb_types { include "complete" };
xkb_compat { include "complete" }; xkb_symbols { include "pc+us+inet(evdev)" }; };\0"""
TEXT_KEYMAP = 1
MASKS = {SHIFT: 1, CONTROL: 4, SUPER: 64}  # of the modifiers of that map


def text(value):
    data = value.encode() + b"\0"
    return struct.pack("=I", len(data)) + data + b"\0" * (-len(data) % 4)


def fixed(value):
    return struct.pack("=i", round(value * 256))


def number(value):
    return struct.pack("=I", value)


class Client:
    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.connect(os.fspath(path))
        self.globals = {}
        self.unread = b""
        self.latest = REGISTRY  # objects are numbered without a gap
        self.send(DISPLAY, GET_REGISTRY, number(REGISTRY))
        self.round_trip()

    @classmethod
    def offered(cls, path, *arguments):
        """None where the compositor does not offer it (yet)."""
        try:
            return cls(path, *arguments)
        except (KeyError, FileNotFoundError, ConnectionRefusedError):
            return None

    def bind(self, interface, version):
        name, newest = self.globals[interface]
        bound = self.new_object()
        self.send(REGISTRY, BIND, number(name) + text(interface) + number(min(version, newest)) + number(bound))
        return bound

    def close(self):
        self.socket.close()

    def new_object(self):
        self.latest += 1
        return self.latest

    def send(self, target, opcode, arguments, descriptors=()):
        message = struct.pack("=II", target, (8 + len(arguments)) << 16 | opcode) + arguments
        sent = socket.send_fds(self.socket, [message], descriptors) if descriptors else 0
        self.socket.sendall(message[sent:])

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

    def tap(self, code, seconds=0.03):
        self.key(code, True)
        time.sleep(seconds)
        self.key(code, False)


class FakeInput(Client):
    """KWin's."""

    def __init__(self, path):
        super().__init__(path)
        self.input = self.bind("org_kde_kwin_fake_input", 4)
        self.send(self.input, AUTHENTICATE, text("Pelgra's tests") + text("they press keys"))
        self.round_trip()

    def move(self, x, y):
        self.send(self.input, MOTION_ABSOLUTE, fixed(x) + fixed(y))
        self.round_trip()

    def button(self, down):
        self.send(self.input, BUTTON, number(LEFT_BUTTON) + number(int(down)))
        self.round_trip()

    def key(self, code, down):
        self.send(self.input, KEY, number(code) + number(int(down)))
        self.round_trip()


class VirtualInput(Client):
    """A pointer and a keyboard of a compositor that lets every program have some. Places are on a desktop of this size."""

    def __init__(self, path, size):
        super().__init__(path)
        self.size = size
        self.held = set()
        seat = number(self.bind("wl_seat", 1))
        pointers = self.bind("zwlr_virtual_pointer_manager_v1", 1)
        keyboards = self.bind("zwp_virtual_keyboard_manager_v1", 1)
        self.pointer, self.keyboard = self.new_object(), self.new_object()
        self.send(pointers, CREATE, seat + number(self.pointer))
        self.send(keyboards, CREATE, seat + number(self.keyboard))
        keymap = os.memfd_create("keymap")
        os.write(keymap, KEYMAP)
        # The descriptor goes with the message that speaks of it.
        self.send(self.keyboard, KEYBOARD_KEYMAP, number(TEXT_KEYMAP) + number(len(KEYMAP)), [keymap])
        os.close(keymap)
        self.round_trip()

    def now(self):
        return number(int(time.monotonic() * 1000) & 0xFFFFFFFF)

    def move(self, x, y):
        place = number(max(0, round(x))) + number(max(0, round(y)))
        self.send(self.pointer, POINTER_MOTION_ABSOLUTE, self.now() + place + number(self.size[0]) + number(self.size[1]))
        self.send(self.pointer, POINTER_FRAME, b"")
        self.round_trip()

    def button(self, down):
        self.send(self.pointer, POINTER_BUTTON, self.now() + number(LEFT_BUTTON) + number(int(down)))
        self.send(self.pointer, POINTER_FRAME, b"")
        self.round_trip()

    def key(self, code, down):
        (self.held.add if down else self.held.discard)(code)
        self.send(self.keyboard, KEYBOARD_KEY, self.now() + number(code) + number(int(down)))
        depressed = sum(MASKS.get(held, 0) for held in self.held)
        self.send(self.keyboard, KEYBOARD_MODIFIERS, number(depressed) + number(0) * 3)
        self.round_trip()
