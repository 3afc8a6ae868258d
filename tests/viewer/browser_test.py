#!/usr/bin/env python3
"""The viewer's page in headless Chromium: a picture is drawn, editing a field changes the board,
a refused value shows its reason. Usage: browser_test.py TOOL CONFIG.mcf SCREENSHOT.png
Exits 77 (skipped) without chromium or python3-websocket."""
import base64
import sys

import devtools

SKIPPED = 77


def field(name):
    return f"document.querySelector('.param[data-name=\"{name}\"] input, .param[data-name=\"{name}\"] select')"


def main(tool, config, screenshot):
    chromium = devtools.find_chromium()
    try:
        import websocket  # noqa: F401
    except ImportError:
        chromium = None
    if not chromium:
        print("skipped: chromium or python3-websocket is not installed")
        return SKIPPED
    failures = []

    def check(ok, what):
        if not ok:
            failures.append(what)

    view = devtools.View(tool, config)
    browser = None
    try:
        browser = devtools.Browser(chromium)
        browser.call("Page.navigate", url=view.url)
        check(browser.wait_for("window.viewerStats && window.viewerStats.drawn >= 2"), "no picture drawn")
        # The simulator's picture is not black: the canvas holds what came.
        lit = browser.evaluate("""(() => { const c = document.getElementById('picture');
            const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
            let sum = 0; for (let i = 0; i < d.length; i += 4) sum += d[i] + d[i + 1] + d[i + 2];
            return [c.width, c.height, sum]; })()""")
        check(lit[:2] == [1024, 1024] and lit[2] > 0, f"canvas {lit}")
        check(browser.wait_for("!!" + field("FG_WIDTH")), "no field for FG_WIDTH")

        browser.evaluate(f"(() => {{ const i = {field('FG_WIDTH')}; i.value = '512';"
                         " i.dispatchEvent(new Event('change')); })()")
        check(browser.wait_for("window.viewerStats.width === 512"), "the picture did not follow FG_WIDTH=512")
        values = {p["name"]: p.get("value") for g in view.get("/api/parameters")["groups"] for p in g["parameters"]}
        check(values.get("FG_WIDTH") == "512", f"the board has FG_WIDTH={values.get('FG_WIDTH')}")
        with open(f"{view.state}/pellucid/board0.mcf", encoding="latin-1") as f:
            check("FG_WIDTH=512;" in f.read(), "the working configuration lacks FG_WIDTH=512")

        # The board refuses a width outside its range: the reason shows beside the field.
        browser.evaluate(f"(() => {{ const i = {field('FG_HEIGHT')}; i.step = 'any'; i.max = '999999';"
                         " i.value = '70000'; i.dispatchEvent(new Event('change')); })()")
        error = browser.wait_for("document.querySelector('.param[data-name=\"FG_HEIGHT\"] .error').textContent")
        check(error and "out of range" in error, f"FG_HEIGHT error {error!r}")

        shot = browser.call("Page.captureScreenshot", format="png")
        with open(screenshot, "wb") as f:
            f.write(base64.b64decode(shot["data"]))
        print(f"screenshot: {screenshot}")
    finally:
        if browser:
            browser.close()
        view.close()
    for f in failures:
        print(f"FAILED: {f}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:4]))
