#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Medians of benchmark runs as one page: time and cycles a unit, ours beside the peer.

usage: table.py DIR >PAGE.md    DIR holds PROGRAM.json as Google Benchmark writes it, one a program
"""
import json
import pathlib
import re
import statistics
import sys

# By program: names of ours, the names that stand against them, who that is. Where a benchmark has no
# partner, or the peer isn't installed, its time stands alone.
PAIRS = {
    "amrwb_bench": [(r"frame/(.*)", r"frame_vo_amrwbenc/\1", "vo-amrwbenc"), (r"decoder/(.*)", r"decoder_opencore/\1", "opencore-amr"),
                    (r"search/(.*)", r"search_plain/\1", "plain")],
    "echo_bench": [(r"(?:subband|exportsOnly).*/8000(?:/\d)?", "speex/8000/1024", "speexdsp"),
                   (r"(?:subband|exportsOnly).*/16000(?:/\d)?", "speex/16000/2048", "speexdsp"),
                   (r"fullband(Float|Fixed)", "speex/8000/256", "speexdsp"),
                   (r"tone(Fixed|Float)", "toneSpandsp", "spandsp")],
    "fft_bench": [(r"ours/(.*)", r"fftw/\1", "FFTW3f")],
    "g722_bench": [(r"(encode|decode)Ours", r"\1Spandsp", "spandsp"), (r"(encode|decode)Ours", r"\1Avcodec", "libavcodec")],
    "g723_bench": [(r"(encode|decode)Ours/(.*)", r"\1Avcodec/\2", "libavcodec")],
    "g726_bench": [(r"(encode|decode)Ours/(.*)", r"\1Spandsp/\2", "spandsp")],
    "g729_bench": [(r"encoder/g729a?", "encoderBcg729", "bcg729")],
    "g729_decoder_bench": [(r"(decode|roundTrip)Ours/(g729a?)", r"\1Bcg729", "bcg729")],
    "gsm_bench": [(r"(fullRate\w+)", r"\1Spandsp", "spandsp"), (r"(fullRate\w+)", r"\1Libgsm", "libgsm"),
                  (r"(amr\w+?)(/.+)?", r"\1Opencore\2", "opencore-amr")],
    "noise_bench": [(r"filter/(\d+)/\d", r"speex/\1", "speexdsp")],
}
# Fast forms beside their definitions, as they are named everywhere.
PLAIN = [(r"(\w+?)(/.*)?", r"\1Plain\2", "plain"), (r"(\w+)Lanes(.*)", r"\1Plain\2", "plain"),
         (r"(\w+)/(?:kernel|fast)(.*)", r"\1/plain\2", "plain")]
CLOCK = "clock"  # stands in every program, its unit is a cycle
CHANNELS = "channels/core"


class Row:
    """One benchmark: medians of its repetitions, in nanoseconds a unit."""

    def __init__(self, repetitions):
        first = repetitions[0]
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[first["time_unit"]]
        items = "items_per_second" in first
        self.count = len(repetitions)
        self.unit = first.get("label") or ("sample" if items else "call")
        self.time = statistics.median(1e9 / r["items_per_second"] if items else r["cpu_time"] * scale for r in repetitions)
        self.bound = first.get("bound")
        self.channels = statistics.median(r[CHANNELS] for r in repetitions) if CHANNELS in first else None


class Run:
    """The rows of one program, by the benchmark's name."""

    def __init__(self, path):
        report = json.loads(path.read_text())
        self.context = report["context"]
        named = {}
        for row in sorted(report["benchmarks"],
                          key=lambda row: (row["family_index"], row["per_family_instance_index"])):
            if row.get("run_type") == "iteration" and not row.get("error_occurred"):
                named.setdefault(row["run_name"], []).append(row)
        self.rows = {name: Row(repetitions) for name, repetitions in named.items()}
        self.cycle = self.rows.pop(CLOCK).time if CLOCK in self.rows else None

    def partners(self, program, name):
        for ours, peer, who in PAIRS.get(program, []) + PLAIN:
            match = re.fullmatch(ours, name)
            if match:
                other = match.expand(peer)
                if other in self.rows and other != name:
                    yield who, self.rows[other]


def shown(value):
    return f"{value:.3g}" if value < 100 else f"{value:.0f}"


def channel_table(rows):
    """How many channels a core runs in real time, by their count and by threads."""
    places = {name: re.fullmatch(r"(.*)/(\d+)/threads:(\d+)", name) for name in rows}
    columns = list(dict.fromkeys((m[1], int(m[3])) for m in places.values()))
    yield "Channels that a core runs in real time, when each thread has as many as the first column says.\n"
    yield "| channels a thread | " + " | ".join(f"{what}, {n} thread{'s' * (n > 1)}" for what, n in columns) + " |"
    yield "|---" * (1 + len(columns)) + "|"
    for count in sorted({int(m[2]) for m in places.values()}):
        values = (rows.get(f"{what}/{count}/threads:{n}") for what, n in columns)
        yield f"| {count} | " + " | ".join(shown(row.channels) if row else "" for row in values) + " |"


def time_table(program, run):
    used = {id(other) for name in run.rows for _, other in run.partners(program, name)}
    yield "| benchmark | unit | ns | cycles | bound | peer | its ns | ratio |"
    yield "|---|---|---|---|---|---|---|---|"
    for name, row in run.rows.items():
        if id(row) in used:
            continue
        cycles = shown(row.time / run.cycle) if run.cycle else ""
        ours = f"| `{name}` | {row.unit} | {shown(row.time)} | {cycles} | {shown(row.bound) if row.bound else ''} |"
        partners = list(run.partners(program, name))
        for who, other in partners:
            if other.unit != row.unit:
                sys.exit(f"{program}: {name} counts in {row.unit}, {who} in {other.unit}")
            yield f"{ours} {who} | {shown(other.time)} | {other.time / row.time:.2f} |"
        if not partners:
            yield f"{ours} | | |"


def page(runs):
    first = next(iter(runs.values()))
    count = max(row.count for row in first.rows.values())
    yield "# Benchmarks\n"
    yield (f"{first.context['date'][:10]}, {first.context['num_cpus']} processors; medians of {count} interleaved "
           "repetitions, processor time in nanoseconds and cycles a unit. The ratio is the peer's time over ours, on the same "
           "work; `plain` is the definition that a fast form is tested against. The bound is the least number of cycles "
           "that the arithmetic or the loads and stores leave (how, says the program's source), where that is simply told. "
           "Numbers behind a name are the benchmark's arguments.\n")
    for program, run in runs.items():
        yield f"\n## {program.removesuffix('_bench')}\n"
        if all(row.channels for row in run.rows.values()):
            yield from channel_table(run.rows)
            continue
        if run.cycle:
            yield f"A cycle took {run.cycle:.3f} ns ({1 / run.cycle:.2f} GHz).\n"
        yield from time_table(program, run)


def main():
    folder = pathlib.Path(sys.argv[1])
    runs = {path.stem: Run(path) for path in sorted(folder.glob("*.json"))}
    runs = {program: run for program, run in runs.items() if run.rows}
    if not runs:
        sys.exit(f"{folder}: no results")
    print("\n".join(page(runs)))


main()
