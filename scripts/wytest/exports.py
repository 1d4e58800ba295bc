"""The finished libraries as the loader of an old system sees them, by objdump."""

import os
import re
import subprocess

from headers import deps_folder
from support import ROOT

# Each library with the file that names its exports.
LIBRARIES = {
    "WySdk.dll": ROOT / "src" / "WySdk" / "WySdk.def",
    "KrDbgLog.dll": ROOT / "trace" / "KrDbgLog.def",
}
ALLOWED = ROOT / "cmake" / "xp-imports.txt"


def check(run):
    allowed = read_allowed(ALLOWED.read_text(encoding="utf-8"))
    traces = [str(ROOT), str(deps_folder().parent.parent)]
    if os.environ.get("HOME", "/") != "/":
        traces.append(os.environ["HOME"] + "/")
    for preset in ("mingw-x64", "mingw-x86"):
        if not run.build(preset):
            continue
        for name, definition in LIBRARIES.items():
            check_library(run.report, preset, name, definition, allowed, traces)


def check_library(report, preset, name, definition, allowed, traces):
    library = ROOT / "build" / preset / "bin" / name
    if not library.exists():
        report.failed(preset, f"{library} was not built")
        return
    wanted = read_definition(definition.read_text(encoding="utf-8"))
    dump = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", library], check=True,
                          capture_output=True, text=True).stdout
    verdict(report, f"exports of {name}, {preset}",
            compare_exports(wanted, read_exports(dump), definition.name))
    verdict(report, f"imports of {name}, {preset}", foreign_imports(allowed, read_imports(dump)))
    data = library.read_bytes()
    verdict(report, f"paths in {name}, {preset}",
            [f"contains {t}" for t in traces
             if t.encode() in data or t.encode("utf-16-le") in data])


def verdict(report, name, faults):
    if faults:
        report.failed(name, "\n".join(faults))
    else:
        report.passed()


def read_definition(text):
    """The exported names of a .def file."""
    names, listing = set(), False
    for line in text.splitlines():
        words = line.split(";")[0].split()
        if words and words[0].upper() == "EXPORTS":
            listing, words = True, words[1:]
        if words and listing:
            names.add(words[0].split("=")[0])
    return names


def read_allowed(text):
    """{library: names} of the list of imports; library names stand in brackets."""
    allowed, names = {}, set()
    for line in text.splitlines():
        words = line.split("#")[0].split()
        if words and words[0].startswith("["):
            names = allowed.setdefault(words[0].strip("[]").lower(), set())
        else:
            names.update(words)
    return allowed


def read_exports(dump):
    table = dump.split("[Ordinal/Name Pointer] Table", 1)
    if len(table) < 2:
        return set()
    return set(re.findall(r"^\t\[ *\d+\](?: \+base\[ *\d+\])? +(?:[0-9a-f]+ +)?(\S+)$",
                          table[1].split("\n\n")[0], re.MULTILINE))


def read_imports(dump):
    """(library, name) pairs."""
    found, library = [], ""
    for line in dump.splitlines():
        match = re.match(r"\tDLL Name: (\S+)", line)
        if match:
            library = match.group(1).lower()
        match = re.match(r"\t[0-9a-f]+\t +\d+ +(\S+)", line)
        if match and library:
            found.append((library, match.group(1)))
    return found


def compare_exports(wanted, found, definition):
    return ([f"not exported: {n}" for n in sorted(wanted - found)]
            + [f"exported, but not in {definition}: {n}" for n in sorted(found - wanted)]
            + ([] if found else ["no export table was found"]))


def foreign_imports(allowed, found):
    if not found:
        return ["no import table was found"]
    return [f"imports {name} from {library}, which {ALLOWED.name} does not allow"
            for library, name in sorted(set(found)) if name not in allowed.get(library, set())]
