#!/usr/bin/env python3
"""The HTML report in a real browser: headless Chromium renders the report of the
example home network (at a phone's width) and of a network with a weak link (at a
desktop's), and the test checks that the page logged nothing to the console and
that the screenshot is not blank. A page built to fail both checks proves that the
checks can fail. Exits 77 (skipped) where Chromium is not installed.

usage: report_browser_test.py MOCA_HOST EXAMPLES_DIR
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import zlib

SKIP = 77
CHROMIUM_FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                  "--disable-background-networking", "--disable-component-update", "--disable-sync",
                  "--enable-logging=stderr", "--v=0"]
# Every message of the page's console, whatever its level, is logged as a CONSOLE line.
CONSOLE_LINE = re.compile(r":CONSOLE[:(]")

# scenario, expected exit status of report (worst finding), window size
PAGES = [("home-network", 1, "412,1600"), ("weak-link", 2, "1000,1400")]

BROKEN_PAGE = """<!DOCTYPE html><html><head><title>broken</title></head>
<body><script>console.error("deliberate"); notDefined();</script></body></html>
"""


def png_colours(path):
    """The number of distinct pixel values of an 8-bit RGB or RGBA PNG."""
    with open(path, "rb") as f:
        data = f.read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError(path + ": not a PNG")
    pos, idat, width, height, bpp = 8, b"", 0, 0, 0
    while pos < len(data):
        length = int.from_bytes(data[pos:pos + 4], "big")
        kind, body = data[pos + 4:pos + 8], data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            width, height = int.from_bytes(body[0:4], "big"), int.from_bytes(body[4:8], "big")
            depth, colour_type, interlace = body[8], body[9], body[12]
            if depth != 8 or colour_type not in (2, 6) or interlace != 0:
                raise ValueError(path + ": only 8-bit RGB(A), non-interlaced PNGs are read here")
            bpp = 3 if colour_type == 2 else 4
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    raw = zlib.decompress(idat)
    stride = width * bpp
    previous = bytearray(stride)
    colours = set()
    for y in range(height):
        filt = raw[y * (stride + 1)]
        row = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        if filt == 1:
            for i in range(bpp, stride):
                row[i] = (row[i] + row[i - bpp]) & 0xFF
        elif filt == 2:
            row = bytearray((a + b) & 0xFF for a, b in zip(row, previous))
        elif filt == 3:
            for i in range(stride):
                left = row[i - bpp] if i >= bpp else 0
                row[i] = (row[i] + ((left + previous[i]) >> 1)) & 0xFF
        elif filt == 4:
            for i in range(stride):
                a = row[i - bpp] if i >= bpp else 0
                b = previous[i]
                c = previous[i - bpp] if i >= bpp else 0
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                row[i] = (row[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 0xFF
        previous = row
        colours.update(bytes(row[i:i + bpp]) for i in range(0, stride, bpp * 3))
    return len(colours)


def render(chromium, page, png, size, profile):
    """Screenshot of the page; returns the console lines Chromium logged."""
    run = subprocess.run([chromium] + CHROMIUM_FLAGS + ["--user-data-dir=" + profile, "--screenshot=" + png,
                          "--window-size=" + size, "file://" + page],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=120)
    if not os.path.exists(png):
        raise RuntimeError("no screenshot of " + page + ":\n" + run.stderr)
    return [line for line in run.stderr.splitlines() if CONSOLE_LINE.search(line)]


def main():
    moca_host, examples = sys.argv[1], sys.argv[2]
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    if chromium is None:
        print("chromium is not installed: skipped")
        return SKIP
    failures = []
    with tempfile.TemporaryDirectory(prefix="moca-report-") as tmp:
        broken = os.path.join(tmp, "broken.html")
        with open(broken, "w") as f:
            f.write(BROKEN_PAGE)
        console = render(chromium, broken, os.path.join(tmp, "broken.png"), "300,200", os.path.join(tmp, "profile0"))
        colours = png_colours(os.path.join(tmp, "broken.png"))
        if len(console) < 2 or colours != 1:
            failures.append("the checks do not see a broken page: %d console lines, %d colours" % (len(console), colours))

        for n, (scenario, status, size) in enumerate(PAGES, 1):
            page = os.path.join(tmp, scenario + ".html")
            run = subprocess.run([moca_host, "--sim", os.path.join(examples, scenario + ".json"), "report", "moca0",
                                  "-o", page], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            if run.returncode != status:
                failures.append("%s: report exit status %d, wanted %d: %s" % (scenario, run.returncode, status, run.stderr))
                continue
            with open(page) as f:
                html = f.read()
            if "://" in html or "<script" in html or "@import" in html or "url(" in html.replace("url(#", ""):
                failures.append(scenario + ": the page refers to something outside itself")
            png = os.path.join(tmp, scenario + ".png")
            console = render(chromium, page, png, size, os.path.join(tmp, "profile%d" % n))
            colours = png_colours(png)
            print("%s: %d bytes of HTML, screenshot %s with %d colours, %d console lines"
                  % (scenario, len(html), size, colours, len(console)))
            failures += [scenario + ": console: " + line for line in console]
            if colours < 8:
                failures.append("%s: the screenshot is (nearly) blank: %d colours" % (scenario, colours))
    for f in failures:
        print("FAIL " + f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
