"""What programs were linked with stays: exported names, and the types, layouts and values that the public header gives.

The baseline is in abi/: `exports` for both word sizes, and for each a description of the header by abidw. After a change
that docs/abi.md allows, `cmake --build --preset x86 --target abi_baseline` writes it anew; the same for x86-64.
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = json.load(open(os.environ["ORV_BUILD"]))
FOLDER = os.path.join(BUILD["source"], "abi")
DESCRIPTION = os.path.join(FOLDER, f"x86{'-64' if BUILD['word'] == 8 else ''}.abi")
REMEDY = "docs/abi.md says what may change, and how to write the baseline anew"


def exports():
    """The exported names in short: a line for each stem, with the forms in which it is exported."""
    forms = {}
    for line in subprocess.check_output(["nm", "-D", "--defined-only", BUILD["library"]], text=True).splitlines():
        path, layer, stem, rest = re.fullmatch(r"((?:w7|v8|s8|p8|g9)_)?(vel(?=\w)|orv(?=\w))?(\w+?)(_arraddr)?",
                                               line.split()[-1]).groups(default="")
        forms.setdefault(stem, []).append(f"{path}{layer}*{rest}")
    return "".join(f"{stem}: {' '.join(sorted(found))}\n" for stem, found in sorted(forms.items()))


def names_of(text):
    """The names that lines of exports() stand for."""
    return {form.replace("*", stem) for line in text.splitlines() for stem, forms in [line.split(": ")]
            for form in forms.split()}


def describe(folder):
    """A library that has nothing but the header's declarations, defined; the entry points of the real one are written in
    assembly and have no types. The vel names have their twins' types. In C++ an enumerator's type is its enumeration."""
    with open(os.path.join(BUILD["source"], "include/orv.h")) as file:
        header = re.sub(r"/\*.*?\*/|^#[^\n]*", "", file.read(), flags=re.DOTALL | re.MULTILINE)
    code = ['#include "orv.h"']
    for declaration in re.findall(r"\bORV_API\s+([^;]+);", header):
        if "__typeof__" in declaration:
            continue
        if declaration.startswith("extern"):
            variable = re.sub(r"^extern\s+(const\s+)?", "", declaration)
            code.append(f'extern "C" {{ {"const " if "const " in declaration[:14] else ""}{variable}{{}}; }}'
                        .replace("const ", "extern const ", 1))
        else:
            code.append(f'extern "C" {declaration} {{ __builtin_trap(); }}')
    for first in re.findall(r"\benum\s*\w*\s*{\s*(\w+)", header):
        code.append(f'extern "C" {{ extern decltype({first})* enum_of_{first}; decltype({first})* enum_of_{first}; }}')
    library, source = os.path.join(folder, "libOrv.so"), os.path.join(folder, "header.cpp")
    with open(source, "w") as file:
        file.write("\n".join(code) + "\n")
    subprocess.run([*BUILD["compiler"], "-std=c++17", "-w", "-g", "-O0", "-fPIC", "-shared", "-nostdlib", "-I",
                    os.path.join(BUILD["source"], "include"), "-o", library, source], check=True)
    description = os.path.join(folder, "now.abi")
    subprocess.run(["abidw", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--no-parameter-names",
                    "--out-file", description, library], check=True)
    return description


class Abi(unittest.TestCase):
    maxDiff = None

    def test_exported_names_stay(self):
        with open(os.path.join(FOLDER, "exports")) as file:
            before, now = names_of(file.read()), names_of(exports())
        self.assertGreater(len(before), 1000)
        self.assertEqual(sorted(before - now), [], "no longer exported: that makes a version 7")
        self.assertEqual(sorted(now - before), [], f"new: {REMEDY}")

    def test_types_stay(self):
        if not shutil.which("abidiff"):
            self.skipTest("abidiff is not installed (Debian's package is abigail-tools)")
        with tempfile.TemporaryDirectory() as folder:
            result = subprocess.run(["abidiff", "--no-show-locs", DESCRIPTION, describe(folder)], text=True,
                                    capture_output=True)
        self.assertEqual(result.returncode, 0, f"{result.stdout}{result.stderr}\n{REMEDY}")


if __name__ == "__main__":
    if sys.argv[1:] == ["baseline"]:
        with open(os.path.join(FOLDER, "exports"), "w") as exported:
            exported.write(exports())
        with tempfile.TemporaryDirectory() as temporary:
            shutil.copyfile(describe(temporary), DESCRIPTION)
    else:
        unittest.main()
