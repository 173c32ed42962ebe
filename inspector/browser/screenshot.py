#!/usr/bin/python3
"""Makes a picture of the inspector's page over a host that runs.

    screenshot.py INSPECTED_HOST PICTURE.png
"""

import pathlib
import signal
import subprocess
import sys
import tempfile
import time

from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

import page_test


def main(program, picture):
    host = subprocess.Popen([program], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
    browser = page_test.start_browser(folder.name)
    try:
        url = host.stdout.readline().split()[-1]
        browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": 1500, "height": 860, "deviceScaleFactor": 1, "mobile": False},
        )
        browser.get(url)
        WebDriverWait(browser, 20).until(lambda _: browser.find_element(By.ID, "connection").text == "Live")
        browser.find_element(By.CSS_SELECTOR, ".c-readRate button").click()
        browser.find_element(By.ID, "search").send_keys("inspected")
        browser.execute_script(
            "[...document.querySelectorAll('#rows .row')].find((row) =>"
            " row.children[0].textContent === 'InspectedTrace').click()"
        )
        browser.find_element(By.ID, "search").clear()
        browser.execute_script("document.getElementById('search').dispatchEvent(new Event('input'))")
        time.sleep(20)  # until the chart has something to show
        browser.save_screenshot(picture)
    finally:
        browser.quit()
        host.send_signal(signal.SIGINT)
        host.wait(timeout=20)
        folder.cleanup()
    print(f"{picture}: {pathlib.Path(picture).stat().st_size} bytes")


if __name__ == "__main__":
    main(*sys.argv[1:])
