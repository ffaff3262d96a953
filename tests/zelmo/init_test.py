"""zelmo init: from a blank card to a token with its owner's values, and what leaves a card as it was."""

import json
import os
import pty
import subprocess
import unittest

from script_case import SAMPLE, ScriptCase
from secrecy_test import traces
from zelmo_case import ZELMO

PIN, PUK, KEY = "59173846", "7041826395", "00112233445566778899AABBCCDDEEFF8899AABBCCDDEEFF"
SERIAL = "0123456789abCDEF"


class Init(ScriptCase):
    def setUp(self):
        super().setUp()
        self.card = self.new_card("blank")
        self.blank = self.card.read_bytes()

    def signed(self, edit=lambda profile: None, prefix=""):
        """A script and its signature, where `init` finds them."""
        if not (self.folder / "signer.pem").exists():
            self.signer()
        script = self.script(f"{prefix}InitToken1501.cpd", edit)
        self.sign(script, self.folder / "signer.key.pem", self.folder / "signer.pem")
        return script

    def init(self, *arguments, prefix=None, pins=(PIN, PUK), **how):
        prefix = f"{self.folder}/" if prefix is None else prefix
        return self.zelmo("--reader", f"virtual:{self.card}", "init", "--prefix", prefix, *arguments, pins=pins,
                          **how)[1]

    def values(self):
        """The values of the card's PINs and of key 8, by their references."""
        image = json.loads(self.card.read_text())
        secrets = {secret["reference"]: bytes.fromhex(secret["value"]) for secret in image["pins"]}
        return secrets[2].decode(), secrets[115].decode("latin-1"), image["keys"][0]["value"].upper()

    def test_a_token_of_its_owner(self):
        self.signed()
        err = self.init("--label", "Änns token", "--serial", SERIAL, "--admin-key-file", self.private(KEY))
        self.assertEqual(err, "Made the token 'Änns token', serial number 160123456789ABCDEF.\n")
        info = self.list_json(self.card)["tokenInfo"]
        self.assertEqual((info["label"], info["serialNumber"]), ("Änns token", "16" + SERIAL.upper()))
        self.assertEqual(self.values(), (PIN, PUK, KEY))
        self.pin(self.card, "verify", "PIN", pins=[PIN])
        self.pin(self.card, "unblock", "PIN", pins=[PUK, "1234"])
        self.cert(self.card, "read", "Authentication certificate", "-o", self.folder / "read.der")
        self.assertEqual((self.folder / "read.der").read_bytes(), (SAMPLE.parent / "authentication.der").read_bytes())

    def private(self, line, name="private"):
        file = self.folder / name
        file.write_text(line + "\n")
        file.chmod(0o600)
        return file

    def test_a_token_is_erased_when_that_is_said(self):
        self.signed()
        self.init("--label", "First")
        first = self.card.read_bytes()
        self.assertIn("the card holds the token 'First', serial number 160000000000000000; say --yes to have all of it "
                      "erased", self.init(code=2))
        self.assertEqual(self.card.read_bytes(), first)
        for answer, code in (("no", 1), ("", 1), ("yes", 0)):
            person, terminal = pty.openpty()
            os.write(person, f"{answer}\n".encode())
            done = subprocess.run([ZELMO, "--reader", f"virtual:{self.card}", "init", "--prefix", f"{self.folder}/",
                                   "--pin-file", self.private(f"{PIN}\n{PUK}")], stdin=terminal, capture_output=True,
                                  env=self.environment(), timeout=60)
            os.close(person)
            os.close(terminal)
            self.assertEqual(done.returncode, code, done.stderr)
            self.assertIn(b"Type 'yes' to have all of it erased: ", done.stderr)
            self.assertEqual(self.card.read_bytes() == first, code != 0)
        self.init("--yes", "--label", "Third", pins=["", PUK])
        self.assertEqual(self.list_json(self.card)["tokenInfo"]["label"], "Third")
        # Without a PIN and a key, those of the script stay.
        self.assertEqual(self.values(), ("000000", PUK, "0123456789ABCDEF23456789ABCDEF01456789ABCDEF0123"))

    def test_without_puk(self):
        self.signed()
        self.assertIn("there is no PUK", self.init(pins=[PIN], code=2))
        self.assertEqual(self.card.read_bytes(), self.blank)
        self.assertIn("Its PUK is blocked for good.", self.init("--no-puk", pins=[PIN]))
        self.pin(self.card, "status", "PUK", code=5)
        self.pin(self.card, "verify", "PIN", pins=[PIN])

    def test_by_dialogs(self):
        self.signed()
        self.assertIn("there is none", self.init(pins=None, code=1))
        self.init(pins=None, env=self.dialogs(PIN, PUK), code=1)
        self.assertEqual(self.card.read_bytes(), self.blank)
        self.init("--label", "Ann", pins=None, env=self.dialogs(PIN, PIN, PUK, PUK))
        self.assertEqual(self.values()[:2], (PIN, PUK))
        shown = json.dumps(self.prompts())
        for prompt in ("the new PIN for Ann.", "the new PIN for Ann once more.", "the new PUK for Ann."):
            self.assertIn(prompt, shown)

    def test_what_is_not_genuine(self):
        script = self.script()
        good = self.by_recipe(script).read_bytes()
        signature = script.with_suffix(".sig")

        def another_signer():
            self.openssl("req", "-x509", "-new", "-key", "signer.key.pem", "-sha1", "-subj", "/CN=Ann", "-out",
                         "signer.pem")
            self.by_recipe(script)

        for words, make in (
            ("made for another script", lambda: script.write_bytes(script.read_bytes() + b"\0")),
            ("no PKCS #7", lambda: signature.write_bytes(good[:-1])),
            ("for another version", lambda: self.by_recipe(script, lambda c: c.replace("Build 7", "Build 8"))),
            ("by the trusted root", another_signer),
        ):
            with self.subTest(words):
                make()
                err = self.init(code=9)
                self.assertIn(words, err)
                self.assertEqual(err, self.zelmo("script", "verify", script, signature, code=9)[1])
                self.assertEqual(self.card.read_bytes(), self.blank)

    def test_what_is_found_before_the_card_is_touched(self):
        self.signed()

        for words, code, how in (
            ("--label", 2, {"more": ("--label", "ä" * 17)}),
            ("--label", 2, {"more": ("--label", "a\nb")}),
            ("--serial", 2, {"more": ("--serial", "0" * 15)}),
            ("--serial", 2, {"more": ("--serial", "0" * 15 + "g")}),
            ("the PUK is longer than 64 octets", 1, {"pins": (PIN, "1" * 65)}),
            ("the PIN does not fit: it has 3 octets, and the script wants 4 to 16", 1, {"pins": ("123", PUK)}),
            ("16, 24 or 32 octets", 1, {"key": "00" * 8}),
            ("16, 24 or 32 octets", 1, {"key": "0" * 31 + "x"}),
            ("a key for triple DES", 1, {"key": "00" * 32}),
            ("phase 48", 1, {"card": {"lifeCycle": 48}}),
            ("/InitToken1502.cpd: No such file", 6, {"card": {"model": "1502"}}),
            ("takes the script 'InitToken   A.cpd' with the signature 'InitToken   A.sig'", 6,
             {"card": {"model": "000A"}, "prefix": ""}),
            ("a folder ends in a slash", 6, {"prefix": self.folder}),
            ("makes a file name of 257 octets", 2, {"prefix": "x" * 240}),
        ):
            with self.subTest(words):
                self.card = self.edited(self.folder / "blank.card",
                                        lambda image: image["card"].update(how.pop("card", {})))
                before = self.card.read_bytes()
                more = how.pop("more", ())
                if "key" in how:
                    more = ("--admin-key-file", self.private(how.pop("key")))
                self.assertIn(words, self.init(*more, code=code, **how))
                self.assertEqual(self.card.read_bytes(), before)
        (self.folder / "InitToken1501.sig").unlink()
        self.card = self.folder / "blank.card"
        self.assertIn("InitToken1501.sig: No such file", self.init(code=6))

    def test_a_card_that_stays_in_its_phase(self):
        def plain(profile):
            del profile["phase"], profile["root"]["access"]

        self.signed(plain)
        self.card = self.new_card("empty")
        self.init()
        self.assertEqual(json.loads(self.card.read_text())["card"]["lifeCycle"], 52)
        self.assertIn("say --yes to have the script run over it", self.init(code=2))
        err = self.init("--yes", code=1)
        self.assertIn("the card may be half made: PKCS15_E_DEVICE_ERROR (card: 6A89, file already exists); ", err)

    def test_a_value_that_could_not_be_entered(self):
        def padded(profile):
            profile["objects"][0].update(pad="FF", flags=["initialized", "needs-padding"])

        self.signed(padded)
        self.assertIn("PIN 'PIN' (01) cannot be entered as it is", self.init(code=1))

    def test_no_value_shows(self):
        self.signed()
        out, err = self.zelmo("--reader", f"virtual:{self.card}", "--trace", "--log", "debug", "init", "--prefix",
                              f"{self.folder}/", "--admin-key-file", self.private(KEY), pins=[PIN, PUK])
        self.assertIn("card > 80 D8 00 08 [masked]\n", err)
        for value in (PIN, PUK):
            for form in traces(value):
                self.assertIsNone(form.search(out + err), form.pattern)
        self.assertNotIn(KEY, err.replace(" ", ""))


if __name__ == "__main__":
    unittest.main()
