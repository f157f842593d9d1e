"""Checks on the shared object and on the objects of each code path that it is linked from."""

import json
import os
import re
import subprocess
import tempfile
import unittest

import instructions

BUILD = json.load(open(os.environ["ORV_BUILD"]))
WORD = BUILD["word"]
CORE = "core64" if WORD == 8 else "core32"
PATHS = ("w7", "v8", "s8", "p8", "g9")
# What the passes make: those of g9 that have variants are in avx and avx2.
PASSES = PATHS + ("avx", "avx2")
PREFIXES = {"avx": ("avx_", "g9_")}
PATTERNS = {"A": "w7 w7 s8 s8 p8 g9", "B": "w7 w7 v8 v8 p8 g9", "C": "w7 w7 v8 s8 p8 g9"}

# Exported kernels: those of every path, and those that only bodies of pattern A call.
KERNELS = """ownsCopy_8u velsCopy_8u velsCopy_16s velsCopy_32s velsZero_8u velsZero_16s velsZero_32s
    velsMalloc_8u velsMalloc_32f velsFree veliConvert_8u16u_C1R veliDCT8x8InvLSClip_16s8u_C1R
    ownpj_YUV420ToRGB888LS_MCU
    ownpiPreludeToResize ownpiResizeSP ownpiResizeAA
    ownResize8plN ownResize8pxN ownResize8px4N ownResize8plL ownResize8pxL ownResize8plC ownResize8pxC ownResize8plLz
    ownResize8pxLz ownDecimate8plSP ownDecimate8pxSP ownDecimate8px4SP
    ownpi_CoefLinear8pl ownpi_CoefLinear8px ownpi_CoefLinear8px4 ownpi_SummLinear8pl ownpi_SummLinear8px
    ownpi_CalcBorder8plL ownpi_CalcBorder8pxL
    ownpi_Cubic0Kernel ownpi_Cubic1Kernel ownpi_Cubic2Kernel ownpi_Cubic3Kernel
    ownpi_RowCubic8pl ownpi_RowCubic8px ownpi_RowCubic8px4 ownpi_ColCubic8pl ownpi_SummCubic8px
    ownpi_CalcBorder8plC ownpi_CalcBorder8pxC
    ownpi_Lanczos3 ownpi_RowLanczos8pl ownpi_RowLanczos8px ownpi_RowLanczos8px4 ownpi_ColLanczos8pl ownpi_ColLanczos8px
    ownpi_CalcBorder8plLz ownpi_CalcBorder8pxLz
    ownpi_SmoothDstBorder8pl ownpi_SmoothDstBorder8px ownpi_SmoothDstBorder8px4 ownpi_SmoothDstBorder8px4a
    ownpi_SubpixDstBorder8pl ownpi_SubpixDstBorder8px ownpi_SubpixDstBorder8px4 ownpi_SubpixDstBorder8px4a""".split()
KERNELS_A = ["veliZigzagInv8x8_16s_C1", "ownpj_EncodeHuffmanStateInit"]


def output(*command, stdin=None):
    return subprocess.run(command, check=True, text=True, capture_output=True, input=stdin).stdout


def source(name):
    with open(os.path.join(BUILD["source"], name)) as file:
        return file.read()


def primitives():
    """Name without prefix -> pattern."""
    return dict(re.findall(r"^ORV_PRIMITIVE\((\w+), (\w)\)", source("src/core/primitives.def"), re.MULTILINE))


def variants():
    kinds = "ORV_VARIANT(?:_64)?" if WORD == 8 else "ORV_VARIANT"
    return re.findall(rf"^{kinds}\(\S+, (\w+)\)", source("src/core/variants.def"), re.MULTILINE)


def declared():
    """What the public header declares to be exported: name -> whether it is a function."""
    text = re.sub(r"/\*.*?\*/|^#[^\n]*", "", source("include/orv.h"), flags=re.DOTALL | re.MULTILINE)
    names = {}
    for declaration in re.findall(r"\bORV_API\s+([^;]+);", text):
        twin = re.fullmatch(r"extern __typeof__\((\w+)\) (\w+)", declaration)
        if twin:
            names[twin[2]] = names[twin[1]]
            continue
        variable = re.match(r"extern\b.*?(\w+)(?:\[\d+\]|\)\(.*\))?$", declaration, re.DOTALL)
        names[variable[1] if variable else re.search(r"(\w+)\(", declaration)[1]] = not variable
    return names


class Library:
    """The shared object: symbols by table, and the pointers that it holds."""

    def __init__(self, path):
        self.path = path
        with open(path, "rb") as file:
            self.data = file.read()
        self.dynamic, self.all = {}, {}
        for line in output("readelf", "-sW", "--dyn-syms", path).splitlines():
            if line.startswith("Symbol table"):
                table = self.dynamic if ".dynsym" in line else self.all
            fields = line.split()
            if len(fields) >= 8 and fields[0].rstrip(":").isdigit() and fields[6] != "UND":
                address, size, kind, bind, name = int(fields[1], 16), int(fields[2], 0), fields[3], fields[4], fields[7]
                table[name] = (address, size, kind, bind)
        self.functions = {}
        for name, (address, _, kind, _) in self.all.items():
            if kind == "FUNC" and not name.endswith(".localalias"):  # gcc's, where it lets one body stand for another
                self.functions.setdefault(address, set()).add(name)
        self.segments = [[int(x, 16) for x in found] for found in re.findall(
            r"^ +LOAD +(\S+) (\S+) \S+ (\S+)", output("readelf", "-lW", path), re.MULTILINE)]
        self.relative = {int(where, 16): addend for where, addend in re.findall(
            r"^(\w+) +\w+ R_\w+_RELATIVE *(\w*)", output("readelf", "-rW", path), re.MULTILINE)}

    def target(self, where):
        """Where the pointer at this address leads; None when it is null or leads out of the library's own hands."""
        if where not in self.relative:
            return None
        if self.relative[where]:
            return int(self.relative[where], 16)
        offset, start, _ = next(s for s in self.segments if s[1] <= where < s[1] + s[2])
        at = offset + where - start
        return int.from_bytes(self.data[at:at + WORD], "little")

    def pointers(self, address, size):
        """The functions that an array of pointers leads to: for each a set of names."""
        return [self.functions.get(self.target(where), set()) for where in range(address, address + size, WORD)]


LIBRARY = Library(BUILD["library"])


def symbol_faults(path, file):
    """What an object of a path defines for others, weak or strong, without the path's prefix."""
    found = [line.split()[-2:] for line in output("nm", "--defined-only", file).splitlines()]
    return [f"{kind} {name}" for kind, name in found if not name.startswith("__x86.get_pc_thunk.") and (
        kind in "WVwvu" or kind.isupper() and not name.startswith(PREFIXES.get(path, path + "_")))]


class Header(unittest.TestCase):
    """What the public header says about itself, where no compiler would notice."""

    def test_header_comments(self):
        bare = re.findall(r"(?<!\*/\n)^ORV_API (?!extern)[^(]*?(\w+)\(", source("include/orv.h"), re.MULTILINE)
        self.assertEqual(bare, [], "functions that do not stand directly under a comment")

    def test_header_twins(self):
        twins = re.findall(r"^ORV_API extern __typeof__\(orv(\w+)\) vel(\w+);$", source("include/orv.h"), re.MULTILINE)
        self.assertEqual([pair for pair in twins if pair[0] != pair[1]], [("StaticInit", "Init")])
        self.assertEqual({name for _, name in twins}, {"GetStatusString", "StaticInit", "Init", *primitives()},
                         "the vel names at the end of orv.h, and primitives.def")

    def test_header_statuses(self):
        used, others = (set(re.findall(r"^ +(velSts\w+) = ", part, re.MULTILINE))
                        for part in source("include/orv.h").split("/* ---- Status codes not in use"))
        folder = os.path.join(BUILD["source"], "src")
        files = [os.path.relpath(os.path.join(where, name), BUILD["source"])
                 for where, _, names in os.walk(folder) for name in names if name.endswith((".cpp", ".h"))]
        given = {name for file in files for name in re.findall(r"\bvelSts\w+", re.sub(r"//.*", "", source(file)))}
        self.assertEqual(used, given)
        self.assertEqual(len(used) + len(others - used), 266)


class Linkage(unittest.TestCase):
    maxDiff = None

    def test_dynamic_section_and_segments(self):
        dynamic, segments = output("readelf", "-dW", LIBRARY.path), output("readelf", "-lW", LIBRARY.path)
        self.assertEqual(re.findall(r"SONAME.*\[(.+)\]", dynamic), ["libOrv.so.6"])
        self.assertLessEqual(set(re.findall(r"NEEDED.*\[(.+)\]", dynamic)), {"libc.so.6", "libm.so.6"})
        self.assertNotRegex(dynamic, "TEXTREL|RPATH|RUNPATH")
        self.assertIn("BIND_NOW", dynamic)
        self.assertRegex(segments, r"GNU_STACK.* RW +0x")
        self.assertIn("GNU_RELRO", segments)
        self.assertNotIn("RWE", segments)

    def test_exports(self):
        patterns, header = primitives(), declared()
        expected = dict(header)
        for name, pattern in patterns.items():
            expected[f"vel{name}_arraddr"] = False
            expected.update({f"{path}_vel{name}": True for path in PATTERNS[pattern].split()})
        expected.update({f"{path}_{name}": True for path in PATHS for name in KERNELS})
        expected.update({f"{path}_{name}": True for path in PATTERNS["A"].split() for name in KERNELS_A})
        found = {name: kind == "FUNC" for name, (_, _, kind, _) in LIBRARY.dynamic.items()}
        self.assertEqual(sorted(found.keys() - expected), [], "exported and in no list")
        self.assertEqual(sorted(expected.keys() - found), [], "in a list and not exported")
        self.assertEqual(found, expected)
        self.assertEqual({symbol[3] for symbol in LIBRARY.dynamic.values()}, {"GLOBAL"})
        pairs = {name[3:] for name in header if name.startswith("vel") and "orv" + name[3:] in header}
        self.assertEqual(pairs - {"StaticInit", "GetStatusString"}, set(patterns))

    def test_load_routines(self):
        for name in ("orvInit", "orvDeInit"):
            self.assertEqual(LIBRARY.all[name][3], "LOCAL")
        dynamic = output("readelf", "-dW", LIBRARY.path)

        def entries(tag):
            address, = re.findall(rf"\({tag}\) +0x(\w+)", dynamic)
            size, = re.findall(rf"\({tag}SZ\) +(\d+)", dynamic)
            return LIBRARY.pointers(int(address, 16), int(size))

        self.assertEqual([e for e in entries("INIT_ARRAY") if e != {"frame_dummy"}], [{"orvInit"}, {"orvDeInit"}])
        self.assertEqual([e for e in entries("FINI_ARRAY") if e != {"__do_global_dtors_aux"}], [])

    def test_tables(self):
        for name, pattern in primitives().items():
            with self.subTest(name):
                address, size, _, _ = LIBRARY.all[f"vel{name}_arraddr"]
                self.assertEqual(LIBRARY.pointers(address, size),
                                 [{f"{path}_vel{name}"} for path in PATTERNS[pattern].split()])

    def check_jump(self, code, at, name, index, table):
        """That the function jumps through the table by the index, and does nothing else; where its jump begins."""
        entry, size, _, _ = LIBRARY.all[name]
        body = [line for line in code[at[entry]:at[entry] + 9] if line[0] < entry + size]
        self.assertGreaterEqual(len(body), 3)
        first, second = body[1][0], body[2][0]  # what the processor's own address is during the loads
        if WORD == 4:
            expected = [f"call {first:x}", "pop %eax", f"mov {index - first:#x}(%eax),%ecx",
                        f"jmp *{table - first:#x}(%eax,%ecx,4)"]
        else:
            expected = [f"movslq {index - first:#x}(%rip),%rax", f"lea {table - second:#x}(%rip),%r11",
                        "jmp *(%r11,%rax,8)"]
        self.assertEqual([text for _, text in body], expected)
        return body[0][0]

    def test_entries(self):
        code = [(address, text) for _, address, text in instructions.disassemble(LIBRARY.path)]
        at = {address: i for i, (address, _) in enumerate(code)}
        index = LIBRARY.dynamic["velJumpIndexForMergedLibs"][0]  # which programs may set, too
        for name in primitives():
            with self.subTest(name):
                entry = self.check_jump(code, at, "vel" + name, index, LIBRARY.all[f"vel{name}_arraddr"][0])
                forwarder, size, _, _ = LIBRARY.all["orv" + name]
                jump = [text for address, text in code[at[forwarder]:at[forwarder] + 9] if address < forwarder + size]
                self.assertEqual(jump, [f"jmp {entry:x}"])
        index = LIBRARY.all["ownVariantIndex"][0]
        for name in variants():
            with self.subTest(name):
                table, size, _, _ = LIBRARY.all[f"own_{name}_variants"]
                self.check_jump(code, at, f"g9_{name}", index, table)
                self.assertEqual(LIBRARY.pointers(table, size), [{f"avx_{name}"}, {f"avx2_{name}"}])


class PathObjects(unittest.TestCase):
    """An instruction or a definition that slips from one path to another kills an old processor."""

    def test_symbols_of_path_objects(self):
        for path in PASSES:
            self.assertEqual([symbol_faults(path, file) for file in BUILD[path]], [[]] * len(BUILD[path]))

    def test_no_static_constructors(self):
        at_load = re.compile(r" \.(preinit_array|init_array|fini_array|ctors|dtors|init|fini)")
        everything = [file for objects in ("core",) + PASSES for file in BUILD[objects]]
        with_some = [os.path.basename(file) for file in everything if at_load.search(output("readelf", "-SW", file))]
        self.assertEqual(with_some, ["dllmain.cpp.o"])

    def test_hardening(self):
        everything = [file for objects in ("core",) + PASSES for file in BUILD[objects]]
        undefined = output("nm", "-u", *everything)
        self.assertIn("__stack_chk_fail", undefined)
        if "_FORTIFY_SOURCE" in BUILD["hardening"]:  # not where code is for debugging, or sanitized
            self.assertIn("__memcpy_chk", undefined)
        if WORD == 8:  # shadow stacks: one file without them would take them from the whole library
            for file in everything:
                self.assertRegex(output("readelf", "-nW", file), "x86 feature: .*SHSTK", file)

    def test_instructions(self):
        for level, objects in [(CORE, "core")] + [("g9" if path == "avx" else path, path) for path in PASSES]:
            for file in BUILD[objects]:
                self.assertEqual(instructions.faults(file, level), [], file)


class Gate(unittest.TestCase):
    """The gate on instructions tells the levels apart."""

    def assemble(self, text):
        with tempfile.TemporaryDirectory() as folder:
            file = os.path.join(folder, "snippet.o")
            output(*BUILD["compiler"], "-c", "-xassembler", "-o", file, "-", stdin=text)
            return [instruction for _, _, instruction in instructions.disassemble(file)]

    def test_every_level_of_instructions(self):
        # Each group with the levels that hold it.
        groups = {
            "core32 core64 w7 v8 s8 p8 g9 avx2": "cmovne %eax,%ecx; fldl (%eax); rep stosl; rep bsf %eax,%ecx",
            "core64 w7 v8 s8 p8 g9 avx2": "paddb %xmm0,%xmm1; pextrw $1,%xmm0,%eax; movnti %eax,(%ecx); mulss %xmm0,%xmm1",
            "v8 s8 p8 g9 avx2": "pshufb %xmm0,%xmm1; haddps %xmm0,%xmm1; fisttpl (%eax); palignr $3,%xmm0,%xmm1",
            "p8 g9 avx2": "pmulld %xmm0,%xmm1; pextrw $1,%xmm0,(%eax); packusdw %xmm0,%xmm1; pblendvb %xmm0,%xmm1,%xmm2",
            "g9 avx2": """vaddps %ymm0,%ymm1,%ymm2; vpaddb %xmm0,%xmm1,%xmm2; vbroadcastss (%eax),%ymm0; vptest %ymm0,%ymm1;
                popcnt %eax,%ecx; pcmpgtq %xmm0,%xmm1; vperm2f128 $1,%ymm0,%ymm1,%ymm2""",
            "avx2": """vpaddb %ymm0,%ymm1,%ymm2; vbroadcastss %xmm0,%xmm1; vpsllvd %xmm0,%xmm1,%xmm2;
                vmovntdqa (%eax),%ymm0; vpermq $8,%ymm0,%ymm1; vinserti128 $1,(%eax),%ymm0,%ymm1;
                vpmovzxbw (%eax),%ymm0; vpbroadcastw %xmm0,%ymm1; vpblendd $1,%ymm0,%ymm1,%ymm2""",
            "": """vfmadd231ps %xmm0,%xmm1,%xmm2; lzcnt %eax,%ecx; movbe (%eax),%ecx; vpdpbusd %ymm0,%ymm1,%ymm2;
                andn %eax,%ecx,%edx; vaddps %zmm0,%zmm1,%zmm2; vmovdqu8 (%eax),%xmm0; paddb %mm0,%mm1; emms""",
        }
        for levels, text in groups.items():
            found = self.assemble("\n".join(text.split(";")) + "\n")
            self.assertEqual(len(found), text.count(";") + 1)
            for instruction in found:
                holding = {level for level in instructions.LEVELS if not instructions.is_fault(level, instruction)}
                self.assertEqual(holding, set(levels.split()), instruction)


if __name__ == "__main__":
    unittest.main()
