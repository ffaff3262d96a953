#!/usr/bin/python3 -BIS
"""Stands for a pinentry program whose answers go on from one run to the next, as a command that asks several questions
needs it.

The folder that SCRIPTED_PINENTRY names holds answers.json, of which each question takes the first: a text is the PIN,
null cancels, {"signal": n} kills the program, {"do": command, "answer": answer} runs a command before. What was to be
shown at each question goes to prompts.json. A question beyond the last answer fails.
"""
import json
import os
import pathlib
import subprocess
import urllib.parse

folder = pathlib.Path(os.environ["SCRIPTED_PINENTRY"])


def answer(what):
    if what is None:
        return "ERR 83886179 Operation cancelled <Pinentry>"
    if isinstance(what, str):
        return f"D {what}\nOK"
    if "signal" in what:
        os.kill(os.getpid(), what["signal"])
    subprocess.run(what["do"], check=True)
    return answer(what["answer"])


def take():
    """The answer to one question, which is noted."""
    prompts = folder / "prompts.json"
    prompts.write_text(json.dumps([*json.loads(prompts.read_text()), shown]))
    answers = json.loads((folder / "answers.json").read_text())
    (folder / "answers.json").write_text(json.dumps(answers[1:]))
    return answer(answers[0]) if answers else "ERR 1 no more answers"


shown = ""
print("OK scripted", flush=True)
while True:
    command, _, argument = input().partition(" ")
    if command == "SETDESC":
        shown = urllib.parse.unquote(argument)
    print(take() if command == "GETPIN" else "OK", flush=True)
    if command == "BYE":
        break
