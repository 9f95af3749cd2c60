#!/usr/bin/env python3
"""Compares docs/monitoring.md with the figures of quorva-http, and has promtool evaluate its rules and expressions.

    monitoring_test.py SOURCE BIN NAME
"""

import re
import shutil
import urllib.request

from examples import Place, indented, read, run_example, write
from quorva import DEADLINE, HttpServer, expect, run, run_main

SKIPPED = 77  # the exit status of a skipped test for ctest
RULES = ("docs/monitoring.md", "groups:")
EXPRESSIONS = ("docs/monitoring.md", "# requests per second, by operation")


def test_figures(binaries, scratch):
    """Every figure that the document names exists, with the labels that it names, and vice versa."""
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
    http = HttpServer([f"{place.binaries}/quorva-http"], place.path, place.server.port)
    try:
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        for _ in range(2):  # the first response is a figure of the second
            with opener.open(f"{http.url}/metrics", timeout=DEADLINE) as reply:
                text = reply.read().decode()
        http.stop()
        return text
    finally:
        http.clean_up()


HISTOGRAM = 'quorva_request_duration_seconds_bucket{operation="PutItem",outcome="Success",le="%s"}'
# For each alert a series that fires it and the labels of the alert, with the time by which it has fired.
FIRING = {
    "QuorvaDown": ("2m", [("quorva_up", "0x2000")], "{}"),
    "QuorvaDiskFails": ("2m", [('quorva_environment_sync_failed{directory="d"}', "0 1x2000")], '{directory: "d"}'),
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
         ('quorva_environment_sync_failed{directory="d"}', "0x2000"),
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
# The results of the useful expressions, in order.
VALUES = [[('{operation="PutItem"}', "10")], [("{}", "0.198")], [('{directory="d"}', "0.75")], [('{directory="d"}', "2.5")]]


def series(pairs):
    return "".join(f"      - series: '{name}'\n        values: '{values}'\n" for name, values in pairs)


def expected_values(expressions):
    """What promtool must find when it evaluates the expressions after an hour."""
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


if __name__ == "__main__":
    run_main(run_example, globals())
