"""The 32-bit build under Wine, where 32-bit Wine can be had without changing the machine."""

import subprocess

import gtests
from support import ROOT

GROUPS = ("unit", "abi")


def check(run):
    if not run.build("mingw-x86"):
        return
    prepared = subprocess.run([ROOT / "scripts" / "wine32.sh", "prepare"], check=False,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if prepared.returncode == 77:
        reason = prepared.stdout.strip().splitlines()[-1]
        for group in GROUPS:
            for program in run.programs("mingw-x86", "gtest", group):
                run.report.skipped(f"{program.name} (mingw-x86)", reason)
        return
    if prepared.returncode != 0:
        run.report.failed("wine32.sh prepare", prepared.stdout + prepared.stderr)
        return
    gtests.run_group(run, "mingw-x86", GROUPS, "x86")
