"""The runner's own test: programs that end badly must be counted as failed."""

import pathlib
import tempfile

import gtests
from support import Program, TestRun

REPORT = '''<testsuites tests="3"><testsuite name="S">
<testcase name="a" classname="S" status="run" />
<testcase name="b" classname="S" status="run"><skipped message="s.cpp:1&#x0A;no disk" /></testcase>
<testcase name="c" classname="S" status="run">{}</testcase></testsuite></testsuites>'''
GOOD, BAD = REPORT.format(""), REPORT.format('<failure message="x" />')

# what happens, the report that the program writes, how it ends, (passed, failed, skipped)
CASES = [
    ("all well", GOOD, "exit 0", (2, 0, 1)),
    ("a failed test", BAD, "exit 1", (1, 1, 1)),
    ("a failed test behind exit status 0", BAD, "exit 0", (1, 1, 1)),
    ("a failure after the report", GOOD, "exit 1", (2, 1, 1)),
    ("a crash after the report", GOOD, "kill -SEGV $$", (2, 1, 1)),
    ("a crash before the report", "", "kill -SEGV $$", (0, 1, 0)),
    ("an early end that looks well", "", "exit 0", (0, 1, 0)),
    ("half a report", GOOD[:150], "exit 0", (0, 1, 0)),
    ("a report that lost a test", GOOD.replace('"3"', '"4"'), "exit 0", (0, 1, 0)),
    ("no test at all", '<testsuites tests="0" />', "exit 0", (0, 1, 0)),
    ("a hang", GOOD, "sleep 100", (2, 1, 1)),
]


class Counter:
    """Stands in for the report: only counts."""

    def __init__(self):
        self.counts = [0, 0, 0]
        self.reasons = []

    def say(self, _text):
        pass

    def passed(self, count=1):
        self.counts[0] += count

    def failed(self, _name, _detail, count=1):
        self.counts[1] += count

    def skipped(self, _name, reason, count=1):
        self.counts[2] += count
        self.reasons.append(reason)


class BuildsByName(TestRun):
    """Builds nothing; what is named "broken" fails. Notes what was begun ahead."""

    def __init__(self, report):
        super().__init__(report, quick=False, full=False)
        self.begun = []

    def _build(self, preset, prefix=()):
        self.begun.append((preset, bool(prefix)))
        return "messages" if preset == "broken" else None


def check_builds(report):
    counter = Counter()
    trial = BuildsByName(counter)
    trial.plan_builds(["first", "broken", "last"])
    answers = []
    for preset in ("first", "first", "broken", "broken", "last"):
        answers.append(trial.build(preset))
        trial.build_ahead()
    begun = [("first", False), ("broken", True), ("last", True)]
    # A failure is counted once, whoever asks for the build afterwards.
    if answers == [True, True, False, False, True] and counter.counts == [0, 1, 0] and (
            trial.begun == begun):
        report.passed()
    else:
        report.failed("builds ahead", f"{answers} {counter.counts} {trial.begun}")


def check_messages(report):
    """A failure's own words are shown, however much is written after it."""
    with tempfile.TemporaryDirectory() as folder:
        log = pathlib.Path(folder) / "program.log"
        test = "[ RUN      ] S.{0}\nthe words of {0}\n[  FAILED  ] S.{0} (3 ms)\n"
        log.write_text(test.format("a") + "later\n" * 500 + test.format("b"), encoding="utf-8")
        told = gtests.said_by(log, ["S.a", "S.b"])
        first = gtests.said_by(log, ["S.a", "S.b"], tests=1)
        none = gtests.said_by(log, ["S.unknown"])
    wanted = "[ RUN      ] S.a\nthe words of a\n[ RUN      ] S.b\nthe words of b"
    if told == wanted and "the words of b" not in first and "1 tests more" in first and (
            "the words of b" in none):
        report.passed()
    else:
        report.failed("messages of failed tests", told + "\n" + first)


def check(run):
    check_builds(run.report)
    check_messages(run.report)
    for name, text, end, wanted in CASES:
        counter = Counter()
        with tempfile.TemporaryDirectory() as folder:
            script = pathlib.Path(folder) / "program"
            (pathlib.Path(folder) / "report").write_text(text, encoding="utf-8")
            save = 'cat report >"${1#--gtest_output=xml:}"' if text else ":"
            script.write_text(f"#!/bin/sh\n{save}\n{end}\n", encoding="utf-8")
            script.chmod(0o755)
            # A busy machine may take its time for all but the hang.
            limit = 1 if name == "a hang" else 60
            program = Program("gtest", "unit", "program", False, limit, script, None)
            trial = TestRun(counter, quick=False, full=False)
            gtests.run_program(trial, "runner", program, None)
        reasons_kept = counter.reasons == ["no disk"] * wanted[2]
        if tuple(counter.counts) == wanted and reasons_kept:
            run.report.passed()
        else:
            run.report.failed(name, f"counted {counter.counts} {counter.reasons}, not {wanted}")
