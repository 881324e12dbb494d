#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes qolsc_exports.py from the list of exports and the public headers.

usage: generate.py DIRECTORY
"""
import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent


def declarations():
    """Name to list of (argument, C type), of every declaration in the public headers."""
    found = {}
    for header in sorted((ROOT / "include/qolsc").glob("*.h")):
        text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
        for name, args in re.findall(r"QolStatus\s+(qols\w+)\s*\(([^)]*)\)\s*QOL_NOEXCEPT\s*;", text):
            found[name] = [split(a) for a in args.split(",")]
    return found


def split(arg):
    """"const Qol16s* pSrc" to ("pSrc", "const Qol16s*")."""
    kind, stars, name = re.fullmatch(r"(.*?)\s*(\**)\s*(\w+)", " ".join(arg.split())).groups()
    return name, kind + stars


def main():
    entries = re.findall(r"^QOLSC_ENTRY\((\w+)\)", (ROOT / "src/entry/entries.def").read_text(), re.M)
    declared = declarations()
    lines = ['"""Exports and their arguments. Written by generate.py; do not edit."""', "", "EXPORTS = {"]
    for name in entries:
        if name != "qolscGetLibVersion":
            args = ", ".join(f'("{n}", "{t}")' for n, t in declared[name])
            lines.append(f'    "{name}": [{args}],')
    target = Path(sys.argv[1]) / "qolsc_exports.py"
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_text("\n".join(lines) + "\n}\n")


if __name__ == "__main__":
    main()
