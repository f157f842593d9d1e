"""libOrv for Python: resizing, colours, the box filter and JPEG's blocks, on NumPy's arrays.

    import orv
    small = orv.resize(picture, 320, 240)

An image is an array of rows: height x width for one channel, height x width x channels for 3 or 4. Rows may be apart, as
in a slice `picture[10:90, 20:120]`; nothing is copied then. The library is found by its name, or where the environment
variable ORV_LIBRARY says; it must have Python's word size. More functions of the library are called likewise: `call`
takes the name as in orv.h and the arguments in its order.
"""

import ctypes
import os
import warnings

import numpy as np

LIBRARY = ctypes.CDLL(os.environ.get("ORV_LIBRARY") or "libOrv.so.6")
LIBRARY.orvGetStatusString.restype = ctypes.c_char_p

NEAREST, LINEAR, CUBIC, B_SPLINE, CATMULL_ROM, B05C03, SUPER, LANCZOS = 1, 2, 4, 5, 6, 7, 8, 16
ANTIALIASING = 0x20000000


class Error(Exception):
    """A status below zero; its text is the library's."""


class Size(ctypes.Structure):
    _fields_ = [("width", ctypes.c_int), ("height", ctypes.c_int)]


class Point(ctypes.Structure):
    _fields_ = [("x", ctypes.c_int), ("y", ctypes.c_int)]


class Rect(ctypes.Structure):
    _fields_ = [("x", ctypes.c_int), ("y", ctypes.c_int), ("width", ctypes.c_int), ("height", ctypes.c_int)]


def call(name, *arguments):
    """Calls a function that returns a status. Arrays are passed by their first element, floats as C's double."""
    def passed(argument):
        if isinstance(argument, np.ndarray):
            return ctypes.c_void_p(argument.ctypes.data)
        return ctypes.c_double(argument) if isinstance(argument, float) else argument
    status = getattr(LIBRARY, name)(*map(passed, arguments))
    if status:
        text = f"{name}: {LIBRARY.orvGetStatusString(status).decode()}"
        if status < 0:
            raise Error(text)
        warnings.warn(text, stacklevel=3)


def pixels(image, dtype=np.uint8):
    """The image itself where its rows are whole runs of elements of that type; else a copy. And its layout: 1, 3, 4."""
    image = np.asarray(image)
    if image.dtype != dtype:
        raise TypeError(f"the image has elements {image.dtype}, not {np.dtype(dtype)}")
    channels = image.shape[2] if image.ndim == 3 else 1
    if image.ndim not in (2, 3) or channels not in (1, 3, 4) or 0 in image.shape:
        raise ValueError(f"an image of the shape {image.shape} is none of 1, 3 or 4 channels")
    as_it_is = image[0].flags.c_contiguous and image.strides[0] > 0
    return image if as_it_is else image.copy(order="C"), channels


def resize(image, width, height, method=None):
    """The image in another size; unless told otherwise the mean of areas to reduce, Catmull-Rom's cubic to enlarge."""
    source, channels = pixels(image)
    rows, columns = source.shape[:2]
    if method is None:
        method = SUPER if width <= columns and height <= rows else CATMULL_ROM
    result = np.empty((height, width) + source.shape[2:], np.uint8)
    whole, wanted, size = Rect(0, 0, columns, rows), Rect(0, 0, width, height), ctypes.c_int()
    call("orviResizeGetBufSize", whole, wanted, channels, method, ctypes.byref(size))
    call(f"orviResizeSqrPixel_8u_C{channels}R", source, Size(columns, rows), source.strides[0], whole,
         result, result.strides[0], wanted, width / columns, height / rows, 0.0, 0.0, method,
         np.empty(size.value, np.uint8))
    return result


def three_channels(name, image, *more):
    """What a function makes of an image of three channels; it has pSrc, srcStep, pDst, dstStep, roiSize and more."""
    source, channels = pixels(image)
    if channels != 3:
        raise ValueError(f"the image has {channels} channels, not 3")
    result = np.empty_like(source, order="C")
    call(name, source, source.strides[0], result, result.strides[0], Size(source.shape[1], source.shape[0]), *more)
    return result


def swap(image, order=(2, 1, 0)):
    """Channels in another order; RGB to BGR and back unless told otherwise."""
    return three_channels("orviSwapChannels_8u_C3R", image, np.array(order, np.intc))


def rgb_to_ycbcr(image):
    """RGB to studio YCbCr, whose luma is 16 to 235."""
    return three_channels("orviRGBToYCbCr_8u_C3R", image)


def ycbcr_to_rgb(image):
    return three_channels("orviYCbCrToRGB_8u_C3R", image)


def box(image, width, height):
    """The mean of a box around each pixel of an image of 32-bit floats. Past the edges lie copies of them."""
    channels = pixels(image, np.float32)[1]
    if width < 1 or height < 1:
        raise ValueError(f"a box of {width} x {height} pixels has none")
    x, y = width // 2, height // 2
    around = [(y, height - 1 - y), (x, width - 1 - x), (0, 0)][:np.ndim(image)]
    source = np.pad(image, around, mode="edge")
    result = np.empty(np.shape(image), np.float32)
    call(f"orviFilterBox_32f_C{channels}R", source[y:, x:], source.strides[0], result, result.strides[0],
         Size(result.shape[1], result.shape[0]), Size(width, height), Point(x, y))
    return result


def quantisation(table, quality=50):
    """From the 64 bytes of a DQT segment, in zigzag order, the encoder's and the decoder's table."""
    raw = np.array(table, np.uint8)
    if raw.shape != (64,):
        raise ValueError("a table has 64 steps")
    forward, inverse = np.empty(64, np.uint16), np.empty(64, np.uint16)
    call("orviQuantFwdRawTableInit_JPEG_8u", raw, quality)
    call("orviQuantFwdTableInit_JPEG_8u16u", raw, forward)
    call("orviQuantInvTableInit_JPEG_8u16u", raw, inverse)
    return forward, inverse


def block_forward(samples, forward):
    """The quantised coefficients of 8 x 8 samples."""
    source, _ = pixels(samples)
    if source.shape != (8, 8):
        raise ValueError("a block has 8 x 8 samples")
    result = np.empty((8, 8), np.int16)
    call("orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R", source, source.strides[0], result, forward)
    return result


def block_inverse(coefficients, inverse):
    """The samples of 8 x 8 quantised coefficients."""
    source = np.ascontiguousarray(coefficients, np.int16)
    if source.shape != (8, 8):
        raise ValueError("a block has 8 x 8 coefficients")
    result = np.empty((8, 8), np.uint8)
    call("orviDCTQuantInv8x8LS_JPEG_16s8u_C1R", source, result, result.strides[0], inverse)
    return result
