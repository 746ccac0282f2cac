"""A browser without a window, driven by WebDriver through the standard library."""

import base64
import fcntl
import json
import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

CHROMIUM_ARGUMENTS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-dev-shm-usage",
    "--disable-background-networking", "--disable-component-update", "--disable-sync", "--hide-scrollbars",
]
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
KEYS = {"Enter": "\ue007", "Shift": "\ue008", "Escape": "\ue00c", "Tab": "\ue004", "Left": "\ue012", "Right": "\ue014"}


def without_network():
    """Starts this program anew where there is nothing but the loopback device, if the system lets us have that."""
    if os.environ.get("PWR_IS_WITHOUT_NETWORK"):
        with socket.socket() as any_socket:
            fcntl.ioctl(any_socket, 0x8914, struct.pack("16sh14x", b"lo", 1))  # SIOCSIFFLAGS, IFF_UP
        return
    for place in (["unshare", "--net"], ["unshare", "--user", "--map-root-user", "--net"]):
        if subprocess.run([*place, "true"], stderr=subprocess.DEVNULL).returncode == 0:
            os.environ["PWR_IS_WITHOUT_NETWORK"] = "1"
            os.execvp(place[0], [*place, sys.executable, *sys.argv])


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Browser:
    def __init__(self, width=1280, height=900, dark=False, arguments=()):
        self.folder = tempfile.mkdtemp(prefix="browser-")
        self.port = free_port()
        self.driver = subprocess.Popen(
            ["chromedriver", f"--port={self.port}", "--allowed-ips="], stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, env={**os.environ, "HOME": self.folder})
        self.base = f"http://127.0.0.1:{self.port}"
        self.wait_for_driver()
        flags = CHROMIUM_ARGUMENTS + list(arguments)
        flags += [f"--user-data-dir={self.folder}/profile", f"--window-size={width},{height}"]
        if dark:
            flags += ["--force-dark-mode", "--blink-settings=preferredColorScheme=0"]
        options = {"args": flags, "binary": shutil.which("chromium")}
        capabilities = {"alwaysMatch": {"goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}}
        session = self.call("POST", "/session", {"capabilities": capabilities})
        self.base += "/session/" + session["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()
            shutil.rmtree(self.folder, ignore_errors=True)

    def wait_for_driver(self):
        for _ in range(600):
            try:
                return self.call("GET", "/status")
            except (urllib.error.URLError, ConnectionError):
                time.sleep(0.05)
        raise RuntimeError("chromedriver does not answer")

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def open(self, path, fragment=""):
        # The same file with another fragment would not be loaded again.
        self.call("POST", "/url", {"url": "about:blank"})
        self.call("POST", "/url", {"url": "file://" + os.path.abspath(path) + fragment})

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def settle(self):
        """Waits until all lanes in sight show the view."""
        self.until("return document.getElementById('lanes').getAttribute('aria-busy') === 'false'")

    def until(self, script, seconds=60):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if self.run(script):
                return
            time.sleep(0.02)
        raise RuntimeError("never true: " + script)

    def find(self, selector):
        return self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def type(self, selector, text):
        element = self.find(selector)
        self.call("POST", f"/element/{element}/clear", {})
        self.call("POST", f"/element/{element}/value", {"text": text})

    def enter(self, selector, text):
        self.type(selector, text + KEYS["Enter"])

    def click(self, selector):
        self.call("POST", f"/element/{self.find(selector)}/click", {})

    def keys(self, *keys):
        actions = []
        for key in keys:
            actions += [{"type": "keyDown", "value": KEYS.get(key, key)}, {"type": "keyUp", "value": KEYS.get(key, key)}]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def drag(self, selector, start, end, shift=False):
        """Drags over an element, from one share of its width to another."""
        box = self.run("const r = document.querySelector(arguments[0]).getBoundingClientRect(); return [r.left, r.top, r.width, r.height]", selector)
        at = lambda share: {"type": "pointerMove", "duration": 0, "x": round(box[0] + share * box[2]), "y": round(box[1] + box[3] / 2)}
        pointer = [at(start), {"type": "pointerDown", "button": 0}, at((start + end) / 2), at(end), {"type": "pointerUp", "button": 0}]
        pauses = [{"type": "pause", "duration": 0}] * (len(pointer) - 1)
        keys = [{"type": "keyDown", "value": KEYS["Shift"]}] + pauses + [{"type": "keyUp", "value": KEYS["Shift"]}]
        sources = [{"type": "pointer", "id": "mouse", "parameters": {"pointerType": "mouse"}, "actions": [{"type": "pause", "duration": 0}] + pointer}]
        if shift:
            sources.insert(0, {"type": "key", "id": "keys", "actions": keys})
        self.call("POST", "/actions", {"actions": sources})

    def wheel(self, selector, amount):
        element = {ELEMENT: self.find(selector)}
        scroll = {"type": "scroll", "x": 0, "y": 0, "deltaX": 0, "deltaY": amount, "origin": element}
        self.call("POST", "/actions", {"actions": [{"type": "wheel", "id": "wheel", "actions": [scroll]}]})

    def screenshot(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("GET", "/screenshot")))

    def console(self):
        """What pages said, but for the browser's own one, which may still be loading when the first test begins."""
        return [entry for entry in self.call("POST", "/se/log", {"type": "browser"})
                if not entry["message"].startswith("chrome://")]

    def requests(self):
        """The addresses of all requests, but for the pages that were opened."""
        urls = []
        for entry in self.call("POST", "/se/log", {"type": "performance"}):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                urls.append(message["params"]["request"]["url"])
        return urls
