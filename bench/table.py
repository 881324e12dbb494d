#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Medians of benchmark runs as one page, ours beside the peer.

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
    "amrwb_bench": [(r"frame/(.*)", r"frame_vo_amrwbenc/\1", "vo-amrwbenc"), (r"search/(.*)", r"search_plain/\1", "plain")],
    "echo_bench": [(r"(?:subband|exportsOnly).*/8000(?:/\d)?", "speex/8000/1024", "speexdsp"),
                   (r"(?:subband|exportsOnly).*/16000(?:/\d)?", "speex/16000/2048", "speexdsp"),
                   (r"tone(Fixed|Float)", "toneSpandsp", "spandsp")],
    "fft_bench": [(r"ours/(.*)", r"fftw/\1", "FFTW3f")],
    "g722_bench": [(r"(encode|decode)Ours", r"\1Spandsp", "spandsp"), (r"(encode|decode)Ours", r"\1Avcodec", "libavcodec")],
    "g726_bench": [(r"(encode|decode)Ours/(.*)", r"\1Spandsp/\2", "spandsp")],
    "g729_bench": [(r"encoder(Main|A)", "encoderBcg729", "bcg729")],
    "g729_decoder_bench": [(r"(decode|roundTrip)Ours/(g729a?)", r"\1Bcg729", "bcg729")],
    "gsm_bench": [(r"(fullRate\w+)", r"\1Spandsp", "spandsp"), (r"(fullRate\w+)", r"\1Libgsm", "libgsm"),
                  (r"(amr\w+?)(/\d+)?", r"\1Opencore\2", "opencore-amr")],
    "noise_bench": [(r"filter/(\d+)/\d", r"speex/\1", "speexdsp")],
}
# Fast forms beside their definitions, as they are named everywhere.
PLAIN = [(r"(\w+?)(/.*)?", r"\1Plain\2", "plain"), (r"(\w+)Lanes(.*)", r"\1Plain\2", "plain"),
         (r"(\w+)/(?:kernel|fast)(.*)", r"\1/plain\2", "plain")]


class Run:
    """Medians of the repetitions of one program, by the benchmark's name."""

    def __init__(self, path):
        report = json.loads(path.read_text())
        self.context = report["context"]
        times, self.counters = {}, {}
        for row in sorted(report["benchmarks"],
                          key=lambda row: (row["family_index"], row["per_family_instance_index"])):
            if row.get("run_type") != "iteration" or row.get("error_occurred"):
                continue
            scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[row["time_unit"]]
            times.setdefault(row["run_name"], []).append(row["cpu_time"] * scale)
            for key in ("channels/core", "cycles/element"):
                if key in row:
                    self.counters.setdefault((row["run_name"], key), []).append(row[key])
        self.repetitions = max((len(t) for t in times.values()), default=0)
        self.median = {name: statistics.median(t) for name, t in times.items()}

    def partners(self, program, name):
        for ours, peer, who in PAIRS.get(program, []) + PLAIN:
            match = re.fullmatch(ours, name)
            if match:
                other = match.expand(peer)
                if other in self.median and other != name:
                    yield other, who


def shown(nanoseconds):
    return f"{nanoseconds:.1f}" if nanoseconds < 1000 else f"{nanoseconds:.0f}"


def page(runs):
    first = next(iter(runs.values()))
    yield "# Benchmarks\n"
    yield (f"{first.context['date'][:10]}, {first.context['num_cpus']} processors at {first.context['mhz_per_cpu']} MHz; "
           f"medians of {first.repetitions} interleaved repetitions, processor time in nanoseconds. "
           "A time is that of one call of the benchmark's loop; where there is a peer, of the same work. The ratio is the "
           "peer's time over ours; `plain` is the definition that a fast form is tested against.\n")
    for program, run in runs.items():
        yield f"\n## {program.removesuffix('_bench')}\n"
        used = {other for name in run.median for other, _ in run.partners(program, name)}
        counters = sorted({key for _, key in run.counters})
        if counters:
            yield f"| benchmark | ns | {' | '.join(counters)} |\n|---|---|{'---|' * len(counters)}"
            for name, time in run.median.items():
                values = (run.counters.get((name, key)) for key in counters)
                yield f"| {name} | {shown(time)} | {' | '.join(f'{statistics.median(v):.4g}' if v else '' for v in values)} |"
            continue
        yield "| benchmark | ns | peer | ns | ratio |\n|---|---|---|---|---|"
        for name, time in run.median.items():
            if name in used:
                continue
            partners = list(run.partners(program, name)) or [None]
            for partner in partners:
                if partner is None:
                    yield f"| {name} | {shown(time)} | | | |"
                else:
                    other, who = partner
                    yield f"| {name} | {shown(time)} | {who} | {shown(run.median[other])} | {run.median[other] / time:.2f} |"


def main():
    folder = pathlib.Path(sys.argv[1])
    runs = {path.stem: Run(path) for path in sorted(folder.glob("*.json"))}
    runs = {program: run for program, run in runs.items() if run.median}
    if not runs:
        sys.exit(f"{folder}: no results")
    print("\n".join(page(runs)))


main()
