#!/usr/bin/env python3
"""A host in Python, to copy from: draws a landscape piece by piece and sends it to the GIF device by opcodes.

    host.py LIBRARY FILE.gif [WIDTH HEIGHT]

A GIF has 2 to 65535 columns here, and 1 to 65534 rows.

The picture and its pixels are those of host.c. Numbers of the protocol are those of tolva/driver.h.
"""
import ctypes
import os
import signal
import struct
import sys
from ctypes import c_int16, c_int32, c_size_t, c_ssize_t, c_void_p

# ---- The picture: misty mountains at sunset, in whole numbers, so that it is the same on every machine ----

SHADES = 32
SKY = 3 * SHADES
UNITS = 1024  # the picture's height
RAMPS = (  # first and last colour: three ramps for the sky, then one a ridge, crest to mist
    (0x1B2250, 0x64468A), (0x64468A, 0xE47C68), (0xE47C68, 0xFFEDB4), (0xB9748A, 0xF2B48E),
    (0x8C5780, 0xD9987F), (0x5D3F70, 0xB67876), (0x33294F, 0x7C5468), (0x130F24, 0x3A2B45))


def palette():
    for first, last in RAMPS:
        for step in range(SHADES):
            for shift in (16, 8, 0):
                yield ((first >> shift & 255) * (SHADES - step) + (last >> shift & 255) * step) // SHADES


def wave(t):
    """A sine's shape made of parabolas: -256 to 256, a period of 512."""
    half = (t & 255) * (256 - (t & 255)) // 64
    return -half if t & 256 else half


def crest_of(ridge, u):
    waves = (64 * wave(u * ridge // 6 + 97 * ridge) + 24 * wave(u * ridge // 2 + 211 * ridge)
             + 9 * wave(u * ridge * 4 // 3 + 59 * ridge) + 4 * wave(u * ridge * 3 + 131 * ridge))
    return (256 * (445 + 100 * ridge) - waves) // 256


def rows_of(width, height, lower, upper):
    """Rows lower to upper - 1, counted from the bottom, each padded to 4 bytes."""
    across = [x * UNITS // height for x in range(width)]
    crests = [[(ridge, crest_of(ridge, u)) for ridge in (5, 4, 3, 2, 1)] for u in across]
    sun = width * UNITS // height * 2 // 3

    def colour_at(x, v):
        for ridge, crest in crests[x]:
            if v >= crest:
                return SKY + SHADES * (ridge - 1) + min((v - crest) // 6, SHADES - 1)
        distance = (across[x] - sun) ** 2 + (v - 330) ** 2
        if distance < 60 * 60:
            return SKY - 1
        return min(v // 10 + 60 * 150 * 150 // (150 * 150 + distance), SKY - 2)

    rows = bytearray()
    for y in range(lower, upper):
        v = (height - 1 - y) * UNITS // height
        rows += bytes(colour_at(x, v) for x in range(width)) + bytes(-width % 4)
    return bytes(rows)


# ---- The library ----

STATUS_FUNCTION = ctypes.CFUNCTYPE(c_ssize_t, *[c_ssize_t] * 7)
ENTRY = ctypes.CFUNCTYPE(c_int32, c_size_t, c_int16, c_void_p)

INIT, CALL, TERM, ENTRY32 = 0, 2, -1, -3
OPEN_DEVICE, CLOSE_DEVICE, BEGIN_PICTURE, BEGIN_BODY, END_PICTURE = 1, 2, 3, 4, 5
SET_WINDOW, SET_SCALING, CELL_ARRAY, PRIMITIVE, SET_COLOUR_TABLE = 0x206, 0x209, 0x409, 0x40A, 0x522
OPEN_BRACKET, CLOSE_BRACKET = -5, -6
PIECE_ROWS = 64
DOTS_PER_INCH = 128  # a power of two, so that pixels through inches to pixels stay the same


class StatusRecord(ctypes.Structure):
    _fields_ = [("unused", c_ssize_t), ("context", c_ssize_t), ("function", STATUS_FUNCTION), ("more", c_ssize_t * 10)]


class InitBlock(ctypes.Structure):
    _fields_ = [("unused", c_ssize_t * 3), ("file_name", ctypes.c_char_p), ("unused2", c_ssize_t * 5),
                ("reply_size", c_size_t), ("reply_buffer", c_void_p), ("unused3", c_ssize_t * 2),
                ("setup", c_size_t), ("status", ctypes.POINTER(StatusRecord)), ("capabilities", c_void_p)]


def load(path):
    library = ctypes.CDLL(path)
    # Handles and addresses have the width of a pointer; without this they would be cut to 32 bits.
    library.CreateSetup.restype = library.GlobalLock.restype = c_size_t
    library.CreateSetup.argtypes = c_size_t, ctypes.c_char_p, ctypes.c_char_p, c_size_t
    library.RASTER_dd_entry.argtypes = c_int16, c_void_p, c_void_p
    for function in (library.GlobalLock, library.UseDefaultSettings, library.DestroySetup):
        function.argtypes = [c_size_t]
    return library


class Device:
    """The driver between init and term, with its device open from the start."""

    def __init__(self, library, file_name):
        self.library = library
        self.stopping = False
        address = c_void_p()
        library.RASTER_dd_entry(ENTRY32, ctypes.byref(address), None)
        self.entry = ENTRY(address.value)
        self.setup = library.CreateSetup(0, None, None, 0)
        library.UseDefaultSettings(library.GlobalLock(self.setup))  # the picture decides its size
        # Kept here because the driver goes on using them until term.
        self.status = StatusRecord(function=STATUS_FUNCTION(lambda *_: int(self.stopping)))
        self.init = InitBlock(file_name=file_name.encode(), reply_size=64, setup=self.setup,
                              status=ctypes.pointer(self.status))
        if result := self.entry(0, INIT, ctypes.byref(self.init)):
            raise RuntimeError(f"init: error {result}")

    def call(self, opcode, layout="", *fields):
        """The block: the opcode, and behind it the fields, packed in the machine's byte order."""
        block = ctypes.create_string_buffer(struct.pack("=i" + layout, opcode, *fields).ljust(102, b"\0"))
        if result := self.entry(0, CALL, block):
            raise RuntimeError(f"opcode {opcode:#x}: error {result}")

    def bracket(self, identifier, data):
        self.call(PRIMITIVE, f"12xiii{len(data)}s", identifier, 0, len(data), data)  # no points

    def draw(self, width, height):
        self.call(BEGIN_PICTURE)
        self.call(SET_WINDOW, "12x6d", 0, 0, 0, width - 1, height - 1, 0)
        self.call(SET_SCALING, "12xh6xd", 1, 25.4 / DOTS_PER_INCH)  # mode 1: millimetres a pixel
        self.call(BEGIN_BODY)
        table = bytes(palette())
        self.call(SET_COLOUR_TABLE, f"I8xI{len(table)}s", 2 + len(table), 0, table)
        self.bracket(OPEN_BRACKET, struct.pack("=iii16x", width, height, 8))
        for lower in range(0, height, PIECE_ROWS):  # the bottom row first
            upper = min(lower + PIECE_ROWS, height)
            rows = rows_of(width, height, lower, upper)
            # Of the corners only y counts: the second not below the first, as in the window.
            self.call(CELL_ARRAY, f"20xd16xd32xIIi2x{len(rows)}s", 0, height - 1, width, upper - lower, 8, rows)
            print(f"\r{100 * upper // height:3}%", end="", file=sys.stderr)
        print(file=sys.stderr)
        self.bracket(CLOSE_BRACKET, b"")  # the GIF is written here
        self.call(END_PICTURE)

    def terminate(self):
        self.entry(0, TERM, None)
        self.library.DestroySetup(self.setup)


def export(library, file_name, width, height):
    device = Device(library, file_name)
    try:
        device.call(OPEN_DEVICE)
        try:
            device.draw(width, height)
        except BaseException:
            device.stopping = True  # which lets the term below delete the file
            raise
        device.call(CLOSE_DEVICE)
    finally:
        device.terminate()
    # The closing bracket does not pass on what became of the picture.
    with open(file_name, "rb") as file:
        if not file.read().endswith(b"\x3B"):
            raise RuntimeError("no picture was written")


def export_and_replace(library, file_name, width, height):
    """Under another name in the same folder, and renamed when it is whole: until then an earlier GIF stays."""
    target = file_name
    if os.path.islink(file_name):  # renaming onto a link would take the link's place
        target = os.path.relpath(os.path.realpath(file_name))  # relative, as the driver takes 143 bytes at most
    mode = os.stat(target).st_mode if os.path.exists(target) else None
    if mode is not None and not os.path.isfile(target):
        raise RuntimeError("not a plain file")
    part = os.path.join(os.path.dirname(target), f"example-{os.getpid()}.part")
    os.close(os.open(part, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o666))  # nobody else's: the library truncates it
    try:
        export(library, part, width, height)
        if mode is not None:
            os.chmod(part, mode & 0o7777)
        os.rename(part, target)
    except BaseException:
        if os.path.exists(part):
            os.unlink(part)
        raise


def main(arguments):
    extents = arguments[2:] or ["640", "400"]
    if len(arguments) < 2 or len(extents) != 2 or not all(text.isdecimal() for text in extents):
        sys.exit(__doc__)
    width, height = map(int, extents)
    if not (2 <= width <= 65535 and 1 <= height < 65535):
        sys.exit(__doc__)
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        library = load(arguments[0])
    except OSError as error:
        sys.exit(f"host.py: {error}")
    try:
        # The bracket makes heights even.
        export_and_replace(library, arguments[1], width, height + height % 2)
    except OSError as error:
        sys.exit(f"{arguments[1]}: {error.strerror}")
    except RuntimeError as error:
        sys.exit(f"{arguments[1]}: {error}")
    except KeyboardInterrupt:
        sys.exit(f"{arguments[1]}: stopped")


if __name__ == "__main__":
    main(sys.argv[1:])
