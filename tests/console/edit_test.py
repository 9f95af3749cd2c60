"""Writing: new items, changes, deletions, each on condition that nobody else was faster."""

from chromium import CONTROL
from consolefixture import ConsoleTest, quoted

TEXT = "document.querySelector('textarea')"


class Edit(ConsoleTest):

    def open_item(self, table, hash_key, range_key):
        self.value(f"""import("/console/links.js").then(({{ links }}) => {{
            location.hash = links.item({quoted(table)}, {quoted(hash_key)}, {quoted(range_key)}); }})""")
        self.wait(f"location.hash.includes('item') && {TEXT}")

    def write(self, text):
        self.browser.click(TEXT)
        self.browser.retype(text)

    def test_new_item(self):
        table, connection = self.make_table("new")
        self.show_table(table)
        self.click("New item")
        self.wait(TEXT)
        self.fill("customer", "Ærø")
        self.fill("date", "2012-01")
        self.write('{ "total": { "N": "17" }, "note": { "S": "größer ✓ <b>" }, "tags": { "SS": ["a"] } }')
        self.picture("new")
        self.click("Create")
        self.wait_text("Stored.")
        self.assertEqual(self.stored(connection, table, "Ærø", "2012-01"),
                         {"total": {"N": "17"}, "note": {"S": "größer ✓ <b>"}, "tags": {"SS": ["a"]}})
        self.assertEqual(self.value("document.querySelector('h1').textContent"), "Ærø · 2012-01")
        # The same keys again.
        self.show_table(table)
        self.click("New item")
        self.fill("customer", "Ærø")
        self.fill("date", "2012-01")
        self.click("Create")
        self.wait_text("There is an item with these keys already.")
        self.assertEqual(self.stored(connection, table, "Ærø", "2012-01")["total"], {"N": "17"})
        self.fill("customer", "")
        self.click("Create")
        self.wait_text("The hash key, customer, is empty.")
        self.click("Discard the changes")

    def test_change_keeps_what_was_not_touched(self):
        table, connection = self.make_table("change")
        odd = {"deep": {"M": {"n": 12345678901234567890, "l": [1.0, True, None]}}, "total": {"N": "1"}}
        self.put(connection, table, {"customer": {"S": "abc"}, "date": {"S": "1"}, **odd})
        self.open_item(table, "abc", "1")
        text = self.value(f"{TEXT}.value")
        self.write(text.replace('"N": "1"', '"N": "2"'))
        self.browser.key("s", CONTROL)
        self.wait_text("Stored.")
        self.assertEqual(self.stored(connection, table, "abc", "1"), {**odd, "total": {"N": "2"}})
        self.assertFalse(self.value("document.querySelector('.buttons button:disabled') === null"))

    def test_what_cannot_be_stored(self):
        table, connection = self.make_table("refused")
        self.put(connection, table, {"customer": {"S": "abc"}, "date": {"S": "1"}, "n": {"N": "1"}})
        self.open_item(table, "abc", "1")
        for text, message in (
                ('{ "a": { "S": "x" }', "Line 1, column 20: the text ends too early"),
                ('{\n  "a": { "S": x }\n}', "Line 2, column 15: a value is expected"),
                ('{ "a": { "S": "x" } } b', "nothing more is expected here"),
                ('{ "a": { "S": "\\ud800" } }', "half of a surrogate pair is no character"),
                ("[]", "An item is an object"),
                ('{ "a": { "S": "x" }, "a": { "S": "y" } }', '"a" is there twice.'),
                ('{ "date": { "S": "2" } }', '"date" is a key of the table, so it cannot be an attribute here.'),
                ('{ "a": "x" }', '"a": a value is an object with its type'),
                ('{ "a": { "X": "x" } }', '"a": a value is an object with its type'),
                ('{ "a": { "N": 17 } }', '"a": N takes a number in quotes, as "17", not 17.'),
                ('{ "a": { "N": "x" } }', '"a": N takes a number in quotes, as "17", not "x".'),
                ('{ "a": { "B": "x" } }', '"a": B takes base64 in quotes, not "x".'),
                ('{ "a": { "SS": "x" } }', '"a": SS is a list in brackets'),
                ('{ "a": { "NS": ["1", "b"] } }', '"a": NS takes a number in quotes, as "17", not "b".')):
            with self.subTest(text):
                self.write(text)
                self.click("Store")
                self.wait_text(message)
        self.value(f"{TEXT}.value = JSON.stringify({{ a: {{ S: 'x'.repeat(524288) }} }})")
        self.click("Store")
        self.wait_text("more than 512 KiB could not be read back.")
        self.assertEqual(self.stored(connection, table, "abc", "1"), {"n": {"N": "1"}})
        self.click("Discard the changes")
        self.wait(f"{TEXT}?.value.includes('\"N\": \"1\"')")

    def test_conflict(self):
        table, connection = self.make_table("conflict")
        item = {"customer": {"S": "abc"}, "date": {"S": "1"}}
        self.put(connection, table, {**item, "n": {"N": "1"}})
        self.open_item(table, "abc", "1")
        self.put(connection, table, {**item, "n": {"N": "2"}, "by": {"S": "another"}})
        self.write('{ "n": { "N": "3" } }')
        self.click("Store")
        self.wait_text("The item has changed since it was read. Nothing was stored.")
        self.wait_text('"another"')
        self.picture("conflict")
        self.assertEqual(self.stored(connection, table, "abc", "1")["n"], {"N": "2"})
        self.put(connection, table, {**item, "n": {"N": "4"}})  # and again, before it is overwritten
        self.click("Store mine in its place")
        self.wait("document.querySelector('pre')?.textContent.includes('\"4\"')")
        self.click("Store mine in its place")
        self.wait_text("Stored.")
        self.assertEqual(self.stored(connection, table, "abc", "1"), {"n": {"N": "3"}})

    def test_conflict_with_a_deletion(self):
        table, connection = self.make_table("gone")
        self.put(connection, table, {"customer": {"S": "abc"}, "date": {"S": "1"}, "n": {"N": "1"}})
        self.open_item(table, "abc", "1")
        connection.request("DeleteItem", {"TableName": table, "Key": {
            "HashKeyElement": {"S": "abc"}, "RangeKeyElement": {"S": "1"}}})
        self.write('{ "n": { "N": "3" } }')
        self.click("Store")
        self.wait_text("It has been deleted.")
        self.click("Store mine in its place")
        self.wait_text("Stored.")
        self.assertEqual(self.stored(connection, table, "abc", "1"), {"n": {"N": "3"}})

    def test_deletion_asks(self):
        table, connection = self.make_table("delete")
        self.put(connection, table, {"customer": {"S": "abc"}, "date": {"S": "1"}, "n": {"N": "1"}})
        self.open_item(table, "abc", "1")
        self.click("Delete …")
        self.wait("document.querySelector('dialog[open]')")
        self.wait_text("Delete this item?", "dialog")
        self.picture("delete")
        self.assertEqual(self.value("document.activeElement.textContent"), "Cancel")
        self.browser.key("Escape")
        self.wait("!document.querySelector('dialog')")
        self.click("Delete …")
        self.browser.key("Enter")  # on the focused element
        self.wait("!document.querySelector('dialog')")
        self.assertEqual(self.stored(connection, table, "abc", "1"), {"n": {"N": "1"}})
        self.click("Delete …")
        self.click("Delete", "document.querySelector('dialog')")
        self.wait_text("Deleted.")
        self.wait_text("There are no such items.")
        self.assertIsNone(self.stored(connection, table, "abc", "1"))

    def test_deletion_of_what_has_changed(self):
        table, connection = self.make_table("late")
        item = {"customer": {"S": "abc"}, "date": {"S": "1"}}
        self.put(connection, table, {**item, "n": {"N": "1"}})
        self.open_item(table, "abc", "1")
        self.put(connection, table, {**item, "n": {"N": "2"}})
        self.click("Delete …")
        self.click("Delete", "document.querySelector('dialog')")
        self.wait_text("The item has changed since it was read.")
        self.assertEqual(self.stored(connection, table, "abc", "1"), {"n": {"N": "2"}})
        self.click("Delete it as it is now …")
        self.click("Delete", "document.querySelector('dialog')")
        self.wait_text("Deleted.")
        self.assertIsNone(self.stored(connection, table, "abc", "1"))

    def test_changes_that_are_not_stored_are_kept(self):
        table, connection = self.make_table("drafts")
        item = {"customer": {"S": "abc"}, "date": {"S": "1"}}
        self.put(connection, table, {**item, "n": {"N": "1"}})
        self.open_item(table, "abc", "1")
        self.write('{ "n": { "N": "7" } }')
        self.show_table(table)
        self.put(connection, table, {**item, "n": {"N": "2"}})
        self.click("abc")
        self.wait_text("They are not stored yet, and the item has changed since you began.")
        self.assertEqual(self.value(f"{TEXT}.value"), '{ "n": { "N": "7" } }')
        # The browser asks before it closes the page.
        self.browser.go("about:blank")
        self.wait("location.href === 'about:blank'")
        self.assertIn("beforeunload", [event["params"]["type"] for event in self.browser.events
                                       if event["method"] == "Page.javascriptDialogOpening"])
        self.open_console()
        self.show_table(table)
        self.click("abc")
        self.wait(f"{TEXT}?.value.includes('\"N\": \"2\"')")
