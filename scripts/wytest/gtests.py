"""Runs GoogleTest programs, natively or under Wine, and counts what their reports say."""

import concurrent.futures
import os
import time
import xml.etree.ElementTree

from support import JOBS, ROOT, tail

# A finding of a sanitizer must end the program with a failure, wherever it was.
SANITIZERS = {
    "ASAN_OPTIONS": "detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1",
    "UBSAN_OPTIONS": "print_stacktrace=1:halt_on_error=1",
    "TSAN_OPTIONS": "second_deadlock_stack=1",
}


def wine_path(path):
    return "Z:" + str(path).replace("/", "\\")


def run_group(run, preset, groups, arch=None):
    """Builds `preset` and runs its programs of `groups`; `arch` (x64, x86) means under Wine."""
    if not run.build(preset):
        return
    run.build_ahead()
    programs = [program for group in groups for program in run.programs(preset, "gtest", group)]
    if not programs:
        run.report.skipped(preset, "the build declares no test program of this group")
        return
    # Those that may take longest begin first, so that none of them runs alone in the end.
    programs.sort(key=lambda program: -program.timeout)
    with concurrent.futures.ThreadPoolExecutor(max_workers=JOBS) as pool:
        jobs = [pool.submit(run_program, run, preset, program, arch) for program in programs]
        try:
            for job in jobs:
                job.result()
        except KeyboardInterrupt:
            pool.shutdown(wait=False, cancel_futures=True)
            run.stop_programs()
            raise


def run_program(run, preset, program, arch):
    name = f"{program.name} ({preset})"
    if program.slow and run.quick:
        run.report.skipped(name, "slow test program, left out by --quick")
        return
    folder = ROOT / "build" / "logs" / preset
    folder.mkdir(parents=True, exist_ok=True)
    log, result = folder / f"{program.name}.log", folder / f"{program.name}.xml"
    result.unlink(missing_ok=True)
    limit = program.timeout * (20 if run.full else 1)
    env = dict(os.environ, GTEST_COLOR="no", **SANITIZERS)
    env.pop("WYSDK_TEST_FULL", None)
    if run.full:
        env["WYSDK_TEST_FULL"] = "1"
    if arch:
        command = [ROOT / "scripts" / "wine-test.sh", arch, limit, program.path,
                   "--gtest_output=xml:" + wine_path(result)]
    else:
        command = [program.path, f"--gtest_output=xml:{result}"]
    started = time.monotonic()
    with open(log, "wb") as output:
        process = run.start(command, output, cwd=program.path.parent, env=env)
        # wine-test.sh keeps the limit itself; the margin is for making and ending its prefix.
        status = run.wait(process, limit + 150 if arch else limit)
    if arch and status == 124:
        status = None
    judge(run.report, name, status, result, log, limit, time.monotonic() - started)


def judge(report, name, status, result, log, limit, seconds):
    """Counts one program's tests. A program that crashed, hung or tested nothing has failed."""
    try:
        counted = count(xml.etree.ElementTree.parse(result).getroot())
    except (OSError, ValueError, xml.etree.ElementTree.ParseError) as error:
        ended = f"not finished after {limit} s" if status is None else f"exit status {status}"
        report.failed(name, f"{ended}, no complete result ({error})\n{tail(log)}")
        return
    passed, failed, skipped = counted
    report.passed(passed)
    for test, reason in skipped:
        report.skipped(f"{test} in {name}", reason)
    if failed:
        report.failed(name, "\n".join(failed) + "\n" + said_by(log, failed), count=len(failed))
    elif status != 0:
        ended = f"not finished after {limit} s" if status is None else f"exit status {status}"
        report.failed(name, f"{ended} although no test failed\n{tail(log)}")
    elif not passed and not skipped:
        report.failed(name, "the program contains no test")
    note = f", {len(skipped)} skipped" if skipped else ""
    note += f", {len(failed)} FAILED" if failed else ""
    report.say(f"  {name}: {passed} passed{note}, {seconds:.1f} s")


def said_by(log, failed, tests=5, lines=80):
    """What the first of the failed tests wrote, with their failures; else the end of the log."""
    text = log.read_text(encoding="utf-8", errors="replace").replace("\r", "")
    shown = []
    for test in failed[:tests]:
        begin = text.find(f"[ RUN      ] {test}\n")
        end = text.find(f"[  FAILED  ] {test}", begin)
        if begin >= 0 <= end:
            said = text[begin:end].splitlines()
            cut = [f"... and {len(said) - lines} lines more in {log}"] if len(said) > lines else []
            shown += said[:lines] + cut
    if len(failed) > tests:
        shown.append(f"... and {len(failed) - tests} tests more in {log}")
    return "\n".join(shown) or tail(log)


def count(root):
    """(passed, names of failed, [(skipped, reason)]) of GoogleTest's XML report."""
    passed, failed, skipped = 0, [], []
    for test in root.iter("testcase"):
        name = f"{test.get('classname')}.{test.get('name')}"
        skip = test.find("skipped")
        if test.find("failure") is not None:
            failed.append(name)
        elif skip is not None:
            # The first line is the place in the source.
            reason = " ".join((skip.get("message") or "").splitlines()[1:]).strip()
            skipped.append((name, reason or "no reason given"))
        elif test.get("status") == "notrun":
            skipped.append((name, "disabled"))
        else:
            passed += 1
    if passed + len(failed) + len(skipped) != int(root.get("tests")):
        raise ValueError("its counts do not add up")
    return passed, failed, skipped
