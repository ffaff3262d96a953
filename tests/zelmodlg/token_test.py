"""The shared token library finds the dialogs by itself, beside itself."""

import os
import pathlib
import subprocess
import unittest

from dialog_case import DialogCase

TOKEN_HOST = os.environ["ZELMODLG_TOKEN_HOST"]
TOKENS = pathlib.Path(os.environ["ZELMODLG_TOKENS"])


class Token(DialogCase):
    def test_verification(self):
        card = self.folder / "token.card"
        card.write_bytes((TOKENS / "transparent.card").read_bytes())
        # Each run opens the card anew, but its tries stay.
        for answer, code, tries in (("D 9999\nOK\n", "E0200020", "02"), ("rubbish\n", "E0200006", "EE"),
                                    ("ERR 83886179 cancelled\n", "A0200001", "EE"), ("D 9999\nOK\n", "E0200020", "01"),
                                    ("D 1234\nOK\n", "00000000", "..")):
            with self.subTest(answer=answer):
                environment = self.environment(ZELMODLG_PINENTRY=str(self.fake(GETPIN=[answer])), LD_LIBRARY_PATH=None)
                done = subprocess.run([TOKEN_HOST, f"virtual:{card}"], env=environment, capture_output=True, text=True,
                                      timeout=60, start_new_session=True)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertRegex(done.stdout, f"^{code} {tries}\n$")
                self.assertEqual(self.commands("SETDESC"),
                                 ["SETDESC Please enter your PIN for Transparent test token."])
