"""A person at a terminal: zelmo in a tmux window, with Debian's pinentry programs."""

import shutil
import subprocess
import time
import unittest

from pin_case import PIN, RIGHT, WRONG, PinCase
from zelmo_case import DATA, ZELMO

PATIENCE = 30


@unittest.skipUnless(shutil.which("tmux"), "tmux is not installed")
class Terminal(PinCase):
    def window(self, pinentry):
        """A shell in a window of its own, in which dialogs are shown by this program."""
        program = shutil.which(pinentry)
        if program is None:
            self.skipTest(f"{pinentry} is not installed")
        self.addCleanup(self.tmux, "kill-server")
        shell = ["env", "PS1=READY> ", "TERM=screen", "LC_ALL=C.UTF-8", "LANG=C", f"ZELMODLG_PINENTRY={program}",
                 "/bin/bash", "--norc", "--noprofile"]
        self.tmux("-f", "/dev/null", "new-session", "-d", "-x", "100", "-y", "30", *shell)
        self.expect("READY>")

    def tmux(self, *arguments):
        done = subprocess.run(["tmux", "-u", "-S", str(self.folder / "tmux"), *arguments], env=self.environment(),
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def screen(self):
        return self.tmux("capture-pane", "-p", "-J")

    def expect(self, *texts):
        """Waits until all of these stand on the screen."""
        end = time.monotonic() + PATIENCE
        while not all(text in self.screen() for text in texts):
            self.assertLess(time.monotonic(), end, f"waited in vain for {texts}:\n{self.screen()}")
            time.sleep(0.05)
        return self.screen()

    def type(self, text):
        self.tmux("send-keys", "-l", text)
        self.tmux("send-keys", "Enter")

    def run_in_window(self, *arguments):
        self.type("clear; " + " ".join(f"'{a}'" for a in (ZELMO, *arguments)) + "; echo \"ended: $?\"")

    def test_curses(self):
        card = self.plain_card()
        self.window("pinentry-curses")
        self.run_in_window("--reader", f"virtual:{card}", "pin", "verify", "01")
        self.expect("Please enter your PIN for Transparent test token.", "PIN: ")
        self.type(RIGHT)
        screen = self.expect("ended: 0")
        self.assertIn("PIN 'PIN' (01) is right.", screen)
        self.assertNotIn(RIGHT, screen)
        self.run_in_window("--reader", f"virtual:{card}", "pin", "verify", "01", "--lang", "de")
        self.expect("Bitte geben Sie die PIN für Transparent test token ein.")
        self.type(WRONG)
        self.expect("is wrong, 2 tries left", "ended: 4")
        self.run_in_window("--reader", f"virtual:{card}", "pin", "verify", "01")
        self.expect("Please enter")
        self.tmux("send-keys", "Tab", "Tab", "Enter")
        self.expect("zelmo: cancelled; nothing was sent to the card", "ended: 1")
        self.assertEqual(self.tries(card, PIN), 2)

    def test_change_by_curses(self):
        card = self.plain_card()
        self.window("pinentry-curses")
        self.run_in_window("--reader", f"virtual:{card}", "pin", "change", "01")
        for prompt, value in (("Please enter your PIN", RIGHT), ("the new PIN for Transparent test token.", "9876"),
                              ("once more.", "9876")):
            self.expect(prompt)
            self.type(value)
        self.expect("PIN 'PIN' (01) is changed.", "ended: 0")
        self.pin(card, "verify", "01", pins=["9876"])

    def read_certificate(self, pinentry):
        card, file = self.new_card("eid"), self.folder / "sign.der"
        self.window(pinentry)
        self.run_in_window("--reader", f"virtual:{card}", "cert", "read", "Signature certificate", "-o", file)
        self.expect("Please enter your PIN for Zelmop demo eID.")
        self.type(RIGHT)
        self.assertNotIn(RIGHT, self.expect("ended: 0"))
        self.assertEqual(file.read_bytes(), (DATA.parent.parent / "tools/zelmo/demo/signature.der").read_bytes())

    def test_a_certificate_by_curses(self):
        self.read_certificate("pinentry-curses")

    def test_a_certificate_by_tty(self):
        self.read_certificate("pinentry-tty")
