"""Files that lie, end too early, or are only odd: what the program says to them, within limits of time and memory.

The environment names the program, ORV_PROGRAM. With ORV_ALL every command takes every file on every path, not one path
in turn.
"""
import os
import re
import shutil
import struct
import subprocess
import tempfile
import unittest

PROGRAM = os.path.abspath(os.environ["ORV_PROGRAM"])
ALL = "ORV_ALL" in os.environ
SANITIZED = b"__asan_init" in open(PROGRAM, "rb").read() or b"__tsan_init" in open(PROGRAM, "rb").read()
# Of the processor's time, and of addresses, of which the program takes up to 15 MB before it reads a file. A
# sanitizer reserves more addresses than there are.
SECONDS, MEMORY = (20, None) if SANITIZED else (2, 64 << 20)
MANY = 2_000_000
REFUSED, DAMAGED, FINE = "refused", "damaged", "fine"
PATHS = [p for p in ("w7", "v8", "s8", "p8", "g9_avx", "g9")
         if b"no code path" not in (e := subprocess.run([PROGRAM, "decode", "--path", p, "none", "none"], capture_output=True).stderr)
         and b"cannot run" not in e]


# ---- JPEG files of flat blocks

def segment(code, payload=b"", length=None):
    return struct.pack(">BBH", 0xFF, code, len(payload) + 2 if length is None else length) + payload


def dht(kind, counts, symbols):
    return segment(0xC4, bytes([kind]) + bytes(counts) + bytes(symbols))


# Nine categories of DC, with four bits each; of AC the end of block, with one bit.
DC_COUNTS, AC_COUNTS = [0, 0, 0, 9] + [0] * 12, [1] + [0] * 15


def sof(width, height, components, code=0xC0, bits=8):
    """A component: its name, sampling factors as a byte, quantisation table."""
    return segment(code, struct.pack(">BHHB", bits, height, width, len(components)) + b"".join(map(bytes, components)))


def sos(names, tables=0, tail=b"\0\x3F\0"):
    return segment(0xDA, bytes([len(names)]) + b"".join(bytes([n, tables]) for n in names) + tail)


def level(c, x, y):
    """The value of a block, from 28 to 227."""
    return 28 + (c * 67 + x * 29 + y * 53) % 200


class Bits:
    def __init__(self):
        self.bits = ""

    def block(self, difference, end="0"):
        category = abs(difference).bit_length()
        value = difference if difference > 0 else difference + (1 << category) - 1
        self.bits += format(category, "04b") + (format(value, f"0{category}b") if category else "") + end

    def bytes(self):
        padded = self.bits + "1" * (-len(self.bits) % 8)
        return int("1" + padded, 2).to_bytes(len(padded) // 8 + 1, "big")[1:].replace(b"\xFF", b"\xFF\0")


class Jpeg:
    """A picture of blocks and its file, in pieces that tests replace. Three components are R, G and B by their names.
    With `lows` it is progressive: the scans go down to these bits in turn."""

    def __init__(self, width=40, height=24, names=b"RGB", factors=(0x11, 0x11, 0x11), restart=0, scans=None, lows=None):
        self.width, self.height, self.names, self.factors = width, height, names, factors[:len(names)]
        self.restart = restart
        self.scans = scans or [range(len(names))]
        self.h, self.v = max(f >> 4 for f in self.factors), max(f & 15 for f in self.factors)
        self.dqt = segment(0xDB, b"\0" + b"\x08" * 64)
        self.sof = sof(width, height, [(n, f, 0) for n, f in zip(names, self.factors)], 0xC2 if lows else 0xC0)
        self.dht = dht(0, DC_COUNTS, range(9)) + dht(16, AC_COUNTS, [0])
        self.dri = segment(0xDD, struct.pack(">H", restart)) if restart else b""
        passes = [(scan, low, lows[i - 1] if i else 0) for i, low in enumerate(lows or [0]) for scan in self.scans]
        self.sos = [sos([names[i] for i in scan], tail=bytes([0, 0, high << 4 | low]) if lows else b"\0\x3F\0")
                    for scan, low, high in passes]
        self.data = [self.scan(scan, low, high, "" if lows else "0") for scan, low, high in passes]
        self.head, self.between, self.tail = b"", b"", b"\xFF\xD9"

    def scan(self, scan, low, known, end):
        """A list of restart intervals."""
        if len(scan) == 1 or len(self.names) == 1:
            h, v = (1, 1) if len(self.names) == 1 else (self.factors[scan[0]] >> 4, self.factors[scan[0]] & 15)
            hMax, vMax = (1, 1) if len(self.names) == 1 else (self.h, self.v)
            wide, high = -(-(-(-self.width * h // hMax)) // 8), -(-(-(-self.height * v // vMax)) // 8)
            mcus = [[(scan[0], x, y)] for y in range(high) for x in range(wide)]
        else:
            wide, high = -(-self.width // (8 * self.h)), -(-self.height // (8 * self.v))
            mcus = [[(c, x * (self.factors[c] >> 4) + i, y * (self.factors[c] & 15) + j) for c in scan
                     for j in range(self.factors[c] & 15) for i in range(self.factors[c] >> 4)]
                    for y in range(high) for x in range(wide)]
        intervals, last = [], {}
        for n, mcu in enumerate(mcus):
            if n == 0 or self.restart and n % self.restart == 0:
                intervals.append(Bits())
                last = {}
            for c, x, y in mcu:
                value = level(c, x, y) - 128 >> low
                if known:
                    intervals[-1].bits += str(value & 1)
                else:
                    intervals[-1].block(value - last.get(c, 0), end)
                last[c] = value
        return [i.bytes() for i in intervals]

    def entropy(self, n):
        return b"".join(d if i == 0 else b"\xFF" + bytes([0xD0 + (i - 1) % 8]) + d for i, d in enumerate(self.data[n]))

    def tables(self):
        return self.dqt + self.sof + self.dht + self.dri

    def headers(self):
        return b"\xFF\xD8" + self.head + self.tables() + self.sos[0]

    def file(self):
        scans = self.entropy(0)
        for n in range(1, len(self.sos)):
            scans += self.between + self.sos[n] + self.entropy(n)
        return self.headers() + scans + self.tail

    def pixels(self):
        """As binary PPM or PGM."""
        rows = []
        for y in range(self.height):
            row = bytearray()
            for x in range(self.width):
                if len(self.names) == 1:
                    row.append(level(0, x // 8, y // 8))
                else:
                    row += bytes(level(c, x * (f >> 4) // self.h // 8, y * (f & 15) // self.v // 8)
                                 for c, f in enumerate(self.factors))
            rows.append(bytes(row))
        return b"P%d\n%d %d\n255\n" % (5 if len(self.names) == 1 else 6, self.width, self.height) + b"".join(rows)


def grey(**settings):
    return Jpeg(names=b"\x01", **settings)


def having(jpeg=None, **pieces):
    """The file with other pieces."""
    jpeg = jpeg or Jpeg()
    for name, value in pieces.items():
        assert hasattr(jpeg, name), name
        setattr(jpeg, name, value)
    return jpeg.file()


def refused_jpegs():
    """Name: the file, and a part of what is said."""
    j = Jpeg()
    whole, headers = j.file(), j.headers()
    rgb = [(n, 0x11, 0) for n in b"RGB"]

    def progressive(**pieces):
        return having(Jpeg(lows=(0,)), **pieces)

    def framed(components=rgb, width=40, height=24, **settings):
        return having(sof=sof(width, height, components, **settings), sos=[sos([c[0] for c in components])])

    def factors(a, b=0x11):
        return framed([(1, a, 0), (2, b, 0), (3, b, 0)])
    files = {
        "empty": (b"", "empty"),
        "one-byte": (b"\xFF", "not a JPEG"),
        "start-only": (b"\xFF\xD8", "ends within its headers"),
        "start-end": (b"\xFF\xD8\xFF\xD9", "no picture"),
        "endless-ff": (b"\xFF\xD8" + b"\xFF" * 4 * MANY, "ends within its headers"),
        "only-ff": (b"\xFF" * 4 * MANY, "not a JPEG"),
        "empty-segments": (b"\xFF\xD8" + segment(0xE0) * MANY, "ends within its headers"),
        "comments-of-all-kinds": (b"\xFF\xD8" + segment(0xFE, bytes(65533)) * 128, "ends within its headers"),
        "two-starts": (b"\xFF\xD8" + whole, "a marker stands where it must not"),
        "no-marker": (whole[:2] + b"x" + whole[2:], "no marker"),
        "restart-first": (having(head=b"\xFF\xD0"), "a marker stands where it must not"),
        "no-frame": (having(sof=b""), "before the frame"),
        "two-frames": (having(head=j.sof), "two frames"),
        "no-quantisation": (having(dqt=b""), "quantisation table 0 is missing"),
        "no-huffman": (having(dht=b""), "DC Huffman table 0 is missing"),
        "no-ac": (having(dht=dht(0, DC_COUNTS, range(9))), "AC Huffman table 0 is missing"),
        "other-quantisation": (framed([(n, 0x11, 3) for n in b"RGB"]), "table 3 is missing"),
        "no-such-quantisation": (framed([(n, 0x11, 4) for n in b"RGB"]), "cannot be"),
        "no-such-huffman": (having(sos=[sos(b"RGB", 0x44)]), "cannot be"),
        "quantisation-number": (having(head=segment(0xDB, b"\x04" + bytes(64))), "number that cannot be"),
        "quantisation-20-bits": (having(head=segment(0xDB, b"\x20" + bytes(128))), "number that cannot be"),
        "quantisation-16-bits-short": (having(head=segment(0xDB, b"\x10" + bytes(127))), "too short"),
        "quantisation-short": (having(head=segment(0xDB, b"\0" + bytes(63))), "too short"),
        "quantisation-long": (having(head=segment(0xDB, b"\0" + bytes(65))), "too short"),
        "huffman-number": (having(head=dht(0x20, DC_COUNTS, range(9))), "number that cannot be"),
        "huffman-over-full": (having(head=dht(0, [3] + [0] * 15, range(3))), "more codes of a length"),
        "huffman-over-full-late": (having(head=dht(0, [1] * 15 + [3], range(18))), "more codes of a length"),
        "huffman-257-codes": (having(head=dht(0, [0] * 14 + [255, 2], bytes(257))), "more than 256 codes"),
        "huffman-all-255": (having(head=dht(0, [255] * 16, bytes(4080))), "more than 256 codes"),
        "huffman-symbols-missing": (having(head=dht(0, DC_COUNTS, range(8))), "too short"),
        "huffman-counts-missing": (having(head=segment(0xC4, b"\0" + bytes(15))), "too short"),
        "same-names": (framed([(1, 0x11, 0)] * 3), "the same name"),
        "sampling-4x4": (factors(0x44), "sampling factors of 4x4"),
        "sampling-5x1": (factors(0x51), "sampling factors cannot be"),
        "sampling-0x1": (factors(0x01), "sampling factors cannot be"),
        "sampling-12-blocks": (factors(0x22, 0x22), "more than ten blocks"),
        "restart-short": (having(dri=segment(0xDD, b"\1")), "too short"),
        "restart-empty": (having(dri=segment(0xDD)), "too short"),
        "progressive-scan-of-all": (framed(code=0xC2), "coefficients that cannot be"),
        "progressive-bits": (progressive(sos=[sos(b"RGB", tail=b"\0\0\x20")]), "bits that cannot be"),
        "progressive-ac-of-three": (progressive(sos=[sos(b"RGB", tail=b"\1\x3F\0")]), "coefficients that cannot"),
        "progressive-short": (progressive(sos=[sos(b"RGB", tail=b"\0\0")]), "too short"),
        "progressive-no-ac": (progressive(dht=dht(0, DC_COUNTS, range(9)), sos=[sos(b"R", tail=b"\1\1\0")]), "AC Huff"),
        "progressive-bomb": (progressive(sof=sof(16000, 16000, rgb, 0xC2)), "more than a file of this size can hold"),
        "lossless": (framed(code=0xC3), "lossless"),
        "hierarchical": (framed(code=0xC5), "hierarchical"),
        "arithmetic": (framed(code=0xC9), "arithmetic-coded"),
        "arithmetic-progressive": (framed(code=0xCA), "arithmetic-coded"),
        "arithmetic-conditioning": (having(head=segment(0xCC, b"\0\0")), "arithmetic-coded"),
        "12-bits": (framed(bits=12), "12 bits"),
        "0-bits": (framed(bits=0), "0 bits"),
        "cmyk": (framed([(n, 0x11, 0) for n in b"CMYK"]), "4 components (CMYK)"),
        "two-components": (framed(rgb[:2]), "2 components"),
        "no-components": (having(sof=sof(40, 24, [])), "0 components"),
        "255-components": (having(sof=sof(40, 24, [(n, 0x11, 0) for n in range(255)])), "255 components"),
        "components-missing": (having(sof=segment(0xC0, struct.pack(">BHHB", 8, 24, 40, 3) + b"\1")), "too short"),
        "scan-of-none": (having(sos=[sos(b"")]), "number of components"),
        "scan-of-four": (having(sos=[sos(b"RGBR")]), "number of components"),
        "scan-of-255": (having(sos=[segment(0xDA, b"\xFF")]), "number of components"),
        "scan-of-a-stranger": (having(sos=[sos(b"RGX")]), "does not have"),
        "scan-twice-the-same": (having(sos=[sos(b"RGR")]), "twice"),
        "scan-too-short": (having(sos=[segment(0xDA, b"\3R\0")]), "too short"),
        "bomb": (framed(width=16000, height=16000), "more than a file of this size can hold"),
        "scan-repeated": (having(Jpeg(scans=[[0], [0], [1]]), between=b""), "comes in two scans"),
    }
    for length in (0, 1):
        for code in (0xE0, 0xC0, 0xC4, 0xDB, 0xDD, 0xDA, 0xFE):
            files[f"length-{length}-of-{code:02x}"] = (having(head=segment(code, b"", length)), "length that cannot be")
    for width, height in ((0, 0), (0, 1), (1, 0), (0, 65500), (65500, 0)):
        files[f"{width}x{height}"] = (framed(width=width, height=height), "no size")
    for width, height in ((65500, 65500), (65535, 65535), (65535, 4097)):
        files[f"{width}x{height}"] = (framed(width=width, height=height), "is more than the limit")
    for width, height in ((65500, 4000), (4000, 65500)):
        files[f"{width}x{height}"] = (framed(width=width, height=height), "more than a file of this size can hold")
    for length in range(2, len(headers)):
        files[f"ends-at-{length}"] = (whole[:length], "ends within its headers")
    return files


def damaged_jpegs():
    """Pictures of which something is lost."""
    plain, cut, three = Jpeg(), Jpeg(restart=2), Jpeg(scans=[[0], [1, 2]], factors=(0x21, 0x11, 0x11))
    end = len(plain.headers())
    files = {f"scan-ends-at-{n}": plain.file()[:n] for n in range(end + 4, len(plain.file()) - 3)}
    start = three.file().index(b"\xFF\xDA") + 12
    files.update({f"scans-end-at-{n}": three.file()[:n] for n in range(start, len(three.file()) - 3)})
    marks = [bytes([0xFF, 0xD0 + i]) for i in range(8)]
    intervals = cut.data[0]

    def joined(separators):
        return cut.headers() + b"".join(d + s for d, s in zip(intervals, separators)) + b"\xFF\xD9"
    right = marks[:len(intervals) - 1] + [b""]
    files.update({
        "no-restart-markers": joined([b""] * 8),
        "all-the-same": joined([marks[0]] * 7 + [b""]),
        "backwards": joined(right[-2::-1] + [b""]),
        "every-second": joined([m if i % 2 else b"" for i, m in enumerate(right)]),
        "restart-missing": joined([b""] + right[1:]),
        "restart-foreign": joined([b"\xFF\x01"] + right[1:]),
        "restart-is-a-header": joined([segment(0xE0)] + right[1:]),
        "restart-is-an-end": joined([b"\xFF\xD9"] + right[1:]),
        "restarts-not-announced": having(Jpeg(restart=2), dri=b""),
        "restarts-announced-only": having(dri=segment(0xDD, b"\0\1")),
        "restarts-too-often": having(Jpeg(restart=1), dri=segment(0xDD, b"\0\2")),
        "restarts-too-seldom": having(Jpeg(restart=2), dri=segment(0xDD, b"\0\1")),
        "endless-restarts": cut.headers() + b"".join(marks) * (MANY // 4),
        "endless-restarts-7": having(Jpeg(restart=1), data=[[b""]]).replace(b"\xFF\xD9", marks[7] * MANY + b"\0" * MANY),
        "endless-ff-in-scan": plain.headers() + b"\xFF" * 4 * MANY,
        "endless-stuffing": plain.headers() + b"\xFF\0" * 2 * MANY,
        "endless-markers": cut.headers() + b"\xFF\x01" * MANY,
        "no-codes": having(dht=dht(0, [0] * 16, []) + dht(16, [0] * 16, [])),
        "category-255": having(dht=dht(0, DC_COUNTS, [255] * 9) + dht(16, AC_COUNTS, [0])),
        "runs-past-the-end": having(dht=dht(0, DC_COUNTS, range(9)) + dht(16, AC_COUNTS, [0xF1])),
        "wide": having(Jpeg(65500, 9), data=[[bytes(9000)]]),
        "high": having(Jpeg(9, 65500), data=[[bytes(9000)]]),
    })
    files.update(damaged_progressive_jpegs())
    return files


def many_scans():
    """A bit of a coefficient to each scan. One block in 32 has each of the 63, so that each scan looks for it. They are
    so large that dequantised their 16 bits are zeros."""
    jpeg, groups = grey(width=8, height=8, lows=(0,)), 360 * 360 // 32
    jpeg.sof = sof(2880, 2880, [(1, 0x11, 0)], 0xC2)
    jpeg.dht += dht(16, [1, 1] + [0] * 14, [0x01, 0x40]) + dht(17, [1] + [0] * 15, [0xE0])
    jpeg.data = [[bytes(groups * 32 // 2)]]
    first = b"\x2F" * groups  # each a sign, then 31 blocks without
    corrections = Bits()
    corrections.bits = ("0" + "1" * 14 + "0" * 1024) * (groups // 1024 + 1)
    further = corrections.bytes()
    scans = b"".join(sos(b"\1", low < 13, bytes([k, k, (low + 1 & 15) % 14 << 4 | low])) + (further if low < 13 else first)
                     for k in range(1, 64) for low in range(13, -1, -1))
    return jpeg.headers() + jpeg.entropy(0) + scans, b"P5\n2880 2880\n255\n" + b"\x80" * 2880 ** 2


def damaged_progressive_jpegs():
    plain, cut = Jpeg(lows=(2, 1, 0)), Jpeg(restart=2, lows=(1, 0))
    start = plain.file().index(b"\xFF\xDA") + 16
    files = {f"progressive-ends-at-{n}": plain.file()[:n] for n in range(start, len(plain.file()) - 3)}
    again = plain.sos[0] + plain.entropy(0)
    files.update({
        "progressive-no-restart-markers": re.sub(rb"\xFF[\xD0-\xD7]", b"", cut.file()),
        "progressive-no-restarts-often": re.sub(rb"\xFF[\xD0-\xD7]", b"", having(Jpeg(900, 700, lows=range(13, -1, -1)), dri=segment(0xDD, b"\0\1"))),
        "progressive-endless-restarts": cut.headers() + bytes(b for i in range(8) for b in (0xFF, 0xD0 + i)) * (MANY // 4),
        "progressive-again-and-again": plain.file()[:-2] + again * (MANY // len(again)),
        "progressive-headers-only": plain.headers() + b"\0" + plain.sos[0] * (MANY // 8),
        "progressive-refines-nothing": having(Jpeg(lows=(2, 1, 0)), sos=plain.sos[1:] + plain.sos[:1]),
    })
    return files


def fine_jpegs():
    """Name: the file, and its picture."""
    empty = segment(0xE0) * MANY
    files = {}

    def add(name, jpeg, **pieces):
        files[name] = (having(jpeg, **pieces), jpeg.pixels())
    add("1x1", Jpeg(1, 1))
    add("1x1-grey", grey(width=1, height=1))
    add("65500x1", Jpeg(65500, 1))
    add("1x65500", Jpeg(1, 65500))
    add("65500x8-grey", grey(width=65500, height=8))
    add("two-million-segments", Jpeg(), head=empty)
    add("a-megabyte-of-ff", Jpeg(), head=b"\xFF" * (1 << 20))
    add("extended", Jpeg(), sof=sof(40, 24, [(n, 0x11, 0) for n in b"RGB"], 0xC1))
    add("quantisation-16-bits", Jpeg(), dqt=segment(0xDB, b"\x10" + b"\0\x08" * 64))
    add("progressive", Jpeg(lows=(0,)))
    add("progressive-bits", Jpeg(71, 31, lows=range(13, -1, -1), factors=(0x22, 0x11, 0x12), restart=3))
    add("progressive-grey", grey(lows=(3, 2, 1, 0), width=65500))
    add("progressive-scans", Jpeg(lows=(1, 0), scans=[[2], [0], [1]], factors=(0x11, 0x21, 0x22)))
    add("progressive-no-ac-tables", Jpeg(lows=(1, 0)), dht=dht(0, DC_COUNTS, range(9)))
    add("tables-doubled", Jpeg(), head=segment(0xDB, b"\0" + b"\x63" * 64) + dht(0, [1] + [0] * 15, [5]))
    add("quantisation-doubled-often", Jpeg(), head=segment(0xDB, (b"\0" + b"\x63" * 64) * 1000) * 128)
    add("huffman-doubled-often", Jpeg(), head=segment(0xC4, (b"\0" + bytes([1] + [0] * 15) + b"\5") * 3640) * 128)
    add("huffman-doubled-full", Jpeg(), head=dht(0, [0] * 7 + [255] + [1] + [0] * 7, bytes(256)) * 30000)
    add("tables-of-others-over", Jpeg(), head=dht(0x13, [0] * 16, []))
    add("one-component-4x4", grey(), sof=sof(40, 24, [(1, 0x44, 0)]))
    add("one-component-4x4-name-0", grey(), sof=sof(40, 24, [(0, 0x44, 0)]), sos=[sos(b"\0")])
    add("adobe-of-one-byte", Jpeg(), head=segment(0xEE, b"A"))
    add("adobe-says-rgb", Jpeg(names=b"\xFF\0\x80"), head=segment(0xEE, b"Adobe" + bytes(7)))
    add("frame-too-long", Jpeg(), sof=segment(0xC0, Jpeg().sof[4:] + bytes(100)))
    add("restart-interval-1", Jpeg(restart=1))
    add("restart-interval-65535", Jpeg(), dri=segment(0xDD, b"\xFF\xFF"))
    add("restart-interval-twice", Jpeg(restart=4), head=segment(0xDD, b"\0\7"))
    add("restart-too-long", Jpeg(restart=4), dri=segment(0xDD, b"\0\4" + bytes(50)))
    add("scans-backwards", Jpeg(scans=[[2], [1], [0]]))
    add("scans-then-restarts", Jpeg(scans=[[1], [0, 2]]), between=segment(0xDD, b"\0\x0F"))
    add("ten-blocks", Jpeg(factors=(0x22, 0x22, 0x12)))
    add("no-factor-of-one", Jpeg(factors=(0x22, 0x12, 0x21)))
    add("one-factor-less", Jpeg(factors=(0x11, 0x12, 0x21), width=41))
    add("segments-between-scans", Jpeg(scans=[[0], [1], [2]]), between=segment(0xE5) * (MANY // 4))
    for fill in (b"\xFF", b"\xFF" * 2, b"\xFF" * 1001):
        j = Jpeg(restart=2)
        filled = re.sub(rb"\xFF([\xD0-\xD7\xD9])", lambda m: fill + m[0], j.file())
        files[f"{len(fill)}-bytes-before-markers"] = (filled, j.pixels())
    add("no-end", Jpeg(), tail=b"")
    add("half-an-end", Jpeg(), tail=b"\xFF")
    add("much-after-the-end", Jpeg(), tail=b"\xFF\xD9" + os.urandom(1 << 20))
    add("another-file-after-the-end", Jpeg(), tail=b"\xFF\xD9" + Jpeg(8, 8).file())
    return files


def refused_ppms():
    zeros, spaces = b"0" * 4 * MANY, b" " * 4 * MANY
    files = {}
    for n, (head, part) in enumerate((
            (b"P", "not a binary"), (b"P6", "ends within"), (b"P6 ", "ends within"), (b"P6 4 3", "ends within"),
            (b"P6 4 3 255", "ends within"), (b"P4 4 3 255\n", "not a binary"), (b"P7 4 3 255\n", "not a binary"),
            (b"P64 3 255\n", "damaged"), (b"P6 4x3 255\n", "damaged"), (b"P6 4,3 255\n", "damaged"),
            (b"P6 4 3 255x", "damaged"), (b"P6 -4 3 255\n", "damaged"), (b"P6 4 -3 255\n", "damaged"),
            (b"P6 4 3 -255\n", "damaged"), (b"P6 +4 3 255\n", "damaged"), (b"P6 4.0 3 255\n", "damaged"),
            (b"P6 0x4 3 255\n", "damaged"), (b"P6 1e9 3 255\n", "damaged"), (b"P6 4294967300 3 255\n", "damaged"),
            (b"P6 18446744073709551620 3 255\n", "damaged"), (b"P6 " + b"9" * 4 * MANY + b" 3 255\n", "damaged"),
            (b"P6 4 3 99999999999\n", "damaged"), (b"P6 0 3 255\n", "no size"), (b"P6 4 0 255\n", "no size"),
            (b"P6 " + zeros + b" 3 255\n", "no size"), (b"P6" + spaces, "ends within"), (b"P6 #" + spaces, "ends within"),
            (b"P6 " + b"#\n" * MANY + b"!", "damaged"), (b"P6 4 3 0\n", "samples up to 0"),
            (b"P6 4 3 254\n", "samples up to 254"), (b"P6 4 3 256\n", "samples up to 256"),
            (b"P6 4 3 65535\n", "samples up to 65535"), (b"P6 4 3 65536\n", "samples up to 65536"),
            (b"P6 65500 65500 255\n", "ends before its picture"), (b"P5 99999999 99999999 255\n", "ends before"),
            (b"P6 4 4 255\n", "ends before its picture"), (b"P6 4 3 255\n\0", ""), (b"P6\x004 3 255\n", "damaged"))):
        if part:
            files[f"ppm-{n}"] = (head + bytes(36), part) if part != "ends within" else (head, part)
    files["ppm-ends"] = (b"P6 4 3 255\n" + bytes(35), "ends before its picture")
    files["text"] = (b"hello\n", "neither a JPEG nor")
    files["zeros"] = (bytes(4 * MANY), "neither a JPEG nor")
    return files


def fine_ppms():
    """Each is the picture of 4 x 3 pixels."""
    samples = bytes(range(36))
    picture = b"P6\n4 3\n255\n" + samples
    return {f"ppm-fine-{n}": (head + samples + tail, picture) for n, (head, tail) in enumerate((
        (b"P6 4 3 255\n", b""), (b"P6\t4\r3\v255\f", b""), (b"P6 4 3 255\n", b"P6 1 1 255\nabc"),
        (b"P6 #" + b"x" * MANY + b"\n4 3 255\n", b""), (b"P6 " + b"0" * MANY + b"4 3 255\n", b""),
        (b"P6" + b" " * MANY + b"4 3 255 ", b""), (b"P6 4#\n3#255\n255#\n", b"")))}


# ---- Commands

# How a command is called, with its options in front; and whether grey pictures are nothing for it.
COMMANDS = {
    "decode": ("decode {options} {file} OUT.ppm", False),
    "encode": ("encode {options} {file} OUT.jpg", False),
    "encode-best": ("encode --optimize {options} {file} OUT.jpg", False),
    "convert": ("convert --to yuv420 {options} {file} OUT.raw", True),
    "filter": ("filter --box 3x3 {options} {file} OUT.ppm", False),
    "swap": ("swap --order bgr {options} {file} OUT.ppm", True),
    "resize": ("resize --method nearest {options} {file} OUT.ppm 100%", False),
    "sheet": ("sheet {options} {file} OUT.ppm", False),
    "compare": ("compare {options} {file} {file}", False),
}


class Hostile(unittest.TestCase):
    runs = longest = 0

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="orv-hostile-")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)
        print(f"{cls.runs} runs, up to {cls.longest:.2f} s of the processor")

    def setUp(self):
        self.inputs, self.work = (os.path.join(self.folder, f"{self.id()}-{n}") for n in ("in", "work"))
        os.mkdir(self.inputs)
        os.mkdir(self.work)
        self.turn, self.same = 0, {}

    def run_limited(self, arguments):
        """Status (minus the signal), standard output and error."""
        out, err = (os.path.join(self.folder, n) for n in ("out.txt", "err.txt"))
        # A shell sets the limits: to fork this process, which holds the files, takes longer than all else.
        memory = f"ulimit -v {MEMORY >> 10}; " if MEMORY else ""
        limited = f'cd "$0" && ulimit -t {SECONDS}; ulimit -c 0; {memory}exec "$@"'
        opened = [(os.POSIX_SPAWN_OPEN, n, name, os.O_RDWR | os.O_CREAT | os.O_TRUNC, 0o600)
                  for n, name in enumerate((os.devnull, out, err))]
        pid = os.posix_spawn("/bin/sh", ["sh", "-c", limited, self.work, PROGRAM] + arguments, os.environ,
                             file_actions=opened)
        _, status, usage = os.wait4(pid, 0)
        cls = type(self)
        cls.runs += 1
        cls.longest = max(cls.longest, usage.ru_utime + usage.ru_stime)
        with open(out, errors="replace") as o, open(err, errors="replace") as e:
            return os.waitstatus_to_exitcode(status), o.read(), e.read()

    def check(self, name, command, path, kind, part="", picture=None, strict=False):
        """What a command says to a file, and what it leaves."""
        file = os.path.join(self.inputs, name)
        pattern, needs_colour = COMMANDS[command]
        options = ("--strict " if strict else "") + (f"--path {path}" if command != "compare" else "")
        arguments = pattern.format(options=options, file=file).split()
        where = f"{command} --path {path} {'--strict ' if strict else ''}{name}"
        code, out, err = self.run_limited(arguments)
        if kind == FINE and needs_colour and picture[:2] == b"P5":
            kind, part = REFUSED, "a grey picture"
        if kind == DAMAGED and strict:
            kind, part = REFUSED, "the picture"
        status = {FINE: 0, DAMAGED: 2, REFUSED: 2 if command == "compare" else 1}[kind]
        self.assertEqual(code, status, f"{where}: {err}")
        lines = {FINE: 0, DAMAGED: 2 if command == "compare" else 1, REFUSED: 1}[kind]
        self.assertRegex(err, r"\A(orv: %s: [^\n]{5,160}\n){%d}\Z" % (re.escape(file), lines), where)
        self.assertIn("warning: the picture is " if kind == DAMAGED else part, err, where)
        if command != "compare":
            self.assertEqual(out, "", where)
        names = os.listdir(self.work)
        self.assertEqual(names, [] if kind == REFUSED or command == "compare" else [arguments[-1 - (command == "resize")]],
                         where)
        for result in names:
            with open(os.path.join(self.work, result), "rb") as f:
                got = f.read()
            os.remove(os.path.join(self.work, result))
            if kind == FINE and command in ("decode", "resize"):
                self.assertTrue(got == picture, f"{where}: another picture")
            if kind == DAMAGED and command == "decode":
                head = re.match(rb"P([56])\n(\d+) (\d+)\n255\n", got)
                self.assertEqual(len(got) - head.end(), int(head[2]) * int(head[3]) * (3 if head[1] == b"6" else 1), where)
                self.assertTrue(self.same.setdefault(name, got) == got, f"{where}: not as on another path")

    def check_thumbs(self, kind):
        """Thumbnails of all files that are still there."""
        for path in PATHS:
            self.turn += 1
            count = len(os.listdir(self.inputs))
            code, out, err = self.run_limited(["thumb", "--path", path, self.inputs, "OUT"])
            self.assertEqual(code, {FINE: 0, DAMAGED: 2, REFUSED: 1}[kind], err)
            lines = (r"\A(orv: %s/[^\n]{5,160}\n){%d}\d+ thumbnails in [^\n]* %d failed\n\Z"
                     % (re.escape(self.inputs), 0 if kind == FINE else count, count if kind == REFUSED else 0))
            self.assertRegex(err, lines, path)
            self.assertEqual(out.count("\n"), 0 if kind == REFUSED else count)
            made = os.path.join(self.work, "OUT")
            self.assertEqual(len(os.listdir(made)), 0 if kind == REFUSED else count)
            shutil.rmtree(made)

    def check_all(self, files, kind):
        """What is decoded is so on every path; the other commands take the paths in turn."""
        for name, content in files.items():
            content, extra = (content, None) if isinstance(content, bytes) else content
            name += ".jpg"
            with open(os.path.join(self.inputs, name), "wb") as f:
                f.write(content)
            meant = {"part": extra} if kind == REFUSED else {"picture": extra}
            commands = [c for c in COMMANDS if c != "decode" or content[:1] == b"\xFF"]
            crowd = re.search(r"ends?-at", name)  # these, and what is large, go to one command only
            if not ALL and (crowd or len(content) > MANY):
                commands = [commands[self.turn % len(commands)]]
            for command in commands:
                self.turn += 1
                every = ALL or command == "decode" and kind != REFUSED and not crowd
                for path in PATHS if every else [PATHS[self.turn % len(PATHS)]]:
                    with self.subTest():
                        self.check(name, command, path, kind, **meant)
            if kind == DAMAGED:
                self.check(name, commands[self.turn % len(commands)], PATHS[self.turn % len(PATHS)], kind, strict=True)
            if len(content) > MANY // 2:
                os.remove(os.path.join(self.inputs, name))
        self.check_thumbs(kind)

    def test_refused(self):
        self.check_all({**refused_jpegs(), **refused_ppms()}, REFUSED)

    def test_damaged(self):
        self.check_all(damaged_jpegs(), DAMAGED)

    def test_many_scans(self):
        content, picture = many_scans()
        with open(os.path.join(self.inputs, "many-scans.jpg"), "wb") as f:
            f.write(content)
        self.check("many-scans.jpg", "decode", PATHS[-1], FINE, picture=picture)

    def test_fine(self):
        self.check_all({**fine_jpegs(), **fine_ppms()}, FINE)


if __name__ == "__main__":
    unittest.main()
