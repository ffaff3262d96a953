"""PINs that a person enters: the prompts, cancelling, and dialogs that are missing or out of order."""

import os
import shutil

from pin_case import PIN, PUK, RIGHT, WRONG, PinCase, common, pin, puk, secret, user_pin
from zelmo_case import ZELMO

TOKEN = "Transparent test token"
PRESENT = f"Please enter your PIN for {TOKEN}."
FRESH = f"Please enter the new PIN for {TOKEN}."
AGAIN = f"Please enter the new PIN for {TOKEN} once more."
NO_DIALOG = ("zelmo: cannot ask for the PIN, the dialog failed or there is none; run this at a terminal with pinentry, "
             "or give the PIN with --pin-fd or --pin-file\n")

# What tells a language: a word of its prompt for the PIN and words of those for a new one.
LANGUAGES = {
    "en": ("Please enter your", "the new", "once more"), "de": ("Bitte geben", "die neue", "noch einmal"),
    "fr": ("Veuillez entrer votre", "votre nouveau", "encore une fois"), "sk": ("Zadajte Váš", "nový", "ešte raz"),
    "es": ("introduzca su", "introduzca su nuevo", "repita su nuevo"), "it": ("Prego, di", "inserire il", "ripetere il"),
    "pt": ("introduza o seu", "introduza o seu novo", "repita o seu novo"), "bg": ("въведете", "новия", "повторете"),
}


class Questions(PinCase):
    def test_verify(self):
        card = self.plain_card()
        self.assertEqual(self.pin(card, "verify", "01", env=self.dialogs(RIGHT))[1], "PIN 'PIN' (01) is right.\n")
        self.assertEqual(self.prompts(), [PRESENT])

    def test_a_wrong_one_is_asked_for_and_sent_once(self):
        card = self.plain_card()
        err = self.failed(card, "verify", "01", env=self.dialogs(WRONG, RIGHT), code=4)
        self.assertIn("is wrong, 2 tries left", err)
        self.assertEqual(self.prompts(), [PRESENT])
        self.assertEqual(self.tries(card, PIN), 2)

    def test_change_unblock_and_set(self):
        card = self.plain_card()
        self.pin(card, "change", "01", env=self.dialogs(RIGHT, "9876", "9876"))
        self.assertEqual(self.prompts(), [PRESENT, FRESH, AGAIN])
        self.pin(card, "verify", "01", pins=["9876"])
        self.pin(card, "unblock", "01", env=self.dialogs("87654321", "1111", "1111"))
        self.assertEqual(self.prompts(), [f"Please enter your PUK for {TOKEN}.", FRESH, AGAIN])
        self.pin(card, "verify", "01", pins=["1111"])
        unset = self.card_with([pin(common("PIN"), 1, ["local"], stored=4, pinReference=PIN)], [{"reference": PIN}],
                               "records")
        self.pin(unset, "set", "01", env=self.dialogs("2222", "2222"))
        self.assertEqual(len(self.prompts()), 2)
        self.pin(unset, "verify", "01", pins=["2222"])

    def test_the_same_line_by_line_and_by_dialog(self):
        card = self.plain_card()
        self.pin(card, "change", "01", env=self.dialogs(), pins=[RIGHT, "9876"])
        self.assertEqual(self.prompts(), [])

    def test_two_different_new_ones(self):
        card = self.plain_card()
        before = card.read_bytes()
        for verb, old in (("change", RIGHT), ("unblock", "87654321")):
            err = self.failed(card, verb, "01", env=self.dialogs(old, "9876", "9867"), code=1)
            self.assertEqual(err, "zelmo: the two new PINs differ; nothing was changed, try again\n")
        self.assertEqual(card.read_bytes(), before)

    def test_cancelling(self):
        card = self.plain_card()
        before = card.read_bytes()
        for verb, *answers in (("verify", None), ("change", None), ("unblock", None), ("set", None),
                               ("change", RIGHT, None), ("change", RIGHT, "9876", None), ("unblock", "87654321", None)):
            with self.subTest(verb=verb, answers=answers):
                err = self.failed(card, verb, "01", env=self.dialogs(*answers), code=1)
                self.assertEqual(err, "zelmo: cancelled; nothing was sent to the card\n")
                self.assertEqual(len(self.prompts()), len(answers))
        self.assertEqual(card.read_bytes(), before)

    def test_a_person_is_not_asked_in_vain(self):
        blocked = self.card_with([user_pin(guard=3), puk()], [
            secret(PIN, b"1234\0\0\0\0", triesLeft=0, unblockedBy=PUK), secret(PUK, "87654321", 2, triesLeft=0)])
        for verb in ("verify", "change", "unblock"):
            self.assertIn(" is blocked: ", self.failed(blocked, verb, "01", env=self.dialogs(RIGHT), code=5))
            self.assertEqual(self.prompts(), [])
        unset = self.card_with([pin(common("PIN"), 1, ["local"], pinReference=PIN)], [{"reference": PIN}])
        for verb in ("verify", "change"):
            self.assertIn(" not been set ", self.failed(unset, verb, "01", env=self.dialogs(RIGHT), code=7))
            self.assertEqual(self.prompts(), [])
        fixed = self.card_with([user_pin(flags=["changeDisabled", "unblockDisabled"])], [secret(PIN, b"1234\0\0\0\0")])
        for verb in ("change", "unblock"):
            self.failed(fixed, verb, "01", env=self.dialogs(RIGHT), code=7)
            self.assertEqual(self.prompts(), [])

    def test_lengths(self):
        long = "1" * 64
        word = pin(common("PIN"), 1, ["initialized"], "utf8", 1, 64, pinReference=PIN)
        card = self.card_with([word], [secret(PIN, long)])
        self.pin(card, "verify", "01", env=self.dialogs(long))
        # The dialog itself refuses more, asks again, and gives up.
        self.assertEqual(self.failed(card, "verify", "01", env=self.dialogs(*3 * [long + "1"]), code=1), NO_DIALOG)
        self.assertEqual(self.tries(card, PIN), 3)


class Prompts(PinCase):
    def ask(self, *arguments, **env):
        self.pin(self.card, "change", "01", *arguments, env=self.dialogs(RIGHT, RIGHT, RIGHT, **env))
        return tuple(self.prompts())

    def assert_language(self, words, prompts):
        self.assertEqual(len(words), len(prompts))
        for word, prompt in zip(words, prompts):
            self.assertIn(word, prompt)
            self.assertIn(f" {TOKEN}", prompt)

    def test_languages(self):
        self.card = self.plain_card()
        for language, prompts in LANGUAGES.items():
            with self.subTest(language=language):
                self.assert_language(prompts, self.ask("--lang", language, LANG="fr_FR.UTF-8"))

    def test_language_of_the_environment(self):
        self.card = self.plain_card()
        # What LANG stands for which language is the token library's own: Spanish goes by its word.
        for lang, language in (("de_DE.UTF-8", "de"), ("deutsch", "de"), ("fr_CH", "fr"), ("sk", "sk"),
                               ("spanish", "es"), ("es_ES.UTF-8", "en"), ("it_IT", "it"), ("pt_BR", "pt"),
                               ("C", "en"), ("", "en"), ("xx", "en")):
            with self.subTest(lang=lang):
                self.pin(self.card, "verify", "01", env=self.dialogs(RIGHT, LANG=lang))
                self.assert_language(LANGUAGES[language][:1], self.prompts())
        self.assert_language(LANGUAGES["sk"], self.ask(LANG="sk_SK.UTF-8"))

    def test_labels(self):
        # To their first zero octet; what is no UTF-8 and controls replaced; nothing in a label is a format.
        labels = [("%s%n%08x%%", "%s%n%08x%%"), ("P\0IN", "P"), ("a\x1b[31m\nb", "a\ufffd[31m\nb"), ("", ""),
                  ("x" * 255, "x" * 255), ("Grüße ✓", "Grüße ✓")]
        for label, shown in labels:
            with self.subTest(label=label):
                self.card = self.card_with([user_pin(label)], [secret(PIN, b"1234\0\0\0\0")])
                present, fresh, again = self.ask()
                self.assertEqual(present, f"Please enter your {shown} for {TOKEN}.")
                self.assertEqual((fresh, again), (f"Please enter the new {shown} for {TOKEN}.",
                                                  f"Please enter the new {shown} for {TOKEN} once more."))

    def test_a_label_that_is_no_text(self):
        self.card = self.plain_card()
        self.card.write_text(self.card.read_text().replace("PIN".encode().hex().upper(), "C350FF"))
        self.assertEqual(self.ask()[1], f"Please enter the new \ufffdP\ufffd for {TOKEN}.")
        self.assertIn("PIN '\ufffdP\ufffd' (01): usable", self.pin(self.card, "status", "01")[0])


class NoDialog(PinCase):
    def everything_fails(self, **how):
        card = self.plain_card()
        before = card.read_bytes()
        for verb in ("verify", "change", "set", "unblock"):
            with self.subTest(verb=verb):
                self.assertEqual(self.failed(card, verb, "01", code=1, **how), NO_DIALOG)
        self.assertEqual(card.read_bytes(), before)

    def test_no_library(self):
        program = self.folder / "bin" / "zelmo"
        program.parent.mkdir()
        shutil.copy(ZELMO, program)
        self.everything_fails(program=program)
        self.pin(self.plain_card(), "verify", "01", pins=[RIGHT], program=program)

    def test_a_library_without_the_entry(self):
        self.everything_fails(env=self.dialogs(RIGHT, LD_LIBRARY_PATH=os.environ["ZELMO_HOLLOW_DIALOG"]))
        self.assertEqual(self.prompts(), [])

    def test_no_pinentry(self):
        self.everything_fails()


class MeanwhileElsewhere(PinCase):
    def test_the_card_goes_while_we_ask(self):
        card = self.plain_card()
        for verb, *later in (("verify",), ("change", "9876", "9876"), ("unblock", "9876", "9876")):
            with self.subTest(verb=verb):
                gone = self.folder / f"{verb}.card"
                shutil.copy(card, gone)
                remove = {"do": ["rm", str(gone)], "answer": RIGHT + "5678"}
                self.failed(gone, verb, "01", env=self.dialogs(remove, *later), code=3)
                self.assertFalse(gone.exists())

    def test_the_pin_changes_while_we_ask(self):
        card = self.plain_card()
        pins = self.folder / "pins"
        pins.write_text(f"{RIGHT}\n9876\n")
        pins.chmod(0o600)
        change = [ZELMO, "--reader", f"virtual:{card}", "pin", "change", "01", "--pin-file", str(pins)]
        self.failed(card, "verify", "01", env=self.dialogs({"do": change, "answer": RIGHT}), code=4)
        self.pin(card, "verify", "01", pins=["9876"])
        self.assertEqual(self.tries(card, PIN), 3)
