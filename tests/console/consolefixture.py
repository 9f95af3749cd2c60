"""A server with a table, quorva-http with the console in front of it, and a browser that shows it."""

import http.client
import json
import os
import tempfile
import unittest

from chromium import Chromium
from quorva import DEADLINE, HttpServer, Server, fail

BIN = ""  # the directory of the programs; set by the main program
PICTURES = os.environ.get("QUORVA_PICTURES")  # a directory for screenshots; none are made without it


class ConsoleServer(HttpServer):
    """quorva-http with the console."""

    STARTED = HttpServer.STARTED + r"quorva-http: console at (http://127\.0\.0\.1:\d+/console)#token=(\w+)\n"

    def __init__(self, scratch, server_port, arguments, port=0):
        super().__init__([os.path.join(BIN, "quorva-http"), *arguments], scratch, server_port, port)
        self.page, self.token = self.started[3], self.started[4]
        self.address = f"{self.page}#token={self.token}"

    def call(self, operation, body):
        """A request of the console, without the browser: (status, body)."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=DEADLINE)
        connection.request("POST", "/console/api", body, {
            "X-Amz-Target": operation, "Authorization": f"Bearer {self.token}"})
        answer = connection.getresponse()
        return answer.status, answer.read().decode()


class ConsoleTest(unittest.TestCase):
    """Each class starts its own browser; its tests share it, and the server, each in a table of its own."""

    options = ["--console-write"]
    environment = {}  # of the server
    provoked = ()     # texts of errors that a test has caused on purpose

    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="quorva-console-")
        cls.addClassCleanup(cls.scratch.cleanup)
        os.environ.update(cls.environment)
        cls.server = Server([os.path.join(BIN, "quorva")], cls.scratch.name)
        cls.addClassCleanup(cls.server.clean_up)
        cls.server.start()
        cls.start_http()
        cls.browser = Chromium()
        cls.addClassCleanup(cls.browser.close)
        cls.browser.open()
        cls.browser.resize(1280, 860)
        cls.open_console()

    @classmethod
    def start_http(cls, port=0):
        cls.http = ConsoleServer(cls.scratch.name, cls.server.port, cls.options, port)
        cls.addClassCleanup(cls.http.clean_up)

    @classmethod
    def open_console(cls):
        cls.browser.go("about:blank")  # as the fragment alone would not load the page again
        cls.browser.go(cls.http.address)
        cls.browser.wait("document.querySelector('main h1')?.textContent === 'Live'")

    @classmethod
    def make_table(cls, directory="shop", name="orders", keys=("customer", "date")):
        """A table in a new directory, and a connection to the server."""
        path = os.path.join(cls.scratch.name, directory)
        os.makedirs(path, exist_ok=True)
        connection = cls.server.connect()
        cls.addClassCleanup(connection.close)
        table = f"{path}|{name}"
        reply = connection.request("CreateTable", {"TableName": table, "KeySchema": {
            "HashKeyElement": {"AttributeName": keys[0], "AttributeType": "S"},
            "RangeKeyElement": {"AttributeName": keys[1], "AttributeType": "S"}}})
        if reply["__rc"] != 200:
            fail(reply)
        return table, connection

    @staticmethod
    def put(connection, table, *items):
        for at in range(0, len(items), 500):
            reply = connection.request("BatchWriteItem", {"RequestItems": {
                table: [{"PutRequest": {"Item": item}} for item in items[at:at + 500]]}})
            if reply["__rc"] != 200:
                fail(reply)

    @staticmethod
    def stored(connection, table, hash_key, range_key):
        return connection.request("GetItem", {"TableName": table, "Key": {
            "HashKeyElement": {"S": hash_key}, "RangeKeyElement": {"S": range_key}}}).get("Item")

    # What the page shows. Elements are found by their visible text.

    def value(self, expression):
        return self.browser.evaluate(expression)

    def wait(self, expression):
        return self.browser.wait(expression)

    def wait_text(self, text, where="main"):
        """Waits until a part of the page shows a text."""
        self.browser.wait(f"document.querySelector({where!r})?.innerText.includes({quoted(text)})", f"text {text!r}")

    def click(self, text, within="document"):
        """Clicks the button or link with this text."""
        self.browser.click(control(text, within))

    def fill(self, label, text):
        """Clicks into the field with this label and types."""
        self.browser.click(labelled(label))
        self.browser.retype(text)

    def choose(self, label, text):
        """Chooses an entry of the list with this label, by the keyboard."""
        steps = self.value(f"""(() => {{
            const list = {labelled(label)};
            list.focus();
            return [...list.options].findIndex((one) => one.text === {quoted(text)}) - list.selectedIndex;
        }})()""")
        for _ in range(abs(steps)):
            self.browser.key("ArrowDown" if steps > 0 else "ArrowUp")
        self.assertEqual(self.value(f"{labelled(label)}.selectedOptions[0].text"), text)

    def show_table(self, table, **search):
        """Navigates to a table by its address."""
        self.browser.evaluate(f"""import("/console/links.js").then(({{ links }}) => {{
            location.hash = links.table({{ table: {quoted(table)}, ...{quoted(search)} }}); }})""")
        self.wait_view()

    def wait_view(self):
        """Waits until the view of the address is complete."""
        self.wait("document.querySelector('main .view')?.dataset.address === location.hash")

    def rows(self):
        """The cells of the items that are shown."""
        return self.value("[...document.querySelectorAll('main tbody tr')].map("
                          "(row) => [...row.cells].map((cell) => cell.textContent))")

    def picture(self, name):
        if PICTURES:
            self.browser.picture(os.path.join(PICTURES, f"{name}.png"))

    def setUp(self):
        self.browser.evaluate("0")  # receives the leftovers of an earlier test
        self.browser.events.clear()

    def tearDown(self):
        self.assertEqual([one for one in self.browser.complaints()
                          if not any(text in one for text in self.provoked)], [])


def quoted(value):
    """A value in JavaScript."""
    return json.dumps(value)


def control(text, within="document"):
    return (f"[...({within}).querySelectorAll('button, a')].find("
            f"(one) => one.textContent.trim() === {quoted(text)} && one.checkVisibility())")


def labelled(label):
    return (f"document.getElementById([...document.querySelectorAll('label')].find("
            f"(one) => one.textContent === {quoted(label)})?.htmlFor)")
