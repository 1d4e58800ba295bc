"""What must not stand in the tree: binaries, large files, traces of one machine."""

import re

from support import ROOT, tracked_files

LARGEST = 256 * 1024
LONGEST_SOURCE = 600
LONGEST_TEST = 900     # a table of cases may be longer
LONGEST_PUBLIC = 1200  # one header has every function with its contract

# One character of each pattern stands in brackets, so that this file does not match itself.
TEXT_RULES = [
    ("a reference to papers that do not ship",
     re.compile(r"\bspe[c]\.md\b|\bthe spe[c]\b|\bspe[c]s\b|\bper spe[c]\b|spe[c]ification"
                r"|as spe[c]ified|\bPart[s]? [1-4]\.[0-9]+", re.IGNORECASE)),
    ("a path of one machine", re.compile(r"/[w]ork/|/[f]arm/|\.\./[s]hared|/[r]oot/|/[h]ome/\w")),
    ("the address of a package archive",
     re.compile(r"://[^ /]*(?:[d]ebian|[n]pm)[^ /]*", re.IGNORECASE)),
]


def find_faults(name, data):
    """What is wrong with one file, as lines of text."""
    if len(data) > LARGEST:
        return [f"{name}: {len(data) // 1024} KiB, more than {LARGEST // 1024}"]
    # A corpus is made of raw messages; it is small by the rule above.
    if b"\0" in data:
        return [] if name.startswith("tests/fuzz/") else [f"{name}: a binary file"]
    if name.startswith("tests/fuzz/") and "corpus" in name:
        return []
    faults = []
    lines = data.decode("utf-8", errors="replace").splitlines()
    for number, line in enumerate(lines, 1):
        faults += [f"{name}:{number}: {what}" for what, rule in TEXT_RULES if rule.search(line)]
    longest = LONGEST_SOURCE
    if name.startswith("tests/"):
        longest = LONGEST_TEST
    elif name.startswith("include/"):
        longest = LONGEST_PUBLIC
    if name.endswith((".c", ".cpp", ".h", ".hpp")) and len(lines) > longest:
        faults.append(f"{name}: {len(lines)} lines, more than {longest}")
    return faults


SELF_TEST = [
    ("a.bin", b"MZ\0\0"), ("a.txt", b"x" * (LARGEST + 1)), ("a.md", b"see the spe" + b"c, 2"),
    ("a.h", b"// Part" + b" 2.4"), ("a.sh", b"cd /wor" + b"k/main"), ("a.cpp", b"\n" * 601),
    ("a.py", b"http://deb.deb" + b"ian.org"),
]


def check(run):
    for name, data in SELF_TEST:
        if len(find_faults(name, data)) == 1:
            run.report.passed()
        else:
            run.report.failed("self-test", f"{name} with {data[:30]} is not found")
    faults = []
    for name in tracked_files():
        faults += find_faults(name, (ROOT / name).read_bytes())
    if faults:
        run.report.failed("hygiene", "\n".join(faults), count=len(faults))
    else:
        run.report.passed()
