#!/usr/bin/python3
"""End-to-end tests of the index window and of slide shows under Wine.

Uses the session of run_e2e.py (virtual display, Wine prefix and its
preparation, the probe program) and runs its own cases: an index of a
directory of generated pictures (cells, thumbnails pixel by pixel, the fitted
window, clicks that open viewers and further indexes), an empty index, the
thumbnail size changed through the shared settings, slide shows with loops
observed title by title, a show ended by closing its window, a show chosen
in an index window, which plays in a process of its own, and the index's
context menu and files dropped on it. Exits 1 when any case fails.
"""
import argparse
import math
import os
import shutil
import sys
import time

from PIL import Image

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from run_e2e import SHEET, VK, Session, differences  # noqa: E402

# Offsets in the shared settings block.
OFFSET = {"bShowDirs": 1056, "bShowOther": 1057, "iIconX": 1060, "iIconY": 1064,
          "programPath": 1324}
SPACING = 10
LIGHT_GREY = (192, 192, 192)


# --- the thumbnail path, recomputed independently -----------------------------
def _kernel(t):
    a = -1.0
    t = abs(t)
    if t <= 1:
        return (a + 2) * t ** 3 - (a + 3) * t ** 2 + 1
    if t < 2:
        return a * t ** 3 - 5 * a * t ** 2 + 8 * a * t - 4 * a
    return 0.0


def _round(value):
    return int(math.floor(value + 0.5)) if value >= 0 else -int(math.floor(-value + 0.5))


WEIGHTS = [[_round(_kernel(d(f / 256.0)) * 65536) for f in range(256)]
           for d in (lambda t: 1 + t, lambda t: t, lambda t: 1 - t, lambda t: 2 - t)]


def _clamp(value):
    return 0 if value < 0 else 255 if value > 255 else value


def resample(picture, width, height):
    """Cubic convolution (a = -1) in 16.16 fixed point: horizontally the taps
    are s[i]..s[i+3] with a step over width - 3 pixels, vertically rows
    n-1..n+2 from half a row down with a step over height - 2 rows."""
    sw, sh = picture.size
    pixels = picture.load()
    x_step = ((sw - 3) << 16) // width if sw > 3 else 0
    y_step = ((sh - 2) << 16) // height if sh > 2 else 0
    rows = {}

    def filtered(n):
        n = min(max(n, 0), sh - 1)
        if n not in rows:
            out = []
            x = 0
            for _ in range(width):
                i, f = x >> 16, (x >> 8) & 255
                x += x_step
                taps = [pixels[min(i + k, sw - 1), n] for k in range(4)]
                out.append(tuple(_clamp(sum(taps[k][c] * WEIGHTS[k][f] for k in range(4)) >> 16)
                                 for c in range(3)))
            rows[n] = out
        return rows[n]

    result = Image.new("RGB", (width, height))
    y = 0x8000
    for row in range(height):
        n, f = y >> 16, (y >> 8) & 255
        y += y_step
        taps = [filtered(n - 1 + k) for k in range(4)]
        for column in range(width):
            result.putpixel((column, row), tuple(
                _clamp(sum(taps[k][column][c] * WEIGHTS[k][f] for k in range(4)) >> 16)
                for c in range(3)))
    return result


def fit(width, height, box_x=88, box_y=66):
    if width / height <= box_x / box_y:
        return max(1, box_y * width // height), box_y
    return box_x, max(1, box_x * height // width)


# --- helpers --------------------------------------------------------------------
def wait_built(s, title, count, box_x=88, box_y=66, seconds=40):
    """Waits until the index has been built and the window fitted to its grid:
    no "Creating index" dialog, a client area of columns x cell width + S by
    rows x cell height + S, unchanged for half a second. Returns columns,
    rows, cell height and the client rectangle."""
    cell_width = box_x + SPACING + 5
    end = time.time() + seconds
    last, since = None, time.time()
    while time.time() < end:
        rect = s.client(title)
        if rect != last:
            last, since = rect, time.time()
        x, y, w, h = rect
        busy = s.probe("dcount", "Creating index").stdout.strip() != "0"
        columns = (w - SPACING) // cell_width
        if not busy and columns >= 1 and (w - SPACING) % cell_width == 0:
            rows = (count + columns - 1) // columns
            if rows == 0 and h == SPACING:
                cell_height = 0
            elif rows > 0 and (h - SPACING) % rows == 0 and \
                    (h - SPACING) // rows >= SPACING + box_y + 2:
                cell_height = (h - SPACING) // rows
            else:
                cell_height = None
            if cell_height is not None and time.time() - since >= 0.5:
                return columns, rows, cell_height, rect
        time.sleep(0.1)
    raise AssertionError("index %r not built and fitted for %d entries (client %s)"
                         % (title, count, last))


def box_origin(number, columns, cell_height, box_x=88):
    column, row = number % columns, number // columns
    return (SPACING + column * (box_x + SPACING + 5) + 2, SPACING + row * cell_height + 2)


def check_cells(shot, count, columns, rows, cell_height, box_x=88, box_y=66):
    """Frames at every entry's cell, none past the last one."""
    for number in range(columns * rows):
        left, top = box_origin(number, columns, cell_height, box_x)
        frame = shot.getpixel((left - 3, top - 3))
        if number < count:
            assert frame == (0, 0, 0), "cell %d: no frame (%s)" % (number, frame)
        else:
            assert frame == (255, 255, 255), "cell %d past the last entry: %s" % (number, frame)


def check_thumbnail(shot, number, columns, cell_height, expected, tolerance, what,
                    box_x=88, box_y=66, mean_tolerance=None):
    left, top = box_origin(number, columns, cell_height, box_x)
    width, height = expected.size
    x, y = left + (box_x - width) // 2, top + (box_y - height) // 2
    shown = shot.crop((x, y, x + width, y + height))
    largest, mean = differences(shown, expected)
    assert largest <= tolerance and (mean_tolerance is None or mean <= mean_tolerance), \
        "%s: thumbnail differs by up to %d (mean %.2f)" % (what, largest, mean)
    if width < box_x:
        assert shot.getpixel((left, top + box_y // 2)) == LIGHT_GREY, what
    if height < box_y:
        assert shot.getpixel((left + box_x // 2, top)) == LIGHT_GREY, what


# --- the cases --------------------------------------------------------------------
def case_index_shows_thumbnails_fits_and_opens_entries(s, files):
    s.reset_settings()
    s.start(s.winpath(os.path.join(files["pics"], "index.vti")))
    assert s.probe("iwait", "PICS", 20).stdout == "PICS - Vantirel Index"
    names = files["pictures"]  # in the index's order
    columns, rows, cell_height, rect = wait_built(s, "PICS - Vantirel Index", len(names))
    shot = s.client_pixels("PICS - Vantirel Index", settle=0.3)
    check_cells(shot, len(names), columns, rows, cell_height)
    for number, name in enumerate(names):
        source = files["sources"][name]
        if name.endswith(".JPG"):
            # The reduced decode (1/8) is resampled up into the box; another
            # decoder's reduced decode differs a little (chroma at edges).
            reduced = Image.open(os.path.join(files["pics"], name))
            reduced.draft("RGB", (source.size[0] // 8, source.size[1] // 8))
            assert reduced.size == (80, 60), reduced.size
            expected = resample(reduced.convert("RGB"), *fit(*source.size))
            check_thumbnail(shot, number, columns, cell_height, expected, 48, name,
                            mean_tolerance=4)
        else:
            expected = resample(source, *fit(*source.size))
            check_thumbnail(shot, number, columns, cell_height, expected, 0, name)

    # A click on the first thumbnail opens it in a viewer process.
    left, top = box_origin(0, columns, cell_height)
    s.probe("clickat", "PICS - Vantirel Index", left + 40, top + 30)
    assert s.wait_window("GREY.PGM") == "GREY.PGM - Vantirel v3.0"
    s.probe("key", "GREY.PGM", VK["escape"])
    s.wait_gone("GREY.PGM")

    # With directories and other files: "..", the subdirectory and the text
    # file join the pictures, each in its place.
    s.probe("poke", OFFSET["bShowDirs"], 1, 1)
    s.probe("poke", OFFSET["bShowOther"], 1, 1)
    s.probe("command", "PICS - Vantirel Index", 122)
    everything = sorted(names + ["..", "NOTES.TXT", "SUB"], key=str.lower)
    assert everything[0] == ".." and everything[5] == "SUB", everything
    columns, rows, cell_height, rect = wait_built(s, "PICS - Vantirel Index", len(everything))
    shot = s.client_pixels("PICS - Vantirel Index", settle=0.3)
    check_cells(shot, len(everything), columns, rows, cell_height)
    number = everything.index("WIDE.BMP")
    check_thumbnail(shot, number, columns, cell_height,
                    resample(files["sources"]["WIDE.BMP"], 88, 66), 0, "WIDE.BMP after Recreate")

    # Directories and the text file show the shell's icons, centred.
    for name in ("..", "NOTES.TXT", "SUB"):
        left, top = box_origin(everything.index(name), columns, cell_height)
        icon = shot.crop((left + 28, top + 17, left + 60, top + 49))
        assert any(p != LIGHT_GREY for p in icon.getdata()), "%s: no icon" % name
        assert shot.getpixel((left + 5, top + 5)) == LIGHT_GREY, name

    # A directory opens as an index of its own, ".." as the parent's.
    for name, title in (("SUB", "SUB - Vantirel Index"), ("..", "IDXE2E - Vantirel Index")):
        left, top = box_origin(everything.index(name), columns, cell_height)
        s.probe("clickat", "PICS - Vantirel Index", left + 40, top + 30)
        assert s.probe("iwait", title, 20).stdout == title, title
        s.probe("key", title, VK["escape"])
        assert s.probe("igone", title, 15).returncode == 0, title
    s.probe("key", "PICS - Vantirel Index", VK["escape"])
    assert s.probe("igone", "PICS - Vantirel Index", 15).returncode == 0


def case_an_index_without_pictures_shrinks_to_the_margins(s, files):
    s.reset_settings()
    s.start(s.winpath(os.path.join(files["empty"], "index.vti")))
    assert s.probe("iwait", "NOPICS", 20).stdout == "NOPICS - Vantirel Index"
    columns, rows, _, (x, y, w, h) = wait_built(s, "NOPICS - Vantirel Index", 0)
    assert rows == 0 and h == SPACING and w == columns * 103 + SPACING, (columns, w, h)
    s.probe("key", "NOPICS", VK["escape"])
    assert s.probe("igone", "NOPICS", 15).returncode == 0

    # With directories shown: ".." and the subdirectory, not the text file.
    s.reset_settings(**{"idx.bShowDirs": ("REG_BINARY", "01")})
    s.start(s.winpath(os.path.join(files["empty"], "index.vti")))
    s.probe("iwait", "NOPICS", 20)
    columns, rows, cell_height, _ = wait_built(s, "NOPICS - Vantirel Index", 2)
    shot = s.client_pixels("NOPICS - Vantirel Index", settle=0.3)
    check_cells(shot, 2, columns, rows, cell_height)

    # "Properties" shows the sheet with the index's page first.
    s.probe("command", "NOPICS - Vantirel Index", 101)
    assert s.probe("dialog", SHEET, 20).returncode == 0, "no properties sheet"
    assert s.probe("text", SHEET, 234).stdout == "88"  # thumbnail width
    assert s.probe("text", SHEET, 235).stdout == "66"  # and height
    assert s.probe("checked", SHEET, 230).stdout == "1"  # directories shown
    s.probe("press", SHEET, 2)
    for _ in range(50):
        if s.probe("dcount", SHEET).stdout == "0":
            break
        time.sleep(0.1)
    assert s.probe("dcount", SHEET).stdout == "0", "the sheet did not close"
    s.probe("key", "NOPICS", VK["escape"])
    assert s.probe("igone", "NOPICS", 15).returncode == 0


def case_a_new_thumbnail_size_rebuilds_every_index(s, files):
    s.reset_settings()
    s.start(s.winpath(os.path.join(files["pics"], "index.vti")))
    s.start(s.winpath(os.path.join(files["pics"], "SUB", "index.vti")))
    s.probe("iwait", "PICS - Vantirel Index", 20)
    s.probe("iwait", "SUB - Vantirel Index", 20)
    wait_built(s, "PICS - Vantirel Index", 5)
    wait_built(s, "SUB - Vantirel Index", 1)
    # Apart, so that each can be seen whole.
    s.probe("move", "PICS - Vantirel Index", 0, 0)
    s.probe("move", "SUB - Vantirel Index", 0, 400)
    # What the properties sheet does: the shared settings change, and each
    # index builds again on its next paint.
    s.probe("poke", OFFSET["iIconX"], 4, 44)
    s.probe("poke", OFFSET["iIconY"], 4, 33)
    for title, count in (("PICS - Vantirel Index", 5), ("SUB - Vantirel Index", 1)):
        s.probe("invalidate", title)
        columns, rows, cell_height, _ = wait_built(s, title, count, box_x=44, box_y=33)
        shot = s.client_pixels(title, settle=0.3)
        check_cells(shot, count, columns, rows, cell_height, box_x=44, box_y=33)
        number = count - 1  # WIDE.BMP, last in both
        check_thumbnail(shot, number, columns, cell_height,
                        resample(files["sources"]["WIDE.BMP"], 44, 33), 0, title,
                        box_x=44, box_y=33)
        s.probe("key", title, VK["escape"])
        assert s.probe("igone", title, 15).returncode == 0


def write_script(path, body):
    with open(path, "w") as f:
        f.write("Vantirel SlideShow {\r\n%s}\r\n" % body)


def case_a_slide_show_loop_plays_in_order_and_closes_the_window(s, files):
    s.reset_settings()
    script = os.path.join(s.work, "LOOP.VTS")
    write_script(script, ' loop 2 {;\r\n  display "%s";\r\n  delay 1;\r\n'
                         '  display %s;\r\n  delay 1;\r\n }\r\n'
                 % (s.winpath(files["blank name"]), s.winpath(files["wide"])))
    process = s.start(script)
    # The quoted name with a blank loads whole; the titles follow the script.
    for title in ("MY PIC.BMP", "WIDE.BMP", "MY PIC.BMP", "WIDE.BMP"):
        assert s.wait_window(title) == title + " - Vantirel v3.0", title
    assert s.wait_exit(process, 20) == 0
    assert s.probe("count", "Vantirel v3.0").stdout == "0"
    time.sleep(0.3)
    assert s.reg_value("disp.bRunMaximized") == ("REG_BINARY", "00")
    assert s.reg_value("disp.bAutoSize") == ("REG_BINARY", "00")


def case_closing_the_window_ends_an_endless_show(s, files):
    s.reset_settings()
    script = os.path.join(s.work, "ENDLESS.VTS")
    write_script(script, ' loop {;\r\n  display %s;\r\n  delay 1;\r\n  display "%s";\r\n'
                         '  delay 1;\r\n }\r\n'
                 % (s.winpath(files["wide"]), s.winpath(files["blank name"])))
    process = s.start(script)
    assert s.wait_window("WIDE.BMP") == "WIDE.BMP - Vantirel v3.0"
    s.probe("key", "WIDE.BMP", VK["escape"])
    assert s.wait_exit(process, 10) == 0
    assert s.probe("count", "Vantirel v3.0").stdout == "0"


def case_a_show_chosen_in_an_index_plays_in_a_new_process(s, files):
    s.reset_settings()
    script = os.path.join(s.work, "SHORT.VTS")
    write_script(script, ' display %s;\r\n delay 1;\r\n' % s.winpath(files["wide"]))
    s.start(s.winpath(os.path.join(files["pics"], "SUB", "index.vti")))
    s.probe("iwait", "SUB - Vantirel Index", 20)
    wait_built(s, "SUB - Vantirel Index", 1)

    def spawn_viewer(path):
        s.probe("command", "SUB - Vantirel Index", 100)
        assert s.probe("dialog", "Open image file", 20).returncode == 0, "no open dialog"
        s.probe("filename", "Open image file", s.winpath(path))
        s.probe("press", "Open image file", 1)

    spawn_viewer(script)
    assert s.wait_window("WIDE.BMP") == "WIDE.BMP - Vantirel v3.0"
    s.wait_gone("WIDE.BMP")
    assert s.probe("icount", "SUB - Vantirel Index").stdout == "1"

    # When the program cannot be started, the index says so.
    s.probe("poke-text", OFFSET["programPath"], "Z:\\nowhere\\Vantirel.exe")
    spawn_viewer(script)
    result = s.probe("box", "Attention!", 20, 1)
    assert result.returncode == 0, "no message box"
    assert result.stdout == "Couldn't execute Vantirel.EXE", repr(result.stdout)
    s.probe("key", "SUB - Vantirel Index", VK["escape"])
    assert s.probe("igone", "SUB - Vantirel Index", 15).returncode == 0


def case_the_index_menu_and_dropped_files(s, files):
    s.reset_settings()
    title = "NOPICS - Vantirel Index"
    s.start(s.winpath(os.path.join(files["empty"], "index.vti")))
    assert s.probe("iwait", "NOPICS", 20).stdout == title
    wait_built(s, title, 0)
    # The running index's own menu, read inside its process.
    menu = s.context_menu(title, index=True)
    assert menu == ["Spawn viewer 100 default", "-", "Properties 101", "Recreate 122", "-",
                    "Help 102"], menu
    # Files dropped on an index each open in a viewer of their own.
    s.drop(title, files["blank name"], files["wide"])
    assert s.wait_window("MY PIC.BMP") == "MY PIC.BMP - Vantirel v3.0"
    assert s.wait_window("WIDE.BMP") == "WIDE.BMP - Vantirel v3.0"
    assert s.client("MY PIC.BMP")[2:] == (192, 144), s.client("MY PIC.BMP")
    assert s.client("WIDE.BMP")[2:] == (400, 300), s.client("WIDE.BMP")
    assert s.probe("icount", title).stdout == "1"
    for viewer in ("MY PIC.BMP", "WIDE.BMP"):
        s.probe("key", viewer, VK["escape"])
    s.wait_gone("Vantirel v3.0")
    s.probe("key", title, VK["escape"])
    assert s.probe("igone", title, 15).returncode == 0


CASES = [case_index_shows_thumbnails_fits_and_opens_entries,
         case_an_index_without_pictures_shrinks_to_the_margins,
         case_a_new_thumbnail_size_rebuilds_every_index,
         case_a_slide_show_loop_plays_in_order_and_closes_the_window,
         case_closing_the_window_ends_an_endless_show,
         case_a_show_chosen_in_an_index_plays_in_a_new_process,
         case_the_index_menu_and_dropped_files]


def make_files(s):
    base = os.path.join(s.work, "IDXE2E")
    shutil.rmtree(base, ignore_errors=True)
    pics = os.path.join(base, "PICS")
    os.makedirs(os.path.join(pics, "SUB"))
    sample = Image.open(os.path.join(s.args.source, "samples", "VANTIREL.BMP")).convert("RGB")
    sources = {
        "WIDE.BMP": sample.resize((400, 300), Image.BICUBIC),
        "TALL.PNG": sample.transpose(Image.ROTATE_90).resize((300, 400), Image.BICUBIC),
        "GREY.PGM": sample.resize((200, 150), Image.BICUBIC).convert("L").convert("RGB"),
        "PHOTO.JPG": sample.resize((640, 480), Image.BICUBIC),
    }
    sources["WIDE.BMP"].save(os.path.join(pics, "WIDE.BMP"))
    sources["WIDE.BMP"].save(os.path.join(pics, "SUB", "WIDE.BMP"))
    sources["TALL.PNG"].save(os.path.join(pics, "TALL.PNG"))
    sample.resize((160, 120), Image.BICUBIC).quantize(64).save(os.path.join(pics, "PAL.GIF"))
    sources["PAL.GIF"] = Image.open(os.path.join(pics, "PAL.GIF")).convert("RGB")
    sources["GREY.PGM"].convert("L").save(os.path.join(pics, "GREY.PGM"))
    sources["PHOTO.JPG"].save(os.path.join(pics, "PHOTO.JPG"), quality=90)
    with open(os.path.join(pics, "NOTES.TXT"), "w") as f:
        f.write("Not a picture.\n")
    empty = os.path.join(base, "NOPICS")
    os.makedirs(os.path.join(empty, "DOCS"))
    with open(os.path.join(empty, "README.TXT"), "w") as f:
        f.write("Nothing to see.\n")
    blank = os.path.join(s.work, "MY PIC.BMP")
    sample.save(blank)
    return {"pics": pics, "empty": empty, "sources": sources,
            "pictures": sorted(sources, key=str.lower),
            "wide": os.path.join(pics, "WIDE.BMP"), "blank name": blank}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wine", required=True)
    parser.add_argument("--program", required=True)
    parser.add_argument("--probe", required=True)
    parser.add_argument("--source", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("--depth", type=int, default=24)
    parser.add_argument("--only", default="")
    args = parser.parse_args()
    s = Session(args)
    failures = 0
    try:
        s.start_display()
        s.prepare_prefix()
        files = make_files(s)
        s.start_probe()
        failures = s.run_cases(CASES, files, args.only)
    finally:
        s.stop()
    print("%d failed" % failures)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
