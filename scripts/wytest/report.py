"""What passed, failed and was skipped, and how it is told."""

import threading
import time


class Report:
    """Counts of one run. Any thread may report; lines come out whole."""

    def __init__(self):
        self.passes = 0
        self.failures = []
        self.skips = []
        self._times = []
        self._group = ""
        self._started = 0.0
        self._lock = threading.RLock()

    def begin(self, group, headline):
        self._group = group
        self._started = time.monotonic()
        if headline:
            self.say(headline)

    def end(self):
        self._times.append((self._group, time.monotonic() - self._started))

    def say(self, text):
        with self._lock:
            print(text, flush=True)

    def passed(self, count=1):
        with self._lock:
            self.passes += count

    def failed(self, name, detail, count=1):
        """One or more failures of `name`; `detail` is shown at once, the name again at the end."""
        with self._lock:
            self.failures += [f"{self._group}: {name}"] * count
            self.say(f"  FAILED {name}")
            for line in detail.rstrip().splitlines():
                self.say("    " + line)

    def skipped(self, name, reason, count=1):
        with self._lock:
            self.skips += [(f"{self._group}: {name}", reason)] * count

    def summary(self, seconds):
        self.say("")
        self.say("time: " + ", ".join(f"{name} {took:.0f} s" for name, took in self._times)
                 + f"; all {seconds:.0f} s")
        by_reason = {}
        for name, reason in self.skips:
            by_reason.setdefault(reason, []).append(name)
        for reason, names in sorted(by_reason.items()):
            shown = ", ".join(sorted(set(names))[:4]) + (", ..." if len(set(names)) > 4 else "")
            self.say(f"skipped {len(names)}: {reason} ({shown})")
        for name in dict.fromkeys(self.failures):
            self.say(f"failed: {name}")
        self.say(f"{self.passes} passed, {len(self.failures)} failed, {len(self.skips)} skipped")
