#!/usr/bin/env python3
"""Looks whether the built files have the guards of the compiler and the linker.

usage: hardening.py FILE...
"""
import re
import subprocess
import sys

GUARDS = [
    ("is placed anywhere in memory", lambda headers, symbols: "Elf file type is DYN" in headers),
    ("has no executable stack", lambda headers, symbols: re.search(r"GNU_STACK .* RW ", headers)),
    ("binds before it runs", lambda headers, symbols: re.search(r"FLAGS_1.*NOW|BIND_NOW", headers)),
    ("then locks its tables", lambda headers, symbols: "GNU_RELRO" in headers),
    ("has no text relocations", lambda headers, symbols: "TEXTREL" not in headers),
    ("guards its stack frames", lambda headers, symbols: "__stack_chk_fail" in symbols),
    ("checks the bounds of library calls", lambda headers, symbols: re.search(r"\w_chk\b", symbols)),
]


def read(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


missing = [f"{file}: is not one that {guard}" for file in sys.argv[1:]
           for headers, symbols in [(read("readelf", "-lWd", file), read("nm", "-D", "--undefined-only", file))]
           for guard, holds in GUARDS if not holds(headers, symbols)]
print("\n".join(missing) or f"{len(GUARDS)} guards in {len(sys.argv) - 1} files")
sys.exit(1 if missing else 0)
