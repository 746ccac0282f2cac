#!/usr/bin/env python3
"""The page in a real browser, without network: page_test.py PWRHOST"""

import os
import random
import subprocess
import sys
import tempfile
import unittest

import streams
from browser import Browser, without_network

PWRHOST = None
COLUMNS = ["count", "skipped", "mean", "min", "max", "total", "share", "energy"]
READ_TABLE = """
return [...document.querySelectorAll('#selection tbody tr')].map(row => [
    [row.dataset.metric, row.dataset.entity, row.dataset.state],
    Object.fromEntries([...row.querySelectorAll('td[data-col]')].map(cell =>
        [cell.dataset.col, cell.querySelector('data')?.value ?? null]))]);
"""
READ_FIELDS = "return ['from', 'to', 'select-from', 'select-to', 'filter'].map(id => document.getElementById(id).value)"


def replay(stream, folder, name, *options):
    path = os.path.join(folder, name + ".ndjson")
    stream.write(path)
    subprocess.run([PWRHOST, "replay", "-w", "html", "-o", os.path.join(folder, name), *options, path], check=True)
    return os.path.join(folder, name + ".html")


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.stream = streams.of_all_kinds()
        cls.page = replay(cls.stream, cls.folder.name, "kinds")
        cls.browser = Browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()
        cls.folder.cleanup()

    def open(self, page=None, fragment=""):
        self.browser.requests()
        self.browser.console()
        self.browser.open(page or self.page, fragment)
        self.browser.settle()

    def select(self, begin, end):
        self.browser.enter("#select-from", repr(begin))
        self.browser.enter("#select-to", repr(end))
        self.browser.settle()

    def table(self):
        rows = self.browser.run(READ_TABLE)
        table = {tuple(key): {column: text for column, text in cells.items() if text is not None} for key, cells in rows}
        self.assertEqual(len(rows), len(table), "two rows of one series")
        for cells in (cells for _, cells in rows):
            self.assertEqual(sorted(cells), sorted(COLUMNS))
        return table

    def check_table(self, stream, begin, end):
        table, expected = self.table(), stream.expected(begin, end)
        self.assertEqual(set(table), set(expected))
        for key, row in expected.items():
            got = {column: float(text) for column, text in table[key].items()}
            self.assertEqual(set(got), set(row), key)
            for column, number in row.items():
                if column in ("count", "skipped", "min", "max"):
                    self.assertEqual(got[column], number, (key, column))
                else:
                    self.assertAlmostEqual(got[column], number, delta=1e-9 * abs(number), msg=(key, column))

    def test_selection_says_what_the_stream_says(self):
        self.open()
        rng = random.Random(5)
        times = sorted({streams.seconds(element[3]) for element in self.stream.elements})
        bounds = [(times[0], times[-1]), (times[3], times[4]), (-1.0, 1e6), (times[10], times[10])]
        bounds += [tuple(sorted((rng.choice(times), rng.uniform(0, times[-1])))) for _ in range(6)]
        for begin, end in bounds:
            self.select(begin, end)
            self.check_table(self.stream, begin, end)
        self.assertEqual([entry for entry in self.browser.console() if entry["level"] == "SEVERE"], [])

    def test_reduced_page_grows_the_selection(self):
        stream = streams.of_all_kinds(3000, seed=2)
        self.open(replay(stream, self.folder.name, "reduced", "--max-points", "9000"))
        self.assertGreater(int(self.browser.run("return document.getElementById('reduced').textContent.match(/\\d+/)[0]")), 1)
        last = streams.seconds(stream.elements[-1][3])
        for begin, end in [(0.1 * last, 0.2 * last), (0.5 * last, 0.5 * last + 0.001), (0.0, last), (-1.0, 1e6)]:
            self.select(begin, end)
            self.browser.settle()
            _, _, shown_begin, shown_end, _ = self.browser.run(READ_FIELDS)
            self.assertLessEqual(float(shown_begin), begin)
            self.assertGreaterEqual(float(shown_end), end)
            self.assertLess(float(shown_end) - float(shown_begin), end - begin + 0.05 * last)
            self.check_table(stream, float(shown_begin), float(shown_end))

    def test_loads_nothing_and_runs_nothing_foreign(self):
        self.open()
        self.assertEqual([url for url in self.browser.requests() if url.startswith(("http", "file", "ws"))],
                         ["file://" + self.page])
        self.assertEqual(self.browser.console(), [])
        self.assertIsNone(self.browser.run("return document.querySelector('img')"))
        names = self.browser.run("return [...document.querySelectorAll('.lane')].map(l => [l.dataset.group, l.dataset.metric, l.dataset.type])")
        groups = {line["name"]: line["group"] for line in self.stream.lines if line.get("def") == "metric"}
        self.assertEqual({name: group for group, name, _ in names}, groups)
        self.assertEqual({name: kind for _, name, kind in names}, {name: m["type"] for name, m in self.stream.metrics.items()})
        summary = self.browser.run("const t = document.querySelector('#summary table'); return [t.caption.textContent, ...[...t.rows].map(r => [...r.cells].map(c => c.tagName + c.textContent).join())]")
        self.assertEqual(summary, [streams.HOSTILE[0], f"THUser,TH{streams.HOSTILE[2]}", f"TH{streams.HOSTILE[1]},TD12.5"])
        head = self.browser.run("return document.getElementById('head').textContent")
        for text in ["machine", "A processor <fast>", "6.1", "2023-11-14 22:13:20.123 UTC", "collect --now"]:
            self.assertIn(text, head)
        self.assertEqual(self.browser.run("return ['losses', 'reduced'].map(id => document.getElementById(id))"), [None, None])

    def test_fields_keys_and_address(self):
        self.open(fragment="#view=0.25,1.5&select=0.5,0.75")
        self.assertEqual(self.browser.run(READ_FIELDS)[:4], ["0.25", "1.5", "0.5", "0.75"])
        self.check_table(self.stream, 0.5, 0.75)
        for bad in ["#view=2,1", "#view=a,b&select=", "#%%%", "#view=1e999,2", "#select=1,0"]:
            self.open(fragment=bad)
            self.assertEqual(self.browser.run(READ_FIELDS)[2:4], ["", ""])
            self.assertEqual(self.browser.console(), [])
        full = [float(text) for text in self.browser.run(READ_FIELDS)[:2]]
        self.browser.run("document.querySelector('.lane').focus()")
        lengths = []
        for key in ["w", "w", "d", "a", "s"]:
            self.browser.keys(key)
            begin, end = (float(text) for text in self.browser.run(READ_FIELDS)[:2])
            lengths.append(end - begin)
        self.assertTrue(full[1] - full[0] > lengths[0] > lengths[1] < lengths[4])
        self.browser.click("#reset")
        self.assertEqual([float(text) for text in self.browser.run(READ_FIELDS)[:2]], full)
        self.browser.enter("#to", "1e-3x")
        self.assertEqual(float(self.browser.run(READ_FIELDS)[1]), full[1])
        self.browser.enter("#from", "0.30000000000000004")
        self.browser.enter("#to", "0.4")
        self.assertEqual(self.browser.run(READ_FIELDS)[:2], ["0.30000000000000004", "0.4"])
        self.browser.until("return location.hash === '#view=0.30000000000000004,0.4'")
        self.browser.enter("#filter", "switch")
        shown = self.browser.run("return [...document.querySelectorAll('.lane')].filter(l => l.offsetHeight).map(l => l.dataset.metric)")
        self.assertEqual(shown, ["Switches"])
        self.browser.enter("#filter", "wd")
        self.assertEqual(self.browser.run(READ_FIELDS)[:2], ["0.30000000000000004", "0.4"], "keys in a field move nothing")

    def test_answers_leave_alone_what_is_being_typed(self):
        self.open()
        self.browser.run("""
            const [from, to] = ['select-from', 'select-to'].map(id => document.getElementById(id));
            from.value = '0.5';
            from.dispatchEvent(new KeyboardEvent('keydown', {key: 'Enter'}));
            to.value = '0.7';""")
        self.browser.settle()
        self.assertEqual(self.browser.run(READ_FIELDS)[2:4], ["0.5", "0.7"])
        self.browser.run("document.getElementById('select-to').dispatchEvent(new KeyboardEvent('keydown', {key: 'Enter'}))")
        self.browser.settle()
        self.check_table(self.stream, 0.5, 0.7)

    def test_mouse(self):
        self.open()
        begin, end = (float(text) for text in self.browser.run(READ_FIELDS)[:2])
        self.browser.drag(".lane canvas", 0.25, 0.5, shift=True)
        self.browser.settle()
        select = [float(text) for text in self.browser.run(READ_FIELDS)[2:4]]
        for got, share in zip(select, (0.25, 0.5)):
            self.assertAlmostEqual(got, begin + share * (end - begin), delta=0.01 * (end - begin))
        self.check_table(self.stream, *select)
        self.browser.wheel(".lane canvas", -300)
        zoomed = [float(text) for text in self.browser.run(READ_FIELDS)[:2]]
        self.assertLess(zoomed[1] - zoomed[0], 0.9 * (end - begin))
        self.browser.drag(".lane canvas", 0.5, 0.6)
        panned = [float(text) for text in self.browser.run(READ_FIELDS)[:2]]
        self.assertLess(panned[0], zoomed[0])
        self.assertIn("Energy: CPU0 ", self.browser.run("return document.getElementById('cursor').textContent"))
        copied = self.browser.run("let text; addEventListener('copy', e => { text = e.clipboardData.getData('text/plain'); });"
                                  "document.getElementById('copy').click(); return text")
        rows = [line.split("\t") for line in copied.rstrip("\n").split("\n")]
        self.assertEqual(len(rows) - 1, len(self.table()))
        self.assertEqual({len(row) for row in rows}, {11})

    def test_a_spike_among_a_million_shows(self):
        stream = streams.Stream()
        entity = stream.define("entity", "sensor")
        metric = stream.metric("Spike", "SAMPLED_VALUE", "W")
        step = 2400
        stream.write(os.path.join(self.folder.name, "spike.ndjson"))
        path = os.path.join(self.folder.name, "spike.ndjson")
        with open(path, "a") as file:
            for i in range(1, 1_000_001):
                value = 900.5 if i == 700_001 else 5 + i % 3
                file.write(f'{{"msg":"metric","metric":{stream.metrics[metric]["id"]},"t":{streams.START + i * step},'
                           f'"data":[{{"e":{entity},"dur":{step},"v":{{"r":{value}}}}}]}}\n')
        page = path.replace("ndjson", "html")
        subprocess.run([PWRHOST, "replay", "-w", "html", "-o", page[:-5], path], check=True)
        self.assertLess(os.path.getsize(page), 8e6)
        self.open(page)
        high = self.browser.run("""
            const canvas = document.querySelector('.lane canvas'), {width, height} = canvas;
            const pixels = canvas.getContext('2d').getImageData(0, 0, width, height).data;
            const columns = [];
            for (let x = 0; x < width; x++) {
                let painted = 0;
                for (let y = Math.round(height * 0.3); y < height * 0.6; y++) painted += pixels[4 * (y * width + x) + 3] > 60 && pixels[4 * (y * width + x)] < 150;
                if (painted > height * 0.15) columns.push(x / width);
            }
            return columns;""")
        self.assertTrue(high, "no column reaches up")
        for share in high:
            self.assertAlmostEqual(share, 0.7, delta=0.01)

    def test_print_and_no_samples(self):
        self.open()
        self.browser.call("POST", "/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia", "params": {"media": "print"}})
        hidden = self.browser.run("return ['controls', 'cursor'].map(id => document.getElementById(id).offsetHeight)")
        self.browser.call("POST", "/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia", "params": {"media": ""}})
        self.assertEqual(hidden, [0, 0])
        self.open(replay(streams.Stream(), self.folder.name, "empty"))
        self.assertIn("no samples", self.browser.run("return document.body.innerText"))
        self.assertNotIn("UTC", self.browser.run("return document.getElementById('head').textContent"))
        self.assertEqual(self.browser.console(), [])
        timeless = streams.of_all_kinds()
        timeless.system.update(tscMHz=0, stop=streams.START + 10**9)
        self.open(replay(timeless, self.folder.name, "timeless"))
        self.assertEqual(self.browser.run(READ_FIELDS), ["0", "1", "", "", ""])


if __name__ == "__main__":
    without_network()
    PWRHOST = sys.argv.pop(1)
    unittest.main()
