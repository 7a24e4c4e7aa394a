#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The HTML report in headless Chromium, at a phone's and at a desktop's width: the
page logs nothing to the console, refers to nothing outside itself, and its screenshot
is not blank; a page built to fail does fail. Exits 77 (skipped) without Chromium.

usage: report_browser_test.py MOCA_HOST EXAMPLES_DIR
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import zlib

CHROMIUM_FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                  "--disable-background-networking", "--disable-component-update", "--disable-sync",
                  "--enable-logging=stderr", "--v=0"]
CONSOLE_LINE = re.compile(r":CONSOLE[:(]")  # any console message, whatever its level
# scenario, expected exit status of report (worst finding), window size
PAGES = [("home-network", 1, "412,1600"), ("weak-link", 2, "1000,1400")]
BROKEN_PAGE = '<!DOCTYPE html><body><script>console.error("deliberate"); notDefined();</script></body>'


def variety(png):
    """Distinct byte values of a PNG's pixel data: a handful for a flat colour, about 256 for a page."""
    data, pos, pixels = open(png, "rb").read(), 8, b""
    while pos < len(data):
        length = int.from_bytes(data[pos:pos + 4], "big")
        pixels += data[pos + 8:pos + 8 + length] if data[pos + 4:pos + 8] == b"IDAT" else b""
        pos += 12 + length
    return len(set(zlib.decompress(pixels)))


def render(chromium, page, size):
    """The console lines Chromium logged for the page, and its screenshot's variety."""
    run = subprocess.run([chromium] + CHROMIUM_FLAGS + ["--user-data-dir=" + page + ".profile",
                          "--screenshot=" + page + ".png", "--window-size=" + size, "file://" + page],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=120,
                         cwd=os.path.dirname(page))
    if not os.path.exists(page + ".png"):
        raise RuntimeError("no screenshot of " + page + ":\n" + run.stderr)
    return [line for line in run.stderr.splitlines() if CONSOLE_LINE.search(line)], variety(page + ".png")


def main():
    moca_host, examples = sys.argv[1], sys.argv[2]
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    if chromium is None:
        print("chromium is not installed: skipped")
        return 77
    failures = []
    with tempfile.TemporaryDirectory(prefix="moca-report-") as tmp:
        broken = os.path.join(tmp, "broken.html")
        with open(broken, "w") as f:
            f.write(BROKEN_PAGE)
        console, seen = render(chromium, broken, "300,200")
        if len(console) < 2 or seen >= 64:
            failures.append("a broken page passes: %d console lines, variety %d" % (len(console), seen))
        for scenario, status, size in PAGES:
            page = os.path.join(tmp, scenario + ".html")
            run = subprocess.run([moca_host, "--sim", os.path.join(examples, scenario + ".json"), "report", "moca0",
                                  "-o", page], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            if run.returncode != status:
                failures.append("%s: report exits %d, not %d: %s" % (scenario, run.returncode, status, run.stderr))
                continue
            html = open(page).read()
            if "://" in html or "<script" in html or "@import" in html or "url(" in html.replace("url(#", ""):
                failures.append(scenario + ": the page refers to something outside itself")
            console, seen = render(chromium, page, size)
            print("%s: %d bytes, screenshot %s of variety %d" % (scenario, len(html), size, seen))
            failures += [scenario + ": console: " + line for line in console]
            if seen < 64:
                failures.append("%s: the screenshot is (nearly) blank: variety %d" % (scenario, seen))
    for f in failures:
        print("FAIL " + f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
