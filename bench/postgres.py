"""PostgreSQL with the same workload: a table of jsonb items in a separate cluster, driven by pgbench."""

import glob
import os
import pwd
import re
import shutil
import subprocess

from quorva import Failure, free_port

SCRIPTS = {
    "put": """\\set h random(0, {hash_keys} - 1)
\\set r random(0, 99)
INSERT INTO items VALUES ('h' || lpad((:h)::text, 7, '0'), 'r' || lpad((:r)::text, 2, '0'), '{item}')
    ON CONFLICT (customer, entry) DO UPDATE SET item = EXCLUDED.item;
""",
    "get": """\\set h random(0, {hash_keys} - 1)
\\set r random(0, 99)
SELECT item FROM items WHERE customer = 'h' || lpad((:h)::text, 7, '0') AND entry = 'r' || lpad((:r)::text, 2, '0');
""",
    "update": """\\set h random(0, {hash_keys} - 1)
\\set r random(0, 99)
UPDATE items SET item = jsonb_set(item, '{{count,N}}', to_jsonb(((item->'count'->>'N')::bigint + 1)::text))
    WHERE customer = 'h' || lpad((:h)::text, 7, '0') AND entry = 'r' || lpad((:r)::text, 2, '0');
""",
    "batch": """\\set h random(0, {hash_keys} - 1)
\\set first 25 * random(0, 3)
INSERT INTO items
    SELECT 'h' || lpad((:h)::text, 7, '0'), 'r' || lpad((:first::int + i)::text, 2, '0'), '{item}'::jsonb
    FROM generate_series(0, 24) AS i
    ON CONFLICT (customer, entry) DO UPDATE SET item = EXCLUDED.item;
""",
    "query": """\\set h random(0, {hash_keys} - 1)
SELECT * FROM items WHERE customer = 'h' || lpad((:h)::text, 7, '0') ORDER BY entry LIMIT 100;
""",
    "scan": """\\set h random(0, {hash_keys} - 1)
\\set r random(0, 99)
SELECT * FROM items WHERE (customer, entry) > ('h' || lpad((:h)::text, 7, '0'), 'r' || lpad((:r)::text, 2, '0'))
    ORDER BY customer, entry LIMIT 128;
""",
}
MIXED = ("get", "put")  # in equal numbers


def binaries():
    """The directory of the newest installation's programs, or None."""
    found = glob.glob("/usr/lib/postgresql/*/bin/pgbench")
    return os.path.dirname(max(found)) if found else None


def item_text(size):
    """An item in the form of quorva-bench's: a count, and eight texts that fill it up."""
    attributes = ['"count":{"N":"1000000"}'] + ['"text%d":{"S":"%s"}' % (i, "%s") for i in range(8)]
    text = "{" + ",".join(attributes) + "}"
    length = max(0, size - len(text.replace("%s", ""))) // 8
    return text.replace("%s", ("abcdefghijklmnopqrstuvwxyz" * (length // 26 + 1))[:length])


class Postgres:
    """A cluster with default settings that listens only on 127.0.0.1. Stopped and removed by `close`."""

    def __init__(self, directory, items, item_size):
        self.programs = binaries()
        self.port = free_port()
        self.directory = os.path.join(directory, "postgres")
        self.data = os.path.join(self.directory, "data")
        self.items = items
        self.item = item_text(item_size)
        os.mkdir(self.directory)
        if os.geteuid() == 0:  # which the programs refuse
            owner = pwd.getpwnam("postgres")
            os.chown(self.directory, owner.pw_uid, owner.pw_gid)
            os.chmod(directory, 0o755)
        self._run("initdb", "-A", "trust", "-D", self.data)
        self._run("pg_ctl", "-D", self.data, "-w", "-l", os.path.join(self.directory, "log"), "-o",
                  f"-c listen_addresses=127.0.0.1 -c port={self.port} -c unix_socket_directories='' "
                  "-c max_connections=200", "start")
        try:
            self._fill()
        except BaseException:
            self.close()
            raise

    def _run(self, program, *arguments, standard_input=None):
        command = [os.path.join(self.programs, program), *arguments]
        if os.geteuid() == 0:
            command = ["runuser", "-u", "postgres", "--", *command]
        # A server that is started inherits our pipe, so nothing is read from it.
        output = subprocess.DEVNULL if program == "pg_ctl" else subprocess.PIPE
        done = subprocess.run(command, stdout=output, stderr=subprocess.STDOUT if output == subprocess.PIPE else output,
                              input=standard_input, text=True, check=False, cwd=self.directory)
        if done.returncode != 0:
            raise Failure(f"{' '.join(command)}: {done.stdout}")
        return done.stdout

    def _connection(self):
        return ["-h", "127.0.0.1", "-p", str(self.port)] + (["-U", "postgres"] if os.geteuid() == 0 else [])

    def _fill(self):
        self._run("psql", *self._connection(), "-v", "ON_ERROR_STOP=1", "-d", "postgres", standard_input=f"""
CREATE TABLE items (customer text, entry text, item jsonb, PRIMARY KEY (customer, entry));
INSERT INTO items SELECT 'h' || lpad((i / 100)::text, 7, '0'), 'r' || lpad((i % 100)::text, 2, '0'), '{self.item}'
    FROM generate_series(0, {self.items} - 1) AS i;
VACUUM ANALYZE items;
CHECKPOINT;
""")

    @staticmethod
    def can(operation):
        return operation in SCRIPTS or operation == "mixed"

    def measure(self, operation, clients, seconds):
        """Transactions per second."""
        scripts = [word for name in (MIXED if operation == "mixed" else [operation])
                   for word in ("-f", self._write_script(name))]
        output = self._run("pgbench", *self._connection(), "-n", "-M", "prepared", "-c", str(clients), "-j", "1", "-T",
                           str(max(1, round(seconds))), *scripts, "postgres")
        if "transactions actually processed: 0\n" in output:
            return 0.0  # which happens if the disk stalls for a whole measurement
        rate = re.search(r"tps = ([0-9.]+) \(without", output)
        if rate is None:
            raise Failure(f"pgbench said: {output}")
        return float(rate.group(1))

    def _write_script(self, operation):
        path = os.path.join(self.directory, operation + ".sql")
        with open(path, "w", encoding="ascii") as file:
            file.write(SCRIPTS[operation].format(hash_keys=self.items // 100, item=self.item))
        return path

    def close(self):
        self._run("pg_ctl", "-D", self.data, "-m", "immediate", "-w", "stop")
        shutil.rmtree(self.directory)
