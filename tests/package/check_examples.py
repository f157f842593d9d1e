"""Builds the examples and the README's program against an installed copy, as somebody else would, and checks what they
make of pictures, sounds and frames with models of its own.

    check_examples.py source-folder build-folder cmake pkg-config compiler [flags...]

Instead of the build's folder it takes that of an installed copy, too.
"""

import math
import os
import random
import re
import struct
import subprocess
import sys
import tempfile
import wave

SOURCE, BUILD, CMAKE, PKGCONF, *COMPILER = sys.argv[1:]
SEED = 11
DICE = random.Random(SEED)


def expect(got, expected, what, tolerance=0):
    """The same numbers, or no further apart than the tolerance; a failure tells the first place."""
    if len(got) != len(expected):
        sys.exit(f"{what}: {len(got)} values, not {len(expected)}")
    for i, (a, b) in enumerate(zip(got, expected)):
        if not abs(a - b) <= tolerance:
            sys.exit(f"{what}: value {i} is {a}, not {b} (tolerance {tolerance}, seed {SEED})")


def read(name):
    with open(name, "rb") as file:
        return file.read()


def write(name, data):
    with open(name, "wb") as file:
        file.write(data)


def picture(name):
    """Width, height and samples of a binary PGM or PPM file."""
    head = re.match(rb"P[56]\n(\d+) (\d+)\n255\n", read(name))
    return int(head[1]), int(head[2]), read(name)[head.end():]


def clamp(value):
    return max(0, min(255, math.floor(value + 0.5)))


class Jpeg:
    """A baseline JPEG's tables and blocks, decoded one bit at a time and with the transform's definition."""
    NATURAL = sorted(range(64), key=lambda i: (i // 8 + i % 8, i // 8 if (i // 8 + i % 8) % 2 else i % 8))
    COSINE = [[(math.sqrt(0.125) if u == 0 else 0.5) * math.cos((2 * x + 1) * u * math.pi / 16) for x in range(8)]
              for u in range(8)]

    def __init__(self, data):
        self.steps, self.codes, at = {}, {}, 2
        while True:
            marker, length = data[at + 1], data[at + 2] << 8 | data[at + 3]
            body, at = data[at + 4:at + 2 + length], at + 2 + length
            if marker == 0xDB:
                for i in range(0, len(body), 65):
                    self.steps[body[i]] = body[i + 1:i + 65]
            elif marker == 0xC4:
                while body:
                    code, symbols, table = 0, iter(body[17:]), {}
                    for size in range(1, 17):
                        for _ in range(body[size]):
                            table[size, code] = next(symbols)
                            code += 1
                        code <<= 1
                    self.codes[body[0]], body = table, body[17 + len(table):]
            elif marker == 0xC0:
                self.height, self.width = struct.unpack(">HH", body[1:5])
                self.step_of = [body[8 + 3 * i] for i in range(body[5])]
            elif marker == 0xDA:
                self.code_of = [body[2 + 2 * i] for i in range(body[0])]
                break
        self.bits = self.bit_stream(data, at)
        self.dc = [0] * len(self.step_of)

    @staticmethod
    def bit_stream(data, at):
        while not (data[at] == 0xFF and data[at + 1]):
            yield from (data[at] >> i & 1 for i in range(7, -1, -1))
            at += 2 if data[at] == 0xFF else 1

    def number(self, size):
        value = 0
        for _ in range(size):
            value = 2 * value + next(self.bits)
        return value if size == 0 or value >> (size - 1) else value - (1 << size) + 1

    def symbol(self, table):
        size, code = 0, 0
        while (size, code) not in table:
            size, code = size + 1, 2 * code + next(self.bits)
        return table[size, code]

    def block(self, component):
        """The next block's 64 samples, centred on zero and not rounded."""
        dc, ac = self.code_of[component] >> 4, self.code_of[component] & 15 | 16
        steps, values, i = self.steps[self.step_of[component]], [0] * 64, 1
        self.dc[component] += self.number(self.symbol(self.codes[dc]))
        values[0] = self.dc[component] * steps[0]
        while i < 64:
            symbol = self.symbol(self.codes[ac])
            if symbol == 0:
                break
            i += symbol >> 4
            if symbol & 15:
                values[self.NATURAL[i]] = self.number(symbol & 15) * steps[i]
            i += 1
        rows = [[sum(values[8 * v + u] * self.COSINE[u][x] for u in range(8)) for x in range(8)] for v in range(8)]
        return [sum(rows[v][x] * self.COSINE[v][y] for v in range(8)) for y in range(8) for x in range(8)]


def check_mcu_row(run):
    photo = os.path.join(SOURCE, "examples/photo.jpg")
    run("mcu_row", photo, "row.ppm")
    width, height, got = picture("row.ppm")
    model = Jpeg(read(photo))
    expect([width, height], [model.width, 16], "mcu_row: size")
    row = [[0] * 3 * model.width for _ in range(16)]
    for left in range(0, model.width, 16):
        luma = [model.block(0) for _ in range(4)]
        cb, cr = ([max(-128, min(127, round(v))) for v in model.block(c)] for c in (1, 2))
        for y in range(16):
            for x in range(min(16, model.width - left)):
                light, half = luma[y // 8 * 2 + x // 8][y % 8 * 8 + x % 8] + 128, y // 2 * 8 + x // 2
                row[y][3 * (left + x):3 * (left + x) + 3] = (
                    clamp(light + 1.402 * cr[half]), clamp(light - 0.34414 * cb[half] - 0.71414 * cr[half]),
                    clamp(light + 1.772 * cb[half]))
    # Each sample of luma and chroma may be one off, and be weighed with 1.772.
    expect(got, sum(row, []), "mcu_row: samples", 4)


def check_resize_region(run):
    width, height, channels = 90, 70, 3
    pixels = bytes(DICE.randrange(256) for _ in range(width * height * channels))
    write("in.ppm", b"P6\n%d %d\n255\n" % (width, height) + pixels)
    x0, y0 = 21, 13
    run("resize_region", "in.ppm", x0, y0, 40, 36, "out.ppm", 20, 12)  # cells of 2 by 3 pixels
    expected = []
    for y in range(12):
        for x in range(20):
            for c in range(channels):
                cell = [pixels[((y0 + 3 * y + j) * width + x0 + 2 * x + i) * channels + c]
                        for j in range(3) for i in range(2)]
                expected.append((2 * sum(cell) + 6) // 12)  # rounded, halves up
    expect(picture("out.ppm")[:2], (20, 12), "resize_region: size")
    expect(picture("out.ppm")[2], expected, "resize_region: reduced samples")
    # The whole region enlarged: a pixel whose centre is one of the source's has its value, up to rounding.
    run("resize_region", "in.ppm", x0, y0, 5, 4, "out.ppm", 15, 12)
    got = picture("out.ppm")[2]
    expect([got[((3 * y + 1) * 15 + 3 * x + 1) * channels + c] for y in range(4) for x in range(5) for c in range(3)],
           [pixels[((y0 + y) * width + x0 + x) * channels + c] for y in range(4) for x in range(5) for c in range(3)],
           "resize_region: enlarged samples")


def check_camera_to_565(run):
    width, height = 46, 5
    frame = bytes(DICE.randrange(16, 236) for _ in range(width * height * 2))
    write("in.yuyv", frame)
    run("camera_to_565", "in.yuyv", width, height, "out.565")
    got = struct.unpack(f"<{width * height}H", read("out.565"))
    expected = []
    for i in range(width * height):
        pair = i // 2 * 4
        y, u, v = 255 / 219 * (frame[2 * i] - 16), frame[pair + 1] - 128, frame[pair + 3] - 128
        expected.append((y + 1.596 * v, y - 0.392 * u - 0.813 * v, y + 2.017 * u))
    for channel, shift, bits in (0, 11, 5), (1, 5, 6), (2, 0, 5):
        unit = 1 << (8 - bits)  # the upper bits stand for unit values, of which the middle one is compared
        expect([(word >> shift & (1 << bits) - 1) * unit + (unit - 1) / 2 for word in got],
               [max(0, min(255, colour[channel])) for colour in expected], f"camera_to_565: channel {channel}",
               (unit - 1) / 2 + 1.5)


def check_wav_to_alaw(run):
    samples = [DICE.randrange(-32768, 32768) >> DICE.randrange(12) for _ in range(9999)] + [-32768, -1, 0, 32767]
    with wave.open("in.wav", "wb") as file:
        file.setparams((1, 2, 8000, 0, "NONE", ""))
        file.writeframes(struct.pack(f"<{len(samples)}h", *samples))
    run("wav_to_alaw", "in.wav", "out.wav")
    data = read("out.wav")
    expect(struct.unpack("<4xI8xIHHIIHHH4xII4xI", data[:58]),
           (len(data) - 8, 18, 6, 1, 8000, 8000, 1, 8, 0, 4, len(samples), len(samples)), "wav_to_alaw: head")
    expected = []
    for sample in samples:
        magnitude = sample if sample >= 0 else -sample - 1
        segment = max(0, magnitude.bit_length() - 8)
        expected.append(((0x80 if sample >= 0 else 0) | segment << 4 | magnitude >> max(4, segment + 3) & 15) ^ 0x55)
    expect(data[58:58 + len(samples)], expected, "wav_to_alaw: codes")


def check_box_blur(run):
    width, height, across, down = 53, 31, 5, 3
    pixels = bytes(DICE.randrange(256) for _ in range(width * height))
    write("in.pgm", b"P5\n%d %d\n255\n" % (width, height) + pixels)
    run("box_blur", "in.pgm", across, down, "out.pgm")
    expected = []
    for y in range(height):
        for x in range(width):
            box = [pixels[max(0, min(height - 1, y + j)) * width + max(0, min(width - 1, x + i))]
                   for j in range(-1, 2) for i in range(-2, 3)]
            expected.append(clamp(sum(box) / 15))  # never a half
    expect(picture("out.pgm")[2], expected, "box_blur: samples")


def check_encode_block(run):
    samples = [clamp(128 + 60 * math.sin(x) + 50 * math.cos(1.3 * y) + DICE.randrange(-9, 10))
               for y in range(8) for x in range(8)]
    write("block.pgm", b"P5\n8 8\n255\n" + bytes(samples))
    for quality, tolerance in (100, 3), (75, 40):
        run("encode_block", "block.pgm", quality, "block.jpg")
        model = Jpeg(read("block.jpg"))
        expect([model.width, model.height], [8, 8], "encode_block: size")
        expect([v + 128 for v in model.block(0)], samples, f"encode_block: samples at {quality}", tolerance)


def main():
    root = BUILD
    if os.path.exists(os.path.join(BUILD, "CMakeCache.txt")):
        root = os.path.join(os.getcwd(), "installed")
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", root], check=True, stdout=subprocess.DEVNULL)
    package, = (where for where, _, names in os.walk(root) if "orv.pc" in names)
    library = os.path.dirname(package)
    flags = subprocess.run([PKGCONF, "--cflags", "--libs", "orv"], check=True, text=True, capture_output=True,
                           env={**os.environ, "PKG_CONFIG_PATH": package}).stdout.split()

    def build(file, *options):
        name = os.path.splitext(os.path.basename(file))[0]
        subprocess.run([*COMPILER, *options, "-Wall", "-Wextra", "-Werror", file, *flags, f"-Wl,-rpath,{library}",
                        "-o", name], check=True)

    def run(name, *arguments):
        return subprocess.run([os.path.abspath(name), *map(str, arguments)], check=True, text=True,
                              stdout=subprocess.PIPE).stdout

    examples = os.path.join(SOURCE, "examples")
    checks = {name[len("check_"):]: check for name, check in globals().items() if name.startswith("check_")}
    programs = {name[:-2] for name in os.listdir(examples) if name.endswith(".c")}
    if programs != set(checks):
        sys.exit(f"examples without a check, or checks without an example: {sorted(programs ^ set(checks))}")
    for name in sorted(programs):
        build(os.path.join(examples, name + ".c"), "-std=c99", "-pedantic")
        checks[name](run)
        print(name, "holds")

    sample, = re.findall(r"^```c\n(.*?)^```$", read(os.path.join(SOURCE, "README.md")).decode(), re.DOTALL | re.MULTILINE)
    write("resize.c", sample.encode())
    build("resize.c")
    if run("resize") != "velStsNoErr: No error, it's OK\nfirst pixel: 16 8 0\n":  # means of 4 x 4 pixels
        sys.exit(f"the README's program prints {run('resize')!r}")


with tempfile.TemporaryDirectory() as folder:
    SOURCE, BUILD = os.path.abspath(SOURCE), os.path.abspath(BUILD)
    os.chdir(folder)
    main()
    os.chdir("/")
