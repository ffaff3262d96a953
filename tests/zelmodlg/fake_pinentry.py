#!/usr/bin/env python3
"""Stands for a pinentry program: says what the test tells it to say, and writes down what it was told.

The environment variable FAKE_PINENTRY names a folder. Its file play.json holds "greeting", and for each command a list
of what is done the first, second ... time, the last one again and again: a text is sent as it stands, null ends the
program, {"signal": n} kills it, {"silent": 1} sends nothing more, {"noecho": text} first turns the terminal's echo
off, {"wait": file, "then": text} waits until the file exists. What is not listed is answered OK. The file told.json
receives the run's arguments, descriptors, signals and commands, anew after each command.
"""
import json
import os
import pathlib
import sys
import termios
import time

folder = pathlib.Path(os.environ["FAKE_PINENTRY"])
play = json.loads((folder / "play.json").read_text())
status = dict(line.split(":\t") for line in pathlib.Path("/proc/self/status").read_text().splitlines() if ":\t" in line)
told = {"arguments": sys.argv[1:], "commands": [], "blocked": status["SigBlk"], "ignored": status["SigIgn"],
        "descriptors": sorted(int(name) for name in os.listdir("/proc/self/fd"))[:-1],
        "stderr": os.readlink("/proc/self/fd/2")}
times = {}


def note():
    part = folder / f"told.{os.getpid()}"
    part.write_text(json.dumps(told))
    part.rename(folder / "told.json")


def send(text):
    data = text.encode("utf-8", "surrogateescape")
    while data:
        data = data[os.write(1, data):]


def act(what):
    if what is None:
        sys.exit(0)
    if isinstance(what, str):
        return send(what)
    if "signal" in what:
        os.kill(os.getpid(), what["signal"])
    if "silent" in what:
        time.sleep(3600)
    if "noecho" in what:
        with open("/dev/tty") as terminal:
            modes = termios.tcgetattr(terminal)
            modes[3] &= ~termios.ECHO
            termios.tcsetattr(terminal, termios.TCSANOW, modes)
        (folder / "noecho").touch()
        act(what["noecho"])
    if "wait" in what:
        (folder / "waiting").touch()
        while not (folder / what["wait"]).exists():
            time.sleep(0.01)
        act(what["then"])


note()
act(play.get("greeting", "OK fake\n"))
for line in sys.stdin.buffer:
    text = line.decode("utf-8", "surrogateescape").rstrip("\n")
    told["commands"].append(text)
    note()
    command = text.split(" ")[0]
    if command == "BYE":
        break
    actions = play.get(command, ["OK\n"])
    turn = times.get(command, 0)
    times[command] = turn + 1
    act(actions[min(turn, len(actions) - 1)])
