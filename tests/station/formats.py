"""The rules that each output of sonarbench-station must follow."""
import csv
import io
import json
import re
import xml.etree.ElementTree as xml
from html.parser import HTMLParser

import jsonschema

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


# JUnit XML has no standard. These are the rules of its readers, in our words:
# - junit-10.xsd of jenkinsci/xunit-plugin: which elements may contain which, and which attributes these must have.
#   Unlike the schema of Ant (windyroad/JUnit-Schema) it allows output inside a case. The forms of attributes are
#   Ant's: a token has no blank at its ends and no two in a row, and a time stamp no zone.
# - Jenkins (CaseResult.java and SuiteResult.java of jenkinsci/junit-plugin): the page of a case shows the message, the
#   text of its "error", otherwise of its "failure", and its own system-out and system-err. A class is in the package
#   before its last dot. A suite is known by name and id, a case by class and name.
# - GitLab (lib/gitlab/ci/parsers/test/junit.rb of gitlabhq/gitlabhq, docs.gitlab.com/ci/testing/unit_test_reports):
#   cases with the same names of suite, class and case are one; only the first counts. The text of "failure", otherwise
#   of "error", is shown; without a text there is nothing to show.
JUNIT = {  # element: its children, and the attributes that it must have
    "testsuites": ({"testsuite"}, set()),
    "testsuite": ({"properties", "testcase"},
                  {"package", "id", "name", "timestamp", "hostname", "tests", "failures", "errors", "time"}),
    "properties": ({"property"}, set()),
    "property": (set(), {"name", "value"}),
    "testcase": ({"failure", "error", "system-out", "system-err"}, {"name", "classname", "time"}),
    "failure": (set(), {"message", "type"}), "error": (set(), {"message", "type"}),
    "system-out": (set(), set()), "system-err": (set(), set())}
TOKENS = {"package", "name", "hostname", "classname"}


def check_junit(text):
    """Yields each suite, and the element and type of each trouble of its case."""
    suites = xml.fromstring(text)
    assert suites.tag == "testsuites"
    names = set()
    for element in suites.iter():
        children, attributes = JUNIT[element.tag]
        assert {child.tag for child in element} <= children and set(element.attrib) == attributes, element.attrib
        for name in TOKENS & attributes:
            assert element.get(name) and element.get(name) == " ".join(element.get(name).split()), element.attrib
    for number, suite in enumerate(suites):
        assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d", suite.get("timestamp")), suite.attrib
        assert re.fullmatch(r"\d+\.\d{3}", suite.get("time")), suite.attrib
        properties, case = suite
        assert all(item.get("value") for item in properties), suite.attrib
        assert (suite.get("id"), suite.get("tests"), case.get("time")) == (str(number), "1", suite.get("time"))
        assert case.get("classname") == f"{suite.get('package')}.{suite.get('name')}", case.attrib
        assert case.get("classname").count(".") == 1, case.attrib
        name = (suite.get("name"), case.get("classname"), case.get("name"))
        assert name not in names, name
        names.add(name)
        *troubles, out, err = case
        assert (out.tag, err.tag) == ("system-out", "system-err"), case.attrib
        for trouble in troubles:
            assert trouble.text.startswith(trouble.get("message") + "\n") and trouble.get("message"), case.attrib
        tags = [trouble.tag for trouble in troubles]
        assert len(tags) <= 1, tags
        assert (suite.get("failures"), suite.get("errors")) == (str(tags.count("failure")), str(tags.count("error")))
        yield suite, [(trouble.tag, trouble.get("type")) for trouble in troubles]


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
