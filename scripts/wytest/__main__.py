"""Runs the groups of ./test and prints the sum of what passed, failed and was skipped."""

import argparse
import fcntl
import os
import signal
import sys
import time

import groups
from report import Report
from support import ROOT, TestRun


def parse_arguments():
    parser = argparse.ArgumentParser(
        prog="./test",
        description="Builds and runs all tests, or the groups named. "
        "A name without its ending stands for all its groups: unit is unit-asan, unit-tsan, ...",
    )
    parser.add_argument("groups", nargs="*", metavar="NAME", help="a group; see --list")
    parser.add_argument("--quick", action="store_true", help="leave out the slow groups and tests")
    parser.add_argument("--full", action="store_true", help="whole sweeps, soaks and fuzzing")
    parser.add_argument("--list", action="store_true", help="list the groups and stop")
    return parser.parse_args()


def choose(names, quick, full):
    """The groups to run, in their own order; names that match nothing end the program."""
    for name in names:
        if not any(group.matches(name) for group in groups.ALL):
            sys.exit(f"./test: no group is named '{name}'; ./test --list shows them all")
    if names:
        return [g for g in groups.ALL if any(g.matches(name) for name in names)]
    return [g for g in groups.ALL if not g.slow or (full and not quick)]


def hold_lock():
    """Two runs in one clone would build into the same folders."""
    os.makedirs(ROOT / "build", exist_ok=True)
    lock = open(ROOT / "build" / "test.lock", "w", encoding="ascii")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        print("waiting for another ./test in this clone", flush=True)
        fcntl.flock(lock, fcntl.LOCK_EX)
    return lock


def interrupt(_signal, _frame):
    raise KeyboardInterrupt


def main():
    arguments = parse_arguments()
    if arguments.list:
        for group in groups.ALL:
            print(f"{group.name:12} {'slow   ' if group.slow else '       '}{group.about}")
        return 0
    chosen = choose(arguments.groups, arguments.quick, arguments.full)
    lock = hold_lock()
    signal.signal(signal.SIGTERM, interrupt)
    report = Report()
    run = TestRun(report, quick=arguments.quick, full=arguments.full)
    run.plan_builds(dict.fromkeys(preset for group in chosen for preset in group.builds))
    started = time.monotonic()
    try:
        for number, group in enumerate(chosen, 1):
            report.begin(group.name, f"[{number}/{len(chosen)}] {group.name}: {group.about}")
            group.run(run)
            report.end()
    except KeyboardInterrupt:
        run.stop_programs()
        report.failed("run", "interrupted")
    if not arguments.groups and (arguments.quick or not arguments.full):
        for group in groups.ALL:
            if group.slow:
                report.begin(group.name, "")
                report.skipped("all of it", "slow group, run by --full or by its name")
    lock.close()
    report.summary(time.monotonic() - started)
    return 1 if report.failures else 0


if __name__ == "__main__":
    sys.exit(main())
