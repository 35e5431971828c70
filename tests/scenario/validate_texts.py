#!/usr/bin/env python3
"""Holds every text that the scenarios have kept to the schema of its kind, by a validator that is not ours, and to the
order of the schema's keys. Each of the kinds must have come.

usage: validate_texts.py SCHEMAS TEXTS
"""
import json
import pathlib
import sys

import jsonschema

MODULE = "{4A234956-2B7D-4221-BADF-12593BD342A8}"
KINDS = ["event", "crash", "no crash", "dump report", "empty dump report"]
SCHEMAS = {
    "event": "event",
    "crash": "crash-event",
    "no crash": "crash-event",
    "dump report": "dump-report",
    "empty dump report": "dump-report",
}


def kind_of(text):
    if text.get("ProviderGUID") != MODULE:
        return "event"
    if text.get("Function") == "AnalyzeBSODEvents":
        return "crash" if text.get("AdditionalMsgAnsi") else "no crash"
    return "dump report" if text.get("AdditionalMsgJson") else "empty dump report"


def out_of_order(text, schema):
    """The keys of this version are the schema's, in its order; one whose value could not be read may be missing."""
    known = [key for key in schema["properties"] if key in text]
    return list(text) != known


def report_out_of_order(text, schema):
    """The parts of a dump report whose keys stand in another order than in the schema."""
    report = text["AdditionalMsgJson"]
    if out_of_order(report, schema):
        yield "the whole"
    for name, part in report.items():
        below = schema["properties"].get(name, {})
        for entry in part if isinstance(part, list) else [part]:
            if out_of_order(entry, below.get("items", below)):
                yield name


def main():
    schemas = pathlib.Path(sys.argv[1])
    folder = pathlib.Path(sys.argv[2])
    validators = {}
    for name in set(SCHEMAS.values()):
        schema = json.loads((schemas / f"{name}.schema.json").read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(schema)
        validators[name] = jsonschema.Draft202012Validator(schema)

    counts = dict.fromkeys(KINDS, 0)
    failures = 0
    for path in sorted(folder.glob("*.ndjson")):
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            where = f"{path.name}:{number}"
            text = json.loads(line)
            kind = kind_of(text)
            validator = validators[SCHEMAS[kind]]
            counts[kind] += 1
            wrong = [error.message for error in validator.iter_errors(text)]
            if out_of_order(text, validator.schema):
                wrong.append(f"keys: {', '.join(text)}")
            if kind == "crash":
                facts = validator.schema["$defs"]["crash"]
                if out_of_order(text["AdditionalMsgAnsi"], facts):
                    wrong.append("the crash's keys are out of order")
            if kind == "dump report":
                report = validator.schema["$defs"]["report"]
                wrong += [f"the report's keys of {place}" for place in report_out_of_order(text, report)]
            for message in wrong[:3]:
                print(f"{where}: {kind}: {message}")
            failures += len(wrong)
    print(", ".join(f"{count} {kind}" for kind, count in counts.items()))
    missing = [kind for kind, count in counts.items() if count == 0]
    if missing:
        print("never came: " + ", ".join(missing))
    return 1 if failures or missing else 0


if __name__ == "__main__":
    sys.exit(main())
