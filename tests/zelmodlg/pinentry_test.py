"""The conversation with a pinentry program, on a fake one."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import time
import unittest

from dialog_case import CANCELLED, FAILED, HOST, LIBRARY, DialogCase, SignalTests, until


def hexed(text):
    return text.encode().hex()


class Conversation(DialogCase):
    def ask(self, prompt="Please enter your PIN for Card.", capacity=64, **changes):
        report = self.without_terminal("get", prompt, str(capacity),
                                       **{"ZELMODLG_PINENTRY": str(self.bin / "pinentry-tty"), **changes})
        self.assert_untouched(report)
        return report["result"], report["pin"]

    def test_pin(self):
        self.fake(GETPIN=["D 1234\nOK\n"])
        self.assertEqual(self.ask(), (0, hexed("1234")))
        told = self.told()
        self.assertEqual(told["arguments"], [])
        self.assertEqual(told["commands"],
                         ["OPTION lc-ctype=C.UTF-8", "OPTION lc-messages=C.UTF-8", "SETOK OK", "SETCANCEL Cancel",
                          "SETDESC Please enter your PIN for Card.", "SETPROMPT PIN:", "GETPIN", "BYE"])

    def test_program_inherits_nothing(self):
        self.fake(GETPIN=["D 1234\nOK\n"])
        inherited = os.open("/dev/null", os.O_RDONLY)
        os.set_inheritable(inherited, True)
        self.addCleanup(os.close, inherited)
        signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR1, signal.SIGINT})
        self.addCleanup(signal.pthread_sigmask, signal.SIG_UNBLOCK, {signal.SIGUSR1, signal.SIGINT})
        report = self.without_terminal("-i", str(int(signal.SIGINT)), "get", "?", "64",
                                       ZELMODLG_PINENTRY=str(self.bin / "pinentry-tty"))
        self.assertEqual(report["result"], 0)
        told = self.told()
        self.assertEqual((told["descriptors"], told["stderr"]), ([0, 1, 2], "/dev/null"))
        self.assertEqual(int(told["blocked"], 16), 0)
        self.assertEqual(int(told["ignored"], 16) >> (signal.SIGINT - 1) & 1, 0)

    def test_answers(self):
        answers = [
            ("D 12%2534%0a\nOK\n", 0, "12%34\n"),
            ("D 12\nD 34\nOK\n", 0, "1234"),
            ("S PASSWORD_FROM_CACHE\n# a comment\nD 1234\nOK\n", 0, "1234"),
            ("D p\u00e4ss\nOK\n", 0, "p\u00e4ss"),
            ("D  1 \nOK\n", 0, " 1 "),
            ("INQUIRE QUALITY 1234\n", 0, "12"),
            (f"D {'8' * 64}\nOK\n", 0, "8" * 64),
            ("ERR 83886179 Operation cancelled <Pinentry>\n", CANCELLED, ""),
            ("ERR 83886278 Operation fully cancelled <Pinentry>\n", CANCELLED, ""),
            ("ERR 83886194 Not confirmed <Pinentry>\n", CANCELLED, ""),
            ("ERR 83886340 Invalid IPC response <Pinentry>\n", FAILED, ""),
            ("ERR\n", FAILED, ""),
            ("rubbish\n", FAILED, ""),
            ("\x00\xff\x00\n" * 5, FAILED, ""),
            ("D 1234\n" + "x" * 5000 + "\n", FAILED, ""),
            ("D " + "1" * 5000 + "\nOK\n", FAILED, ""),
            ("D 1234", FAILED, ""),
            (None, FAILED, ""),
            ({"signal": 9}, FAILED, ""),
            ({"signal": 11}, FAILED, ""),
        ]
        for answer, result, pin in answers:
            with self.subTest(answer=answer):
                self.fake(GETPIN=[answer, None], END=["D 12\nOK\n"])
                # What is said without an end is the last of it.
                if answer == "D 1234":
                    self.fake(GETPIN=[{"noecho": answer}])
                self.assertEqual(self.ask(), (result, hexed(pin)))

    def test_before_the_question(self):
        plays = [
            {"greeting": None},
            {"greeting": "ERR 1 no\n"},
            {"greeting": "rubbish\n" * 3},
            {"greeting": "x" * 100000},
            {"greeting": {"signal": 6}},
            {"OPTION": [None]},
            {"SETDESC": ["ERR 1 no\n"]},
            {"SETPROMPT": [None]},
        ]
        for play in plays:
            with self.subTest(play=play):
                self.fake(**play)
                self.assertEqual(self.ask(), (FAILED, ""))

    def test_unknown_options_do_no_harm(self):
        self.fake(OPTION=["ERR 83886254 Unknown option <Pinentry>\n"], SETOK=["ERR 83886355 Unknown command\n"],
                  GETPIN=["D 1\nOK\n"])
        self.assertEqual(self.ask(), (0, hexed("1")))

    def test_unusable_pins_are_asked_for_again(self):
        long, empty, zero = f"D {'8' * 65}\nOK\n", "OK\n", "D 12%0034\nOK\n"
        too_long = "SETERROR This PIN is too long: at most 64 characters."
        nothing = "SETERROR No PIN was entered."
        bad = "SETERROR This PIN has a character that cannot be used."
        good = "D 1234\nOK\n"
        cases = [
            ([long, good], (0, hexed("1234")), [too_long]),
            ([empty, good], (0, hexed("1234")), [nothing]),
            ([zero, long, good], (0, hexed("1234")), [bad, too_long]),
            ([long, empty, long, good], (FAILED, ""), [too_long, nothing]),
            ([long, "ERR 83886179 cancelled\n"], (CANCELLED, ""), [too_long]),
            # More than fits anywhere, in lines that fit.
            ([f"D {'8' * 900}\n" * 3 + "OK\n", good], (0, hexed("1234")), [too_long]),
        ]
        for answers, result, complaints in cases:
            with self.subTest(result=result, complaints=complaints):
                self.fake(GETPIN=answers)
                self.assertEqual(self.ask(), result)
                self.assertEqual(self.commands("SETERROR"), complaints)

    def test_capacities(self):
        for capacity, result in ((3, FAILED), (4, 0), (5, 0)):
            self.fake(GETPIN=["D 1234\nOK\n"])
            self.assertEqual(self.ask(capacity=capacity), (result, "" if result else hexed("1234")))
        self.assertEqual(self.ask(capacity=0)[0], FAILED)

    def test_prompts(self):
        replaced = "\ufffd"
        prompts = [
            (b"%s %n %0A 100%", "%25s %25n %250A 100%25"),
            (b"one\ntwo\r\tthree", f"one%0Atwo{replaced} three"),
            ("Bitte geben Sie die PIN für Ä ein.".encode(), "Bitte geben Sie die PIN für Ä ein."),
            (b"\x1b[2Jbell\x07\x7f", f"{replaced}[2Jbell{replaced}{replaced}"),
            (b"latin \xe4, cut \xc3", f"latin {replaced}, cut {replaced}"),
            (b"over \xc0\xaf \xed\xa0\x80", f"over {replaced * 2} {replaced * 3}"),
            ("turned \u202e\u2066.".encode(), f"turned {replaced * 2}."),
            (b"", ""),
            (b"x" * 255, "x" * 255),
            (b"y" * 2000, "y" * 897 + "\u2026"),
            ("\u00e4".encode() * 1000, "\u00e4" * 448 + "\u2026"),
        ]
        for prompt, shown in prompts:
            with self.subTest(prompt=prompt):
                self.fake(GETPIN=["D 1\nOK\n"])
                self.assertEqual(self.ask(prompt), (0, hexed("1")))
                self.assertEqual(self.commands("SETDESC"), [f"SETDESC {shown}"])

    def test_a_prompt_of_percent_signs_keeps_to_the_line_length(self):
        self.fake(GETPIN=["D 1\nOK\n"])
        self.assertEqual(self.ask("%" * 900), (0, hexed("1")))
        shown = self.commands("SETDESC")[0]
        self.assertLess(len(shown.encode()), 1000)
        self.assertRegex(shown, "^SETDESC (%25)+\u2026$")

    def test_message(self):
        program = str(self.fake())
        report = self.without_terminal("box", "Card %s\nremoved", "Zelmop", ZELMODLG_PINENTRY=program)
        self.assertEqual(report["result"], 1)
        self.assertEqual(self.told()["commands"][-4:],
                         ["SETTITLE Zelmop", "SETDESC Zelmop%0A%0ACard %25s%0Aremoved", "MESSAGE", "BYE"])
        for answer, result in (("ERR 83886179 cancelled\n", 2), (None, 3)):
            self.fake(MESSAGE=[answer])
            self.assertEqual(self.without_terminal("box", "?", "", ZELMODLG_PINENTRY=program)["result"], result)

    def test_insert_card(self):
        program = str(self.fake())
        report = self.without_terminal("insert", "Insert a card", "Reader 1", ZELMODLG_PINENTRY=program)
        self.assertEqual(report["result"], 0)
        self.assertEqual(self.commands("SETDESC", "CONFIRM"), ["SETDESC Insert a card%0AReader 1", "CONFIRM"])
        self.fake(CONFIRM=["ERR 83886194 Not confirmed <Pinentry>\n"])
        self.assertEqual(self.without_terminal("insert", "?", ZELMODLG_PINENTRY=program)["result"], CANCELLED)

    def change(self, *arguments):
        report = self.without_terminal("change", "Change", *arguments,
                                       ZELMODLG_PINENTRY=str(self.bin / "pinentry-tty"))
        self.assert_untouched(report)
        return report["result"], bytes.fromhex(report["old"]).decode(), bytes.fromhex(report["new"]).decode()

    def test_change(self):
        pin = "D {}\nOK\n".format
        cases = [
            (["64", "64", "4"], [pin("1234"), pin("5678"), pin("5678")], (0, "1234", "5678")),
            (["0", "64", "4"], [pin("5678"), pin("5678")], (0, "", "5678")),
            (["64", "64", "4"], [pin("1234"), pin("567"), pin("5678"), pin("5678")], (0, "1234", "5678")),
            (["64", "64", "4"], [pin("1234"), pin("5678"), pin("5679"), pin("5678"), pin("5678")],
             (0, "1234", "5678")),
            (["64", "64", "4"], [pin("1234")] + [pin("5678"), pin("5679")] * 3, (FAILED, "", "")),
            (["64", "64", "4"], [pin("1234"), pin("5678"), "ERR 83886179 cancelled\n"], (CANCELLED, "", "")),
            (["64", "3", "4"], [pin("1234")], (FAILED, "", "")),
        ]
        for arguments, answers, result in cases:
            with self.subTest(answers=answers):
                self.fake(GETPIN=answers)
                self.assertEqual(self.change(*arguments), result)
        self.fake(GETPIN=[pin("1234"), pin("5678"), pin("5679"), pin("5678"), pin("5678")])
        self.change("64", "64", "4")
        self.assertEqual(self.commands("SETPROMPT", "SETERROR"),
                         ["SETPROMPT Present PIN:", "SETPROMPT New PIN:", "SETPROMPT New PIN again:",
                          "SETPROMPT New PIN:", "SETERROR The two new PINs differ.", "SETPROMPT New PIN again:"])

    def test_nothing_is_logged(self):
        pin = "7083951264"
        program = self.fake(GETPIN=[f"D {pin}\nOK\n"])
        log = self.folder / "log"
        # without_terminal() also holds that nothing comes to standard error.
        report = self.without_terminal("-a", str(log), "get", "?", "64", ZELMODLG_PINENTRY=str(program),
                                       ASSUAN_DEBUG="255", ASSUAN_FULL_LOGGING="1")
        self.assertEqual((report["result"], report["pin"]), (0, hexed(pin)))
        self.assertEqual(log.read_text(), "")


class Choice(DialogCase):
    """Which program is taken."""

    def ask(self, **changes):
        return self.without_terminal("get", "?", "64", **changes)["result"]

    def test_named_program(self):
        program = self.fake("mine", GETPIN=["D 1\nOK\n"])
        self.assertEqual(self.ask(ZELMODLG_PINENTRY=str(program)), 0)
        self.assertEqual(self.ask(ZELMODLG_PINENTRY="mine"), 0, "looked for on PATH")
        program.chmod(0o644)
        self.assertEqual(self.ask(ZELMODLG_PINENTRY=str(program)), FAILED, "not executable")
        self.assertEqual(self.ask(ZELMODLG_PINENTRY=str(self.bin)), FAILED, "a folder")
        self.assertEqual(self.ask(ZELMODLG_PINENTRY=str(self.bin / "none")), FAILED)
        self.assertEqual(self.ask(ZELMODLG_PINENTRY="none"), FAILED)
        self.assertEqual(self.ask(ZELMODLG_PINENTRY=f"{program}; touch {self.folder}/shell"), FAILED)
        script = self.bin / "script"
        script.write_text(f"touch {self.folder}/shell\n")
        script.chmod(0o755)
        self.assertEqual(self.ask(ZELMODLG_PINENTRY=str(script)), FAILED, "no shell runs it")
        self.assertFalse((self.folder / "shell").exists())

    def test_a_named_program_is_the_only_one(self):
        self.fake("pinentry-curses", GETPIN=["D 1\nOK\n"])
        host = self.on_terminal("get", "?", "64", ZELMODLG_PINENTRY="/none")
        self.assertEqual(host.report()["result"], FAILED)
        self.assertFalse((self.folder / "told.json").exists())

    def test_display(self):
        self.fake("pinentry", GETPIN=["D 1\nOK\n"])
        self.fake("pinentry-curses", GETPIN=["D 1\nOK\n"])
        self.assertEqual(self.ask(), FAILED, "nowhere to show a dialog")
        self.assertFalse((self.folder / "told.json").exists())
        self.assertEqual(self.ask(ZELMODLG_PINENTRY=""), FAILED, "no name is as no variable")
        self.assertEqual(self.ask(DISPLAY=":0"), 0)
        self.assertEqual(self.ask(WAYLAND_DISPLAY="wayland-0"), 0)
        (self.bin / "pinentry").unlink()
        self.assertEqual(self.ask(DISPLAY=":0"), FAILED, "there is no graphical one")

    def test_terminal(self):
        cases = [
            ({"TERM": "xterm"}, "pinentry-curses", ["OPTION ttyname=/dev/tty", "OPTION ttytype=xterm"]),
            ({"TERM": "xterm", "DISPLAY": ":0"}, "pinentry-curses",
             ["OPTION ttyname=/dev/tty", "OPTION ttytype=xterm"]),
            ({"TERM": "dumb"}, "pinentry-tty", ["OPTION ttyname=/dev/tty", "OPTION ttytype=dumb"]),
            ({"TERM": None}, "pinentry-tty", ["OPTION ttyname=/dev/tty"]),
            ({"TERM": "x\nGETPIN"}, "pinentry-curses", ["OPTION ttyname=/dev/tty"]),
        ]
        for changes, name, options in cases:
            with self.subTest(changes=changes):
                for program in ("pinentry", "pinentry-curses", "pinentry-tty"):
                    self.fake(program, GETPIN=[None])
                self.fake(name, GETPIN=["D 1\nOK\n"])
                for other in self.bin.glob("*"):
                    if other.name != name:
                        other.write_text("#!/bin/false\n")
                host = self.on_terminal("get", "?", "64", **changes)
                self.assertEqual(host.report()["result"], 0)
                self.assertEqual([o for o in self.commands("OPTION") if "tty" in o], options)

    def test_broken_programs_are_passed_over(self):
        (self.bin / "pinentry-curses").write_text("#!/bin/false\n")
        (self.bin / "pinentry-curses").chmod(0o755)
        self.fake("pinentry-tty", GETPIN=["S ERROR curses 83886381\nERR 83886381 Screen or window too small\n"])
        host = self.on_terminal("get", "?", "64")
        host.expect_question()
        host.type(b"1234\n")
        report = host.report()
        self.assertEqual((report["result"], report["pin"]), (0, hexed("1234")))
        self.assertEqual(self.commands("GETPIN"), ["GETPIN"])
        self.assert_untouched(report)

    @unittest.skipUnless(os.geteuid() == 0, "only root can make a set-uid program")
    def test_a_set_uid_host_does_not_run_what_its_user_names(self):
        if os.statvfs(self.folder).f_flag & os.ST_NOSUID or not all(
                p.stat().st_mode & 0o001 for p in (*pathlib.Path(LIBRARY).parents, pathlib.Path(LIBRARY))):
            self.skipTest("another user cannot run the host here, or not with root's rights")
        # One that every user can run.
        program = self.bin / "pinentry"
        program.write_text("#!/bin/sh\n: >$FAKE_PINENTRY/told.json\necho OK\nwhile read -r line; do\n"
                           "[ \"$line\" != GETPIN ] || echo D 1\necho OK\ndone\n")
        program.chmod(0o755)
        host = self.folder / "host"
        shutil.copy(HOST, host)
        self.folder.chmod(0o777)
        changes = {"DISPLAY": ":0"}
        for mode, variables, result in ((0o755, {"ZELMODLG_PINENTRY": str(program)}, 0), (0o755, {}, 0),
                                        (0o4755, {"ZELMODLG_PINENTRY": str(program)}, FAILED), (0o4755, {}, FAILED)):
            with self.subTest(mode=oct(mode), variables=variables):
                host.chmod(mode)
                (self.folder / "told.json").unlink(missing_ok=True)
                done = subprocess.run([host, LIBRARY, "get", "?", "64"], capture_output=True, user=65534, group=65534,
                                      env=self.environment(**changes, **variables), start_new_session=True)
                self.assertEqual(json.loads(done.stdout)["result"], result, done.stderr)
                self.assertEqual((self.folder / "told.json").exists(), result == 0)

    def test_folders_of_the_working_directory_are_not_searched(self):
        self.fake("pinentry-tty", GETPIN=["D 1\nOK\n"])
        for path in (":", ".", "bin", "::bin:"):
            with self.subTest(path=path):
                self.assertEqual(self.ask(PATH=path, DISPLAY=":0", ZELMODLG_PINENTRY="pinentry-tty"), FAILED)


class Signals(SignalTests, DialogCase):
    """Signals while a program shows the dialog."""

    def asking(self, *options):
        for name in ("waiting", "noecho"):
            (self.folder / name).unlink(missing_ok=True)
        self.fake("pinentry-curses", GETPIN=[{"noecho": {"wait": "go", "then": "D 1234\nOK\n"}}])
        host = self.on_terminal(*options, "get", "?", "64")
        until((self.folder / "waiting").exists, "the question")
        self.assertFalse(host.echo())
        return host

    def answer(self, host):
        (self.folder / "go").touch()

    def programs(self):
        return [p for p in pathlib.Path("/proc").glob("[0-9]*/environ") if self.mine(p)]

    def mine(self, environ):
        try:
            return f"FAKE_PINENTRY={self.folder}\0".encode() in environ.read_bytes()
        except OSError:
            return False

    def assert_over(self):
        self.assertEqual(self.programs(), [])

    def test_typed_interrupt_cancels(self):
        host = self.asking()
        host.type(b"\x03")
        report = host.report()
        self.assertEqual((report["result"], report["handled"]), (CANCELLED, {}))
        self.assert_untouched(report)

    def test_a_killed_host_leaves_no_program_behind(self):
        host = self.asking()
        host.kill(signal.SIGKILL)
        host.ended()
        until(lambda: not self.programs(), "the end of the program")

    def test_nothing_is_stopped(self):
        host = self.asking()
        host.type(b"\x1a")
        host.kill(signal.SIGTSTP)
        time.sleep(0.1)
        self.answer(host)
        report = host.report()
        self.assertEqual((report["result"], report["pin"]), (0, hexed("1234")))
        self.assert_untouched(report)


if __name__ == "__main__":
    unittest.main()
