"""The processor ladder: the library on models of old and new processors, under user-mode emulation.

An instruction that the model lacks is illegal there, with one exception: a model that has SSE executes SSE2 too. So
it is pentium2 that shows that loading and asking need neither.
"""

import json
import os
import re
import subprocess
import unittest

BUILD = json.load(open(os.environ["ORV_BUILD"]))
IS_64 = BUILD["word"] == 8
EMULATOR = "qemu-x86_64" if IS_64 else "qemu-i386"

STATUSES = {0: "velStsNoErr: ", 20: "velStsNonNemlorCpu: ", 36: "velStsNotSupportedCpu: "}

# Model: the index it gets, the status of the selection, and whether it is a 64-bit processor too.
MODELS = {
    "pentium2": (0, 36, False),
    "pentium3": (0, 36, False),
    "coreduo": (1, 0, False),  # SSE3
    "core2duo": (2, 0, True),  # SSSE3
    "n270": (3, 0, False),  # SSSE3, MOVBE
    "Penryn": (4, 0, True),  # SSE4.1
    "Nehalem": (4, 0, True),  # SSE4.2
    "SandyBridge,-xsave": (4, 0, True),  # AVX that the system does not enable
    "SandyBridge": (5, 0, True),  # AVX
    "Haswell": (5, 0, True),  # AVX2, MOVBE
    "Haswell,-avx2": (5, 0, True),
    "EPYC": (5, 20, True),  # AVX2
}

# The features of the mask: bit of the mask -> register and bit of CPUID leaf 1.
FEATURES = {0x1: ("edx", 23), 0x2: ("edx", 25), 0x4: ("edx", 26), 0x8: ("ecx", 0), 0x10: ("ecx", 9), 0x20: ("ecx", 22),
            0x40: ("ecx", 19), 0x80: ("ecx", 20), 0x100: ("ecx", 28), 0x400: ("ecx", 25), 0x800: ("ecx", 1)}
# Features needed, index, what the mask of enabled features keeps; the first that fits.
RULES = ((0x300, 5, 0xFDF), (0x40, 4, 0xCDF), (0x30, 3, 0x3F), (0x10, 2, 0x1F), (0x4, 1, 0x7), (0, 0, 0x3))


def run(*command):
    if not os.path.exists(BUILD["ladder"]):
        raise AssertionError("the program is not built: cmake --build ... --target ladder")
    result = subprocess.run(command, text=True, capture_output=True)
    return result, dict(line.split("=", 1) for line in result.stdout.splitlines() if "=" in line)


class Ladder(unittest.TestCase):
    def check_selection(self, seen):
        """Features, index and enabled mask follow from the registers as the program read them."""
        registers = {name: int(seen[name]) for name in ("ecx", "edx", "xcr")}
        mask = sum(bit for bit, (register, n) in FEATURES.items() if registers[register] >> n & 1)
        if mask & 0x100 and registers["ecx"] >> 27 & 1 and registers["xcr"] & 6 == 6:
            mask |= 0x200
        index, keeps = next((index, keeps) for needs, index, keeps in RULES if mask & needs == needs)
        self.assertEqual([int(seen[name]) for name in ("features", "index", "lp", "enabled")],
                         [mask, index, index == 3, mask & keeps])

    def check_sums(self, seen, others=None):
        """Results depend neither on the stack nor on the path."""
        sums = {}
        for name, value in seen.items():
            if name.startswith("sum."):
                sums.setdefault(name.split(".")[1], set()).add(value)
        self.assertEqual({name: len(found) for name, found in sums.items()}, dict.fromkeys(sums, 1))
        self.assertEqual(sums, others or sums)
        return sums

    def test_native(self):
        result, seen = run(BUILD["ladder"])
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.check_selection(seen)
        sums = self.check_sums(seen)
        for index, code in (0, 0), (2, 33), (3, 36), (4, 35), (5, 70):
            if index <= int(seen["index"]):
                with self.subTest(code=code):
                    result, forced = run(BUILD["ladder"], str(code))
                    self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
                    self.check_sums(forced, sums)

    def test_ladder(self):
        sums = self.check_sums(run(BUILD["ladder"])[1])
        for model, (index, status, is_64) in MODELS.items():
            if IS_64 and not is_64:
                continue
            with self.subTest(model):
                result, seen = run(EMULATOR, "-cpu", model, BUILD["ladder"])
                self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
                self.check_selection(seen)
                self.assertEqual((int(seen["index"]), int(seen["status"])), (index, status))
                self.assertTrue(seen["string"].startswith(STATUSES[status]), seen["string"])
                # Every model has the same third-level cache, which old ones tell by descriptors and others by leaf 4.
                self.assertEqual(seen["cache"], "36 0" if status == 20 else f"0 {16 << 20}")
                if index:
                    self.check_sums(seen, sums)

    @unittest.skipUnless(BUILD["program"], "the program is not built")
    def test_digests(self):
        """Every model computes what the processor does."""
        verify = [BUILD["program"], "verify", "--quick"]
        native = subprocess.run(verify, text=True, capture_output=True)
        self.assertEqual(native.returncode, 0, native.stdout + native.stderr)
        digests = dict(re.findall(r"^(\S+) +\d+  (\w{16})$", native.stdout, re.M))
        # The emulator's masked loads of floats touch what they leave out, and AVX's box filter lets them end at a page.
        without_box = digests.keys() - {"all", "box"}
        for model, (index, _, is_64) in MODELS.items():
            if index == 0 or IS_64 and not is_64:
                continue
            with self.subTest(model):
                families = without_box if index == 5 else []
                result = subprocess.run([EMULATOR, "-cpu", model, *verify, *families], text=True, capture_output=True)
                self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
                seen = dict(re.findall(r"^(\S+) +\d+  (\w{16})$", result.stdout, re.M))
                self.assertEqual(seen, {name: digests[name] for name in families or digests})

    def test_variants(self):
        """AVX2 follows the processor, and the mask of enabled features takes it away until the next selection."""
        symbols = {line.split()[-1]: int(line.split()[0], 16)
                   for line in subprocess.check_output(["nm", "--defined-only", BUILD["library"]], text=True).splitlines()}
        distance = symbols["ownVariantIndex"] - symbols["velStaticInit"]
        for model, has_avx2 in ("SandyBridge", 0), ("Haswell,-avx2", 0), ("Haswell", 1), ("EPYC", 1), ("EPYC,-xsave", 0):
            with self.subTest(model):
                _, seen = run(EMULATOR, "-cpu", model, BUILD["ladder"], "-1", str(distance))
                self.assertEqual(seen["variant"], f"{has_avx2} 0 {has_avx2}")

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
