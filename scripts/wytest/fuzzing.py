"""Fuzz targets: each file of the corpus once, then mutations from a fixed seed."""

import os
import pathlib
import re
import shutil
import tempfile

from gtests import SANITIZERS
from support import ROOT, tail

# The build of the unit tests, which has the same sanitizers.
PRESET = "native-asan"
SAMPLE = ["-seed=1", "-runs=3000"]
FULL = ["-max_total_time=600"]


def check(run):
    if not run.build(PRESET):
        return
    targets = run.programs(PRESET, "fuzz", None)
    if not targets:
        run.report.skipped(PRESET, "the build declares no fuzz target")
    for target in targets:
        replay(run, target)


def replay(run, target):
    files = [f for f in target.corpus.rglob("*") if f.is_file()] if target.corpus.is_dir() else []
    if not files:
        run.report.failed(target.name, f"its corpus {target.corpus} is empty")
        return
    folder = ROOT / "build" / "logs" / "fuzz"
    folder.mkdir(parents=True, exist_ok=True)
    # Findings stay there; a run that finds nothing leaves nothing.
    findings = folder / f"{target.name}-findings"
    shutil.rmtree(findings, ignore_errors=True)
    findings.mkdir()
    report, prefix = run.report, [f"-artifact_prefix={findings}/", "-timeout=25", "-rss_limit_mb=3072"]
    log = folder / f"{target.name}-corpus.log"
    if run_target(run, target, [*prefix, "-runs=0", target.corpus], log):
        report.passed()
    with tempfile.TemporaryDirectory(dir=folder) as scratch:
        log = folder / f"{target.name}-sample.log"
        effort = FULL if run.full else SAMPLE
        if run_target(run, target, [*prefix, *effort, scratch, target.corpus], log):
            report.passed()
            report.say(f"  {target.name}: {len(files)} corpus files, {outcome(log)}")
    if not any(findings.iterdir()):
        findings.rmdir()


def run_target(run, target, arguments, log):
    limit = target.timeout + (700 if run.full else 0)
    with open(log, "wb") as output:
        process = run.start([target.path, *arguments], output, cwd=target.path.parent,
                            env=dict(os.environ, **SANITIZERS))
        status = run.wait(process, limit)
    # libFuzzer says when it is through: an early exit of the target is not a success.
    done = re.search(r"^Done \d+ runs|^#\d+\s+DONE", pathlib.Path(log).read_text(errors="replace"),
                     re.MULTILINE)
    if status == 0 and done:
        return True
    ended = f"not finished after {limit} s" if status is None else f"exit status {status}"
    run.report.failed(target.name, f"{ended}\n{tail(log)}")
    return False


def outcome(log):
    """Executions and coverage as libFuzzer's last lines tell them."""
    text = pathlib.Path(log).read_text(errors="replace")
    runs = re.search(r"^Done (\d+) runs in (\d+)", text, re.MULTILINE)
    coverage = re.findall(r"\bcov: (\d+)", text)
    return (f"{runs.group(1)} runs in {runs.group(2)} s" if runs else "runs unknown") + (
        f", {coverage[-1]} edges" if coverage else "")
