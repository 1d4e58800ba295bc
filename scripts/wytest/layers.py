"""Layers: a source includes only its own layer and those that stand below it."""

import pathlib
import re
import tempfile

from support import ROOT, tracked_files

# folder, layer, the layers it may include. A layer's own folder needs no mention.
RULES = [
    ("src/Common/KrCommon", "KrCommon", []),
    ("src/utilMode", "utilMode", ["KrCommon"]),
    ("src/lib/wycommon", "wycommon", ["utilMode", "KrCommon"]),
    ("src/Framework/utilIPC", "utilIPC", ["KrCommon"]),
    ("src/utilRPC", "utilRPC", ["utilIPC", "utilMode", "KrCommon"]),
    ("src/lib/KrOuterClientHelper", "OuterClientHelper",
     ["utilRPC", "utilIPC", "wycommon", "KrCommon"]),
    ("src/Tool/UpdateAgent", "UpdateAgent",
     ["OuterClientHelper", "wycommon", "utilMode", "KrCommon"]),
    ("src/deploy", "deploy",
     ["UpdateAgent", "OuterClientHelper", "wycommon", "utilMode", "KrCommon"]),
    ("src/WySdk", "WySdk",
     ["public", "deploy", "UpdateAgent", "OuterClientHelper", "utilRPC", "utilIPC", "wycommon",
      "utilMode", "KrCommon"]),
    ("include/WySdk", "public", []),
    ("trace", "trace", ["KrCommon"]),
    # The programs are built on the library's own layers; they never reach into one another.
    ("devhost", "devhost",
     ["public", "WySdk", "utilRPC", "utilIPC", "wycommon", "utilMode", "KrCommon"]),
    ("wyctl", "wyctl",
     ["public", "WySdk", "deploy", "utilRPC", "utilIPC", "wycommon", "utilMode", "KrCommon"]),
]
# The system's header comes in through one door, with the same definitions everywhere.
WINDOWS_DOOR = "src/Common/KrCommon/KrComn_Windows.h"
WINDOWS_HEADERS = re.compile(r"(windows|winsock2?|ws2tcpip|winbase|windef)\.h", re.IGNORECASE)

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)
SUFFIX = re.compile(r"_(win32|posix)$")


def layer_of(path):
    for folder, layer, allowed in RULES:
        if path.startswith(folder + "/"):
            return layer, allowed
    return None, []


def room_of(path):
    """A header and its implementations are one room: the name without platform and extension.
    The companion headers for C++ are not those for C whose name they share."""
    p = pathlib.PurePosixPath(path)
    return f"{p.parent}/{SUFFIX.sub('', p.stem)}" + (".hpp" if p.suffix == ".hpp" else "")


def find_violations(root, files):
    """All violations in the given files, as lines of text."""
    known = set(files)
    generated = {pathlib.PurePosixPath(f).stem + ".h" for f in files if f.endswith(".idl")}
    found, rooms = [], {}
    for file in files:
        layer, allowed = layer_of(file)
        if layer is None or not file.endswith((".c", ".cpp", ".h", ".hpp")):
            continue
        text = (root / file).read_text(encoding="utf-8", errors="replace")
        for match in INCLUDE.finditer(text):
            where = f"{file}:{text.count(chr(10), 0, match.start()) + 1}"
            quoted, angled = match.groups()
            # The companion headers stand in applications, which have no such door.
            own = layer != "public" or not file.endswith(".hpp")
            if angled and WINDOWS_HEADERS.fullmatch(angled) and file != WINDOWS_DOOR and own:
                found.append(f"{where}: <{angled}> is included through {WINDOWS_DOOR} only")
            target = resolve(file, quoted or angled, known)
            if target is None:
                if quoted and quoted not in generated:
                    found.append(f'{where}: "{quoted}" is neither below src/ nor beside the file')
                continue
            other, _ = layer_of(target)
            if other != layer and other not in allowed:
                found.append(f"{where}: layer {layer} must not include {target} of layer {other}")
            if room_of(file) != room_of(target):
                rooms.setdefault(room_of(file), set()).add(room_of(target))
    return found + [f"rooms in a circle: {' -> '.join(circle)}" for circle in circles(rooms)]


def resolve(file, name, known):
    beside = str(pathlib.PurePosixPath(file).parent / name)
    for candidate in (f"src/{name}", f"include/{name}", name, beside):
        if candidate in known:
            return candidate
    return None


def circles(graph):
    """One circle per strongly connected part of the graph, found by depth-first search."""
    state, stack, found = {}, [], []

    def visit(node):
        state[node] = "open"
        stack.append(node)
        for other in sorted(graph.get(node, ())):
            if state.get(other) == "open":
                found.append(stack[stack.index(other):] + [other])
            elif other not in state:
                visit(other)
        stack.pop()
        state[node] = "done"

    for node in sorted(graph):
        if node not in state:
            visit(node)
    return found


# Each fixture is a small tree and the words its one violation is reported with.
FIXTURES = [
    ({"src/utilMode/a.h": '#include "lib/wycommon/b.h"\n', "src/lib/wycommon/b.h": ""},
     "layer utilMode must not include"),
    ({"src/WySdk/a.h": '#include "deploy/b.h"\n', "src/deploy/b.h": '#include "WySdk/c.h"\n',
      "src/WySdk/c.h": ""}, "layer deploy must not include"),
    ({"src/deploy/a.h": '#include "deploy/b.h"\n', "src/deploy/b.h": "",
      "src/deploy/b_win32.cpp": '#  include "deploy/a.h"\n'}, "rooms in a circle"),
    ({"src/utilIPC.idl": "", "src/deploy/a.cpp": '#include "missing.h"\n'}, "is neither below"),
    ({"wyctl/a.cpp": "#include <Windows.h>\n"}, "is included through"),
    ({"devhost/a.cpp": '#include "wyctl/b.h"\n', "wyctl/b.h": ""}, "layer devhost must not"),
]


def check(run):
    for number, (tree, words) in enumerate(FIXTURES, 1):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in tree.items():
                path = pathlib.Path(folder) / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text, encoding="utf-8")
            found = find_violations(pathlib.Path(folder), sorted(tree))
        if len(found) == 1 and words in found[0]:
            run.report.passed()
        else:
            run.report.failed(f"fixture {number}", f"expected one '{words}', found {found}")
    files = tracked_files("src", "include", "trace", "devhost", "wyctl")
    found = find_violations(ROOT, files)
    if found:
        run.report.failed("layers", "\n".join(found), count=len(found))
    else:
        run.report.passed()
