#!/usr/bin/python3
"""End-to-end tests of Vantirel.exe under Wine on a virtual X display.

Starts Xvfb at the given depth, a Wine prefix of its own, and runs the cases
below one after the other. Each case starts Vantirel.exe like a user would,
watches it through the probe program (window titles, client rectangles,
message boxes, posted commands and keys), X screenshots and the registry,
and checks exact values. Exits 1 when any case fails.
"""
import argparse
import os
import shutil
import subprocess
import sys
import time
import traceback

from PIL import Image

KEY = r"HKCU\Software\Dravik\Vantirel"
VK = {"escape": 27, "pageup": 33, "pagedown": 34, "end": 35, "home": 36,
      "left": 37, "up": 38, "right": 39, "down": 40}
CMD = {"size_image_to_window": 114, "size_window_to_image": 115,
       "restore_original_size": 116, "delete": 112, "wallpaper": 120}


class Session:
    def __init__(self, args):
        self.args = args
        self.work = os.path.abspath(args.work)
        os.makedirs(self.work, exist_ok=True)
        self.env = dict(os.environ)
        self.env["WINEDEBUG"] = "-all"
        self.env["WINEPREFIX"] = os.path.join(self.work, "wineprefix")
        self.env["WINEDLLOVERRIDES"] = "mscoree,mshtml="
        self.xvfb = None
        self.processes = []

    # --- set-up -------------------------------------------------------------
    def start_display(self):
        # VANTIREL_E2E_DISPLAYS ("160-169") keeps one developer's virtual
        # displays apart from others' on a shared machine.
        first, last = 90, 129
        wanted = os.environ.get("VANTIREL_E2E_DISPLAYS", "")
        if wanted:
            first, last = (int(part) for part in wanted.split("-"))
        for number in range(first, last + 1):
            if not os.path.exists("/tmp/.X%d-lock" % number):
                break
        self.display = ":%d" % number
        self.xvfb = subprocess.Popen(
            ["Xvfb", self.display, "-screen", "0", "1024x768x%d" % self.args.depth, "-nolisten", "tcp"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.env["DISPLAY"] = self.display
        for _ in range(50):
            if os.path.exists("/tmp/.X11-unix/X%d" % number):
                break
            time.sleep(0.1)

    def prepare_prefix(self):
        if not os.path.isdir(os.path.join(self.env["WINEPREFIX"], "drive_c")):
            self.run([self.args.wine, "wineboot", "-i"], timeout=180)
        # Without a window manager Wine waits for one on every hidden window.
        self.reg(["add", r"HKCU\Software\Wine\X11 Driver", "/v", "Managed", "/d", "N", "/f"])

    def stop(self):
        if getattr(self, "prober", None) and self.prober.poll() is None:
            self.prober.stdin.close()
            self.prober.wait(timeout=10)
        for process in self.processes:
            if process.poll() is None:
                process.kill()
        subprocess.run(["wineserver", "-k"], env=self.env, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        if self.xvfb:
            self.xvfb.terminate()
            self.xvfb.wait()

    # --- helpers ------------------------------------------------------------
    def run(self, command, timeout=60, check=False):
        result = subprocess.run(command, env=self.env, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, timeout=timeout, text=True)
        if check and result.returncode != 0:
            raise AssertionError("%s failed (%d)" % (" ".join(command), result.returncode))
        return result

    def reg(self, arguments):
        return self.run([self.args.wine, "reg"] + arguments)

    def reg_value(self, name, key=KEY):
        result = self.reg(["query", key, "/v", name])
        for line in result.stdout.splitlines():
            parts = line.split(None, 2)
            if len(parts) >= 2 and parts[0] == name:
                return parts[1], (parts[2].strip() if len(parts) > 2 else "")
        return None

    def reset_settings(self, **values):
        self.reg(["delete", KEY, "/f"])
        for name, (kind, data) in values.items():
            self.reg(["add", KEY, "/v", name, "/t", kind, "/d", data, "/f"])

    def start_probe(self):
        self.prober = subprocess.Popen([self.args.wine, self.args.probe, "serve"], env=self.env,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True, bufsize=1)

    def probe(self, *arguments):
        """Asks the probe; returns an object with returncode and stdout."""
        self.prober.stdin.write("\t".join(str(a) for a in arguments) + "\n")
        self.prober.stdin.flush()
        answer = self.prober.stdout.readline()
        if not answer:
            raise AssertionError("the probe has ended")
        status, _, text = answer.rstrip("\r\n").partition("\t")
        return subprocess.CompletedProcess(arguments, int(status), text, "")

    def wait_window(self, title, seconds=20):
        result = self.probe("wait", title, seconds)
        if result.returncode != 0:
            raise AssertionError("no window titled like %r" % title)
        return result.stdout

    def wait_gone(self, title, seconds=15):
        if self.probe("gone", title, seconds).returncode != 0:
            raise AssertionError("window %r did not close" % title)

    def client(self, title):
        x, y, w, h = map(int, self.probe("client", title).stdout.split())
        return x, y, w, h

    def start(self, *arguments):
        process = subprocess.Popen([self.args.wine, self.args.program] + list(arguments),
                                   env=self.env, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        self.processes.append(process)
        return process

    def wait_exit(self, process, seconds=20):
        try:
            return process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            raise AssertionError("process did not end")

    def screenshot(self):
        path = os.path.join(self.work, "screen.png")
        self.run(["import", "-display", self.display, "-window", "root", path], check=True)
        return Image.open(path).convert("RGB")

    def client_pixels(self, title, settle=0.6):
        time.sleep(settle)
        x, y, w, h = self.client(title)
        return self.screenshot().crop((x, y, x + w, y + h))

    def winpath(self, path):
        return "Z:" + os.path.abspath(path).replace("/", "\\")


def differences(a, b):
    """Largest and mean absolute channel difference of two equal-size pictures."""
    assert a.size == b.size, "sizes differ: %s vs %s" % (a.size, b.size)
    pa, pb = a.tobytes(), b.tobytes()
    total = 0
    largest = 0
    for u, v in zip(pa, pb):
        d = abs(u - v)
        total += d
        largest = max(largest, d)
    return largest, total / max(1, len(pa))


def as_565(picture):
    """What a 16-bit (5-6-5) screen shows of a picture when it only drops the
    low bits, read back with the bits replicated as X screenshots do."""
    def channel(bits):
        keep = 8 - bits
        return lambda v: ((v >> keep) << keep) | ((v >> keep) >> (bits - keep))
    r, g, b = picture.split()
    return Image.merge("RGB", (r.point(channel(5)), g.point(channel(6)), b.point(channel(5))))


def share_differing(a, b):
    """The share of pixels that differ at all."""
    pa, pb = a.tobytes(), b.tobytes()
    pixels = len(pa) // 3
    differing = sum(1 for i in range(pixels) if pa[3 * i:3 * i + 3] != pb[3 * i:3 * i + 3])
    return differing / max(1, pixels)


def assert_same(actual, expected, tolerance, what):
    largest, mean = differences(actual, expected)
    if largest > tolerance:
        raise AssertionError("%s: pixels differ by up to %d (mean %.2f)" % (what, largest, mean))


# --- the cases --------------------------------------------------------------
def case_title_size_and_pixels(s, pictures):
    s.reset_settings()
    s.start(pictures["sample"])
    assert s.wait_window("VANTIREL.BMP") == "VANTIREL.BMP - Vantirel v3.0"
    x, y, w, h = s.client("VANTIREL.BMP - Vantirel v3.0")
    assert (w, h) == (192, 144), "client %dx%d" % (w, h)
    expected = Image.open(pictures["sample"]).convert("RGB")
    # A 24-bit screen shows the picture exactly; a 16-bit one (no dithering
    # asked for) drops the low bits of each channel.
    if s.args.depth == 24:
        assert_same(s.client_pixels("VANTIREL.BMP"), expected, 0, "client area")
    else:
        assert_same(s.client_pixels("VANTIREL.BMP"), as_565(expected), 0, "client area")
    s.probe("key", "VANTIREL.BMP", VK["escape"])
    s.wait_gone("VANTIREL.BMP")


def case_settings_written_by_last_instance(s, pictures):
    # The previous case's process has ended: everything is in the registry.
    assert s.reg_value("disp.bDither") == ("REG_BINARY", "01"), s.reg_value("disp.bDither")
    assert s.reg_value("idx.iIconX") == ("REG_DWORD", "0x58"), s.reg_value("idx.iIconX")
    assert s.reg_value("stat.iOpen") == ("REG_DWORD", "0x1"), s.reg_value("stat.iOpen")
    assert s.reg_value("szLastImpDir") is not None


def case_title_with_resolution(s, pictures):
    s.reset_settings(**{"disp.bTitleRes": ("REG_BINARY", "01")})
    s.start(pictures["palette"])
    title = s.wait_window("PAL8.BMP")
    assert title == "PAL8.BMP (192x144x8) - Vantirel v3.0", title
    # A palette picture on a true-colour screen: its own colours, exactly.
    expected = Image.open(pictures["palette"]).convert("RGB")
    assert_same(s.client_pixels("PAL8.BMP"), expected, 0 if s.args.depth == 24 else 8,
                "palette picture")
    s.probe("key", "PAL8.BMP", VK["escape"])
    s.wait_gone("PAL8.BMP")


def case_panning_keys(s, pictures):
    s.reset_settings()
    s.start(pictures["big"])
    title = s.wait_window("PICT24.BMP")
    assert title == "PICT24.BMP - Vantirel v3.0", title
    assert s.client("PICT24.BMP")[2:] == (320, 240)
    s.probe("size", "PICT24.BMP", 200, 150)
    time.sleep(0.5)
    _, _, cw, ch = s.client("PICT24.BMP")
    source = Image.open(pictures["big"]).convert("RGB")
    tolerance = 0 if s.args.depth == 24 else 8

    def expect(ox, oy, what):
        assert_same(s.client_pixels("PICT24.BMP"), source.crop((ox, oy, ox + cw, oy + ch)),
                    tolerance, what)

    expect(0, 0, "before panning")
    s.probe("key", "PICT24.BMP", VK["right"])
    s.probe("key", "PICT24.BMP", VK["right"])
    s.probe("key", "PICT24.BMP", VK["down"])
    expect(16, 8, "after right, right, down")
    s.probe("key", "PICT24.BMP", VK["pagedown"])
    expect(320 - cw, 240 - ch, "after Page Down")
    s.probe("key", "PICT24.BMP", VK["home"])
    expect(0, 0, "after Home")
    s.probe("key", "PICT24.BMP", VK["end"])
    expect(0, 240 - ch, "after End")
    s.probe("key", "PICT24.BMP", VK["left"])  # clamped at the left edge
    expect(0, 240 - ch, "after Left at the edge")

    # "Size image to window" resamples the picture to the client area.
    s.probe("command", "PICT24.BMP", CMD["size_image_to_window"])
    resized = source.resize((cw, ch), Image.BICUBIC)
    largest, mean = differences(s.client_pixels("PICT24.BMP", settle=1.0), resized)
    assert mean < 12, "resampled picture differs on average by %.1f" % mean
    # "Restore original size" brings back the picture and sizes the window.
    s.probe("command", "PICT24.BMP", CMD["restore_original_size"])
    time.sleep(0.8)
    assert s.client("PICT24.BMP")[2:] == (320, 240)
    s.probe("key", "PICT24.BMP", VK["escape"])
    s.wait_gone("PICT24.BMP")


def case_failing_file_shows_its_message(s, pictures):
    s.reset_settings()
    process = s.start(pictures["text"])
    result = s.probe("box", "ImageImpFile()", 20, 1)  # OK
    assert result.returncode == 0, "no message box"
    assert result.stdout.strip() == "Not a supported image format", repr(result.stdout)
    assert s.wait_exit(process) == 0
    assert s.probe("count", "Vantirel v3.0").stdout.strip() == "0"


def case_several_arguments_start_several_processes(s, pictures):
    s.reset_settings()
    s.start(pictures["sample"], pictures["big"])
    assert s.wait_window("VANTIREL.BMP") == "VANTIREL.BMP - Vantirel v3.0"
    assert s.wait_window("PICT24.BMP") == "PICT24.BMP - Vantirel v3.0"
    s.probe("key", "VANTIREL.BMP", VK["escape"])
    s.wait_gone("VANTIREL.BMP")
    # One instance still runs: nothing has been written yet.
    assert s.reg_value("stat.iOpen") is None, s.reg_value("stat.iOpen")
    s.probe("key", "PICT24.BMP", VK["escape"])
    s.wait_gone("PICT24.BMP")
    time.sleep(0.5)
    assert s.reg_value("stat.iOpen") == ("REG_DWORD", "0x2"), s.reg_value("stat.iOpen")


def case_wallpaper(s, pictures):
    s.reset_settings()
    target = os.path.join(s.env["WINEPREFIX"], "drive_c", "windows", "Vantirel Wallpaper")
    if os.path.exists(target):
        os.remove(target)
    s.start(pictures["sample"])
    s.wait_window("VANTIREL.BMP")
    s.probe("command", "VANTIREL.BMP", CMD["wallpaper"])
    for _ in range(50):
        if os.path.exists(target) and os.path.getsize(target) > 0:
            break
        time.sleep(0.1)
    time.sleep(0.5)
    saved = Image.open(target)
    assert saved.size == (192, 144), saved.size
    assert_same(saved.convert("RGB"), Image.open(pictures["sample"]).convert("RGB"), 0,
                "wallpaper file")
    value = s.reg_value("Wallpaper", r"HKCU\Control Panel\Desktop")
    assert value is not None and value[1].lower().endswith("\\windows\\vantirel wallpaper"), value
    s.probe("key", "VANTIREL.BMP", VK["escape"])
    s.wait_gone("VANTIREL.BMP")


def case_delete_asks_and_deletes(s, pictures):
    s.reset_settings()
    doomed = os.path.join(s.work, "DELME.BMP")
    shutil.copy(pictures["sample"], doomed)
    s.start(s.winpath(doomed))
    s.wait_window("DELME.BMP")
    s.probe("command", "DELME.BMP", CMD["delete"])
    result = s.probe("box", s.winpath(doomed), 20, 7)  # No: nothing happens
    assert result.stdout.strip() == "Do you really want to delete this file form the disk?", \
        repr(result.stdout)
    time.sleep(0.5)
    assert os.path.exists(doomed)
    s.probe("command", "DELME.BMP", CMD["delete"])
    result = s.probe("box", s.winpath(doomed), 20, 6)  # Yes
    assert result.returncode == 0
    for _ in range(30):
        if not os.path.exists(doomed):
            break
        time.sleep(0.1)
    assert not os.path.exists(doomed), "file still there"
    s.probe("key", "DELME.BMP", VK["escape"])
    s.wait_gone("DELME.BMP")


def case_save_as_adds_the_extension_and_asks_before_overwriting(s, pictures):
    s.reset_settings()
    folder = os.path.join(s.work, "saved")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    target = os.path.join(folder, "picture.bmp")
    s.start(pictures["palette"])
    s.wait_window("PAL8.BMP")
    # The name typed without an extension gets the bitmap filter's.
    s.probe("command", "PAL8.BMP", 111)
    assert s.probe("dialog", "Save image as", 20).returncode == 0, "no save dialog"
    s.probe("filename", "Save image as", s.winpath(os.path.join(folder, "picture")))
    s.probe("press", "Save image as", 1)
    for _ in range(50):
        if os.path.exists(target) and os.path.getsize(target) > 0:
            break
        time.sleep(0.1)
    time.sleep(0.3)
    assert_same(Image.open(target).convert("RGB"),
                Image.open(pictures["palette"]).convert("RGB"), 0, "saved picture")
    # Saving again asks; No goes back to the dialog, which is then cancelled.
    s.probe("command", "PAL8.BMP", 111)
    assert s.probe("dialog", "Save image as", 20).returncode == 0, "no save dialog"
    s.probe("filename", "Save image as", s.winpath(target))
    s.probe("press", "Save image as", 1)
    result = s.probe("box", s.winpath(target), 20, 7)
    assert result.stdout == "File already exists!\\nOverwrite it?", repr(result.stdout)
    assert s.probe("dialog", "Save image as", 20).returncode == 0, "dialog not shown again"
    s.probe("press", "Save image as", 2)
    s.probe("key", "PAL8.BMP", VK["escape"])
    s.wait_gone("PAL8.BMP")
    time.sleep(0.3)
    assert s.reg_value("stat.iSave") == ("REG_DWORD", "0x1"), s.reg_value("stat.iSave")
    assert s.reg_value("iLastExpType") == ("REG_DWORD", "0x0"), s.reg_value("iLastExpType")
    last = s.reg_value("szLastExpDir")
    assert last is not None and last[1] == s.winpath(folder) + "\\", last


def case_auto_size_resamples_on_every_resize(s, pictures):
    s.reset_settings(**{"disp.bAutoSize": ("REG_BINARY", "01")})
    s.start(pictures["big"])
    s.wait_window("PICT24.BMP")
    s.probe("size", "PICT24.BMP", 260, 200)
    time.sleep(1.0)
    _, _, cw, ch = s.client("PICT24.BMP")
    source = Image.open(pictures["big"]).convert("RGB")
    shown = s.client_pixels("PICT24.BMP", settle=1.0)
    largest, mean = differences(shown, source.resize((cw, ch), Image.BICUBIC))
    assert mean < 12, "auto-sized picture differs on average by %.1f" % mean
    # Not the top-left part of the picture at its own size.
    largest, mean = differences(shown, source.crop((0, 0, cw, ch)))
    assert mean > 12, "the picture was not resampled"
    s.probe("key", "PICT24.BMP", VK["escape"])
    s.wait_gone("PICT24.BMP")


def case_double_click_maximises_and_restore_sizes_to_the_picture(s, pictures):
    s.reset_settings()
    s.start(pictures["big"])
    s.wait_window("PICT24.BMP")
    s.probe("dblclick", "PICT24.BMP")
    time.sleep(1.0)
    x, y, w, h = s.client("PICT24.BMP")
    # Maximised, the frame and caption lie outside the screen (and the client
    # area reaches up by a menu bar's height, as the window limits say): it
    # is as wide as the screen and ends at its bottom.
    assert (x, w) == (0, 1024) and y <= 0 and y + h == 768, (x, y, w, h)
    # The picture is smaller than the screen: centred between black borders.
    time.sleep(0.6)
    screen = s.screenshot()
    shown = screen.crop((0, 0, 1024, 768))
    left = (1024 - 320 + 1) // 2
    top = (h - 240 + 1) // 2 + y  # on the screen
    assert shown.getpixel((left - 1, top + 10)) == (0, 0, 0)
    assert_same(shown.crop((left, top, left + 320, top + 240)),
                Image.open(pictures["big"]).convert("RGB"), 0 if s.args.depth == 24 else 8,
                "centred picture")
    # "Restore window" acts as a double click on a maximised window.
    s.probe("command", "PICT24.BMP", 118)
    time.sleep(1.0)
    assert s.client("PICT24.BMP")[2:] == (320, 240), s.client("PICT24.BMP")
    s.probe("key", "PICT24.BMP", VK["escape"])
    s.wait_gone("PICT24.BMP")


def case_spawn_new_and_load_new(s, pictures):
    s.reset_settings()
    s.start(pictures["sample"])
    s.wait_window("VANTIREL.BMP")
    # "Spawn new...": the chosen file opens in a viewer process of its own.
    s.probe("command", "VANTIREL.BMP", 100)
    assert s.probe("dialog", "Open image file", 20).returncode == 0, "no open dialog"
    s.probe("filename", "Open image file", s.winpath(pictures["big"]))
    s.probe("press", "Open image file", 1)
    assert s.wait_window("PICT24.BMP") == "PICT24.BMP - Vantirel v3.0"
    assert s.probe("count", "VANTIREL.BMP").stdout == "1"
    # "Load new...": the chosen file replaces the picture in this window.
    s.probe("command", "VANTIREL.BMP", 110)
    assert s.probe("dialog", "Open image file", 20).returncode == 0, "no open dialog"
    s.probe("filename", "Open image file", s.winpath(pictures["palette"]))
    s.probe("press", "Open image file", 1)
    assert s.wait_window("PAL8.BMP") == "PAL8.BMP - Vantirel v3.0"
    s.wait_gone("VANTIREL.BMP")
    assert s.probe("count", "Vantirel v3.0").stdout == "2"
    s.probe("key", "PAL8.BMP", VK["escape"])
    s.probe("key", "PICT24.BMP", VK["escape"])
    s.wait_gone("Vantirel v3.0")
    time.sleep(0.3)
    assert s.reg_value("stat.iOpen") == ("REG_DWORD", "0x3"), s.reg_value("stat.iOpen")


def case_slide_show_plays_in_the_viewer(s, pictures):
    s.reset_settings()
    script = os.path.join(s.work, "SHOW.VTS")
    with open(script, "w") as f:
        f.write('Vantirel SlideShow {\r\n display "%s";\r\n delay 2;\r\n'
                ' display "%s";\r\n delay 2;\r\n}\r\n'
                % (s.winpath(pictures["palette"]), s.winpath(pictures["big"])))
    process = s.start(script)
    assert s.wait_window("PAL8.BMP") == "PAL8.BMP - Vantirel v3.0"
    # The show runs maximised.
    x, y, w, h = s.client("PAL8.BMP")
    assert w == 1024, (x, y, w, h)
    assert s.wait_window("PICT24.BMP") == "PICT24.BMP - Vantirel v3.0"
    # The window closes at the end of the show, and the process ends.
    assert s.wait_exit(process, 30) == 0
    time.sleep(0.3)
    assert s.reg_value("disp.bRunMaximized") == ("REG_BINARY", "00"), s.reg_value("disp.bRunMaximized")

    bad = os.path.join(s.work, "BAD.VTS")
    with open(bad, "w") as f:
        f.write("Some other text {\n}\n")
    process = s.start(bad)
    result = s.probe("box", "vti_VTS", 20, 1)
    assert result.returncode == 0, "no message box"
    assert result.stdout == "Not an Vantirel SlideShow file", repr(result.stdout)
    assert s.wait_exit(process) == 0


def case_no_argument_shows_the_open_dialog(s, pictures):
    s.reset_settings()
    process = s.start()
    assert s.probe("dialog", "Open image file", 20).returncode == 0, "no open dialog"
    s.probe("close-dialog", "Open image file")
    assert s.wait_exit(process) == 0
    assert s.probe("count", "Vantirel").stdout.strip() == "0"

    # Choosing a file opens it; its directory becomes the last import one.
    s.start()
    assert s.probe("dialog", "Open image file", 20).returncode == 0, "no open dialog"
    s.probe("filename", "Open image file", s.winpath(pictures["palette"]))
    s.probe("press", "Open image file", 1)
    assert s.wait_window("PAL8.BMP") == "PAL8.BMP - Vantirel v3.0"
    s.probe("key", "PAL8.BMP", VK["escape"])
    s.wait_gone("PAL8.BMP")
    time.sleep(0.3)
    last = s.reg_value("szLastImpDir")
    assert last is not None and last[1] == s.winpath(s.work) + "\\", last


def case_dither15_on_high_colour(s, pictures):
    s.reset_settings(**{"disp.bDither15": ("REG_BINARY", "01")})
    s.start(pictures["big"])
    s.wait_window("PICT24.BMP")
    source = Image.open(pictures["big"]).convert("RGB")
    shown = s.client_pixels("PICT24.BMP")
    largest, mean = differences(shown, source)
    # Each channel is reduced to 5 bits with the error carried on: close to
    # the source everywhere, and on average within a step.
    assert largest <= 24 and mean < 6, "dithered picture: largest %d, mean %.2f" % (largest, mean)
    # Undithered, the screen would show the truncated picture; the carried
    # errors change a good part of the pixels.
    changed = share_differing(shown, as_565(source))
    assert changed > 0.2, "only %.1f%% of the pixels differ from plain truncation" % (100 * changed)
    s.probe("key", "PICT24.BMP", VK["escape"])
    s.wait_gone("PICT24.BMP")


CASES_24 = [case_title_size_and_pixels, case_settings_written_by_last_instance,
            case_title_with_resolution, case_panning_keys, case_failing_file_shows_its_message,
            case_several_arguments_start_several_processes, case_wallpaper,
            case_delete_asks_and_deletes, case_save_as_adds_the_extension_and_asks_before_overwriting,
            case_auto_size_resamples_on_every_resize,
            case_double_click_maximises_and_restore_sizes_to_the_picture,
            case_spawn_new_and_load_new, case_slide_show_plays_in_the_viewer,
            case_no_argument_shows_the_open_dialog]
CASES_16 = [case_title_size_and_pixels, case_title_with_resolution, case_panning_keys,
            case_dither15_on_high_colour]


def make_pictures(s):
    pictures = {"sample": os.path.join(s.args.source, "samples", "VANTIREL.BMP")}
    big = Image.open(pictures["sample"]).convert("RGB").resize((320, 240), Image.BICUBIC)
    pictures["big"] = os.path.join(s.work, "PICT24.BMP")
    big.save(pictures["big"])
    pictures["palette"] = os.path.join(s.work, "PAL8.BMP")
    big.resize((192, 144)).quantize(200).save(pictures["palette"])
    pictures["text"] = os.path.join(s.work, "NOTPIC.TXT")
    with open(pictures["text"], "w") as f:
        f.write("This is not a picture.\n")
    return pictures


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
        pictures = make_pictures(s)
        s.start_probe()
        for case in (CASES_24 if args.depth == 24 else CASES_16):
            if args.only and args.only not in case.__name__:
                continue
            started = time.time()
            try:
                case(s, pictures)
                print("PASS %s (%.1fs)" % (case.__name__, time.time() - started))
            except Exception:
                failures += 1
                print("FAIL %s" % case.__name__)
                traceback.print_exc(file=sys.stdout)
                # Leave no window of a failed case for the next one.
                for process in s.processes:
                    if process.poll() is None:
                        process.kill()
                subprocess.run(["wineserver", "-k"], env=s.env, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
                s.start_probe()
            sys.stdout.flush()
    finally:
        s.stop()
    print("%d failed" % failures)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
