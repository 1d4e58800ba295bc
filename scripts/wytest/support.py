"""What the groups share: the run's settings, processes, builds and the test lists of builds."""

import collections
import os
import pathlib
import re
import signal
import subprocess
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
JOBS = int(os.environ.get("WYSDK_JOBS") or os.cpu_count() or 2)

Program = collections.namedtuple("Program", "kind group name slow timeout path corpus")


def tail(path, lines=60):
    """The end of a log file, for a failure message."""
    try:
        text = pathlib.Path(path).read_text(encoding="utf-8", errors="replace")
    except OSError as error:
        return f"(no log: {error})"
    kept = text.replace("\r", "").splitlines()
    note = [f"(the last {lines} lines of {path})"] if len(kept) > lines else []
    return "\n".join(note + kept[-lines:])


def build_errors(log):
    """The messages of the steps that failed, without the steps that went well beside them."""
    text = pathlib.Path(log).read_text(encoding="utf-8", errors="replace")
    steps = re.split(r"^(?=\[\d+/\d+\] )", text, flags=re.MULTILINE)
    failed = [step.split("\n", 3) for step in steps if "\nFAILED: " in step]
    if not failed:
        return tail(log, 40)
    # A step is its headline, FAILED, the command line (thousands of characters) and the messages.
    shown = "\n".join(step[1] + "\n" + step[-1] for step in failed).splitlines()
    more = [f"... and more in {log}"] if len(shown) > 80 else []
    return "\n".join(shown[:80] + more)


def tracked_files(*patterns):
    """Paths of the files under version control, new ones that are not ignored included."""
    output = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", *patterns],
        cwd=ROOT, check=True, capture_output=True).stdout.decode()
    return [name for name in output.split("\0") if name and (ROOT / name).is_file()]


class TestRun:
    """One run of ./test. Remembers what is built, and which programs still run."""

    def __init__(self, report, quick, full):
        self.report = report
        self.quick = quick
        self.full = full
        self._built = {}
        self._ahead = collections.deque()
        self._builder = None
        self._running = set()
        self._lock = threading.Lock()

    def start(self, command, log, cwd=None, env=None):
        """Starts a program in a process group of its own, output to the open file `log`."""
        with self._lock:
            process = subprocess.Popen(
                [str(part) for part in command], cwd=cwd, env=env, stdin=subprocess.DEVNULL,
                stdout=log, stderr=subprocess.STDOUT, start_new_session=True)
            self._running.add(process)
        return process

    def wait(self, process, timeout=None):
        """The exit status, or None when the time was up and the program has been ended."""
        try:
            return process.wait(timeout)
        except subprocess.TimeoutExpired:
            self._stop(process)
            return None
        finally:
            with self._lock:
                self._running.discard(process)

    def stop_programs(self):
        with self._lock:
            running = list(self._running)
        for process in running:
            self._stop(process)

    @staticmethod
    def _stop(process):
        # The polite signal first: wine-test.sh ends its Wine server on it.
        for kind, patience in ((signal.SIGTERM, 30), (signal.SIGKILL, 5)):
            try:
                os.killpg(process.pid, kind)
            except ProcessLookupError:
                pass
            try:
                process.wait(patience)
                return
            except subprocess.TimeoutExpired:
                continue

    def plan_builds(self, presets):
        """The presets that this run will build, in their order; for build_ahead()."""
        self._ahead.extend(presets)

    def build(self, preset):
        """Configures and builds a preset once per run; False when that failed."""
        if preset not in self._built and self._builder:
            self._builder.join()
        if preset not in self._built:
            self._built[preset] = self._build(preset)
        errors = self._built[preset]
        if errors:
            self.report.failed(f"build of {preset}", errors)
            self._built[preset] = ""
        return errors is None

    def build_ahead(self):
        """Begins the next build of the plan while tests run, which mostly wait, and go first."""
        if self._builder and self._builder.is_alive():
            return
        while self._ahead and self._ahead[0] in self._built:
            self._ahead.popleft()
        if self._ahead:
            preset = self._ahead.popleft()
            self._builder = threading.Thread(
                target=lambda: self._built.update({preset: self._build(preset, ["nice"])}))
            self._builder.start()

    def _build(self, preset, prefix=()):
        """None, or what is to be told of a build that failed."""
        started = time.monotonic()
        folder = ROOT / "build" / preset
        logs = ROOT / "build" / "logs"
        logs.mkdir(parents=True, exist_ok=True)
        log = logs / f"build-{preset}.log"
        with open(log, "wb") as output:
            for command in (["cmake", "--preset", preset],
                            ["cmake", "--build", folder, "-j", JOBS, "--", "-k", "0"]):
                process = self.start([*prefix, *command], output, cwd=ROOT)
                while True:
                    try:
                        status = process.wait(20)
                        break
                    except subprocess.TimeoutExpired:
                        steps = re.findall(r"^\[(\d+/\d+)\]", tail(log, 20), re.MULTILINE)
                        if steps:
                            self.report.say(f"  building {preset}: {steps[-1]}")
                self.wait(process)
                if status != 0:
                    return build_errors(log) or f"no message in {log}"
        self.report.say(f"  built {preset} in {time.monotonic() - started:.0f} s")
        return None

    def programs(self, preset, kind, group):
        """The test programs that a built preset declares for a group (all groups: None)."""
        found = []
        text = (ROOT / "build" / preset / "wytests.list").read_text(encoding="utf-8")
        for line in text.splitlines():
            fields = line.split("\t")
            if fields[0] == kind and group in (None, fields[1]):
                found.append(Program(fields[0], fields[1], fields[2], fields[3] == "slow",
                                     int(fields[4]), pathlib.Path(fields[5]),
                                     pathlib.Path(fields[6]) if len(fields) > 6 else None))
        return found
