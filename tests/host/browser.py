"""Chromium without a window for the tests of pages, and the count of their cases."""
import base64
import json
import os
import re
import shutil
import subprocess
import sys
import urllib.error
import urllib.request

counts = {"passed": 0, "failed": 0, "skipped": 0}
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


def report(name, is_right, found=None):
    counts["passed" if is_right else "failed"] += 1
    print("passed  " if is_right else "FAILED  ", name + ("" if is_right else f": found {found!r}"))


def same(name, wanted, found):
    report(name, wanted == found, found)


def finish():
    print(f"{counts['passed']} passed, {counts['failed']} failed, {counts['skipped']} skipped")
    sys.exit(1 if counts["failed"] else 0)


def skip(reason):
    counts["skipped"] += 1
    print("SKIPPED ", reason)
    finish()


def find_browser():
    """Ends the test as skipped where there is no browser."""
    for program in ("chromium", "chromedriver"):
        if shutil.which(program) is None:
            skip(program + " is not installed")


class Browser:
    """Chromium through ChromeDriver, which is driven by plain requests."""

    def __init__(self, home):
        self.session = ""
        environment = dict(os.environ, HOME=home, XDG_CONFIG_HOME=home, XDG_CACHE_HOME=home)
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True,
                                       stderr=subprocess.DEVNULL, env=environment)
        self.address = ""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        """Ends the browser and its driver, whatever has failed before."""
        try:
            if self.session:
                self.ask("DELETE", "")
        except (OSError, RuntimeError) as error:
            print("the browser does not end:", error)
        finally:
            self.driver.terminate()
            try:
                self.driver.wait(timeout=60)
            except subprocess.TimeoutExpired:
                self.driver.kill()
                self.driver.wait()
            self.driver.stdout.close()

    def start(self, home, options):
        port = None
        while port is None:
            line = self.driver.stdout.readline()
            if not line:
                raise RuntimeError("chromedriver does not start")
            found = re.search(r"successfully on port (\d+)", line)
            port = found and found.group(1)
        self.address = f"http://127.0.0.1:{port}/session"
        arguments = ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--lang=en",
                     "--no-first-run", "--force-device-scale-factor=1", "--window-size=1280,960",
                     "--user-data-dir=" + os.path.join(home, "profile"), *options]
        wanted = {"goog:chromeOptions": {"args": arguments}, "goog:loggingPrefs": {"browser": "ALL"},
                  "timeouts": {"script": 300000, "pageLoad": 300000}}
        self.session = "/" + self.ask("POST", "", {"capabilities": {"alwaysMatch": wanted}})["sessionId"]

    def ask(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.address + self.session + path, data, {"Content-Type": "application/json"}, method=method)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=600) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(error.read().decode()[:500]) from error

    def open(self, file):
        self.ask("POST", "/url", {"url": "file://" + file})

    def run(self, script):
        return self.ask("POST", "/execute/sync", {"script": script, "args": []})

    def element(self, selector):
        return self.ask("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self.ask("POST", f"/element/{self.element(selector)}/click", {})

    def type(self, selector, text):
        self.ask("POST", f"/element/{self.element(selector)}/value", {"text": text})

    def text(self, selector):
        return self.run(f"return document.querySelector({json.dumps(selector)}).textContent")

    def mouse(self, points):
        """Presses at the first point of the window, moves over the others and lets go at the last."""
        moves = [{"type": "pointerMove", "duration": 0, "x": round(x), "y": round(y)} for x, y in points]
        actions = [moves[0], {"type": "pointerDown", "button": 0}, *moves[1:], {"type": "pointerUp", "button": 0}]
        self.ask("POST", "/actions", {"actions": [{"type": "pointer", "id": "mouse", "actions": actions}]})

    def messages(self):
        return [entry["message"] for entry in self.ask("POST", "/se/log", {"type": "browser"})]

    def screenshot(self, file):
        with open(file, "wb") as picture:
            picture.write(base64.b64decode(self.ask("GET", "/screenshot")))

    def paper(self, file):
        a4 = {"page": {"width": 21.0, "height": 29.7}, "background": True}
        with open(file, "wb") as document:
            document.write(base64.b64decode(self.ask("POST", "/print", a4)))

    def count_work(self):
        """From the next page on; a script that runs before is not counted part by part."""
        self.chrome("Profiler.enable")
        self.chrome("Profiler.startPreciseCoverage", callCount=True, detailed=True)

    def work(self):
        """How often the parts of the page's functions have run since the last time: the same on every machine."""
        counted = self.chrome("Profiler.takePreciseCoverage")["result"]
        return sum(part["count"] for source in counted for function in source["functions"] for part in function["ranges"])

    def chrome(self, command, **parameters):
        return self.ask("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})


def check_in_browser(home, check, *arguments, options=()):
    try:
        with Browser(home) as browser:
            browser.start(home, options)
            check(browser, *arguments)
    except (OSError, RuntimeError, KeyError, TypeError, IndexError) as error:
        report("the browser answers", False, str(error))
