"""The groups of ./test, in the order in which they run: what is quick to fail comes first."""

import collections

import exports
import fuzzing
import gtests
import headers
import hygiene
import layers
import selftest
import style
import wine32


class Group(collections.namedtuple("Group", "name slow run about builds", defaults=[()])):
    def matches(self, name):
        """unit names unit-asan as well as itself."""
        return self.name == name or self.name.startswith(name + "-")


def gtest_group(preset, group, arch=None):
    return lambda run: gtests.run_group(run, preset, (group,), arch)


ALL = [
    Group("runner", False, selftest.check, "this runner sees crashes, hangs and lost reports"),
    Group("format", False, style.check_format, "sources are formatted by .clang-format"),
    Group("layers", False, layers.check, "no source includes a layer above its own"),
    Group("hygiene", False, hygiene.check, "nothing in the tree that does not belong there"),
    Group("unit-asan", False, gtest_group("native-asan", "unit"),
          "portable core under AddressSanitizer and UndefinedBehaviorSanitizer", ("native-asan",)),
    Group("unit-tsan", False, gtest_group("native-tsan", "unit"),
          "portable core under ThreadSanitizer", ("native-tsan",)),
    Group("unit-x64", False, gtest_group("mingw-x64", "unit", "x64"),
          "unit tests as Windows programs under Wine", ("mingw-x64",)),
    Group("abi-x64", False, gtest_group("mingw-x64", "abi", "x64"),
          "the built library loaded by a program, the service as a second process", ("mingw-x64",)),
    Group("e2e-x64", False, gtest_group("mingw-x64", "e2e", "x64"),
          "whole programs, from the command line to the service and back", ("mingw-x64",)),
    Group("exports", False, exports.check, "exported and imported names of the libraries, x64 and x86",
          ("mingw-x64", "mingw-x86")),
    Group("headers", False, headers.check, "each header compiles alone",
          ("mingw-x64",)),
    Group("wine32", False, wine32.check, "unit and abi tests of the 32-bit build under Wine",
          ("mingw-x86",)),
    Group("fuzz", False, fuzzing.check, "fuzz targets on their corpora and on a short sample",
          ("native-asan",)),
    Group("tidy", True, style.check_tidy, "clang-tidy finds nothing in the portable sources"),
]
