"""What the build makes of the flags and options that people give it, seen in configured trees and a few objects."""

import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

import instructions

BUILD = json.load(open(os.environ["ORV_BUILD"]))
BITS = 8 * BUILD["word"]


def output(*command):
    return subprocess.run(command, check=True, text=True, capture_output=True).stdout


class Tree:
    """A tree that is configured without the program. `compilers` are flags that stand in the compilers' names, `flags`
    those of the environment. The sources are the tree's own or a copy."""

    def __init__(self, *options, compilers="", flags="", source=BUILD["source"]):
        self.folder = tempfile.TemporaryDirectory()
        environment = dict(os.environ, CC=f"{BUILD['c_compiler']} {compilers}", CXX=f"{BUILD['compiler'][0]} {compilers}",
                           CFLAGS=flags, CXXFLAGS=flags)
        result = subprocess.run(
            [BUILD["cmake"], "-G", BUILD["generator"], "-DORV_TOOLS=OFF", *options, "-S", source, "-B", self.at("")],
            env=environment, text=True, capture_output=True)
        self.failed, self.said = result.returncode != 0, " ".join((result.stdout + result.stderr).split())

    def at(self, name):
        return os.path.join(self.folder.name, name)

    def has_tests(self):
        return os.path.exists(self.at("tests"))

    def library_folder(self):
        with open(self.at("CMakeCache.txt")) as file:
            return re.search(r"^CMAKE_INSTALL_LIBDIR:\w+=(.*)$", file.read(), re.MULTILINE)[1]

    def compile(self, target, source):
        """The command that compiles a file of src for a target, with warnings off, and the object."""
        with open(self.at("compile_commands.json")) as file:
            command, = [entry["command"] for entry in json.load(file)
                        if entry["file"].endswith(source) and f"/{target}.dir/" in entry["command"]]
        subprocess.run(command, shell=True, check=True, cwd=self.at(""), capture_output=True)
        return command, self.at(re.search(r" -o (\S+)", command)[1])


class Build(unittest.TestCase):
    def test_word_sizes(self):
        # Whether the compilers' names or their flags tell the word size, the assembler follows. The libraries of both
        # have folders of their own.
        folders = {}
        for how, bits in ({"compilers": "-m32"}, 32), ({"flags": "-m32"}, 32), ({}, 64):
            with self.subTest(how):
                tree = Tree("-DBUILD_TESTING=OFF", **how)
                self.assertFalse(tree.failed, tree.said)
                self.assertFalse(tree.has_tests())
                for source in "entries.S", "public.cpp":
                    _, file = tree.compile("orv_core", "src/core/" + source)
                    self.assertIn(f"ELF{bits}", output("readelf", "-h", file))
                folders.setdefault(bits, set()).add(tree.library_folder())
        self.assertEqual({bits: len(found) for bits, found in folders.items()}, {32: 1, 64: 1})
        self.assertNotEqual(folders[32], folders[64])

    def test_flags(self):
        # The build's own instruction flags do not reach what the library chooses between. Who debugs sees the code.
        flags = f"-m{BITS} -march=haswell -mavx2 -mbmi2 -mfma -mmovbe"
        tree = Tree("-DBUILD_TESTING=OFF", "-DCMAKE_BUILD_TYPE=Debug", flags=flags)
        for target, level in ("core", f"core{BITS}"), ("w7", "w7"), ("s8", "s8"), ("p8", "p8"), ("g9", "g9"):
            with self.subTest(target):
                source = "src/core/cpu.cpp" if target == "core" else "src/signal/norm.cpp"
                command, file = tree.compile(f"orv_{target}", source)
                self.assertEqual(instructions.faults(file, level), [])
                self.assertEqual(re.findall(r" (-O\S*|-g|-Werror\S*)", command), ["-g", "-Og"])

    def test_same_bytes_in_another_folder(self):
        # A file of each kind, with debug information, which names folders; scripts/reproduce builds all, both ways.
        found = set()
        for name in "a", "another/folder":
            with tempfile.TemporaryDirectory() as folder:
                copy = os.path.join(folder, name)
                for part in "CMakeLists.txt", "cmake", "codec", "docs", "include", "src", "tools":
                    source, target = os.path.join(BUILD["source"], part), os.path.join(copy, part)
                    os.makedirs(copy, exist_ok=True)
                    (shutil.copytree if os.path.isdir(source) else shutil.copyfile)(source, target)
                tree = Tree("-DBUILD_TESTING=OFF", "-DCMAKE_BUILD_TYPE=Release", "-DORV_TOOLS=ON", flags=f"-m{BITS} -g",
                            source=copy)
                self.assertFalse(tree.failed, tree.said)
                data = []
                for kind, source in ("core", "core/entries.S"), ("w7", "signal/norm.cpp"), ("commands", "tools/orv/paths.cpp"):
                    with open(tree.compile(f"orv_{kind}", source)[1], "rb") as file:
                        data.append(file.read())
                found.add(tuple(data))
        self.assertEqual(len(found), 1, "the bytes depend on the folder")

    def test_refusals_and_remarks(self):
        foreign = Tree(flags=f"-m{BITS} -U__i386__ -U__x86_64__")
        self.assertTrue(foreign.failed)
        self.assertRegex(foreign.said, r"libOrv is for 32-bit x86 and x86-64; \S+ makes programs for something else")
        missing = "GoogleTest's sources are not in /nowhere"
        without = Tree("-DORV_GOOGLETEST=/nowhere", flags=f"-m{BITS}")
        self.assertFalse(without.failed or without.has_tests(), without.said)
        self.assertIn(missing, without.said)
        asked = Tree("-DORV_GOOGLETEST=/nowhere", "-DORV_TESTS=ON", flags=f"-m{BITS}")
        self.assertTrue(asked.failed)
        self.assertIn(missing, asked.said)

    def test_program(self):
        if not BUILD["program"]:
            self.skipTest("the program is not built")
        dynamic = output("readelf", "-dW", BUILD["program"])
        self.assertRegex(dynamic, r"FLAGS_1.*\bNOW\b")
        self.assertIn("GNU_RELRO", output("readelf", "-lW", BUILD["program"]))
        self.assertIn("__stack_chk_fail", output("nm", "-Du", BUILD["program"]))
        path, = re.findall(r"R(?:UN)?PATH.*\[(.*)\]", dynamic)
        for element in path.split(":"):
            self.assertRegex(element, r"^(/|\$ORIGIN(/|$))")


if __name__ == "__main__":
    unittest.main()
