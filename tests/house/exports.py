#!/usr/bin/env python3
"""Compares what the built libraries export, need and import with what the public headers declare, and where the
dialog library is looked for with where it is.

usage: exports.py SOURCE_DIR LIBZELMOP15 LIBZELMOCRD LIBZELMODLG ZELMO
"""
import re
import subprocess
import sys
from pathlib import Path

source, (token_library, card_library, dialog_library, program) = Path(sys.argv[1]), sys.argv[2:]
include = source / "zelmop15/include/zelmop15"
failures = []


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols(library, option):
    """Names without their versions; the version's own symbol is no export."""
    lines = run("nm", "-D", option, library).splitlines()
    return {line.split()[-1].split("@")[0] for line in lines if " A " not in line}


def dynamic(library, tag):
    return re.findall(rf"\({tag}\).*?\[(.*?)\]", run("readelf", "-d", library))


def preprocessed(header):
    """The header's own declarations, macros expanded."""
    text = run("gcc", "-E", "-std=c11", "-I", str(source / "zelmop15/include"), "-I", str(source / "zelmocrd/include"),
               "-I", str(source / "zelmodlg/include"), str(header))
    own, keep = [], False
    for line in text.splitlines():
        if line.startswith("# "):
            keep = f'"{header}"' in line
        elif keep:
            own.append(line)
    return " ".join(own)


def declared(header, prefix):
    return set(re.findall(rf"[\s*]({prefix}\w+)\s*\(", preprocessed(header)))


def compare(what, exported, expected):
    for name in sorted(exported - expected):
        failures.append(f"{what}: exports {name}, which its headers do not declare")
    for name in sorted(expected - exported):
        failures.append(f"{what}: does not export {name}, which its headers declare")


expected = (declared(include / "pkcs15.h", "pkcs15_") | declared(include / "asn1_pkcs15.h", "asn1_") |
            declared(include / "list.h", "List_"))
compare("libzelmop15.so", symbols(token_library, "--defined-only"), expected)

card_header = source / "zelmocrd/include/zelmocrd/zelmocrd.h"
card_exports = symbols(card_library, "--defined-only")
for name in sorted(card_exports - declared(card_header, "(?:scard|scardcmd|cpd|zelmocrd)_")):
    failures.append(f"libzelmocrd.so: exports {name}, which zelmocrd.h does not declare")

compare("libzelmodlg.so", symbols(dialog_library, "--defined-only"),
        declared(source / "zelmodlg/include/zelmodlg/zelmodlg.h", "scdlg_"))
if Path(dialog_library).name != "libzelmodlg.so" or dynamic(dialog_library, "SONAME") != ["libzelmodlg.so"]:
    failures.append("the dialog library is not found by the name libzelmodlg.so")
for opener in (token_library, program):
    places = [place for run_path in dynamic(opener, "RUNPATH") for place in run_path.split(":")]
    # An empty place would be the working directory.
    if not all(place.startswith("$ORIGIN") for place in places):
        failures.append(f"{Path(opener).name} looks for libraries in {places}")
    if not any(Path(place.replace("$ORIGIN", str(Path(opener).parent)), "libzelmodlg.so").exists() for place in places):
        failures.append(f"{Path(opener).name} does not look for libzelmodlg.so where it is, but in {places}")

if dynamic(token_library, "SONAME") != ["libzelmop15.so"]:
    failures.append("libzelmop15.so has another SONAME")
needed = dynamic(token_library, "NEEDED")
for library in ("libzelmocrd.so", "libpcsclite.so.1"):
    if library not in needed:
        failures.append(f"libzelmop15.so does not need {library}")

imported = symbols(token_library, "--undefined-only")
for name in sorted(imported):
    if name.startswith(("_Zn", "_Zd", "__cxa_throw", "__cxa_allocate", "_Unwind_RaiseException", "SCard")):
        failures.append(f"libzelmop15.so imports {name}")
for name in sorted(n for n in imported if n.startswith(("scard_", "scardcmd_", "cpd_")) and n not in card_exports):
    failures.append(f"libzelmop15.so calls {name}, which libzelmocrd.so does not export")

print("\n".join(failures) or f"{len(expected)} exports as declared")
sys.exit(1 if failures else 0)
