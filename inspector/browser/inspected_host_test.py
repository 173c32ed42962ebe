#!/usr/bin/python3
"""Looks at the demo's inspected host in Chromium, as its first user does.

    inspected_host_test.py INSPECTED_HOST [unittest's arguments...]

Needs what page_test.py needs.
"""

import signal
import subprocess
import sys
import unittest

import page_test
from page_test import cell, element, names, text, until

host_program = ""
setUpModule = page_test.setUpModule


class TheInspectedHost(unittest.TestCase):
    def open(self, *arguments):
        host = subprocess.Popen(
            [host_program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True
        )
        self.addCleanup(host.wait, timeout=60)
        self.addCleanup(host.stdout.close)
        self.addCleanup(host.send_signal, signal.SIGTERM)
        page_test.browser.get(host.stdout.readline().split()[-1])
        until(lambda: text("#connection") == "Live", "the page is live")
        return host

    def test_changes_on_its_own_and_shows_a_stale_switch(self):
        self.open()
        element("#search").send_keys("inspected")
        before = cell("InspectedRefreshRate", "writes")
        until(lambda: cell("InspectedRefreshRate", "writes") != before, "it changes")
        until(lambda: cell("InspectedEnginesRun", "readRate") != "", "it is read")
        element("#report-neverRead").click()
        self.assertEqual(names(), ["InspectedOldRenderer"])
        element("#report-neverRead").click()
        page_test.click_row("InspectedStep")
        self.assertEqual([page_test.place(i)[0] for i in (1, 2, 3)], ["main", "engine 1", "engine 2"])

    def test_shows_what_its_extensions_bring(self):
        self.open()
        element("#report-extension").click()
        shown = names()
        for name in ("LaboratoryFluidTracers", "SketchingAutomaticConstraints", "TranslatorCurveFitting",
                     "ViewportDepthCueing"):
            self.assertIn(name, shown)
        self.assertNotIn("UiDarkTheme", shown)
        page_test.click_row("TranslatorCurveFitting")
        self.assertIn("demo.translator", text("#facts"))

    def test_stops_its_engines_when_they_are_switched_off(self):
        self.open("--port", "0")
        element("#search").send_keys("InspectedEnginesRun")
        page_test.click_row("InspectedEnginesRun")
        element("#places .flip").click()
        until(lambda: cell("InspectedEnginesRun", "value") == "0", "they are off")
        element("#search").clear()
        element("#search").send_keys("InspectedStep")
        until(lambda: cell("InspectedStep", "writeRate") == "", "they stand still")
        element("#undo").click()
        until(lambda: cell("InspectedStep", "writeRate") != "", "they run again")

    def test_may_be_for_reading_only(self):
        self.open("--read-only")
        self.assertEqual(text("#mode"), "Read only")

    def test_ends_cleanly_when_it_is_interrupted(self):
        host = self.open()
        host.send_signal(signal.SIGINT)
        self.assertEqual(host.stdout.read().splitlines()[-1], "Ending.")
        self.assertEqual(host.wait(timeout=60), 0)

    def test_refuses_arguments_that_it_does_not_know(self):
        for arguments in (["--prot", "1"], ["--port"], ["--port", "65536"], ["--port", "1x"]):
            done = subprocess.run([host_program, *arguments], capture_output=True, text=True, timeout=60)
            self.assertEqual(done.returncode, 2, arguments)
            self.assertTrue(done.stderr.startswith("inspected_host: "), done.stderr)


if __name__ == "__main__":
    host_program = sys.argv.pop(1)
    unittest.main(verbosity=2)
