#!/usr/bin/python3
"""Checks the schema of scenes, and that it accepts the scenes of the examples and of the page.

Usage: check_scenes.py SCHEMA PAGE SCENE...
"""
import json
import re
import sys
from pathlib import Path

import jsonschema

SCHEMA, PAGE, *SCENES = map(Path, sys.argv[1:])
schema = json.loads(SCHEMA.read_text())
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
blocks = re.findall(r"^```json\n(.*?)^```$", PAGE.read_text(), re.MULTILINE | re.DOTALL)
assert len(blocks) >= 2 and len(SCENES) >= 2, (len(blocks), len(SCENES))
for text in [*blocks, *(scene.read_text() for scene in SCENES)]:
    validator.validate(json.loads(text))
assert not validator.is_valid({"unit": {"defects": {"blind": 1}}})
