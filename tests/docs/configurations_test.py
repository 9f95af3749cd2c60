#!/usr/bin/env python3
"""Uses the documents' configurations of other programs that an operator sets up: logrotate, rsync.

    configurations_test.py SOURCE BIN NAME
"""

import glob
import os
import subprocess

from examples import Place, indented, read, run_example, wait_until, write
from quorva import end, expect, free_port, run, run_main

SBIN = os.environ["PATH"] + ":/usr/sbin:/sbin"


def test_logrotate(binaries, scratch):
    directory = f"{scratch}/quorva"
    os.makedirs(f"{directory}/log")
    block = indented("docs/operating.md", "/srv/quorva/log/*.log {").replace("/srv/quorva", directory)
    rotation = write(f"{scratch}/logrotate.conf", block)
    os.chmod(rotation, 0o644)  # it refuses files that others may write
    log = f"{directory}/log/server.log"
    server = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", f"{binaries}/quorva", "-p", str(free_port()), "-d", log],
                              env={**os.environ, "QUORVA_LOCKFILE": f"{directory}/server.lock"})

    def rotate():
        run(["logrotate", "--force", "--state", f"{scratch}/state", rotation], env={**os.environ, "PATH": SBIN})
        wait_until("a log that was reopened", lambda: os.path.exists(log) and "Log file reopened" in read(log))

    try:
        # Its latest line says that there is no parent process to watch.
        wait_until("a server that has started", lambda: os.path.exists(log) and "CreateMutex failed" in read(log))
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


if __name__ == "__main__":
    run_main(run_example, globals())
