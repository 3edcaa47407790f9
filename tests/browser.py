"""A browser without a screen, driven over a pipe by the DevTools protocol."""

import itertools
import json
import os
import subprocess
import tempfile
import time

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--hide-scrollbars", "--allow-file-access-from-files", "--remote-debugging-pipe"]
KEYS = {"Enter": 13, "Escape": 27, "Tab": 9, "ArrowUp": 38, "ArrowDown": 40, "/": 191}
SHIFT = 8


class Browser:
    """One page, in a window of the given width; a context manager."""

    def __init__(self, chromium, width=1280, dark=False):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        read, self.write = os.pipe()
        self.read, write = os.pipe()
        # Chromium reads commands from descriptor 3 and writes answers to 4.
        self.process = subprocess.Popen(
            ["sh", "-c", f'exec "$@" 3<&{read} 4>&{write}', "sh", chromium, *FLAGS,
             f"--user-data-dir={self.profile.name}", "about:blank"],
            pass_fds=(read, write), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(read)
        os.close(write)
        self.rest, self.ids, self.session = b"", itertools.count(1), None
        targets = self.send("Target.getTargets")["targetInfos"]
        page = next(t["targetId"] for t in targets if t["type"] == "page")
        self.session = self.send("Target.attachToTarget", targetId=page, flatten=True)["sessionId"]
        self.send("Page.enable")
        self.send("Emulation.setDeviceMetricsOverride", width=width, height=844,
                  deviceScaleFactor=1, mobile=width < 600)
        self.send("Emulation.setTouchEmulationEnabled", enabled=width < 600)
        self.send("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(30)
        os.close(self.read)
        os.close(self.write)
        self.profile.cleanup()

    def receive(self):
        while b"\0" not in self.rest:
            block = os.read(self.read, 1 << 16)
            if not block:
                raise RuntimeError("the browser ended")
            self.rest += block
        message, self.rest = self.rest.split(b"\0", 1)
        return json.loads(message)

    def send(self, method, **params):
        """The result of a command; events that come before it are dropped."""
        number = next(self.ids)
        command = {"id": number, "method": method, "params": params}
        if self.session:
            command["sessionId"] = self.session
        os.write(self.write, json.dumps(command).encode() + b"\0")
        while True:
            message = self.receive()
            if message.get("id") == number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]

    def evaluate(self, script):
        """The value of an expression."""
        result = self.send("Runtime.evaluate", expression=script, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{script}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def open(self, url):
        """Loads a page; returns when its scripts have run."""
        self.send("Page.navigate", url="about:blank")
        self.send("Page.navigate", url=url)
        self.wait(f"location.href === {json.dumps(url)} && document.readyState === 'complete'")

    def wait(self, condition):
        """Returns when the expression is true."""
        for _ in range(200):
            if self.evaluate(condition):
                return
            time.sleep(0.05)
        raise RuntimeError(f"not within 10 s: {condition}")

    def press(self, key, modifiers=0):
        text = {"text": {"Enter": "\r", "/": "/"}.get(key)} if key in ("Enter", "/") else {}
        for kind in "keyDown", "keyUp":
            self.send("Input.dispatchKeyEvent", type=kind, key=key, modifiers=modifiers,
                      windowsVirtualKeyCode=KEYS[key], **(text if kind == "keyDown" else {}))

    def type(self, text):
        self.send("Input.insertText", text=text)

    def click(self, selector):
        """Presses the mouse on the middle of an element, once it is in view."""
        x, y = self.evaluate(f"""(() => {{
          const element = document.querySelector({json.dumps(selector)});
          element.scrollIntoView({{block: "nearest", behavior: "instant"}});
          const box = element.getBoundingClientRect();
          return [box.x + box.width / 2, box.y + box.height / 2];
        }})()""")
        for kind, count in ("mouseMoved", 0), ("mousePressed", 1), ("mouseReleased", 1):
            self.send("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left",
                      clickCount=count)

    def picture(self):
        """What the window shows, as the base64 text of a PNG file."""
        return self.send("Page.captureScreenshot", format="png")["data"]
