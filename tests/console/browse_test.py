"""Reading: directories, tables, pages, searches, single items; whatever they contain."""

import os

from chromium import CONTROL
from consolefixture import ConsoleTest, quoted

MARKUP = '<img src=x onerror="document.title=\'run\'"><script>document.title="run"</script>&amp;<b>'


class Browse(ConsoleTest):
    options = ["--console"]

    def test_ten_thousand_items_page_by_page(self):
        table, connection = self.make_table("large")
        self.put(connection, table, *({"customer": {"S": f"c{n % 10}"}, "date": {"S": f"{n // 10:04}"},
                                       "total": {"N": str(n)}} for n in range(10000)))
        self.show_table(table)
        seen = [tuple(row[:2]) for row in self.rows()]
        self.assertEqual(len(seen), 50)
        for page in range(2, 6):
            self.click("Next")
            self.wait_text(f"Page {page} · 50 items")
            seen += [tuple(row[:2]) for row in self.rows()]
        self.assertEqual(len(set(seen)), 250)
        self.click("Previous")
        self.wait_text("Page 4 ·")
        self.assertEqual([tuple(row[:2]) for row in self.rows()], seen[150:200])
        self.value("history.back()")
        self.wait_text("Page 5 ·")
        self.click("First")
        self.wait_text("Page 1 ·")
        self.assertEqual([tuple(row[:2]) for row in self.rows()], seen[:50])
        # The rest as the page reads it, to the end.
        found = self.value(f"""import("/console/pages.js").then(async ({{ readPage }}) => {{
            const search = {{ table: {quoted(table)}, hash: "", condition: "", operands: [] }};
            const keys = new Set();
            let pages = 0;
            for (let start = null; pages === 0 || start; ++pages) {{
                const page = await readPage(search, start, 500);
                page.items.forEach((item) => keys.add(item.customer.S + item.date.S + item.total.N));
                start = page.next;
            }}
            return [keys.size, pages];
        }})""")
        self.assertEqual(found[0], 10000)
        self.assertIn(found[1], (20, 21))

    def test_by_hash_key_and_range_condition(self):
        table, connection = self.make_table("search")
        self.put(connection, table, *({"customer": {"S": customer}, "date": {"S": f"2012-{month:02}"}}
                                      for customer in ("abc", "Müller") for month in range(1, 7)))
        self.show_table(table)
        self.fill("customer", "Müller")

        def expect(months):
            self.wait("!document.querySelector('[aria-busy]')")
            self.wait(f"JSON.stringify([...document.querySelectorAll('main tbody tr')].map("
                      f"(row) => row.cells[0].textContent + row.cells[1].textContent.slice(-1))) === "
                      f"JSON.stringify({quoted(list(months))}.map((month) => 'Müller' + month))")

        self.click("Show")
        expect("123456")
        for operator, values, months in (
                ("=", ["2012-03"], "3"), ("<", ["2012-03"], "21"), ("≤", ["2012-03"], "321"),
                (">", ["2012-03"], "456"), ("≥", ["2012-03"], "3456"), ("between", ["2012-02", "2012-04"], "234"),
                ("begins with", ["2012-0"], "123456")):
            with self.subTest(operator):
                self.choose("date", operator)
                for label, value in zip(("Value", "And"), values):
                    self.fill(label, value)
                self.browser.key("Enter")
                expect(months)
                self.assertEqual(self.value("[...document.querySelectorAll('select')].at(-1).selectedOptions[0].text"),
                                 "descending" if operator in "<≤" else "ascending")
        self.choose("date", "any")
        self.choose("Order", "descending")
        self.click("Show")
        expect("654321")
        self.fill("customer", "nobody")
        self.browser.key("Enter")
        self.wait_text("There are no such items.")
        self.click("All items")
        self.wait_text("12 items")

    def test_pages_of_a_search(self):
        table, connection = self.make_table("pages")
        self.put(connection, table, *({"customer": {"S": "abc"}, "date": {"S": f"{day:03}"}} for day in range(120)))
        for search, days in (({"isDown": True}, range(119, -1, -1)),
                             ({"condition": "LE", "operands": ["110"]}, range(110, -1, -1)),
                             ({"condition": "GT", "operands": ["009"]}, range(10, 120)),
                             ({"condition": "BEGINS_WITH", "operands": ["0"]}, range(100)),
                             ({"condition": "BETWEEN", "operands": ["005", "118"]}, range(5, 119))):
            self.show_table(table, hash="abc", **search)
            seen = [row[1] for row in self.rows()]
            while self.value("Boolean(document.querySelector('a[rel=next]'))"):
                page = int(self.value("document.querySelector('#page').textContent.split(' ')[1]"))
                self.click("Next")
                self.wait_text(f"Page {page + 1} ·")
                seen += [row[1] for row in self.rows()]
            self.assertEqual(seen, [f"{day:03}" for day in days], search)

    def test_markup_stays_text(self):
        table, connection = self.make_table(f"dir{MARKUP.replace('/', '')}", MARKUP.replace("/", ""), (MARKUP, "b<i>"))
        self.put(connection, table, {MARKUP: {"S": MARKUP}, "b<i>": {"S": "<u>"}, "x" + MARKUP: {"S": MARKUP},
                                     "set": {"SS": [MARKUP, "<i>"]}})
        self.browser.go("about:blank")
        self.browser.go(self.http.address)
        self.wait_text("<script>", "nav")
        self.show_table(table)
        self.assertEqual(self.rows(), [[MARKUP, "<u>", f"{{ {MARKUP}, <i> }}", MARKUP]])
        self.click(MARKUP, "document.querySelector('main tbody')")
        self.wait("document.querySelector('textarea')")
        self.assertIn(quoted(MARKUP), self.value("document.querySelector('textarea').value"))
        directory = table.rsplit("|", 1)[0]
        self.value(f"location.hash = '#/directory?' + new URLSearchParams({{ name: {quoted(directory)} }})")
        self.wait_text("No backup is running.")
        self.assertEqual(self.value("document.querySelectorAll("
                                    "'main img, main b, main u, main script, nav img').length"), 0)
        self.assertNotEqual(self.value("document.title"), "run")

    def test_any_text(self):
        table, connection = self.make_table("texts", "größe")
        values = {"japanese": "日本語", "arabic": "مرحبا", "emoji": "👩‍👩‍👧 ✓", "control": "a\tb\nc\0d",
                  "reversed": "a\u202eb", "empty": "", "number": "12345678901234567890123"}
        item = {"customer": {"S": "Müller & Söhne?#/%"}, "date": {"S": ""}}
        self.put(connection, table, {**item, **{name: {"S": text} for name, text in values.items() if name != "number"},
                                     "number": {"N": values["number"]}, "binary": {"B": "AAEC"}})
        self.show_table(table)
        self.assertEqual(self.rows()[0][:2], ["Müller & Söhne?#/%", "empty"])
        self.click("Müller & Söhne?#/%")
        text = self.wait("document.querySelector('textarea')?.value")
        for value in values.values():
            self.assertIn(quoted(value)[1:-1] if value in ("a\tb\nc\0d",) else value, text)
        self.assertEqual(self.value("document.querySelector('h1').textContent"), "Müller & Söhne?#/% · ")
        self.wait("document.querySelector('nav [aria-current]')?.textContent === 'größe'")  # with the next report

    def test_large_item(self):
        table, connection = self.make_table("big")
        self.put(connection, table, {"customer": {"S": "abc"}, "date": {"S": "1"}, "text": {"S": "x" * 500000 + "end"}})
        self.show_table(table)
        self.assertEqual(self.rows()[0][2], "x" * 160 + "…")
        self.click("abc")
        self.wait("document.querySelector('textarea')?.value.includes('xend\"')")
        self.wait_text("488 KiB as stored")

    def test_read_only(self):
        table, connection = self.make_table("readonly")
        self.put(connection, table, {"customer": {"S": "abc"}, "date": {"S": "1"}, "n": {"N": "1"}})
        self.wait_text("read-only", "#top")
        self.show_table(table)
        self.assertNotIn("New item", self.value("document.querySelector('main').innerText"))
        self.click("abc")
        self.wait_text("Read-only: quorva-http was started without --console-write.")
        self.browser.click("document.querySelector('textarea')")
        self.browser.retype("{}")
        self.browser.key("s", CONTROL)
        self.assertIn('"n": { "N": "1" }', self.value("document.querySelector('textarea').value"))
        self.assertEqual(self.value("[...document.querySelectorAll('main button')].length"), 0)
        # Also for a page that has been tampered with.
        self.assertEqual(self.value(f"""import("/console/store.js").then(({{ commitItem }}) =>
            commitItem({quoted(table)}, {{ hash: "abc", range: "1" }}, '{{"n":{{"N":"1"}}}}', "{{}}"))
            .catch((error) => error.message)"""),
                         "The console is read-only; start quorva-http with --console-write")
        self.assertEqual(self.stored(connection, table, "abc", "1"), {"n": {"N": "1"}})

    def test_what_is_not_there(self):
        table, _ = self.make_table("gaps")
        self.value(f"""import("/console/links.js").then(({{ links }}) => {{
            location.hash = links.item({quoted(table)}, "no", "one"); }})""")
        self.wait_text("There is no such item.")
        self.value("location.hash = '#/item?table=' + encodeURIComponent(" + quoted(table) + ") + '&key=1'")
        self.wait_text("This address names no item.")
        missing = os.path.join(self.scratch.name, "none")
        self.value(f"location.hash = '#/directory?name=' + encodeURIComponent({quoted(missing)})")
        self.wait_text(f'The directory "{missing}" does not exist.')
        self.value("location.hash = '#/unknown'")
        self.wait("document.querySelector('h1')?.textContent === 'Live'")
