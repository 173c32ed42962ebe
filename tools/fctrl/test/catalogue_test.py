"""What `fctrl list` and `fctrl explain` tell of a host."""

from pathlib import Path

from program import EMULATOR, PROGRAM, Case, descriptor, main


class Host(Case):
    """Some files, and a folder with extensions."""

    def setUp(self):
        super().setUp()
        self.write("mesh.json", {"component": "meshing", "module": "mesh_core", "clientdir": "mesh", "features": [
            descriptor("MeshRefinement", "Beta", 2, type="perPROCESS", file="mesh/refine.cpp", line=12),
            descriptor("MeshColour", "On", 1)]})
        self.write("ui.json", [descriptor("DarkTheme", "Preview", 0, type="PROCESS", line=3)])
        self.write_bundle("host/bin/win64/fctrl_ext/extra.zip", {
            "bundle.symbolic_name": "extra.bundle", "bundle.version": "1.2.0",
            "qz": {"module": {"name": "extra"}, "features": [descriptor("ExtraFeature", "Off", 0)]}})

    def list(self, *arguments, **variables):
        return self.run_fctrl("list", *arguments, **variables)

    def names(self, *arguments, **variables):
        outcome = self.list("--json", *arguments, **variables)
        self.assertEqual((outcome.code, outcome.errors), (0, ""))
        return [feature["name"] for feature in outcome.json()["features"]]


class List(Host):
    def test_is_a_table_in_the_order_of_the_names(self):
        outcome = self.list("mesh.json", "ui.json", QZ_FEATURE_MeshRefinement="5")
        self.assertEqual(outcome.output,
                         "name            scope       state    default  value   source       component  module     file:line\n"
                         "DarkTheme       perPROCESS  Preview        0      0   default      -          ui         ui.json:3\n"
                         "MeshColour      perZOR      On             1      1   default      meshing    mesh_core  mesh.json\n"
                         "MeshRefinement  perPROCESS  Beta           2      5*  environment  meshing    mesh_core  mesh/refine.cpp:12\n")
        self.assertEqual((outcome.code, outcome.errors), (0, ""))

    def test_is_json_for_programs(self):
        report = self.list("--json", "mesh.json", QZ_FEATURE_MeshRefinement="5").json()
        self.assertEqual(report["features"][1],
                         {"name": "MeshRefinement", "scope": "perPROCESS", "state": "Beta", "default": 2, "value": 5,
                          "changed": True, "source": "environment", "variable": "5", "registeredBy": "file",
                          "component": "meshing", "module": "mesh_core", "clientDir": "mesh",
                          "file": "mesh/refine.cpp", "line": 12})
        self.assertEqual((report["problems"], report["strayVariables"], report["unreadable"]), ([], [], []))

    def test_has_the_features_of_extensions_as_well(self):
        report = self.list("--json", "--root", "host", "ui.json").json()
        self.assertEqual([(f["name"], f["registeredBy"], f["module"]) for f in report["features"]],
                         [("DarkTheme", "file", "ui"), ("ExtraFeature", "extension", "extra")])
        self.assertTrue(report["features"][1]["file"].replace("\\", "/").endswith("/fctrl_ext/extra.zip"))

    def test_takes_manifests_and_bundles_as_files(self):
        self.assertEqual(self.names("host/bin/win64/fctrl_ext/extra.zip"), ["ExtraFeature"])
        self.write("manifest.json", {"bundle.symbolic_name": "x", "qz": {"features": [descriptor("Listed")]}})
        self.assertEqual(self.names("manifest.json"), ["Listed"])

    def test_can_be_filtered(self):
        for arguments, names in (
                (["--name", "mesh*"], ["MeshColour", "MeshRefinement"]),
                (["--name", "*E?H*M*t"], ["MeshRefinement"]),
                (["--name", "Mesh"], []),
                (["--state", "On"], ["MeshColour"]),
                (["--scope", "perZOR"], ["MeshColour"]),
                (["--component", "meshing", "--state", "Beta"], ["MeshRefinement"]),
                (["--module", "ui"], ["DarkTheme"]),
                (["--changed"], ["DarkTheme"])):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.names(*arguments, "mesh.json", "ui.json", QZ_FEATURE_DarkTheme="1",
                                            QZ_FEATURE_MeshColour="1"), names)

    def test_says_where_a_value_comes_from(self):
        for value, expected in (("1", ("environment", 1)), ("0", ("environment", 0)), (" 7", ("environment", 7)),
                                ("", ("default", 0))):
            [feature] = self.list("--json", "ui.json", QZ_FEATURE_DarkTheme=value).json()["features"]
            self.assertEqual((feature["source"], feature["value"]), expected)

    def test_names_variables_that_hold_no_number(self):
        outcome = self.list("ui.json", QZ_FEATURE_DarkTheme="on")
        self.assertEqual((outcome.code, outcome.errors),
                         (1, "fctrl: feature DarkTheme: environment variable QZ_FEATURE_DarkTheme set to unsupported value: "
                             '"on": exception: invalid stoi argument\n'))
        self.assertIn("default", outcome.lines[1])

    def test_names_variables_that_name_no_feature_with_the_nearest_name(self):
        outcome = self.list("mesh.json", "ui.json", QZ_FEATURE_MeshRefinment="1", QZ_FEATURE_darktheme="1",
                            QZ_FEATURE_SomethingElse="1", QZ_FEATURE_Empty="")
        self.assertEqual(outcome.code, 1)
        if not EMULATOR:
            self.assertEqual(outcome.errors.splitlines(),
                             ['fctrl: the variable QZ_FEATURE_MeshRefinment names no feature; '
                              'did you mean "QZ_FEATURE_MeshRefinement"?',
                              "fctrl: the variable QZ_FEATURE_SomethingElse names no feature",
                              'fctrl: the variable QZ_FEATURE_darktheme names no feature; '
                              'did you mean "QZ_FEATURE_DarkTheme"?'])
        report = self.list("--json", "mesh.json", QZ_FEATURE_MeshColor="1").json()
        self.assertEqual(report["strayVariables"], [{"name": "QZ_FEATURE_MeshColor", "nearest": ["MeshColour"]}])

    def test_ends_a_file_where_the_library_refuses_it_as_a_host_does(self):
        self.write("bad.json", [descriptor("First"), descriptor("Second", "On"), descriptor("Third")])
        outcome = self.list("--json", "bad.json", "ui.json")
        self.assertEqual([f["name"] for f in outcome.json()["features"]], ["DarkTheme", "First"])
        text = ("bad.json: fctrl: Second: default value of On fctrl msut be non zero; what is listed after it is not "
                "registered, `fctrl check` says more")
        self.assertEqual((outcome.code, outcome.errors), (1, f"fctrl: {text}\n"))
        self.assertEqual(outcome.json()["problems"], [text])

    def test_leaves_out_files_that_a_host_cannot_read(self):
        self.write("broken.json", "[")
        self.write("wrong.json", {"module": 1, "features": [descriptor("Wrong")]})
        outcome = self.list("broken.json", "wrong.json", "ui.json")
        self.assertEqual(outcome.code, 1)
        self.assertEqual(outcome.errors.splitlines(),
                         ["fctrl: broken.json:1:2: invalid value", 'fctrl: wrong.json:1:12: "module" must be a string'])
        self.assertEqual(len(outcome.lines), 2)
        outcome = self.list("missing.json", "ui.json")
        self.assertEqual((outcome.code, len(outcome.lines)), (2, 2))
        self.assertEqual(outcome.errors, "fctrl: missing.json: cannot be read: No such file or directory\n")

    def test_names_extensions_that_failed(self):
        self.write("host/bin/win64/fctrl_ext/broken.zip", "no zip")
        self.write_bundle("host/bin/win64/fctrl_ext/refused.zip", {
            "bundle.symbolic_name": "refused", "qz": {"features": [descriptor("Refused", "On", 0)]}})
        outcome = self.list("--root", "host")
        self.assertEqual(outcome.code, 1)
        self.assertRegex(outcome.errors, r"fctrl: left out .*broken\.zip: Could not init zip archive")
        self.assertRegex(outcome.errors, r"fctrl: Unable to get fctrl list from .*refused\.zip: Exception: "
                                         r"fctrl: Refused: default value of On fctrl msut be non zero\n")
        self.assertEqual(len(outcome.errors.splitlines()), 2)

    def test_needs_a_folder_for_extensions_below_the_root(self):
        outcome = self.list("--root", "elsewhere", "ui.json")
        self.assertEqual((outcome.code, outcome.output), (2, ""))
        self.assertRegex(outcome.errors, r"fctrl: elsewhere.bin.win64.fctrl_ext: there is no such folder, "
                                         r"where the extensions would be\n")

    def test_takes_the_root_from_the_command_line_only(self):
        self.assertEqual(self.names("ui.json", FOUNDATION_ROOT=str(self.folder / "host")), ["DarkTheme"])

    def test_of_nothing_has_titles_only(self):
        self.assertEqual(len(self.list(self.write("empty.json", [])).lines), 1)


class Explain(Host):
    def explain(self, *arguments, **variables):
        return self.run_fctrl("explain", *arguments, **variables)

    def test_tells_everything_about_a_feature(self):
        outcome = self.explain("MeshRefinement", "mesh.json", QZ_FEATURE_MeshRefinement="5")
        self.assertEqual(outcome.output,
                         "MeshRefinement\n"
                         "  value      5, from the environment: QZ_FEATURE_MeshRefinement=5\n"
                         "  default    2\n"
                         "  state      Beta\n"
                         "  scope      perPROCESS: one value in the process\n"
                         "  component  meshing\n"
                         "  module     mesh_core\n"
                         "  client dir mesh\n"
                         "  declared   mesh/refine.cpp:12\n"
                         "  registered by a file\n")
        self.assertEqual((outcome.code, outcome.errors), (0, ""))

    def test_says_when_a_variable_does_not_count(self):
        outcome = self.explain("DarkTheme", "ui.json", QZ_FEATURE_DarkTheme="yes")
        self.assertEqual(outcome.lines[1], "  value      0, the default; QZ_FEATURE_DarkTheme is set but does not count")
        self.assertEqual(outcome.code, 1)

    def test_tells_which_extension_a_feature_is_of(self):
        outcome = self.explain("ExtraFeature", "--root", "host")
        self.assertEqual(outcome.code, 0)
        self.assertRegex(outcome.output, r"  declared   .*extra\.zip\n  registered by an extension of host.bin.win64.fctrl_ext\n")

    def test_warns_of_a_name_that_differs_in_its_case(self):
        self.write("case.json", [descriptor(), descriptor("ALPHA")])
        self.assertIn('  beware     there is a feature "ALPHA" as well', self.explain("Alpha", "case.json").lines)

    def test_tells_of_a_missing_feature_where_it_was_looked_for(self):
        self.write("host/bin/win64/fctrl_ext/broken.zip", "no zip")
        outcome = self.explain("MeshRefinment", "--root", "host", "mesh.json", "ui.json")
        lines = [line.replace("\\", "/") for line in outcome.lines]
        self.assertEqual(lines[:5], ['there is no feature "MeshRefinment"',
                                     '  close is "MeshRefinement"',
                                     "  searched: the file mesh.json",
                                     "  searched: the file ui.json",
                                     "  searched: the extensions in host/bin/win64/fctrl_ext"])
        self.assertRegex(lines[5], r"  installed: extra\.bundle 1\.2\.0, .*/host/bin/win64/fctrl_ext/extra\.zip")
        self.assertRegex(lines[6], r"^  failed: left out .*broken\.zip: .*$")
        self.assertEqual(lines[7:], ["  found: 4 features"])
        self.assertEqual((outcome.code, outcome.errors), (1, ""))

    def test_tells_the_registered_spelling(self):
        outcome = self.explain("meshcolour", "mesh.json")
        self.assertEqual(outcome.lines[:2], ['there is no feature "meshcolour"',
                                             '  it is registered as "MeshColour": the case of letters counts'])
        self.assertIn("  not searched: extensions; --root says where a host has them", outcome.lines)

    def test_is_json_for_programs(self):
        found = self.explain("--json", "ExtraFeature", "--root", "host").json()
        self.assertEqual((found["found"], found["features"][0]["name"]), (True, "ExtraFeature"))
        missing = self.explain("--json", "extrafeature", "--root", "host", "ui.json")
        self.assertEqual(missing.code, 1)
        report = missing.json()
        self.assertEqual((report["found"], report["features"], report["otherSpellings"], report["files"]),
                         (False, [], ["ExtraFeature"], ["ui.json"]))
        self.assertEqual([(b["symbolicName"], b["version"], Path(b["location"].replace("\\", "/")).name)
                          for b in report["bundles"]], [("extra.bundle", "1.2.0", "extra.zip")])

    def test_takes_any_name(self):
        for name in ("", "%s", "größe", "x" * 5000, "--"):
            outcome = self.explain(*(["--", name, "ui.json"] if name == "--" else [name, "ui.json"]))
            self.assertIn(outcome.code, (1, 2), name)


class Code(Host):
    def test_of_extensions_runs_as_in_a_host(self):
        """The demo host's folder, where the build has put it."""
        root = Path(PROGRAM).parents[2] / "examples/demo_host"
        if not (root / "bin/win64/fctrl_ext").is_dir():
            self.skipTest("the demo host is not built here")
        report = self.list("--json", "--root", str(root)).json()
        names = {f["name"]: f for f in report["features"]}
        self.assertEqual(names["SketchingAutomaticConstraints"]["registeredBy"], "extension")
        self.assertTrue(any("demo_broken.zip" in text for text in report["problems"]), report["problems"])


if __name__ == "__main__":
    main()
