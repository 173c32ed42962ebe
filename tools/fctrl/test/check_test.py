"""What `fctrl check` finds, and how it says so."""

import json
import os
import pty
import re
import subprocess
import sys
import time
import unittest

import jsonschema

from program import EMULATOR, PROGRAM, TOP, Case, descriptor, main

NAME_RULE = "feature control names must be non-empty and less than 128 characters"
STATE_RULE = 'feature control state must be one of: "Off", "On", "Beta", "Preview", "DebugOrTest"'


class TheText(Case):
    def test_shows_the_place_the_line_and_a_mark_below_it(self):
        self.write("one.json", '[\n\t{"name": "Alpha", "FCtrlState": "Off",\n\t "defaultValue": 12}\n]\n')
        outcome = self.run_fctrl("check", "one.json")
        self.assertEqual(outcome.output,
                         "one.json:3:19: error: fctrl: Alpha: default value of Off fctrl must be 0\n"
                         '  \t "defaultValue": 12}\n'
                         "  \t                 ^~\n"
                         "1 error and 0 warnings in 1 file\n")
        self.assertEqual((outcome.code, outcome.errors), (1, ""))

    def test_is_empty_when_all_is_fine(self):
        outcome = self.run_fctrl("check", self.write("fine.json", [descriptor()]))
        self.assertEqual((outcome.code, outcome.output, outcome.errors), (0, "", ""))

    def test_counts_columns_in_characters_and_marks_in_columns_of_the_terminal(self):
        self.write("wide.json", '[{"file": "größe日本", "FCtrlState": "off", "name": "Alpha", "defaultValue": 0}]')
        lines = self.run_fctrl("check", "wide.json").lines
        self.assertTrue(lines[0].startswith("wide.json:1:36: error: "), lines[0])
        self.assertEqual(lines[2].index("^"), lines[1].index('"off"') + len("日本"))
        self.assertEqual(lines[2].count("~"), 4)

    def test_says_the_reason_in_the_same_line(self):
        self.write("null.json", [descriptor(default=None)])
        self.assertTrue(self.run_fctrl("check", "null.json").lines[0].endswith(
            'error: property value unsupported: "defaultValue": invalid conversion: null to int32'))

    def test_escapes_what_a_terminal_would_obey(self):
        self.write("control.json", [descriptor("Al\u001b[31mpha\n")])
        outcome = self.run_fctrl("check", "control.json")
        self.assertNotIn("\x1b", outcome.output)
        self.assertIn('error: fctrl: Al\\x1B[31mpha\\x0A: feature control names must be printable ascii.  '
                      'Character: "\\x1B" is not allowed.', outcome.output)

    def test_shows_a_part_of_a_long_line(self):
        self.write("long.json", "[" + ",".join(json.dumps(descriptor(f"F{i}")) for i in range(1000)) + "," +
                   json.dumps(descriptor("Last", "On")) + "]")
        lines = self.run_fctrl("check", "long.json").lines
        self.assertEqual(len(lines), 4)
        self.assertLess(len(lines[1]), 200)
        self.assertEqual(lines[1][lines[2].index("^")], "0")
        self.assertTrue(lines[1].startswith("  ..."))

    def test_has_no_colours_where_nobody_looks(self):
        self.write("one.json", [descriptor("")])
        self.assertNotIn("\x1b", self.run_fctrl("check", "one.json", TERM="xterm", NO_COLOR="").output)


class Errors(Case):
    def test_are_all_there_not_only_the_first(self):
        self.assertEqual(self.check_descriptors(
            {"FCtrlState": "off", "type": "perzor", "defaultValue": None, "line": [], "file": {}},
            descriptor("Beta", "On", 0, type="x"),
            "Gamma",
            descriptor("", "Off", 1)),
            [("error", "refused", 'property not specified: "name"'),
             ("error", "refused", f"fctrl: : {STATE_RULE}"),
             ("error", "refused", 'illegal value of fctrl type: "perzor".  Legal values: "perZOR", "perPROCESS"'),
             ("error", "refused",
              'property value unsupported: "defaultValue"\ninvalid conversion: null to int32'),
             ("error", "refused", 'property value unsupported: "line"\ninvalid conversion: array to int32'),
             ("error", "refused", 'property value unsupported: "file"\ninvalid conversion: object to string'),
             ("error", "refused", "fctrl: Beta: default value of On fctrl msut be non zero"),
             ("error", "refused", 'illegal value of fctrl type: "x".  Legal values: "perZOR", "perPROCESS"'),
             ("error", "refused", "invalid conversion: string to object"),
             ("error", "refused", f"fctrl: : {NAME_RULE}"),
             ("error", "refused", "fctrl: : default value of Off fctrl must be 0")])

    def test_stand_where_the_value_stands_or_the_descriptor_that_lacks_it(self):
        self.write("list.json", '[\n  {"name": "Alpha",\n   "FctrlState": "on", "defaultValue": 1},\n  {"name": "Beta"}\n]')
        self.assertEqual([(f["line"], f["column"], f["endLine"], f["endColumn"]) for f in self.check("list.json")],
                         [(3, 18, 3, 22), (4, 3, 4, 4), (4, 3, 4, 4)])

    def test_hide_no_other_descriptor_of_the_name(self):
        refusal = ("error", "refused", "fctrl: Alpha: default value of On fctrl msut be non zero")
        duplicate = ("warning", "duplicate", '"Alpha" is registered already: this one changes nothing')
        conflict = ("error", "conflict", "feature not found: Alpha")
        wrong, right = descriptor("Alpha", "On", 0), descriptor("Alpha")
        for descriptors, findings in (((wrong, right), [refusal, duplicate]),
                                      ((right, wrong), [duplicate, refusal]),
                                      ((wrong, {**right, "type": "PROCESS"}), [refusal, conflict]),
                                      ((right, {**wrong, "type": "PROCESS"}), [conflict, refusal])):
            with self.subTest(descriptors=descriptors):
                self.assertEqual(self.check_descriptors(*descriptors), findings)

    def test_of_a_name_that_another_module_has_point_to_the_first(self):
        self.write("first.json", [descriptor()])
        self.write("second.json", [descriptor("Beta"), descriptor()])
        [finding] = self.check("first.json", "second.json")
        self.assertEqual((finding["file"], finding["rule"], finding["message"]),
                         ("second.json", "conflict",
                          "feature registered twice: Alpha: modules: first and second"))
        self.assertEqual([(n["file"], n["line"], n["column"], n["message"]) for n in finding["notes"]],
                         [("first.json", 1, 11, "listed here first")])

    def test_of_a_name_with_another_scope_point_to_the_first(self):
        [finding] = self.check(self.write("list.json", [descriptor(), descriptor(type="perPROCESS")]))
        self.assertEqual((finding["rule"], finding["message"]), ("conflict", "feature not found: Alpha"))
        self.assertEqual(len(finding["notes"]), 1)

    def test_do_not_depend_on_the_environment(self):
        self.write("list.json", [descriptor()])
        for value in ("1", "x", "\udcff"):
            outcome = self.run_fctrl("check", "list.json", QZ_FEATURE_Alpha=value)
            self.assertEqual((outcome.code, outcome.output, outcome.errors), (0, "", ""), value)


class Warnings(Case):
    def warnings(self, *descriptors):
        findings = self.check_descriptors(*descriptors)
        self.assertEqual({level for level, _, _ in findings} - {"warning"}, set())
        return [(rule, message) for _, rule, message in findings]

    def test_of_unknown_keys_name_the_nearest(self):
        self.assertEqual(self.warnings(descriptor(Name="x", fctrlstate="On", lin=1, defaultvalue=1, zzzzzzzz=0)),
                         [("unknown-key", 'unknown key "Name": it is ignored; did you mean "name"?'),
                          ("unknown-key", 'unknown key "fctrlstate": it is ignored; did you mean "FCtrlState"?'),
                          ("unknown-key", 'unknown key "lin": it is ignored; did you mean "line"?'),
                          ("unknown-key", 'unknown key "defaultvalue": it is ignored; did you mean "defaultValue"?'),
                          ("unknown-key", 'unknown key "zzzzzzzz": it is ignored')])

    def test_of_both_state_keys_say_which_counts(self):
        self.assertEqual(self.warnings(descriptor(FctrlState="On")),
                         [("both-state-keys", 'both "FCtrlState" and "FctrlState" are there: "FCtrlState" counts')])
        self.assertEqual(self.warnings({**descriptor(state=None), "FctrlState": "Off"}),
                         [("both-state-keys", 'both "FCtrlState" and "FctrlState" are there: "FctrlState" counts')])

    def test_of_a_key_that_stands_twice(self):
        self.write("list.json", '[{"name": "Alpha", "name": "Beta", "FCtrlState": "Off", "defaultValue": 0}]')
        [finding] = self.check("list.json")
        self.assertEqual((finding["rule"], finding["message"], finding["column"]),
                         ("duplicate-key", 'key "name" stands there twice: the last one counts', 20))
        self.assertEqual(finding["notes"][0]["column"], 3)

    def test_of_names_that_differ_in_their_case(self):
        self.write("a.json", [descriptor()])
        self.write("b.json", [descriptor("ALPHA")])
        [finding] = self.check("a.json", "b.json")
        self.assertEqual((finding["rule"], finding["message"], finding["notes"][0]["file"]),
                         ("name-case", '"ALPHA" differs from "Alpha" only in its case', "a.json"))

    def test_of_converted_values_say_what_becomes_of_them(self):
        for value, shown in (("12abc", '"12abc", no 32-bit integer: it is read as 12'),
                             (True, "true, no 32-bit integer: it is read as 1"),
                             (2.9, "2.9, no 32-bit integer: it is read as 2"),
                             (2**32 + 5, "4294967301, no 32-bit integer: it is read as 5"),
                             (2**64 - 1, "18446744073709551615, no 32-bit integer: it is read as -1")):
            with self.subTest(value=value):
                self.assertEqual(self.warnings(descriptor("Alpha", "Beta", value)),
                                 [("converted-value", f'"defaultValue" is {shown}')])
                self.assertEqual(self.warnings(descriptor(line=value)), [("converted-value", f'"line" is {shown}')])
        self.assertEqual(self.warnings(descriptor(7)),
                         [("converted-value", '"name" is 7, no text: it is read as "7"')])
        self.assertEqual(self.warnings(descriptor(1.5, file=True)),
                         [("converted-value", '"name" is 1.5, no text: it is read as "1.500000"'),
                          ("converted-value", '"file" is true, no text: it is read as "1"')])
        self.assertEqual(self.warnings(descriptor("Alpha", "On", 1.0, line=1e2)), [])

    def test_of_a_line_that_cannot_be(self):
        self.assertEqual(self.warnings(descriptor(line=-2)),
                         [("line-number",
                           '"line" is -2: lines are counted from 1, and -1 says that it is not known')])
        self.assertEqual(self.warnings(descriptor(line=-1)), [])

    def test_of_the_same_feature_listed_twice(self):
        [finding] = self.check(self.write("list.json", [descriptor(), descriptor(default=0)]))
        self.assertEqual((finding["level"], finding["rule"], finding["message"]),
                         ("warning", "duplicate", '"Alpha" is registered already: this one changes nothing'))


class DescriptorFiles(Case):
    def test_may_be_objects(self):
        self.assertEqual(self.check(self.write("list.json", {
            "$schema": "x", "component": "c", "module": "m", "clientdir": "d", "features": [descriptor()]})), [])

    def test_of_one_module_may_repeat_a_feature(self):
        for name in ("a.json", "b.json"):
            self.write(name, {"module": "m", "features": [descriptor()]})
        self.assertEqual([f["rule"] for f in self.check("a.json", "b.json")], ["duplicate"])

    def test_that_are_something_else_are_refused(self):
        text = 'must hold an array of descriptors, an object with one as "features", or a bundle\'s manifest with "qz"'
        for content in ('"x"', "1", "null", "{}", '{"features": {}}', '{"features": null}'):
            with self.subTest(content=content):
                [finding] = self.check(self.write("list.json", content))
                self.assertEqual((finding["rule"], finding["message"]), ("structure", text))

    def test_have_texts_as_provenance(self):
        findings = self.check(self.write("list.json", {"module": 1, "modul": "", "features": []}))
        self.assertEqual([f["message"] for f in findings],
                         ['"module" must be a string', 'unknown key "modul": it is ignored; did you mean "module"?'])

    def test_of_the_samples_are_found_as_their_folders_say(self):
        counts = {}
        for file in sorted((TOP / "schema/test/samples").glob("*/*.json")):
            with self.subTest(file=file.name):
                folder = file.parent.name
                levels = {f["level"] for f in self.check(str(file))}
                counts[folder] = counts.get(folder, 0) + 1
                if folder == "refused":
                    self.assertIn("error", levels)
                else:
                    self.assertEqual(levels, {"warning"} if folder == "unmeant" else set())
        self.assertEqual(set(counts), {"good", "refused", "unmeant"})

    def test_that_the_demo_host_ships_are_registered(self):
        files = [str(f) for f in sorted((TOP / "examples/demo_host/descriptors").glob("*.json"))]
        findings = self.check(*files)
        self.assertEqual({f["rule"] for f in findings}, {"converted-value"})


class HostileFiles(Case):
    def test_that_are_no_json_are_reported_at_the_place(self):
        for content, place, text in (
                ("", (1, 1), "the text is empty"),
                (" \n\n ", (3, 2), "the text is empty"),
                ('[\n {"name": }]', (2, 11), "invalid value"),
                ("[{]", (1, 3), "name of an object member expected"),
                ("[1 2]", (1, 4), '"," or "]" expected after an array element'),
                ('["größe" x]', (1, 10), '"," or "]" expected after an array element'),
                ("[] x", (1, 4), "text after the end of the document"),
                (b"[\"\xff\"]", (1, 3), "ill-formed UTF-8 in a string"),
                (b"\xff\xfe[\0]\0", (1, 1), "invalid value"),
                (b"[\"a\0b\"]", (1, 4), "control character in a string"),
                (b"[]\0", (1, 3), "text after the end of the document"),
                ('["\\ud800"]', (1, 3), "surrogate without its partner in a string"),
                ("[1e999]", (1, 2), "number too big for a double"),
                ("[" * 100000, (1, 513), "more than 512 arrays and objects inside one another")):
            with self.subTest(content=content[:20]):
                [finding] = self.check(self.write("list.json", content))
                self.assertEqual((finding["level"], finding["rule"], finding["message"]), ("error", "json", text))
                self.assertEqual((finding["line"], finding["column"]), place)
                self.assertEqual(self.run_fctrl("check", "list.json").code, 1)

    def test_with_a_byte_order_mark_are_reported_and_read(self):
        findings = self.check(self.write("list.json", b"\xef\xbb\xbf[{}]"))
        self.assertEqual([(f["rule"], f["column"]) for f in findings][:2], [("json", 1), ("refused", 2)])
        self.assertEqual(findings[0]["message"], "a byte order mark, which JSON does not have")

    def test_with_other_line_ends_are_read_like_any(self):
        self.write("list.json", '[\r\n{"name": "Alpha", "FCtrlState": "x",\r\n"defaultValue": 0}]\r\n')
        self.assertEqual(self.run_fctrl("check", "list.json").lines[1:3],
                         ['  {"name": "Alpha", "FCtrlState": "x",', "                                  ^~~"])

    def test_with_NUL_in_names_are_refused_with_the_reason(self):
        [finding] = self.check(self.write("list.json", [descriptor("Al\0pha")]))
        self.assertEqual(finding["message"], 'fctrl: Al\0pha: feature control names must be printable ascii.  '
                                             'Character: "\0" is not allowed.')

    def test_with_deep_values_end_in_a_report(self):
        deep = "[" * 500 + "]" * 500
        findings = self.check(self.write("list.json", f'[{{"name": {deep}, "x": {deep}}}]'))
        self.assertIn("unknown-key", [f["rule"] for f in findings])

    def test_with_keys_in_escapes_are_understood(self):
        self.write("list.json", r'[{"\u006eame": "Alpha", "FCtrlState": "Off", "defaultValue": 0, "g\u00f6": "\u00f6"}]')
        self.assertEqual([f["message"] for f in self.check("list.json")], ['unknown key "gö": it is ignored'])

    def test_that_cannot_be_read_are_named_and_the_others_checked(self):
        (self.folder / "folder").mkdir()
        self.write("bad.json", [descriptor("")])
        outcome = self.run_fctrl("check", "missing.json", "folder", "bad.json")
        self.assertEqual(outcome.code, 2)
        self.assertEqual(outcome.errors.splitlines(),
                         ["fctrl: missing.json: cannot be read: No such file or directory",
                          "fctrl: folder: is a folder"])
        self.assertIn("bad.json:1:", outcome.output)
        report = self.run_fctrl("check", "--json", "missing.json").json()
        self.assertEqual(report["unreadable"], ["missing.json: cannot be read: No such file or directory"])

    @unittest.skipIf(EMULATOR, "names of Windows are text")
    def test_with_names_that_are_no_text_are_read(self):
        name = b"\xff list.json"
        with open(os.path.join(os.fsencode(self.folder), name), "w") as file:
            json.dump([descriptor("")], file)
        outcome = self.run_fctrl("check", name)
        self.assertTrue(outcome.output.startswith("\\xFF list.json:1:11: error: "), outcome.output)
        self.assertEqual(self.run_fctrl("check", "--json", name).json()["findings"][0]["file"], "\ufffd list.json")


class Manifests(Case):
    def manifest(self, **qz):
        return {"bundle.symbolic_name": "some.bundle", "qz": qz}

    def test_are_checked_like_files(self):
        self.write("manifest.json", json.dumps(self.manifest(features=[descriptor("Alpha", "On")]), indent=1))
        lines = self.run_fctrl("check", "manifest.json").lines
        self.assertEqual(lines[0], "manifest.json:8:21: error: fctrl: Alpha: default value of On fctrl msut be non zero")
        self.assertEqual(lines[1:3], ['      "defaultValue": 0', "                      ^"])

    def test_have_the_modules_that_they_name(self):
        first = self.manifest(module={"name": "m"}, features=[descriptor()])
        second = {"module": "m", "features": [descriptor()]}
        third = self.manifest(qzbuiltin_module="other", features=[descriptor()])
        findings = self.check(self.write("1.json", first), self.write("2.json", second), self.write("3.json", third))
        self.assertEqual([(f["file"], f["message"]) for f in findings],
                         [("2.json", '"Alpha" is registered already: this one changes nothing'),
                          ("3.json", "feature registered twice: Alpha: modules: m and other")])

    def test_are_read_as_the_service_framework_does(self):
        self.write("manifest.json", '{"bundle.symbolic_name": "x", "qz": {"component": {"name": "%c"}, "clientdir": 1,'
                   '"features": [null, {"name": "%A", "Name": "B", "name": "C", "FCtrlState": "Off",'
                   '"defaultValue": 0, "line": null}]}}')
        self.assertEqual([f["message"] for f in self.check("manifest.json")],
                         ['the service framework reads "name" as "c"',
                          '"clientdir" is 1, no text: it is read as "1"',
                          "the service framework leaves null out",
                          'the service framework reads "name" as "A"',
                          'unknown key "Name": it is ignored; did you mean "name"?',
                          'key "name" stands there twice: the first one counts',
                          'the service framework leaves "line" out: it is null'])

    def test_are_not_refused_for_what_is_not_read(self):
        """Without a list the library looks at nothing else."""
        for qz in ({"component": "c"}, {"module": [], "features": None}):
            manifest = self.write("manifest.json", self.manifest(**qz))
            findings = self.check(manifest)
            self.assertEqual({f["level"] for f in findings}, {"warning"})
            self.assertIn("unread-key", [f["rule"] for f in findings])
            self.assertEqual(self.run_fctrl("list", manifest).code, 0)

    def test_with_null_are_read_as_without_it(self):
        text = "the service framework leaves null out"
        for qz in (None, {"features": None}, {"fctrl_json": None}, {"module": {"name": None}, "features": []}):
            with self.subTest(qz=qz):
                [finding] = self.check(self.write("manifest.json", {"bundle.symbolic_name": "a", "qz": qz}))
                self.assertEqual((finding["level"], finding["rule"], finding["message"]),
                                 ("warning", "dropped-value", text))

    def test_are_named_by_texts(self):
        for name, text in ((7, '"bundle.symbolic_name" is 7, no text: it is read as "7"'),
                           ("%x", 'the service framework reads "bundle.symbolic_name" as "x"')):
            [finding] = self.check(self.write("manifest.json", {"bundle.symbolic_name": name}))
            self.assertEqual((finding["level"], finding["message"], finding["column"]), ("warning", text, 26))

    def test_that_cannot_be_installed_are_refused_in_its_words(self):
        for manifest, text in (
                ({"qz": {}}, "Failed to install bundle library at manifest.json: bundle.symbolic_name is not defined "
                             "in the bundle manifest for bundle bundle (location=manifest.json)."),
                ({"bundle.symbolic_name": "a", "bundle.version": "x"},
                 "Failed to install bundle library at manifest.json: The Json value for bundle.version for bundle a "
                 "(location=manifest.json) is not valid: The version identifier is invalid: invalid format")):
            [finding] = self.check(self.write("manifest.json", manifest))
            self.assertEqual((finding["rule"], finding["message"]), ("bundle", text))

    def test_of_wrong_kinds_are_refused_in_the_words_of_the_library(self):
        for qz in ([], "x", 1):
            [finding] = self.check(self.write("manifest.json", {"bundle.symbolic_name": "a", "qz": qz}))
            self.assertEqual(finding["rule"], "structure")
            self.assertIn("ref_any_cast", finding["message"])
        [finding] = self.check(self.write("manifest.json", self.manifest(features={}, component={"name": "x"})))
        self.assertEqual(finding["message"], "invalid conversion: object to array")
        findings = self.check(self.write("manifest.json", self.manifest(component="c", features=[descriptor("")])))
        self.assertEqual([f["rule"] for f in findings], ["structure", "refused"])

    def test_without_a_list_are_fine(self):
        for manifest in ({"bundle.symbolic_name": "a"}, self.manifest(), self.manifest(features=[])):
            self.assertEqual(self.check(self.write("manifest.json", manifest)), [])


class Bundles(Case):
    def test_have_their_manifests_checked(self):
        bad = {"bundle.symbolic_name": "bad", "qz": {"features": [descriptor("Alpha", "On")]}}
        good = {"bundle.symbolic_name": "good", "qz": {"features": [descriptor("Beta")]}}
        for name, start in (("both.zip", b""), ("both.so", b"\x7fELF" + b"\0" * 5000)):
            [finding] = self.check(self.write_bundle(name, bad, good, start=start))
            self.assertEqual((finding["file"], finding["line"], finding["column"]),
                             (f"{name}!/bad/manifest.json", 1, 107))

    def test_that_share_name_and_version_are_refused(self):
        manifest = {"bundle.symbolic_name": "same", "qz": {}}
        self.write_bundle("one.zip", manifest)
        self.write_bundle("two.zip", manifest)
        [finding] = self.check("one.zip", "two.zip", self.write("manifest.json", manifest))
        self.assertEqual((finding["file"], finding["rule"], "line" in finding), ("two.zip", "bundle", False))
        self.assertIn("a bundle with same symbolic name and version is already installed", finding["message"])
        self.assertTrue(self.run_fctrl("check", "one.zip", "two.zip").output.startswith("two.zip: error: "))

    def test_that_are_damaged_are_refused(self):
        for name, content in (("empty.zip", b""), ("text.so", b"no zip"), ("cut.zip", b"PK\3\4" + b"\0" * 50)):
            [finding] = self.check(self.write(name, content))
            self.assertEqual((finding["file"], finding["rule"]), (name, "bundle"))

    def test_with_a_manifest_that_is_no_json_are_reported_at_the_place(self):
        [finding] = self.check(self.write_bundle("x.zip", ("x", '{"bundle.symbolic_name": "x",}')))
        self.assertEqual((finding["file"], finding["column"], finding["rule"]), ("x.zip!/x/manifest.json", 30, "json"))

    def test_that_the_build_makes_are_fine(self):
        """The demo host's, among them a broken one."""
        for file in sorted((TOP / "examples/demo_host/extensions").glob("*/manifest.json")):
            levels = {f["level"] for f in self.check(str(file))}
            self.assertEqual(levels, {"error"} if file.parent.name == "broken" else set(), file)


# What the standard requires of a log that has what ours has; the whole of it is larger than this repository's schemas.
SARIF = {
    "$defs": {
        "message": {"type": "object", "required": ["text"], "properties": {"text": {"type": "string"}}},
        "location": {
            "type": "object",
            "required": ["physicalLocation"],
            "properties": {"physicalLocation": {
                "type": "object",
                "required": ["artifactLocation"],
                "properties": {
                    "artifactLocation": {"type": "object", "required": ["uri"],
                                         "properties": {"uri": {"type": "string", "pattern": r"^[!#-;=?-\[\]_a-z~]+\Z"}}},
                    "region": {"type": "object", "required": ["startLine", "startColumn"],
                               "properties": {key: {"type": "integer", "minimum": 1}
                                              for key in ("startLine", "startColumn", "endLine", "endColumn")}}}}}}},
    "type": "object",
    "required": ["version", "$schema", "runs"],
    "additionalProperties": False,
    "properties": {
        "version": {"const": "2.1.0"},
        "$schema": {"type": "string", "pattern": "sarif-2.1.0"},
        "runs": {"type": "array", "minItems": 1, "items": {
            "type": "object",
            "required": ["tool", "results"],
            "additionalProperties": False,
            "properties": {
                "columnKind": {"enum": ["utf16CodeUnits", "unicodeCodePoints"]},
                "tool": {"type": "object", "required": ["driver"], "properties": {"driver": {
                    "type": "object", "required": ["name", "version", "rules"],
                    "properties": {"name": {"const": "fctrl"}, "rules": {"type": "array", "items": {
                        "type": "object", "required": ["id", "shortDescription", "defaultConfiguration"],
                        "properties": {"shortDescription": {"$ref": "#/$defs/message"}}}}}}}},
                "invocations": {"type": "array", "items": {
                    "type": "object", "required": ["executionSuccessful"],
                    "properties": {"toolExecutionNotifications": {
                        "type": "array", "items": {"type": "object", "required": ["message"],
                                                   "properties": {"message": {"$ref": "#/$defs/message"}}}}}}},
                "results": {"type": "array", "items": {
                    "type": "object",
                    "required": ["message", "ruleId", "ruleIndex", "level", "locations"],
                    "additionalProperties": False,
                    "properties": {
                        "message": {"$ref": "#/$defs/message"},
                        "level": {"enum": ["error", "warning"]},
                        "ruleId": {"type": "string"},
                        "ruleIndex": {"type": "integer", "minimum": 0},
                        "locations": {"type": "array", "minItems": 1, "items": {"$ref": "#/$defs/location"}},
                        "relatedLocations": {"type": "array", "items": {"allOf": [
                            {"$ref": "#/$defs/location"}, {"required": ["message"]}]}}}}}}}}}}


class Sarif(Case):
    def sarif(self, *files):
        outcome = self.run_fctrl("check", "--format", "sarif", *files)
        log = outcome.json()
        jsonschema.Draft202012Validator(SARIF).validate(log)
        [run] = log["runs"]
        for result in run["results"]:
            self.assertEqual(run["tool"]["driver"]["rules"][result["ruleIndex"]]["id"], result["ruleId"])
        return outcome.code, run

    def test_has_what_the_standard_requires(self):
        self.write("first.json", [descriptor()])
        self.write("in a folder/größe 100%#?.json", [descriptor(), descriptor("Beta", "On"), descriptor("Gamma", x=1)])
        self.write_bundle("x.zip", ("x", "{"))
        self.write("text.so", "no bundle")
        code, run = self.sarif("first.json", "in a folder/größe 100%#?.json", "x.zip", "text.so", "missing.json")
        self.assertEqual(code, 2)
        locations = [r["locations"][0]["physicalLocation"] for r in run["results"]]
        self.assertEqual([l["artifactLocation"]["uri"] for l in locations],
                         ["in%20a%20folder/gr%C3%B6%C3%9Fe%20100%25%23%3F.json"] * 3 +
                         ["x.zip!/x/manifest.json", "text.so"])
        self.assertEqual(locations[1]["region"], {"startLine": 1, "startColumn": 114, "endLine": 1, "endColumn": 115})
        self.assertNotIn("region", locations[4])
        self.assertEqual([(r["ruleId"], r["level"]) for r in run["results"]],
                         [("conflict", "error"), ("refused", "error"), ("unknown-key", "warning"), ("json", "error"),
                          ("bundle", "error")])
        self.assertEqual(run["results"][0]["relatedLocations"][0]["physicalLocation"]["artifactLocation"]["uri"],
                         "first.json")
        [invocation] = run["invocations"]
        self.assertFalse(invocation["executionSuccessful"])
        self.assertEqual(invocation["toolExecutionNotifications"][0]["message"]["text"],
                         "missing.json: cannot be read: No such file or directory")

    def test_of_fine_files_has_no_results(self):
        code, run = self.sarif(self.write("fine.json", [descriptor()]))
        self.assertEqual((code, run["results"], run["invocations"][0]["executionSuccessful"]), (0, [], True))

    @unittest.skipIf(EMULATOR, "paths of Windows are others")
    def test_has_file_uris_for_whole_paths(self):
        file = self.folder / self.write("a b:c.json", [descriptor("")])
        _, run = self.sarif(str(file))
        uri = run["results"][0]["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
        self.assertEqual(uri, "file://" + str(self.folder) + "/a%20b:c.json")
        _, run = self.sarif("a b:c.json")
        uri = run["results"][0]["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
        self.assertEqual(uri, "a%20b%3Ac.json")

    def test_is_well_formed_whatever_the_names_hold(self):
        _, run = self.sarif(self.write("list.json", [descriptor("Größe")]))
        self.assertEqual(run["results"][0]["message"]["text"],
                         'fctrl: Größe: feature control names must be printable ascii.  Character: "\ufffd" is not allowed.')


@unittest.skipIf(EMULATOR, "needs a terminal of this system")
class ATerminal(Case):
    def run_on_terminal(self, *arguments, **variables):
        """All that is shown on a terminal that both outputs go to."""
        master, slave = pty.openpty()
        environment = {**os.environ, "TERM": "xterm", **variables}
        if "NO_COLOR" not in variables:
            environment.pop("NO_COLOR", None)
        process = subprocess.Popen([PROGRAM, *arguments], cwd=self.folder, env=environment, stdout=slave, stderr=slave)
        os.close(slave)
        shown = b""
        while True:
            try:
                part = os.read(master, 65536)
            except OSError:  # The other end is closed.
                break
            if not part:
                break
            shown += part
        os.close(master)
        process.wait()
        return shown.decode("utf-8")

    def test_has_colours(self):
        self.write("one.json", [descriptor("", x=1)])
        shown = self.run_on_terminal("check", "one.json")
        for colour in ("\x1b[1;31merror:\x1b[0m", "\x1b[1;35mwarning:\x1b[0m", "\x1b[1;31m^~\x1b[0m"):
            self.assertIn(colour, shown)

    def test_has_none_when_they_are_not_wanted(self):
        self.write("one.json", [descriptor("", x=1)])
        self.assertNotIn("\x1b", self.run_on_terminal("check", "one.json", NO_COLOR="1"))
        self.assertNotIn("\x1b", self.run_on_terminal("check", "one.json", TERM="dumb"))
        self.assertIn("\x1b", self.run_on_terminal("check", "one.json", NO_COLOR=""))

    def test_shows_progress_and_takes_it_away(self):
        self.write("big.json", [descriptor(f"Feature {i}") for i in range(100000)])
        shown = self.run_on_terminal("check", "big.json")
        self.assertRegex(shown, r"\r\[#* *\] [0-9,]+ of 100,000 descriptors")
        self.assertRegex(shown, r"descriptors\r\x1b\[K")

    def test_shows_no_progress_of_what_is_quick(self):
        self.write("small.json", [descriptor()])
        self.assertEqual(self.run_on_terminal("check", "small.json"), "")


class ManyDescriptors(Case):
    def test_take_time_in_proportion(self):
        """Two seconds of an optimised program for 100,000; processor time, since other tests run meanwhile."""
        def seconds(count):
            self.write("big.json", json.dumps([descriptor(f"Feature {i}", "On", 1, file="a.cpp", line=i + 1,
                                                          type="perPROCESS") for i in range(count)], indent=1))
            before = os.times()
            self.assertEqual(self.run_fctrl("check", "big.json").code, 0)
            after = os.times()
            return after.children_user - before.children_user
        small, large = seconds(10000), seconds(100000)
        print(f"10,000 descriptors: {small:.2f} s, 100,000: {large:.2f} s", file=sys.stderr)
        self.assertLess(large, 30 * max(small, 0.05))

    def test_on_one_line_take_no_longer(self):
        self.write("line.json", [descriptor(f"größe {i}") for i in range(20000)])
        before = time.monotonic()
        self.assertEqual(len(self.check("line.json")), 20000)
        self.assertLess(time.monotonic() - before, 120)


class TheCommandLine(Case):
    def test_that_makes_no_sense_ends_with_2(self):
        for arguments, text in (
                ([], "A subcommand is required"),
                (["chek"], 'there is no command "chek"'),
                (["check"], "FILE is required"),
                (["check", "--format", "xml", "x.json"], "--format: xml not in {text,json,sarif}"),
                (["check", "--nonsense", "x.json"], "--nonsense"),
                (["list"], "there is nowhere to look: give files, or a host's folder with --root"),
                (["list", "--state", "on", "x.json"], "--state"),
                (["list", "--scope", "x", "x.json"], "--scope"),
                (["explain", "Alpha"], "there is nowhere to look: give files, or a host's folder with --root"),
                (["explain"], "NAME is required")):
            with self.subTest(arguments=arguments):
                outcome = self.run_fctrl(*arguments)
                self.assertEqual((outcome.code, outcome.output), (2, ""))
                self.assertTrue(outcome.errors.startswith("fctrl: "), outcome.errors)
                self.assertIn(text, outcome.errors)
                self.assertTrue(outcome.errors.endswith("; see fctrl --help\n"), outcome.errors)
                self.assertEqual(outcome.errors.count("\n"), 1)

    def test_can_ask_for_help_with_examples(self):
        for arguments in ([], ["check"], ["list"], ["explain"]):
            for flag in ("--help", "-h"):
                outcome = self.run_fctrl(*arguments, flag)
                self.assertEqual((outcome.code, outcome.errors), (0, ""))
                self.assertIn("Examples:\n  fctrl ", outcome.output)
                self.assertIn("Exit code: ", outcome.output)
                self.assertLess(max(len(line) for line in outcome.lines), 121)

    def test_can_ask_for_the_version(self):
        outcome = self.run_fctrl("--version")
        self.assertEqual((outcome.code, outcome.errors), (0, ""))
        version = re.search(r"VERSION ([0-9.]+)", (TOP / "CMakeLists.txt").read_text("utf-8").split("project(")[1])[1]
        self.assertEqual(outcome.output, f"fctrl {version}\n")

    def test_may_name_a_file_like_an_option(self):
        self.write("--json", [descriptor()])
        self.assertEqual(self.run_fctrl("check", "--", "--json").code, 0)

    def test_takes_any_characters(self):
        self.assertEqual(self.check(self.write("größe Ж 日本.json", [descriptor()])), [])

    @unittest.skipIf(EMULATOR, "Windows has no such file")
    def test_ends_with_2_when_nothing_can_be_written(self):
        self.write("bad.json", [descriptor("")])
        with open("/dev/full", "w") as full:
            result = subprocess.run([PROGRAM, "check", "bad.json"], cwd=self.folder, stdout=full,
                                    stderr=subprocess.PIPE)
        self.assertEqual((result.returncode, result.stderr), (2, b"fctrl: standard output cannot be written\n"))


if __name__ == "__main__":
    main()
