#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Every export's comment tells what it does, each parameter, and the statuses in the order of the checks.

usage: reference.py INCLUDE_DIR ENTRIES_DEF CHECKS_JSON
"""
import json
import pathlib
import re
import sys

include, entries, checks = (pathlib.Path(argument) for argument in sys.argv[1:4])
exports = re.findall(r"^QOLSC_ENTRY\((\w+)\)", entries.read_text(), re.M)
listed = {function["name"]: function for function in json.loads(checks.read_text())}
status_header = (include / "qolsc/status.h").read_text()
status_names = {int(value): name for name, value in re.findall(r"(qolSts\w+)\s*=\s*(-?\d+)", status_header)}

declaration = re.compile(r"/\*\*((?:(?!\*/).)*)\*/\s*(?:const\s+)?\w+\s*\*?\s+(qols\w+)\(([^)]*)\)", re.S)
documented = {}
for header in sorted(include.glob("qolsc/*.h")):
    for comment, name, arguments in declaration.findall(header.read_text()):
        parameters = [re.search(r"(\w+)$", a.strip()).group(1)
                      for a in arguments.split(",") if a.strip() not in ("", "void")]
        documented[name] = (re.sub(r"\s*\n\s*\* ?", " ", comment), parameters)


def statuses_due(name):
    """Names of the statuses that the sweep over the checks expects, in its order."""
    function = listed[name]
    bad = list(dict.fromkeys(case["status"] for case in function["bad"] if case["status"]))
    null = [-8] if any(argument.get("null") == "err" for argument in function["args"]) else []
    due = null + bad if function["nullFirst"] else bad + null
    return [status_names[value] for value in dict.fromkeys(due)]


def faults_of(name):
    if name not in documented:
        yield "no comment"
        return
    text, parameters = documented[name]
    if len(re.split(r"@(?:param|return)", text)[0].split()) < 3:
        yield "doesn't say what it does"
    described = set()
    for names in re.findall(r"@param(?:\[[\w,]+\])?\s+(\w+(?:,\s*\w+)*)", text):
        described.update(re.split(r",\s*", names))
    for parameter in parameters:
        if parameter not in described:
            yield f"{parameter} isn't described"
    if name not in listed:
        return
    returned = text.partition("@return")[2]
    told = [s for s in dict.fromkeys(re.findall(r"qolSts\w+", returned)) if s != "qolStsNoErr"]
    due = statuses_due(name)
    for status in due:
        if status not in told:
            yield f"{status} isn't told"
    if [s for s in told if s in due] != [s for s in due if s in told]:
        yield f"order of the statuses: told {' '.join(told)}, checked {' '.join(due)}"


count = 0
for export in exports:
    for fault in faults_of(export):
        print(f"{export}: {fault}")
        count += 1
print(f"{len(exports)} exports, {count} faults")
sys.exit(1 if count else 0)
