#!/usr/bin/env python3
"""A picture four times, side by side: reduced, with red and blue exchanged, smoothed, and as JPEG's blocks leave it at
quality 5: panels.py IN.ppm OUT.ppm"""

import sys

try:
    import numpy as np
    import orv
except (ImportError, OSError) as missing:
    sys.exit(f"panels.py: {missing}")

WIDTH = 320
# ITU-T T.81, table K.1, in zigzag order.
LUMA = [16, 11, 12, 14, 12, 10, 16, 14, 13, 14, 18, 17, 16, 19, 24, 40, 26, 24, 22, 22, 24, 49, 35, 37, 29, 40, 58, 51,
        61, 60, 57, 51, 56, 55, 64, 72, 92, 78, 64, 68, 87, 69, 55, 56, 80, 109, 81, 87, 95, 98, 103, 104, 103, 62, 77,
        113, 121, 112, 100, 120, 92, 101, 103, 99]


def read(name):
    with open(name, "rb") as file:
        head = [file.readline() for _ in range(3)]
        if head[0] != b"P6\n" or head[2] != b"255\n":
            raise ValueError(f"{name} is no PPM file as `orv decode` writes it")
        width, height = map(int, head[1].split())
        return np.frombuffer(file.read(), np.uint8).reshape(height, width, 3)


def write(name, picture):
    with open(name, "wb") as file:
        file.write(b"P6\n%d %d\n255\n" % (picture.shape[1], picture.shape[0]) + picture.tobytes())


def blocks(picture, quality):
    """Every block of 8 x 8 samples through the transform, quantisation and back."""
    forward, inverse = orv.quantisation(LUMA, quality)
    result = picture.copy()
    for y in range(0, picture.shape[0], 8):
        for x in range(0, picture.shape[1], 8):
            for channel in range(3):
                block = picture[y:y + 8, x:x + 8, channel]
                result[y:y + 8, x:x + 8, channel] = orv.block_inverse(orv.block_forward(block, forward), inverse)
    return result


def main():
    if len(sys.argv) != 3:
        sys.exit("panels.py IN.ppm OUT.ppm")
    photo = read(sys.argv[1])
    small = orv.resize(photo, WIDTH, max(8, WIDTH * photo.shape[0] // photo.shape[1] // 8 * 8))
    smooth = np.rint(orv.box(small.astype(np.float32), 9, 9)).astype(np.uint8)
    write(sys.argv[2], np.hstack([small, orv.swap(small), smooth, blocks(small, 5)]))


try:
    main()
except (OSError, ValueError, orv.Error) as error:
    sys.exit(f"panels.py: {error}")
