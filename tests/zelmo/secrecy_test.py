"""No PIN or PUK shows anywhere: traces, logs, messages, files, arguments and environments of processes."""

import pathlib
import re

from pin_case import PIN, PUK, PinCase, common, pin, puk, secret, user_pin
from zelmo_case import ZELMO

OLD, NEW, UNBLOCK = "83749261", "59173846", "70418263"


def traces(value):
    """What would give a value away: as text, in hexadecimal of either case with or without blanks, as BCD, half-nibble
    BCD and PIN block, as numbers in a list."""
    octets = [f"{ord(c):02x}" for c in value]
    digits = [value[i:i + 2] for i in range(0, len(value), 2)]
    half = [f"f{c}" for c in value]
    forms = [value, ", ".join(str(ord(c)) for c in value)]
    for form in (octets, digits, half):
        forms += [separator.join(form) for separator in ("", " ", ":", ", ", "-")]
    return [re.compile(re.escape(form), re.IGNORECASE) for form in forms]


class Secrecy(PinCase):
    def card(self, kind):
        padded = {"asciiNumeric": (OLD.encode(), 8), "bcd": (bytes.fromhex(OLD) + b"\xff" * 4, 8),
                  "halfNibbleBcd": (bytes(0xF0 | int(c) for c in OLD), 8),
                  "iso9564-1": (bytes.fromhex("28" + OLD + "ffffff"), 8), "utf8": (OLD.encode(), 8)}[kind][0]
        return self.card_with([user_pin(kind=kind, guard=3, padChar=b"\xff"), puk()],
                              [secret(PIN, padded, unblockedBy=PUK), secret(PUK, UNBLOCK, 5)])

    def assert_hidden(self, text, what):
        for value in (OLD, NEW, UNBLOCK):
            for form in traces(value):
                self.assertIsNone(form.search(text), f"{what}: {form.pattern}")

    def run_all(self, card, give):
        """Runs each command with right, wrong and unfit values; gives what they wrote to both outputs."""
        written = ""
        for verb, values, code in (("verify", [OLD], 0), ("verify", [NEW], 4), ("change", [NEW, OLD], 4),
                                   ("change", [OLD, NEW + "1"], 1), ("change", [OLD, NEW], 0), ("status", None, 0),
                                   ("set", [OLD], 7), ("unblock", [OLD, NEW], 4), ("unblock", [UNBLOCK, OLD], 0),
                                   ("list", None, 0)):
            how = {} if values is None else give(values)
            word = [] if verb == "list" else ["01"]
            out, err = self.pin(card, verb, *word, "--trace", "--log", "debug", code=code, **how)
            self.assertIn("card > ", err)
            self.assertIn("Debug: ", err)
            written += out + err
        # The commands that carry values are there, and masked.
        for ins in ("20", "24", "2C"):
            self.assertRegex(written, rf"card > 00 {ins} \w\w 81 \[masked\]\n")
        return written

    def test_the_search_finds(self):
        for text in (f"PIN {OLD}", "38 33 37 34 39 32 36 31", "3833373439323631", "83 74 92 61", "28 83 74 92 61 ff",
                     "F8F3F7F4F9F2F6F1", "56, 51, 55, 52, 57, 50, 54, 49"):
            with self.assertRaises(AssertionError):
                self.assert_hidden(text, "")

    def test_lines(self):
        for kind in ("asciiNumeric", "bcd", "halfNibbleBcd", "iso9564-1", "utf8"):
            with self.subTest(kind=kind):
                self.assert_hidden(self.run_all(self.card(kind), lambda values: {"pins": values}), kind)

    def test_dialogs(self):
        self.assert_hidden(self.run_all(self.card("asciiNumeric"), lambda values: {
            "env": self.dialogs(*values, values[-1])}), "dialogs")

    def test_log_files(self):
        card, log = self.card("bcd"), self.folder / "zelmo.log"
        for verb, values in (("verify", [OLD]), ("change", [OLD, NEW]), ("unblock", [UNBLOCK, OLD])):
            self.pin(card, verb, "01", "--log", f"7:{log}", pins=values)
        self.assertIn("End of PKCS#15 log.", log.read_text())
        self.assert_hidden(log.read_text(errors="replace"), "log")

    def test_certificates(self):
        card = self.new_card("eid")
        self.pin(card, "change", "PIN", pins=["1234", OLD])
        for how in ({"pins": [OLD]}, {"env": self.dialogs(OLD)}):
            _, err = self.cert(card, "read", "Signature certificate", "--pem", "--trace", "--log", "debug", **how)
            self.assertIn("card > 00 20 00 81 [masked]\n", err)
            self.assert_hidden(err, "cert read")

    def test_processes(self):
        # While the last question is open, the program that asks writes down what others can see of it and of the command.
        seen = self.folder / "seen"
        look = ["sh", "-c", "zelmo=$(awk '/^PPid:/ {print $2}' /proc/$PPID/status); cd /proc; "
                            f"cat $zelmo/cmdline $zelmo/environ $PPID/cmdline $PPID/environ | tr '\\0' '\\n' > {seen}"]
        self.pin(self.card("asciiNumeric"), "change", "01", env=self.dialogs(OLD, NEW, {"do": look, "answer": NEW}))
        text = seen.read_text(errors="replace")
        self.assertIn("ZELMODLG_PINENTRY=", text)
        self.assertIn(pathlib.Path(ZELMO).name, text)
        self.assert_hidden(text, "processes")
