"""The command and the libraries on a card behind a real pcscd: its virtual reader, with zelmo-vcard in it."""

import ctypes
import os
import re
import shutil
import subprocess
import unittest

import reader_stack
from reader_case import LIBRARIES, READER, READERS, ReaderCase
from reader_stack import OtherProgram, card_in, wait_until

from zelmo_case import DATA, ZELMO  # reader_case has made it known
from pin_case import PinCase
from script_case import ScriptCase

RESET = 0x80100068


class Commands(ReaderCase, PinCase, ScriptCase):
    TOKENS = sorted((DATA / "tokens").glob("*.card"))
    SHOWING = [["list"], ["list", "--json"], ["apps", "--json"], ["pin", "list"], ["cert", "list", "--json"]]

    def test_same_answers(self):
        for options in [], ["--fault", "t0"], ["--fault", "pieces:7"]:
            for token in self.TOKENS:
                image = self.folder / "reader.card"
                shutil.copy(token, image)
                vcard = self.insert(image, *options)
                for command in self.SHOWING:
                    with self.subTest(token=token.name, command=command, options=options):
                        self.both(image, *command)
                vcard.remove()

    def test_pins(self):
        image = self.plain_card()
        self.insert(image)
        for verb, pins, code in [("verify", ["1235"], 4), ("status", None, 0), ("change", ["1235", "4321"], 4),
                                 ("change", ["1234", "4321"], 0), ("change", ["4321", "12"], 1), ("verify", ["4321"], 0),
                                 ("verify", ["1"], 4), ("verify", ["2"], 4), ("verify", ["3"], 4), ("status", None, 5),
                                 ("verify", ["4321"], 5), ("unblock", ["11111111", "5678"], 4),
                                 ("unblock", ["87654321", "5678"], 0), ("verify", ["5678"], 0), ("set", ["9876"], 7)]:
            with self.subTest(verb=verb, pins=pins):
                copy, got = self.both(image, "pin", verb, "01", pins=pins)
                self.assertEqual(got, code)
                self.assertEqual(copy.read_text(), image.read_text())

    def test_guarded_token(self):
        image = self.folder / "guarded.card"
        shutil.copy(DATA / "tokens" / image.name, image)
        self.insert(image)
        self.both(image, "cert", "read", "Free", "-o", self.folder / "free.der")
        self.assertEqual((self.folder / "free.der").read_bytes(), (DATA / "pki" / "ca.cert.der").read_bytes())
        for command, pins, code in [(("pin", "set", "05"), ["2468"], 1), (("pin", "status", "New PIN"), None, 7),
                                    (("cert", "read", "Behind the PIN", "--pem"), ["1235"], 4),
                                    (("cert", "read", "Behind the PIN", "--pem"), ["1234"], 0),
                                    (("cert", "read", "02", "--pin-id", "01", "--pem"), ["1234"], 0),
                                    (("cert", "read", "Behind both", "--pem"), ["1234"], 8),
                                    (("cert", "read", "nothing"), None, 6)]:
            with self.subTest(command=command):
                copy, got = self.both(image, *command, pins=pins)
                self.assertEqual(got, code)
                self.assertEqual(copy.read_text(), image.read_text())

    def test_personalisation(self):
        self.sign(self.script(), *self.signer())
        image = self.new_card("blank")
        self.insert(image)
        for more, pins, code in [((), ["59173846"], 2), (("--label", "Mine"), ["59173846", "7041826395"], 0),
                                 ((), ["59173846", "7041826395"], 2), (("--yes",), ["", "7041826395"], 0)]:
            with self.subTest(more=more, pins=pins):
                copy, got = self.both(image, "init", "--prefix", f"{self.folder}/", *more, pins=pins)
                self.assertEqual(got, code)
                if code != 0:
                    self.assertEqual(copy.read_text(), image.read_text())
                else:
                    listings = [self.list_json(file) for file in (copy, image)]
                    for listing in listings:
                        del listing["reader"], listing["tokenInfo"]["lastUpdate"]
                    self.assertEqual(*listings)

    def test_reader_names(self):
        self.insert(self.new_card("eid"))
        for name in READER, "0", "Virtual PCD 00 00":
            self.zelmo("--reader", name, "apps")
        for name, words in [("Virtual", "more than one reader's name begins like this"),
                            ("7", "there is no such reader")]:
            self.assertIn(words, self.zelmo("--reader", name, "apps", code=3)[1])
        self.assertIn("no card in the reader", self.zelmo("--reader", "1", "apps", code=3)[1])
        # Of the readers there are, the one with the card.
        self.assertEqual(self.zelmo("apps"), self.zelmo("--reader", READER, "apps"))
        self.assertEqual(self.zelmo("readers")[0], "".join(f"{name}\n" for name in READERS))

    def test_wait(self):
        waiting = [subprocess.Popen([ZELMO, "wait", *more], env=self.environment(), stdout=subprocess.PIPE)
                   for more in ([], ["--timeout", "60", "--reader", READER])]
        self.insert(self.new_card("eid"))
        for process in waiting:
            self.assertEqual(process.communicate(timeout=60)[0].decode(), f"{READER}\n")

    def test_two_cards(self):
        for slot, profile in enumerate(["eid", "records"]):
            self.insert(self.new_card(profile), slot=slot)
        kinds = [self.zelmo("--reader", str(slot), "list")[0] for slot in (0, 1)]
        self.assertNotEqual(*kinds)
        err = self.zelmo("list", code=2)[1]
        for reader in READERS:
            self.assertIn(reader, err)

    def test_daemon_comes_back(self):
        vcard = self.insert(self.new_card("eid"))
        self.daemon.stop()
        self.assertIn("0x8010001D", self.zelmo("--reader", READER, "list", code=3)[1])
        self.daemon.start()
        wait_until(lambda: card_in(READER), "the card does not come back")
        self.assertGreaterEqual(vcard.said.read_text().count("In the reader"), 2)


class Interruptions(ReaderCase):
    """The card is taken out, or loses its power for a moment, at each command in turn."""

    COMMANDS = [(("list",), None), (("pin", "verify", "PIN"), ["1234"]),
                (("cert", "read", "Signature certificate", "--pem"), ["1234"])]

    def setUp(self):
        super().setUp()
        self.image = self.new_card("eid")

    def sent(self, arguments, pins):
        """The commands that the card gets, and what is shown, when nothing happens."""
        vcard = self.insert(self.image)
        out, trace = self.zelmo("--reader", READER, "--trace", *arguments, pins=pins)
        vcard.remove()
        return re.findall(r"^card > (.*)", trace, re.M), out

    def places(self):
        """Each command with its arguments, PINs, output, length, and the places at which it differs from the one
        before: what they begin with is alike."""
        before = []
        for arguments, pins in self.COMMANDS:
            sent, out = self.sent(arguments, pins)
            alike = next((i for i, pair in enumerate(zip(sent, before)) if pair[0] != pair[1]), 0)
            yield arguments, pins, out, len(sent), range(alike + 1, len(sent) + 1)
            before = sent

    def test_removal(self):
        away = 1500
        for arguments, pins, expected, length, places in self.places():
            # Each place is followed by a whole run, which shows that all is well again.
            faults = [f"--fault=remove@{i * length + sum(places[:i + 1])}:{away}" for i in range(len(places))]
            vcard = self.insert(self.image, *faults)
            for turn, n in enumerate(places):
                with self.subTest(command=arguments, n=n):
                    code, _, err = self.run_zelmo("--reader", READER, *arguments, pins=pins)
                    self.assertEqual(code, 3, err)
                    self.assertRegex(err, "(?i)removed")
                    wait_until(lambda: vcard.said.read_text().count("In the reader") >= turn + 2, "it stays away")
                    wait_until(lambda: card_in(READER), "pcscd does not notice the card")
                    self.assertEqual(self.zelmo("--reader", READER, *arguments, pins=pins)[0], expected)
            vcard.remove()

    def test_loss_of_power(self):
        for arguments, pins, expected, _, places in self.places():
            for n in places:
                vcard = self.insert(self.image, "--fault", f"reset@{n}")
                with self.subTest(command=arguments, n=n):
                    code, out, err = self.run_zelmo("--reader", READER, *arguments, pins=pins)
                    if code == 0:
                        self.assertEqual(out, expected)
                    else:
                        self.assertRegex(err, r"\Azelmo: .*\n\Z")
                    self.assertEqual(self.zelmo("--reader", READER, *arguments, pins=pins)[0], expected)
                vcard.remove()


@unittest.skipUnless(LIBRARIES, "the libraries cannot be loaded into this program")
class Hosts(ReaderCase):
    def setUp(self):
        super().setUp()
        self.service = ctypes.CDLL(f"{LIBRARIES}/libzelmocrd.so", mode=ctypes.RTLD_GLOBAL)
        self.library = ctypes.CDLL(f"{LIBRARIES}/libzelmop15.so")
        for name in "zelmocrd_OpenCard", "scardcmd_SelectFile", "scard_BeginTransaction", "scardcmd_VerifyPIN":
            getattr(self.service, name).restype = ctypes.c_uint32
        self.library.pkcs15_GetDefaultDIR.restype = ctypes.c_void_p
        self.insert(self.new_card("eid"))

    def open(self, flags=0):
        card = ctypes.c_uint32()
        return self.service.zelmocrd_OpenCard(READER.encode(), flags, ctypes.byref(card)), card

    def select_root(self, card):
        return self.service.scardcmd_SelectFile(card, 0, None, 0, None)

    def test_reset_by_another_program(self):
        other = OtherProgram()
        self.assertTrue(other.connects(READER))
        _, card = self.open()
        other.reset()
        # The caller hears of it once; then the card is as after any reset.
        self.assertEqual([self.select_root(card), self.select_root(card)], [RESET, 0])
        other.reset()
        self.assertEqual([self.service.scard_BeginTransaction(card), self.select_root(card)], [0, 0])
        self.service.scard_EndTransaction(card, 0)
        # What was proven through a handle is not left behind.
        pin = b"1234".ljust(8, b"\0")
        self.assertEqual(self.service.scardcmd_VerifyPIN(card, 0x81, pin, len(pin), None, 0), 0)
        self.service.zelmocrd_CloseCard(card)
        other.end()
        tries = ctypes.c_uint8(0)
        _, card = self.open()
        self.service.scardcmd_QueryRetryCounter(card, 0x81, ctypes.byref(tries), 0)
        self.assertEqual(tries.value, 3)
        self.service.zelmocrd_CloseCard(card)

    def test_exclusive(self):
        _, card = self.open(flags=1)
        self.assertIn("0x8010000B", self.zelmo("--reader", READER, "list", code=1)[1])
        self.service.zelmocrd_CloseCard(card)
        self.zelmo("--reader", READER, "list")

    def test_many_openings(self):
        def descriptors():
            return len(os.listdir("/proc/self/fd"))

        record = ctypes.c_void_p(self.library.pkcs15_GetDefaultDIR())
        before = 0
        for turn in range(1000):
            result, card = self.open()
            self.assertEqual((result, self.service.scard_BeginTransaction(card)), (0, 0))
            token = ctypes.c_void_p()
            self.assertEqual(self.library.pkcs15_ScAcquireTokenContext(card, record, ctypes.byref(token), None), 0)
            self.library.pkcs15_ScReleaseTokenContext(token)
            # Every other time the transaction is left to the closing.
            if turn % 2:
                self.service.scard_EndTransaction(card, 0)
            self.assertEqual(self.service.zelmocrd_CloseCard(card), 0)
            before = before or descriptors()
        self.assertEqual(descriptors(), before)
        self.library.asn1_DIRRecord_free(record)


if __name__ == "__main__":
    reader_stack.enter()
    unittest.main()
