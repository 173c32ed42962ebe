"""docs/descriptor-format.md: its files are what it says of them, and its commands print what stands there."""

import json
import re
import shlex

import jsonschema

from program import TOP, Case, main

PAGE = (TOP / "docs/descriptor-format.md").read_text("utf-8")
FILES = dict(re.findall(r"\n`(\S+)`\n\n```json\n(.*?)```", PAGE, re.DOTALL))


class ThePage(Case):
    def setUp(self):
        super().setUp()
        for name, content in FILES.items():
            self.write(name, content)

    def test_has_only_examples_that_are_tested(self):
        self.assertEqual(len(re.findall("```json", PAGE)), len(FILES))
        self.assertEqual(len(re.findall("```[a-z]", PAGE)), len(FILES) + len(re.findall("```console", PAGE)))

    def test_shows_what_its_commands_print(self):
        blocks = re.findall(r"```console\n(.*?)```", PAGE, re.DOTALL)
        self.assertGreaterEqual(len(blocks), 4)
        for block in blocks:
            command, _, expected = block.partition("\n")
            with self.subTest(command=command):
                prompt, program, *arguments = shlex.split(command)
                self.assertEqual((prompt, program), ("$", "fctrl"))
                outcome = self.run_fctrl(*arguments)
                self.assertEqual(outcome.output + outcome.errors, expected)

    def test_has_files_that_the_schemas_take_but_for_those_that_are_wrong(self):
        def load(name):
            return json.loads((TOP / "schema" / name).read_text("utf-8"))
        lists = jsonschema.Draft202012Validator(load("feature-controls.schema.json"))
        for name, is_good in (("mesh.json", True), ("viewer.json", True), ("wrong.json", False), ("odd.json", False)):
            self.assertEqual(lists.is_valid(json.loads(FILES[name])), is_good, name)
        self.assertEqual(set(FILES), {"mesh.json", "viewer.json", "wrong.json", "odd.json", "manifest.json",
                                      "settings.json"})

    def test_says_in_its_settings_where_the_schemas_are(self):
        for entry in json.loads(FILES["settings.json"])["json.schemas"]:
            self.assertTrue((TOP / entry["url"]).is_file(), entry)
        self.assertTrue(all(name in PAGE for name in ("schema/feature-controls.schema.json", "schema/manifest.schema.json")))

    def test_lists_every_key_that_the_schema_has(self):
        schema = json.loads((TOP / "schema/feature-controls.schema.json").read_text("utf-8"))
        for kind in ("descriptor", "descriptorFile"):
            for key in schema["$defs"][kind]["properties"]:
                self.assertRegex(PAGE, rf'[`"]{re.escape(key)}[`"]')


if __name__ == "__main__":
    main()
