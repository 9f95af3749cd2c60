"""The page's own reader of JSON, run in the browser: what it accepts, and that it loses nothing."""

import json

from consolefixture import ConsoleTest, quoted


class JsonText(ConsoleTest):

    def run_module(self, module, expression):
        return self.value(f"import('/console/{module}').then((module) => {expression})")

    def test_takes_what_json_is(self):
        for text in ("{}", "[]", ' { "a" : [ 1 , -0.5e+7 , true , null , "\\u00e9\\n" ] } ', '"x"', "0", "false",
                     '{"a":{"b":{}},"c":[[],[[]]]}', "\t1\r\n", "12345678901234567890.10"):
            with self.subTest(text):
                flat = self.run_module("jsontext.js", f"module.compact({quoted(text)}, module.parse({quoted(text)}))")
                shown = self.run_module("jsontext.js", f"module.pretty({quoted(text)}, module.parse({quoted(text)}))")
                exact = {"parse_int": str, "parse_float": str}
                self.assertEqual(json.loads(flat, **exact), json.loads(text, **exact))
                self.assertEqual(json.loads(shown, **exact), json.loads(text, **exact))
                self.assertEqual(self.run_module(
                    "jsontext.js", f"module.compact({quoted(shown)}, module.parse({quoted(shown)}))"), flat)

    def test_refuses_what_is_none(self):
        for text in ("", " ", "{", "[1", "[1,]", '{"a"}', '{"a":}', "{a:1}", "'a'", '"a', '"\\x"', '"\\u12"', "01", "1.",
                     ".5", "+1", "1e", "tru", "NaN", "1 2", '{"a":1,}', '"a\nb"', "[" * 600 + "]" * 600, '"\\ud800"',
                     "\ufeff1", "\u00a01", "undefined", "0x10"):
            with self.subTest(text[:20]):
                message = self.run_module("jsontext.js", f"""{{ try {{ module.parse({quoted(text)}); return ""; }}
                    catch (error) {{ return error.message; }} }}""".replace("{ try", "(() => { try", 1) + ")()")
                self.assertRegex(message, r"^Line \d+, column \d+: .")

    def test_figures_as_people_read_them(self):
        for expression, text in (
                ("bytes(0)", "0 B"), ("bytes(1023)", "1023 B"), ("bytes(1536)", "1.5 KiB"), ("bytes(5e9)", "4.7 GiB"),
                ("bytes(NaN)", "–"), ("milliseconds(0.25)", "250 µs"), ("milliseconds(12.3)", "12 ms"),
                ("milliseconds(1500)", "1.5 s"), ("percent(0.5)", "50.0 %"), ("percent(0.99999)", "100.00 %"),
                ("duration(0)", "0 s"), ("duration(61.5)", "1 min 1 s"), ("duration(90000)", "1 d 1 h"),
                ("figure(0.04)", "0"), ("figure(1234)", "1.2K"), ("count(1234567)", "1,234,567"), ("time(0)", "–"),
                ("time(86400.5)", "1970-01-02 00:00:00"), ("line('a\\nb\\u202e')", "a␊b�"), ("line('abc', 2)", "ab…"),
                ("tableOf('a|b|c')", "c"), ("directoryOf('a|b|c')", "a|b")):
            self.assertEqual(self.run_module("format.js", "module." + expression), text, expression)

    def test_latencies_from_classes(self):
        for counts, share, milliseconds in (([0, 0, 0], 0.5, None), ([10, 0, 0], 0.5, 0.05), ([10, 10, 0], 1, 0.2),
                                            ([10, 10, 0], 0.75, 0.15), ([0, 0, 5], 0.5, 0.2)):
            found = self.run_module("live.js", f"module.quantile({counts}, [100, 200], {share})")
            if milliseconds is None:
                self.assertIsNone(found)
            else:
                self.assertAlmostEqual(found, milliseconds)
