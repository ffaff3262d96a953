#!/usr/bin/env python3
"""Runs the example hosts on the test tokens, through the shared library, and holds the README to the example it shows.

usage: examples.py SOURCE_DIR BIN_DIR
"""
import json
import re
import subprocess
import sys
from pathlib import Path

source, binaries = Path(sys.argv[1]), Path(sys.argv[2])
data = source / "tests/data"
failures = []


def run(program, reader):
    return subprocess.run([binaries / program, reader], capture_output=True, text=True)


def expect(what, expected, found):
    if expected != found:
        failures.append(f"{what}: expected {expected!r}, found {found!r}")


# Tokens that the built-in record leads to.
for name in ("transparent", "records", "no-efdir"):
    model = json.loads((data / "expected" / f"{name}.json").read_text())
    reader = f"virtual:{data / 'tokens' / name}.card"
    hello = run("hello_token", reader)
    expect(f"hello_token {name}", (0, model["tokenInfo"]["label"] + "\n"), (hello.returncode, hello.stdout))
    listing = run("list_token", reader)
    labels = [line[23:].rstrip() for line in listing.stdout.splitlines()]
    # The library shows nothing of an object that it only carries.
    expected = ["" if o["carried"] else o.get("label") or "" for o in model["objects"]]
    expect(f"list_token {name}", (0, sorted(expected)), (listing.returncode, sorted(labels)))

nothing = run("list_token", "virtual:does-not-exist")
expect("list_token without a card", (1, ""), (nothing.returncode, nothing.stdout))

shown = re.search(r"^```c\n(.*?)^```", (source / "README.md").read_text(), re.M | re.S).group(1)
expect("the README's host", (source / "examples/hello_token.c").read_text(), shown)

print("\n".join(failures) or "the examples find what is there")
sys.exit(1 if failures else 0)
