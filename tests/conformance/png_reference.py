"""Independent decode of a PNG for the conformance tests: writes a binary
PPM (maxval 255) to stdout with what the viewer is meant to show: alpha
dropped, 16-bit samples reduced to their high byte, grey levels spread over
0..255 (i * 255 / (n - 1)), palette entries as stored."""
import io
import struct
import sys
import zlib

from PIL import Image


def with_fresh_check_values(data):
    """The viewer never verifies chunk check values; PIL does. Recompute them
    so that files whose only damage is a wrong check value can be compared."""
    out = bytearray(data[:8])
    pos = 8
    while pos + 12 <= len(data):
        (length,) = struct.unpack(">I", data[pos : pos + 4])
        end = pos + 12 + length
        if end > len(data):
            break
        body = data[pos + 4 : pos + 8 + length]
        out += data[pos : pos + 4] + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)
        pos = end
    out += data[pos:]
    return bytes(out)


with open(sys.argv[1], "rb") as f:
    im = Image.open(io.BytesIO(with_fresh_check_values(f.read())))
im.load()
mode = im.mode
if mode in ("I;16", "I;16B", "I"):
    # 16-bit grey: PIL keeps the full sample; the viewer keeps the high byte.
    raw = im.tobytes("raw", "I;16B") if mode != "I" else None
    if raw is None:
        values = list(im.getdata())
        grey = bytes((v >> 8) & 255 for v in values)
    else:
        grey = raw[0::2]
    rgb = bytes(b for g in grey for b in (g, g, g))
elif mode == "1":
    rgb = im.convert("L").convert("RGB").tobytes()
elif mode in ("L", "LA"):
    rgb = im.getchannel(0).convert("RGB").tobytes()
elif mode == "P" or mode == "PA":
    rgb = im.convert("RGBA").convert("RGB").tobytes() if mode == "PA" else None
    if rgb is None:
        palette = im.getpalette() or []
        palette += [0] * (768 - len(palette))
        rgb = bytes(palette[3 * i + k] for i in im.getdata() for k in range(3))
elif mode in ("RGB", "RGBA"):
    rgb = im.convert("RGBA").tobytes()
    rgb = bytes(rgb[i] for i in range(len(rgb)) if i % 4 != 3)
else:
    sys.stderr.write("unsupported mode %s\n" % mode)
    sys.exit(2)
out = sys.stdout.buffer
out.write(b"P6\n%d %d\n255\n" % im.size)
out.write(rgb)
