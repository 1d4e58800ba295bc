#!/usr/bin/env python3
"""Reads what bench/run measured and prints it as a Markdown table of ratios.

A ratio is that of two medians of one run whose repetitions were interleaved. A figure whose
repetitions spread too widely is marked, not hidden.
"""
import json
import statistics
import sys
from pathlib import Path

SPREAD_LIMIT = 0.25  # standard deviation over median


def aggregates(path):
    """name -> (median ns, spread, counters of the median) of one Google Benchmark report."""
    table = {}
    for row in json.loads(path.read_text())["benchmarks"]:
        entry = table.setdefault(row["run_name"], {})
        if row.get("aggregate_name") == "median":
            entry["median"] = row["cpu_time"]
            entry["allocations"] = row.get("allocations")
        elif row.get("aggregate_name") == "cv":
            entry["spread"] = row["cpu_time"]
    return table


def fields(path):
    """The key=value lines of a Windows benchmark."""
    for line in path.read_text().splitlines():
        words = line.split()
        if len(words) > 1:
            yield words[0], {k: float(v) for k, v in (w.split("=", 1) for w in words[1:])}


def row(what, figure, limit, remark=""):
    print(f"| {what} | {figure} | {limit} | {remark} |")


def spread_mark(*entries):
    wide = [e for e in entries if e.get("spread", 0) > SPREAD_LIMIT]
    return "spread too wide, measure again" if wide else ""


def marshalling(path):
    table = aggregates(path)
    alone, call = table["JsonTextAlone"], table["CallOfTenFields"]
    row("call of ten fields ÷ its JSON text alone", f"{call['median'] / alone['median']:.2f}", "1.25",
        f"{call['median'] / 1000:.2f} µs, {alone['median'] / 1000:.2f} µs. {spread_mark(alone, call)}")
    row("allocations of the call beyond jsoncpp's", f"{call['allocations'] - alone['allocations']:.0f}",
        "counted", f"{call['allocations']:.0f} and {alone['allocations']:.0f}")


def formats(path):
    table = aggregates(path)
    own = table["ParameterMessage"]
    for name in ("Protobuf", "MessagePack", "SdBus"):
        other = table[name]
        row(f"parameter message ÷ {name}", f"{own['median'] / other['median']:.2f}", "shown",
            f"{own['median']:.0f} ns, {other['median']:.0f} ns. {spread_mark(own, other)}")


def cipher(path):
    table = aggregates(path)
    for size, what in (("Long", "16 KiB"), ("Short", "256 bytes and their key")):
        for direction in ("encrypt", "decrypt"):
            own, other = table[f"{size}Ours/{direction}"], table[f"{size}MbedTls/{direction}"]
            row(f"{direction} {what} ÷ mbedTLS's tables", f"{own['median'] / other['median']:.2f}",
                "1.0", f"{own['median'] / 1000:.2f} µs, {other['median'] / 1000:.2f} µs. "
                f"{spread_mark(own, other)}")


def json_database(path):
    table = aggregates(path)
    for what, alone in (("Save", "Encipher"), ("Load", "Decipher")):
        bare, own = table[f"Bare{what}"], table[f"{what}/plain"]
        row(f"JSON database: {what.lower()} ÷ jsoncpp, conversion and file",
            f"{own['median'] / bare['median']:.2f}", "1.15",
            f"{own['median'] / 1000:.0f} µs, {bare['median'] / 1000:.0f} µs. {spread_mark(bare, own)}")
        own, text = table[f"{what}/enciphered"], table[alone]
        row("the same enciphered ÷ that and the cipher's own time",
            f"{own['median'] / (bare['median'] + text['median']):.2f}", "1.15",
            f"{own['median'] / 1000:.0f} µs, {bare['median'] / 1000:.0f} and "
            f"{text['median'] / 1000:.0f} µs. {spread_mark(bare, own, text)}")


def log_line(path):
    for name, entry in aggregates(path).items():
        row(f"log: {name}", f"{entry['median']:.2f} ns", "", spread_mark(entry))


def xml(path):
    table = aggregates(path)
    for kind, what, limit in (("Manifest", "package manifest", "1.35"),
                              ("Texts", "document of short texts", "shown")):
        bare, tree = table[f"{kind}Bare"], table[f"{kind}Tree"]
        row(f"XML open and tree ÷ bare expat, {what}", f"{tree['median'] / bare['median']:.2f}", limit,
            f"{tree['median'] / 1e6:.2f} ms, {bare['median'] / 1e6:.2f} ms, "
            f"{tree['allocations'] - bare['allocations']:.0f} allocations. {spread_mark(bare, tree)}")


def log_files(path):
    table = aggregates(path)
    locks, other_off = table["TwoLockRoundTrips"], table["SpdlogFilteredLine"]
    for name, what in (("FilteredLine", "printf style"), ("FilteredStream", "stream style")):
        own = table[name]
        row(f"log line that is filtered away ({what}) ÷ two lock round trips",
            f"{own['median'] / locks['median']:.2f}", "1.0",
            f"{own['median']:.1f} ns, {locks['median']:.1f} ns; spdlog's disabled line "
            f"{other_off['median']:.1f} ns. {spread_mark(own, locks)}")
    own, other = table["WrittenLine"], table["SpdlogWrittenLine"]
    row("log line in the file ÷ spdlog's file sink for many threads, flushed",
        f"{own['median'] / other['median']:.2f}", "shown",
        f"{own['median']:.0f} ns, {other['median']:.0f} ns. {spread_mark(own, other)}")


def round_trip(path):
    for _, f in fields(path):
        row("WyGetSysCpuUsage through the DLL ÷ bare stub call (Wine)", f"{f['ratio']:.2f}", "1.10",
            f"{f['dll_us']:.0f} µs, {f['bare_us']:.0f} µs, quartiles of the ratio "
            f"{f['ratio_p25']:.2f} to {f['ratio_p75']:.2f}")


def events(path):
    """Medians of the runs, which took turns."""
    runs = {}
    for name, f in fields(path):
        runs.setdefault(name, []).append(f)
    dll, bare = runs["events_dll"], runs["events_bare"]
    for key, what in (("p50_us", "median"), ("p99_us", "99th percentile")):
        ours, theirs = (statistics.median(f[key] for f in r) for r in (dll, bare))
        row(f"event from publication to callback ÷ bare routine, {what} (Wine)",
            f"{ours / theirs:.2f}", "shown", f"{ours:.0f} µs, {theirs:.0f} µs")
    ours, theirs = (statistics.median(f["per_second"] for f in r) for r in (dll, bare))
    count = int(sum(f["count"] for f in dll))
    row("events in a second ÷ bare routine (Wine)", f"{ours / theirs:.2f}", "shown",
        f"{ours:.0f}, {theirs:.0f}; {count} events of 300 characters")


def files(path):
    names = {"copy": ("CopyDirectory of a tree of", "files", "1.10"),
             "delete": ("DeleteAllFiles of a tree of", "files", "1.10"),
             "deploy": ("deploying", "files in 200 folders", "1.15")}
    for name, f in fields(path):
        begin, end, limit = names[name]
        row(f"{begin} {f['files']:.0f} {end} ÷ bare loop of the same calls (Wine)",
            f"{f['ratio']:.2f}", limit,
            f"{f['library_ms']:.0f} ms, {f['bare_ms']:.0f} ms, quartiles of the ratio "
            f"{f['ratio_p25']:.2f} to {f['ratio_p75']:.2f}")


def answers(path):
    by_size = {}
    for _, f in fields(path):
        by_size.setdefault(int(f["kib"]), []).append(f)
    small, large = (by_size[k] for k in sorted(by_size))
    ms = [statistics.median(f["ms"] for f in runs) for runs in (small, large)]
    row("answer of 16 MiB of JSON ÷ answer of 1 MiB, time (Wine)", f"{ms[1] / ms[0]:.1f}", "20",
        f"{ms[1]:.0f} ms, {ms[0]:.0f} ms")
    peak = statistics.median(f["peak_per_text_byte"] for f in large)
    wide = statistics.median(f["peak_per_wide_byte"] for f in large)
    row("peak memory of the 16 MiB answer ÷ text (Wine)", f"{wide:.1f}", "12",
        f"against the UTF-16 text; {peak:.1f} against one byte a character")


def main():
    results = Path(sys.argv[1])
    print("| what | measured | at most | |")
    print("|---|---|---|---|")
    for name, show in (("roundtrip.txt", round_trip), ("bench_marshalling.json", marshalling),
                       ("bench_formats.json", formats), ("bench_cipher.json", cipher),
                       ("bench_jsondb.json", json_database), ("bench_xml.json", xml),
                       ("answers.txt", answers), ("events.txt", events), ("files.txt", files),
                       ("deploy.txt", files),
                       ("bench_log.json", log_line), ("bench_logfiles.json", log_files)):
        if (results / name).exists():
            show(results / name)


if __name__ == "__main__":
    main()
