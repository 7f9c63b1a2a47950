#!/usr/bin/python3
"""End-to-end tests of Vantirel.exe under Wine on a virtual X display.

Starts Xvfb at the given depth, a Wine prefix of its own, and runs the cases
below one after the other. Each case starts Vantirel.exe like a user would,
watches it through the probe program (window titles, client rectangles,
message boxes, the context menu as read inside the program's process,
posted commands and keys, files dropped as the shell drops them), X
screenshots and the registry, and checks exact values. Exits 1 when any
case fails.

"--suite print" runs the printing cases instead, on a PDF printer of the
run's own (a private CUPS scheduler with cups-pdf); it exits 77 (skipped)
where the machine cannot give one.
"""
import argparse
import glob
import os
import pwd
import re
import shutil
import subprocess
import sys
import tempfile
import time
import traceback

from PIL import Image

KEY = r"HKCU\Software\Dravik\Vantirel"
APP_PATHS = r"Software\Microsoft\Windows\CurrentVersion\App Paths\Vantirel.EXE"
UNINSTALL = r"Software\Microsoft\Windows\CurrentVersion\Uninstall\Vantirel"
VK = {"escape": 27, "pageup": 33, "pagedown": 34, "end": 35, "home": 36,
      "left": 37, "up": 38, "right": 39, "down": 40}
CMD = {"size_image_to_window": 114, "size_window_to_image": 115,
       "restore_original_size": 116, "delete": 112, "wallpaper": 120, "print": 113,
       "copy": 117}


REGISTRY_FILES = ["system.reg", "user.reg", "userdef.reg"]


class Session:
    def __init__(self, args):
        self.args = args
        self.work = os.path.abspath(args.work)
        os.makedirs(self.work, exist_ok=True)
        self.env = dict(os.environ)
        self.env["WINEDEBUG"] = "-all"
        self.env["WINEPREFIX"] = os.path.join(self.work, "wineprefix")
        # The registry files of the prefix as wineboot made them: restored,
        # they give a user who has never run the program.
        self.pristine = os.path.join(self.work, "wineprefix-first-registry")
        self.env["WINEDLLOVERRIDES"] = "mscoree,mshtml="
        self.xvfb = None
        self.processes = []

    # --- set-up -------------------------------------------------------------
    def start_display(self):
        # VANTIREL_XVFB_DISPLAYS=FIRST-LAST keeps a developer's runs on
        # display numbers of their own.
        first, _, last = os.environ.get("VANTIREL_XVFB_DISPLAYS", "90-129").partition("-")
        for number in range(int(first), int(last or first) + 1):
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
        prefix = self.env["WINEPREFIX"]
        if not os.path.isdir(self.pristine):
            # A prefix without its first registry kept cannot be made fresh
            # again: start it anew.
            shutil.rmtree(prefix, ignore_errors=True)
            self.run([self.args.wine, "wineboot", "-i"], timeout=180)
            self.run(["wineserver", "-w"], timeout=60)
            kept = self.pristine + ".new"
            shutil.rmtree(kept, ignore_errors=True)
            os.makedirs(kept)
            for name in REGISTRY_FILES:
                shutil.copy2(os.path.join(prefix, name), kept)
            os.rename(kept, self.pristine)
        self.prefix_settings()
        self.preregister(self.args.program)

    def prefix_settings(self):
        # Without a window manager Wine waits for one on every hidden window.
        self.reg(["add", r"HKCU\Software\Wine\X11 Driver", "/v", "Managed", "/d", "N", "/f"])

    def preregister(self, program):
        """What a user who has run this copy of the program before has: its
        version and its App Paths entry. The program then starts without
        the welcome box and the questions about file types."""
        self.reg(["add", KEY, "/v", "VersionNumber", "/d", "3.0", "/f"])
        self.reg(["add", "HKLM\\" + APP_PATHS, "/ve", "/d", self.winpath(program), "/f"])

    def restore_first_registry(self):
        """Makes the prefix's registry the one of a user who has never run
        the program (Wine's own as wineboot left it); restarts the probe."""
        self.stop_programs()
        subprocess.run(["wineserver", "-k"], env=self.env, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        self.run(["wineserver", "-w"], timeout=60)
        for name in REGISTRY_FILES:
            shutil.copy2(os.path.join(self.pristine, name), self.env["WINEPREFIX"])
        self.prefix_settings()
        self.start_probe()

    def stop_programs(self):
        if getattr(self, "prober", None) and self.prober.poll() is None:
            self.prober.stdin.close()
            self.prober.wait(timeout=10)
        for process in self.processes:
            if process.poll() is None:
                process.kill()

    def stop(self):
        self.stop_programs()
        subprocess.run(["wineserver", "-k"], env=self.env, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        if self.xvfb:
            self.xvfb.terminate()
            self.xvfb.wait()

    def run_cases(self, cases, data, only=""):
        """Runs each case (those whose name contains `only`) with the data;
        prints PASS or FAIL per case and returns the number that failed."""
        failures = 0
        for case in cases:
            if only and only not in case.__name__:
                continue
            started = time.time()
            try:
                case(self, data)
                print("PASS %s (%.1fs)" % (case.__name__, time.time() - started))
            except Exception:
                failures += 1
                print("FAIL %s" % case.__name__)
                traceback.print_exc(file=sys.stdout)
                # Leave no window of a failed case for the next one.
                for process in self.processes:
                    if process.poll() is None:
                        process.kill()
                subprocess.run(["wineserver", "-k"], env=self.env, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
                self.start_probe()
            sys.stdout.flush()
        return failures

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
        # The key also holds the version: without it the next start would be
        # a first run.
        self.reg(["add", KEY, "/v", "VersionNumber", "/d", "3.0", "/f"])
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

    def start(self, *arguments, program=None, env=None):
        process = subprocess.Popen([self.args.wine, program or self.args.program] + list(arguments),
                                   env=env or self.env, stdout=subprocess.DEVNULL,
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

    def context_menu(self, title, right_click=False, index=False, keyboard=False):
        """The context menu the window titled like `title` shows when asked
        for one near its client area's top-left corner (by a right click, or
        else by the request itself; `keyboard` asks as the menu key does,
        with no position), as read inside its process: one line per item,
        submenu items indented (see the probe's "menu"). The menu must open
        where it was asked for (the client area's corner from the keyboard).
        It is closed again with Escape, which must not reach the window."""
        x, y, _, _ = self.client(title)
        if keyboard:
            self.probe("contextmenu", title, -1, -1)
        else:
            x, y = max(x, 0) + 10, max(y, 0) + 10
            if right_click:
                self.run(["xdotool", "mousemove", str(x), str(y), "click", "3"], check=True)
            else:
                self.probe("contextmenu", title, x, y)
        result = self.probe("menu", title)
        place = self.probe("menu-place", title).stdout
        if right_click:
            # Out of the way of menus opened later (it would open a submenu
            # it rested on).
            self.run(["xdotool", "mousemove", "1023", "767"], check=True)
        assert result.returncode == 0, "no context menu (%s)" % result.stdout
        assert place == "%d %d" % (x, y), "menu at %s, asked for at %d %d" % (place, x, y)
        self.probe("key", title, VK["escape"])
        assert self.probe("menu-gone", title, 5).returncode == 0, "the menu stayed open"
        gone = self.probe("igone" if index else "gone", title, 0.3)
        assert gone.returncode != 0, "Escape closed the window as well as the menu"
        return result.stdout.split("\\n")

    def drop(self, title, *paths):
        """Drops the files on the window as the shell does."""
        result = self.probe("drop", title, *[self.winpath(p) for p in paths])
        assert result.returncode == 0, "the drop failed (%s)" % result.stdout


class PrintServer:
    """A CUPS scheduler of the run's own with one printer, a PDF printer
    (cups-pdf), as its default. Wine finds it through CUPS_SERVER; the
    machine's own scheduler, if any, is left alone. cups-pdf writes each job
    to ~USER/PDF of the user who printed, named after the document."""
    PPD = "/usr/share/ppd/cups-pdf/CUPS-PDF_opt.ppd"
    BACKEND = "/usr/lib/cups/backend/cups-pdf"
    PRINTER = "VantirelPDF"

    def __init__(self):
        self.process = None
        self.root = None
        self.socket = None
        self.cupsd = shutil.which("cupsd") or "/usr/sbin/cupsd"
        self.lpadmin = shutil.which("lpadmin") or "/usr/sbin/lpadmin"

    def unavailable(self):
        """Why this machine cannot give a PDF printer, or None."""
        for tool in (self.cupsd, self.lpadmin, self.BACKEND, self.PPD):
            if not os.path.exists(tool):
                return "%s is missing (packages cups, printer-driver-cups-pdf)" % tool
        for tool in ("pdftoppm", "gs"):
            if not shutil.which(tool):
                return "%s is missing (packages poppler-utils, ghostscript)" % tool
        if os.geteuid() != 0:
            # cups-pdf only runs for a scheduler started as root.
            return "the PDF printer needs a scheduler started as root"
        return None

    def start(self):
        """Starts the scheduler and adds the printer; returns None, or why it
        could not."""
        self.root = tempfile.mkdtemp(prefix="vantirel-cups-")
        os.chmod(self.root, 0o755)  # filters run as the lp user
        for folder in ("etc", "spool", "spool/tmp", "cache", "state", "log"):
            os.makedirs(os.path.join(self.root, folder), exist_ok=True)
        self.socket = os.path.join(self.root, "cups.sock")
        with open(os.path.join(self.root, "etc", "cupsd.conf"), "w") as f:
            f.write("LogLevel info\nListen %s\nBrowsing No\nWebInterface No\n"
                    "DefaultAuthType None\n<Location />\n  Order allow,deny\n  Allow all\n"
                    "</Location>\n<Policy default>\n  <Limit All>\n    Order deny,allow\n"
                    "  </Limit>\n</Policy>\n" % self.socket)
        with open(os.path.join(self.root, "etc", "cups-files.conf"), "w") as f:
            f.write("ServerRoot {r}/etc\nRequestRoot {r}/spool\nTempDir {r}/spool/tmp\n"
                    "CacheDir {r}/cache\nStateDir {r}/state\nErrorLog {r}/log/error_log\n"
                    "AccessLog {r}/log/access_log\nPageLog {r}/log/page_log\n"
                    "Printcap {r}/printcap\nSystemGroup root\n".format(r=self.root))
        self.process = subprocess.Popen(
            [self.cupsd, "-f", "-c", os.path.join(self.root, "etc", "cupsd.conf"),
             "-s", os.path.join(self.root, "etc", "cups-files.conf")],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(100):
            if os.path.exists(self.socket) or self.process.poll() is not None:
                break
            time.sleep(0.1)
        if not os.path.exists(self.socket):
            return "cupsd did not start: %s" % self.log_tail()
        env = dict(os.environ, CUPS_SERVER=self.socket)
        for command in ([self.lpadmin, "-p", self.PRINTER, "-E", "-v", "cups-pdf:/",
                         "-P", self.PPD], [self.lpadmin, "-d", self.PRINTER]):
            result = subprocess.run(command, env=env, stdout=subprocess.DEVNULL,
                                    stderr=subprocess.PIPE, text=True, timeout=60)
            if result.returncode != 0:
                return "%s failed: %s" % (" ".join(command), result.stderr.strip())
        return None

    def stop(self):
        if self.process and self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                self.process.kill()
        if self.root:
            shutil.rmtree(self.root, ignore_errors=True)

    def output_folders(self):
        return [os.path.join(pwd.getpwuid(os.geteuid()).pw_dir, "PDF"),
                "/var/spool/cups-pdf/ANONYMOUS"]

    def documents(self, stem):
        """PDF files cups-pdf wrote for documents whose title holds stem (it
        makes the file name from the title, and words in it may change)."""
        found = []
        for folder in self.output_folders():
            found += glob.glob(os.path.join(folder, "*%s*.pdf" % stem))
        return found

    def wait_for_document(self, stem, seconds=60):
        end = time.time() + seconds
        while time.time() < end:
            for path in self.documents(stem):
                # Ghostscript is done with the file when it ends in the PDF
                # end-of-file marker.
                with open(path, "rb") as f:
                    f.seek(max(0, os.path.getsize(path) - 32))
                    if b"%%EOF" in f.read():
                        return path
            time.sleep(0.2)
        raise AssertionError("no PDF for %s after %d seconds (scheduler log: %s)" % (
            stem, seconds, self.log_tail()))

    def log_tail(self):
        try:
            with open(os.path.join(self.root, "log", "error_log")) as f:
                return " | ".join(f.read().splitlines()[-8:])
        except OSError:
            return "none"


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


SHEET = "Properties for Vantirel"


def case_properties_sheet_shows_the_picture_and_options_reach_every_viewer(s, pictures):
    s.reset_settings()
    s.start(s.winpath(pictures["sample"]))
    s.wait_window("VANTIREL.BMP")
    s.start(pictures["big"])
    s.wait_window("PICT24.BMP")
    s.probe("command", "VANTIREL.BMP", 101)
    assert s.probe("dialog", SHEET, 20).returncode == 0, "no properties sheet"

    def text(control):
        result = s.probe("text", SHEET, control)
        assert result.returncode == 0, "no control %d" % control
        return result.stdout

    assert text(216) == "Source: " + s.winpath(pictures["sample"]), text(216)
    assert text(215) == "Image: 192x144x24", text(215)
    # Wine shows a 24-bit X screen as 32 bits per pixel.
    assert text(214) == "Display: 1024x768x32", text(214)
    assert text(210) == "2", text(210)  # each viewer has opened one file
    assert text(211) == "0", text(211)
    assert re.fullmatch(r"[1-9][0-9]* \? 8664 CPU", text(213)), text(213)
    assert re.fullmatch(r"Windows NT v\.[0-9]+\.[0-9]+ build [0-9]+", text(212)), text(212)
    assert text(217) == "Vantirel v.3.0", text(217)

    # The Program page's button opens the maker's page in the browser
    # registered for .html: here the probe, noting what it was given.
    note = os.path.join(s.work, "browser.txt")
    if os.path.exists(note):
        os.remove(note)
    html = reg_default(s, "HKCR", ".html")
    s.reg(["add", r"HKCR\.html", "/ve", "/d", "VantirelTestPage", "/f"])
    s.reg(["add", r"HKCR\VantirelTestPage\shell\open\command", "/ve", "/d",
           '"%s" note "%s" "%%1"' % (s.winpath(s.args.probe), s.winpath(note)), "/f"])
    try:
        s.probe("page", SHEET, 1)
        assert text(204) == "Visit Dravik's WWW site!"
        s.probe("click", SHEET, 204)
        for _ in range(100):
            if os.path.exists(note) and os.path.getsize(note) > 0:
                break
            time.sleep(0.1)
        with open(note) as f:
            assert f.read() == "http://www.dravik.example/vantirel/"
    finally:
        s.reg(["add", r"HKCR\.html", "/ve", "/d", html or "htmlfile", "/f"])
        s.reg(["delete", r"HKCR\VantirelTestPage", "/f"])

    # "Autosize image to window" on the Options page, then OK.
    s.probe("page", SHEET, 2)
    assert s.probe("checked", SHEET, 226).stdout == "0"
    assert text(226) == "Autosize image to window"
    s.probe("click", SHEET, 226)
    s.probe("press", SHEET, 1)
    for _ in range(100):
        if s.probe("dialog", SHEET, 0).returncode != 0:
            break
        time.sleep(0.1)
    # The other viewer reads the shared option at once: resized, it now
    # resamples its picture to the window.
    s.probe("size", "PICT24.BMP", 260, 200)
    time.sleep(1.0)
    _, _, cw, ch = s.client("PICT24.BMP")
    source = Image.open(pictures["big"]).convert("RGB")
    shown = s.client_pixels("PICT24.BMP", settle=1.0)
    largest, mean = differences(shown, source.resize((cw, ch), Image.BICUBIC))
    assert mean < 12, "auto-sized picture differs on average by %.1f" % mean
    largest, mean = differences(shown, source.crop((0, 0, cw, ch)))
    assert mean > 12, "the picture was not resampled"
    s.probe("key", "PICT24.BMP", VK["escape"])
    s.probe("key", "VANTIREL.BMP", VK["escape"])
    s.wait_gone("Vantirel v3.0")
    time.sleep(0.3)
    assert s.reg_value("disp.bAutoSize") == ("REG_BINARY", "01"), s.reg_value("disp.bAutoSize")


def expected_dib(path):
    """The packed bitmap the viewer should put on the clipboard for a BMP
    file the program reads as it is: the 40-byte header with only size,
    width, height, planes and bits set, for palette pictures the colour
    table filled up to 256 entries with zeros, and the rows bottom-up. Each
    row is the picture's own bytes plus, as padding, the bytes that follow
    them in the program's unpadded top-down pixel block (zeros after the
    last row)."""
    import struct
    data = open(path, "rb").read()
    offset = struct.unpack_from("<I", data, 10)[0]
    width, height, _, bits = struct.unpack_from("<iiHH", data, 18)
    colours = struct.unpack_from("<I", data, 46)[0] or (256 if bits == 8 else 0)
    assert height > 0 and bits in (8, 24), (height, bits)
    pixel = bits // 8
    file_row = (width * pixel + 3) & ~3
    picture_row = width * pixel
    top_down = b"".join(data[offset + (height - 1 - r) * file_row:][:picture_row]
                        for r in range(height))
    top_down += bytes(picture_row)  # the spare row
    dib_row = (width * pixel + 3) & ~3
    header = struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, 0, 0, 0, 0, 0, 0)
    table = b""
    if bits == 8:
        start = 14 + struct.unpack_from("<I", data, 14)[0]
        table = data[start:start + 4 * colours]
        table = b"".join(table[4 * i:4 * i + 3] + b"\0" for i in range(colours))
        table += bytes(1024 - len(table))
    rows = b"".join(top_down[r * picture_row:r * picture_row + dib_row]
                    for r in range(height - 1, -1, -1))
    return header + table + rows


def case_copy_to_clipboard(s, pictures):
    s.reset_settings()
    target = os.path.join(s.work, "clipboard.dib")
    for key in ("sample", "palette", "odd"):
        name = os.path.basename(pictures[key])
        assert s.probe("clipboard-empty", "-").returncode == 0, "clipboard busy"
        s.start(pictures[key])
        s.wait_window(name)
        s.probe("command", name, CMD["copy"])
        # Another program (the probe) pastes what the viewer copied.
        for _ in range(50):
            if os.path.exists(target):
                os.remove(target)
            result = s.probe("clipboard-dib", s.winpath(target))
            if result.returncode == 0:
                break
            time.sleep(0.1)
        assert result.returncode == 0, "%s: nothing on the clipboard" % name
        expected = expected_dib(pictures[key])
        pasted = open(target, "rb").read()
        assert int(result.stdout) == len(expected), (name, result.stdout, len(expected))
        assert pasted[:40] == expected[:40], (name, pasted[:40].hex(), expected[:40].hex())
        assert pasted == expected, "%s: the pasted bitmap differs at byte %d" % (
            name, next(i for i, (a, b) in enumerate(zip(pasted, expected)) if a != b))
        s.probe("key", name, VK["escape"])
        s.wait_gone(name)


# --- printing (a suite of its own: it needs the PDF printer) ----------------
def rendered_page(pdf, work):
    """The PDF's first page at 72 pixels per inch (one pixel per point), as
    an RGB array, and the number of pages."""
    import numpy
    info = subprocess.run(["pdfinfo", pdf], stdout=subprocess.PIPE, text=True).stdout
    pages = int(next(line.split()[1] for line in info.splitlines() if line.startswith("Pages:")))
    stem = os.path.join(work, "printed")
    subprocess.run(["pdftoppm", "-r", "72", "-f", "1", "-l", "1", "-png", "-singlefile", pdf,
                    stem], check=True)
    return numpy.asarray(Image.open(stem + ".png").convert("RGB")).astype(int), pages


def ink_bands(page):
    """Runs of rows holding anything darker than near-white: [(top, bottom)],
    bottom exclusive."""
    inked = (page.min(axis=2) < 200).any(axis=1)
    bands, start = [], None
    for y, ink in enumerate(list(inked) + [False]):
        if ink and start is None:
            start = y
        elif not ink and start is not None:
            bands.append((start, y))
            start = None
    return bands


def ink_columns(page, top, bottom):
    columns = (page[top:bottom].min(axis=2) < 200).any(axis=0).nonzero()[0]
    return int(columns[0]), int(columns[-1]) + 1


def print_from_viewer(s, picture):
    """Prints the picture from a running viewer, answering the print dialog
    with OK; returns the rendered page, its number of pages and the picture's
    and the caption's boxes as (left, top, right, bottom)."""
    name = os.path.basename(picture)
    stem = os.path.splitext(name)[0]
    for old in s.print_server.documents(stem):
        os.remove(old)
    s.start(picture)
    s.wait_window(name)
    s.probe("command", name, CMD["print"])
    assert s.probe("dialog", "Print", 20).returncode == 0, "no print dialog"
    s.probe("press", "Print", 1)
    pdf = s.print_server.wait_for_document(stem)
    kept = os.path.join(s.work, stem + ".pdf")
    shutil.move(pdf, kept)
    # No error report; the viewer goes on.
    assert s.probe("box", "vte_Printer()", 0.5).returncode == 1, "printing reported an error"
    s.probe("key", name, VK["escape"])
    s.wait_gone(name)

    page, pages = rendered_page(kept, s.work)
    bands = ink_bands(page)
    assert len(bands) == 2, "expected the picture and the caption, found ink rows %s" % bands
    (picture_top, picture_bottom), (caption_top, caption_bottom) = bands
    picture_left, picture_right = ink_columns(page, picture_top, picture_bottom)
    caption_left, caption_right = ink_columns(page, caption_top, caption_bottom)
    return (page, pages, (picture_left, picture_top, picture_right, picture_bottom),
            (caption_left, caption_top, caption_right, caption_bottom))


def assert_thirds(page, box, vertical):
    """The test pictures are red, green and blue thirds (left to right, or
    top to bottom)."""
    left, top, right, bottom = box
    for i, colour in enumerate([(255, 0, 0), (0, 255, 0), (0, 0, 255)]):
        if vertical:
            x, y = (left + right) // 2, top + (2 * i + 1) * (bottom - top) // 6
        else:
            x, y = left + (2 * i + 1) * (right - left) // 6, (top + bottom) // 2
        actual = tuple(int(v) for v in page[y, x])
        assert max(abs(a - b) for a, b in zip(actual, colour)) <= 40, \
            "third %d at %d,%d is %s, not %s" % (i, x, y, actual, colour)


def assert_caption_at_the_bottom_centre(page, caption):
    height, width = page.shape[:2]
    left, top, right, bottom = caption
    # One line at the foot of the page (below the letters only the font's
    # descent), centred (side bearings of the first and last letters allow a
    # point or two).
    assert height - 15 <= bottom <= height and bottom - top < 40, \
        ("caption rows", top, bottom, height)
    assert abs((left + right) - width) <= 4, ("caption columns", left, right, width)
    assert 0 < right - left < width // 2, ("caption width", left, right)


def case_cancelling_the_print_dialog_prints_nothing(s, pictures):
    s.reset_settings()
    name = os.path.basename(pictures["print_wide"])
    stem = os.path.splitext(name)[0]
    for old in s.print_server.documents(stem):
        os.remove(old)
    s.start(pictures["print_wide"])
    s.wait_window(name)
    s.probe("command", name, CMD["print"])
    assert s.probe("dialog", "Print", 20).returncode == 0, "no print dialog"
    s.probe("press", "Print", 2)
    # Success: no error box, the viewer goes on, and no job reaches the printer.
    assert s.probe("box", "vte_Printer()", 2).returncode == 1, "cancelling reported an error"
    assert s.probe("count", name).stdout == "1"
    time.sleep(1)
    assert s.print_server.documents(stem) == [], "a document was printed"
    s.probe("key", name, VK["escape"])
    s.wait_gone(name)


def case_wide_picture_prints_across_the_page_above_its_caption(s, pictures):
    s.reset_settings()
    page, pages, picture, caption = print_from_viewer(s, pictures["print_wide"])
    height, width = page.shape[:2]
    assert pages == 1, pages
    assert height > width, "portrait page expected, %dx%d" % (width, height)
    left, top, right, bottom = picture
    # Limited by the page width; proportions kept (3:1).
    assert left <= 1 and right >= width - 1, ("picture columns", left, right, width)
    ratio = (right - left) / (bottom - top)
    assert abs(ratio - 3.0) <= 0.06, "printed 3:1 picture is %.3f:1" % ratio
    # Vertically centred in the space above the caption line. The caption's
    # ink lies inside its line, so that line begins at most at the ink's top
    # and at least one ink height above the page's foot.
    centre = (top + bottom) / 2
    line_top_lowest, line_top_highest = caption[1], height - (caption[3] - caption[1])
    assert line_top_lowest / 2 - 1.5 <= centre <= line_top_highest / 2 + 1.5, \
        ("picture centre", centre, line_top_lowest, line_top_highest)
    assert_thirds(page, picture, vertical=False)
    assert_caption_at_the_bottom_centre(page, caption)


def case_tall_picture_prints_down_the_page_centred(s, pictures):
    s.reset_settings()
    page, pages, picture, caption = print_from_viewer(s, pictures["print_tall"])
    height, width = page.shape[:2]
    assert pages == 1, pages
    left, top, right, bottom = picture
    # Limited by the height above the caption; centred across; 1:3 kept.
    assert top <= 1, ("picture top", top)
    assert bottom <= caption[1] and bottom >= height - 2 * (caption[3] - caption[1]) - 4, \
        ("picture bottom", bottom, caption)
    assert abs((left + right) - width) <= 2, ("picture columns", left, right, width)
    ratio = (bottom - top) / (right - left)
    assert abs(ratio - 3.0) <= 0.06, "printed 1:3 picture is 1:%.3f" % ratio
    assert_thirds(page, picture, vertical=True)
    assert_caption_at_the_bottom_centre(page, caption)


def viewer_menu(file_items, view_items, maximised=False):
    """The viewer's context menu with these File and View items."""
    top = ["Spawn new... 100 default", "Load new... 110", "-"]
    if maximised:
        top += ["Restore window 118 default", "Close window 119 default", "-"]
    return (top + ["File"] + ["  " + item for item in file_items] +
            ["View"] + ["  " + item for item in view_items] + ["Properties 101", "-", "Help 102"])


FILE_ITEMS = ["Save as... 111", "Delete file... 112", "Copy to clipboard 117",
              "Print image... 113"]
SIZING_ITEMS = ["Size window to image 115", "Size image to window 114"]
RESTORE_ITEM = "Restore original size 116"
WALLPAPER_ITEM = "Use as desktop wallpaper 120"


def case_context_menu_follows_the_window_state(s, pictures):
    s.reset_settings()
    picture = os.path.join(s.work, "MENU.BMP")
    shutil.copy(pictures["big"], picture)
    s.start(s.winpath(picture))
    s.wait_window("MENU.BMP")
    title = "MENU.BMP - Vantirel v3.0"

    def expect(menu, what, keyboard=False):
        actual = s.context_menu(title, keyboard=keyboard)
        assert actual == menu, "%s: %s" % (what, actual)

    # Shown at its size: nothing to size or restore. A right click asks.
    assert s.client(title)[2:] == (320, 240)
    actual = s.context_menu(title, right_click=True)
    assert actual == viewer_menu(FILE_ITEMS, [WALLPAPER_ITEM]), "at its size: %s" % actual
    # A smaller window: the client area differs from the picture shown.
    s.probe("size", title, 200, 150)
    _, _, width, height = s.client(title)
    assert (width, height) != (320, 240)
    expect(viewer_menu(FILE_ITEMS, SIZING_ITEMS + [WALLPAPER_ITEM]), "window made smaller")
    # The picture resampled to the window: it fits the client area but is no
    # longer the picture's size.
    s.probe("command", title, CMD["size_image_to_window"])
    expect(viewer_menu(FILE_ITEMS, [RESTORE_ITEM, WALLPAPER_ITEM]), "image sized to window")
    # Maximised: the window commands, and the client area is the screen's.
    s.probe("dblclick", title)
    expect(viewer_menu(FILE_ITEMS, SIZING_ITEMS + [RESTORE_ITEM, WALLPAPER_ITEM],
                       maximised=True), "maximised")
    # "Restore window" sizes the window to the (resampled) picture shown.
    s.probe("command", title, 118)
    # From the keyboard this time: the menu opens at the client area's corner
    # (the window moved where that corner is on the screen).
    s.probe("move", title, 50, 60)
    expect(viewer_menu(FILE_ITEMS, [RESTORE_ITEM, WALLPAPER_ITEM]), "restored", keyboard=True)
    assert s.client(title)[2:] == (width, height), s.client(title)
    # The file deleted behind the viewer's back: nothing left to delete.
    os.remove(picture)
    no_file = [item for item in FILE_ITEMS if item != "Delete file... 112"]
    expect(viewer_menu(no_file, [RESTORE_ITEM, WALLPAPER_ITEM]), "file deleted")
    # Back at the picture's own size.
    s.probe("command", title, CMD["restore_original_size"])
    expect(viewer_menu(no_file, [WALLPAPER_ITEM]), "original size restored")
    assert s.client(title)[2:] == (320, 240), s.client(title)
    s.probe("key", title, VK["escape"])
    s.wait_gone("MENU.BMP")


def case_dropped_files_open_in_new_viewers(s, pictures):
    s.reset_settings()
    # A blank in the name: the new process gets the path in quotes.
    spaced = os.path.join(s.work, "DROPPED PICTURE.BMP")
    shutil.copy(pictures["big"], spaced)
    s.start(pictures["sample"])
    s.wait_window("VANTIREL.BMP")
    s.drop("VANTIREL.BMP", spaced, pictures["palette"])
    # Each file in a viewer of its own; the window dropped on keeps its
    # picture.
    assert s.wait_window("DROPPED PICTURE.BMP") == "DROPPED PICTURE.BMP - Vantirel v3.0"
    assert s.wait_window("PAL8.BMP") == "PAL8.BMP - Vantirel v3.0"
    assert s.probe("count", "Vantirel v3.0").stdout == "3"
    assert s.probe("count", "VANTIREL.BMP - Vantirel v3.0").stdout == "1"
    assert s.client("VANTIREL.BMP")[2:] == (192, 144), s.client("VANTIREL.BMP")
    s.probe("move", "DROPPED PICTURE.BMP", 0, 0)
    assert s.client("DROPPED PICTURE.BMP")[2:] == (320, 240), s.client("DROPPED PICTURE.BMP")
    assert_same(s.client_pixels("DROPPED PICTURE.BMP"),
                Image.open(pictures["big"]).convert("RGB"), 0 if s.args.depth == 24 else 8,
                "dropped picture")
    for title in ("VANTIREL.BMP", "DROPPED PICTURE.BMP", "PAL8.BMP"):
        s.probe("key", title, VK["escape"])
    s.wait_gone("Vantirel v3.0")
    time.sleep(0.3)
    assert s.reg_value("stat.iOpen") == ("REG_DWORD", "0x3"), s.reg_value("stat.iOpen")


CASES_24 = [case_title_size_and_pixels, case_settings_written_by_last_instance,
            case_title_with_resolution, case_panning_keys, case_failing_file_shows_its_message,
            case_several_arguments_start_several_processes, case_wallpaper,
            case_delete_asks_and_deletes, case_save_as_adds_the_extension_and_asks_before_overwriting,
            case_auto_size_resamples_on_every_resize,
            case_double_click_maximises_and_restore_sizes_to_the_picture,
            case_spawn_new_and_load_new, case_slide_show_plays_in_the_viewer,
            case_no_argument_shows_the_open_dialog, case_copy_to_clipboard,
            case_properties_sheet_shows_the_picture_and_options_reach_every_viewer,
            case_context_menu_follows_the_window_state, case_dropped_files_open_in_new_viewers]
CASES_16 = [case_title_size_and_pixels, case_title_with_resolution, case_panning_keys,
            case_dither15_on_high_colour, case_context_menu_follows_the_window_state,
            case_dropped_files_open_in_new_viewers]
CASES_PRINT = [case_cancelling_the_print_dialog_prints_nothing,
               case_wide_picture_prints_across_the_page_above_its_caption,
               case_tall_picture_prints_down_the_page_centred]


# --- installation: a user who has never run the program ---------------------
INSTALL = "Vantirel - Installation"
UNINSTALL_BOX = "Uninstall - Vantirel"
FORMATS = [("bbm", "Electronic Arts DP Brush"), ("bmp", "Microsoft Windows Bitmap"),
           ("cur", "Microsoft Windows Cursor"), ("dib", "Microsoft Windows DIBitMap"),
           ("gif", "Graphics Interchange Format"), ("ico", "Microsoft Windows Icon"),
           ("vts", "Vantirel SlideShow"), ("iff", "Interchange File Format"),
           ("jif", "Joint Photographic Experts Group"), ("jpg", "Joint Photographic Experts Group"),
           ("jpeg", "Joint Photographic Experts Group"), ("lbm", "Electronic Arts DP BitMap"),
           ("mac", "MacPaint"), ("neo", "Atari Neochrome"), ("pbm", "PBMPLUS Portable BitMap"),
           ("pcx", "ZSoft/PC Paintbrush"), ("pgm", "PBMPLUS Portable Graymap"),
           ("pic", "Pictor/PC Paint"), ("png", "Portable Network Graphics"),
           ("ppm", "PBMPLUS Portable PixelMap"), ("ras", "Sun Raster"),
           ("rle", "Microsoft Windows RLE bitmap"), ("sun", "Sun Raster"),
           ("tga", "Truevision TARGA"), ("tif", "Tag Image File Format"),
           ("tiff", "Tag Image File Format")]
SETTING_NAMES = ["szLastImpDir", "szLastExpDir", "iLastExpType", "disp.bUseMaxColors",
                 "disp.bDither", "disp.bDither15", "disp.bFixedPalette", "disp.bRunMaximized",
                 "disp.bTitleRes", "disp.bOpenInfo", "disp.bAutoSize", "jpeg.bFastDCT",
                 "jpeg.bFastUnsubsample", "stat.iOpen", "stat.iSave", "idx.bShowDirs",
                 "idx.bShowOther", "idx.bShowRes", "idx.bShowSize", "idx.iIconX", "idx.iIconY",
                 "idx.iIconSpacing"]
BATCH_FILE = ("echo off\r\nset UAW=%0\r\nif \"%1\"==\"\" goto last\r\n"
              "if not exist %1 goto next\r\necho Deleting %1 ...\r\nattrib -r -h -s %1\r\n"
              ":retry\r\ndel %1\r\nif exist %1 goto retry\r\n:next\r\nshift\r\n"
              "%UAW% %1 %2 %3 %4 %5 %6 %7 %8 %9\r\n:last\r\necho !\r\n"
              "echo ! Finished uninstalling Vantirel!\r\necho !\r\ndel %UAW%\r\n")


def program_folder(s):
    """The program's folder as a user unpacks it, in the work directory (the
    uninstall deletes these files, never the build's)."""
    folder = os.path.join(s.work, "install", "VANTIREL")
    return folder, os.path.join(folder, "VANTIREL.EXE")


def unpack_program(s):
    folder, program = program_folder(s)
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    shutil.copy(s.args.program, program)
    for name in ("README.TXT", "FILE_ID.DIZ"):
        shutil.copy(os.path.join(s.args.source, "distribution", name), folder)
    shutil.copy(os.path.join(s.args.source, "samples", "VANTIREL.JPG"), folder)
    return folder, program


def registry_import(s, text):
    path = os.path.join(s.work, "import.reg")
    with open(path, "w") as f:
        f.write(text)
    s.run([s.args.wine, "reg", "import", s.winpath(path)], check=True)


def reg_default(s, root, key):
    result = s.probe("regdefault", root, key)
    return result.stdout if result.returncode == 0 else None


def reg_names(s, root, key):
    result = s.probe("regnames", root, key)
    return result.stdout if result.returncode == 0 else None


def answer(s, caption, button):
    result = s.probe("box", caption, 30, button)
    assert result.returncode == 0, "no %r box" % caption
    return result.stdout


def case_first_start_welcomes_and_asks_about_other_programs_types(s, pictures):
    s.restore_first_registry()
    folder, program = unpack_program(s)
    exe = s.winpath(program)
    # Every image type unknown to the user but two: .png belongs to another
    # type, and the type of .pcx is opened by another program.
    lines = ["REGEDIT4", ""]
    for extension, _ in FORMATS:
        lines += [r"[-HKEY_CLASSES_ROOT\.%s]" % extension, r"[-HKEY_CLASSES_ROOT\%sfile]" % extension]
    lines += ["", r"[HKEY_CLASSES_ROOT\.png]", '@="PNG.Viewer"', "",
              r"[HKEY_CLASSES_ROOT\.pcx]", '@="pcxfile"', "",
              r"[HKEY_CLASSES_ROOT\pcxfile\shell\open\command]",
              r'@="C:\\Paint\\paint.exe \"%1\""', ""]
    registry_import(s, "\r\n".join(lines))

    process = s.start(s.winpath(pictures["sample"]), program=program)
    assert answer(s, INSTALL, 1) == ". .. ... Welcome to Vantirel v3.0! ... .. ."
    assert answer(s, INSTALL, 6) == ("File type '.pcx' is currently opened with "
                                     "'C:\\Paint\\paint.exe \"%1\"'.\\n\\n"
                                     "Do you want to open it with Vantirel instead?")
    assert answer(s, INSTALL, 7) == ("File type '.png' is associated with 'PNG.Viewer'.\\n\\n"
                                     "Do you want to associate it with Vantirel instead?")
    assert s.wait_window("VANTIREL.BMP") == "VANTIREL.BMP - Vantirel v3.0"
    s.probe("key", "VANTIREL.BMP", VK["escape"])
    assert s.wait_exit(process) == 0

    # Exactly the documented keys.
    assert reg_names(s, "HKCU", KEY[5:]) == ";" + "|".join(sorted(SETTING_NAMES + ["VersionNumber"]))
    assert s.probe("regvalue", "HKCU", KEY[5:], "VersionNumber").stdout == "1 332e3000"
    assert reg_names(s, "HKLM", APP_PATHS) == ";@"
    assert reg_default(s, "HKLM", APP_PATHS) == exe
    assert reg_names(s, "HKLM", UNINSTALL) == ";DisplayName|UninstallString"
    # "Vantirel v3.0" and its NUL: 14 bytes.
    assert s.probe("regvalue", "HKLM", UNINSTALL, "DisplayName").stdout == \
        "1 56616e746972656c2076332e3000"
    assert s.probe("regvalue", "HKLM", UNINSTALL, "UninstallString").stdout == \
        "1 " + (exe + " -UNINSTALL\0").encode().hex()
    for extension, description in FORMATS:
        where = "." + extension
        if extension == "png":
            assert reg_default(s, "HKCR", where) == "PNG.Viewer"
            assert reg_names(s, "HKCR", "pngfile") is None
            continue
        kind = extension + "file"
        assert reg_names(s, "HKCR", where) == ";@", where
        assert reg_default(s, "HKCR", where) == kind, where
        assert reg_names(s, "HKCR", kind) == "DefaultIcon|shell;@", kind
        assert reg_default(s, "HKCR", kind) == description, kind
        assert reg_names(s, "HKCR", kind + r"\shell") == "open;", kind
        assert reg_names(s, "HKCR", kind + r"\shell\open") == "command;", kind
        assert reg_default(s, "HKCR", kind + r"\shell\open\command") == exe + ' "%1"', kind
        assert reg_default(s, "HKCR", kind + r"\DefaultIcon") == exe + ",2", kind
    assert reg_names(s, "HKCR", r"Directory\shell\Vantirel index") == "command;"
    assert reg_default(s, "HKCR", r"Directory\shell\Vantirel index\command") == \
        exe + ' "%1\\index.vti"'


def case_second_start_asks_nothing(s, pictures):
    folder, program = program_folder(s)
    process = s.start(s.winpath(pictures["sample"]), program=program)
    # The questions would come before the window.
    assert s.wait_window("VANTIREL.BMP") == "VANTIREL.BMP - Vantirel v3.0"
    assert s.probe("dialog", INSTALL, 0).returncode != 0, "asked again"
    s.probe("key", "VANTIREL.BMP", VK["escape"])
    assert s.wait_exit(process) == 0
    assert reg_default(s, "HKLM", APP_PATHS) == s.winpath(program)


def case_uninstall_asks_cleans_the_registry_and_writes_the_batch_file(s, pictures):
    folder, program = program_folder(s)
    # Without a command interpreter the batch file stays to be read.
    env = dict(s.env)
    env["WINEDLLOVERRIDES"] = env["WINEDLLOVERRIDES"] + ";cmd.exe=d"
    process = s.start("-UNINSTALL", program=program, env=env)
    assert answer(s, UNINSTALL_BOX, 6) == "Do you really want to uninstall Vantirel?"
    assert answer(s, UNINSTALL_BOX, 6) == \
        "Registry cleaned up for this user!\\n\\nRemove program files from disk?\\n"
    assert s.wait_exit(process) == 0
    with open(os.path.join(folder, "uninvt.bat"), "rb") as f:
        assert f.read() == BATCH_FILE.encode(), "batch file differs"
    assert os.path.exists(program)

    assert reg_names(s, "HKCU", KEY[5:]) is None
    assert reg_names(s, "HKLM", APP_PATHS) is None
    assert reg_names(s, "HKLM", UNINSTALL) is None
    for extension, _ in FORMATS:
        if extension == "png":
            continue
        assert reg_names(s, "HKCR", "." + extension) is None, extension
        assert reg_names(s, "HKCR", extension + "file") is None, extension
    assert reg_default(s, "HKCR", ".png") == "PNG.Viewer"
    assert reg_names(s, "HKCR", r"Directory\shell\Vantirel index") is None


def case_uninstall_says_when_the_batch_file_cannot_be_written(s, pictures):
    folder, program = program_folder(s)
    # A folder in the batch file's place: the file cannot be created.
    os.remove(os.path.join(folder, "uninvt.bat"))
    os.mkdir(os.path.join(folder, "uninvt.bat"))
    s.preregister(program)
    process = s.start("-UNINSTALL", program=program)
    answer(s, UNINSTALL_BOX, 6)
    answer(s, UNINSTALL_BOX, 6)
    assert answer(s, "Uninstall", 1) == "Couldn't create file"
    assert s.wait_exit(process) == 0
    os.rmdir(os.path.join(folder, "uninvt.bat"))
    assert os.path.exists(program)


def case_uninstall_in_lower_case_removes_the_program_files(s, pictures):
    folder, program = program_folder(s)
    # Registered again (the previous case removed everything), or the start
    # would be a first run and greet.
    s.preregister(program)
    process = s.start("-uninstall", program=program)
    assert answer(s, UNINSTALL_BOX, 6) == "Do you really want to uninstall Vantirel?"
    answer(s, UNINSTALL_BOX, 6)
    assert s.wait_exit(process) == 0
    # The batch file waits for the program to let go of its file, deletes
    # the folder's files one by one and at last itself.
    for _ in range(300):
        if not os.listdir(folder):
            break
        time.sleep(0.1)
    assert os.listdir(folder) == [], os.listdir(folder)


CASES_INSTALLATION = [case_first_start_welcomes_and_asks_about_other_programs_types,
                      case_second_start_asks_nothing,
                      case_uninstall_asks_cleans_the_registry_and_writes_the_batch_file,
                      case_uninstall_says_when_the_batch_file_cannot_be_written,
                      case_uninstall_in_lower_case_removes_the_program_files]


def make_pictures(s):
    pictures = {"sample": os.path.join(s.args.source, "samples", "VANTIREL.BMP")}
    big = Image.open(pictures["sample"]).convert("RGB").resize((320, 240), Image.BICUBIC)
    pictures["big"] = os.path.join(s.work, "PICT24.BMP")
    big.save(pictures["big"])
    pictures["palette"] = os.path.join(s.work, "PAL8.BMP")
    big.resize((192, 144)).quantize(200).save(pictures["palette"])
    # 33 pixels of 3 bytes: DIB rows of 100 bytes, one of them padding.
    pictures["odd"] = os.path.join(s.work, "ODD33.BMP")
    big.resize((33, 20)).save(pictures["odd"])
    # Red, green and blue thirds, 3:1 and 1:3, for the printed page.
    thirds = Image.new("RGB", (300, 100))
    for i, colour in enumerate([(255, 0, 0), (0, 255, 0), (0, 0, 255)]):
        thirds.paste(colour, (100 * i, 0, 100 * i + 100, 100))
    pictures["print_wide"] = os.path.join(s.work, "PRNWIDE.BMP")
    thirds.save(pictures["print_wide"])
    pictures["print_tall"] = os.path.join(s.work, "PRNTALL.BMP")
    thirds.transpose(Image.ROTATE_270).save(pictures["print_tall"])
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
    # "print": the printing cases, on a PDF printer of the run's own; the
    # run is skipped (exit status 77) where the machine cannot give one.
    # "installation": a user who has never run the program.
    parser.add_argument("--suite", choices=["viewer", "print", "installation"], default="viewer")
    args = parser.parse_args()
    s = Session(args)
    s.print_server = None
    if args.suite == "print":
        # Without the packages, or without root, there is no PDF printer to
        # be had: skipped. With them, a printer that cannot be set up fails.
        s.print_server = PrintServer()
        reason = s.print_server.unavailable()
        if reason:
            print("SKIP: no PDF printer: %s" % reason)
            return 77
        problem = s.print_server.start()
        if problem:
            s.print_server.stop()
            print("FAIL the PDF printer could not be set up: %s" % problem)
            return 1
        s.env["CUPS_SERVER"] = s.print_server.socket
        cases = CASES_PRINT
    elif args.suite == "installation":
        cases = CASES_INSTALLATION
    else:
        cases = CASES_24 if args.depth == 24 else CASES_16
    failures = 0
    try:
        s.start_display()
        s.prepare_prefix()
        pictures = make_pictures(s)
        s.start_probe()
        failures = s.run_cases(cases, pictures, args.only)
    finally:
        s.stop()
        if s.print_server:
            s.print_server.stop()
    print("%d failed" % failures)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
