#!/usr/bin/env python3
"""Parses and validates every JSON document that the stream scenarios expect.

The parser and the validator are not the ones that the library is built with. A scenario named "*no-frequency"
holds what is no JSON by contract, and must be refused. To show that the schemas can fail, each of a document's
objects is validated once without each of its members.

usage: check_documents.py FORMATS STREAMS
"""
import json
import pathlib
import sys

import jsonschema

NOT_JSON = {"json-no-frequency"}
# Members that may be left out, or whose presence only the others tell.
OPTIONAL = {"states", "y1", "States", "Entity-Descriptor-Combinations"}


def load_schema(path):
    schema = json.loads(path.read_text())
    jsonschema.Draft7Validator.check_schema(schema)
    return jsonschema.Draft7Validator(schema)


def objects_of(value, path=()):
    """Yields (path, object) for each object with fixed members below `value`."""
    if isinstance(value, dict):
        if not path or path[-1] not in ("data", "y"):  # the keys of those are names
            yield path, value
        for key, child in value.items():
            yield from objects_of(child, path + (key,))
    elif isinstance(value, list):
        for index, child in enumerate(value):
            yield from objects_of(child, path + (index,))


def check_mutations(validator, document, where):
    """Every document must become invalid when a required member goes, or an unknown one comes."""
    checked = 0
    for path, target in objects_of(document):
        if checked > 300:
            break
        for key in list(target):
            if key in OPTIONAL:
                continue
            value = target.pop(key)
            assert not validator.is_valid(document), f"{where}: still valid without {path + (key,)}"
            target[key] = value
            checked += 1
        target["unknown member"] = 0
        assert not validator.is_valid(document), f"{where}: still valid with an unknown member in {path}"
        del target["unknown member"]
    assert validator.is_valid(document)
    return checked


def check_document(path, validators):
    scenario = path.parent.parent.name
    text = path.read_text(encoding="utf-8")
    try:
        document = json.loads(text)
    except ValueError:
        assert scenario in NOT_JSON, f"{path}: no JSON"
        return 0
    assert scenario not in NOT_JSON, f"{path}: JSON, against expectation"
    kind = "ztjson" if "fileType" in document else "continuous"
    assert text.endswith("}\n" if kind == "ztjson" else "}") and text.count("\n") <= 1, f"{path}: not one line"
    for error in validators[kind].iter_errors(document):
        raise AssertionError(f"{path}: {list(error.absolute_path)}: {error.message[:300]}")
    return check_mutations(validators[kind], document, path)


def main():
    formats, streams = map(pathlib.Path, sys.argv[1:])
    validators = {kind: load_schema(formats / f"{kind}.schema.json") for kind in ("ztjson", "continuous")}
    documents = sorted(streams.glob("*/expected/*.ztjson"))
    assert len(documents) > 10, f"only {len(documents)} documents below {streams}"
    checked = sum(check_document(path, validators) for path in documents)
    print(f"{len(documents)} documents, {checked} changed ones refused")


main()
