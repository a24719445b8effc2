"""The rules that each output of sonarbench-station must follow."""
import csv
import io
import json
import xml.etree.ElementTree as xml
from html.parser import HTMLParser

import jsonschema

# A suite in the strictest of the common schemas: its attributes, and its children in order.
ATTRIBUTES = {"package", "id", "name", "timestamp", "hostname", "tests", "failures", "errors", "time"}
CHILDREN = ["properties", "testcase", "system-out", "system-err"]
WITHOUT_END = {"meta", "br", "link", "input"}


class Schema:
    def __init__(self, text):
        schema = json.loads(text)
        jsonschema.Draft202012Validator.check_schema(schema)
        self.validator = jsonschema.Draft202012Validator(schema)

    def runs(self, text):
        """The objects in the lines of a JSON output."""
        runs = [json.loads(line) for line in text.splitlines()]
        for run in runs:
            self.validator.validate(run)
        return runs


def check_junit(text):
    """Yields each suite's name, and the element and type of each trouble of its case."""
    suites = xml.fromstring(text)
    assert (suites.tag, suites.attrib) == ("testsuites", {})
    for number, suite in enumerate(suites):
        assert (suite.tag, set(suite.attrib)) == ("testsuite", ATTRIBUTES), suite.attrib
        assert (suite.get("id"), [child.tag for child in suite]) == (str(number), CHILDREN), suite.attrib
        for item in suite[0]:
            assert (item.tag, set(item.attrib)) == ("property", {"name", "value"}), item.attrib
            assert all(item.attrib.values()), item.attrib
        assert set(suite[1].attrib) == {"name", "classname", "time"}, suite[1].attrib
        for trouble in suite[1]:
            assert set(trouble.attrib) == {"message", "type"}, trouble.attrib
        troubles = [(trouble.tag, trouble.get("type")) for trouble in suite[1]]
        tags = [tag for tag, _ in troubles]
        assert (suite.get("failures"), suite.get("errors")) == (str(tags.count("failure")), str(tags.count("error")))
        yield suite, troubles


def csv_rows(text):
    rows = list(csv.DictReader(io.StringIO(text, newline=""), strict=True))
    assert all(None not in row and None not in row.values() for row in rows), "a row has too few or too many fields"
    return rows


class _Page(HTMLParser):
    def __init__(self):
        super().__init__()
        self.open = []

    def handle_starttag(self, tag, _):
        if tag not in WITHOUT_END:
            self.open.append(tag)

    def handle_startendtag(self, tag, _):
        pass

    def handle_endtag(self, tag):
        assert self.open and self.open[-1] == tag, (self.getpos(), tag, self.open)
        self.open.pop()


def check_page(text):
    """Each element that begins ends, in the right order."""
    page = _Page()
    page.feed(text)
    page.close()
    assert not page.open, page.open
