"""The part of a document that a script writes."""

import pathlib


def markers(script):
    return f"<!-- written by {script}: begin -->\n", f"<!-- written by {script}: end -->\n"


def write_part(document, script, text):
    """Replaces what is between the script's markers in a document, which must have both."""
    begin, end = markers(script)
    file = pathlib.Path(document)
    before, found_begin, rest = file.read_text().partition(begin)
    _, found_end, after = rest.partition(end)
    assert found_begin and found_end, f"{document} does not have the markers of {script}"
    file.write_text(f"{before}{begin}\n{text}{end}{after}")


def table_text(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(map(str, row)) + " |" for row in rows]) + "\n\n"
