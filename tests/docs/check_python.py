"""Compares what the example module for Python gives with models in NumPy, and runs its script; exit status 77 where there
is no NumPy or Python has another word size than the library: check_python.py SOURCE LIBRARY WORD_SIZE"""

import ctypes
import importlib.util
import os
import subprocess
import sys
import tempfile
import warnings

SOURCE, LIBRARY, WORD = sys.argv[1:]
EXAMPLES = os.path.join(SOURCE, "examples/python")
SEED = 17

if not importlib.util.find_spec("numpy") or int(WORD) != ctypes.sizeof(ctypes.c_void_p):
    print("there is no NumPy, or Python has another word size than the library")
    sys.exit(77)
os.environ["ORV_LIBRARY"] = LIBRARY
sys.path.insert(0, EXAMPLES)
import numpy as np  # noqa: E402
import orv  # noqa: E402

DICE = np.random.default_rng(SEED)


def expect(got, expected, what, tolerance=0):
    got, expected = np.asarray(got, np.float64), np.asarray(expected, np.float64)
    if got.shape != expected.shape:
        sys.exit(f"{what}: shape {got.shape}, not {expected.shape}")
    wrong = np.argwhere(~(abs(got - expected) <= tolerance))
    if len(wrong):
        at = tuple(wrong[0])
        sys.exit(f"{what}: at {at} {got[at]}, not {expected[at]} (tolerance {tolerance}, seed {SEED})")


def expect_refusal(kind, text, function, *arguments):
    try:
        function(*arguments)
    except kind as error:
        if text in str(error):
            return
        sys.exit(f"{function.__name__} says '{error}', not '{text}'")
    sys.exit(f"{function.__name__} takes what it should refuse: {text}")


def image(*shape):
    return DICE.integers(0, 256, shape, np.uint8)


def check_resize():
    for shape in (36, 60), (36, 60, 3), (36, 60, 4):
        # A slice of a larger picture, and one whose pixels are apart, in cells of 3 x 2 pixels: rounded, halves up.
        for picture in image(50, 77, *shape[2:])[7:43, 9:69], image(36, 120, *shape[2:])[::-1, ::2]:
            cells = picture.astype(int).reshape(12, 3, 30, 2, -1).sum((1, 3)).reshape(12, 30, *shape[2:])
            expect(orv.resize(picture, 30, 12), (2 * cells + 6) // 12, f"resize of {shape}")
            expect(orv.resize(picture, 60, 36, orv.NEAREST), picture, f"the same size of {shape}")
    flat = np.full((9, 9, 3), 77, np.uint8)
    expect(orv.resize(flat, 20, 31), np.full((31, 20, 3), 77), "an even area enlarged")
    expect_refusal(orv.Error, "velStsSizeErr", lambda: orv.resize(flat, 0, 5))
    expect_refusal(orv.Error, "velStsInterpolationErr", lambda: orv.resize(flat, 4, 4, 3))
    expect_refusal(TypeError, "float64", lambda: orv.resize(flat / 2, 4, 4))
    expect_refusal(ValueError, "(9, 9, 2)", lambda: orv.resize(flat[:, :, :2], 4, 4))
    with warnings.catch_warnings(record=True) as heard:
        warnings.simplefilter("always")
        orv.resize(flat, 3, 3, orv.SUPER | orv.ANTIALIASING)
    if not any("velStsNoAntialiasing" in str(warning.message) for warning in heard):
        sys.exit(f"no warning of antialiasing, but {heard}")


def check_colour():
    picture = image(11, 45, 3)
    expect(orv.swap(picture[:, 2:]), picture[:, 2:, ::-1], "swap")
    weights = np.array([[65.738, 129.057, 25.064], [-37.945, -74.494, 112.439], [112.439, -94.154, -18.285]]) / 256
    studio = picture @ weights.T + [16, 128, 128]
    expect(orv.rgb_to_ycbcr(picture), studio, "rgb_to_ycbcr", 0.6)
    y, cb, cr = (picture[..., i] - float(offset) for i, offset in enumerate((16, 128, 128)))
    rgb = np.stack([1.164 * y + 1.596 * cr, 1.164 * y - 0.392 * cb - 0.813 * cr, 1.164 * y + 2.017 * cb], 2)
    expect(orv.ycbcr_to_rgb(picture), rgb.clip(0, 255), "ycbcr_to_rgb", 1.6)
    expect_refusal(ValueError, "4 channels", orv.swap, image(3, 3, 4))


def check_box():
    for shape in (13, 30), (13, 30, 3), (13, 30, 4):
        picture = image(*shape).astype(np.float32)
        padded = np.pad(picture.astype(float), [(1, 1), (2, 2), (0, 0)][:len(shape)], mode="edge")
        mean = sum(padded[j:j + 13, i:i + 30] for j in range(3) for i in range(5)) / 15
        expect(orv.box(picture, 5, 3), mean, f"box of {shape}", 1e-3)
    expect_refusal(ValueError, "1 x 0", orv.box, np.ones((4, 4), np.float32), 1, 0)


def check_blocks():
    frequency, place = np.mgrid[:8, :8]
    cosines = np.cos((2 * place + 1) * frequency * np.pi / 16) / np.where(frequency, 2, np.sqrt(8))
    # Steps by the number of the zigzag, which goes along the diagonals.
    zigzag = sorted(np.ndindex(8, 8), key=lambda at: (sum(at), at[0] if sum(at) % 2 else at[1]))
    raw = DICE.integers(1, 100, 64)
    steps = np.empty((8, 8))
    for i, at in enumerate(zigzag):
        steps[at] = raw[i]
    forward, inverse = orv.quantisation(raw)
    expect(inverse.reshape(8, 8), steps, "quantisation")
    picture = image(20, 30)
    block = picture[3:11, 5:13]
    exact = cosines @ (block - 128.0) @ cosines.T
    expect(orv.block_forward(block, forward), exact / steps, "block_forward", 1.6)
    coefficients = DICE.integers(-2, 3, (8, 8))
    exact = cosines.T @ (coefficients * steps) @ cosines + 128
    expect(orv.block_inverse(coefficients, inverse), exact.clip(0, 255), "block_inverse", 1.6)
    expect_refusal(ValueError, "8 x 8", orv.block_forward, picture, forward)
    expect_refusal(orv.Error, "velStsBadArgErr", orv.quantisation, raw, 0)


def check_panels():
    script = os.path.join(EXAMPLES, "panels.py")
    with tempfile.TemporaryDirectory() as folder:
        source, result = os.path.join(folder, "in.ppm"), os.path.join(folder, "out.ppm")
        picture = np.repeat(np.repeat(image(3, 5, 3), 16, 0), 64, 1)  # 320 x 48, of tiles: blocks that are flat
        with open(source, "wb") as file:
            file.write(b"P6\n320 48\n255\n" + picture.tobytes())
        subprocess.run([sys.executable, "-B", script, source, result], check=True)
        with open(result, "rb") as file:
            if file.readline() + file.readline() + file.readline() != b"P6\n1280 48\n255\n":
                sys.exit("panels.py writes another head")
            panels = np.split(np.frombuffer(file.read(), np.uint8).reshape(48, 1280, 3), 4, axis=1)
        expect(panels[0], picture, "panels.py: the picture")
        expect(panels[1], picture[..., ::-1], "panels.py: exchanged")
        expect(panels[3], picture, "panels.py: blocks", 0.5 * 160 / 8 + 1)  # half a step of the DC
        said = subprocess.run([sys.executable, "-B", script, os.path.join(folder, "none"), result],
                              capture_output=True, text=True)
        if said.returncode != 1 or said.stderr.count("\n") != 1 or "none" not in said.stderr:
            sys.exit(f"panels.py of a file that is not there: {said}")


for check in check_resize, check_colour, check_box, check_blocks, check_panels:
    check()
    print(check.__name__[len("check_"):], "holds")
