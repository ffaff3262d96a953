#!/usr/bin/env python3
"""Compares what `zelmo list --json` finds on the test tokens with what their builder says is there.

The tokens and the expectation come from one Python model by way of another encoder than the product's, so that both
sides of the comparison are independent of each other.

usage: tokens.py ZELMO TEST_DATA_DIR
"""
import json
import subprocess
import sys
from pathlib import Path

zelmo, data = sys.argv[1], Path(sys.argv[2])
FLAG_LISTS = {"flags", "tokenflags", "usage", "accessFlags", "pinFlags", "bioFlags", "accessMode", "supportedOperations"}
# Members that the product keeps as bytes while the model holds their structure: both have them or neither.
OPAQUE = {"trustedUsage", "certHash", "paramsAndOps"}
failures = []


def run(token, *arguments):
    command = [zelmo, "--reader", f"virtual:{data / 'tokens' / token}.card", *arguments, "--json"]
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        failures.append(f"{token}: {' '.join(arguments)} ends with {result.returncode}: {result.stderr}")
        return None
    return json.loads(result.stdout)


def normal(value, key=""):
    """Absent, null and empty are one thing, and named bits have no order."""
    if isinstance(value, dict):
        items = {k: k in OPAQUE and v is not None or normal(v, k) for k, v in value.items()}
        return {k: v for k, v in items.items() if v not in (None, [], {})}
    if isinstance(value, list):
        items = [normal(v) for v in value]
        return sorted(set(items)) if key in FLAG_LISTS else items
    return value


def compare(where, expected, found):
    if isinstance(expected, dict) and isinstance(found, dict):
        # Of an alternative that the library only carries, the command shows more than the library decodes.
        keys = expected.keys() if expected.get("carried") else expected.keys() | found.keys()
        for key in sorted(keys):
            compare(f"{where}.{key}", expected.get(key), found.get(key))
    elif isinstance(expected, list) and isinstance(found, list) and len(expected) == len(found):
        for i, (e, f) in enumerate(zip(expected, found)):
            compare(f"{where}[{i}]", e, f)
    elif expected != found:
        failures.append(f"{where}: expected {expected!r}, found {found!r}")


def expected_token_info(model):
    info = dict(model["tokenInfo"])
    if model["readonly"]:
        info["tokenflags"] = ["readonly", *info["tokenflags"]]
    if isinstance(info.get("lastUpdate"), list):
        info["lastUpdate"] = info["lastUpdate"][1]
    return info


models = sorted((data / "expected").glob("*.json"))
objects = 0
for path in models:
    model = json.loads(path.read_text())
    found = run(path.stem, "list")
    if found is None:
        continue
    compare(f"{path.stem}: tokenInfo", normal(expected_token_info(model)), normal(found["tokenInfo"]))
    compare(f"{path.stem}: objects", normal(model["objects"]), normal(found["objects"]))
    compare(f"{path.stem}: unreadable", 0, found["unreadable"] if isinstance(found["unreadable"], int)
            else len(found["unreadable"]))
    objects += len(model["objects"])
    applications = run(path.stem, "apps") if model["applications"] else {"applications": []}
    if applications is not None:
        for expected, app in zip(model["applications"], applications["applications"]):
            compare(f"{path.stem}: apps", normal(expected), {k: app.get(k) for k in normal(expected)})
        compare(f"{path.stem}: number of apps", len(model["applications"]), len(applications["applications"]))

if len(models) != 8 or objects < 90:
    failures.append(f"only {len(models)} tokens with {objects} objects were compared")
print("\n".join(failures) or f"{objects} objects on {len(models)} tokens as expected")
sys.exit(1 if failures else 0)
