#!/usr/bin/python3
"""Uses quorva-http like an application that knows nothing of Quorva: with boto, as packaged by Debian.

Called with a port, a directory for the tables, and the arguments of unittest.main. Where the server's answers differ
from what the API promises, the tests say what the client gets.
"""

import sys
import unittest

from boto_batches import Batches
from boto_fixture import Server
from boto_items import Items, LayerOne, Updates
from boto_reads import Queries, Scans
from boto_tables import Tables

__all__ = ["Batches", "Items", "LayerOne", "Queries", "Scans", "Tables", "Updates"]

if __name__ == "__main__":
    Server.port = int(sys.argv[1])
    Server.directory = sys.argv[2]
    # boto leaves the connection of a failed call to the garbage collector.
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], warnings="ignore")
