#!/usr/bin/env python3
"""Puts the results of the sweep of faults into docs/verification.md.

Builds the sweep's test program, runs the whole sweep under Wine, and writes its table between the
two marks of the document. What is to be committed stands there afterwards.
"""

import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "mingw-x64"
PROGRAM = BUILD / "bin" / "AbiSweepTest.exe"
DOCUMENT = ROOT / "docs" / "verification.md"
BEGIN = "<!-- fault sweep: begin -->"
END = "<!-- fault sweep: end -->"
HEAD = ("| export | platform call | code | result | seen |\n"
        "|---|---|---|---|---|\n")
SECONDS = 1800


def run_sweep():
    """The rows of the table, one per line."""
    subprocess.run(["cmake", "--build", BUILD, "--target", PROGRAM.stem], check=True)
    rows = PROGRAM.with_name("fault-sweep.md")
    rows.unlink(missing_ok=True)
    env = dict(os.environ, WYSDK_TEST_FULL="1", WYSDK_SWEEP_TABLE="1")
    subprocess.run([ROOT / "scripts" / "wine-test.sh", "x64", str(SECONDS), PROGRAM], check=True,
                   env=env)
    return rows.read_text(encoding="utf-8")


def main():
    rows = run_sweep()
    text = DOCUMENT.read_text(encoding="utf-8")
    before, begin, rest = text.partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        sys.exit(f"{DOCUMENT}: the marks of the table are missing")
    DOCUMENT.write_text(f"{before}{BEGIN}\n{HEAD}{rows}{END}{after}", encoding="utf-8")
    print(f"{rows.count(chr(10))} rows")


if __name__ == "__main__":
    main()
