"""Judges documents by a JSON Schema: validate.py SCHEMA DOCUMENTS, a file with a list of {"name", "document", "refused"}.
Prints what is judged otherwise."""
import json
import sys

import jsonschema

with open(sys.argv[1]) as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
with open(sys.argv[2]) as file:
    documents = json.load(file)
for row in documents:
    error = next(validator.iter_errors(row["document"]), None)
    if (error is not None) != row["refused"]:
        print(row["name"], ": passes" if error is None else f": {list(error.absolute_path)} {error.message[:200]}")
print(len(documents), "documents")
