"""zelmo pin: what becomes of PINs on the card, and the exit codes."""

import json

from pin_case import PIN, PUK, RIGHT, SO_PIN, WRONG, PinCase, auth_key, common, path, pin, puk, secret, user_pin
from zelmo_case import find

class Presenting(PinCase):
    def test_right_wrong_and_blocked(self):
        card = self.plain_card()
        self.assertEqual(self.pin(card, "verify", "01", pins=[RIGHT]), ("", "PIN 'PIN' (01) is right.\n"))
        for left in ("2 tries left", "1 try left", "no tries left"):
            self.assertIn(f"PIN 'PIN' (01) is wrong, {left}: PKCS15_E_VERIFICATION_FAILED",
                          self.failed(card, "verify", "01", pins=[WRONG], code=4))
        for value in (RIGHT, WRONG):
            err = self.failed(card, "verify", "01", pins=[value], code=5)
            self.assertIn("is blocked: PKCS15_E_AUTH_BLOCKED (card: 6983, ", err)
            self.assertIn("; unblock it with 'zelmo pin unblock 01'\n", err)

    def test_a_right_one_gives_the_tries_back(self):
        card = self.plain_card()
        self.pin(card, "verify", "01", pins=[WRONG], code=4)
        self.pin(card, "verify", "01", pins=[RIGHT])
        self.assertEqual(self.tries(card, PIN), 3)

    def test_status_spends_nothing(self):
        card = self.plain_card()
        self.pin(card, "verify", "01", pins=[WRONG], code=4)
        image = card.read_bytes()
        for _ in range(2):
            self.assertEqual(self.pin(card, "status", "01"), ("PIN 'PIN' (01): usable, 2 tries left\n", ""))
        _, trace = self.pin(card, "status", "01", "--trace")
        self.assertEqual([line for line in trace.splitlines() if line.startswith("card > 00 20")],
                         ["card > 00 20 00 81"])
        self.assertEqual(card.read_bytes(), image)
        for _ in range(2):
            self.pin(card, "verify", "01", pins=[WRONG], code=4)
        self.assertEqual(self.pin(card, "status", "01", code=5)[0], "PIN 'PIN' (01): blocked, 0 tries left\n")

    def test_names(self):
        card = self.card_with([user_pin(), user_pin(number=2, reference=SO_PIN), puk(),
                               user_pin("Twin", number=0xAB), user_pin("Other twin", number=0xAB, reference=SO_PIN),
                               user_pin("01", number=9), user_pin(None, number=10)],
                              [secret(PIN, b"1234\0\0\0\0"), secret(SO_PIN, b"5678\0\0\0\0")])
        for word, pins, found in (("01", RIGHT, "'PIN' (01)"), ("02", "5678", "'PIN' (02)"),
                                  ("Twin", RIGHT, "'Twin' (AB)"), ("Other twin", "5678", "'Other twin' (AB)"),
                                  ("09", RIGHT, "'01' (09)"), ("0a", RIGHT, "(0A)")):
            with self.subTest(word=word):
                self.assertEqual(self.pin(card, "verify", word, pins=[pins])[1], f"PIN {found} is right.\n")
        everything = "'PIN' (01), 'PIN' (02), 'PUK' (03), 'Twin' (AB), 'Other twin' (AB), '01' (09), (0A)"
        more = "of more than one PIN: "
        for word, message in (("PIN", f"'PIN' is the label {more}'PIN' (01), 'PIN' (02); give the id in"),
                              ("ab", f"'ab' is the id {more}'Twin' (AB), 'Other twin' (AB); give the label"),
                              ("0", f"there is no PIN '0'; there is {everything}"),
                              ("", f"there is no PIN ''; there is {everything}"),
                              ("pin\n", f"there is no PIN 'pin\ufffd'; there is {everything}")):
            with self.subTest(word=word):
                self.assertIn(message, self.failed(card, "status", word, code=6))

    def test_a_token_without_pins(self):
        card = self.card_with([auth_key(common("Key"), 4, b"\xA1", derivedKey=False)], [])
        self.assertIn("the token has no PIN; ", self.failed(card, "verify", "04", pins=[RIGHT], code=6))
        self.assertEqual(self.pin(card, "list")[0], "PINs (0)\n")

    def test_what_cannot_be_presented(self):
        card = self.plain_card()
        cases = [
            (lambda i: i["pins"].clear(), 6, "card: 6A88"),
            (lambda i: find(i["root"], "5015", "4408").update(
                data=find(i["root"], "5015", "4408")["data"].replace("0A0101", "0A0105", 1)), 8, "is of type 5"),
            (lambda i: i["pins"][0].pop("value"), 7, "card: 6984"),
        ]
        for edit, code, message in cases:
            with self.subTest(message=message):
                self.assertIn(message, self.failed(self.edited(card, edit), "verify", "01", pins=[RIGHT], code=code))

    def test_a_pin_that_is_not_set(self):
        card = self.card_with([pin(common("PIN"), 1, ["local"], pinReference=PIN)], [secret(PIN, "1234")])
        before = card.read_bytes()
        self.assertIn("has not been set yet: PKCS15_E_NOT_INITIALIZED; set it with 'zelmo pin set 01'",
                      self.failed(card, "verify", "01", pins=[RIGHT], code=7))
        self.assertEqual(self.pin(card, "status", "01", code=7)[0], "PIN 'PIN' (01): not initialized\n")
        self.assertEqual(card.read_bytes(), before)

    def test_no_card(self):
        for arguments in (["list"], ["status", "01"], ["verify", "01", "--pin-fd", "0"]):
            self.assertIn("gone.card", self.failed(self.folder / "gone.card", *arguments, code=3))


class Listing(PinCase):
    def test_text(self):
        card = self.plain_card()
        out, err = self.pin(card, "list")
        self.assertEqual(err, "")
        self.assertTrue(out.startswith("PINs (2)\n  PIN  PIN\n    Id               01\n    State            usable\n"
                                       "    Tries left       3\n"), out)
        self.assertIn("    Guarded by       03 (PUK)\n", out)

    def test_json(self):
        card = self.plain_card()
        for _ in range(3):
            self.pin(card, "verify", "01", pins=[WRONG], code=4)
        listed = json.loads(self.pin(card, "list", "--json")[0])
        self.assertEqual((listed["format"], listed["reader"]), ("zelmo pins 1", f"virtual:{card}"))
        self.assertEqual([(p["label"], p["id"], p["state"], p["triesLeft"]) for p in listed["pins"]],
                         [("PIN", "01", "blocked", 0), ("PUK", "03", "usable", 2)])
        one = json.loads(self.pin(card, "status", "PUK", "--json")[0])
        self.assertEqual((one["format"], one["pin"]), ("zelmo pin 1", listed["pins"][1]))

    def test_what_the_card_does_not_tell_is_marked(self):
        card = self.edited(self.plain_card(), lambda image: image["pins"].pop(0))
        out, err = self.pin(card, "list", code=6)
        self.assertRegex(out, r"    State            unknown\n    Not told         PKCS15_E_DEVICE_ERROR \(card: 6A88, ")
        self.assertEqual(err,
                         "zelmo: the card does not tell how all of the PINs stand; they are marked in the listing\n")
        self.assertEqual(json.loads(self.pin(card, "list", "--json", code=6)[0])["pins"][0]["error"]["cardError"],
                         "E0116A88")


class Changing(PinCase):
    def test_change(self):
        card = self.plain_card()
        self.assertEqual(self.pin(card, "change", "01", pins=[RIGHT, "98765432"]), ("", "PIN 'PIN' (01) is changed.\n"))
        self.pin(card, "verify", "01", pins=[RIGHT], code=4)
        self.pin(card, "verify", "01", pins=["98765432"])

    def test_a_wrong_one_changes_nothing(self):
        card = self.plain_card()
        self.assertIn("is wrong, 2 tries left", self.failed(card, "change", "01", pins=[WRONG, "9876"], code=4))
        self.assertEqual(self.tries(card, PIN), 2)
        self.pin(card, "verify", "01", pins=[RIGHT])

    def test_a_new_one_that_does_not_fit_costs_no_try(self):
        card = self.plain_card()
        before = card.read_bytes()
        for new, code in (("123", "LENGTH"), ("123456789", "LENGTH"), ("12a4", "FORMAT"), ("12 4", "FORMAT")):
            with self.subTest(new=new):
                err = self.failed(card, "change", "01", pins=[WRONG, new], code=1)
                self.assertIn(f"PKCS15_E_PIN_{code}; it takes digits, 4 to 8 characters", err)
        self.assertEqual(card.read_bytes(), before)

    def test_refused(self):
        flags = self.card_with([user_pin(flags=["changeDisabled"])], [secret(PIN, b"1234\0\0\0\0")])
        self.assertIn("cannot be changed: ", self.failed(flags, "change", "01", pins=[RIGHT, "9876"], code=7))
        never = self.card_with([user_pin()], [secret(PIN, b"1234\0\0\0\0", access={"change": "never"})])
        self.assertIn("PIN 'PIN' (01) cannot be changed: PKCS15_E_SECURITY_STATUS (card: 6982, ",
                      self.failed(never, "change", "01", pins=[RIGHT, "9876"], code=7))

    def test_changed_behind_our_back(self):
        card = self.plain_card()
        self.pin(card, "change", "01", pins=[RIGHT, "9876"])
        self.assertIn("is wrong, 2 tries left", self.failed(card, "change", "01", pins=[RIGHT, "5555"], code=4))


class Setting(PinCase):
    def unset(self, base, **more):
        first = pin(common("PIN"), 1, ["local", "needsPadding"], maxLength=8, pinReference=PIN, padChar=b"\0")
        return self.card_with([first], [{"reference": PIN, **more}], base)

    def test_first_value(self):
        card = self.unset("records")
        self.assertEqual(self.pin(card, "set", "01", pins=[RIGHT]), ("", "PIN 'PIN' (01) is set.\n"))
        self.pin(card, "verify", "01", pins=[RIGHT])
        self.assertIn("initialized", self.list_json(card)["objects"][-1]["pinFlags"])

    def test_first_value_that_the_library_sends_itself(self):
        plain = pin(common("PIN"), 1, ["local"], stored=4, pinReference=PIN)
        card = self.card_with([plain], [{"reference": PIN}], "records")
        self.pin(card, "set", "PIN", pins=[RIGHT])
        self.pin(card, "verify", "PIN", pins=[RIGHT])

    def test_on_a_token_that_cannot_note_it(self):
        card = self.unset("transparent")
        err = self.failed(card, "set", "01", pins=[RIGHT], code=1)
        self.assertIn("PIN 'PIN' (01) is set on the card, but its entry on the token still says that it is not", err)

    def test_refused(self):
        card = self.unset("records", access={"change": "never"})
        before = card.read_bytes()
        self.assertIn("cannot be set: PKCS15_E_SECURITY_STATUS", self.failed(card, "set", "01", pins=[RIGHT], code=7))
        self.assertIn("it takes digits, 4 to 8", self.failed(card, "set", "01", pins=["12"], code=1))
        self.assertEqual(card.read_bytes(), before)
        self.assertIn("; it is set already, change it with 'zelmo pin change 01'",
                      self.failed(self.plain_card(), "set", "01", pins=[RIGHT], code=7))


class Unblocking(PinCase):
    def blocked_card(self, **more):
        card = self.card_with([user_pin(guard=3, **more), puk()], [
            secret(PIN, b"1234\0\0\0\0", unblockedBy=PUK, triesLeft=0), secret(PUK, "87654321", 2)])
        return card

    def test_unblock(self):
        card = self.blocked_card()
        self.assertEqual(self.pin(card, "unblock", "01", pins=["87654321", "9876"]),
                         ("", "PIN 'PIN' (01) is unblocked and has its new value.\n"))
        self.assertEqual(self.tries(card, PIN), 3)
        self.pin(card, "verify", "01", pins=["9876"])

    def test_wrong_and_blocked_puk(self):
        card = self.blocked_card()
        self.assertIn("PUK 'PUK' (03) is wrong, 1 try left",
                      self.failed(card, "unblock", "01", pins=["87654320", "9876"], code=4))
        err = self.failed(card, "unblock", "01", pins=["87654320", "9876"], code=4)
        self.assertIn("PUK 'PUK' (03) is wrong, no tries left", err)
        self.assertIn("; nothing sets it free again, ask the issuer", err)
        self.assertIn("PUK 'PUK' (03) is blocked",
                      self.failed(card, "unblock", "01", pins=["87654321", "9876"], code=5))

    def test_what_does_not_fit_costs_no_try(self):
        card = self.blocked_card()
        before = card.read_bytes()
        for values in (["87654321", "12"], ["8765432", "9876"], ["PUK", "9876"]):
            with self.subTest(values=values):
                self.failed(card, "unblock", "01", pins=values, code=1)
        self.assertEqual(card.read_bytes(), before)

    def test_refused(self):
        never = self.blocked_card(flags=["unblockDisabled"])
        self.assertIn("cannot be unblocked: ", self.failed(never, "unblock", "01", pins=["87654321", "9876"], code=7))
        other = self.edited(self.blocked_card(), lambda image: image["pins"][0].pop("unblockedBy"))
        self.assertIn("PIN 'PIN' (01) cannot be unblocked: PKCS15_E_DEVICE_ERROR (card: 6A88, ",
                      self.failed(other, "unblock", "01", pins=["87654321", "9876"], code=6))

    def test_which_puk(self):
        secrets = [secret(PIN, b"1234\0\0\0\0", unblockedBy=0x84, triesLeft=0), secret(PUK, "87654321"),
                   secret(0x84, "11112222")]
        two = [user_pin(), puk(), puk(number=4, reference=0x84, label="Second PUK")]
        card = self.card_with(two, secrets)
        self.assertIn("may be unblocked by PUK 'PUK' (03) or PUK 'Second PUK' (04); choose one with --puk-id",
                      self.failed(card, "unblock", "01", pins=["11112222", "9876"], code=6))
        self.pin(card, "unblock", "01", "--puk-id", "04", pins=["11112222", "9876"])
        self.assertIn("there is no PIN '7'", self.failed(card, "unblock", "01", "--puk-id", "7", pins=["1"], code=6))
        self.pin(self.card_with([user_pin(), two[2]], secrets), "unblock", "01", pins=["11112222", "9876"])
        alone = self.card_with([user_pin()], secrets)
        self.assertIn("names no PUK", self.failed(alone, "unblock", "01", pins=["1"], code=6))


class OtherTokens(PinCase):
    def test_new_cards(self):
        for profile in ("eid", "records"):
            with self.subTest(profile=profile):
                card = self.new_card(profile)
                self.pin(card, "verify", "PIN", pins=[RIGHT])
                self.pin(card, "change", "PIN", pins=[RIGHT, "56789"])
                self.pin(card, "unblock", "PIN", pins=["12345678", "4321"])
                self.pin(card, "verify", "PIN", pins=["4321"])
                self.failed(card, "change", "PUK", pins=["12345678", "87654321"], code=7)

    def test_a_pin_known_elsewhere(self):
        card = self.card_with([user_pin(path=path("3F005015")), user_pin("Far", 2, path=path("3F00DF09"))],
                              [secret(PIN, b"1234\0\0\0\0")])
        self.pin(card, "verify", "01", pins=[RIGHT])
        self.assertIn("card: 6A82, file not found", self.failed(card, "verify", "Far", pins=[RIGHT], code=6))
