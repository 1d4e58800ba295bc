"""Formatting and clang-tidy."""

import concurrent.futures
import json
import pathlib
import subprocess

from support import JOBS, ROOT, tracked_files

SOURCES = ("*.c", "*.cpp", "*.h", "*.hpp")


def check_format(run):
    files = tracked_files(*SOURCES)
    if not files:
        run.report.failed("format", "found no source file")
        return
    result = subprocess.run(["clang-format-14", "--dry-run", "-Werror", *files], cwd=ROOT,
                            check=False, capture_output=True, text=True)
    bad = {line.split(":")[0] for line in result.stderr.splitlines()
           if "clang-format-violations" in line}
    if result.returncode == 0:
        run.report.passed(len(files))
        return
    run.report.passed(len(files) - len(bad))
    run.report.failed("format", "\n".join(sorted(bad) or result.stderr.splitlines()[:20])
                      + "\nclang-format-14 -i FILE mends them", count=max(1, len(bad)))


def check_tidy(run):
    """One test per translation unit of the product that the Clang build compiles."""
    if not run.build("native-tsan"):
        return
    folder = ROOT / "build" / "native-tsan"
    commands = json.loads((folder / "compile_commands.json").read_text(encoding="utf-8"))
    product = [ROOT / name for name in ("src", "trace", "devhost", "wyctl")]
    files = sorted({pathlib.Path(c["file"]) for c in commands
                    if any(pathlib.Path(c["file"]).is_relative_to(p) for p in product)})
    if not files:
        run.report.skipped("native-tsan", "the native build has no product source")
        return
    run.report.say(f"  {len(files)} files")
    with concurrent.futures.ThreadPoolExecutor(max_workers=JOBS) as pool:
        results = pool.map(lambda f: (f, tidy(folder, f)), files)
        for number, (file, findings) in enumerate(results, 1):
            if findings:
                run.report.failed(str(file.relative_to(ROOT)), findings)
            else:
                run.report.passed()
            if number % 20 == 0:
                run.report.say(f"  {number} of {len(files)}")


def tidy(folder, file):
    """What clang-tidy says about one file; empty when it has nothing to say."""
    result = subprocess.run(
        ["clang-tidy-14", "-p", folder, "--quiet", "--warnings-as-errors=*", file],
        cwd=ROOT, check=False, capture_output=True, text=True)
    if result.returncode == 0:
        return ""
    return (result.stdout or result.stderr)[:6000]
