"""validate.py SCHEMA FILE: fails, naming the place, unless every document of FILE is of SCHEMA.

A name that ends in .jsonl has one document per line.
"""
import json
import pathlib
import sys

import jsonschema


def documents(path: pathlib.Path) -> list[object]:
    text = path.read_text(encoding="utf-8")
    parts = text.splitlines() if path.suffix == ".jsonl" else [text]
    return [json.loads(part) for part in parts]


def main(schema_path: str, file: str) -> int:
    schema = json.loads(pathlib.Path(schema_path).read_text(encoding="utf-8"))
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    found = documents(pathlib.Path(file))
    faults = 0
    for number, document in enumerate(found, start=1):
        for error in validator.iter_errors(document):
            place = "/".join(str(part) for part in error.absolute_path)
            print(f"{file}: document {number}: {place}: {error.message}")
            faults += 1
    print(f"{len(found)} documents, {faults} faults")
    return 0 if found and faults == 0 else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
