"""Measures the library beside others and writes docs/performance.md and the charts under docs/charts/."""
import collections
import datetime
import glob
import json
import math
import os
import platform
import statistics
import subprocess
import textwrap

# What a run holds the libraries at: its heading, the code path of ours, and what the others read.
Mode = collections.namedtuple("Mode", "heading path environment")
MODES = {
    "widest": Mode("", "g9", {}),
    "AVX2": Mode("at AVX2", "g9", {
        "BENCH_PEERS": "avx2", "OPENCV_CPU_DISABLE": "AVX512-SKX",
        "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX512F,-AVX512VL"}),
    "SSE4.1": Mode("at SSE4.1", "p8", {
        "BENCH_PEERS": "sse41", "BENCH_PATH": "p8", "JSIMD_FORCESSE2": "1",
        "OPENCV_CPU_DISABLE": "AVX512-SKX,AVX2,AVX,FP16,SSE4.2",
        "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX512F,-AVX512VL,-AVX2,-AVX_Fast_Unaligned_Load"})}
FAMILIES = ("whole photo", "colour", "moving", "resizing", "box filter", "arithmetic", "conversion", "logic", "blocks")
PHOTO_ROWS = {  # our row and theirs: family/row and how their work differs
    ("decode", "true colours", "same work"): ("decoding", ""),
    ("decode", "true colours", "defaults"): ("decoding, their defaults", "smooth chroma"),
    ("decode", "fused", "fastest settings"): ("decoding, fastest settings", "ifast; ours: analogue video's colours"),
    ("encode", "usual tables", "same work"): ("encoding", ""),
    ("encode", "usual tables", "fastest settings"): ("encoding, fastest settings", "ifast"),
    ("encode", "optimised", "same, optimised"): ("encoding, optimised codes", "")}
SIZE_ROWS = {"colour/4:2:0 to RGB": "libyuv", "moving/RGB to BGR": "libyuv", "resizing/linear down, C3": "OpenCV",
             "resizing/cubic up, C1": "zimg"}
SIZES = (1, 4, 16, 64)
PATHS = ("w7", "v8", "s8", "p8", "g9_avx", "g9")
ROUGH = 10  # per cent of spread
PEERS = {"libjpeg-turbo": "#c2703d", "libyuv": "#4a8fd0", "OpenCV": "#9a6fc4", "zimg": "#3f9d6b", "memcpy": "#909090"}

# Nanoseconds per unit in each repetition.
Sample = collections.namedtuple("Sample", "times unit note")


def median(sample):
    return statistics.median(sample.times)


def spread(*samples):
    """Half the distance between the quartiles, in per cent of the median: the largest."""
    def of(times):
        low, middle, high = statistics.quantiles(times, n=4, method="inclusive")
        return 50 * (high - low) / middle
    return max(of(sample.times) for sample in samples)


def mean(ratios):
    return math.exp(statistics.fmean(map(math.log, ratios)))


class Measurement:
    """Runs programs of one word size; results by set, family/row and library."""

    REPETITIONS = 8  # of a process

    def __init__(self, build, photo, core, quick, fail):
        self.build, self.photo, self.core, self.quick, self.fail = build, photo, core, quick, fail
        # What pages a process gets decides which of them are in each other's way in the caches.
        self.processes = 1 if quick else 3

    def run(self, program, names, environment):
        command = ["taskset", "-c", str(self.core), os.path.join(self.build, "bench", program), self.photo,
                   "--benchmark_format=json", f"--benchmark_filter={names}", f"--benchmark_repetitions={self.REPETITIONS}",
                   f"--benchmark_min_time={0.003 if self.quick else 0.012}", "--benchmark_enable_random_interleaving=true"]
        found, probes = {}, collections.defaultdict(list)
        for _ in range(self.processes):
            done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                  env={**os.environ, **environment})
            if done.returncode:
                self.fail(done.stderr.strip().splitlines()[-1] if done.stderr else f"{program} ended with {done.returncode}")
            rows = json.loads(done.stdout)["benchmarks"] if done.stdout.strip() else []
            for row in sorted(rows, key=lambda row: row["family_index"]):
                if row.get("error_occurred"):
                    self.fail(f"{row['name']}: {row['error_message']}")
                if row["run_type"] == "iteration":
                    unit, _, note = row.get("label", "").partition("|")
                    found.setdefault(row["run_name"], Sample([], unit, note)).times.append(1e9 / row["items_per_second"])
                    probes[row["run_name"]].append(row.get("probe", 0))
        # Of repetitions with a probe around them, the half that had the core most for itself.
        for name, sample in found.items():
            limit = statistics.median_low(probes[name])
            sample.times[:] = [time for time, probe in zip(sample.times, probes[name]) if probe <= limit]
        return found

    def rows(self, names, environment):
        results = collections.defaultdict(lambda: collections.defaultdict(dict))
        for name, sample in self.run("bench_peers", names, environment).items():
            row, library, size = name.rsplit("/", 2)
            results[size][row][library] = sample
        return results

    def photo_rows(self, mode):
        results = {}
        for program in ("decode", "encode"):
            found = self.run(f"bench_{program}", f"/{mode.path}$|^libjpeg-turbo", mode.environment)
            for (where, ours, theirs), (name, note) in PHOTO_ROWS.items():
                if where == program:
                    own, peer = found[f"{ours}/{mode.path}"], found[f"libjpeg-turbo/{theirs}"]
                    results[f"whole photo/{name}"] = {"libOrv": own._replace(unit="pixel"),
                                                      "libjpeg-turbo": peer._replace(note=note)}
        return results

    def compare(self, mode, sizes):
        results = {size: self.families(size, mode.environment) for size in sizes}
        return {**results, "small": {**self.photo_rows(mode), **results["small"]}}

    def families(self, size, environment):
        """Family by family, so that what is compared is measured within seconds."""
        found = {}
        for family in FAMILIES[1:]:
            found.update(self.rows(f"^{family}/.*/{size}$", environment)[size])
        return found


# ---- The document

def table(heading, *rows):
    cells = [heading, ["---", "---"] + ["--:"] * (len(heading) - 3) + ["---"], *rows]
    return "".join("| " + " | ".join(row) + " |\n" for row in cells) + "\n"


def paragraph(text):
    return textwrap.fill(text, 125, break_long_words=False, break_on_hyphens=False) + "\n"


def loses(value):
    return round(value, 2) < 1


def figure(number):
    return f"{number:.2f}" if number < 100 else f"{number:.0f}"


def ratio(libraries, peer):
    return median(libraries[peer]) / median(libraries["libOrv"])


def ratio_cell(results, row, peer):
    libraries = results.get(row, {})
    if peer not in libraries:
        return ""
    value, rough = ratio(libraries, peer), spread(libraries["libOrv"], libraries[peer]) > ROUGH
    text = f"{'~' if rough else ''}{value:.2f}"
    return f"**{text}**" if loses(value) else text


def family_table(family, modes):
    widest, rows, unit = modes["widest"], [], None
    others = {"in memory": widest["large"]} if "large" in widest else {}
    others.update((MODES[mode].heading, modes[mode]["small"]) for mode in list(modes)[1:])
    for row, libraries in widest["small"].items():
        if row.partition("/")[0] != family:
            continue
        ours = libraries["libOrv"]
        unit = ours.unit
        for peer, sample in libraries.items():
            if peer == "libOrv":
                continue
            rows.append([row.partition("/")[2], peer, figure(median(ours)), figure(median(sample)),
                         ratio_cell(widest["small"], row, peer), f"{spread(ours, sample):.0f} %",
                         *(ratio_cell(results, row, peer) for results in others.values()), sample.note])
    heading = ["", "beside", f"libOrv, ns per {unit}", "the other", "ratio", "spread", *others, "how its work differs"]
    return table(heading, *rows) if rows else ""


def ratios_of(results):
    """(family, row, peer, ratio) of all that is compared."""
    return [(row.partition("/")[0], row.partition("/")[2], peer, ratio(libraries, peer))
            for row, libraries in results.items() for peer in libraries if peer != "libOrv"]


def summary(modes):
    text = ""
    for size, where in (("small", ""), ("large", " in memory")):
        found = ratios_of(modes["widest"].get(size, {}))
        slower = sorted((r, f"{family}, {row} ({peer} {r:.2f})") for family, row, peer, r in found if loses(r))
        if found:
            text += f"Of {len(found)} comparisons{where} libOrv wins or draws {len(found) - len(slower)}. "
        if slower:
            text += f"It loses {len(slower)}: " + "; ".join(name for _, name in slower) + ". "
    return paragraph(text)


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        fields = dict(line.rstrip("\n").replace("\t", "").split(":", 1) for line in info if ":" in line)
    model = f"{fields['model name'].strip()} (family {fields['cpu family'].strip()}, model {fields['model'].strip()})"
    flags = fields["flags"].split()
    return model, next((name for flag, name in (("avx512bw", "AVX-512"), ("avx2", "AVX2"), ("avx", "AVX")) if flag in flags),
                       "no AVX")


def versions(packages):
    wanted = {"libjpeg62-turbo-dev": "libjpeg-turbo", "libyuv-dev": "libyuv", "libopencv-core-dev": "OpenCV",
              "libzimg-dev": "zimg", "libbenchmark-dev": "Google Benchmark"}
    found = {}
    for path in glob.glob(os.path.join(packages, "archives", "*.deb")):
        package, version, _ = os.path.basename(path).split("_")
        if package in wanted:
            found[wanted[package]] = version.replace("%3a", ":")
    return ", ".join(f"{name} {found[name]}" for name in wanted.values() if name in found)


def document(words, sizes_mentioned, photo, facts):
    text = f"""# Performance

How long the library takes beside what a user would pick instead: Debian's libjpeg-turbo, libyuv, OpenCV and zimg. This page
and its charts are written by `scripts/bench --report`, which brings the other libraries itself, in one run on one core.

![Ratios by family](charts/families.svg)

{facts}
- **Ratio**: the other library's time over libOrv's; above 1 libOrv is the faster. Each library uses the widest instructions
  that it has for this processor. Where libOrv loses it is **bold**.
- **Spread**: half the distance between the quartiles of the repetitions, in per cent of the median; the larger of the two
  libraries'. Ratios in all columns have a ~ where it is more than {ROUGH} %.
- **In memory**: the ratio where every call finds its data outside the caches, with pictures of 3264x2448. All other columns
  are for pictures of 320x240, which the caches hold, or for {photo}.
- **At AVX2, at SSE4.1**: the ratio where neither library may use more. At SSE4.1 libOrv is on path p8; libjpeg-turbo, which
  has nothing between, uses SSE2.
- Where no difference is named, the results have been compared before times were taken.

"""
    for heading, modes in words:
        text += f"## {heading}\n\n{summary(modes)}\n"
        for family in FAMILIES:
            rows = family_table(family, modes)
            text += f"### {family.capitalize()}\n\n{rows}" if rows else ""
    return text + f"""## Size of the picture

![Nanoseconds per pixel by size](charts/sizes.svg)

{sizes_mentioned}
## Code paths

![Speed by code path](charts/paths.svg)

The same rows on each [code path](architecture.md#one-source-several-passes) that this processor has, over path w7's: geometric
means by family, in x86-64. g9_avx is what a processor with AVX and without AVX2 runs.
"""


# ---- Charts, on no background of their own: grey text and lines show on light and on dark

GREY = "#7d8590"


def plotting():
    import matplotlib
    matplotlib.use("svg")
    matplotlib.rcParams.update({
        "svg.fonttype": "none", "svg.hashsalt": "orv", "font.family": "sans-serif", "font.size": 10, "text.color": GREY,
        "axes.labelcolor": GREY, "axes.edgecolor": GREY, "xtick.color": GREY, "ytick.color": GREY, "grid.color": GREY,
        "grid.alpha": 0.3, "axes.spines.top": False, "axes.spines.right": False, "legend.frameon": False,
        "savefig.transparent": True, "savefig.bbox": "tight"})
    from matplotlib import pyplot
    return pyplot


def save(pyplot, folder, name):
    pyplot.savefig(os.path.join(folder, name), metadata={"Date": None, "Creator": None})
    pyplot.close()


def plain_numbers(axis, ticks):
    axis.set_ticks(ticks, [f"{tick:g}" for tick in ticks])
    axis.set_ticks([], minor=True)


def chart_families(pyplot, folder, results):
    groups = collections.defaultdict(list)
    for family, _, peer, value in ratios_of(results["small"]):
        if peer != "memcpy":
            groups[family, peer].append(value)
    bars = [(family, peer, mean(groups[family, peer])) for family in FAMILIES for peer in PEERS if (family, peer) in groups]
    _, axes = pyplot.subplots(figsize=(7.5, 0.32 * len(bars) + 1))
    named = set()
    for place, (_, peer, value) in enumerate(bars):
        axes.barh(place, value - 1, left=1, color=PEERS[peer], height=0.75, label=None if peer in named else peer)
        axes.annotate(f"{value:.1f}", (value, place), xytext=(4 if value >= 1 else -4, 0), textcoords="offset points",
                      ha="left" if value >= 1 else "right", va="center")
        named.add(peer)
    families = [family for family, _, _ in bars]
    axes.set_yticks(range(len(bars)), [family if family not in families[:i] else "" for i, family in enumerate(families)])
    axes.tick_params(axis="y", length=0)
    axes.invert_yaxis()
    axes.set_xscale("log", base=2)
    low, high = min(value for _, _, value in bars), max(value for _, _, value in bars)
    plain_numbers(axes.xaxis, [2.0 ** e for e in range(math.floor(math.log2(min(low, 1))), math.ceil(math.log2(high)) + 1)])
    axes.axvline(1, color=GREY)
    axes.grid(axis="x")
    axes.set_xlabel("the other library's time / libOrv's, x86-64, widest instructions (geometric means)")
    axes.legend(loc="lower center", bbox_to_anchor=(0.45, 1), ncols=5)
    save(pyplot, folder, "families.svg")


def chart_sizes(pyplot, folder, results):
    _, axes = pyplot.subplots(figsize=(7.5, 4.2))
    for (row, peer), colour in zip(SIZE_ROWS.items(), ("#4a8fd0", "#c2703d", "#9a6fc4", "#3f9d6b")):
        for library, style in (("libOrv", "-"), (peer, "--")):
            points = [(size, median(results[f"{size} MP"][row][library])) for size in SIZES
                      if library in results[f"{size} MP"].get(row, {})]
            axes.plot(*zip(*points), style, color=colour, marker="o", markersize=4,
                      label=f"{row.partition('/')[2]}: {library}")
    axes.set_xscale("log", base=2)
    axes.set_yscale("log", base=2)
    plain_numbers(axes.xaxis, SIZES)
    bottom, top = axes.get_ylim()
    plain_numbers(axes.yaxis, [2.0 ** e for e in range(math.ceil(math.log2(bottom)), math.floor(math.log2(top)) + 1)])
    axes.set_xlabel("megapixels of the picture (of the larger one)")
    axes.set_ylabel("ns per pixel of the result")
    axes.grid()
    axes.legend(loc="lower center", bbox_to_anchor=(0.5, 1), ncols=2)
    save(pyplot, folder, "sizes.svg")


def chart_paths(pyplot, folder, results):
    _, axes = pyplot.subplots(figsize=(7.5, 4))
    colours = ("#4a8fd0", "#c2703d", "#9a6fc4", "#3f9d6b", "#b0903a", "#c05a7d", "#5aa5a8", "#808080")
    for family, colour in zip(FAMILIES[1:], colours):
        rows = [times for row, times in results.items() if row.startswith(family)]
        speeds = [mean([median(times["w7"]) / median(times[path]) for times in rows]) for path in PATHS]
        axes.plot(PATHS, speeds, color=colour, marker="o", markersize=4, label=family)
    axes.set_ylabel("speed, path w7 = 1")
    axes.set_ylim(bottom=0)
    axes.grid(axis="y")
    axes.legend(loc="lower center", bbox_to_anchor=(0.5, 1), ncols=4)
    save(pyplot, folder, "paths.svg")


# ---- All

def said(*command):
    """The first line that a program says; nothing where it is not there or fails."""
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=True)
    except (OSError, subprocess.CalledProcessError):
        return ""
    return done.stdout.partition("\n")[0]


def facts_of(root, measurement, load):
    model, widest = processor()
    revision = said("git", "-C", root, "describe", "--always", "--dirty")
    repetitions, processes = measurement.processes * measurement.REPETITIONS, measurement.processes
    facts = (
        f"**Machine**: {model}, {widest}; {os.cpu_count()} processors, Linux {platform.release().partition('-')[0]}. The load "
        f"average was {load[0]:.1f} at the start and {os.getloadavg()[0]:.1f} at the end.",
        f"**Date**: {datetime.date.today()}{f', libOrv at {revision}' if revision else ''}; {said('gcc', '--version')}.",
        f"**Others**: {versions(os.path.join(root, 'build', 'bench', 'packages'))}.",
        f"**Settings**: one thread on one core; processor time, medians of {repetitions} repetitions in {processes} "
        f"{'processes' if processes > 1 else 'process'}, for which the rows of a family take turns in random order. Only the "
        f"half counts for which probes find the core least slowed by what else runs; of the whole photo all do"
        f"{'; a quick run (`--quick`), whose figures are rough' if measurement.quick else ''}.")
    return "".join(textwrap.indent(paragraph(fact), "  ").replace("  ", "- ", 1) for fact in facts)


def measure_all(wide, narrow):
    modes = {name: wide.compare(mode, ["small"] + ["large"] * (name == "widest")) for name, mode in MODES.items()}
    small = {name: narrow.compare(mode, ["small"]) for name, mode in MODES.items()}
    rows = "|".join(SIZE_ROWS).replace("+", "[+]")
    sizes = wide.rows(f"^({rows})/.* MP$", {})
    return modes, small, sizes, wide.families("small", {"BENCH_PATH": "each"})


def write(root, wide, narrow):
    load = os.getloadavg()
    modes, small, sizes, paths = measure_all(wide, narrow)
    charts = os.path.join(root, "docs", "charts")
    os.makedirs(charts, exist_ok=True)
    pyplot = plotting()
    chart_families(pyplot, charts, modes["widest"])
    chart_sizes(pyplot, charts, sizes)
    chart_paths(pyplot, charts, paths)
    worst = max(spread(*libraries.values()) for size in sizes.values() for libraries in size.values())
    mentioned = paragraph("Each call finds its data outside the caches. Reductions and enlargements are by 1.7. The largest "
                          f"spread of these rows is {worst:.0f} %.")
    photo = os.path.relpath(wide.photo, os.path.join(root, "docs"))
    photo = f"[the photo]({photo})" if photo == "../examples/photo.jpg" else f"`{os.path.basename(photo)}`"
    text = document([("64-bit", modes), ("32-bit", small)], mentioned, photo, facts_of(root, wide, load))
    path = os.path.join(root, "docs", "performance.md")
    with open(path, "w", encoding="utf-8") as page:
        page.write(text)
    print(summary(modes) + f"{path} has all of it, {charts} the charts")
