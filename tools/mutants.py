#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Mutation run of the module: a seeded sample of single edits to src/ and
include_priv/, each built into the module alone and run against the module and
host suites. An edit that fails a suite (or hangs it) is caught; one that
passes every suite survived. The source is restored after every edit.

usage: tools/mutants.py [COUNT] [SEED] [--build DIR] [--jobs N] [--only I,J,...]
(--only runs just those edits of the sample, numbered as a full run prints them)
"""
import argparse
import os
import random
import re
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
EQUIVALENT = ROOT / "tools" / "mutants-equivalent.txt"
SOURCES = ("src", "include_priv")

RELATIONAL = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
LOGICAL = {"&&": "||", "||": "&&"}
BOOLEAN = {"true": "false", "false": "true"}
STATEMENT = re.compile(r"^[A-Za-z_][\w.\[\]>-]*(\(.*\)| [-+|&]?= .*|\+\+|--);$")
DECLARATION = re.compile(r"^(return|const|constexpr|static|auto|using|typedef|break|continue|goto)\b")


def mask(line):
    """The code part of a line: comments cut off, string and char literals blanked."""
    out, i, quote = [], 0, None
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                out.append("  ")
                i += 2
                continue
            out.append(c if c == quote else " ")
            quote = None if c == quote else quote
        elif c in "\"'":
            quote = c
            out.append(c)
        elif line.startswith("//", i):
            break
        else:
            out.append(c)
        i += 1
    return "".join(out)


def top_level_args(code, open_at):
    """Spans of the top-level arguments of the call whose '(' is at open_at, or None."""
    depth, start, spans = 0, open_at + 1, []
    for i in range(open_at, len(code)):
        c = code[i]
        if c in "([{":
            depth += 1
        elif c in ")]}":
            depth -= 1
            if depth == 0:
                spans.append((start, i))
                return spans
        elif c == "," and depth == 1:
            spans.append((start, i))
            start = i + 1
    return None


def edits_of(code):
    """(column, old, new, kind) of every edit this line of code offers."""
    found = []
    for m in re.finditer(r"(?<=\s)(<=|>=|==|!=|<|>)(?=\s)", code):
        found.append((m.start(), m.group(1), RELATIONAL[m.group(1)], "relational"))
    for m in re.finditer(r"(?<=\s)(&&|\|\|)(?=\s)", code):
        found.append((m.start(), m.group(1), LOGICAL[m.group(1)], "logical"))
    for m in re.finditer(r"\b(true|false)\b", code):
        found.append((m.start(), m.group(1), BOOLEAN[m.group(1)], "boolean"))
    for m in re.finditer(r"(?<![\w.])(0x[0-9A-Fa-f]+|\d+)([uU]?[lL]{0,2})\b(?!\.)", code):
        text, value = m.group(1), int(m.group(1), 0)
        fmt = (lambda v: hex(v)) if text.startswith("0x") else str
        for v in (value + 1, value - 1):
            if v >= 0:
                found.append((m.start(), m.group(0), fmt(v) + m.group(2), "constant"))
    m = re.search(r"\breturn (.+);", code)
    if m and m.group(1) not in ("0", "nullptr", "true", "false"):
        found.append((m.start(1), m.group(1), "0", "return"))
    stripped = code.strip()
    if STATEMENT.match(stripped) and not DECLARATION.match(stripped) and stripped.count("(") == stripped.count(")"):
        start = code.index(stripped)
        found.append((start, stripped, ";", "statement"))
    for m in re.finditer(r"\b(ClnkLib_\w+|amxc_\w+|mxl_\w+|amxp_\w+|snprintf|strncpy|memcpy|memset)\(", code):
        spans = top_level_args(code, m.end() - 1)
        for a, b in (spans or [])[:6]:
            arg = code[a:b].strip()
            declared = re.search(r"\w[*&]*\s+[*&]*\w", arg) or arg == "..."
            if arg and not declared and not re.fullmatch(r"0|nullptr|-?\d+|true|false|\".*\"", arg):
                found.append((a + code[a:b].index(arg), arg, "0", "argument"))
    return found


def candidates():
    out = []
    for top in SOURCES:
        for path in sorted((ROOT / top).glob("*.[ch]*")):
            rel = path.relative_to(ROOT).as_posix()
            lines = path.read_text().split("\n")
            for n, line in enumerate(lines):
                code = mask(line)
                s = code.strip()
                if not s or s.startswith(("#", "*", "/*")) or "static_assert" in s:
                    continue
                counts = {}
                for col, old, new, kind in sorted(edits_of(code)):
                    old = line[col:col + len(old)]      # the literal text, not its masked form
                    k = counts[(old, new)] = counts.get((old, new), 0) + 1
                    out.append(dict(file=rel, line=n + 1, text=line.strip(), col=col, old=old, new=new,
                                    kind=kind, occurrence=k))
    return out


def edit_name(m):
    nth = f" #{m['occurrence']}" if m["occurrence"] > 1 else ""
    return f"{m['old']} -> {m['new']}{nth}"


def load_equivalent():
    keys = set()
    if EQUIVALENT.exists():
        for row in EQUIVALENT.read_text().split("\n"):
            if row.strip() and not row.startswith("#"):
                f = row.split("\t")
                if len(f) >= 4:
                    keys.add((f[0], f[1], f[2]))
    return keys


def run(cmd, timeout=None):
    p = subprocess.Popen(cmd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    try:
        return p.wait(timeout=timeout)
    except subprocess.TimeoutExpired:
        os.killpg(p.pid, signal.SIGKILL)
        p.wait()
        return "hang"
    finally:
        if p.poll() is None:
            os.killpg(p.pid, signal.SIGKILL)
            p.wait()


class Suites:
    """The module and host suites, run on at most `jobs` processes; the first failure stops the rest."""

    def __init__(self, build, jobs):
        names = sorted(p.stem for p in (ROOT / "tests" / "module").glob("*_test.cpp"))
        self.bins = [build / "bin" / n for n in names] + [build / "bin" / "host_e2e_tests"]
        self.jobs, self.limit, self.stop = jobs, {}, False

    def _one(self, b):
        if self.stop:
            return None
        t = time.monotonic()
        rc = run([str(b), "--gtest_brief=1"], self.limit.get(b))
        self.took[b] = time.monotonic() - t
        if rc != 0:
            self.stop = True
            return b.name if rc != "hang" else b.name + " (hang)"
        return None

    def failing(self):
        self.stop, self.took = False, {}
        with ThreadPoolExecutor(self.jobs) as pool:
            # slowest first, so the parallel run ends together
            order = sorted(self.bins, key=lambda b: -self.limit.get(b, 0))
            return next((r for r in pool.map(self._one, order) if r), None)

    def calibrate(self):
        if (bad := self.failing()):
            sys.exit(f"the suites fail without any edit: {bad}")
        self.limit = {b: 3 * t + 5 for b, t in self.took.items()}


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("count", nargs="?", type=int, default=40)
    ap.add_argument("seed", nargs="?", type=int, default=1)
    ap.add_argument("--build", default=str(ROOT / "build"))
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--only", default="")
    a = ap.parse_args()
    build = Path(a.build)
    make = ["cmake", "--build", str(build), "--target", "mxl-moca-ctrl"]
    suites = Suites(build, a.jobs)

    pool = candidates()
    sample = random.Random(a.seed).sample(pool, min(a.count, len(pool)))
    sample.sort(key=lambda m: (m["file"], m["line"], m["col"]))   # one file rebuilt at a time
    numbered = list(enumerate(sample, 1))
    if a.only:
        keep = {int(i) for i in a.only.split(",")}
        numbered = [(i, m) for i, m in numbered if i in keep]
    equivalent = load_equivalent()
    print(f"{len(pool)} possible edits; {len(sample)} sampled with seed {a.seed}", flush=True)

    signal.signal(signal.SIGTERM, lambda *_: (_ for _ in ()).throw(KeyboardInterrupt()))
    if run(make) != 0:
        sys.exit("the module does not build")
    t0 = time.monotonic()
    suites.calibrate()
    print(f"suites pass in {time.monotonic() - t0:.1f}s without an edit", flush=True)

    tally = {"caught": 0, "survived": 0, "equivalent": 0, "did not build": 0}
    unlisted, started = [], time.monotonic()
    for i, m in numbered:
        path = ROOT / m["file"]
        original = path.read_text()
        lines = original.split("\n")
        line = lines[m["line"] - 1]
        lines[m["line"] - 1] = line[:m["col"]] + m["new"] + line[m["col"] + len(m["old"]):]
        t = time.monotonic()
        try:
            path.write_text("\n".join(lines))
            if run(make) != 0:
                outcome = "did not build"
            else:
                outcome = suites.failing()
        finally:
            path.write_text(original)
        where = f"{m['file']}:{m['line']}"
        if outcome == "did not build":
            tally[outcome] += 1
        elif outcome:
            tally["caught"] += 1
            outcome = "caught by " + outcome
        elif (m["file"], m["text"], edit_name(m)) in equivalent:
            tally["equivalent"] += 1
            outcome = "survived (listed as equivalent)"
        else:
            tally["survived"] += 1
            unlisted.append(f"{where}\t{m['text']}\t{edit_name(m)}")
            outcome = "SURVIVED"
        print(f"[{i}/{len(sample)}] {where} {m['kind']}: {edit_name(m)}: {outcome} "
              f"({time.monotonic() - t:.1f}s)", flush=True)

    run(make)
    judged = tally["caught"] + tally["survived"] + tally["equivalent"]
    score = 100.0 * (tally["caught"] + tally["equivalent"]) / judged if judged else 100.0
    per = (time.monotonic() - started) / max(len(numbered), 1)
    print(f"\nseed {a.seed}: {tally['caught']} caught, {tally['survived']} survived, "
          f"{tally['equivalent']} equivalent, {tally['did not build']} did not build; "
          f"score {score:.1f}% ; {per:.1f}s per edit")
    if unlisted:
        print("survivors (file:line, line, edit):\n" + "\n".join(unlisted))
    return 1 if unlisted else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
