#!/usr/bin/env python3
"""Frames a second the viewer's page draws in headless Chromium, against what the board delivers
and the viewer serves, in the same run.
Usage: /usr/bin/python3 bench/viewer_page_fps.py build/default/bin/pellucid [RATE] [SECONDS]
RATE: the simulator's trigger rate (FG_TRIGGER_FRAMESPERSECOND, default 50)."""
import json
import os
import sys
import time
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "viewer", "scripts"))
import devtools  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))


def main(tool, rate="50", seconds="10"):
    chromium = devtools.find_chromium()
    if not chromium:
        print("chromium is not installed")
        return 1
    view = devtools.View(tool, os.path.join(HERE, "..", "examples", "simulator.mcf"))
    browser = None
    try:
        view.get("/api/status")
        body = json.dumps({"name": "FG_TRIGGER_FRAMESPERSECOND", "value": rate}).encode()
        urllib.request.urlopen(view.url + "api/parameters", data=body).close()
        browser = devtools.Browser(chromium)
        browser.call("Page.navigate", url=view.url)
        browser.wait_for("window.viewerStats && window.viewerStats.drawn > 10")
        first = browser.evaluate("window.viewerStats.drawn")
        start_status = view.get("/api/status")
        started = time.time()
        time.sleep(float(seconds))
        drawn = browser.evaluate("window.viewerStats.drawn") - first
        elapsed = time.time() - started
        status = view.get("/api/status")
        page = drawn / elapsed
        served = (status["sequence"] - start_status["sequence"]) / elapsed
        board = (status["picture"] - start_status["picture"]) / elapsed
        print(f"board {board:.1f} frames/s, encoded {served:.1f}, page drew {page:.1f} "
              f"({page / board:.3f} of the board's) over {elapsed:.1f} s")
    finally:
        if browser:
            browser.close()
        view.close()
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
