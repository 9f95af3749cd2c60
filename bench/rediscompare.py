"""Redis with the same workload, as far as it supports it: durable writes of items, and reads, with redis-benchmark."""

import os
import re
import shutil
import subprocess

from postgres import item_text
from quorva import Failure, end, free_port, wait_for_connections

ITEMS_OF_HASH_KEY = 100
BATCH = 25
ITEM = object()  # its text
KEY = "key:__rand_int__"  # redis-benchmark puts twelve digits in
# Operation: command, and whether its keys are numbered like hash keys. There is no ordered walk over many keys.
COMMANDS = {
    "put": (["SET", KEY, ITEM], False),
    "get": (["GET", KEY], False),
    "update": (["HINCRBY", "hash:__rand_int__", "count", "1"], False),
    "batch": (["MSET"] + [KEY, ITEM] * BATCH, False),
    "query": (["LRANGE", "list:__rand_int__", "0", str(ITEMS_OF_HASH_KEY - 1)], True),
}
FILL = """
for i = 0, ARGV[1] - 1 do
    redis.call('SET', string.format('key:%012d', i), ARGV[2])
    redis.call('HSET', string.format('hash:%012d', i), 'count', 1000000, 'text', ARGV[2])
    redis.call('RPUSH', string.format('list:%012d', math.floor(i / 100)), ARGV[2])
end
"""
CALIBRATION = 2000  # requests


def is_installed():
    return all(shutil.which(program) for program in ("redis-server", "redis-benchmark", "redis-cli"))


class Redis:
    """A server with default settings, but for the log of all writes, which is flushed for each. Listens on 127.0.0.1
    alone. Ends with `close`."""

    def __init__(self, directory, items, item_size):
        self.port = free_port()
        self.items = items
        self.item = item_text(item_size)
        self.rates = {}  # of earlier measures
        self.directory = os.path.join(directory, "redis")
        os.mkdir(self.directory)
        command = ["redis-server", "--bind", "127.0.0.1", "--port", str(self.port), "--dir", self.directory,
                   "--logfile", "log", "--save", "", "--appendonly", "yes", "--appendfsync", "always"]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        try:
            if not wait_for_connections(self.process, self.port):
                raise Failure("redis-server did not start")
            self._run("redis-cli", "-h", "127.0.0.1", "-p", str(self.port), "EVAL", FILL, "0", str(items), self.item)
        except BaseException:
            self.close()
            raise

    @staticmethod
    def _run(*command):
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False)
        if done.returncode != 0 or "ERR" in done.stdout:
            raise Failure(f"{' '.join(command)[:200]}: {done.stdout}")
        return done.stdout

    @staticmethod
    def can(operation):
        return operation in COMMANDS

    def measure(self, operation, clients, seconds):
        """Commands per second. redis-benchmark takes a number of commands, not of seconds; earlier rates give it."""
        if (operation, clients) not in self.rates:
            self.rates[operation, clients] = self._measure(operation, clients, CALIBRATION)
        rate = self._measure(operation, clients, max(CALIBRATION, round(self.rates[operation, clients] * seconds)))
        self.rates[operation, clients] = rate
        return rate

    def _measure(self, operation, clients, count):
        words, by_hash_key = COMMANDS[operation]
        numbers = self.items // ITEMS_OF_HASH_KEY if by_hash_key else self.items
        command = [self.item if word == ITEM else word for word in words]
        output = self._run("redis-benchmark", "-h", "127.0.0.1", "-p", str(self.port), "-c", str(clients), "-n",
                           str(count), "-r", str(numbers), "--csv", *command)
        # The first column is the command as given, including quotes; the rate and six latencies follow.
        rate = re.search(r',"([0-9.]+)"(?:,"[0-9.]+"){6}\s*$', output)
        if rate is None:
            raise Failure(f"redis-benchmark said: {output}")
        return float(rate.group(1))

    def close(self):
        end(self.process)
        shutil.rmtree(self.directory)
