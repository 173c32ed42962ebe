"""The schemas agree with the library: what they accept the library registers, and what they refuse it refuses as
well, or it is one of the documented things that nobody means.

    schema_test.py PROGRAM TOP [EMULATOR...]    PROGRAM is registerSamples, TOP the repository's folder
"""

import itertools
import json
import subprocess
import sys
import tempfile
import unittest
import warnings
import zipfile
from pathlib import Path

import jsonschema

with warnings.catch_warnings():
    # Newer versions have another way, which Debian's lacks.
    warnings.simplefilter("ignore", DeprecationWarning)
    from jsonschema import RefResolver

PROGRAM, TOP, *EMULATOR = sys.argv[1:]
TOP = Path(TOP)
SAMPLES = TOP / "schema/test/samples"


def load_schema(name):
    path = TOP / "schema" / name
    schema = json.loads(path.read_text("utf-8"))
    resolver = RefResolver(path.as_uri(), schema)
    return jsonschema.Draft202012Validator(schema, resolver=resolver)


LIST = load_schema("feature-controls.schema.json")
MANIFEST = load_schema("manifest.schema.json")
DESCRIPTOR = LIST.evolve(schema={"$ref": "#/$defs/descriptor"})


def is_manifest(document):
    return isinstance(document, dict) and any(k.lower() == "qz" or k.startswith("bundle.") for k in document)


def validator_for(document):
    return MANIFEST if is_manifest(document) else LIST


def run(*arguments):
    result = subprocess.run([*EMULATOR, PROGRAM, *arguments], capture_output=True, timeout=300)
    if result.returncode != 0:
        raise RuntimeError(result.stderr.decode("utf-8", "replace"))
    # Not splitlines(): texts of the library hold any byte of a name.
    output, errors = (text.decode("utf-8", "replace").replace("\r\n", "\n").split("\n")[:-1]
                      for text in (result.stdout, result.stderr))
    return output, errors


def verdicts_on_descriptors(descriptors):
    """For each descriptor: None when the library registers it, else its text."""
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / "list.json"
        file.write_text(json.dumps(descriptors), "utf-8")
        lines, _ = run("descriptors", str(file))
    assert len(lines) == len(descriptors), lines
    return [None if line == "registered" else line for line in lines]


def verdicts_on_manifests(manifests):
    """For each manifest: None when its bundle is installed and its list registered to the end, else the record."""
    with tempfile.TemporaryDirectory() as root:
        extensions = Path(root) / "bin/win64/fctrl_ext"
        extensions.mkdir(parents=True)
        for number, manifest in enumerate(manifests):
            name = manifest.get("bundle.symbolic_name")
            folder = name if isinstance(name, str) and name and "/" not in name and "\0" not in name else "bundle"
            with zipfile.ZipFile(extensions / f"{number}.zip", "w") as archive:
                archive.writestr(f"{folder}/manifest.json", json.dumps(manifest))
        _, records = run("root", root)
        names, _ = run("root", root)
    result = []
    for number in range(len(manifests)):
        mine = [r for r in records if f"fctrl_ext/{number}.zip" in r.replace("\\", "/")]
        result.append(mine[0] if mine else None)
    return result, set(names)


ABSENT = object()
NAMES = ["Alpha", "a b", "~!\"\\", "x" * 127, "x" * 128, "", "Alpha\n", "\tAlpha", "Größe", "Al\u007fpha", "A\u0000",
         7, 1.5, True, None, [], {}, ABSENT]
STATES = ["Off", "On", "Beta", "Preview", "DebugOrTest", "off", "ON", "", "Off ", 0, True, None, [], {}, ABSENT]
DEFAULTS = [0, 1, -1, 0.0, 1.0, -0.0, 0.5, 2.9, 2**31 - 1, 2**31, -2**31, -2**31 - 1, 2**32, 2**64, 1e300, "0", "1",
            "12abc", "", True, False, None, [], {}, ABSENT]
SCOPES = ["perZOR", "perPROCESS", "ZOR", "PROCESS", "foundation::feature::Scope::ZOR",
          "foundation::feature::Scope::PROCESS", "perzor", "Zor", "", 0, 1, True, None, [], {}, ABSENT]
FILES = ["a.cpp", "", "größe.cpp", 1, None, [], ABSENT]
LINES = [1, 0, -1, -2, 2**31 - 1, 2**31, 1.0, 1.5, "1", True, None, [], ABSENT]
EXTRAS = [{}, {"Name": "Beta"}, {"comment": ""}, {"": 1}]


def is_unmeant(descriptor):
    """What the library takes and the schema does not: the list of docs/descriptor-format.md."""
    def is_converted(key, kind):
        value = descriptor.get(key)
        return key in descriptor and (not isinstance(value, kind) or isinstance(value, bool))

    def is_beyond(key, least):
        value = descriptor.get(key)
        is_number = isinstance(value, (int, float)) and not isinstance(value, bool)
        return is_number and (value != int(value) or not least <= value < 2**31)

    return (any(is_converted(key, str) for key in ("name", "file"))
            or any(is_converted(key, (int, float)) for key in ("defaultValue", "line"))
            or is_beyond("defaultValue", -2**31) or is_beyond("line", -1)
            or {"FCtrlState", "FctrlState"} <= descriptor.keys()
            or bool(descriptor.keys() - {"name", "FCtrlState", "FctrlState", "type", "defaultValue", "file", "line"}))


def variants():
    """Descriptors that are wrong, odd or right in up to two ways; names that are right are given a number."""
    keys = {"name": NAMES, "FCtrlState": STATES, "FctrlState": STATES, "defaultValue": DEFAULTS, "type": SCOPES,
            "file": FILES, "line": LINES}
    plain = {"name": "Alpha", "FCtrlState": "Beta", "defaultValue": 0}
    number = itertools.count()

    def made(changes, extra):
        descriptor = {k: v for k, v in {**plain, **changes, **extra}.items() if v is not ABSENT}
        name = descriptor.get("name")
        if isinstance(name, str) and 0 < len(name) < 128 and all(" " <= letter <= "~" for letter in name):
            ending = f" {next(number)}"
            descriptor["name"] = name.ljust(127, "x")[:-len(ending)] + ending if len(name) == 127 else name + ending
        return descriptor

    for (first, values), (second, others) in itertools.combinations(keys.items(), 2):
        for value, other in itertools.product(values, others):
            yield made({first: value, second: other}, {})
    for extra, state, default in itertools.product(EXTRAS, STATES, DEFAULTS):
        yield made({"FCtrlState": ABSENT, "FctrlState": state, "defaultValue": default}, extra)


class TheSchemas(unittest.TestCase):
    def test_are_schemas(self):
        for validator in (LIST, MANIFEST):
            jsonschema.Draft202012Validator.check_schema(validator.schema)

    def test_describe_every_key(self):
        """Editors show the description of what the mouse is over."""
        def walk(node, path):
            if not isinstance(node, dict):
                return
            for key, value in node.get("properties", {}).items():
                named = isinstance(value, dict) and ("$ref" in value or "enum" in value or "type" in value)
                if named:
                    target = value.get("$ref", "").rpartition("/")[2]
                    described = "description" in value or "description" in LIST.schema["$defs"].get(target, {})
                    self.assertTrue(described, f"{path}/{key}")
            for key, value in node.items():
                if key in ("if", "then"):
                    continue  # Of keys that are described where they are allowed.
                for index, child in enumerate(value if isinstance(value, list) else [value]):
                    walk(child, f"{path}/{key}/{index}")
        for validator in (LIST, MANIFEST):
            walk(validator.schema, "")

    def test_accept_only_what_the_library_registers_and_refuse_only_what_nobody_means(self):
        descriptors = list(variants())
        self.assertGreater(len(descriptors), 4000)
        accepted = 0
        for descriptor, verdict in zip(descriptors, verdicts_on_descriptors(descriptors)):
            with self.subTest(descriptor=descriptor):
                if DESCRIPTOR.is_valid(descriptor):
                    accepted += 1
                    self.assertIsNone(verdict)
                    self.assertFalse(is_unmeant(descriptor))
                elif verdict is None:
                    self.assertTrue(is_unmeant(descriptor), "the library registers it")
        self.assertGreater(accepted, 200)

    def test_look_at_one_descriptor_at_a_time(self):
        """The documented exception: what one descriptor does to another is the library's matter."""
        twice = [{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0, "type": scope}
                 for scope in ("perZOR", "perPROCESS")]
        self.assertTrue(LIST.is_valid(twice))
        self.assertEqual(verdicts_on_descriptors(twice), [None, "refused: feature not found: Alpha"])

    def test_agree_with_the_library_on_manifests(self):
        descriptor = {"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}
        texts = ["a", "", "%a", 1, True, None, [], {}]
        maps = [{"name": "a"}, {"name": ""}, {"name": 1}, {"name": {}}, {"name": None}, {}, {"other": 1}, *texts]
        unmeant = []
        manifests = []

        def add(is_unmeant, qz, **others):
            number = len(manifests)
            manifests.append({"bundle.symbolic_name": f"bundle{number}", **others, "qz": qz})
            unmeant.append(is_unmeant)

        def listed():
            return [{**descriptor, "name": f"Alpha{len(manifests)}"}]

        for key in ("fctrl_json", "clientdir", "qzbuiltin_module"):
            for value in texts:
                add(not isinstance(value, str), {key: value, "features": listed()})
        for key in ("component", "module"):
            for value in maps:
                add(True, {key: value, "features": listed()})
        for features in [[], {}, "", 1, None, [None], ["Alpha"], [[]]]:
            add(True, {"features": features})
        for name in ("%", "%Alpha", "Al%pha", "%%Alpha"):
            add(True, {"features": [{**descriptor, "name": name}]})
        for qz in ({}, [], "", 1, None, {"Features": []}, {"module": {"name": "a"}, "qzbuiltin_module": "b"}):
            add(True, qz)
        for version in ("", "1", "1.2", "1.2.3", "1.2.3.x-_9", "1.", "1..2", "x", "1.2.3.", "1.2.3.4.5", " 1", "1\n",
                        "99999999999", 1, None):
            add(True, {"features": listed()}, **{"bundle.version": version})
        for name in ("a.b", "", "%", "%a", "a\n", 1, None):
            add(True, {"features": listed()}, **{"bundle.symbolic_name": name})
        add(False, {"features": listed()}, **{"vendor.key": {"any": "thing"}})

        verdicts, names = verdicts_on_manifests(manifests)
        accepted = 0
        for manifest, verdict, is_odd in zip(manifests, verdicts, unmeant):
            with self.subTest(manifest=manifest):
                if MANIFEST.is_valid(manifest):
                    accepted += 1
                    self.assertIsNone(verdict)
                    for listed_one in manifest["qz"].get("features", []):
                        self.assertIn(listed_one["name"], names)
                elif verdict is None:
                    self.assertTrue(is_odd)
        self.assertGreater(accepted, 15)
        self.assertLess(accepted, len(manifests) - 30)


class Samples(unittest.TestCase):
    def for_each(self, folder, least, check):
        files = sorted((SAMPLES / folder).glob("*.json"))
        self.assertGreaterEqual(len(files), least)
        for file in files:
            with self.subTest(file=file.name):
                check(json.loads(file.read_text("utf-8")))

    def verdict(self, document):
        """Nothing when the library registers everything; of a descriptor file, without what only hosts read."""
        if is_manifest(document):
            return verdicts_on_manifests([document])[0][0]
        features = document["features"] if isinstance(document, dict) else document
        return next((v for v in verdicts_on_descriptors(features) if v), None)

    def test_that_are_good_are_accepted_and_registered(self):
        def check(document):
            validator_for(document).validate(document)
            self.assertIsNone(self.verdict(document))
        self.for_each("good", 8, check)

    def test_that_are_refused_are_refused_by_both(self):
        def check(document):
            self.assertFalse(validator_for(document).is_valid(document))
            is_of_hosts = not isinstance(document, list) and not is_manifest(document)
            if not is_of_hosts:
                self.assertIsNotNone(self.verdict(document))
        self.for_each("refused", 15, check)

    def test_that_nobody_means_are_refused_by_the_schema_only(self):
        def check(document):
            self.assertFalse(validator_for(document).is_valid(document))
            self.assertIsNone(self.verdict(document))
        self.for_each("unmeant", 10, check)


class ShippedFiles(unittest.TestCase):
    def tracked(self, *patterns):
        files = [f for p in patterns for f in TOP.glob(p) if "build" not in f.relative_to(TOP).parts]
        self.assertGreater(len(files), 4)
        return sorted(files)

    def test_with_descriptors_agree_with_the_library(self):
        count = 0
        for file in self.tracked("examples/**/descriptors/*.json"):
            document = json.loads(file.read_text("utf-8"))
            with self.subTest(file=file.name):
                features = document if isinstance(document, list) else document["features"]
                LIST.validate({**document, "features": []} if isinstance(document, dict) else [])
                count += len(features)
                for descriptor, verdict in zip(features, verdicts_on_descriptors(features)):
                    self.assertIsNone(verdict)
                    self.assertNotEqual(DESCRIPTOR.is_valid(descriptor), is_unmeant(descriptor), descriptor)
        self.assertGreaterEqual(count, 150)

    def test_that_are_manifests_agree_with_the_library(self):
        manifests = [json.loads(file.read_text("utf-8"))
                     for file in self.tracked("examples/**/manifest.json", "tests/**/manifest.json",
                                              "host/**/bundles/**/*.json")]
        for manifest in manifests:
            manifest.pop("bundle.activator", None)  # A zip has no code.
        # Each alone: several have one name.
        for manifest in manifests:
            with self.subTest(manifest=manifest):
                verdict = verdicts_on_manifests([manifest])[0][0]
                self.assertEqual(MANIFEST.is_valid(manifest), verdict is None, verdict)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
