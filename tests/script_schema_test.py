"""The schema that editors have of scripts: it takes those of docs/scripting.md and the good ones of tests/scripts.txt,
and refuses the bad ones, but for those that are beyond it; its methods are those of the roll call.

usage: script_schema_test.py SOURCE_DIR
"""
import json
import pathlib
import re
import sys

import jsonschema

CASE = re.compile(r"^--- (good|bad|beyond).*\n((?:(?!--- ).*\n)*)", re.MULTILINE)

SHOWN = re.compile(r"^```json\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def accepts(validator, text):
    try:
        return validator.is_valid(json.loads(text))
    except json.JSONDecodeError:
        return False


def main():
    source = pathlib.Path(sys.argv[1])
    schema = json.loads((source / "schema/mqc_script.schema.json").read_text())
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    cases = CASE.findall((source / "tests/scripts.txt").read_text())
    shown = SHOWN.findall((source / "docs/scripting.md").read_text())
    cases += [("good", text) for text in shown]
    wrong = [f"{kind}, but not to the schema:\n{text}" for kind, text in cases
             if accepts(validator, text) != (kind != "bad")]
    rows = (source / "tests/methods.txt").read_text().splitlines()
    methods = [row.split()[0] for row in rows if row and not row.startswith("#")]
    if schema["definitions"]["rule"]["properties"]["method"]["enum"] != methods:
        wrong.append("the methods are not those of the roll call, in its order")
    if {kind for kind, _ in cases} != {"good", "bad", "beyond"} or not shown:
        wrong.append("cases are missing")
    print("\n".join(wrong) or f"the schema agrees with what is said of {len(cases)} scripts")
    return bool(wrong)


if __name__ == "__main__":
    sys.exit(main())
