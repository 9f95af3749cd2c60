#!/usr/bin/env python3
"""Uses the configurations in the documents that are no console sessions, with the programs that they are for.

    examples_test.py SOURCE BIN NAME

Each is taken from its document as it stands there; only directories and ports are replaced.
"""

import glob
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import textwrap
import time
import urllib.request

from quorva import DEADLINE, Server, end, expect, fail, free_port, run, run_main

SKIPPED = 77  # the status that ctest takes for a skipped test
SBIN = os.environ["PATH"] + ":/usr/sbin:/sbin"


def indented(document, first_line):
    """The indented block in a document that begins with this line."""
    with open(document, encoding="utf-8") as file:
        lines = file.read().splitlines()
    if lines.count("    " + first_line) != 1:
        fail(f"{document} does not say {first_line} once")
    block = []
    for line in lines[lines.index("    " + first_line):]:
        if line and not line.startswith("    "):
            break
        block.append(line)
    return textwrap.dedent("\n".join(block)).rstrip() + "\n"


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return path


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def wait_until(what, condition):
    deadline = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > deadline:
            fail(f"not within {DEADLINE} seconds: {what}")
        time.sleep(0.01)


class Place:
    """A scratch directory with a server of which tests use the tool."""

    def __init__(self, scratch, binaries):
        self.path = scratch
        self.binaries = binaries
        self.server = Server([f"{binaries}/quorva"], scratch)

    def __enter__(self):
        self.server.start()
        return self

    def __exit__(self, *exception):
        self.server.clean_up()

    def tool(self, *words):
        return run([f"{self.binaries}/quorvactl", *words], cwd=self.path,
                   env={**os.environ, "QUORVA_PORT": str(self.server.port)})

    def make_table(self, table):
        self.tool("init", table.split("|")[0])
        self.tool("create-table", table, "customer", "date")


def test_logrotate(binaries, scratch):
    directory = f"{scratch}/quorva"
    os.makedirs(f"{directory}/log")
    block = indented("docs/operating.md", "/srv/quorva/log/*.log {").replace("/srv/quorva", directory)
    rotation = write(f"{scratch}/logrotate.conf", block)
    os.chmod(rotation, 0o644)  # it takes no file that others may write
    log = f"{directory}/log/server.log"
    server = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", f"{binaries}/quorva", "-p", str(free_port()), "-d", log],
                              env={**os.environ, "QUORVA_LOCKFILE": f"{directory}/server.lock"})

    def rotate():
        run(["logrotate", "--force", "--state", f"{scratch}/state", rotation], env={**os.environ, "PATH": SBIN})
        wait_until("a log that was reopened", lambda: os.path.exists(log) and "Log file reopened" in read(log))

    try:
        wait_until("a server that listens", lambda: os.path.exists(log) and "Server listening" in read(log))
        first = read(log)
        rotate()
        expect("the lines before the rotation", read(f"{log}.1"), first)
        expect("the lines after it", len(read(log).splitlines()), 1)
        rotate()
        expect("the log files", sorted(os.listdir(f"{directory}/log")), ["server.log", "server.log.1", "server.log.2.gz"])
        expect("the lines before both", run(["gzip", "-dc", f"{log}.2.gz"]), first)
    finally:
        end(server)


def test_rsync(binaries, scratch):
    words = indented("docs/backup.md", "rsync --archive /srv/backup/shop/ standby:/srv/backup/shop/").split()
    here, there = f"{scratch}/here", f"{scratch}/there"
    command = [word.replace("standby:/srv", there).replace("/srv", here) for word in words]
    expect("directories in the command", [word for word in command if ":" in word or word.startswith("/srv")], [])
    os.makedirs(f"{there}/backup")
    with Place(scratch, binaries) as place:
        place.make_table("shop|orders")

        def night(item, *options):
            place.tool("put", "shop|orders", "customer=S:abc", f"date=S:{item}")
            place.tool("backup", "nightly", "shop", "--to", f"{here}/backup", "--keep", "1")
            run([*command, *options])
            return place.tool("standby", f"{there}/backup/shop", "standby")

        expect("what the standby has", "standby has caught up" in night("2012-01"), True)
        night("2012-02")
        expect("copies here and there", [len(glob.glob(f"{side}/backup/shop/*.verified")) for side in (here, there)],
               [1, 2])
        night("2012-03", "--delete-after")
        expect("copies there without those removed here", sorted(os.listdir(f"{there}/backup/shop")),
               sorted(os.listdir(f"{here}/backup/shop")))
        place.server.kill()
        switched = place.tool("standby", f"{there}/backup/shop", "standby", "--switch")
        expect("the switch", switched.splitlines()[-1], "servers can open standby, with 1 table with 3 items")
        place.server.start()
        expect("the items", place.tool("scan", "standby|orders", "--count"), "3\n")


RULES = ("docs/monitoring.md", "groups:")
EXPRESSIONS = ("docs/monitoring.md", "# requests per second, by operation")


def test_figures(binaries, scratch):
    """Every figure that the document names exists, with the labels that it names; and the other way round."""
    with Place(scratch, binaries) as place:
        place.make_table("shop|orders")
        place.tool("put", "shop|orders", "customer=S:abc", "date=S:2012-01")
        place.tool("backup", "nightly", "shop", "--to", "backup")
        figures = scrape(place)
    samples = dict(re.findall(r"^(quorva_\w+)(?:\{(.*)\})? ", figures, re.MULTILINE))
    families = {re.sub(r"_(bucket|sum|count)$", "", name) if "duration" in name else name for name in samples}
    document = read("docs/monitoring.md")
    tables = re.findall(r"^\| (`[a-z_]+(?:\{[\w,]+\})?`.*?) \|", document, re.MULTILINE)
    documented = {}
    for name, labels in re.findall(r"`([a-z_]+)(?:\{([\w,]+)\})?`", " ".join(tables)):
        full = name if name.startswith("quorva_") else "quorva_environment_" + name
        documented[full] = {"directory"} if full.startswith("quorva_environment_") else set()
        documented[full] |= set(labels.split(",")) if labels else set()
    expect("figures without a line in the document", sorted(families - set(documented)), [])
    expect("figures that do not exist", sorted(set(documented) - families), [])
    for name, labels in documented.items():
        sample = samples.get(name, samples.get(name + "_bucket"))
        expect(f"labels of {name}", set(re.findall(r"(\w+)=", sample)) - {"le"}, labels)
    used = set(re.findall(r"quorva_\w+", indented(*RULES) + indented(*EXPRESSIONS)))
    expect("figures in rules and expressions that do not exist", sorted(used - set(samples)), [])


def scrape(place):
    """The figures of quorva-http."""
    messages = f"{place.path}/http.log"
    with open(messages, "w", encoding="utf-8") as log:
        gateway = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", f"{place.binaries}/quorva-http", "--listen", "0",
                                    "--port", str(place.server.port)], stderr=log)
    try:
        wait_until("quorva-http listens", lambda: "listening on" in read(messages))
        address = re.search(r"listening on (\S+) ", read(messages))[1]
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        for _ in range(2):  # the first response is a figure of the second
            with opener.open(f"http://{address}/metrics", timeout=DEADLINE) as reply:
                text = reply.read().decode()
        gateway.send_signal(signal.SIGTERM)
        expect("the end of quorva-http", gateway.wait(DEADLINE), 0)
        return text
    finally:
        end(gateway)


HISTOGRAM = 'quorva_request_duration_seconds_bucket{operation="PutItem",outcome="Success",le="%s"}'
# For each alert a series that fires it and the labels of the alert, with the time by which it has fired.
FIRING = {
    "QuorvaDown": ("2m", [("quorva_up", "0x2000")], "{}"),
    "QuorvaLogGrows": ("31m", [('quorva_environment_log_bytes{directory="d"}', "2000000001x2000")], '{directory: "d"}'),
    "QuorvaBackupOld": ("27h", [('quorva_environment_backup_since_timestamp_seconds{directory="d"}', "0x2000")],
                        '{directory: "d"}'),
    "QuorvaNoBackup": ("27h", [('quorva_environment_backup_state{directory="d",state="none"}', "1x2000")],
                       '{directory: "d", state: "none"}'),
    "QuorvaSlowFlush": ("15m", [(HISTOGRAM % "0.2", "0x2000"), (HISTOGRAM % "0.5", "0+60x2000"),
                                (HISTOGRAM % "+Inf", "0+60x2000")], "{}"),
    "QuorvaRefusesConnections": ("12m", [("quorva_connections_refused_total", "0x5 1x2000")], "{}"),
    "QuorvaDeadlocks": ("25m", [('quorva_environment_deadlocks_total{directory="d"}', "0+120x2000")], '{directory: "d"}'),
    "QuorvaFails": ("10m", [('quorva_requests_total{operation="PutItem",outcome="InternalServerError"}', "0+1x2000")],
                    '{operation: "PutItem", outcome: "InternalServerError"}'),
    "QuorvaFewDescriptors": ("5m", [("quorva_open_fds", "91x2000"), ("quorva_max_fds", "100x2000")], "{}"),
}
# All is well: none of them fires.
QUIET = [("quorva_up", "1x2000"), ('up{job="quorva"}', "1x2000"),
         ('quorva_environment_log_bytes{directory="d"}', "1999999999x2000"),
         ('quorva_environment_backup_since_timestamp_seconds{directory="d"}', "0x2000"),
         ('quorva_environment_backup_until_timestamp_seconds{directory="d"}', "0x1500 86400x500"),  # a copy each night
         ('quorva_environment_backup_state{directory="d",state="none"}', "0x2000"),
         (HISTOGRAM % "0.2", "0+60x2000"), (HISTOGRAM % "0.5", "0+60x2000"), (HISTOGRAM % "+Inf", "0+60x2000"),
         ("quorva_connections_refused_total", "7x2000"),
         ('quorva_environment_deadlocks_total{directory="d"}', "0+1x2000"),
         ('quorva_requests_total{operation="PutItem",outcome="Success"}', "0+600x2000"),
         ('quorva_requests_total{operation="PutItem",outcome="InternalServerError"}', "5x2000"),
         ("quorva_open_fds", "90x2000"), ("quorva_max_fds", "100x2000"),
         ('quorva_environment_cache_hits_total{directory="d"}', "0+180x2000"),
         ('quorva_environment_cache_misses_total{directory="d"}', "0+60x2000"),
         ('quorva_environment_commits_total{directory="d"}', "0+300x2000"),
         ('quorva_environment_flushes_total{directory="d"}', "0+120x2000")]
# What the useful expressions, in their order, make of that.
VALUES = [[('{operation="PutItem"}', "10")], [("{}", "0.198")], [('{directory="d"}', "0.75")], [('{directory="d"}', "2.5")]]


def series(pairs):
    return "".join(f"      - series: '{name}'\n        values: '{values}'\n" for name, values in pairs)


def expected_values(expressions):
    """What promtool is to find when it evaluates the expressions after an hour."""
    text = "    promql_expr_test:\n"
    for expression, samples in zip(expressions, VALUES, strict=True):
        text += f"      - expr: '{expression}'\n        eval_time: 1h\n        exp_samples:\n"
        text += "".join(f"          - labels: '{labels}'\n            value: {value}\n" for labels, value in samples)
    return text


def test_promtool(_binaries, scratch):
    if shutil.which("promtool") is None:
        print("needs promtool; see script/bootstrap metrics")
        return SKIPPED
    rules = indented(*RULES)
    write(f"{scratch}/rules.yml", rules)
    run(["promtool", "check", "rules", f"{scratch}/rules.yml"])
    write(f"{scratch}/prometheus.yml", indented("docs/monitoring.md", "scrape_configs:"))
    run(["promtool", "check", "config", f"{scratch}/prometheus.yml"])

    expect("the alerts", re.findall(r"alert: (\w+)", rules), list(FIRING))
    text = "rule_files: [rules.yml]\nevaluation_interval: 1m\ntests:\n"
    for alert, (when, pairs, labels) in FIRING.items():
        text += (f"  - interval: 1m\n    name: {alert}\n    input_series:\n{series(pairs)}    alert_rule_test:\n"
                 f"      - alertname: {alert}\n        eval_time: {when}\n        exp_alerts:\n"
                 f"          - exp_labels: {labels}\n")
    parts = re.split(r"^#.*\n", indented(*EXPRESSIONS), flags=re.MULTILINE)[1:]
    text += f"  - interval: 1m\n    name: quiet\n    input_series:\n{series(QUIET)}"
    text += expected_values([" ".join(part.split()) for part in parts]) + "    alert_rule_test:\n"
    for alert, (when, _, _) in FIRING.items():
        text += f"      - alertname: {alert}\n        eval_time: {when}\n        exp_alerts: []\n"
    write(f"{scratch}/tests.yml", text)
    run(["promtool", "test", "rules", f"{scratch}/tests.yml"])
    return 0


def main():
    source, binaries, name = sys.argv[1:]
    os.chdir(source)
    with tempfile.TemporaryDirectory(prefix="quorva-example-") as scratch:
        return globals()["test_" + name](os.path.abspath(binaries), os.path.realpath(scratch))


if __name__ == "__main__":
    run_main(main)
