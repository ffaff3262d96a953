"""Where PINs come from when nobody is asked: descriptors and files, and the dangers of both."""

import os
import pty
import threading
import unittest

from pin_case import PIN, RIGHT, PinCase, common, pin, secret

LONG = "ä" * 32  # 64 octets


class SourceCase(PinCase):
    def text_card(self, value=LONG):
        """A card with a PIN of any text."""
        text = pin(common("Text"), 1, ["caseSensitive", "initialized"], "utf8", 1, 64, pinReference=PIN)
        return self.card_with([text], [secret(PIN, value)])

    def unsent(self, card, *arguments, message, **how):
        """The command fails for its PIN source, with nothing sent to the card."""
        before = card.read_bytes()
        self.assertIn(message, self.failed(card, *arguments, code=1, **how))
        self.assertEqual(card.read_bytes(), before)


class Lines(SourceCase):
    def test_what_ends_a_line(self):
        for octets, value in ((b"ab\n", "ab"), (b"ab\r\n", "ab"), (b"ab", "ab"), (b"ab\r", "ab"), (b"a\rb\n", "a\rb"),
                              (b"ab\r\r\n", "ab\r"), (b" a b \n", " a b "), (b"ab\nrest\n", "ab"), (b"\xff\n", None)):
            with self.subTest(octets=octets):
                card = self.text_card(value.encode() if value is not None else b"\xff")
                self.pin(card, "verify", "01", pins=octets)

    def test_lengths(self):
        card = self.text_card()
        self.pin(card, "verify", "01", pins=[LONG])
        self.pin(card, "verify", "01", pins=LONG.encode() + b"\r\n")
        for octets in (LONG.encode() + b"x", LONG.encode() + b"x\n", LONG.encode() + b"\r\r\n", b"1" * 65, b"1" * 5000):
            with self.subTest(octets=octets):
                self.unsent(card, "verify", "01", pins=octets, message="PIN 'Text' (01) is longer than 64 octets; ")

    def test_lines_that_are_none(self):
        card = self.text_card("ab")
        new = "the line of the new PIN 'Text' (01)"
        for octets, verb, message in ((b"", "verify", "the line of PIN 'Text' (01) is missing"),
                                      (b"\n", "verify", "the line of PIN 'Text' (01) is empty"),
                                      (b"\r\n", "verify", "is empty"), (b"\nab\n", "verify", "is empty"),
                                      (b"ab\n", "change", f"{new} is missing"), (b"ab", "change", f"{new} is missing"),
                                      (b"ab\n\n", "change", f"{new} is empty"),
                                      (b"a\0b\n", "verify", "holds a zero octet"),
                                      ("ab\n".encode("utf-16-le"), "verify", "holds a zero octet")):
            with self.subTest(octets=octets, verb=verb):
                self.unsent(card, verb, "01", pins=octets, message=message)

    def test_one_descriptor_serves_command_after_command(self):
        card = self.text_card("first")
        with open(self.folder / "lines", "w+b") as lines:
            lines.write(b"first\nfirst\nsecond\nsecond\n")
            lines.seek(0)
            for verb in ("verify", "change", "verify"):
                self.pin(card, verb, "01", "--pin-fd", 0, stdin=lines)


class Descriptors(SourceCase):
    def test_not_open(self):
        self.unsent(self.text_card(), "verify", "01", "--pin-fd", "77", message="descriptor 77: it is not open; ")

    def test_not_for_reading(self):
        with open("/dev/null", "w") as null:
            self.unsent(self.text_card(), "verify", "01", "--pin-fd", null.fileno(), message="Bad file descriptor; ",
                        fds=[null.fileno()])

    def test_a_terminal_would_show_it(self):
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        self.unsent(self.text_card(), "verify", "01", "--pin-fd", 0, stdin=slave,
                    message="descriptor 0: it is a terminal, which shows what is typed; ")

    def test_a_slow_writer(self):
        card = self.text_card("slow")
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        threading.Timer(0.3, lambda: (os.write(writer, b"ow\n"), os.close(writer))).start()
        os.write(writer, b"sl")
        self.pin(card, "verify", "01", "--pin-fd", 0, stdin=reader)

    def test_wrong_use(self):
        card = self.text_card()
        for arguments in (["--pin-fd", "-1"], ["--pin-fd", "x"], ["--pin-fd", "99999999999"], ["--pin-fd"],
                          ["--pin-fd", "3", "--pin-file", "x"], ["--pin", "1234"], ["1234"], ["--lang", "xx"],
                          ["--lang", "DE"]):
            with self.subTest(arguments=arguments):
                self.failed(card, "verify", "01", *arguments, code=2)


class Files(SourceCase):
    def pin_file(self, mode, text=RIGHT + "\n", name="pin"):
        file = self.folder / name
        file.write_text(text)
        file.chmod(mode)
        return file

    def test_a_file_of_our_own(self):
        card = self.plain_card()
        for mode in (0o600, 0o400, 0o700):
            self.pin(card, "verify", "01", "--pin-file", self.pin_file(mode, name=f"pin{mode}"))
        link = self.folder / "link"
        link.symlink_to(self.folder / f"pin{0o600}")
        self.pin(card, "verify", "01", "--pin-file", link)
        self.pin(card, "change", "01", "--pin-file", self.pin_file(0o600, f"{RIGHT}\n4321", "both"))
        self.pin(card, "unblock", "01", "--pin-file", self.pin_file(0o600, "87654321\r\n1111\r\n", "puk"))
        self.pin(card, "verify", "01", pins=["1111"])

    def test_open_to_others(self):
        card = self.plain_card()
        for mode in (0o640, 0o604, 0o644, 0o620, 0o602, 0o666):
            with self.subTest(mode=oct(mode)):
                self.unsent(card, "verify", "01", "--pin-file", self.pin_file(mode),
                            message="others may read or change it; make it a file of your own with 'chmod 600'")

    def test_no_file(self):
        card = self.plain_card()
        os.mkfifo(self.folder / "pipe", 0o600)
        (self.folder / "folder").mkdir(0o700)
        (self.folder / "loop").symlink_to("loop")
        for name, message in (("none", "No such file or directory"), ("folder", "it is no regular file"),
                              ("pipe", "it is no regular file"), ("loop", "Too many levels of symbolic links")):
            with self.subTest(name=name):
                self.unsent(card, "verify", "01", "--pin-file", self.folder / name, message=message)
        self.unsent(card, "verify", "01", "--pin-file", "/dev/null", message="it is no regular file")

    @unittest.skipUnless(os.geteuid() == 0, "needs root")
    def test_somebody_elses(self):
        file = self.pin_file(0o600)
        os.chown(file, 65534, 65534)
        self.unsent(self.plain_card(), "verify", "01", "--pin-file", file, message="it belongs to somebody else")

    def test_a_bad_source_is_found_before_the_card_is_touched(self):
        none = self.folder / "none.card"
        self.assertIn("no regular file", self.failed(none, "verify", "01", "--pin-file", "/dev/null", code=1))
