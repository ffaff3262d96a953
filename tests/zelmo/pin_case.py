"""Tokens with the PINs that a test wants, on cards that know them."""

from zelmo_case import ZelmoCase

# zelmo_case makes them known; tests take them from here.
from token_objects import at, auth_id, auth_key, certificate, common, path, pin, rule  # noqa: F401
from token_models import content  # noqa: F401

PIN, SO_PIN, PUK = 0x81, 0x82, 0x83
RIGHT, WRONG = "1234", "1235"
INITIALIZED = ["caseSensitive", "local", "initialized", "needsPadding"]


def user_pin(label="PIN", number=1, flags=(), kind="asciiNumeric", reference=PIN, guard=None, **more):
    more = {"maxLength": 8, "padChar": b"\0", **more}
    return pin(common(label, ["private"], guard), number, [*INITIALIZED, *flags], kind,
               **{k: v for k, v in more.items() if v is not None}, pinReference=reference)


def puk(number=3, reference=PUK, label="PUK", **more):
    return pin(common(label), number, ["initialized", "unblockingPin"], "asciiNumeric", 8, 8, pinReference=reference,
               **more)


def secret(reference, value, tries=3, **more):
    octets = value if isinstance(value, bytes) else value.encode()
    return {"reference": reference, "value": octets.hex(), "maxTries": tries, **more}


class PinCase(ZelmoCase):
    def card_with(self, objects, secrets, base="transparent"):
        """A token with these authentication objects, on a card with these PINs."""
        def change(model):
            directory = next(d for d in model["directories"] if d["type"] == 8)
            directory["objects"] = objects if base == "transparent" else list(enumerate(objects, 1))
            directory["gaps"] = ()
            model["pins"] = secrets
        return self.token(change, base)

    def plain_card(self):
        return self.card_with([user_pin(guard=3), puk()], [
            secret(PIN, b"1234\0\0\0\0", unblockedBy=PUK), secret(PUK, "87654321", 2)])

    def failed(self, card, *arguments, **how):
        out, err = self.pin(card, *arguments, **how)
        self.assertEqual(out, "")
        self.assertRegex(err, r"^zelmo: [^\n]+; [^\n]+\n$")
        return err
