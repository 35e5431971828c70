#!/usr/bin/env python3
"""Holds what `wardlet dump info --json` prints of every sample dump to its schema, by a validator that is not ours, and
its keys to the order in which the schema has them.

usage: validate_dump_info.py WARDLET SCHEMA SAMPLES
"""
import json
import pathlib
import subprocess
import sys

import jsonschema

SKIPPED = 77


def order(value, schema, place):
    """The places at which keys stand in another order than in the schema."""
    if isinstance(value, dict) and "properties" in schema:
        if list(value) != list(schema["properties"]):
            yield place
        for key, below in value.items():
            yield from order(below, schema["properties"].get(key, {}), f"{place}.{key}")
    elif isinstance(value, list) and "items" in schema:
        for item in value:
            yield from order(item, schema["items"], f"{place}[]")


def main():
    wardlet, schema_file, samples = sys.argv[1:]
    dumps = sorted(path for path in pathlib.Path(samples).glob("*") if path.is_file())
    if not dumps:
        print("the sample files are not there")
        return SKIPPED
    schema = json.loads(pathlib.Path(schema_file).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    run = subprocess.run([wardlet, "dump", "info", "--json", *map(str, dumps)], capture_output=True, text=True,
                         encoding="utf-8", check=False)
    lines = run.stdout.splitlines()
    wrong = [] if run.returncode == 0 else [f"exit code {run.returncode}: {run.stderr}"]
    if len(lines) != len(dumps):
        wrong.append(f"{len(lines)} lines for {len(dumps)} files")
    for line in lines:
        text = json.loads(line)
        name = pathlib.Path(text["file"]).name
        wrong += [f"{name}: {error.json_path}: {error.message}" for error in validator.iter_errors(text)]
        wrong += [f"{name}: the keys of {place or 'the object'}" for place in set(order(text, schema, ""))]
    for message in wrong[:20]:
        print(message)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
