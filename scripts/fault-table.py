#!/usr/bin/env python3
"""Puts the results of the sweeps of faults into docs/verification.md.

Builds the sweeps' test programs, runs the whole sweeps under Wine, and writes their tables between
the marks of the document. What is to be committed stands there afterwards.

    scripts/fault-table.py [exports] [deployment]      both unless named
"""

import os
import pathlib
import subprocess
import sys
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "mingw-x64"
DOCUMENT = ROOT / "docs" / "verification.md"


class Sweep(NamedTuple):
    target: str
    program: str
    tests: str    # those that write the table
    rows: str     # the file that they write it to, beside the program
    mark: str
    head: str
    seconds: int


SWEEPS = {
    "exports": Sweep(
        "AbiSweepTest", "AbiSweepTest.exe", "*", "fault-sweep.md", "fault sweep",
        "| export | platform call | code | result | seen |\n|---|---|---|---|---|\n", 1800),
    "deployment": Sweep(
        "DeploymentSweepTest", "DeploymentSweepTest_P.exe", "*DeploymentSweep*",
        "deployment-sweep.md", "deployment sweep",
        "| operation | result | one failing | all from one on | the one |\n"
        "|---|---|---|---|---|\n", 3600),
}


def run_sweep(sweep):
    """The rows of the table, one per line."""
    subprocess.run(["cmake", "--build", BUILD, "--target", sweep.target], check=True)
    program = BUILD / "bin" / sweep.program
    rows = program.with_name(sweep.rows)
    rows.unlink(missing_ok=True)
    env = dict(os.environ, WYSDK_TEST_FULL="1", WYSDK_SWEEP_TABLE="1")
    subprocess.run([ROOT / "scripts" / "wine-test.sh", "x64", str(sweep.seconds), program,
                    f"--gtest_filter={sweep.tests}"], check=True, env=env)
    return rows.read_text(encoding="utf-8")


def write_table(sweep, rows):
    begin, end = (f"<!-- {sweep.mark}: {word} -->" for word in ("begin", "end"))
    before, begin, rest = DOCUMENT.read_text(encoding="utf-8").partition(begin)
    _, end, after = rest.partition(end)
    if not begin or not end:
        sys.exit(f"{DOCUMENT}: the marks of the table are missing")
    DOCUMENT.write_text(f"{before}{begin}\n{sweep.head}{rows}{end}{after}", encoding="utf-8")


def main():
    for name in sys.argv[1:] or SWEEPS:
        rows = run_sweep(SWEEPS[name])
        write_table(SWEEPS[name], rows)
        print(f"{name}: {rows.count(chr(10))} rows")


if __name__ == "__main__":
    main()
