#!/usr/bin/env python3
"""Times the program beside others, whole processes on one core: program.py [--quick] [PHOTO]
PHOTO is a JPEG, by default examples/photo.jpg; a picture of nine of it is measured, too. Both word sizes of orv are built
in build/x86 and build/x86-64. The others are Debian's djpeg, cjpeg, vipsthumbnail and ImageMagick's convert, which
scripts/setup program installs. Each run starts a process, which reads a file and writes one; a row's programs take turns,
and the median counts. Cold, the program, its libraries and the picture are not in memory, but for the C library, which other
processes keep there in any case. orv is timed as installed: it finds its library at once, as the others do theirs, where
that of a build looks for each library in folders of its own first."""
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PRESETS = {"orv 32": "x86", "orv 64": "x86-64"}
# Of what differs by program, IN and OUT stand for files.
ROWS = {
    "decode": {"orv": "decode IN.jpg OUT.ppm", "djpeg": "djpeg -outfile OUT.ppm IN.jpg", "convert": "convert IN.jpg OUT.ppm"},
    "encode": {"orv": "encode --quality 85 IN.ppm OUT.jpg", "cjpeg": "cjpeg -quality 85 -outfile OUT.jpg IN.ppm",
               "convert": "convert IN.ppm -quality 85 OUT.jpg"},
    "resize to a quarter": {"orv": "resize IN.jpg OUT.jpg 25%", "convert": "convert IN.jpg -resize 25% -quality 85 OUT.jpg",
                            "vipsthumbnail": "vipsthumbnail IN.jpg --size QUARTERx -o OUT.jpg[Q=85]"},
    "thumb of 256": {"orv": "thumb FOLDER OUTFOLDER --jobs 1", "convert": "convert IN.jpg -thumbnail 256x256 -quality 85 OUT.jpg",
                     "convert, decoding small": "convert -define jpeg:size=512x512 IN.jpg -thumbnail 256x256 -quality 85 OUT.jpg",
                     "vipsthumbnail": "vipsthumbnail IN.jpg --size 256 -o OUT.jpg[Q=85]"},
}
ALONE = {**os.environ, "OMP_NUM_THREADS": "1", "MAGICK_THREAD_LIMIT": "1", "VIPS_CONCURRENCY": "1"}


def fail(message):
    sys.exit(f"bench: {message}")


def run(*command):
    done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode:
        fail(f"{' '.join(command)}:\n{done.stdout}")
    return done.stdout


def build(folder):
    """Both word sizes of orv, with their libraries, and where they are."""
    run("scripts/setup", "program")
    programs = {}
    for name, preset in PRESETS.items():
        run("cmake", "--preset", preset, "-DORV_TOOLS=ON")
        run("cmake", "--build", "--preset", preset, "--target", "orv_program")
        os.mkdir(f"{folder}/{preset}")
        library, programs[name] = f"{folder}/{preset}/libOrv.so.6", f"{folder}/{preset}/orv"
        shutil.copy(f"{ROOT}/build/{preset}/libOrv.so.6", library)
        shutil.copy(f"{ROOT}/build/{preset}/orv", programs[name])
        run("strip", library, programs[name])
        run("patchelf", "--remove-rpath", "--replace-needed", "libOrv.so.6", library, programs[name])
    return programs


def libraries(program):
    """The program and those that it loads, without the C library."""
    found = re.findall(r"(/\S+) \(", run("ldd", program))
    return [program, *(name for name in found if not re.search(r"/(lib(c|m)|ld-[^/]*)\.so", name))]


def drop(names):
    """From memory, but for what other processes have mapped."""
    for name in names:
        with open(name, "rb") as file:
            os.fsync(file.fileno())
            os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


class Contest:
    """A row's programs, with the arguments of each."""

    def __init__(self, commands, programs, folder, width):
        self.out = os.path.join(folder, "out")
        inputs = [f"{folder}/folder/photo.jpg", f"{folder}/photo.ppm"]
        words = {"IN.jpg": inputs[0], "IN.ppm": inputs[1], "FOLDER": f"{folder}/folder",
                 "QUARTERx": f"{round(width / 4)}x"}
        self.commands = {}
        for name, text in commands.items():
            arguments = [words.get(word) or word.replace("OUT", self.out + "/OUT", 1) for word in text.split()]
            if name == "orv":
                self.commands.update({kind: [path, *arguments] for kind, path in programs.items()})
            else:
                arguments[0] = shutil.which(arguments[0], path="/usr/bin")
                self.commands[name] = arguments
        self.pages = {name: libraries(command[0]) + inputs for name, command in self.commands.items()}

    def seconds(self, name, cold):
        shutil.rmtree(self.out, ignore_errors=True)
        os.mkdir(self.out)
        if cold:
            drop(self.pages[name])
        began = time.perf_counter()
        child = subprocess.Popen(self.commands[name], env=ALONE, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        error = child.communicate()[1]
        took = time.perf_counter() - began
        if child.returncode:
            fail(f"{' '.join(self.commands[name])}:\n{error.decode()}")
        return took

    def medians(self, turns, cold):
        times = {name: [] for name in self.commands}
        for _ in range(turns):
            for name in times:
                times[name].append(self.seconds(name, cold))
        return {name: statistics.median(all) for name, all in times.items()}


def pictures(photo, folder):
    """The photo, and nine of it, as JPEG and PPM in a folder each; and their sizes."""
    one, nine = (os.path.join(folder, name) for name in ("one", "nine"))
    for name in (one, nine):
        os.makedirs(f"{name}/folder")
    shutil.copy(photo, f"{one}/folder/photo.jpg")
    run("djpeg", "-outfile", f"{one}/photo.ppm", photo)
    with open(f"{one}/photo.ppm", "rb") as file:
        kind, size, _, pixels = file.read().split(b"\n", 3)
    if kind != b"P6":
        fail(f"{photo}: takes a photo in colour")
    width, height = map(int, size.split())
    rows = [pixels[i:i + 3 * width] * 3 for i in range(0, len(pixels), 3 * width)]
    with open(f"{nine}/photo.ppm", "wb") as file:
        file.write(b"P6\n%d %d\n255\n" % (3 * width, 3 * height) + b"".join(rows * 3))
    run("cjpeg", "-quality", "90", "-outfile", f"{nine}/folder/photo.jpg", f"{nine}/photo.ppm")
    return (one, width, height), (nine, 3 * width, 3 * height)


def main():
    arguments = sys.argv[1:]
    if "--help" in arguments:
        print(__doc__)
        return
    quick = "--quick" in arguments
    photos = [a for a in arguments if a != "--quick"] or [os.path.join(ROOT, "examples", "photo.jpg")]
    if len(photos) > 1 or photos[0].startswith("-") or not os.path.isfile(photos[0]):
        fail("takes --quick and a photo (see --help)")
    with tempfile.TemporaryDirectory(prefix="orv-bench-") as folder:
        programs = build(folder)
        os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
        for place, width, height in pictures(photos[0], folder):
            print(f"{width} x {height}, milliseconds, warm and cold; then times over those of orv 32, and of orv 64")
            for row, commands in ROWS.items():
                contest = Contest(commands, programs, place, width)
                show(row, contest.medians(5 if quick else 21, False), contest.medians(3 if quick else 9, True))
            print(flush=True)


def show(row, warm, cold):
    for name in warm:
        ratios = [] if name in PRESETS else [times[name] / times[orv] for orv in PRESETS for times in (warm, cold)]
        print(f"  {row:20} {name:24} {1e3 * warm[name]:7.1f} {1e3 * cold[name]:7.1f} ", *(f"{r:7.2f}" for r in ratios))


main()
