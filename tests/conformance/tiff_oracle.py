#!/usr/bin/python3
"""Independent reference pictures for the TIFF conformance tests.

Usage: tiff_oracle.py FILE MODE. Writes a binary PPM (P6, maxval 255) of
what the viewer should show, on standard output.

Modes:
  pil          Pillow's own decoding of the first page, as RGB.
  strips       Each StripOffsets entry (tile, for files that keep tile
               offsets there) decoded on its own by libtiff, laid at
               rows-per-strip rows of the decoded width apart and padded
               with zeros; rows are then read as chunky RGB or, for planar
               files, as a red, a green and a blue run of the width. This is
               how the viewer lays out strips it does not fully understand.
  planestream  Planar files whose strips lie back to back: the red, green
               and blue planes (decoded by Pillow) as one stream, each strip
               taking three planes' worth of bytes from where its red strip
               starts; rows as in "strips".
  valuefield   Single-strip planar files: the StripOffsets value field holds
               the offset of the three planes' offsets, and a one-strip
               picture takes the value field itself as its strip's offset,
               so the uncompressed strip is read from there.
  fillorder2   Pillow's picture of a 2-bit grey file with FillOrder 2, with
               the bits of every byte put back in file order (the viewer
               does not reverse them).
"""
import ctypes
import sys

from PIL import Image


def write_ppm(width, height, rgb):
    sys.stdout.buffer.write(b"P6\n%d %d\n255\n" % (width, height))
    sys.stdout.buffer.write(bytes(rgb))


def pil_mode(path):
    im = Image.open(path)
    im.seek(0)
    rgb = im.convert("RGB")
    write_ppm(rgb.width, rgb.height, rgb.tobytes())


def libtiff():
    lib = ctypes.CDLL("libtiff.so.6")
    lib.TIFFOpen.restype = ctypes.c_void_p
    lib.TIFFOpen.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
    lib.TIFFClose.argtypes = [ctypes.c_void_p]
    for name in ("TIFFReadEncodedStrip", "TIFFReadEncodedTile"):
        f = getattr(lib, name)
        f.restype = ctypes.c_int64
        f.argtypes = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_int64]
    for name in ("TIFFNumberOfStrips", "TIFFNumberOfTiles", "TIFFIsTiled"):
        getattr(lib, name).argtypes = [ctypes.c_void_p]
    lib.TIFFStripSize.restype = ctypes.c_int64
    lib.TIFFStripSize.argtypes = [ctypes.c_void_p]
    lib.TIFFTileSize.restype = ctypes.c_int64
    lib.TIFFTileSize.argtypes = [ctypes.c_void_p]
    lib.TIFFSetWarningHandler.argtypes = [ctypes.c_void_p]
    lib.TIFFSetWarningHandler(None)
    return lib


def field(lib, tif, tag, ctype, default):
    value = ctype(default)
    if lib.TIFFGetField(ctypes.c_void_p(tif), ctypes.c_uint32(tag), ctypes.byref(value)):
        return value.value
    return default


def layout_rows(work, width, height, planar):
    """Reads `height` rows of 3 * width bytes from the work buffer."""
    rgb = bytearray(width * height * 3)
    for y in range(height):
        row = work[y * 3 * width:(y + 1) * 3 * width]
        if planar == 2:
            r, g, b = row[0:width], row[width:2 * width], row[2 * width:3 * width]
            rgb[y * 3 * width:(y + 1) * 3 * width:3] = r
            rgb[y * 3 * width + 1:(y + 1) * 3 * width:3] = g
            rgb[y * 3 * width + 2:(y + 1) * 3 * width:3] = b
        else:
            rgb[y * 3 * width:(y + 1) * 3 * width] = row
    return rgb


def strips_mode(path):
    lib = libtiff()
    tif = lib.TIFFOpen(path.encode(), b"r")
    if not tif:
        sys.exit("libtiff cannot open " + path)
    width = field(lib, tif, 256, ctypes.c_uint32, 0)
    height = field(lib, tif, 257, ctypes.c_uint32, 0)
    planar = field(lib, tif, 284, ctypes.c_uint16, 1)
    rows_per_strip = min(field(lib, tif, 278, ctypes.c_uint32, height), height)
    tiled = lib.TIFFIsTiled(ctypes.c_void_p(tif))
    if tiled:
        # Tile offsets kept under StripOffsets are read as strips of the
        # RowsPerStrip the file also gives.
        rows_per_strip = min(field(lib, tif, 278, ctypes.c_uint32, height), height)
        count, size = lib.TIFFNumberOfTiles(ctypes.c_void_p(tif)), lib.TIFFTileSize(ctypes.c_void_p(tif))
        read = lib.TIFFReadEncodedTile
    else:
        count, size = lib.TIFFNumberOfStrips(ctypes.c_void_p(tif)), lib.TIFFStripSize(ctypes.c_void_p(tif))
        read = lib.TIFFReadEncodedStrip
    strips = (height + rows_per_strip - 1) // rows_per_strip
    strip_bytes = rows_per_strip * width * 3
    work = bytearray(strips * strip_bytes)
    buffer = ctypes.create_string_buffer(size)
    for i in range(min(strips, count)):
        n = read(ctypes.c_void_p(tif), i, buffer, -1)
        data = buffer.raw[:max(n, 0)]
        end = min(i * strip_bytes + len(data), len(work))
        work[i * strip_bytes:end] = data[:end - i * strip_bytes]
    lib.TIFFClose(ctypes.c_void_p(tif))
    write_ppm(width, height, layout_rows(work, width, height, planar))


def planestream_mode(path):
    im = Image.open(path)
    width, height = im.size
    rows_per_strip = min(im.tag_v2.get(278, height), height)
    stream = b"".join(band.tobytes() for band in im.convert("RGB").split())
    strips = (height + rows_per_strip - 1) // rows_per_strip
    strip_bytes = rows_per_strip * width * 3
    work = bytearray(strips * strip_bytes)
    for i in range(strips):
        start = i * rows_per_strip * width  # where red strip i begins in the stream
        data = stream[start:start + strip_bytes]
        work[i * strip_bytes:i * strip_bytes + len(data)] = data
    write_ppm(width, height, layout_rows(work, width, height, 2))


def fillorder2_mode(path):
    im = Image.open(path).convert("L")
    width, height = im.size
    values = im.tobytes()
    out = bytearray()
    row_bytes = (width + 3) // 4
    for y in range(height):
        row = [values[y * width + x] // 85 for x in range(width)] + [0] * (row_bytes * 4 - width)
        pixels = []
        for i in range(row_bytes):
            byte = (row[4 * i] << 6) | (row[4 * i + 1] << 4) | (row[4 * i + 2] << 2) | row[4 * i + 3]
            byte = int("{:08b}".format(byte)[::-1], 2)
            pixels += [byte >> 6, (byte >> 4) & 3, (byte >> 2) & 3, byte & 3]
        for v in pixels[:width]:
            out += bytes((v * 85,) * 3)
    write_ppm(width, height, out)


def valuefield_mode(path):
    import struct
    data = open(path, "rb").read()
    order = "<" if data[:2] == b"II" else ">"
    directory = struct.unpack(order + "I", data[4:8])[0]
    entries = struct.unpack(order + "H", data[directory:directory + 2])[0]
    fields = {}
    for i in range(entries):
        at = directory + 2 + 12 * i
        tag, kind, count = struct.unpack(order + "HHI", data[at:at + 8])
        fields[tag] = (kind, count, data[at + 8:at + 12])
    im = Image.open(path)
    width, height = im.size
    kind, count, value = fields[273]
    offset = struct.unpack(order + ("I" if kind == 4 else "H"), value[:4 if kind == 4 else 2])[0]
    strip = data[offset:offset + 3 * width * height]
    work = strip + bytes(3 * width * height - len(strip))
    write_ppm(width, height, layout_rows(work, width, height, 2))


if __name__ == "__main__":
    {"pil": pil_mode, "strips": strips_mode, "planestream": planestream_mode,
     "valuefield": valuefield_mode, "fillorder2": fillorder2_mode}[sys.argv[2]](sys.argv[1])
