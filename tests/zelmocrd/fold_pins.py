#!/usr/bin/env python3
"""Compares the folding of PINs to upper case with Python's own, for every character of Unicode.

usage: fold_pins.py LIBZELMOCRD
"""
import ctypes
import sys


class Format(ctypes.Structure):
    _fields_ = [("pinType", ctypes.c_uint32), ("minLength", ctypes.c_uint32), ("storedLength", ctypes.c_uint32),
                ("maxLength", ctypes.c_void_p), ("padChar", ctypes.c_void_p)]


library = ctypes.CDLL(sys.argv[1])
library.scard_FormatPin.restype = ctypes.c_uint32
folded = Format(2, 1, 0, None, None)
buffer = ctypes.create_string_buffer(64)
failures = 0
for first in range(0, sys.maxunicode + 1, 6):
    points = [chr(p) for p in range(first, min(first + 6, sys.maxunicode + 1)) if not 0xD800 <= p < 0xE000]
    # Between letters, in case the neighbours matter.
    pin = "a" + "b".join(points) + "c"
    octets = pin.encode()
    length = ctypes.c_uint32(64)
    result = library.scard_FormatPin(octets, len(octets), ctypes.byref(folded), buffer, ctypes.byref(length))
    if result != 0 or buffer.raw[:length.value] != pin.upper().encode():
        failures += 1
        print(f"from U+{first:04X}: {result:#x}, {buffer.raw[:length.value].hex()}, not {pin.upper().encode().hex()}")
print(f"{failures} runs of six characters differ")
sys.exit(1 if failures else 0)
