"""zelmo list and apps: the text for people, and tokens that are broken. tokens.py compares all objects."""

import os
import pty
import subprocess

from zelmo_case import DATA, ZELMO, ZelmoCase, find

GOLDEN_KEY = """\
  Signature key  private RSA key
    Id               3130E56E363F7AB917CE137F25E4A305446F5570
    Flags            private
    Guarded by       01 (PIN)
    Consent          again after 1 use
    Access           execute: 01 (PIN) and (02 (SO PIN) or 03 (PUK))
                     read: not 01 (PIN)
                     update: 02 (SO PIN)
    Usage            sign, non repudiation
    Used by card     yes
    Key access       sensitive, always sensitive, never extractable, local
    Key reference    0x81
    Modulus          2048 bits
    Valid from       2026-09-01 00:00:00 UTC
    Valid to         2046-09-01 00:00:00 UTC
    Parameters       algorithm 1
    Subject          CN=Ann Example, O=Zelmop Test, C=DE
    Path             3F00/5015/4B01
"""


class TestTokens(ZelmoCase):
    def test_text_for_people(self):
        text, _ = self.list(DATA / "tokens" / "transparent.card")
        self.assertIn(GOLDEN_KEY, text)
        self.assertIn("  EC key  private EC key, not decoded\n    Id               47\n", text)
        self.assertIn("  Präferenzen ✓  opaque data object\n", text)
        self.assertIn("    Last update      2026-09-01 12:00:00 UTC\n", text)
        self.assertIn("     4  3DES CBC       encipher, decipher ", text)
        self.assertNotIn("\x1b", text)

    def test_objects_are_shown_while_others_are_read(self):
        both, place = self.folder / "both.txt", DATA / "tokens" / "transparent.card"
        with both.open("w") as both_streams:
            subprocess.run([ZELMO, "--reader", f"virtual:{place}", "--trace", "list"], stdout=both_streams,
                           stderr=both_streams, check=True)
        text = both.read_text()
        self.assertLess(text.index("\n  Signature key"), text.index("card > ", text.index("Private keys (4)")))

    def test_built_in_application(self):
        self.assertTrue(self.list_json(DATA / "tokens" / "no-efdir.card")["application"]["builtIn"])
        self.assertFalse(self.list_json(DATA / "tokens" / "transparent.card")["application"]["builtIn"])

    def test_colours_on_a_terminal_only(self):
        for no_color, coloured in ((None, True), ("1", False)):
            leader, follower = pty.openpty()
            env = {k: v for k, v in os.environ.items() if k != "NO_COLOR"} | {"TERM": "xterm"}
            if no_color:
                env["NO_COLOR"] = no_color
            card = DATA / "tokens" / "no-efdir.card"
            process = subprocess.Popen([ZELMO, "--reader", f"virtual:{card}", "list"], stdout=follower, env=env)
            os.close(follower)
            shown = b""
            while True:
                try:
                    part = os.read(leader, 65536)
                except OSError:
                    break
                if not part:
                    break
                shown += part
            os.close(leader)
            self.assertEqual(process.wait(), 0)
            self.assertEqual(b"\x1b[" in shown, coloured)


class BrokenTokens(ZelmoCase):
    def application(self, image):
        return find(image["root"], "5015")

    def test_an_unreadable_record_does_not_stop_the_list(self):
        def spoil(image):
            record = find(image["root"], "5015", "4403")["records"]
            record[0] = record[0][:4] + "31" + record[0][6:]

        card = self.edited(self.new_card("records"), spoil)
        listed = self.list_json(card, code=8)
        self.assertEqual([(u["type"], u["objectId"], u["error"]["name"]) for u in listed["unreadable"]],
                         [("certificates", 1, "PKCS15_E_UNSUPPORTED")])
        self.assertEqual(len(listed["objects"]), 11)
        text, err = self.list(card, code=8)
        self.assertIn("Certificates (1)\n", text)
        self.assertIn("  cannot read object 1: PKCS15_E_UNSUPPORTED\n", text)
        self.assertEqual(err, "zelmo: 1 of the token's parts could not be read; they are marked in the listing\n")

    def test_an_unreadable_directory_does_not_stop_the_list(self):
        def spoil(image):
            find(image["root"], "5015", "4402")["data"] = "310100"

        listed = self.list_json(self.edited(self.new_card("eid"), spoil), code=8)
        self.assertEqual([(u["type"], u["error"]["name"]) for u in listed["unreadable"]],
                         [("publicKeys", "PKCS15_E_INVALID_TOKEN")])
        self.assertEqual(len(listed["objects"]), 10)

    def test_denied_directory(self):
        def guard(image):
            find(image["root"], "5015", "4405")["access"] = {"read": {"pin": 0x81}}

        listed = self.list_json(self.edited(self.new_card("eid"), guard), code=7)
        self.assertEqual(listed["unreadable"][0]["error"],
                         {"code": "E0200026", "name": "PKCS15_E_SECURITY_STATUS", "cardError": "E0116982",
                          "cardErrorText": "card: 6982, security status not satisfied", "exitCode": 7})

    def test_failures_to_open(self):
        def no_token_info(image):
            self.application(image)["files"] = [f for f in self.application(image)["files"] if f["fid"] != "5032"]

        def bad_token_info(image):
            find(image["root"], "5015", "5032")["data"] = "3000"

        def denied_token_info(image):
            find(image["root"], "5015", "5032")["access"] = {"read": "never"}

        def no_application(image):
            image["root"]["files"].pop()

        cases = [
            (no_token_info, 6, "PKCS15_E_INVALID_TOKEN (card: 6A82, file not found); see 'zelmo apps'"),
            (bad_token_info, 8, "PKCS15_E_INVALID_TOKEN; repeat with --log 6 --trace"),
            (denied_token_info, 7, "PKCS15_E_INVALID_TOKEN (card: 6982, security status not satisfied); verify the PIN"),
            (no_application, 6, "PKCS15_E_INVALID_TOKEN (card: 6A82, file not found)"),
        ]
        for edit, code, line in cases:
            with self.subTest(edit=edit.__name__):
                out, err = self.list(self.edited(self.new_card("eid", f"{edit.__name__}.card"), edit), code=code)
                self.assertEqual(out, "")
                self.assertEqual(err.count("\n"), 1)
                self.assertTrue(err.startswith(f"zelmo: cannot open the token: {line}"), err)

    def test_labels_cannot_steer_the_terminal(self):
        def relabel(image):
            info = find(image["root"], "5015", "5032")
            evil = "\x1b]0;x\x07".encode() + b"\xff" + "\u202eA".encode()
            old = "Zelmop demo eID".encode()
            padded = evil.ljust(len(old), b".")
            self.assertIn(old.hex().upper(), info["data"])
            info["data"] = info["data"].replace(old.hex().upper(), padded.hex().upper())

        card = self.edited(self.new_card("eid"), relabel)
        text, _ = self.list(card)
        line = next(line for line in text.splitlines() if line.startswith("    Label"))
        self.assertTrue(line.endswith("\ufffd]0;x\ufffd\ufffd\ufffdA...."), ascii(line))
        self.assertEqual(self.list_json(card)["tokenInfo"]["label"], "\x1b]0;x\x07\ufffd\u202eA....")


class Applications(ZelmoCase):
    def apps(self, file, *arguments, code=0):
        return self.zelmo("--reader", f"virtual:{file}", "apps", *arguments, code=code)

    def test_text(self):
        text, _ = self.apps(self.new_card("eid"))
        self.assertEqual(text, "Application 1\n    Label            Zelmop demo eID\n"
                               "    AID              A000000063504B43532D3135\n    Path             3F00/5015\n")

    def test_a_malformed_entry_is_shown_in_its_place(self):
        def spoil(image):
            find(image["root"], "2F00")["records"].insert(0, "61FF4F")

        card = self.edited(self.new_card("records"), spoil)
        text, err = self.apps(card, code=8)
        self.assertIn("Application 1\n", text)
        self.assertIn("cannot read record 1\n", text)
        self.assertEqual(err, "zelmo: parts of EF.DIR are malformed; they are marked in the listing\n")

    def test_no_directory(self):
        _, err = self.apps(DATA / "tokens" / "no-efdir.card", code=6)
        self.assertIn("the card has no EF.DIR", err)

    def test_choice_by_aid(self):
        card = DATA / "tokens" / "transparent.card"
        out, _ = self.list(card, "--aid", "A0 00 00 00 63 50 4B 43 53 2D 31 35")
        self.assertIn("Transparent test token", out)
        self.list(card, "--aid", "A0000000635", code=2)
        _, err = self.list(card, "--aid", "A000", code=6)
        self.assertIn("the card has no application A000", err)

    def test_longer_records_behind_a_short_one_are_found(self):
        def prepend(image):
            find(image["root"], "2F00")["records"].insert(0, "61034F01FF")

        listed = self.list_json(self.edited(self.new_card("records"), prepend))
        self.assertFalse(listed["application"]["builtIn"])
