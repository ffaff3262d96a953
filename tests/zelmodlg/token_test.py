"""From the token library to the person and back: it opens the dialog library by itself, from beside itself."""

import os
import pathlib
import subprocess
import unittest

from dialog_case import DialogCase

TOKEN_HOST = os.environ["ZELMODLG_TOKEN_HOST"]
TOKENS = pathlib.Path(os.environ["ZELMODLG_TOKENS"])
CANCELLED, FAILED, REJECTED, BLOCKED = "A0200001", "E0200006", "E0200020", "E0200022"
CANCEL = "ERR 83886179 Operation cancelled <Pinentry>\n"


def pin(digits):
    return f"D {digits}\nOK\n"


class Token(DialogCase):
    def setUp(self):
        super().setUp()
        self.image = (TOKENS / "transparent.card").read_text()

    def labelled(self, label, new):
        """The token with another label of the same length."""
        self.assertEqual(len(label), len(new))
        self.assertIn(label.hex().upper(), self.image)
        self.image = self.image.replace(label.hex().upper(), new.hex().upper())

    def verify(self, *answers):
        """What the verifications give, each having the next answer."""
        card = self.folder / "token.card"
        card.write_text(self.image)
        results = []
        for answer in answers:
            program = self.fake(GETPIN=[answer])
            environment = self.environment(ZELMODLG_PINENTRY=str(program), LD_LIBRARY_PATH=None)
            done = subprocess.run([TOKEN_HOST, f"virtual:{card}"], env=environment, capture_output=True,
                                  text=True, timeout=60, start_new_session=True)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            results.append(tuple(done.stdout.split()))
        return results

    def test_verification(self):
        # Each run opens the card anew, but its tries stay.
        self.assertEqual(self.verify(pin("1234"))[0][0], "00000000")
        results = self.verify(pin("9999"), pin("1234"), pin("9999"), pin("9999"), pin("9999"), pin("1234"))
        self.assertEqual([code for code, _ in results], [REJECTED, "00000000", REJECTED, REJECTED, REJECTED, BLOCKED])
        self.assertEqual([tries for code, tries in results if code != "00000000"], ["02", "02", "01", "00", "00"])

    def test_cancelled_and_failed_dialogs_cost_no_try(self):
        long = pin("8" * 65)
        results = self.verify(CANCEL, None, "rubbish\n", {"signal": 9}, long, pin("1234"))
        self.assertEqual([code for code, _ in results],
                         [CANCELLED, FAILED, FAILED, FAILED, FAILED, "00000000"])

    def test_longest_pin_reaches_the_card(self):
        self.assertEqual(self.verify(pin("8" * 64))[0][0][:4], "E020")

    def shown(self):
        return self.commands("SETDESC")[0]

    def test_prompts(self):
        label = b"Transparent test token"
        cases = [
            (label, "Transparent test token"),
            (b"%s%n%s%n 100% of token", "%25s%25n%25s%25n 100%25 of token"),
            (b"not UTF-8: \xff\xc3( and \x1b", "not UTF-8: \ufffd\ufffd( and \ufffd"),
            (b"zero \0 behind the label", "zero "),
        ]
        for new, shown in cases:
            with self.subTest(new=new):
                self.image = (TOKENS / "transparent.card").read_text()
                new = new.ljust(len(label))[:len(label)]
                self.labelled(label, new)
                self.assertEqual(self.verify(pin("1234"))[0][0], "00000000")
                text = shown if b"\0" in new else shown + " " * (len(label) - len(new.rstrip()))
                self.assertEqual(self.shown(), f"SETDESC Please enter your PIN for {text}.")


if __name__ == "__main__":
    unittest.main()
