"""zelmo script: profiles that are refused with their place, scripts that are shown without their secrets."""

import unittest

from script_case import ScriptCase


class ScriptTest(ScriptCase):
    def test_shows_every_instruction_and_no_secret(self):
        script, _ = self.build()
        out, _ = self.zelmo("script", "show", script)
        names = [line[11:].split("  ")[0] for line in out.splitlines()]
        self.assertEqual(names[:4], ["set PIN", "set PIN", "set key", "create directory"])
        self.assertEqual(names[-3:], ["end directory", "enter phase", "call handler"])
        self.assertNotIn("34 37 31 38", out)
        self.assertNotIn("01 23 45 67", out)

    def test_a_script_says_its_length(self):
        octets = self.build()[0].read_bytes()
        self.assertEqual(octets[:10], b"ZCPD\x00\x01" + len(octets).to_bytes(4, "big"))

    def test_what_no_script_can_make(self):
        def first(name):
            return lambda profile: profile["objects"][0].pop(name)

        def pins(**changes):
            return lambda profile: profile["pins"][0].update(changes)

        def file(**changes):
            def edit(profile):
                new = {"fid": "6000", "kind": "transparent", "data": "00", **changes}
                profile["root"]["files"].append(new)
            return edit

        for edit, told in (
            (first("label"), "$.objects[0].label: is missing"),
            (first("type"), "$.objects[0].type: is missing"),
            (lambda p: p["objects"][0].update(colour="red"), 'unknown member "colour"'),
            (lambda p: p["objects"][0].update(label="x" * 300), "$.objects[0]: is too long"),
            (lambda p: p["objects"][0].update(id="0g"), "$.objects[0].id: must be hexadecimal digits"),
            (lambda p: p["objects"][0].update(flags=["red"]), "$.objects[0].flags: has one that is unknown"),
            (lambda p: p["root"]["files"].clear(), "must have the directory 5015"),
            (lambda p: p.update(format="x"), "$.format: must be"),
            (lambda p: p.update(phase=16), "$.phase: must be 41 or 52"),
            (lambda p: p.pop("phase"), "the root has conditions"),
            (lambda p: p.update(objects=3), "$.objects[0]: must be an object"),
            (lambda p: p["objects"][5].update(authority=1), "$.objects[5].authority: must be true or false"),
            (lambda p: p["objects"][5].update(file="/dev/zero"), "/dev/zero: it has more than 65535 octets"),
            (lambda p: p["root"]["files"][0].update(fid=5015), "must have the directory 5015"),
            (lambda p: p["root"]["files"][0].update(files={}), "must have an array of files"),
            (pins(unblockedBy=2), "unblock each other in a circle"),
            (pins(triesLeft=1), "has lost tries"),
            (pins(value="xx"), "is no hexadecimal digit"),
            (file(state="terminated"), "file 6000 is not activated"),
            (file(access={"read": {"or": [{"pin": 1}] * 130}}), "needs more than one command"),
            (file(fid="5015"), "another file's"),
        ):
            with self.subTest(told):
                self.assertIn(told, self.build(edit, code=8)[1])

    def test_files_that_are_not_there(self):
        def lost(profile):
            profile["objects"][4]["file"] = "lost.der"

        self.assertIn("lost.der", self.build(lost, code=6)[1])
        self.zelmo("script", "show", self.folder / "none.cpd", code=6)
        self.zelmo("script", "build", self.folder / "none.json", "-o", self.folder / "x.cpd", code=6)

    def test_what_is_no_script(self):
        script = self.build()[0].read_bytes()
        damaged = self.folder / "damaged.cpd"
        for octets, told in ((b"", "is no script"), (script[:-1], "is not as long as it says"),
                             (script[:10] + b"\x7f" + script[11:], "has an unknown instruction, at offset 10")):
            damaged.write_bytes(octets)
            self.assertIn(told, self.zelmo("script", "show", damaged, code=8)[1])

    def test_json_that_is_none_or_none_for_a_profile(self):
        bad = self.folder / "bad.json"
        for text, told in (("{", "bad.json"), ("[" * 100000, "is nested deeper than 64"),
                           ('{"phase": 41, "phase": 52}', 'member "phase" stands twice in one object')):
            bad.write_text(text)
            self.assertIn(told, self.zelmo("script", "build", bad, "-o", self.folder / "x.cpd", code=8)[1])


if __name__ == "__main__":
    unittest.main()
