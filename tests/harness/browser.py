"""Headless Chromium, driven by its DevTools protocol over a pipe."""

import base64
import json
import os
import shutil
import subprocess
from pathlib import Path

WAIT = "new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => done(true))))"


class Browser:
    """One page of one browser. `problems` holds what its console and its log had to say."""

    def __init__(self, home: Path):
        self.problems: list[str] = []
        self.number = 0
        self.session = ""
        self.rest = b""
        read, self.to = os.pipe()
        self.of, write = os.pipe()
        arguments = ["--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--remote-debugging-pipe",
                     "--disable-dev-shm-usage", f"--user-data-dir={home}", "about:blank"]
        # The browser looks for its ends of the pipes at 3 and 4.
        command = ["bash", "-c", f'exec "$0" "$@" 3<&{read} 4>&{write}', shutil.which("chromium") or "chromium"]
        self.process = subprocess.Popen([*command, *arguments], pass_fds=(read, write), stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(read)
        os.close(write)
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.call(f"{domain}.enable")

    def __enter__(self) -> "Browser":
        return self

    def __exit__(self, *_) -> None:
        self.process.kill()
        self.process.wait()
        os.close(self.to)
        os.close(self.of)

    def _next(self) -> dict:
        while b"\0" not in self.rest:
            more = os.read(self.of, 1 << 20)
            assert more, "the browser has ended"
            self.rest += more
        text, _, self.rest = self.rest.partition(b"\0")
        said = json.loads(text)
        if said.get("method") in ("Log.entryAdded", "Runtime.consoleAPICalled", "Runtime.exceptionThrown"):
            self.problems.append(json.dumps(said["params"]))
        return said

    def call(self, method: str, **parameters) -> dict:
        self.number += 1
        asked = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            asked["sessionId"] = self.session
        os.write(self.to, json.dumps(asked).encode() + b"\0")
        while True:
            said = self._next()
            if said.get("id") == self.number:
                assert "error" not in said, said
                return said["result"]

    def open(self, path: Path, width: int, dark: bool) -> None:
        scheme = "dark" if dark else "light"
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1, mobile=False)
        self.call("Page.navigate", url=path.resolve().as_uri())
        while self._next().get("method") != "Page.loadEventFired":
            pass
        self.evaluate(WAIT)

    def evaluate(self, script: str):
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        assert "exceptionDetails" not in result, result
        return result["result"].get("value")

    def picture(self, height: int | None = None) -> bytes:
        """A PNG of the page, or of its top."""
        size = self.call("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": 0, "y": 0, "width": size["width"], "height": height or size["height"], "scale": 1}
        data = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=True, clip=clip)["data"]
        return base64.b64decode(data)
