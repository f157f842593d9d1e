"""The processor ladder: the library on models of old and new processors, under user-mode emulation.

An instruction that the model lacks is illegal there, with one exception: a model that has SSE executes SSE2 too. So
it is pentium2 that shows that loading and asking need neither.
"""

import json
import os
import shutil
import subprocess
import unittest

BUILD = json.load(open(os.environ["ORV_BUILD"]))
IS_64 = BUILD["word"] == 8
EMULATOR = "qemu-x86_64" if IS_64 else "qemu-i386"

STATUSES = {0: "velStsNoErr: ", 20: "velStsNonNemlorCpu: ", 36: "velStsNotSupportedCpu: "}

# Model: the index it gets, the status of the selection, and whether it is a 64-bit processor too. After a comma a
# feature is taken away or the maker changed.
MODELS = {
    "pentium2": (0, 36, False),
    "pentium3": (0, 36, False),
    "pentium3,vendor=AnotherMaker": (0, 20, False),
    "coreduo": (1, 0, False),  # SSE3
    "qemu64": (1, 20, True),  # SSE3
    "core2duo": (2, 0, True),  # SSSE3
    "n270": (3, 0, False),  # SSSE3, MOVBE
    "n270,-ssse3": (1, 0, False),
    "Penryn": (4, 0, True),  # SSE4.1
    "Nehalem": (4, 0, True),  # SSE4.2
    "SandyBridge,-xsave": (4, 0, True),  # AVX that the system does not enable
    "SandyBridge": (5, 0, True),  # AVX
    "Haswell": (5, 0, True),  # AVX2, MOVBE
    "EPYC": (5, 20, True),
}

# The features of the mask: bit of the mask -> register and bit of CPUID leaf 1.
FEATURES = {0x1: ("edx", 23), 0x2: ("edx", 25), 0x4: ("edx", 26), 0x8: ("ecx", 0), 0x10: ("ecx", 9), 0x20: ("ecx", 22),
            0x40: ("ecx", 19), 0x80: ("ecx", 20), 0x100: ("ecx", 28), 0x400: ("ecx", 25), 0x800: ("ecx", 1)}
# Features needed, index, what the mask of enabled features keeps; the first that fits.
RULES = ((0x300, 5, 0xFDF), (0x40, 4, 0xCDF), (0x30, 3, 0x3F), (0x10, 2, 0x1F), (0x4, 1, 0x7), (0, 0, 0x3))


def run(*command):
    result = subprocess.run(command, text=True, capture_output=True)
    return result, dict(line.split("=", 1) for line in result.stdout.splitlines() if "=" in line)


def expected_selection(seen):
    """Index and enabled mask that follow from the registers as the program read them."""
    registers = {name: int(seen[name]) for name in ("ecx", "edx", "xcr")}
    mask = sum(bit for bit, (register, n) in FEATURES.items() if registers[register] >> n & 1)
    if mask & 0x100 and registers["ecx"] >> 27 & 1 and registers["xcr"] & 6 == 6:
        mask |= 0x200
    return next((index, mask & keeps) for needs, index, keeps in RULES if mask & needs == needs)


def sums(seen):
    return {name: value for name, value in seen.items() if name.startswith("sum.")}


class Ladder(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not shutil.which(EMULATOR):
            raise AssertionError(f"{EMULATOR} is not installed; scripts/setup installs it (package qemu-user)")
        result, cls.native = run(BUILD["ladder"])
        if result.returncode:
            raise AssertionError(f"the ladder fails on this very processor: {result.returncode} {result.stderr}")

    def test_native(self):
        index, enabled = expected_selection(self.native)
        self.assertEqual((int(self.native["index"]), int(self.native["enabled"])), (index, enabled))
        self.assertEqual(len(sums(self.native)), 5)

    def test_ladder(self):
        for model, (index, status, is_64) in MODELS.items():
            if IS_64 and not is_64:
                continue
            with self.subTest(model):
                result, seen = run(EMULATOR, "-cpu", model, BUILD["ladder"])
                self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
                self.assertEqual(expected_selection(seen), (index, int(seen["enabled"])))
                self.assertEqual((int(seen["index"]), int(seen["lp"])), (index, index == 3))
                self.assertEqual(int(seen["status"]), status)
                self.assertTrue(seen["string"].startswith(STATUSES[status]), seen["string"])
                # Every model has the same third-level cache, which old ones tell by descriptors and others by leaf 4.
                self.assertEqual(seen["cache"], "36 0" if status == 20 else f"0 {16 << 20}")
                self.assertEqual(sums(seen), sums(self.native) if index else {})

    def test_path_above_the_processor_dies(self):
        # Or the ladder would prove nothing.
        for model, code in ("pentium2", 0), ("coreduo", 33), ("coreduo", 36), ("core2duo", 35), ("Nehalem", 70):
            if IS_64 and not MODELS[model][2]:
                continue
            with self.subTest(model, code=code):
                result, seen = run(EMULATOR, "-cpu", model, BUILD["ladder"], str(code))
                self.assertIn("index", seen)
                self.assertIn(result.returncode, (-4, 128 + 4), result.stderr)  # SIGILL


if __name__ == "__main__":
    unittest.main()
