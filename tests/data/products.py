"""What the scripts do with what they make: write it, or with --check compare it with the files."""

import pathlib
import sys

HERE = pathlib.Path(__file__).parent


def write_or_check(products):
    """`products` are pairs (file name, text). Exit code 1 when one to be compared differs."""
    check = sys.argv[1:] == ["--check"]
    if sys.argv[1:] and not check:
        sys.exit(f"usage: {sys.argv[0]} [--check]")
    stale = []
    for name, text in products:
        file = HERE / name
        if not check:
            file.write_text(text, encoding="utf-8")
        elif not file.exists() or file.read_text(encoding="utf-8") != text:
            stale.append(name)
    if stale:
        sys.exit(f"not what {sys.argv[0]} makes: " + ", ".join(stale))
