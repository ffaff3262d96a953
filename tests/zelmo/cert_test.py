"""zelmo cert: the octets are those that openssl made, behind a PIN too."""

import hashlib
import json
import os
import pty
import re
import stat
import subprocess

from pin_case import (PIN, RIGHT, WRONG, PinCase, at, auth_id, auth_key, certificate, common, content, pin, rule, secret,
                      user_pin)
from zelmo_case import DATA

PKI = DATA / "pki"
SECOND = 0x83


def der(name):
    return (PKI / f"{name}.cert.der").read_bytes()


def openssl(*arguments, data=b""):
    return subprocess.run(["openssl", *arguments], input=data, capture_output=True, check=True).stdout


class CertCase(PinCase):
    def guarded(self, attributes, read={"pin": PIN}, pins=None, secrets=None, value=None, where=None):
        """A token whose first certificate has these attributes and lies in a file with this condition."""
        def change(model):
            directory = next(d for d in model["directories"] if d["type"] == 4)
            directory["objects"].insert(0, certificate(attributes, {"iD": b"\xCE"}, where or at("4305")))
            model["files"].append(content("4305", der("user1") if value is None else value, read=read))
            model["pins"] = secrets or [secret(PIN, b"1234\0\0\0\0")]
            next(d for d in model["directories"] if d["type"] == 8)["objects"] = pins or [user_pin()]
        return self.token(change)

    def read(self, card, name, *arguments, **how):
        return self.cert(card, "read", name, *arguments, raw=True, **how)[0]

    def refused(self, card, name, *arguments, **how):
        out, err = self.cert(card, "read", name, *arguments, **how)
        self.assertEqual(out, "")
        self.assertRegex(err, r"^zelmo: [^\n]+; [^\n]+\n$")
        return err


class Reading(CertCase):
    def test_every_certificate_of_every_token(self):
        made = {file.read_bytes(): file.name for file in PKI.glob("*.cert.der")}
        read = 0
        for model in sorted((DATA / "expected").glob("*.json")):
            card = DATA / "tokens" / f"{model.stem}.card"
            for o in json.loads(model.read_text())["objects"]:
                if o["objectType"] in (4, 5, 6) and not o["carried"] and model.stem != "guarded":
                    with self.subTest(token=model.stem, label=o["label"]):
                        self.assertIn(self.read(card, o["label"]), made)
                        read += 1
        self.assertGreaterEqual(read, 20)
        self.assertEqual(self.read(DATA / "tokens" / "transparent.card", "Signature certificate"), der("user1"))
        self.assertEqual(self.read(DATA / "tokens" / "transparent.card", "Authentication certificate"), der("user2"))

    def test_behind_a_pin(self):
        card = self.guarded(common("Guarded", ["private"], 1))
        for word in ("CE", "ce", "Guarded"):
            self.assertEqual(self.read(card, word, pins=[RIGHT]), der("user1"))
        self.assertEqual(self.read(card, "CE", env=self.dialogs(RIGHT)), der("user1"))
        self.assertEqual(self.prompts(), ["Please enter your PIN for Transparent test token."])
        self.read(card, "CE", "--lang", "de", env=self.dialogs(RIGHT))
        self.assertEqual(self.prompts(), ["Bitte geben Sie die PIN für Transparent test token ein."])

    def test_conditions_that_cannot_be_satisfied(self):
        card = DATA / "tokens" / "guarded.card"
        self.assertEqual(self.read(card, "Free"), der("ca"))
        for label in ("Behind both", "Behind nobody"):
            self.assertIn("PKCS15_E_UNSUPPORTED", self.refused(card, label, pins=["1234"], code=8))

    def test_the_pin_is_taken_only_when_the_card_demands_it(self):
        card = DATA / "tokens" / "transparent.card"
        self.assertEqual(self.read(card, "Root CA", env=self.dialogs(RIGHT)), der("ca"))
        self.assertEqual(self.prompts(), [])

    def test_wrong_pins(self):
        card = self.guarded(common("Guarded", ["private"], 1))
        for left in (2, 1, 0):
            self.assertIn("PIN 'PIN' (01) is wrong, ", self.refused(card, "CE", pins=[WRONG, RIGHT], code=4))
            self.assertEqual(self.tries(card, PIN), left)
        self.assertIn("PIN 'PIN' (01) is blocked", self.refused(card, "CE", pins=[RIGHT], code=5))
        self.assertIn("PIN 'PIN' (01) is blocked", self.refused(card, "CE", env=self.dialogs(RIGHT), code=5))
        self.assertEqual(self.prompts(), [])

    def test_no_pin(self):
        card = self.guarded(common("Guarded", ["private"], 1))
        before = card.read_bytes()
        self.assertEqual(self.refused(card, "CE", env=self.dialogs(None), code=1),
                         "zelmo: cancelled; nothing was sent to the card\n")
        self.assertIn("cannot ask for the PIN", self.refused(card, "CE", code=1))
        self.assertIn("is missing", self.refused(card, "CE", pins=b"", code=1))
        self.assertEqual(card.read_bytes(), before)

    def test_which_pin(self):
        key = auth_key(common("Key"), 4, b"\xA1", derivedKey=False)
        pins = [user_pin("First"), user_pin("Second", 2, reference=SECOND), key]
        secrets = [secret(PIN, b"1234\0\0\0\0"), secret(SECOND, b"5678\0\0\0\0")]
        either = {"or": [{"pin": PIN}, {"pin": SECOND}]}
        first, second = rule(["read"], auth_id(1)), rule(["read", "update"], auth_id(2))
        cases = [
            (common("C", ["private"], rules=[second, first]), {"pin": PIN}, [], RIGHT, 0),
            (common("C", ["private"], rules=[rule(["update"], auth_id(1)), second]), {"pin": SECOND}, [], "5678", 0),
            (common("C", ["private"], rules=[rule(["read"], ("or", [auth_id(1), auth_id(2)]))]), either, [], RIGHT, 0),
            (common("C", ["private"], rules=[rule(["read"], ("or", [auth_id(1), auth_id(2)]))]), either,
             ["--pin-id", "Second"], "5678", 0),
            (common("C", ["private"], rules=[rule(["read"], ("or", [auth_id(9), auth_id(2)]))]), either, [], "5678", 0),
            # Public on the token, guarded on the card: the entry's authId still says by what.
            (common("C", [], 2), {"pin": SECOND}, [], "5678", 0),
            (common("C"), {"pin": SECOND}, ["--pin-id", "02"], "5678", 0),
            (common("C"), {"pin": SECOND}, [], "5678", 7),  # nothing tells which
            (common("C"), {"pin": SECOND}, ["--pin-id", "03"], "5678", 6),
            (common("C"), "never", ["--pin-id", "02"], "5678", 7),
            (common("C", ["private"], 4), "always", [], RIGHT, 7),  # a key alone opens it
            (common("C", ["private"], rules=[rule(["read"], ("and", [auth_id(1), auth_id(2)]))]), either, [], RIGHT, 8),
        ]
        for attributes, read, arguments, value, code in cases:
            with self.subTest(attributes=attributes, arguments=arguments):
                card = self.guarded(attributes, read, pins, secrets)
                if code == 0:
                    self.assertEqual(self.read(card, "CE", *arguments, pins=[value]), der("user1"))
                else:
                    self.refused(card, "CE", *arguments, pins=[value], code=code)

    def test_the_only_pin_for_users_serves_where_nothing_tells(self):
        pins = [pin(common("SO"), 2, ["soPin", "initialized"], pinReference=SECOND), user_pin()]
        card = self.guarded(common("C"), {"pin": PIN}, pins)
        self.assertEqual(self.read(card, "CE", pins=[RIGHT]), der("user1"))

    def test_new_cards(self):
        demo = DATA.parent.parent / "tools" / "zelmo" / "demo"
        for profile in ("eid", "records"):
            card = self.new_card(profile)
            for name, pins in (("signature", [RIGHT]), ("authentication", None)):
                self.assertEqual(self.read(card, f"{name.capitalize()} certificate", pins=pins),
                                 (demo / f"{name}.der").read_bytes())

    def test_names(self):
        card = DATA / "tokens" / "transparent.card"
        ca = hashlib.sha1(openssl("x509", "-inform", "der", "-pubkey", "-noout", data=der("ca"))).hexdigest()
        self.assertIn("there is no certificate", self.refused(card, ca, code=6))
        self.assertEqual(self.read(card, "Useful CA"), der("ca"))
        shared = json.loads((DATA / "expected/transparent.json").read_text())["objects"]
        shared = next(o["id"] for o in shared if o.get("label") == "Useful CA")
        both = f"'Root CA' ({shared}), 'Useful CA' ({shared})"
        self.assertIn(f"'{shared}' is the id of more than one certificate: {both}; give the label",
                      self.refused(card, shared, code=6))

    def test_one_certificate_under_two_heads(self):
        def twice(model):
            for directory in model["directories"]:
                if directory["type"] in (5, 6):
                    directory["objects"] = [certificate(common("CA"), {"iD": b"\xCA"}, at("4303"))]
        card = self.token(twice)
        for word in ("CA", "ca"):
            self.assertEqual(self.read(card, word), der("ca"))

    def test_no_file(self):
        card = self.guarded(common("Lost"), where=at("4399"))
        self.assertIn("card: 6A82, file not found", self.refused(card, "Lost", code=6))


class Writing(CertCase):
    def test_pem(self):
        card = self.guarded(common("Guarded", ["private"], 1))
        pem = openssl("x509", "-inform", "der", data=der("user1"))
        self.assertEqual(self.read(card, "CE", "--pem", pins=[RIGHT]), pem)
        file = self.folder / "user1.pem"
        self.assertEqual(self.cert(card, "read", "CE", "--pem", "-o", file, pins=[RIGHT]), ("", ""))
        self.assertEqual(file.read_bytes(), pem)

    def test_files(self):
        card = DATA / "tokens" / "transparent.card"
        new, old, link = (self.folder / name for name in ("new", "old", "link"))
        old.write_text("x" * 5000)
        old.chmod(0o640)
        link.symlink_to("old")
        for file in (new, link):
            self.cert(card, "read", "Root CA", "-o", file)
            self.assertEqual(file.read_bytes(), der("ca"))
        self.assertTrue(link.is_symlink())
        self.assertEqual(stat.S_IMODE(old.stat().st_mode), 0o640)
        self.cert(card, "read", "Root CA", "--output", "/dev/null")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        self.assertEqual(sorted(file.name for file in self.folder.iterdir()), ["link", "new", "old"])

    def test_failures_leave_what_was_there(self):
        card = self.guarded(common("Guarded", ["private"], 1))
        file = self.folder / "old"
        file.write_text("old")
        self.refused(card, "CE", "-o", file, pins=[WRONG], code=4)
        self.refused(card, "CE", "-o", self.folder / "none" / "x", pins=[RIGHT], code=1)
        self.refused(card, "CE", "-o", self.folder, pins=[RIGHT], code=1)
        self.refused(card, "CE", "-o", "/dev/full", pins=[RIGHT], code=1)
        with open("/dev/full", "w") as full:
            self.zelmo("--reader", f"virtual:{card}", "cert", "read", "CE", pins=[RIGHT], stdout=full, code=1)
        self.assertEqual(file.read_text(), "old")
        self.assertEqual(sorted(file.name for file in self.folder.iterdir()), ["old", "token.card"])

    def test_a_terminal_gets_no_octets(self):
        card = DATA / "tokens" / "transparent.card"
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        self.assertEqual(self.cert(card, "read", "Root CA", stdout=slave, code=2)[1],
                         "zelmo: a certificate's octets are nothing for a terminal; use --pem, or -o FILE\n")
        self.cert(card, "read", "Root CA", "--pem", stdout=slave)
        os.close(slave)
        self.assertTrue(os.read(master, 100).startswith(b"-----BEGIN CERTIFICATE-----\r\n"))


class Listing(CertCase):
    def test_what_certificates_say(self):
        listed = json.loads(self.cert(DATA / "tokens" / "transparent.card", "list", "--json")[0])
        self.assertEqual((listed["format"], listed["unreadable"]), ("zelmo certificates 1", []))
        names = {"Signature certificate": "user1", "Authentication certificate": "user2", "EC certificate": "ec",
                 "Root CA": "ca", "Useful CA": "ca"}
        self.assertEqual([o["label"] for o in listed["objects"]], list(names))
        for o in listed["objects"]:
            with self.subTest(label=o["label"]):
                told = openssl("x509", "-inform", "der", "-noout", "-nameopt", "RFC2253,sep_comma_plus_space",
                               "-subject", "-issuer", "-dates", "-dateopt", "iso_8601", "-serial",
                               data=der(names[o["label"]]))
                fields = dict(line.split("=", 1) for line in told.decode().splitlines())
                self.assertEqual(o["reading"], "free")
                self.assertEqual((o["subjectText"], o["issuerText"]), (fields["subject"], fields["issuer"]))
                for name in ("notBefore", "notAfter"):
                    self.assertEqual(o[name], re.sub("[-: ]", "", fields[name]))
                serial = o["serialNumber"]
                self.assertEqual(int(serial, 16) if isinstance(serial, str) else serial, int(fields["serial"], 16))

    def test_text(self):
        card = self.guarded(common("Guarded", ["private"], 1))
        text, err = self.cert(card, "list")
        self.assertEqual(err, "")
        self.assertIn("  Guarded  X.509 certificate\n    Id               CE\n    Reading          takes a PIN or key\n"
                      "    Flags            private\n    Guarded by       01\n    Path             4305\n", text)
        self.assertRegex(text, r"  Root CA  [^\n]*\n(    [^\n]*\n)*    Subject          CN=")
        self.assertNotIn("PINs", text)

    def test_what_cannot_be_read_is_marked(self):
        cases = [(common("Guarded", ["private"], 1), {}, "guarded", 0), (common("Closed"), {"read": "never"}, "guarded", 0),
                 (common("Rubbish"), {"read": "always", "value": b"\x30\x03\x02\x01\x07"}, "malformed", 8),
                 (common("Nobody's", ["private"], 9), {}, "impossible", 0),
                 (common("Lost"), {"where": at("4399")}, "impossible", 6)]
        for attributes, more, reading, code in cases:
            with self.subTest(label=attributes["label"]):
                card = self.guarded(attributes, **more)
                out, err = self.cert(card, "list", "--json", code=code)
                first = json.loads(out)["objects"][0]
                self.assertEqual((first["label"], first["reading"]), (attributes["label"], reading))
                self.assertEqual("error" in first, reading == "impossible")
                self.assertEqual(err != "", code != 0)
                self.cert(card, "list", code=code)

    def test_no_certificates(self):
        def empty(model):
            model["directories"] = [d for d in model["directories"] if d["type"] not in (4, 5, 6)]
        self.assertEqual(self.cert(self.token(empty), "list")[0], "The token holds no certificates.\n")
        self.assertIn("the token has no certificate; ", self.refused(self.token(empty), "01", code=6))
