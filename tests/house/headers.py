#!/usr/bin/env python3
"""Compiles every public header by itself, as C11 and as C++20, without a warning.

usage: headers.py SOURCE_DIR C_COMPILER CXX_COMPILER
"""
import subprocess
import sys
from pathlib import Path

root, cc, cxx = Path(sys.argv[1]), sys.argv[2], sys.argv[3]
roots = [root / "zelmop15/include", root / "zelmocrd/include", root / "zelmodlg/include"]
flags = ["-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror"]
failed = False
for header in sorted(h for r in roots for h in r.rglob("*.h")):
    for compiler, language in (([cc, "-std=c11"], "c"), ([cxx, "-std=c++20"], "c++")):
        # Included twice, so that a missing guard shows.
        text = f'#include "{header}"\n#include "{header}"\n'
        command = [*compiler, *flags, *(f"-I{r}" for r in roots), "-x", language, "-"]
        result = subprocess.run(command, input=text, text=True, capture_output=True)
        if result.returncode != 0:
            failed = True
            print(f"{header} as {language}:\n{result.stderr}")
if not failed:
    print("all public headers compile as C11 and as C++20")
sys.exit(1 if failed else 0)
