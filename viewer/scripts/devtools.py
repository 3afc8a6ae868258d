"""Headless Chromium driven over its DevTools protocol, for the viewer's browser test and the
page's frame-rate measurement. Needs the system's chromium and python3-websocket."""
import json
import os
import shutil
import subprocess
import tempfile
import time
import urllib.request


def find_chromium():
    for name in ("chromium", "chromium-browser", "google-chrome"):
        path = shutil.which(name)
        if path:
            return path
    return None


class Browser:
    """One headless browser with one page; close() ends it and removes its profile."""

    def __init__(self, chromium, width=1400, height=1100):
        import websocket  # only needed once a browser runs

        self.profile = tempfile.mkdtemp(prefix="pellucid-chromium-")
        self.process = subprocess.Popen(
            [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-background-timer-throttling", "--remote-debugging-port=0",
             f"--user-data-dir={self.profile}", f"--window-size={width},{height}", "about:blank"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        port = self._port()
        with urllib.request.urlopen(f"http://127.0.0.1:{port}/json/list") as r:
            pages = [t for t in json.load(r) if t["type"] == "page"]
        self.socket = websocket.create_connection(pages[0]["webSocketDebuggerUrl"], timeout=30)
        self.next_id = 0

    def _port(self):
        active = os.path.join(self.profile, "DevToolsActivePort")
        deadline = time.time() + 30
        while time.time() < deadline:
            if os.path.exists(active):
                with open(active) as f:
                    line = f.readline().strip()
                if line:
                    return int(line)
            if self.process.poll() is not None:
                break
            time.sleep(0.1)
        self.close()
        raise RuntimeError("chromium did not open its DevTools port")

    def call(self, method, **params):
        self.next_id += 1
        self.socket.send(json.dumps({"id": self.next_id, "method": method, "params": params}))
        while True:
            message = json.loads(self.socket.recv())
            if message.get("id") == self.next_id:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message.get("result", {})

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait_for(self, expression, seconds=20):
        deadline = time.time() + seconds
        while time.time() < deadline:
            value = self.evaluate(expression)
            if value:
                return value
            time.sleep(0.2)
        return None

    def close(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        shutil.rmtree(self.profile, ignore_errors=True)


class View:
    """`pellucid view` on a free port with its state in a folder of its own."""

    def __init__(self, tool, config=None):
        self.state = tempfile.mkdtemp(prefix="pellucid-view-state-")
        env = dict(os.environ, XDG_STATE_HOME=self.state)
        if config:
            subprocess.run([tool, "load", config], env=env, check=True, stdout=subprocess.DEVNULL)
        self.env = env
        self.process = subprocess.Popen([tool, "view", "--port", "0"], env=env, stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        if "http://" not in line:
            self.close()
            raise RuntimeError(f"pellucid view did not start: {line!r}")
        self.url = line[line.index("http://"):].split()[0]

    def get(self, path):
        with urllib.request.urlopen(self.url.rstrip("/") + path) as r:
            return json.load(r)

    def close(self):
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait(20)
        shutil.rmtree(self.state, ignore_errors=True)
