"""The pinentry programs that Debian has, driven by keys in tmux."""

import json
import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import unittest

from dialog_case import CANCELLED, HOST, LIBRARY, DialogCase, until

TMUX = shutil.which("tmux")
TOKENS = pathlib.Path(os.environ["ZELMODLG_TOKENS"])
ZELMO = os.environ["ZELMO"]


@unittest.skipIf(TMUX is None, "tmux is not installed")
class Installed(DialogCase):
    def tmux(self, *arguments):
        done = subprocess.run([TMUX, "-S", str(self.folder / "tmux"), "-f", "/dev/null", "-u", *arguments],
                              capture_output=True, env={**os.environ, "LC_ALL": "C.UTF-8"}, timeout=30)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.decode()

    def start(self, name, *arguments, terminal="screen", host=(HOST, LIBRARY)):
        """A host in a terminal of 80 by 24 characters, with one pinentry program on its PATH."""
        self.link(name)
        terminfo = next(f for f in ("/usr/share/terminfo", "/lib/terminfo") if pathlib.Path(f, "s/screen").exists())
        environment = self.environment(TERM=terminal, TERMINFO=terminfo)
        command = ["env", "-i", *(f"{k}={v}" for k, v in environment.items()), *host, *arguments]
        report = self.folder / "report"
        line = f"{shlex.join(command)} >{report} 2>&1; stty -a >{self.folder}/stty; sleep 60"
        self.tmux("new-session", "-d", "-x", "80", "-y", "24", line)
        self.addCleanup(self.tmux, "kill-server")
        self.report_file = report

    def screen(self):
        return self.tmux("capture-pane", "-p")

    def expect(self, *texts):
        try:
            until(lambda: all(text in self.screen() for text in texts), texts)
        except AssertionError:
            self.fail(f"{texts} not in:\n{self.screen()}")

    def keys(self, *keys):
        self.tmux("send-keys", *keys)

    def output(self):
        """What the host wrote, once it has ended and the terminal is as it was."""
        stty = self.folder / "stty"
        until(lambda: stty.exists() and stty.read_text(), f"the end:\n{self.screen()}")
        words = stty.read_text().replace(";", " ").split()
        for mode in ("echo", "icanon", "isig", "icrnl", "opost"):
            self.assertIn(mode, words)
        return self.report_file.read_text()

    def result(self):
        report = json.loads(self.output())
        self.assert_untouched(report)
        return report["result"], bytes.fromhex(report.get("pin", "")).decode()

    def each(self):
        for name in ("pinentry-tty", "pinentry-curses"):
            with self.subTest(name=name):
                yield name
                # The next one begins anew.
                self.doCleanups()
                self.setUp()

    def test_answers(self):
        """What the person is shown, the keys that they press, and the result."""
        label = "Geben Sie die PIN für %s 100% ein."
        cases = [
            (("get", label, "64"), (label, "PIN:"), ("12x", "BSpace", "34", "Enter"), (0, "1234")),
            (("get", "x" * 255, "64"), ("xxxxx", "PIN:"), ("1234", "Enter"), (0, "1234")),
            (("get", "Question", "64"), ("Question", "PIN:"), ("12", "C-c"), (CANCELLED, "")),
            (("box", "Card %s removed", "Zelmop"), ("Zelmop", "Card %s removed", "OK"), ("Enter",), (1, "")),
        ]
        insert = ("insert", "Insert a card", "Reader 1"), ("Insert a card", "Reader 1", "OK", "Cancel")
        for name, more in (("pinentry-tty", [(*insert, "o", (0, "")), (*insert, "c", (CANCELLED, ""))]),
                           ("pinentry-curses", [(*insert, ("Enter",), (0, "")),
                                                (*insert, ("Tab", "Enter"), (CANCELLED, "")),
                                                (("get", "Question", "64"), ("Question", "PIN:"),
                                                 ("12", "Tab", "Tab", "Enter"), (CANCELLED, ""))])):
            for arguments, shown, keys, result in cases + more:
                with self.subTest(name=name, arguments=arguments, keys=keys):
                    self.start(name, *arguments)
                    self.expect(*shown)
                    self.keys(*keys)
                    self.assertEqual(self.result(), result)
                    self.doCleanups()
                    self.setUp()

    def test_zelmo(self):
        """The command finds the dialogs by itself."""
        for name in self.each():
            for keys, text in ((["1234", "Enter"], "is right"), (["12", "C-c"], "cancelled")):
                card = self.folder / "token.card"
                card.write_bytes((TOKENS / "transparent.card").read_bytes())
                self.start(name, "--reader", f"virtual:{card}", "pin", "verify", "PIN", host=(ZELMO,))
                self.expect("Please enter your PIN for Transparent test token.", "PIN:")
                self.keys(*keys)
                self.assertIn(text, self.output())
                self.doCleanups()
                self.setUp()

    def test_stop_key_does_nothing(self):
        """A stopped pinentry-tty would show the rest of the PIN when it goes on."""
        for name in self.each():
            self.start(name, "get", "Question", "64")
            self.expect("Question", "PIN:")
            self.keys("12", "C-z", "34")
            self.assertNotIn("34", self.screen())
            self.keys("Enter")
            self.assertEqual(self.result()[0], 0)
            self.assertNotIn("34", self.screen())

    def test_killed_host(self):
        for name in self.each():
            self.start(name, "get", "Question", "64")
            self.expect("Question", "PIN:")
            # Only the host's own child is looked for.
            host = until(lambda: self.children(HOST), "the host")[0]
            program = until(lambda: self.children(str(self.bin / name)), "the program")[0]
            os.kill(host, signal.SIGKILL)
            until(lambda: not pathlib.Path(f"/proc/{program}").exists(), "the end of the program")

    def children(self, program):
        """Process numbers of a program that was started by this test."""
        own = f"FAKE_PINENTRY={self.folder}\0".encode()
        found = []
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if own in (entry / "environ").read_bytes() and \
                        (entry / "cmdline").read_bytes().split(b"\0")[0] == program.encode():
                    found.append(int(entry.name))
            except OSError:
                continue
        return found

    def test_too_long(self):
        for name in self.each():
            self.start(name, "get", "Question", "4")
            self.expect("Question", "PIN:")
            self.keys("12345", "Enter")
            self.expect("too long: at most 4 characters.")
            self.keys("1234", "Enter")
            self.assertEqual(self.result(), (0, "1234"))

    def test_terminal_that_curses_does_not_know(self):
        self.link("pinentry-tty")
        self.start("pinentry-curses", "get", "Question", "64", terminal="unheard-of")
        self.expect("Question")
        self.keys("1234", "Enter")
        self.assertEqual(self.result(), (0, "1234"))


if __name__ == "__main__":
    unittest.main()
