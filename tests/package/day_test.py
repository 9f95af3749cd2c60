"""An operator's days in fast motion, with the packages of the build: installed, loaded, watched, upgraded; nightly
backups for eight nights; a disk that fills up, a crash, a mistake undone by a restore, a switch to the standby.

    day_test.py BUILD CLOCK DISK

CLOCK is the library with the clock that dates commits and copies, DISK the one that simulates the disk with Berkeley
DB's log; both are preloaded. Each night is one day later by that clock.
"""

import glob
import os
import re
import sys
import tempfile
import urllib.request

from daymachine import CUSTOMERS, Machine, newer
from packages import backup_arguments, build_packages, gateway, unit_settings
from quorva import DEADLINE, expect, fail, run, run_main

NIGHTS = 8
KEPT = 7  # of the unit's options
LOADED = 3000


def load(machine):
    lines = "".join(f'{{"customer":{{"S":"{CUSTOMERS[n % len(CUSTOMERS)]}"}},"date":{{"S":"{n:06}"}},"total":{{"N":"{n}"}}}}\n'
                    for n in range(LOADED))
    machine.tool("create-table", "main|orders", "customer", "date")
    machine.tool("import", "main|orders", input=lines)
    expect("what was loaded", sorted(machine.items()), sorted(lines.splitlines()))


def watch(machine):
    """Status, its screen, and the figures for Prometheus agree."""
    environments = machine.status()["Environments"]
    expect("the open directory", [one["Directory"] for one in environments], [os.path.realpath(machine.state) + "/main"])
    expect("the open table", environments[0]["OpenTables"], ["orders"])
    puts = {tuple(map(one.get, ("Operation", "Outcome"))): one["Count"] for one in machine.status()["Requests"]}
    batches = puts["BatchWriteItem", "Success"]
    if not 0 < batches < LOADED:
        fail(f"{batches} batches")
    expect("the list of tables", "\nmain|orders  customer  date " in machine.tool("tables", "main"), True)
    screen = machine.tool("top", "--interval", "0.1", "--count", "1")
    expect("a line of top", bool(re.search(r"^BatchWriteItem ", screen, re.MULTILINE)), True)
    with gateway(machine.root, machine.server.port, machine.scratch) as url:
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(f"{url}/metrics", timeout=DEADLINE) as reply:
            figures = reply.read().decode()
        with opener.open(f"{url}/health", timeout=DEADLINE) as reply:
            expect("the health", reply.status, 200)
    expect("the batches in /metrics",
           f'quorva_requests_total{{operation="BatchWriteItem",outcome="Success"}} {batches}\n' in figures, True)


def upgrade(machine, package):
    """While the server runs: the old program keeps running until it is restarted; then every item is still there."""
    process = machine.server.process.pid
    machine.install(package)
    expect("what is installed", run(["dpkg-query", f"--admindir={machine.root.path}/var/lib/dpkg", "-W",
                                     "-f=${Version}", "quorva"]), "99.0")
    expect("the process after the upgrade", machine.status()["Server"]["ProcessId"], process)
    expect("its program", os.readlink(f"/proc/{process}/exe").endswith(" (deleted)"), True)
    expect("the end", machine.server.stop(), -15)
    machine.start()
    expect("the items after the restart", len(machine.items()), LOADED)


def nights(machine):
    """Each day a new item, each night a copy. The names of the copies follow the clock that was set."""
    names = []
    for day in range(NIGHTS):
        machine.put(day)
        machine.clock.advance(days=1)
        line = machine.service("quorva-backup")
        names.append(line.split(", ")[0].rpartition("/")[2])
        expect(f"the line of night {day}", f"1 table with {LOADED + day + 1} items" in line, True)
    expect("names of the copies", names[0], "2033-05-19T080000Z")
    copies = sorted(os.path.basename(path) for path in glob.glob(f"{machine.state}/backup/main/*Z"))
    expect("copies that are kept", copies, names[-KEPT:])


def full_disk(machine):
    """Nothing that was acknowledged is lost, nothing old is pruned, and the next night is good again."""
    copies = sorted(os.listdir(f"{machine.state}/backup/main"))
    main = os.path.realpath(f"{machine.state}/main")
    with open(os.path.join(machine.scratch, "full"), "w", encoding="utf-8") as file:
        file.write(main)
    os.rename(file.name, os.path.join(machine.disk, "full"))
    refused = machine.attempt("put", "main|orders", "customer=S:day", "date=S:no room")
    expect("a put without room", refused.returncode, 1)
    expect("its message", "InternalServerError" in refused.stdout, True)
    expect("the log's line", "No space left on device" in machine.server.log_text(), True)
    machine.clock.advance(days=1)
    program, *words = backup_arguments(machine.root, "quorva-backup", machine.state)
    expect("the unit without room", machine.attempt(*words).returncode, 1)
    left = [name for name in sorted(os.listdir(f"{machine.state}/backup/main")) if name in copies]
    expect("copies after a night without room", left, copies)
    os.remove(os.path.join(machine.disk, "full"))
    # The remedy for the logged error: room, then a restart.
    expect("the end", machine.server.stop(), -15)
    machine.start()
    machine.put("room again")
    machine.service("quorva-backup")


def crash(machine):
    """Killed while it takes writes: what was acknowledged is there after the restart, and the shipping continues."""
    before = machine.items()
    machine.put("before the crash")
    machine.server.kill()
    expect("a put meanwhile", machine.attempt("put", "main|orders", "customer=S:day", "date=S:down").returncode, 2)
    machine.start()
    expect("items after the crash", len(machine.items()), len(before) + 1)
    expect("the shipping", ": log files are shipped to " in machine.service("quorva-backup-resume"), True)


def mistake(machine):
    """At noon somebody truncates the table. It is noticed in the evening, and everything until ten minutes before is
    back, with what was written since."""
    machine.clock.advance(minutes=3 * 60)
    machine.put("ten minutes before")
    kept = machine.items()
    until = machine.clock.now
    machine.clock.advance(minutes=10)
    machine.tool("truncate", "main|orders", "--yes")
    machine.clock.advance(minutes=30)
    machine.put("after the mistake")
    machine.clock.advance(days=1)
    machine.service("quorva-backup")
    line = machine.tool("restore", "backup/main", "noon", "--until", str(until))
    expect("the restore", f"restored 1 table with {len(kept)} items to noon" in line, True)
    expect("what was restored", machine.items("noon|orders"), kept)
    machine.tool("import", "main|orders", input="\n".join(machine.items("noon|orders")) + "\n")
    expect("what is there in the end", len(machine.items()), len(kept) + 1)
    machine.tool("drop-table", "noon|orders", "--yes")


def switch(machine):
    """The server is lost the morning after a night; the standby has that night's state and serves it."""
    machine.tool("standby", "backup/main", "standby")
    machine.clock.advance(days=1)
    machine.service("quorva-backup")
    items = machine.items()
    machine.server.kill()
    os.rename(f"{machine.state}/main", f"{machine.state}/lost")
    line = machine.tool("standby", "backup/main", "standby", "--switch")
    expect("the switch", f"servers can open standby, with 1 table with {len(items)} items" in line, True)
    machine.tool("init", "standby", "--force")
    machine.start()
    expect("the items of the standby", machine.items("standby|orders"), items)
    machine.tool("put", "standby|orders", "customer=S:day", "date=S:after the switch")
    expect("the end", machine.server.stop(), -15)
    expect("the check", f"orders: {len(items) + 1} items" in machine.tool("check", "standby"), True)


def main(build, clock, disk):
    with tempfile.TemporaryDirectory(prefix="quorva-day-") as scratch:
        package = build_packages(build, scratch, "-D", "CPACK_COMPONENTS_ALL=server")["quorva"]
        next_package = newer(package, scratch)
        machine = Machine(scratch, clock, disk)
        try:
            machine.install(package)
            expect("the unit's directory", unit_settings(machine.root, "quorva")["StateDirectory"], ["quorva"])
            machine.start()
            load(machine)
            watch(machine)
            upgrade(machine, next_package)
            nights(machine)
            full_disk(machine)
            crash(machine)
            mistake(machine)
            switch(machine)
        finally:
            if machine.server is not None:
                machine.server.clean_up()


run_main(main, *sys.argv[1:])
