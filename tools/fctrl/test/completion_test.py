"""What bash offers after `fctrl`."""

import re
import subprocess
import unittest

from program import TOP, Case, main

SCRIPT = TOP / "tools/fctrl/fctrl.bash-completion"


class Completion(Case):
    def offered(self, *words):
        """What may stand in place of the last of the words."""
        command = ('source "$0"; COMP_WORDS=(fctrl "$@"); COMP_CWORD=$#; _fctrl; '
                   '[ ${#COMPREPLY[@]} -eq 0 ] || printf "%s\\n" "${COMPREPLY[@]}"')
        result = subprocess.run(["bash", "-c", command, str(SCRIPT), *words], cwd=self.folder, capture_output=True,
                                text=True, check=True)
        self.assertEqual(result.stderr, "")
        return result.stdout.splitlines()

    def test_offers_the_commands(self):
        self.assertEqual(set(self.offered("")), {"check", "list", "explain", "--help", "--version"})
        self.assertEqual(self.offered("ex"), ["explain"])

    def test_offers_the_options_that_the_help_lists(self):
        for command in ([], ["check"], ["list"], ["explain"]):
            options = set(re.findall(r"^ .*?(--[a-z]+)", self.run_fctrl(*command, "--help").output, re.MULTILINE))
            options &= set(re.findall(r"^  (?:-h,)?(--[a-z]+)", self.run_fctrl(*command, "--help").output, re.MULTILINE))
            self.assertGreaterEqual(len(options), 2)
            self.assertEqual(set(self.offered(*command, "--")), options, command)

    def test_offers_the_values_of_options(self):
        self.assertEqual(self.offered("check", "--format", ""), ["text", "json", "sarif"])
        self.assertEqual(self.offered("list", "--state", "O"), ["Off", "On"])
        self.assertEqual(self.offered("list", "--scope", "perP"), ["perPROCESS"])
        self.assertEqual(self.offered("list", "--name", ""), [])

    def test_offers_files_and_folders(self):
        self.write("a file.json", "")
        (self.folder / "a folder").mkdir()
        self.assertEqual(set(self.offered("check", "a")), {"a file.json", "a folder"})
        self.assertEqual(self.offered("list", "--root", "a"), ["a folder"])

    def test_is_registered_for_the_program(self):
        result = subprocess.run(["bash", "-c", 'source "$0"; complete -p fctrl', str(SCRIPT)], capture_output=True,
                                text=True, check=True)
        self.assertEqual(result.stdout, "complete -F _fctrl fctrl\n")


if __name__ == "__main__":
    main()
