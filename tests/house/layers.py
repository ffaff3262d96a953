#!/usr/bin/env python3
"""Holds the arrows: which folder may include which, and no circle between files.

usage: layers.py SOURCE_DIR
"""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1])

# Folder of the includer -> folders (or files) that it may include.
PUBLIC_RECORDS = ("zelmop15/list.h", "zelmop15/pkcs15_types.h", "zelmop15/asn1_pkcs15.h")
ALLOWED = {
    "zelmop15/include": ("zelmop15/", "zelmocrd/zelmocrd.h"),
    "zelmop15/runtime": ("runtime/", "zelmop15/list.h"),
    "zelmop15/asn1": ("asn1/", "runtime/") + PUBLIC_RECORDS,
    "zelmop15/aa": ("aa/", "runtime/"),
    "zelmop15/csp": ("csp/", "aa/", "asn1/", "runtime/") + PUBLIC_RECORDS,
    "zelmop15/token": ("token/", "asn1/", "csp/", "runtime/", "zelmop15/", "zelmocrd/zelmocrd.h"),
    "zelmocrd/include": ("zelmocrd/",),
    "zelmocrd": ("zelmocrd/", "virtualcard/"),
    "zelmodlg/include": ("zelmodlg/",),
    "zelmodlg": ("zelmodlg/",),
    "virtualcard": ("virtualcard/",),
}
# Only the personalisation units reach the crypto service provider.
CSP_USERS = ("pkcs15_inittoken",)
INCLUDE_ROOTS = ("zelmop15", "zelmop15/include", "zelmocrd/include", "zelmodlg/include", "zelmocrd", "tools/zelmo", ".")

failures = []
graph = {}


def resolve(includer, name):
    for base in (includer.parent, *(root / r for r in INCLUDE_ROOTS)):
        candidate = base / name
        if candidate.is_file():
            return candidate.resolve()
    return None


def is_generated(includer, name):
    """Made by the build: the folder's own list says so."""
    return re.search(rf"OUTPUT {re.escape(name)}\b", (includer.parent / "CMakeLists.txt").read_text()) is not None


def folder_of(path):
    relative = path.relative_to(root).as_posix()
    matches = [f for f in ALLOWED if relative.startswith(f + "/")]
    return max(matches, key=len) if matches else None


for path in sorted(p for f in ("zelmop15", "zelmocrd", "zelmodlg", "virtualcard", "tools") for p in (root / f).rglob("*")
                   if p.suffix in (".h", ".hpp", ".cpp", ".c")):
    folder = folder_of(path)
    targets = []
    for name in re.findall(r'^\s*#\s*include\s+"([^"]+)"', path.read_text(), re.M):
        target = resolve(path, name)
        if target is None and is_generated(path, name):
            continue
        if target is None:
            failures.append(f"{path.relative_to(root)}: {name} is nowhere to be found")
            continue
        targets.append(target)
        # An include without a folder is one of the includer's own.
        same_folder = "/" not in name and target.parent == path.parent
        if folder and not same_folder and not name.startswith(ALLOWED[folder]):
            failures.append(f"{path.relative_to(root)} must not include {name}")
        if name.startswith("csp/") and folder == "zelmop15/token" and not path.stem.startswith(CSP_USERS):
            failures.append(f"{path.relative_to(root)} must not include {name}")
    graph[path.resolve()] = targets

done, open_ = set(), []


def visit(path):
    if path in open_:
        circle = open_[open_.index(path):] + [path]
        failures.append("circle: " + " -> ".join(p.relative_to(root).as_posix() for p in circle))
        return
    if path in done:
        return
    open_.append(path)
    for target in graph.get(path, []):
        visit(target)
    open_.pop()
    done.add(path)


root = root.resolve()
for start in graph:
    visit(start)
print("\n".join(failures) or f"{len(graph)} files keep to their layers")
sys.exit(1 if failures else 0)
