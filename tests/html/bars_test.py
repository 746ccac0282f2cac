#!/usr/bin/env python3
"""How large pages are and how fast they open and move, in real time: bars_test.py PWRHOST [ELEMENTS]

The limits on time are three times what is promised, as other programs may be running.
"""

import os
import resource
import subprocess
import sys
import tempfile

from browser import Browser, without_network

ENTITIES, METRICS = 16, 8
SLACK = 3
STEPS = """
return (async () => {
    const main = document.getElementById('lanes'), times = [];
    for (const key of 'wwdwdaassw') {
        const start = performance.now();
        document.dispatchEvent(new KeyboardEvent('keydown', {key}));
        while (main.getAttribute('aria-busy') !== 'false') await new Promise(done => setTimeout(done));
        times.push(performance.now() - start);
    }
    return times.sort((a, b) => a - b)[times.length >> 1];
})()"""


def write_stream(path, elements):
    with open(path, "w") as file:
        for entity in range(1, ENTITIES + 1):
            file.write(f'{{"def":"entity","id":{entity},"name":"CPU{entity}"}}\n')
        for metric in range(METRICS):
            file.write(f'{{"def":"metric","id":{metric + 10},"name":"Metric {metric}","type":"SAMPLED_VALUE","entities":[]}}\n')
        file.write('{"msg":"system","tscMHz":2600,"start":0}\n')
        state, ticks = 1, 0
        for _ in range(elements // (ENTITIES * METRICS)):
            state = state * 6364136223846793005 % 2**64
            ticks += 2_600_000 + state % 40000
            for metric in range(METRICS):
                data = ",".join(f'{{"e":{entity},"dur":2600000,"v":{{"r":{(state >> entity * 2 + metric) % 100000 / 100}}}}}'
                                for entity in range(1, ENTITIES + 1))
                file.write(f'{{"msg":"metric","metric":{metric + 10},"t":{ticks},"data":[{data}]}}\n')


def cpu_seconds(*command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main():
    elements = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
    failures = []

    def check(what, figure, limit):
        print(f"{what}: {figure:.3g} (promised: {limit:.3g})")
        if figure > limit * (SLACK if "seconds" in what else 1):
            failures.append(what)

    with tempfile.TemporaryDirectory() as folder:
        stream, page = os.path.join(folder, "run.ndjson"), os.path.join(folder, "run.html")
        write_stream(stream, elements)
        spent = cpu_seconds(sys.argv[1], "replay", "-w", "html", "-o", page[:-5], stream) \
            - cpu_seconds(sys.argv[1], "replay", "-w", "none", stream)
        check("seconds of the processor to write a million elements", spent / elements * 1e6, 1)
        if elements <= 1_000_000:
            check("bytes of an element", os.path.getsize(page) / elements, 8)
        with Browser(1280, 1600) as browser:
            browser.open(page)
            browser.settle()
            check("seconds to the first picture", browser.run("return performance.now()") / 1000, 1 if elements <= 1_000_000 else 3)
            check("seconds of a step", browser.run(STEPS) / 1000, 0.1)
    if failures:
        sys.exit("bars_test: too much: " + ", ".join(failures))


if __name__ == "__main__":
    without_network()
    main()
