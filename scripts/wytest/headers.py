"""Each header compiles alone: it includes what it needs."""

import concurrent.futures
import os
import pathlib
import subprocess
import tempfile

from support import JOBS, ROOT, tracked_files

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only"]
PUBLIC = "include/WySdk/WySdk.h"


def compile_alone(compiler, options, header, suffix):
    """The compiler's messages for a source that holds nothing but the #include line."""
    with tempfile.NamedTemporaryFile("w", suffix=suffix, delete=False) as source:
        source.write(f'#include "{header}"\n')
    try:
        result = subprocess.run([compiler, *options, *WARNINGS, source.name], cwd=ROOT,
                                check=False, capture_output=True, text=True)
    finally:
        pathlib.Path(source.name).unlink()
    return "" if result.returncode == 0 else result.stderr[:3000]


def deps_folder():
    output = subprocess.run([ROOT / "scripts" / "deps-dir.sh"], check=True, capture_output=True,
                            text=True).stdout
    return pathlib.Path(output.strip())


def check(run):
    # Headers that are generated (RPC stubs) come out of the build.
    if not run.build("mingw-x64"):
        return
    deps = deps_folder() / "x86_64"
    generated = sorted({str(pathlib.Path(folder)) for folder, _, names
                        in os.walk(ROOT / "build" / "mingw-x64")
                        if folder.endswith("/rpc") and any(n.endswith(".h") for n in names)})
    internal = ["-std=c++20", "-DUNICODE", "-D_UNICODE", "-DBOOST_ALL_NO_LIB",
                "-Isrc", "-Iinclude", "-I.",
                *[option for folder in [*generated, deps / "include", deps / "header-only"]
                  for option in ("-isystem", str(folder))]]
    jobs = [("x86_64-w64-mingw32-g++-posix", internal, header, ".cpp")
            for header in tracked_files("src/*.h", "include/*.h", "trace/*.h", "devhost/*.h",
                                        "wyctl/*.h")]
    jobs += [(f"{arch}-w64-mingw32-g++-posix",
              ["-std=c++17", "-Wconversion", "-Iinclude", "-I."], header, ".cpp")
             for arch in ("x86_64", "i686") for header in tracked_files("include/*.hpp")]
    if (ROOT / PUBLIC).exists():
        strict = ["-std=c99", "-pedantic-errors", "-Iinclude", "-I."]
        jobs += [(f"{arch}-w64-mingw32-gcc-posix", strict, PUBLIC, ".c")
                 for arch in ("x86_64", "i686")]
        jobs += [(f"{arch}-w64-mingw32-g++-posix", [f"-std=c++{year}", "-Iinclude", "-I."], PUBLIC, ".cpp")
                 for arch in ("x86_64", "i686") for year in ("11", "20")]
    with concurrent.futures.ThreadPoolExecutor(max_workers=JOBS) as pool:
        for job, messages in pool.map(lambda j: (j, compile_alone(*j)), jobs):
            if messages:
                run.report.failed(f"{job[2]} ({job[0]} {job[1][0]})", messages)
            else:
                run.report.passed()
