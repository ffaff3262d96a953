"""The library's own dialogs on the controlling terminal, when there is no pinentry program."""

import os
import signal
import subprocess
import termios
import time
import unittest

from dialog_case import CANCELLED, FAILED, HOST, LIBRARY, DialogCase, SignalTests, TerminalProgram, until


class Answers(DialogCase):
    def ask(self, *arguments, **changes):
        return self.on_terminal(*(arguments or ("get", "Please enter your PIN for Card.", "64")), **changes)

    def assert_result(self, host, result, pin=""):
        report = host.report()
        self.assertEqual((report["result"], bytes.fromhex(report["pin"]).decode()), (result, pin))
        self.assert_untouched(report)
        self.assertTrue(host.echo())
        self.assertNotIn(b"1234", host.seen.split(b"{")[0])

    def test_answers(self):
        start = b"Please enter your PIN for Card.\r\nPIN: "
        cases = [
            ([b"1234\n"], 0, "1234"),
            ([b"wrong\x15 123x\x7f4\n"], 0, " 1234"),
            ([b"12\x04", b"34\n"], 0, "1234"),  # an end of input amid a line
            ([b"\x03"], CANCELLED, ""), ([b"123\x03"], CANCELLED, ""), ([b"\x04"], CANCELLED, ""),
        ]
        for keys, result, pin in cases:
            with self.subTest(keys=keys):
                host = self.ask()
                host.expect_question()
                self.assertEqual(host.seen, start)
                for octets in keys:
                    host.type(octets)
                    time.sleep(0.1 if len(keys) > 1 else 0)
                self.assert_result(host, result, pin)
                self.assertTrue(host.seen.startswith(start))

    def test_lengths(self):
        longest = b"1234" * 16
        cases = [
            ([longest], 0),
            ([b"12345" * 13, longest], 0),
            ([b"9" * 4000, b"", longest], 0),
            ([b"9" * 65, b"", b"9" * 65], FAILED),
        ]
        for lines, result in cases:
            with self.subTest(lines=lines):
                host = self.ask()
                for count, line in enumerate(lines, 1):
                    host.expect_question(times=count)
                    host.type(line + b"\n")
                self.assert_result(host, result, "" if result else longest.decode())

    def test_complaints(self):
        host = self.ask()
        host.expect_question()
        host.type(b"\n")
        host.expect_question(times=2)
        host.type(b"9" * 65 + b"\n")
        host.expect_question(times=3)
        host.type(b"1234\n")
        self.assert_result(host, 0, "1234")
        shown = host.seen.decode().split("\r\n")
        self.assertEqual(shown[2:4] + shown[5:7], ["Please enter your PIN for Card.", "No PIN was entered.",
                                                   "Please enter your PIN for Card.",
                                                   "This PIN is too long: at most 64 characters."])

    def test_typed_ahead_is_dropped(self):
        host = self.ask("change", "?", "64", "64", "1")
        host.expect_question(b"Present PIN: ")
        host.type(b"1234\n5678\n")
        host.expect_question(b"New PIN: ")
        host.type(b"90\n")
        host.expect_question(b"New PIN again: ")
        host.type(b"90\n")
        report = host.report()
        self.assertEqual((report["result"], report["old"], report["new"]),
                         (0, b"1234".hex(), b"90".hex()))

    def test_prompts(self):
        prompts = [
            (b"%s %n", "%s %n"),
            ("Bitte geben Sie die PIN für Ä ein.".encode(), "Bitte geben Sie die PIN für Ä ein."),
            (b"\x1b[2J\x9b \xff", "\ufffd[2J\ufffd \ufffd"),
            (b"one\ntwo", "one\r\ntwo"),
        ]
        for prompt, shown in prompts:
            with self.subTest(prompt=prompt):
                host = self.ask("get", prompt, "64")
                host.expect_question()
                self.assertEqual(host.seen.decode(), f"{shown}\r\nPIN: ")
                host.type(b"1234\n")
                self.assert_result(host, 0, "1234")

    def test_character_sets(self):
        cases = [
            ("C.UTF-8", "für".encode(), "pä1".encode(), "pä1".encode()),
            ("C", b"f?r", "pä1".encode(), "pä1".encode()),
            ("xx_none", b"f?r", b"p\xe4", b"p\xe4"),
        ]
        if self.has_locale("de_DE.ISO-8859-1"):
            cases.append(("de_DE.ISO-8859-1", b"f\xfcr", b"p\xe41", "pä1".encode()))
        for locale, shown, typed, pin in cases:
            with self.subTest(locale=locale):
                # The C library itself leaks a copy of LOCPATH.
                host = self.ask("get", "für", "64", LC_ALL=locale, ASAN_OPTIONS="detect_leaks=0")
                host.expect_question()
                self.assertEqual(host.seen, shown + b"\r\nPIN: ")
                host.type(typed + b"\n")
                self.assertEqual(bytes.fromhex(host.report()["pin"]), pin)

    def has_locale(self, name):
        """Makes the locale in a folder of its own; C libraries come without most of them."""
        folder = self.folder / "locales"
        folder.mkdir()
        made = subprocess.run(["localedef", "-i", "de_DE", "-f", "ISO-8859-1", str(folder / name)],
                              capture_output=True)
        os.environ["LOCPATH"] = str(folder)
        self.addCleanup(os.environ.pop, "LOCPATH")
        return made.returncode <= 1 and any(folder.iterdir())

    def test_raw_terminal(self):
        """A host with a screen of its own gets its modes back, and the person can type as usual meanwhile."""
        host = self.ask("-h", str(int(signal.SIGUSR1)), "get", "?", "64")
        host.expect_question()
        modes = termios.tcgetattr(host.slave)
        modes[0] &= ~(termios.ICRNL | termios.IXON)
        modes[1] &= ~termios.OPOST
        modes[3] &= ~(termios.ICANON | termios.ISIG | termios.ECHO)
        # Set behind the dialog's back and taken over at its next question.
        termios.tcsetattr(host.slave, termios.TCSANOW, modes)
        host.kill(signal.SIGCONT)
        host.expect_question(times=2)
        during = termios.tcgetattr(host.slave)
        self.assertTrue(during[3] & termios.ICANON and during[3] & termios.ISIG and during[0] & termios.ICRNL)
        host.type(b"1234\r")
        self.assertEqual(host.report()["result"], 0)

    def test_no_terminal(self):
        self.assertEqual(self.without_terminal("get", "?", "64")["result"], FAILED)
        self.assertEqual(self.without_terminal("box", "?", "")["result"], 3)
        self.assertEqual(self.without_terminal("slot", "?", "a", "b")["result"], FAILED)
        self.assertEqual(self.without_terminal("pad", "?")["result"], FAILED)


class Signals(SignalTests, DialogCase):
    def asking(self, *options):
        host = self.on_terminal(*options, "get", "?", "64")
        host.expect_question()
        host.type(b"12")
        return host

    def answer(self, host):
        host.type(b"34\n")

    def test_typed_quit(self):
        host = self.asking()
        host.type(b"\x1c")
        self.assertEqual(os.WTERMSIG(host.ended()), signal.SIGQUIT)
        self.assertTrue(host.echo())

    def test_typed_interrupt_answers_a_host_that_ignores_interrupts(self):
        host = self.asking("-i", str(int(signal.SIGINT)))
        host.type(b"\x03")
        report = host.report()
        self.assertEqual(report["result"], CANCELLED)
        self.assert_untouched(report)

    def test_signals_that_another_thread_gets(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number=number):
                host = self.asking("-t", "1")
                host.kill(number)
                self.assertEqual(os.WTERMSIG(host.ended()), number)
                self.assertTrue(host.echo())
        host = self.asking("-t", "1")
        host.type(b"\x03")
        self.assertEqual(host.report()["result"], CANCELLED)

    def test_threads_wait_for_each_other(self):
        host = self.on_terminal("-t", "3", "get", "?", "64")
        for count in (1, 2, 3):
            host.expect_question(times=count)
            time.sleep(0.1)
            self.assertEqual(host.pump().count(b"PIN: "), count)
            host.type(b"1234\n")
        host.expect(b'"handled"')
        self.assertEqual(os.WEXITSTATUS(host.ended()), 0)
        self.assertEqual(host.seen.count(b'"pin": "31323334"'), 3)
        self.assertTrue(host.echo())

    def test_lost_terminal(self):
        host = self.asking()
        os.close(host.slave)
        os.close(host.master)
        host.master, host.slave = os.openpty()
        _, status = os.waitpid(host.pid, 0)
        host.pid = 0
        self.assertEqual(os.WTERMSIG(status), signal.SIGHUP)

    def shell(self):
        """A host as a job of a shell that does job control, on a terminal."""
        host = TerminalProgram(self.environment(PS1="> "), ["/bin/bash", "--norc", "--noediting", "-i"])
        self.addCleanup(host.close)
        host.expect(b"> ")
        host.type(f"{HOST} {LIBRARY} get PROMPT 64\n".encode())
        host.expect_question()
        return host

    def test_stop_and_go_on(self):
        host = self.shell()
        host.type(b"99\x1a")
        host.expect(b"Stopped")
        until(host.echo, "echo while stopped")
        host.type(b"fg\n")
        host.expect_question(times=2)
        host.type(b"1234\n")
        host.expect(b'{"result": 0, "pin": "31323334"')
        until(host.echo, "echo at the end")

    def test_stopped_from_outside(self):
        """Nobody can catch SIGSTOP: the shell puts the terminal right, and the dialog does when it goes on."""
        host = self.shell()
        host.type(b"99")
        job = os.tcgetpgrp(host.master)
        os.killpg(job, signal.SIGSTOP)
        host.expect(b"Stopped")
        host.type(b"stty echo\nfg\n")
        host.expect_question(times=2)
        host.type(b"1234\n")
        host.expect(b'{"result": 0, "pin": "31323334"')
        until(host.echo, "echo at the end")


class OtherEntries(DialogCase):
    def test_message(self):
        for keys, result in ((b"\n", 1), (b"\x03", 2)):
            host = self.on_terminal("box", "Card %s removed", "Zelmop")
            host.expect(b"Zelmop\r\nCard %s removed\r\nPress Enter. ")
            host.type(keys)
            self.assertEqual(host.report()["result"], result)

    def test_insert_card(self):
        for keys, result in ((b"\n", 0), (b"\x03", CANCELLED), (b"\x04", CANCELLED)):
            host = self.on_terminal("insert", "Insert a card", "Reader 1")
            host.expect(b"Insert a card\r\nReader 1\r\nPress Enter, or Ctrl-C to cancel. ")
            host.type(keys)
            self.assertEqual(host.report()["result"], result)

    def test_select_slot(self):
        for lines, result, selected in (([b"2"], 0, 1), ([b"3", b"x", b"1"], 0, 0), ([b"0", b"", b"-1"], FAILED, 99),
                                        ([b"\x04"], CANCELLED, 99)):
            with self.subTest(lines=lines):
                host = self.on_terminal("slot", "Which reader?", "One", "Two \x1b")
                for count, line in enumerate(lines, 1):
                    until(lambda: host.pump().count(b"Number (1 to 2): ") == count, "the list")
                    host.type(line + b"\n")
                self.assertIn("Which reader?\r\n1  One\r\n2  Two \ufffd\r\n".encode(), host.seen)
                report = host.report()
                self.assertEqual((report["result"], report["selected"]), (result, selected))
        self.assertEqual(self.without_terminal("slot", "?", "One")["selected"], 0)

    def test_pin_pad(self):
        host = self.on_terminal("pad", "Use the reader's keys.")
        self.assertEqual(host.report()["result"], 0)
        self.assertTrue(host.seen.startswith(b"Use the reader's keys.\r\n"))


if __name__ == "__main__":
    unittest.main()
