"""Drives headless Chromium through chromedriver by the W3C's WebDriver protocol, which is plain HTTP with JSON. It has only
what check_pages.py needs."""

import base64
import json
import os
import pathlib
import re
import subprocess
import urllib.request

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the protocol's name for a reference to an element


class Browser:
    """Runs until the `with` block ends. Every call raises urllib.error.HTTPError if the browser refuses it."""

    def __init__(self, width=1400, height=1050):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        started = (re.search(r"successfully on port (\d+)", line) for line in self.driver.stdout)
        port = next(match[1] for match in started if match)
        self.address = f"http://127.0.0.1:{port}/session"
        arguments = ["--headless=new", "--hide-scrollbars", "--force-device-scale-factor=1", "--disable-gpu",
                     f"--window-size={width},{height}"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")  # Chromium's own sandbox does not work for root
        wanted = {"browserName": "chrome", "goog:chromeOptions": {"args": arguments},
                  "goog:loggingPrefs": {"browser": "ALL"}}
        session = self.post("", {"capabilities": {"alwaysMatch": wanted}})["sessionId"]
        self.address += "/" + session

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.request("DELETE", "", None)
        finally:
            self.driver.terminate()
            self.driver.wait()

    def request(self, method, path, body):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.address + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def post(self, path, body):
        return self.request("POST", path, body)

    def open(self, path):
        self.post("/url", {"url": pathlib.Path(path).resolve().as_uri()})

    def run(self, script, *arguments):
        """Runs the body of a JavaScript function and returns its value."""
        return self.post("/execute/sync", {"script": script, "args": list(arguments)})

    def element(self, selector):
        return self.post("/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self.post(f"/element/{self.element(selector)}/click", {})

    def type(self, selector, text):
        self.post(f"/element/{self.element(selector)}/value", {"text": text})

    def text(self, selector):
        return self.run("return document.querySelector(arguments[0]).textContent.trim()", selector)

    def attribute(self, selector, name):
        return self.run("return document.querySelector(arguments[0]).getAttribute(arguments[1])", selector, name)

    def count(self, selector):
        return self.run("return document.querySelectorAll(arguments[0]).length", selector)

    def select(self, selector, value):
        """Chooses the option of this value."""
        self.click(f'{selector} option[value="{value}"]')

    def role_and_name(self, selector):
        """The role and the name of an element as assistive technology gets them."""
        element = self.element(selector)
        return tuple(self.request("GET", f"/element/{element}/computed{what}", None) for what in ("role", "label"))

    def pointer(self, *steps):
        """Moves the mouse: steps are (x, y) in the window, "down" and "up"."""
        actions = [{"type": "pointerDown", "button": 0} if step == "down" else
                   {"type": "pointerUp", "button": 0} if step == "up" else
                   {"type": "pointerMove", "duration": 50, "x": round(step[0]), "y": round(step[1])} for step in steps]
        self.post("/actions", {"actions": [{"type": "pointer", "id": "mouse", "actions": actions}]})

    def prefer(self, **features):
        """Sets what the person prefers (CSS media features): prefer(color_scheme="dark")."""
        media = [{"name": "prefers-" + name.replace("_", "-"), "value": value} for name, value in features.items()]
        self.post("/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia", "params": {"features": media}})

    def complaints(self):
        """The messages of the browser's console since the last call."""
        return [entry["message"] for entry in self.post("/se/log", {"type": "browser"})]

    def picture(self, path):
        pathlib.Path(path).write_bytes(base64.b64decode(self.request("GET", "/screenshot", None)))
