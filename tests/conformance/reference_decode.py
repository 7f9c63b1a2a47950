#!/usr/bin/python3
"""Decodes a picture with PIL and writes it to stdout as binary PPM (P6).

Usage: reference_decode.py FILE [--icon-entry N]
The independent decoder the conformance tests compare against. For icons and
cursors --icon-entry picks the directory entry to decode.
"""
import sys

from PIL import Image


def main():
    path = sys.argv[1]
    entry = None
    if len(sys.argv) > 3 and sys.argv[2] == "--icon-entry":
        entry = int(sys.argv[3])
    image = Image.open(path)
    if entry is not None:
        # PIL keeps the entries sorted by size; pick ours by its image offset
        # in the file's own directory order.
        with open(path, "rb") as f:
            data = f.read()
        at = 6 + 16 * entry
        offset = int.from_bytes(data[at + 12:at + 16], "little")
        offsets = [e["offset"] if isinstance(e, dict) else e.offset for e in image.ico.entry]
        index = offsets.index(offset)
        image = image.ico.frame(index)
    image = image.convert("RGB")
    width, height = image.size
    sys.stdout.buffer.write(b"P6\n%d %d\n255\n" % (width, height))
    sys.stdout.buffer.write(image.tobytes())


if __name__ == "__main__":
    main()
