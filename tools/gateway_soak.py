#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Times and soaks the MoCA data model in amxrt over ubus, on the home network.

First the figures of a whole-tree read: `_get` of MoCA. with all its depth through the ubus
client, cold (the first after start) and warm, beside moca-host reading the same interface in
one process (`dump --tr181 --json`). Then READS bus reads and WRITES writes (good and refused,
alternating), with the plugin refreshing every REFRESH_MS (default 10) so that the soak spans
many refreshes and the module's 10 s cache expiries, and amxrt's resident set size sampled as it
goes. The simulator keeps no call log (CLNKSIM_NO_CALL_LOG), which would grow to 65536 chip
calls; the warm-up lasts until the RSS holds still for 10 s. Fails when the RSS grows by more
than 512 KiB after it.

  tools/gateway_soak.py BUILD_DIR [READS [WRITES [REFRESH_MS]]]     (defaults: 10000 1000 10)
"""
import atexit
import glob
import json
import os
import re
import signal
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

BUILD = os.path.abspath(sys.argv[1])
READS = int(sys.argv[2]) if len(sys.argv) > 2 else 10000
WRITES = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
REFRESH_MS = sys.argv[4] if len(sys.argv) > 4 else "10"
SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
STAGE = os.path.join(BUILD, "third_party/stage")
ENV = dict(os.environ, LD_LIBRARY_PATH=":".join(glob.glob(STAGE + "/usr/lib/*/") + [STAGE + "/usr/lib"]))
SCENARIO = os.path.join(SOURCE, "examples/home-network.json")


def rss_kib(pid):
    with open("/proc/%d/status" % pid) as f:
        return int(re.search(r"VmRSS:\s+(\d+)", f.read()).group(1))


def start(work, refresh_ms):
    """A gateway on the home network: its process, amxrt's pid and the ubus command."""
    sock = os.path.join(work, "ubus-%s.sock" % refresh_ms)
    log = os.path.join(work, "gateway-%s.log" % refresh_ms)
    gw = subprocess.Popen([os.path.join(SOURCE, "tools/gateway-run"), BUILD, SCENARIO, "--socket", sock],
                          stdout=open(log, "w"), stderr=subprocess.STDOUT,
                          env=dict(ENV, MOCA_REFRESH_MS=refresh_ms, CLNKSIM_NO_CALL_LOG="1"),
                          start_new_session=True)
    atexit.register(stop, gw)  # also when the tool fails half-way
    text = ""
    while "ready:" not in text:
        time.sleep(0.05)
        text = open(log).read()
        if gw.poll() is not None:
            sys.exit("gateway did not start:\n" + text)
    return gw, int(re.search(r"amxrt pid (\d+)", text).group(1)), [STAGE + "/usr/bin/ubus", "-s", sock, "call"]


def stop(gw):
    if gw.poll() is None:
        os.killpg(gw.pid, signal.SIGTERM)
        gw.wait()


def main():
    work = tempfile.mkdtemp(prefix="moca-gw-soak.")
    # The figures, with the plugin refreshing once per cache period as it does by default.
    gw, pid, ubus = start(work, "10000")

    def timed(cmd):
        t = time.perf_counter()
        subprocess.run(cmd, capture_output=True, env=ENV, check=True)
        return (time.perf_counter() - t) * 1000

    tree = ubus + ["MoCA", "_get", '{"depth":-1}']
    cold = timed(tree)
    warm = statistics.median(timed(tree) for _ in range(20))
    one = statistics.median(timed(ubus + ["MoCA.Interface.1", "_get"]) for _ in range(20))
    # The client's own cost: starting, connecting, one parameter.
    tiny = statistics.median(timed(ubus + ["MoCA.Interface.1", "_get", '{"parameters":["Name"]}'])
                             for _ in range(20))
    host = [os.path.join(BUILD, "bin/moca-host"), "--sim", SCENARIO, "dump", "moca0", "--tr181", "--json"]
    in_process = statistics.median(timed(host) for _ in range(5))
    dump = subprocess.run([host[0], "--sim", SCENARIO, "dump", "moca0"], capture_output=True, text=True, env=ENV).stdout
    walk = re.search(r"# Read in ([\d.]+) ms", dump)
    print("load average %s" % open("/proc/loadavg").read().split()[0])
    print("whole tree of the home network over ubus: cold %.1f ms, warm %.1f ms (median of 20)" % (cold, warm))
    print("MoCA.Interface.1 alone: %.1f ms; one parameter (the client's own cost): %.1f ms" % (one, tiny))
    print("moca-host dump --tr181 --json, one process: %.1f ms (median of 5), its walk %s ms"
          % (in_process, walk.group(1) if walk else "?"))

    stop(gw)

    gw, pid, ubus = start(work, REFRESH_MS)

    def call(path, method, args):
        return subprocess.run(ubus + [path, method, json.dumps(args)], capture_output=True, env=ENV).returncode

    # Warm-up: until the RSS holds still for 10 s (at most 10 minutes).
    t0 = time.time()
    held = [rss_kib(pid)]
    while time.time() - t0 < 600 and (len(held) < 6 or max(held[-6:]) - min(held[-6:]) > 64):
        time.sleep(2)
        held.append(rss_kib(pid))
    print("warm-up: %.0f s, RSS %d -> %d KiB" % (time.time() - t0, held[0], held[-1]))

    # The soak: reads of one interface, its nodes and the whole tree; writes good and refused.
    reads = [("MoCA.Interface.1", "_get", {}), ("MoCA.Interface.1.AssociatedDevice.2", "_get", {}),
             ("MoCA.Interface.1.Stats", "_get", {}), ("MoCA", "_get", {"depth": -1})]
    writes = [({"TpcTargetRateNper": 500}, 0), ({"TpcTargetRateNper": 3000}, 1),
              ({"KeyPassphrase": "123456789012"}, 0), ({"KeyPassphrase": "12"}, 1),
              ({"TpcTargetRateNper": 700}, 0), ({"Status": "Down"}, 1)]
    total = READS + WRITES
    every = max(1, total // WRITES) if WRITES else total + 1
    samples, unexpected, done_reads, done_writes = [], 0, 0, 0
    t0 = time.time()
    for i in range(total):
        if WRITES and i % every == every - 1 and done_writes < WRITES:
            params, refused = writes[done_writes % len(writes)]
            rc = call("MoCA.Interface.1", "_set", {"parameters": params})
            unexpected += (rc != 0) != bool(refused)
            done_writes += 1
        elif done_reads < READS:
            path, method, args = reads[done_reads % len(reads)]
            unexpected += call(path, method, args) != 0
            done_reads += 1
        if i % 500 == 0:
            samples.append((time.time() - t0, rss_kib(pid)))
    samples.append((time.time() - t0, rss_kib(pid)))
    stop(gw)
    shutil.rmtree(work)
    growth = samples[-1][1] - samples[0][1]
    print("RSS KiB every 500 operations: " + " ".join(str(kib) for _, kib in samples))
    print("soak: %d reads, %d writes in %.0f s (%d cache periods of 10 s), %d unexpected answers"
          % (done_reads, done_writes, samples[-1][0], samples[-1][0] // 10, unexpected))
    print("amxrt RSS KiB: at start %d, after warm-up %d, end %d, max %d (growth %+d)"
          % (held[0], samples[0][1], samples[-1][1], max(s[1] for s in samples), growth))
    return 1 if growth > 512 or unexpected else 0


if __name__ == "__main__":
    sys.exit(main())
