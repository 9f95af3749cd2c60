"""Things that change: the server's figures, a backup, a server that goes away."""

import os
import re
import threading

from consolefixture import ConsoleTest, quoted


class Live(ConsoleTest):
    environment = {"QUORVA_SLOW_MS": "1"}

    def load(self, table, count):
        """Requests of several kinds."""
        connection = self.server.connect()
        for n in range(count):
            key = {"HashKeyElement": {"S": "abc"}, "RangeKeyElement": {"S": str(n % 50)}}
            connection.request("PutItem", {"TableName": table, "Item": {
                "customer": {"S": "abc"}, "date": {"S": str(n % 50)}, "text": {"S": "x" * 2000}}})
            for _ in range(3):
                connection.request("GetItem", {"TableName": table, "Key": key})
            connection.request("Query", {"TableName": table, "HashKeyValue": {"S": "abc"}})
        connection.close()

    def test_figures_and_plots(self):
        table, _ = self.make_table("live")
        self.value("location.hash = '#/'")
        self.load(table, 100)
        label = "(title) => [...document.querySelectorAll('.plot svg')].map((one) => one.getAttribute('aria-label'))" \
                ".find((one) => one.startsWith(title))"
        # Rates of the last two seconds, so the load continues until each plot shows some.
        self.keep_loading(table, lambda: self.wait(
            f"/GetItem [1-9].*Query [1-9]/.test(({label})('Requests per second'))"))
        self.keep_loading(table, lambda: self.wait(
            f"/median \\d.*99 % \\d/.test(({label})('Latency'))"
            f" && /pages \\d+\\.\\d+ %/.test(({label})('Found in the cache'))"
            f" && /log [1-9]/.test(({label})('Log written'))"
            f" && /commits [1-9].*flushes [1-9]/.test(({label})('Commits'))"))
        self.assertEqual(self.value("document.querySelectorAll('.plot path.line').length >= 10"), True)
        figures = self.value("Object.fromEntries([...document.querySelectorAll('.tiles > div')].map("
                             "(one) => [one.querySelector('dt').textContent, one.querySelector('dd').textContent]))")
        self.assertRegex(figures["Memory"], r"^\d+ MiBprocess " + str(self.server.process.pid))
        self.assertRegex(figures["Connections"], r"^[1-9]\d*\d+ in all, 0 refused")
        self.assertRegex(figures["Descriptors"], r"^\d+of ")
        rows = self.value("[...document.querySelectorAll('table')].find((one) => one.caption.textContent.startsWith("
                          "'Requests')).innerText")
        self.assertRegex(rows, r"GetItem\s+success\s+[\d,]+\s")
        slow = self.value("[...document.querySelectorAll('table')].find((one) => one.caption.textContent === "
                          "'Slow requests')?.innerText ?? ''")
        self.assertIn("127.0.0.1:", slow)
        # A value under the pointer, and one environment alone.
        box = self.value("(() => { const box = document.querySelector('.plot svg').getBoundingClientRect();"
                         "return [box.right - 12, box.y + 50]; })()")
        self.browser.hover(*box)
        self.wait("document.querySelector('.plot .mark').getAttribute('visibility') === 'visible'")
        self.choose("Cache, log and flushes of", os.path.realpath(table.split("|", maxsplit=1)[0]))

    def keep_loading(self, table, wait):
        isOver = threading.Event()

        def work():
            while not isOver.is_set():
                self.load(table, 5)
        thread = threading.Thread(target=work)
        thread.start()
        try:
            wait()
        finally:
            isOver.set()
            thread.join()

    def test_directory_and_its_backup(self):
        table, _ = self.make_table("kept")
        self.load(table, 50)
        directory = table.split("|", maxsplit=1)[0]
        self.value(f"location.hash = '#/directory?name=' + encodeURIComponent({quoted(directory)})")
        self.wait_text("No backup is running.")
        row = self.value("[...document.querySelectorAll('main tbody tr')[0].cells].map((cell) => cell.textContent)")
        self.assertEqual(row[:3], ["orders", "customer", "date"])
        self.assertRegex(row[4], r"^\d+(\.\d)? [KM]iB$")
        self.wait_text("Last checkpoint")
        self.assertRegex(self.value("document.querySelector('main .tiles').innerText"), r"Commits\s+[1-9]")
        target = os.path.join(self.scratch.name, "backup")
        self.fill("Target directory", target)
        self.browser.key("Enter")
        self.wait_text("The copy is complete. Log files are shipped")
        self.assertTrue(os.path.exists(os.path.join(target, "BackupFiles.list")))
        self.wait_text(target)
        self.picture("backup")
        self.click("Stop the backup …")
        self.wait_text("Stop the backup?", "dialog")
        self.click("Cancel", "document.querySelector('dialog')")
        self.wait_text("Log files are shipped")
        self.click("Stop the backup …")
        self.click("Stop the backup", "document.querySelector('dialog')")
        self.wait_text("The backup has ended.")
        self.wait_text("No backup is running.")
        # One that fails: its target is not a directory.
        self.fill("Target directory", os.path.join(target, "BackupFiles.list"))
        self.click("Start a backup")
        self.wait("document.querySelector('main .notice.error')")

    def test_server_goes_away_and_comes_back(self):
        table, connection = self.make_table("outage")
        self.put(connection, table, {"customer": {"S": "abc"}, "date": {"S": "1"}, "n": {"N": "1"}})
        self.show_table(table)
        port = self.server.port
        self.server.kill()
        self.wait_text("No answer since", "#top")
        self.click("abc")
        self.wait_text("The server cannot be reached, nothing was done")
        self.picture("outage")
        self.assertTrue(self.server.start_on(port))
        self.wait_text("Connected", "#top")
        self.wait("document.querySelector('textarea')?.value.includes('\"1\"')")  # by itself
        # A change during the outage is kept, and stored afterwards.
        self.server.kill()
        self.browser.click("document.querySelector('textarea')")
        self.browser.retype('{ "n": { "N": "2" } }')
        self.click("Store")
        self.wait_text("nothing was done")
        self.assertTrue(self.server.start_on(port))
        self.wait_text("Connected", "#top")
        self.assertIn('"2"', self.value("document.querySelector('textarea').value"))
        self.click("Store")
        self.wait_text("Stored.")
        self.assertEqual(self.stored(self.server.connect(), table, "abc", "1"), {"n": {"N": "2"}})

    def test_token_of_a_gateway_that_was_started_again(self):
        self.value("location.hash = '#/'")
        self.wait_text("Connected", "#top")
        port = self.http.port
        self.http.stop()
        self.wait_text("No answer since", "#top")
        self.start_http(port)
        self.wait_text("The token of this tab is not that of the running quorva-http.")
        self.fill("Token", self.http.address)
        self.browser.key("Enter")
        self.wait("document.querySelector('main h1')?.textContent === 'Live'")
        self.wait_text("Connected", "#top")
        self.assertTrue(re.fullmatch(r"[0-9a-f]{48}", self.value("sessionStorage.getItem('quorva-console-token')")))
