"""Runs fctrl for the tests beside this file, each of which is called as

    <name>_test.py PROGRAM TOP [EMULATOR...]    TOP is the repository's folder
"""

import json
import os
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

PROGRAM, TOP, *EMULATOR = sys.argv[1:]
TOP = Path(TOP)


class Outcome:
    def __init__(self, code, output, errors):
        self.code = code
        self.output = output
        self.errors = errors
        self.lines = output.splitlines()

    def json(self):
        return json.loads(self.output)


class Case(unittest.TestCase):
    """A test with a folder of its own, in which the program runs."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if isinstance(content, bytes):
            path.write_bytes(content)
        else:
            path.write_text(content if isinstance(content, str) else json.dumps(content), "utf-8", newline="")
        return name

    def write_bundle(self, name, *manifests, start=b""):
        """Each manifest an object, or a pair of its folder's name and its text."""
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(start)
        with zipfile.ZipFile(path, "a") as archive:
            for manifest in manifests:
                folder, text = (manifest if isinstance(manifest, tuple)
                                else (manifest["bundle.symbolic_name"], json.dumps(manifest)))
                archive.writestr(f"{folder}/manifest.json", text)
        return name

    def run_fctrl(self, *arguments, **variables):
        environment = {k: v for k, v in os.environ.items() if not k.startswith(("QZ_FEATURE_", "FOUNDATION_"))}
        environment.update(variables)
        result = subprocess.run([*EMULATOR, PROGRAM, *arguments], cwd=self.folder, env=environment,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=300)
        return Outcome(result.returncode, *(text.decode("utf-8").replace("\r\n", "\n")
                                            for text in (result.stdout, result.stderr)))

    def check(self, *files):
        """The outcome of `check`, and its findings."""
        outcome = self.run_fctrl("check", "--json", *files)
        self.assertEqual(outcome.errors, "")
        report = outcome.json()
        self.assertEqual(outcome.code, 1 if report["findings"] else 0)
        self.assertEqual(report["errors"] + report["warnings"], len(report["findings"]))
        return report["findings"]

    def check_descriptors(self, *descriptors):
        return [(f["level"], f["rule"], f["message"]) for f in self.check(self.write("list.json", list(descriptors)))]


def descriptor(name="Alpha", state="Off", default=0, **others):
    return {"name": name, "FCtrlState": state, "defaultValue": default, **others}


def main():
    unittest.main(module="__main__", argv=sys.argv[:1], verbosity=2)
