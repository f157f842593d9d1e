"""Raw video that the program and ffmpeg exchange: exchange.py PROGRAM. Where there is no ffmpeg, the exit status is 77."""
import math
import os
import shutil
import subprocess
import sys
import tempfile

PROGRAM = os.path.abspath(sys.argv[1])
FFMPEG = "/usr/bin/ffmpeg"
# Ours, and theirs with the range that it has.
FORMATS = {"i420": ("yuv420p", "tv"), "nv12": ("nv12", "tv"), "i420-jfif": ("yuvj420p", "pc"), "nv12-jfif": ("nv12", "pc")}
ENOUGH = 40  # dB
# Exact, and chroma as it is stored, not smoothed: colours may differ from a pixel to the next.
EXACT = "scale=in_color_matrix=bt601:out_color_matrix=bt601:in_range=%s:out_range=%s:flags=neighbor+accurate_rnd+full_chroma_int"


def bars(width, height):
    """Eight colours, each in full and at three quarters, over a grey slope; bars are even pixels wide."""
    rows, bar = [], width // 16 * 2
    for y in range(height):
        level = 255 if y < height // 3 // 2 * 2 else 191
        colours = [[level * (n >> c & 1) for c in (1, 2, 0)] for n in range(7, -1, -1)]
        slope = y >= 2 * height // 3 // 2 * 2
        rows.append(bytes(v for x in range(width) for v in
                          ([255 * x // width] * 3 if slope else colours[min(x // bar, 7)])))
    return b"P6\n%d %d\n255\n" % (width, height) + b"".join(rows)


def run(*command, source):
    done = subprocess.run(command, input=source, capture_output=True)
    if done.returncode or not done.stdout:
        sys.exit(f"{' '.join(command)}: {done.stderr.decode()}")
    return done.stdout


def psnr(a, b):
    if len(a) != len(b):
        return -1
    squares = sum((x - y) ** 2 for x, y in zip(a, b))
    return 10 * math.log10(255 ** 2 * len(a) / squares) if squares else math.inf


def check(what, got, expected):
    ratio = psnr(got, expected)
    print(f"{what}: {ratio:.1f} dB")
    if ratio < ENOUGH:
        sys.exit(f"{what}: {ratio:.1f} dB, {len(got)} bytes for {len(expected)}; expected {ENOUGH} dB")


def ffmpeg(source, size, of, to, ranges):
    """From a raw picture, or PPM, to the other."""
    raw = lambda kind: ["-f", "rawvideo", "-pix_fmt", kind] if kind else []
    before = [*raw(of), "-video_size", size] if of else ["-f", "ppm_pipe"]
    after = raw(to) if to else ["-f", "image2pipe", "-c:v", "ppm", "-pix_fmt", "rgb24"]
    return run(FFMPEG, "-v", "error", *before, "-i", "-", "-vf", EXACT % ranges, *after, "-", source=source)


def main():
    if not os.access(FFMPEG, os.X_OK):
        print("ffmpeg is not installed")
        sys.exit(77)
    for width, height in ((160, 48), (161, 49), (16, 2), (17, 3)):
        size, picture = f"{width}x{height}", bars(width, height)
        for ours, (theirs, colours) in FORMATS.items():
            raw = run(PROGRAM, "convert", "-", "--to", ours, "-", source=picture)
            back = lambda what: run(PROGRAM, "convert", "-", "--from", ours, "--size", size, "--to", "ppm", "-", source=what)
            made = ffmpeg(picture, size, None, theirs, ("pc", colours))
            if len(raw) != len(made):
                sys.exit(f"{ours} {size}: {len(raw)} bytes, and ffmpeg makes {len(made)}")
            check(f"{ours} {size}, there and back", back(raw), picture)
            check(f"{ours} {size}, luma", raw[:width * height], made[:width * height])
            if width % 2 == 0:  # ffmpeg stretches chroma over an odd width, by which bars move
                check(f"{ours} {size}, ours to ffmpeg", ffmpeg(raw, size, theirs, None, (colours, "pc")), picture)
                check(f"{ours} {size}, ffmpeg's to us", back(made), picture)


main()
