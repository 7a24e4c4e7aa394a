#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The MoCA data model inside amxrt, through the real bus (ubusd and the ubus client).

For every example network: the whole tree of MoCA. equals moca-host's TR-181 view of the
same network, path for path and value for value, and every value keeps the data model's
rules. On the home network: each writable parameter round-trips, refused values change
nothing on the model or the chip, a chip failure reaches the client and keeps the old
value, the pass phrase never shows. Stopping leaves no process, socket or file behind.
With --valgrind: one network with amxrt under valgrind, which must report no error and
no block lost from the plugin, the schema or the module.

  gateway_test.py BUILD_DIR SOURCE_DIR [--valgrind]
"""
import glob
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

BUILD, SOURCE = (os.path.abspath(p) for p in sys.argv[1:3])
VALGRIND = "--valgrind" in sys.argv
STAGE = os.path.join(BUILD, "third_party/stage")
LIBS = ":".join(glob.glob(os.path.join(STAGE, "usr/lib/*/")) + [os.path.join(STAGE, "usr/lib")])
ENV = dict(os.environ, LD_LIBRARY_PATH=LIBS)
RULES = json.load(open(os.path.join(SOURCE, "tests/host/tr181-moca.json")))["parameters"]
PASSPHRASE = "209876543210"
failures = []


def check(ok, what):
    if not ok:
        failures.append(what)
        print("FAIL:", what)
    return ok


class Gateway:
    def __init__(self, scenario, wrap=None, refresh_ms="10000"):
        self.dir = tempfile.mkdtemp(prefix="moca-gw-test.")
        self.socket = os.path.join(self.dir, "ubus.sock")
        env = dict(ENV, MOCA_REFRESH_MS=refresh_ms, **({"GATEWAY_WRAP": wrap} if wrap else {}))
        self.log = open(os.path.join(self.dir, "gateway.log"), "w+")
        self.proc = subprocess.Popen([os.path.join(SOURCE, "tools/gateway-run"), BUILD, scenario,
                                      "--socket", self.socket], stdout=self.log, stderr=subprocess.STDOUT,
                                     env=env, start_new_session=True)
        deadline = time.time() + (180 if wrap else 30)
        while "ready:" not in self.output():
            if time.time() > deadline or self.proc.poll() is not None:
                raise RuntimeError("gateway did not start:\n" + self.output())
            time.sleep(0.1)
        self.pids = [int(p) for p in re.findall(r"amxrt pid (\d+)", self.output())]

    def output(self):
        self.log.flush()
        with open(self.log.name) as f:
            return f.read()

    def ubus(self, path, method, args=None):
        """(rc, first answer) of a ubus call."""
        cmd = [os.path.join(STAGE, "usr/bin/ubus"), "-s", self.socket, "-t", "60", "call", path, method]
        r = subprocess.run(cmd + ([json.dumps(args)] if args is not None else []), capture_output=True,
                           text=True, env=ENV)
        answer, _ = json.JSONDecoder().raw_decode(r.stdout.strip()) if r.stdout.strip() else ({}, 0)
        return r.returncode, answer

    def tree(self):
        """Every parameter of MoCA. as Device.MoCA.... paths."""
        rc, answer = self.ubus("MoCA", "_get", {"depth": -1})
        check(rc == 0, "_get MoCA.: rc %d" % rc)
        return {"Device." + obj + name: value for obj, params in answer.items() for name, value in params.items()}

    def get(self, path):
        rc, answer = self.ubus(path.rsplit(".", 1)[0], "_get")
        return next(iter(answer.values()), {}).get(path.rsplit(".", 1)[1])

    def set(self, path, value):
        obj, name = path.rsplit(".", 1)
        return self.ubus(obj, "_set", {"parameters": {name: value}})[0]

    def stop(self):
        os.killpg(self.proc.pid, signal.SIGTERM)
        self.proc.wait(timeout=120)
        alive = [p for p in self.pids if os.path.exists("/proc/%d" % p)]
        check(not alive, "processes left after stop: %s" % alive)
        check(not os.path.exists(self.socket), "socket left after stop")
        work = re.findall(r"ba-cli -s (\S+)/ba-cli.init", self.output())
        check(work and not os.path.exists(work[0]), "files left after stop: %s" % work)
        output = self.output()
        # The plugin says when the model refuses a value it publishes: the schema and
        # the definition disagree.
        check("moca: updating" not in output, "the model refused the plugin's values:\n" + output[-2000:])
        shutil.rmtree(self.dir)
        return output


def host_view(scenario, ifname, index):
    """moca-host's TR-181 view of one interface, numbered as the data model numbers it."""
    r = subprocess.run([os.path.join(BUILD, "bin/moca-host"), "--sim", scenario, "dump", ifname, "--tr181",
                        "--json"], capture_output=True, text=True, env=ENV, check=True)
    prefix = "Device.MoCA.Interface.%d." % index
    return {prefix + k[len("Device.MoCA.Interface.1."):]: v for k, v in json.loads(r.stdout).items()}


def rule_of(path):
    return RULES.get(re.sub(r"\.\d+\.", ".{i}.", re.sub(r"^(Device\.MoCA\.Interface\.)\d+\.", r"\1{i}.", path)))


def follows_rules(path, value, rule):
    """Why the value breaks the parameter's rules, or None."""
    items = value.split(",") if rule.get("list") and isinstance(value, str) and value else [value]
    if rule.get("list") and value == "":
        return None
    for v in items:
        t = rule["type"]
        if t in ("unsignedInt", "unsignedLong", "int"):
            try:
                v = int(v) if not isinstance(v, bool) else None
            except (TypeError, ValueError):
                v = None
            if v is None:
                return "not a number"
            lo, hi = {"unsignedInt": (0, 2**32 - 1), "unsignedLong": (0, 2**64 - 1), "int": (-2**31, 2**31 - 1)}[t]
            for r in rule.get("range", []):
                lo, hi = max(lo, r.get("minInclusive", lo)), min(hi, r.get("maxInclusive", hi))
            if not lo <= v <= hi:
                return "outside %d to %d" % (lo, hi)
        elif t == "boolean":
            if not isinstance(v, bool):
                return "not a boolean"
        else:
            if not isinstance(v, str):
                return "not a text"
            scale = 2 if t == "hexBinary" else 1
            size = (rule.get("size") or [{}])[0]
            if v and not scale * size.get("minLength", 0) <= len(v) <= scale * size.get("maxLength", 1 << 20):
                return "length %d outside its size" % len(v)
            if t == "hexBinary" and not re.fullmatch(r"([0-9A-Fa-f]{2})*", v):
                return "not hexBinary"
            if "enum" in rule and v not in rule["enum"]:
                return "not in its enumeration"
            pats = [p.replace("\\d", "[0-9]") for p in rule.get("pattern", [])]
            if pats and not any(re.fullmatch(p, v) for p in pats):
                return "matches none of its patterns"
    return None


def compare(gw, scenario):
    """The bus tree against moca-host's view; then the data model's rules."""
    model = gw.tree()
    names = list(json.load(open(scenario))["interfaces"])
    view = {}
    for i, name in enumerate(names, 1):
        view.update(host_view(scenario, name, i))
        check(model.get("Device.MoCA.Interface.%d.Name" % i) == name, "%s: Interface.%d.Name" % (scenario, i))
    check(model.get("Device.MoCA.InterfaceNumberOfEntries") == len(names), "%s: InterfaceNumberOfEntries" % scenario)
    for path, value in view.items():
        check(model.get(path, "(absent)") == value,
              "%s: %s is %r on the bus, %r in moca-host" % (scenario, path, model.get(path, "(absent)"), value))
    for path, value in model.items():
        if path.endswith("NumberOfEntries"):
            # A table's counter: the instances it has.
            table = path[: -len("NumberOfEntries")] + "."
            count = len({p[len(table):].split(".")[0] for p in model if p.startswith(table)})
            check(value == count, "%s: %s is %r, the table has %d" % (scenario, path, value, count))
        elif path not in view and not path.endswith(".Name"):
            # What moca-host leaves out (no value from the module, a withheld placeholder)
            # the model keeps at its empty default.
            check(value in ("", 0, False) or rule_of(path).get("enum"),
                  "%s: %s is %r on the bus, absent from moca-host" % (scenario, path, value))
        rule = rule_of(path)
        # A secured parameter reads empty, whatever its rules.
        why = follows_rules(path, value, rule) if rule and not rule.get("secured") else None
        check(why is None, "%s: %s = %r: %s" % (scenario, path, value, why))
    check(model.get("Device.MoCA.Interface.1.KeyPassphrase") == "", "%s: KeyPassphrase not empty" % scenario)
    return len(model)


# Writable parameters: a value the chip takes, and values the runtime refuses.
WRITES = [
    ("TpcTargetRateNper", 500, [2049, "fast"]),
    ("PowerCntlPhyTarget", 600, [3000, -1.5]),
    ("TxPowerLimit", 10, ["ten"]),
    ("BeaconPowerLimit", 3, ["x"]),
    ("PreferredNC", False, ["perhaps"]),
    ("PrivacyEnabledSetting", False, ["x"]),
    ("FreqCurrentMaskSetting", "00000000ffff0000", ["123", "zz0000000000ffff", "00000000ffff00001"]),
    ("KeyPassphrase", PASSPHRASE, ["12345", "abcdefghijklm", "123456789012345678"]),
    ("Enable", False, ["sometimes"]),
    ("Enable", True, []),
]


def writes(gw):
    iface = "Device.MoCA.Interface.1."
    path = lambda name: (iface + name)[len("Device."):]
    for name, good, bads in WRITES:
        before = gw.get(path(name))
        for bad in bads:
            check(gw.set(path(name), bad) != 0, "%s = %r accepted" % (name, bad))
            after = gw.get(path(name))
            check(after == before, "%s changed by the refused %r: %r, was %r" % (name, bad, after, before))
        check(gw.set(path(name), good) == 0, "%s = %r refused" % (name, good))
        check(gw.get(path(name)) == ("" if name == "KeyPassphrase" else good), "%s does not read back" % name)
        if name == "Enable":
            # Stopping the chip takes the link down: the nodes leave once the module's node
            # cache (10 s) has expired, and come back with the link.
            deadline = time.time() + 15
            while gw.get(path("AssociatedDeviceNumberOfEntries")) != (4 if good else 0) and time.time() < deadline:
                time.sleep(0.2)
            nodes = gw.get(path("AssociatedDeviceNumberOfEntries"))
            check(nodes == (4 if good else 0), "Enable %r: %r nodes" % (good, nodes))
            if not good:
                check(gw.get(path("MeshNumberOfEntries")) == 0, "Enable False: mesh cells left")
            check(gw.get(path("Status")) == ("Up" if good else "Down"), "Enable %r: Status" % good)
    # A write makes the plugin read the chip again: every value above is what the chip holds.
    time.sleep(0.5)
    for name, good, _ in WRITES[:-3]:
        check(gw.get(path(name)) == ("" if name == "KeyPassphrase" else good), "%s: the chip holds another" % name)
    # Parameters clients may not write, and ones the module does not apply.
    for name, value in [("Status", "Down"), ("NodeID", 3), ("LastOperFreq", 5), ("Name", "moca9")]:
        before = gw.get(path(name))
        check(gw.set(path(name), value) != 0, "%s = %r accepted" % (name, value))
        check(gw.get(path(name)) == before, "%s changed by a refused write" % name)
    # The second interface cannot be opened: the chip's failure reaches the client.
    before = gw.get("MoCA.Interface.2.TpcTargetRateNper")
    check(gw.set("MoCA.Interface.2.TpcTargetRateNper", 400) != 0, "a write the chip failed succeeded")
    check(gw.get("MoCA.Interface.2.TpcTargetRateNper") == before, "a write the chip failed changed the value")


def valgrind_findings(log):
    """Errors, and lost blocks allocated from our code."""
    text = open(log).read()
    out = []
    ours = re.compile(r"moca_plugin|moca_schema|moca_convert|mxl_|clnk|ClnkLib")
    for record in re.split(r"\n==\d+== \n", text):
        if "definitely lost" in record and ours.search(record):
            out.append(record.strip()[:2000])
        if re.search(r"Invalid (read|write|free)|uninitialised|Mismatched free", record):
            out.append(record.strip()[:2000])
    return out


def main():
    start = time.time()
    examples = sorted(glob.glob(os.path.join(SOURCE, "examples/*.json")))
    if VALGRIND:
        log = os.path.join(tempfile.mkdtemp(prefix="moca-gw-test."), "valgrind.log")
        wrap = ("valgrind --leak-check=full --show-leak-kinds=definite --track-origins=yes "
                "--log-file=%s" % log)
        gw = Gateway(os.path.join(SOURCE, "examples/home-network.json"), wrap)
        gw.tree()
        gw.set("MoCA.Interface.1.TpcTargetRateNper", 500)
        gw.set("MoCA.Interface.1.TpcTargetRateNper", 9999)
        gw.tree()
        gw.stop()
        findings = valgrind_findings(log)
        check(not findings, "valgrind:\n" + "\n\n".join(findings))
        check("ERROR SUMMARY" in open(log).read(), "valgrind wrote no summary")
        print(open(log).read().split("HEAP SUMMARY")[-1][:1500])
        shutil.rmtree(os.path.dirname(log))
    else:
        for scenario in examples:
            gw = Gateway(scenario)
            n = compare(gw, scenario)
            output = gw.stop()
            print("%s: %d parameters equal moca-host's view" % (os.path.basename(scenario), n))
        # The write checks, on the home network with its second interface unopenable.
        with open(os.path.join(SOURCE, "examples/home-network.json")) as f:
            net = json.load(f)
        net["interfaces"]["moca1"]["openable"] = False
        scenario = os.path.join(tempfile.mkdtemp(prefix="moca-gw-test."), "unopenable.json")
        json.dump(net, open(scenario, "w"))
        gw = Gateway(scenario, refresh_ms="1000")
        writes(gw)
        output = gw.stop()
        check(PASSPHRASE not in output, "the pass phrase was printed")
        shutil.rmtree(os.path.dirname(scenario))
        print("writes: %d parameters, %d refused values" % (len(WRITES), sum(len(b) for _, _, b in WRITES) + 5))
    print("%d failures in %.1f s" % (len(failures), time.time() - start))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
