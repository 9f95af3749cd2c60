"""Who gets in and how: tokens, policy, keyboard, screen reader, narrow windows, dark mode."""

from consolefixture import ConsoleTest, quoted

WIDE = "document.documentElement.scrollWidth - document.documentElement.clientWidth"


class Access(ConsoleTest):

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.table, connection = cls.make_table()
        cls.put(connection, cls.table, *({
            "customer": {"S": "abc"}, "date": {"S": f"2012-{n:02}"}, "total": {"N": str(n)},
            **{f"attribute{m}": {"S": "a longer text " * 4} for m in range(5)}} for n in range(60)))
        cls.open_console()

    def views(self):
        """The address of each view."""
        return self.value(f"""import("/console/links.js").then(({{ links }}) => ({{
            live: links.overview, directory: links.directory({quoted(self.table.split('|')[0])}),
            table: links.table({{ table: {quoted(self.table)}, hash: "abc", condition: "BETWEEN",
                operands: ["2012-01", "2012-55"] }}),
            item: links.item({quoted(self.table)}, "abc", "2012-05"), new: links.newItem({quoted(self.table)}) }}))""")

    def show(self, address):
        self.value(f"location.hash = {quoted(address)}")
        self.wait_view()

    def test_token(self):
        for address in (self.http.page, f"{self.http.page}#token=0123"):
            with self.subTest(address):
                self.value("sessionStorage.clear()")
                self.browser.go("about:blank")
                self.browser.go(address)
                self.wait_text("This console needs a token")
                self.assertEqual(self.value("document.querySelectorAll('nav a').length"), 0)
                self.assertEqual(self.value("document.activeElement.type"), "password")
        self.browser.type("wrong")
        self.browser.key("Enter")
        self.wait("document.activeElement.value === ''")
        self.wait_text("The token of this tab is not that of the running quorva-http.")
        self.browser.type(self.http.token)
        self.browser.key("Enter")
        self.wait("document.querySelector('main h1')?.textContent === 'Live'")
        # The token is removed from the address immediately, and a reload no longer needs it.
        self.open_console()
        self.assertEqual(self.value("location.href"), f"{self.http.page}#/")
        self.browser.reload()
        self.wait("document.querySelector('main h1')?.textContent === 'Live'")
        self.assertEqual(self.value("document.cookie"), "")
        self.assertNotIn(self.http.token, self.http.error_text().replace(self.http.address, ""))

    def test_nothing_but_its_own_origin(self):
        for address in self.views().values():
            self.show(address)
        origin = self.http.page.removesuffix("/console")
        foreign = [one for one in self.browser.addresses()
                   if not one.startswith((origin + "/console", "about:", "data:"))]
        self.assertEqual(foreign, [])
        self.assertFalse([one for one in self.browser.addresses() if self.http.token in one.split("#")[0]])
        self.assertEqual(self.browser.complaints(), [])
        self.provoked = ("Content Security Policy", "requires 'Trusted")
        # The policy is enforced: nothing from elsewhere, no script in the page, no text as markup.
        for attempt, refusal in (
                ("fetch('http://localhost:1/')", "TypeError"), ("document.body.innerHTML = '<b>'", "TypeError"),
                ("Object.assign(document.createElement('script'), { text: 'window.ran = 1' })", "TypeError"),
                ("eval('window.ran = 1')", "EvalError")):
            with self.subTest(attempt):
                self.assertEqual(self.value(f"(async () => await ({attempt}))().catch((error) => error.name)"), refusal)
        self.assertIsNone(self.value("window.ran"))

    def test_keyboard_alone(self):
        self.value("location.hash = '#/'")
        self.browser.reload()
        self.wait_text("orders", "nav")

        def reach(text):
            """Tab by tab to the control with this text or label."""
            for _ in range(60):
                self.browser.key("Tab")
                if self.value("document.activeElement?.labels?.[0]?.textContent ?? "
                              "document.activeElement?.textContent.trim()") == text:
                    self.assertNotEqual(self.value("getComputedStyle(document.activeElement).outlineStyle"), "none")
                    return
            self.fail(f"no way to {text}")

        reach("Skip to the content")
        self.browser.key("Enter")
        self.assertEqual(self.value("document.activeElement.id"), "main")
        self.browser.reload()
        self.wait_text("orders", "nav")
        reach("orders")
        self.browser.key("Enter")
        self.wait_text("Page 1 · 50 items")
        reach("customer")
        self.browser.type("abc")
        self.browser.key("Tab")
        self.browser.key("ArrowDown")  # "="
        self.browser.key("Tab")
        self.browser.type("2012-07")
        self.browser.key("Enter")
        self.wait_text("Page 1 · 1 items")
        reach("abc")
        self.browser.key("Enter")
        self.wait("document.querySelector('textarea')")
        reach("Attributes")
        self.browser.retype('{ "total": { "N": "70" } }')
        reach("Store")
        self.browser.key("Enter")
        self.wait_text("Stored.")
        reach("Delete …")
        self.browser.key("Enter")
        self.wait("document.querySelector('dialog')")
        self.browser.key("Tab")
        self.browser.key("Enter")
        self.wait_text("Deleted.")

    def test_screen_reader(self):
        views = self.views()
        roles = {"live": [("banner", ""), ("navigation", "Tables"), ("main", ""), ("heading", "Live"),
                          ("combobox", "Cache, log and flushes of"), ("link", "orders")],
                 "directory": [("table", "Tables"), ("rowheader", "orders"), ("columnheader", "Hash key"),
                               ("textbox", "Target directory"), ("button", "Start a backup")],
                 "table": [("search", ""), ("textbox", "customer"), ("combobox", "date"), ("textbox", "Value"),
                           ("textbox", "And"), ("button", "Show"), ("region", "Items"), ("table", "Items"),
                           ("columnheader", "total"), ("link", "Next"), ("group", "Pages")],
                 "item": [("textbox", "Attributes"), ("button", "Store"), ("button", "Delete …")],
                 "new": [("textbox", "customer"), ("textbox", "date"), ("button", "Create")]}
        for view, wanted in roles.items():
            with self.subTest(view):
                self.show(views[view])
                tree = self.browser.accessible()
                names = {(role, name) for role, name, _ in tree}
                self.assertEqual([one for one in wanted if one not in names], [])
                # Every control has a name, and so has every picture.
                unnamed = [(role, name) for role, name, _ in tree if name == "" and role in (
                    "link", "button", "textbox", "combobox", "image", "table", "dialog")]
                self.assertEqual(unnamed, [])
                self.assertEqual(len([role for role, _, properties in tree if role == "heading"
                                      and properties.get("level") == 1]), 1)
        self.show(views["live"])
        self.assertTrue([name for role, name, _ in self.browser.accessible()
                         if role == "image" and name.startswith("Requests per second:")])

    def test_narrow_window_and_dark_mode(self):
        views = self.views()
        for width in (360, 1280):
            for scheme in ("light", "dark"):
                self.browser.resize(width, 800)
                self.browser.prefer(scheme)
                for view, address in views.items():
                    with self.subTest(f"{view} {width} {scheme}"):
                        self.show(address)
                        self.assertLessEqual(self.value(WIDE), 0)
                        self.assert_legible()
                        self.picture(f"{view}-{width}-{scheme}")
        self.browser.prefer("light")

    def assert_legible(self):
        """Each text has a contrast of 4.5 or more with what is behind it."""
        self.assertEqual(self.value("""(() => {
            const parts = (colour) => colour.match(/[\\d.]+/g).map(Number);
            const light = (colour) => colour.slice(0, 3).map((part) => part / 255)
                .map((part) => (part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4))
                .reduce((sum, part, at) => sum + part * [0.2126, 0.7152, 0.0722][at], 0);
            const behind = (one) => { for (; one; one = one.parentElement) {
                const colour = parts(getComputedStyle(one).backgroundColor);
                if (colour.length === 3 || colour[3] > 0) return colour; } return [255, 255, 255]; };
            const found = [];
            for (const one of document.querySelectorAll("body *")) {
                if (![...one.childNodes].some((node) => node.nodeType === 3 && node.textContent.trim()) ||
                    !one.checkVisibility() || one.closest("svg, option, [disabled], .off, .unseen, .skip, .loading"))
                    continue;
                const [text, back] = [light(parts(getComputedStyle(one).color)), light(behind(one))];
                const contrast = (Math.max(text, back) + 0.05) / (Math.min(text, back) + 0.05);
                if (contrast < 4.5) found.push([one.textContent.slice(0, 30), contrast]);
            }
            return found;
        })()"""), [])
