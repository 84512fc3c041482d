"""Checks that each line of a file is a JSON document of a schema: validate_json.py SCHEMA FILE"""

import json
import sys

import jsonschema

schema_file, lines_file = sys.argv[1:]
with open(schema_file, encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
with open(lines_file, encoding="utf-8") as file:
    documents = [json.loads(line) for line in file]
if not documents:
    sys.exit("no document")
errors = [error for document in documents for error in validator.iter_errors(document)]
if errors:
    sys.exit("\n".join(f"{error.json_path}: {error.message}" for error in errors))
