"""Runs the dialog library in a host, with or without a terminal, with programs of the tests' own."""

import json
import os
import pathlib
import pty
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest

HOST = os.environ["ZELMODLG_HOST"]
LIBRARY = os.environ["ZELMODLG_LIBRARY"]
HERE = pathlib.Path(__file__).parent
CANCELLED = 0x8010006E
FAILED = 120
PATIENCE = 20


def until(condition, what):
    """Waits for a condition to give something true, and returns it."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.01)
    raise AssertionError(f"waited in vain for {what}")


class TerminalProgram:
    """A program that leads a session on a terminal of its own: a host of the dialogs, or a shell that runs one."""

    def __init__(self, environment, command):
        self.seen = b""
        # The other side stays open, so that modes can be read when the host has gone.
        self.master, self.slave = pty.openpty()
        self.pid = os.fork()
        if self.pid == 0:
            try:
                os.setsid()
                os.close(os.open(os.ttyname(self.slave), os.O_RDWR))
                for descriptor in (0, 1, 2):
                    os.dup2(self.slave, descriptor)
                os.closerange(3, 4096)
                os.execve(command[0], command, environment)
            finally:
                os._exit(127)

    def close(self):
        if self.pid:
            os.kill(self.pid, signal.SIGKILL)
            self.ended()
        os.close(self.master)
        os.close(self.slave)

    def echo(self):
        return bool(termios.tcgetattr(self.slave)[3] & termios.ECHO)

    def pump(self):
        while select.select([self.master], [], [], 0)[0]:
            self.seen += os.read(self.master, 4096)
        return self.seen

    def expect(self, text):
        until(lambda: text in self.pump(), f"{text!r} in {self.seen!r}")

    def expect_question(self, text=b"PIN: ", times=1):
        until(lambda: self.pump().count(text) >= times and not self.echo(), f"{text!r} in {self.seen!r}")

    def type(self, octets):
        os.write(self.master, octets)

    def kill(self, number):
        os.kill(self.pid, number)

    def ended(self):
        """The wait status, once the host has ended."""
        def reap():
            self.pump()
            pid, status = os.waitpid(self.pid, os.WNOHANG)
            return (status,) if pid else None
        status = until(reap, f"the end, after {self.seen!r}")[0]
        self.pid = 0
        self.pump()
        return status

    def report(self):
        """What the host printed when it had ended."""
        status = self.ended()
        assert status == 0, (status, self.seen)
        return json.loads(self.seen[self.seen.rindex(b'{"result"'):])


class DialogCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.bin = self.folder / "bin"
        self.bin.mkdir()

    def environment(self, **changes):
        base = {k: v for k, v in os.environ.items()
                if k not in ("ZELMODLG_PINENTRY", "DISPLAY", "WAYLAND_DISPLAY", "LC_ALL", "LC_CTYPE", "LANG")}
        base.update(PATH=str(self.bin), TERM="xterm", LC_ALL="C.UTF-8", FAKE_PINENTRY=str(self.folder))
        return {name: value for name, value in {**base, **changes}.items() if value is not None}

    def fake(self, name="pinentry-tty", **play):
        """Puts a fake pinentry on PATH, which plays `play`; gives its path."""
        (self.folder / "play.json").write_text(json.dumps(play))
        program = self.bin / name
        # Not "env python3": PATH leads to the test's own programs alone.
        text = (HERE / "fake_pinentry.py").read_text()
        program.write_text(f"#!{sys.executable} -BIS\n" + text.split("\n", 1)[1])
        program.chmod(0o755)
        return program

    def link(self, name):
        """Puts an installed program on PATH; without it the test is skipped."""
        program = shutil.which(name)
        if program is None:
            self.skipTest(f"{name} is not installed")
        (self.bin / name).symlink_to(program)

    def told(self):
        return json.loads((self.folder / "told.json").read_text())

    def commands(self, *names):
        return [line for line in self.told()["commands"] if line.split(" ")[0] in names]

    def without_terminal(self, *arguments, **changes):
        """Runs a host that has no controlling terminal; gives its report."""
        done = subprocess.run([HOST, LIBRARY, *arguments], env=self.environment(**changes), capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=60, start_new_session=True)
        self.assertEqual((done.returncode, done.stderr), (0, b""), done.stdout)
        return json.loads(done.stdout)

    def on_terminal(self, *arguments, **changes):
        host = TerminalProgram(self.environment(**changes), [HOST, LIBRARY, *arguments])
        self.addCleanup(host.close)
        return host

    def assert_untouched(self, report):
        self.assertEqual((report["dispositions changed"], report["descriptors"]), (0, 0), report)


class SignalTests:
    """What holds while a dialog is open, whoever shows it. asking() gives a host whose dialog is open, answer() answers
    it with 1234, assert_over() says that nothing is left of it."""

    def assert_over(self):
        pass

    def test_deadly_signals(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGALRM, signal.SIGUSR1,
                       signal.SIGUSR2):
            with self.subTest(number=number):
                host = self.asking()
                host.kill(number)
                self.assertEqual(os.WTERMSIG(host.ended()), number)
                self.assertTrue(host.echo())
                self.assert_over()

    def test_handled_signals_come_once(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number=number):
                host = self.asking("-h", str(int(number)))
                host.kill(number)
                report = host.report()
                self.assertEqual((report["result"], report["handled"]), (CANCELLED, {str(int(number)): 1}))
                self.assert_untouched(report)
                self.assertTrue(host.echo())
                self.assert_over()

    def test_ignored_signals_and_handled_alarms_do_not_disturb(self):
        host = self.asking(*(word for n in (signal.SIGINT, signal.SIGHUP) for word in ("-i", str(int(n)))),
                           "-h", str(int(signal.SIGALRM)))
        for number in (signal.SIGINT, signal.SIGHUP, signal.SIGALRM):
            host.kill(number)
        time.sleep(0.1)
        self.answer(host)
        report = host.report()
        self.assertEqual((report["result"], report["pin"], report["handled"]), (0, b"1234".hex(), {"14": 1}))
        self.assert_untouched(report)
