"""Builds the benchmarks in 32-bit, runs them on one core and prints their results:

    bench [--quick] [--resize | --report] [PHOTO]

PHOTO is a whole baseline JPEG of 4:2:0 without restart markers, by default examples/photo.jpg; --quick measures for a
shorter time. Of resizing a selection is shown; --resize shows all of it instead of anything else, and what a pixel
costs in pictures of 1 to 64 megapixels, on the code path that the library selects. --report measures the library beside
others instead, in both word sizes, and writes docs/performance.md and docs/charts. Times are processor time, medians of
repetitions for which all rows take turns."""
import json
import os
import subprocess
import sys

sys.dont_write_bytecode = True  # no folder beside the sources
import report

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "bench")
BUILD_64 = os.path.join(ROOT, "build", "bench-x86-64")


def fail(message):
    sys.exit(f"bench: {message}")


def arguments(args):
    if "--help" in args:
        print(__doc__)
        sys.exit()
    options = {arg for arg in args if arg.startswith("-")}
    for option in options - {"--quick", "--resize", "--report"}:
        fail(f"unknown option '{option}' (there are --quick, --resize and --report)")
    if {"--resize", "--report"} <= options:
        fail("--resize and --report are different runs")
    photos = [arg for arg in args if arg not in options] or [os.path.join(ROOT, "examples", "photo.jpg")]
    if len(photos) > 1:
        fail("takes one photo at most")
    if not os.access(photos[0], os.R_OK) or os.path.isdir(photos[0]):
        fail(f"{photos[0]}: cannot be read")
    return os.path.abspath(photos[0]), options


def build(packages, builds):
    commands = [["scripts/setup", packages]]
    for preset, folder in builds:
        commands += [["cmake", "--preset", preset, "-B", folder, "-DORV_BENCH=ON", "-DORV_TESTS=OFF"],
                     ["cmake", "--build", folder]]
    for command in commands:
        done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode:
            fail(f"{' '.join(command)}:\n{done.stdout}")


def run(program, photo, core, repetitions, seconds, names="."):
    """The medians of what the regular expression names, by operation and then by code path or size, and a note on how
    far the repetitions lay apart."""
    command = ["taskset", "-c", str(core), os.path.join(BUILD, "bench", program), photo, "--benchmark_format=json",
               f"--benchmark_filter={names}", f"--benchmark_repetitions={repetitions}",
               f"--benchmark_min_time={seconds}", "--benchmark_report_aggregates_only=true",
               "--benchmark_enable_random_interleaving=true"]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode:
        sys.exit(done.stderr.strip() or f"bench: {program} ended with {done.returncode}")
    medians, spread = {}, []
    for row in sorted(json.loads(done.stdout)["benchmarks"], key=lambda row: row["family_index"]):
        if row.get("error_occurred"):
            fail(f"{row['name']}: {row['error_message']}")
        operation, path = row["run_name"].split("/")
        if row["aggregate_name"] == "median":
            medians.setdefault(operation, {})[path] = row
        elif row["aggregate_name"] == "cv":
            spread.append(100 * row["cpu_time"])
    spread.sort()
    return medians, f"standard deviation: median {spread[len(spread) // 2]:.1f} %, largest {spread[-1]:.1f} %\n"


def table(*rows):
    widths = [max(map(len, column)) for column in zip(*rows)]
    for first, *others in rows:
        print(first.ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(others, widths[1:])), sep="  ")


def nanoseconds(row):
    return 1e9 / row["items_per_second"]


def primitives_table(medians):
    paths = list(next(iter(medians.values())))
    rows = [["operation", "ns per", *paths, f"{paths[0]} / {paths[-1]}"]]
    for operation, times in medians.items():
        ns = [nanoseconds(times[path]) if path in times else None for path in paths]
        cells = ["-" if t is None else f"{t:#.3g}" if t < 100 else f"{t:.0f}" for t in ns]
        rows.append([operation, times[paths[0]]["label"], *cells, f"{ns[0] / ns[-1]:.2f}" if ns[-1] else "-"])
    table(*rows)


def photo_table(what, medians):
    turbo = medians["libjpeg-turbo"]
    rows = [[f"whole photo, {what}", "ms", "MP/s", *(f"{settings} / row" for settings in turbo)]]
    for operation, times in medians.items():
        for path, row in times.items():
            rows.append([f"{operation} {path}", f"{row['cpu_time'] / 1e6:.2f}", f"{row['items_per_second'] / 1e6:.1f}",
                         *(f"{nanoseconds(other) / nanoseconds(row):.2f}" for other in turbo.values())])
    table(*rows)
    print("/ row: time of libjpeg-turbo with these settings over the row's; above 1 the row is the faster one")


def decoding_table(medians):
    photo_table("decoding", medians)
    fused = medians["fused"]
    ratios = [f"{path} {nanoseconds(row) / nanoseconds(fused[path]):.2f}" for path, row in medians["true colours"].items()]
    print("time of true colours / fused:", ", ".join(ratios))


def encoding_table(medians):
    photo_table("encoding", medians)


ON_EVERY_PATH, OF_EVERY_SIZE = "/[a-z][0-9](_avx)?$", "MP$"


def beside_others(photo, core, quick):
    if report.processor()[1] not in ("AVX2", "AVX-512"):
        fail("--report takes a processor with AVX2")
    build("report", [("x86", BUILD), ("x86-64", BUILD_64)])
    report.write(ROOT, *(report.Measurement(folder, photo, core, quick, fail) for folder in (BUILD_64, BUILD)))


def main():
    photo, options = arguments(sys.argv[1:])
    core = max(os.sched_getaffinity(0))
    if "--report" in options:
        beside_others(photo, core, "--quick" in options)
        return
    build("bench", [("x86", BUILD)])
    repetitions, seconds = (5, 0.01) if "--quick" in options else (31, 0.03)
    fewer = min(repetitions, 9)  # of what takes long
    everything = [*((f"bench_{name}", primitives_table, repetitions, ".")
                    for name in ("primitives", "vectors", "image", "move", "alaw")),
                  ("bench_resize", primitives_table, fewer, f"C[13] by (0.37|1.70){ON_EVERY_PATH}"),
                  ("bench_decode", decoding_table, repetitions, "."),
                  ("bench_encode", encoding_table, repetitions, ".")]
    resizing = [("bench_resize", primitives_table, fewer, names) for names in (ON_EVERY_PATH, OF_EVERY_SIZE)]
    print(f"32-bit, core {core}, processor time, medians of {repetitions} repetitions, of resizing {fewer}; "
          "ratios are of times\n", flush=True)
    for program, show, count, names in resizing if "--resize" in options else everything:
        medians, spread = run(program, photo, core, count, seconds, names)
        show(medians)
        print(spread, flush=True)


main()
