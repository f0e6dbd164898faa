"""--limits: what is refused, what a test is, and what tap, junit and results say of it.

What is expected was written by hand. TAP is read by Perl's own reader of it, JUnit's XML and CSV by
Python's.
"""

import csv
import io
import json
import math
import random
import re
import signal
import struct
import subprocess
import unittest
import xml.etree.ElementTree as ElementTree

import jsonschema
from support import (
    ALL_DECODED,
    BAD_USAGE,
    CANNOT_READ_OR_WRITE,
    FORMS,
    LIMIT_NOT_KEPT,
    PROGRAM,
    SAMPLES,
    SOME_REFUSED,
    STATE,
    STATE_LINES,
    HostTest,
    Run,
    hex_lines,
    image,
    maker,
)

LIMITS = SAMPLES / "limits"
MASKS = ["SHORT_TX_POS", "SHORT_TX_NEG", "SHORT_BOTH", "OPEN_TX_POS", "OPEN_TX_NEG", "OPEN_BOTH", "WEAK_OS"]

HEADER = ["file", "serial", "report", "test", "value", "low", "high", "unit", "result"]

NAN, INFINITY = math.nan, math.inf


def open_short(**masks):
    return b"\xe3" + struct.pack("<7Q", *(masks.get(mask, 0) for mask in MASKS))


def watchdog(timestamp):
    return struct.pack("<BIqIII", 0xDF, 1, timestamp, 2, 3, 4)


def summary(severity):
    return struct.pack("<BBH3s", 0xE0, severity, 22, b"")


def frame(temperature=25.5, samples=(0,) * 48):
    return image(1)[:16] + struct.pack("<48i", *samples) + bytes(3 * 192) + struct.pack("<If", 5, temperature)


def baseline(*values):
    return b"\xa2" + struct.pack("<48f", *values, *[0.0] * (48 - len(values)))


def versions(project):
    return b"\xd2" + "\n".join([project, "b", "c", "d", "e", "f"]).encode() + b"\0"


def limits_of(report, more=None, **properties):
    return {"reports": {report: {"schema": {"properties": properties}, **(more or {})}}}


def weak(**limits):
    return limits_of("0xE3", WEAK_OS=limits)


class LimitsTest(HostTest):
    def limits(self, limits, name="limits.json"):
        text = limits if isinstance(limits, str) else json.dumps(limits, ensure_ascii=False)
        return self.file(name, text.encode())

    def run_with(self, limits, reports, *options, name="panel.hex"):
        content = reports if isinstance(reports, bytes) else hex_lines(*reports)
        return Run("--limits", self.limits(limits), *options, self.file(name, content))

    def rows(self, limits, *reports):
        """What -o results has of a file of these reports, without its last row, the file's."""
        run = self.run_with(limits, reports, "-o", "results")
        header, *rows = csv.reader(io.StringIO(run.out.decode()))
        self.assertEqual(header, HEADER)
        self.assertEqual(rows[-1][2:4], ["", "errors"])
        self.assertIn(run.status, (ALL_DECODED, LIMIT_NOT_KEPT), run.err)
        failed = any(row[-1] == "FAIL" for row in rows)
        self.assertEqual(run.status, LIMIT_NOT_KEPT if failed else ALL_DECODED)
        return rows[:-1]

    def expect_verdict(self, expected, limits, *reports):
        rows = self.rows(limits, *reports)
        self.assertEqual([row[-1] for row in rows], [expected], limits)

    def expect_failure(self, complaint, limits, *reports):
        """The one test fails, and says this of its first failure."""
        run = self.run_with(limits, reports)
        self.assertEqual(run.status, LIMIT_NOT_KEPT)
        lines = run.err.replace(str(self.folder) + "/", "").splitlines()
        self.assertEqual(lines, [complaint, "panel.hex: FAIL, 1 of 2 tests"])


class Refusals(LimitsTest):
    """What is no file of limits: exit status 2, and where it is wrong."""

    def refuse(self, limits, place, message):
        run = self.run_with(limits, [STATE])
        with self.subTest(limits=limits if isinstance(limits, str) else json.dumps(limits)):
            self.expect(run, BAD_USAGE, b"", f"limits.json{place}: {message}\n")

    def refuse_key(self, report, key, schema, place, message):
        pointer = f": /reports/{report}/schema/properties/{key}{place}"
        self.refuse(limits_of(report, **{key: schema}), pointer, message)

    def refuse_mask(self, schema, place, message):
        self.refuse_key("0xE3", "WEAK_OS", schema, place, message)

    def test_no_json(self):
        end = "no JSON: syntax error while parsing value - unexpected end of input; "
        self.refuse("", ":1:1", end + "expected '[', '{', or a literal")
        run = self.run_with('{\n  "title": "x",\n  oops\n}', [STATE])
        self.assertEqual(run.status, BAD_USAGE)
        self.assertRegex(run.err, r"limits\.json:3:3: no JSON: syntax error .* invalid literal")
        path = self.file("bad.json", b'{"title":\n"\xff"}')
        run = Run("--limits", path, stdin=hex_lines(STATE))
        self.assertEqual(run.status, BAD_USAGE)
        self.assertRegex(run.err, r"bad\.json:2:2: no JSON: .*invalid string: ill-formed UTF-8 byte")

    def test_numbers_that_no_one_can_hold(self):
        text = '{"reports": {"0xE3": {"schema":\n {"properties": {"WEAK_OS": {"maximum": 1e400}}}}}}'
        self.refuse(text, ":2:41", "1e400 is a larger number than can be compared")

    def test_keys_that_stand_twice(self):
        text = '{"reports":{"0xE3":{"schema":{"properties":{"WEAK_OS":{"const":0,"const":1}}}}}}'
        place = ": /reports/0xE3/schema/properties/WEAK_OS/const"
        self.refuse(text, place, '"const" stands twice in this object')

    def test_what_is_too_deep(self):
        self.refuse("[" * 70, "", "more than 64 levels deep")

    def test_the_file(self):
        self.refuse([], "", "an object should stand here")
        self.refuse({}, "", '"reports" is missing, which has the limits')
        self.refuse({"reports": {}}, ": /reports", "there are no limits in it")
        self.refuse({"reports": []}, ": /reports", "an object should stand here")
        self.refuse({"titel": ""}, ": /titel", '"titel" is unknown here; known are title, serial, reports')
        self.refuse({"title": 3}, ": /title", "a string should stand here")
        self.refuse({"a/b~c": 3}, ": /a~1b~0c", '"a/b~c" is unknown here; known are title, serial, reports')

    def test_files_that_cannot_be_read(self):
        reasons = {"/none": "cannot open: No such file or directory", self.folder: "cannot read: Is a directory"}
        for path, reason in reasons.items():
            run = Run("--limits", path, stdin=hex_lines(STATE))
            self.assertEqual((run.status, run.out, run.err), (BAD_USAGE, b"", f"{path}: {reason}\n"))

    def test_reports(self):
        listed = "--list-reports shows the known ones"
        for name in ("0x99", "153"):
            message = f"no decoder knows report {name}; {listed}"
            self.refuse({"reports": {name: {}}}, f": /reports/{name}", message)
        no_decoder = '"{}" is no decoder, and no report ID such as 0xE3{} ' + listed
        message = no_decoder.format("parseOpenShortTests", "; did you mean parseOpenShortTest?")
        self.refuse({"reports": {"parseOpenShortTests": {}}}, ": /reports/parseOpenShortTests", message)
        self.refuse({"reports": {"x": {}}}, ": /reports/x", no_decoder.format("x", ";"))
        both = {**limits_of("0xE3", WEAK_OS={"const": 0})["reports"],
                **limits_of("parseOpenShortTest", OPEN_BOTH={"const": 0})["reports"]}
        message = "report 0xE3 (feature) has limits already"
        self.refuse({"reports": both}, ": /reports/parseOpenShortTest", message)

    def test_a_report_without_an_object(self):
        message = "parseBlackBoxConfig has no object that limits could be for: it gives lines only"
        self.refuse({"reports": {"0xE2": {"schema": {"const": 1}}}}, ": /reports/0xE2", message)

    def test_a_reports_limits(self):
        place = ": /reports/0xE3"
        known = "known are schema, optional, units"
        self.refuse({"reports": {"0xE3": {}}}, place, '"schema" is missing, which has the limits')
        self.refuse({"reports": {"0xE3": {"shema": {}}}}, place + "/shema", f'"shema" is unknown here; {known}')
        self.refuse({"reports": {"0xE3": 3}}, place, "an object should stand here")
        more = {"optional": "yes"}
        message = "true or false should stand here"
        self.refuse(limits_of("0xE3", more, WEAK_OS={"const": 0}), place + "/optional", message)
        more = {"units": {"OPEN_BOTH": "V"}}
        message = 'there are no limits for a key "OPEN_BOTH"'
        self.refuse(limits_of("0xE3", more, WEAK_OS={"const": 0}), place + "/units/OPEN_BOTH", message)
        more = {"units": {"WEAK_OS": 3}}
        message = "a string should stand here"
        self.refuse(limits_of("0xE3", more, WEAK_OS={"const": 0}), place + "/units/WEAK_OS", message)

    def test_a_serial_number(self):
        def refuse(serial, place, message):
            self.refuse({"serial": serial, **weak(const=0)}, ": /serial" + place, message)

        refuse({"key": "PROJECT"}, "", '"report" is missing: a decoder or a report ID')
        refuse({"report": "0xD2"}, "", '"key" is missing: this report has several')
        message = 'parseVersionExtended has no key "PROJET"; did you mean PROJECT?'
        refuse({"report": "0xD2", "key": "PROJET"}, "/key", message)
        message = "this report is one string, and has no keys: leave it away"
        refuse({"report": "0xD0", "key": "PROJECT"}, "/key", message)
        message = "a serial number is a string or a whole number, and this is a float"
        refuse({"report": "0x76", "key": "TMON_DEG_C"}, "/key", message)
        refuse({"report": "0xE2"}, "/report", "this report is only known as lines")
        refuse({"report": "0x99"}, "/report", "no decoder knows report 0x99; --list-reports shows the known ones")

    def test_keys_of_the_object(self):
        keys = ", ".join(MASKS)
        self.refuse_key("0xE3", "WEAK", {"const": 0}, "", f'parseOpenShortTest has no key "WEAK"; it has {keys}')
        message = 'parseOpenShortTest has no key "WEAK_O"; did you mean WEAK_OS?'
        self.refuse_key("0xE3", "WEAK_O", {"const": 0}, "", message)
        schema = {"patternProperties": {"^WEEK": {"const": 0}}}
        place = ": /reports/0xE3/schema/patternProperties/"
        message = "no key of parseOpenShortTest is like this"
        self.refuse({"reports": {"0xE3": {"schema": schema}}}, place + "^WEEK", message)
        schema = {"patternProperties": {"(": {"const": 0}}}
        run = self.run_with({"reports": {"0xE3": {"schema": schema}}}, [STATE])
        self.assertEqual(run.status, BAD_USAGE)
        self.assertIn(place + "(: no pattern: ", run.err)

    def test_a_schema_for_an_object(self):
        def refuse(schema, place, message):
            self.refuse({"reports": {"0xE3": {"schema": schema}}}, ": /reports/0xE3/schema" + place, message)

        weak_os = {"properties": {"WEAK_OS": {"const": 0}}}
        refuse({}, "", "it limits nothing")
        refuse({"type": "object", "title": "x"}, "", "it limits nothing")
        refuse(True, "", "a schema that is an object should stand here")
        refuse([], "", "a schema that is an object should stand here")
        refuse({"property": {}}, "/property", '"property" is no keyword; did you mean properties?')
        refuse({"minimum": 3, **weak_os}, "/minimum", "minimum can't be used for a report's object")
        for name in ("additionalProperties", "$ref", "dependencies", "allOf"):
            refuse({name: False, **weak_os}, f"/{name}", f"{name} can't be used for a report's object")
        refuse({"type": "array", **weak_os}, "/type", 'this is a report\'s object, and never "array"')
        refuse({"required": ["WEAK"], **weak_os}, "/required", 'parseOpenShortTest has no key "WEAK"')
        message = "every report has OPEN_BOTH, and there are no limits for it"
        refuse({"required": ["OPEN_BOTH"], **weak_os}, "/required", message)
        message = "only draft 7 is understood: http://json-schema.org/draft-07/schema#"
        refuse({"$schema": "http://json-schema.org/draft-04/schema#", **weak_os}, "/$schema", message)

    def test_keywords(self):
        mask = "an unsigned long long"
        self.refuse_mask({"minimun": 3}, "/minimun", '"minimun" is no keyword; did you mean minimum?')
        self.refuse_mask({"xyzzy": 3}, "/xyzzy", '"xyzzy" is no keyword')
        for name in ("pattern", "items", "maxLength", "properties", "$ref", "format", "uniqueItems"):
            self.refuse_mask({name: 3, "const": 0}, f"/{name}", f"{name} can't be used for {mask}")
        self.refuse_mask({"type": "string", "const": 0}, "/type", f'this is {mask}, and never "string"')
        self.refuse_mask({"type": ["integer", "null"], "const": 0}, "/type", f'this is {mask}, and never "null"')
        self.refuse_mask(True, "", "a schema that is an object should stand here")

    def test_keywords_for_other_kinds(self):
        self.refuse_key("0xA2", "BASELINE", {"maximum": 3}, "/maximum",
                        "maximum can't be used for an array of 48 float")
        self.refuse_key("0xA2", "BASELINE", {"items": {"pattern": "3"}}, "/items/pattern",
                        "pattern can't be used for a float")
        self.refuse_key("0xA2", "BASELINE", {"items": {"type": "integer", "maximum": 3}}, "/items/type",
                        'this is a float, and never "integer"')
        self.refuse_key("0xA2", "BASELINE", {"items": {"multipleOf": 2}}, "/items/multipleOf",
                        "only whole numbers have multiples that can be told, and this is a float")
        self.refuse_key("0xA2", "BASELINE", {"items": [{"maximum": 3}]}, "/items",
                        "1 schemas, and this is an array of 48 float: write one for each, or one for all")
        self.refuse_key("0xA2", "BASELINE", {"minItems": 49}, "/minItems", "this is always an array of 48 float")
        self.refuse_key("0xA2", "BASELINE", {"maxItems": 47}, "/maxItems", "this is always an array of 48 float")
        self.refuse_key("0xD2", "SDK", {"minimum": 3}, "/minimum", "minimum can't be used for a string")
        self.refuse_key("0xD2", "SDK", {"const": 3}, "/const", "a string should stand here, not 3")
        self.refuse_key("0xD2", "SDK", {"enum": ["a", None]}, "/enum/1", "a string should stand here, not null")
        self.refuse_key("0xD2", "SDK", {"pattern": "(" * 1001}, "/pattern", "a pattern of more than 1000 bytes")
        self.refuse_key("0xD2", "SDK", {"minLength": -1}, "/minLength",
                        "a whole number from 0 on should stand here")
        self.refuse_key("0xD2", "SDK", {"minLength": 5, "maxLength": 4}, "",
                        "no string can be so long and so short")
        self.refuse({"reports": {"0xD0": {"schema": {"properties": {}}}}}, ": /reports/0xD0/schema/properties",
                    "properties can't be used for a string")
        message = "this is a string, which has no unit"
        self.refuse(limits_of("0xD2", {"units": {"SDK": "V"}}, SDK={"const": "a"}),
                    ": /reports/0xD2/units/SDK", message)

    def test_limits_of_another_type(self):
        for value in ("0", None, True, [0], {}):
            message = f"a number should stand here, not {json.dumps(value)}"
            self.refuse_mask({"const": value}, "/const", message)
            self.refuse_mask({"maximum": value}, "/maximum", message)
        self.refuse_mask({"enum": [0, None]}, "/enum/1", "a number should stand here, not null")
        self.refuse_mask({"enum": []}, "/enum", "an array of values should stand here")
        self.refuse_mask({"enum": 0}, "/enum", "an array of values should stand here")
        self.refuse_mask({"multipleOf": 0}, "/multipleOf", "a number above 0 should stand here")

    def test_limits_that_do_not_fit(self):
        wide = "this is an unsigned long long, 0 to 18446744073709551615"
        self.refuse_mask({"const": -1}, "/const", f"-1 doesn't fit: {wide}")
        self.refuse_mask({"maximum": 2**64}, "/maximum", f"1.8446744073709552e+19 doesn't fit: {wide}")
        self.refuse_mask({"const": 0.5}, "/const", "0.5 has a fraction, and this is an unsigned long long")
        exact = "from 2^53 on, a limit is exact only as a whole number: write all its digits"
        self.refuse_mask({"maximum": 2.0**53}, "/maximum", exact)
        byte = "this is an unsigned char, 0 to 255"
        self.refuse_key("0xE0", "SEVERITY_LEVEL", {"maximum": 256}, "/maximum", f"256 doesn't fit: {byte}")
        self.refuse_key("0xE0", "SEVERITY_LEVEL", {"maximum": 255.5}, "/maximum", f"255.5 doesn't fit: {byte}")
        self.refuse_key("0xE0", "SEVERITY_LEVEL", {"minimum": -0.5}, "/minimum", f"-0.5 doesn't fit: {byte}")
        signed = "this is a long long, -9223372036854775808 to 9223372036854775807"
        self.refuse_key("0xDF", "Timestamp", {"maximum": 2**63}, "/maximum", f"{2**63} doesn't fit: {signed}")
        self.refuse_key("0x76", "D_SCAN_I", {"items": {"minimum": -(2**31) - 1}}, "/items/minimum",
                        f"{-(2**31) - 1} doesn't fit: this is an int, -2147483648 to 2147483647")
        self.refuse_key("0x76", "TMON_DEG_C", {"maximum": 1e39}, "/maximum",
                        "1e+39 doesn't fit: this is a float, whose largest is 3.4028234663852886e+38")

    def test_limits_that_cannot_fail(self):
        always = "it can't fail: an unsigned long long is always within it"
        self.refuse_mask({}, "", "it limits nothing")
        self.refuse_mask({"type": "integer", "title": "x", "default": 3}, "", "it limits nothing")
        self.refuse_mask({"minimum": 0}, "", always)
        self.refuse_mask({"maximum": 2**64 - 1}, "", always)
        self.refuse_mask({"multipleOf": 1}, "", always)
        self.refuse_mask({"anyOf": [{"const": 0}, {}]}, "/anyOf/1", "it limits nothing")
        self.refuse_mask({"anyOf": [{"const": 0}, {"minimum": 0}]}, "/anyOf/1", always)
        self.refuse_mask({"if": {"const": 0}}, "", "if needs then or else, and these need if")
        self.refuse_mask({"then": {"const": 0}}, "", "if needs then or else, and these need if")
        self.refuse_mask({"anyOf": []}, "/anyOf", "an array of schemas should stand here")
        self.refuse_key("0xD2", "SDK", {"minLength": 0}, "", "it limits nothing")
        self.refuse_key("0xA2", "BASELINE", {"minItems": 48, "uniqueItems": False}, "", "it limits nothing")
        self.refuse_key("0xA2", "BASELINE", {"contains": {}}, "/contains", "it limits nothing")

    def test_limits_that_nothing_keeps(self):
        nothing = "no number can be within these limits"
        self.refuse_mask({"minimum": 5, "maximum": 4}, "", nothing)
        self.refuse_mask({"exclusiveMinimum": 4, "maximum": 4}, "", nothing)
        self.refuse_mask({"exclusiveMaximum": 0}, "", nothing)
        self.refuse_mask({"exclusiveMinimum": 2**64 - 1}, "", nothing)
        self.refuse_mask({"const": 5, "maximum": 4}, "", nothing)
        self.refuse_mask({"const": 5, "enum": [3, 4]}, "", nothing)
        self.refuse_mask({"minimum": 2.25, "maximum": 2.75}, "", nothing)

    def test_limits_within_limits_that_are_not_exact(self):
        message = "in a schema within a schema, a limit is less than 2^53: larger ones aren't exact"
        self.refuse_mask({"anyOf": [{"const": 2**53}]}, "/anyOf/0/const", message)
        self.refuse_mask({"not": {"minimum": 2**53}}, "/not/minimum", message)

    def test_the_command_line(self):
        for form in ("tap", "junit", "results"):
            run = Run("-o", form, stdin=hex_lines(STATE))
            message = f"vesk-decode: --output {form} shows what --limits FILE finds: give both"
            self.expect(run, BAD_USAGE, b"", message + "; --help shows the options\n")
        for option in ("--list-reports", "--version", "--layout", "--list-devices"):
            run = Run("--limits", LIMITS / "noise.json", option)
            self.assertEqual((run.status, run.out), (BAD_USAGE, b""))


class Numbers(LimitsTest):
    def test_all_64_bits_count(self):
        passes, fails = "PASS", "FAIL"
        for expected, schema, value in [
            (fails, {"maximum": 2**53}, 2**53 + 1),
            (passes, {"maximum": 2**53 + 1}, 2**53 + 1),
            (fails, {"maximum": 2**64 - 2}, 2**64 - 1),
            (passes, {"minimum": 2**64 - 1}, 2**64 - 1),
            (fails, {"minimum": 2**64 - 1}, 2**64 - 2),
            (passes, {"const": 2**63}, 2**63),
            (fails, {"const": 2**63}, 2**63 + 1),
            (fails, {"const": 2**63 + 1}, 2**63),
            (passes, {"enum": [1, 2**64 - 1]}, 2**64 - 1),
            (fails, {"enum": [1, 2**64 - 1]}, 2**64 - 2),
            (fails, {"exclusiveMaximum": 2**63}, 2**63),
            (passes, {"exclusiveMaximum": 2**63}, 2**63 - 1),
            (passes, {"multipleOf": 3}, 2**64 - 1),
            (fails, {"multipleOf": 3}, 2**64 - 2),
            (passes, {"maximum": 2.5}, 2),
            (fails, {"maximum": 2.5}, 3),
            (passes, {"minimum": 2.5}, 3),
            (fails, {"minimum": 2.5}, 2),
            (passes, {"exclusiveMinimum": 2.5}, 3),
            (passes, {"maximum": 3.0}, 3),
            (fails, {"exclusiveMaximum": 3.0}, 3),
            (fails, {"maximum": 10, "exclusiveMaximum": 5}, 5),
            (fails, {"maximum": 4, "exclusiveMaximum": 9}, 5),
            # With schemas in the schema, by the other library.
            (fails, {"anyOf": [{"maximum": 5}, {"const": 7}]}, 2**63),
            (fails, {"anyOf": [{"maximum": 5}, {"const": 7}]}, 2**64 - 1),
            (fails, {"anyOf": [{"maximum": 5}, {"const": 7}]}, 6),
            (passes, {"anyOf": [{"maximum": 5}, {"const": 7}]}, 7),
            (passes, {"anyOf": [{"maximum": 5}, {"const": 7.0}]}, 7),
            (passes, {"not": {"const": 7}}, 8),
            (fails, {"not": {"const": 7}}, 7),
            (fails, {"oneOf": [{"minimum": 5}, {"minimum": 7}]}, 8),
            (passes, {"oneOf": [{"minimum": 5}, {"minimum": 7}]}, 6),
            (fails, {"allOf": [{"minimum": 5}, {"minimum": 7}]}, 6),
            (fails, {"if": {"minimum": 5}, "then": {"const": 9}}, 8),
            (passes, {"if": {"minimum": 5}, "then": {"const": 9}}, 4),
            (fails, {"not": {"minimum": 2**53 - 1}}, 2**64 - 1),
        ]:
            with self.subTest(schema=schema, value=value):
                self.expect_verdict(expected, weak(**schema), open_short(WEAK_OS=value))

    def test_signed(self):
        for expected, schema, value in [
            ("FAIL", {"minimum": -(2**63) + 1}, -(2**63)),
            ("PASS", {"minimum": -(2**63) + 1}, -(2**63) + 1),
            ("PASS", {"const": -(2**63)}, -(2**63)),
            ("FAIL", {"const": -(2**63)}, -(2**63) + 1),
            ("FAIL", {"maximum": -(2**53) - 1}, -(2**53)),
            ("FAIL", {"maximum": 2**63 - 2}, 2**63 - 1),
            ("PASS", {"minimum": -2.5}, -2),
            ("FAIL", {"minimum": -2.5}, -3),
            ("PASS", {"maximum": -2.5}, -3),
            ("FAIL", {"maximum": -2.5}, -2),
            ("PASS", {"multipleOf": 2}, -(2**63)),
            ("FAIL", {"multipleOf": 2}, -1),
            ("FAIL", {"anyOf": [{"minimum": 0}, {"const": -7}]}, -(2**63)),
            ("PASS", {"anyOf": [{"minimum": 0}, {"const": -7}]}, -7),
        ]:
            with self.subTest(schema=schema, value=value):
                self.expect_verdict(expected, limits_of("0xDF", Timestamp=schema), watchdog(value))

    def test_nan_and_infinity_keep_no_limit(self):
        schemas = [
            {"minimum": 0}, {"maximum": 60}, {"minimum": 0, "maximum": 60}, {"exclusiveMaximum": 60},
            {"exclusiveMinimum": 0}, {"const": 25}, {"enum": [25, 26]}, {"not": {"maximum": 5}},
            {"anyOf": [{"maximum": 60}, {"minimum": 70}]}, {"allOf": [{"maximum": 60}]},
            {"not": {"const": 3}}, {"if": {"maximum": 5}, "then": {"minimum": 3}},
        ]
        for schema in schemas:
            for value in (NAN, INFINITY, -INFINITY):
                with self.subTest(schema=schema, value=value):
                    self.expect_verdict("FAIL", limits_of("0x76", TMON_DEG_C=schema), frame(value))
        for schema in ({"items": {"maximum": 60}}, {"items": {"not": {"minimum": 5}}},
                       {"contains": {"maximum": 60}}, {"uniqueItems": True}):
            with self.subTest(schema=schema):
                limits = limits_of("0xA2", BASELINE=schema)
                self.expect_verdict("FAIL", limits, baseline(*range(47), NAN))
        self.expect_failure("panel.hex:1: 0x76 TMON_DEG_C is NaN, within no limits",
                            limits_of("0x76", TMON_DEG_C={"minimum": 0}), frame(NAN))
        self.expect_failure("panel.hex:1: 0x76 TMON_DEG_C is -Infinity, within no limits",
                            limits_of("0x76", TMON_DEG_C={"maximum": 3}), frame(-INFINITY))

    def test_a_float_is_what_its_digits_say(self):
        """0.1 as a float is a little more than 0.1, and is shown as 0.1."""
        for expected, schema in [("PASS", {"maximum": 0.1}), ("PASS", {"const": 0.1}), ("PASS", {"minimum": 0.1}),
                                 ("FAIL", {"exclusiveMaximum": 0.1}), ("FAIL", {"maximum": 0.0999999999}),
                                 ("PASS", {"anyOf": [{"const": 0.1}, {"const": 7}]})]:
            with self.subTest(schema=schema):
                self.expect_verdict(expected, limits_of("0x76", TMON_DEG_C=schema), frame(0.1))
                limits = limits_of("0xA2", BASELINE={"items": schema})
                self.expect_verdict(expected, limits, baseline(*[0.1] * 48))

    def test_what_a_failure_says(self):
        severity = "panel.hex:1: 0xE0 SEVERITY_LEVEL is 4, "
        for schema, complaint in [
            ({"maximum": 3}, "above the maximum 3"),
            ({"minimum": 5}, "below the minimum 5"),
            ({"exclusiveMaximum": 4}, "above the exclusiveMaximum 4"),
            ({"const": 0}, "not 0"),
            ({"enum": [0, 5]}, "not one of 0, 5"),
            ({"multipleOf": 3}, "not a multiple of 3"),
        ]:
            self.expect_failure(severity + complaint, limits_of("0xE0", SEVERITY_LEVEL=schema), summary(4))
        limits = limits_of("0x76", {"units": {"TMON_DEG_C": "°C"}}, TMON_DEG_C={"maximum": 60})
        self.expect_failure("panel.hex:1: 0x76 TMON_DEG_C is 61.5 °C, above the maximum 60", limits, frame(61.5))

    def test_two_schemas_for_a_key_both_count(self):
        schema = {"properties": {"SEVERITY_LEVEL": {"maximum": 3}},
                  "patternProperties": {"^SEVERITY": {"minimum": 1}, "LEVEL$": {"not": {"const": 2}}}}
        limits = {"reports": {"0xE0": {"schema": schema}}}
        for severity, expected in [(0, "FAIL"), (1, "PASS"), (2, "FAIL"), (3, "PASS"), (4, "FAIL")]:
            self.expect_verdict(expected, limits, summary(severity))


WHOLE = [0, 1, 2, 3, 4, 5, 7, 255, 2**31, 2**32 - 1, 2**53 - 1]
WIDE = [*WHOLE, 2**53, 2**53 + 1, 2**63 - 2, 2**63 - 1]
HUGE = [*WIDE, 2**63, 2**63 + 1, 2**64 - 2, 2**64 - 1]
SIGNED = [*WIDE, *(-value for value in WIDE), -(2**63)]
FLOATS = [-300.0, -1.5, 0.0, 0.1, 0.25, 1.0, 25.5, 33.3, 1e10]


class Schemas:
    """Schemas by chance, of keywords that vesk-decode takes."""

    def __init__(self, chance):
        self.chance = chance

    def number(self, values, depth=0, whole=True):
        small = values if depth == 0 or not whole else [v for v in values if abs(v) < 2**53]
        pick = lambda: self.chance.choice(small)  # noqa: E731
        schema = {}
        for name in self.chance.sample(["minimum", "maximum", "exclusiveMinimum", "exclusiveMaximum"],
                                       self.chance.choice([0, 1, 1, 2])):
            schema[name] = pick()
        more = ["const", "enum", "not", "anyOf", "oneOf", "allOf", "if", *(["multipleOf"] if whole else [])]
        for name in self.chance.sample(more, self.chance.choice([0, 1]) if schema else 1):
            part = lambda: self.number(values, depth + 1, whole)  # noqa: E731
            if name == "const":
                schema[name] = pick()
            elif name == "enum":
                schema[name] = [pick() for _ in range(3)]
            elif name == "multipleOf":
                schema[name] = self.chance.choice([2, 3, 5])
            elif depth == 2:
                schema["maximum"] = pick()
            elif name == "not":
                schema[name] = part()
            elif name == "if":
                schema.update({"if": part(), "then": part(), "else": part()})
            else:
                schema[name] = [part() for _ in range(self.chance.choice([1, 2, 3]))]
        return schema

    def array(self):
        schema = {"items": self.number(WHOLE)}
        if self.chance.random() < 0.3:
            schema = {"contains": self.number([-7, 0, 3, 5], 1)}
        return schema

    def text(self):
        choices = [{"pattern": "^a"}, {"pattern": "[0-9]+$"}, {"minLength": 3}, {"maxLength": 3},
                   {"const": "a1"}, {"enum": ["a1", "bcd"]}]
        first, second = self.chance.sample(choices, 2)
        return self.chance.choice([first, {"not": first}, {"anyOf": [first, second]}, {**first, **second},
                                   {"oneOf": [first, second]}, {"if": first, "then": second}])


class Chance(LimitsTest):
    """Verdicts by another implementation of JSON Schema, in which whole numbers have any size."""

    SEED = 20261121

    def test_verdicts_are_those_of_jsonschema(self):
        chance = random.Random(self.SEED)
        schemas = Schemas(chance)
        counts = {"PASS": 0, "FAIL": 0, "refused": 0}
        for number in range(400):
            report, key, schema, data = chance.choice([
                lambda: ("0xE3", "WEAK_OS", schemas.number(HUGE), open_short(WEAK_OS=chance.choice(HUGE))),
                lambda: ("0xDF", "Timestamp", schemas.number(SIGNED), watchdog(chance.choice(SIGNED))),
                lambda: ("0x76", "TMON_DEG_C", schemas.number(FLOATS, whole=False), frame(chance.choice(FLOATS))),
                lambda: ("0x76", "D_SCAN_I", schemas.array(),
                         frame(samples=[chance.choice([0, 3, 5])] * 47 + [chance.choice([-7, 3, 5, 2**31 - 1])])),
                lambda: ("0xD2", "PROJECT", schemas.text(), versions(chance.choice(["a1", "a", "bcd", "abcd7"]))),
            ])()
            run = self.run_with(limits_of(report, **{key: schema}), [data], "-o", "results")
            if run.status == BAD_USAGE:  # it can't fail, nothing keeps it, or it doesn't fit
                counts["refused"] += 1
                continue
            value = Run("-o", "ndjson", stdin=hex_lines(data)).records()[0]["value"][key]
            expected = "PASS" if jsonschema.Draft7Validator(schema).is_valid(value) else "FAIL"
            counts[expected] += 1
            verdict = next(csv.DictReader(io.StringIO(run.out.decode())))["result"]
            self.assertEqual(verdict, expected, (self.SEED, number, schema, value))
        self.assertGreater(min(counts["PASS"], counts["FAIL"]), 80, counts)


class Masks(LimitsTest):
    def test_channels_that_are_set(self):
        place = "panel.hex:1: 0xE3 WEAK_OS is "
        value = 1 << 17 | 1 << 30
        self.expect_failure(f"{place}{value} (channels 17, 30), not 0", weak(const=0), open_short(WEAK_OS=value))
        self.expect_failure(f"{place}1 (channel 0), above the maximum 0", weak(maximum=0), open_short(WEAK_OS=1))

    def test_channels_that_differ(self):
        limits = limits_of("0xE3", WEAK_OS={"const": 6})
        self.expect_failure("panel.hex:1: 0xE3 WEAK_OS is 5 (other in channels 0, 1), not 6", limits,
                            open_short(WEAK_OS=5))

    def test_a_unit_makes_it_a_quantity(self):
        limits = limits_of("0xE3", {"units": {"WEAK_OS": "us"}}, WEAK_OS={"const": 0})
        self.expect_failure("panel.hex:1: 0xE3 WEAK_OS is 5 us, not 0", limits, open_short(WEAK_OS=5))


class Arrays(LimitsTest):
    def test_every_channel_outside_is_named(self):
        samples = [0] * 48
        samples[17], samples[30], samples[47] = 8200, 8146, -3
        limits = limits_of("0x76", D_SCAN_I={"items": {"minimum": 0, "maximum": 500}})
        self.expect_failure(
            "panel.hex:1: 0x76 D_SCAN_I channels 17 (8200), 30 (8146) above the maximum 500; "
            "channels 47 (-3) below the minimum 0", limits, frame(samples=samples))
        self.assertEqual(self.rows(limits, frame(samples=samples))[0][4:],
                         ["17=8200 30=8146 47=-3", "0", "500", "", "FAIL"])
        samples[17] = samples[30] = 500
        samples[47] = 0
        self.assertEqual(self.rows(limits, frame(samples=samples))[0][4:], ["0..500", "0", "500", "", "PASS"])

    def test_limits_for_each_channel(self):
        items = [{"maximum": channel} for channel in range(48)]
        limits = limits_of("0x76", D_SCAN_I={"items": items})
        self.expect_verdict("PASS", limits, frame(samples=range(48)))
        samples = list(range(48))
        samples[3], samples[40] = 4, 41
        self.expect_failure(
            "panel.hex:1: 0x76 D_SCAN_I channels 3 (4) above the maximum 3; channels 40 (41) above the "
            "maximum 40", limits, frame(samples=samples))
        self.assertEqual(self.rows(limits, frame(samples=samples))[0][5:7], ["", ""])

    def test_of_all_elements(self):
        limits = limits_of("0x76", D_SCAN_I={"contains": {"minimum": 100}})
        self.expect_verdict("FAIL", limits, frame())
        self.expect_verdict("PASS", limits, frame(samples=[0] * 47 + [100]))
        limits = limits_of("0x76", D_SCAN_I={"uniqueItems": True, "items": {"maximum": 47}})
        self.expect_verdict("FAIL", limits, frame())
        self.expect_verdict("PASS", limits, frame(samples=range(48)))
        self.expect_verdict("FAIL", limits, frame(samples=range(1, 49)))

    def test_schemas_in_the_items(self):
        limits = limits_of("0x76", D_SCAN_I={"items": {"anyOf": [{"maximum": 5}, {"const": 9}]}})
        self.expect_verdict("PASS", limits, frame(samples=[9, 5] * 24))
        rows = self.rows(limits, frame(samples=[9, 5, 6] * 16))
        self.assertEqual(rows[0][4].split()[:2], ["2=6", "5=6"])
        self.assertEqual(len(rows[0][4].split()), 16)

    def test_kinds(self):
        """Of each kind of element, the first value outside and the last one inside."""
        packet = b"\x77ADC" + struct.pack("<III", 1, 2048, 4096)
        words = [2**32 - 1] + [0] * 511
        limits = limits_of("0x77", PAYLOAD_DATA={"items": {"maximum": 2**32 - 2}})
        self.expect_failure("panel.hex:1: 0x77 PAYLOAD_DATA elements 0 (4294967295) above the maximum 4294967294",
                            limits, packet + struct.pack("<512I", *words))
        words[0] -= 1
        self.expect_verdict("PASS", limits, packet + struct.pack("<512I", *words))
        limits = limits_of("0xA2", BASELINE={"items": {"minimum": -1.5, "exclusiveMaximum": 2}})
        self.expect_verdict("PASS", limits, baseline(-1.5, 1.9999999))
        self.expect_verdict("FAIL", limits, baseline(-1.5000001))
        self.expect_verdict("FAIL", limits, baseline(2))


class Strings(LimitsTest):
    def test_schemas(self):
        for expected, schema, text in [
            ("PASS", {"pattern": "^4\\.12"}, "4.12.0"),
            ("FAIL", {"pattern": "^4\\.12"}, "4.13.0"),
            ("PASS", {"const": "4.12.0"}, "4.12.0"),
            ("FAIL", {"const": "4.12.0"}, "4.12"),
            ("PASS", {"enum": ["a", "b"]}, "b"),
            ("FAIL", {"enum": ["a", "b"]}, "c"),
            ("PASS", {"maxLength": 2}, "éé"),
            ("FAIL", {"maxLength": 2}, "ééé"),
            ("FAIL", {"minLength": 3}, "éé"),
            ("FAIL", {"not": {"pattern": "beta"}}, "4.12-beta"),
            ("FAIL", {"pattern": "a"}, "a" * 1025),
            ("PASS", {"pattern": "a"}, "a" * 1024),
        ]:
            with self.subTest(schema=schema, text=text):
                self.expect_verdict(expected, limits_of("0xD2", PROJECT=schema), versions(text))

    def test_a_report_that_is_one_string(self):
        limits = {"reports": {"0xD0": {"schema": {"const": "4.12.0"}}}}
        rows = self.rows(limits, b"\xd04.12.0\0")
        self.assertEqual([row[2:] for row in rows], [["0xD0", "value", "4.12.0", "4.12.0", "4.12.0", "", "PASS"]])
        run = self.run_with(limits, [b"\xd04.13\0"])
        self.assertEqual(run.status, LIMIT_NOT_KEPT)
        self.assertIn('panel.hex:1: 0xD0 value is "4.13", not as {"const":"4.12.0"} wants it: ', run.err)
        limits = {"reports": {"parseAdcDumpState": {"schema": {"enum": ["SINGLE", "STANDBY"]}}}}
        self.expect_verdict("PASS", limits, STATE)


class Verdicts(LimitsTest):
    SEVERITY = limits_of("0xE0", SEVERITY_LEVEL={"maximum": 3})

    def test_the_output_is_as_ever(self):
        for form in ("text", "ndjson", "json", "csv", "recording"):
            for severity, status in ((3, ALL_DECODED), (4, LIMIT_NOT_KEPT)):
                path = self.file("panel.hex", hex_lines(summary(severity)))
                plain = Run("-o", form, path)
                run = Run("--limits", self.limits(self.SEVERITY), "-o", form, path)
                self.assertEqual((run.out, run.status), (plain.out, status), form)

    def test_one_line_a_file(self):
        good = self.file("good.hex", hex_lines(summary(3)))
        bad = self.file("bad.hex", hex_lines(summary(5)))
        run = Run("--limits", self.limits(self.SEVERITY), "-o", "results", good, bad, good)
        self.expect(run, LIMIT_NOT_KEPT, err="good.hex: PASS, 2 tests\nbad.hex: FAIL, 1 of 2 tests\n"
                                             "good.hex: PASS, 2 tests\n")

    def test_the_first_failure_is_told_and_all_are_counted(self):
        reports = [summary(severity) for severity in (1, 5, 3, 4, 7)]
        self.expect_failure("panel.hex:2: 0xE0 SEVERITY_LEVEL is 5, above the maximum 3; 3 of 5 reports",
                            self.SEVERITY, *reports)

    def test_a_report_that_never_came(self):
        message = "0xE0 SEVERITY_LEVEL was not measured: no report 0xE0 (feature) came"
        self.expect_failure(f"panel.hex: {message}", self.SEVERITY, STATE)
        run = Run("--limits", self.limits(self.SEVERITY), "-o", "results", stdin=b"")
        self.expect(run, LIMIT_NOT_KEPT, err="-: FAIL, 1 of 2 tests\n")

    def test_every_report_of_a_decoder_has_to_come(self):
        limits = limits_of("parseOpenShortData", BROWNOUT={"const": 0})
        first, second = (bytes([number]) + bytes(400) for number in (0xE4, 0xE5))
        self.assertEqual([row[2:5] + row[-1:] for row in self.rows(limits, first)],
                         [["0xE4", "BROWNOUT", "0", "PASS"], ["0xE5", "BROWNOUT", "", "FAIL"]])
        self.assertEqual([row[-1] for row in self.rows(limits, first, second)], ["PASS", "PASS"])

    def test_what_is_optional_is_skipped(self):
        limits = limits_of("0xE0", {"optional": True}, SEVERITY_LEVEL={"maximum": 3})
        limits["reports"]["0xE3"] = weak(const=0)["reports"]["0xE3"]
        run = self.run_with(limits, [open_short()], "-o", "results")
        self.expect(run, ALL_DECODED, err="panel.hex: PASS, 3 tests, 1 skipped\n")
        self.assertIn(b",0xE0,SEVERITY_LEVEL,,,3,,SKIP\n", run.out)
        run = self.run_with(limits, [open_short(), summary(4)])
        self.assertEqual(run.status, LIMIT_NOT_KEPT)

    def test_nothing_measured_is_no_pass(self):
        limits = limits_of("0xE0", {"optional": True}, SEVERITY_LEVEL={"maximum": 3})
        run = self.run_with(limits, [STATE])
        messages = "panel.hex: errors nothing was measured\npanel.hex: FAIL, 1 of 2 tests, 1 skipped\n"
        self.expect(run, LIMIT_NOT_KEPT, STATE_LINES, messages)

    def test_a_report_that_does_not_decode_fails_its_tests(self):
        run = self.run_with(self.SEVERITY, [summary(3), summary(3)[:-1], summary(3)])
        short = "report 0xE0 (feature): 6 bytes, its layout needs 7"
        messages = (
            f"panel.hex:2: {short}\n"
            f"panel.hex:2: 0xE0 SEVERITY_LEVEL can't be told: {short}; 1 of 3 reports\n"
            "panel.hex: errors 1 error in the file\n"
            "panel.hex: FAIL, 2 of 2 tests\n"
        )
        self.expect(run, SOME_REFUSED, err=messages)

    def test_a_decoder_that_fails(self):
        limits = {"reports": {"0xD0": {"schema": {"pattern": "^4"}}}}
        for content in (b"d0 34 00\nd0 ff 00\n", b"d0 ff 00\nd0 34 00\n"):
            run = self.run_with(limits, content, "-o", "results")
            self.assertEqual(run.status, SOME_REFUSED)
            self.assertIn(b",0xD0,value,,,,,FAIL\n", run.out)

    def test_another_report_that_does_not_decode_fails_the_file(self):
        for line in (b"99 00\n", b"zz\n", b"e1 00\n"):
            content = hex_lines(summary(3)) + line
            run = self.run_with(self.SEVERITY, content, "-o", "results")
            self.assertEqual(run.status, SOME_REFUSED)
            self.assertTrue(run.err.endswith("panel.hex: FAIL, 1 of 2 tests\n"), run.err)
            self.assertTrue(run.out.endswith(b"panel.hex,,,errors,1,0,0,,FAIL\n"), run.out)

    def test_an_unreadable_file_fails(self):
        run = Run("--limits", self.limits(self.SEVERITY), "-o", "results", "/none")
        self.assertEqual(run.status, CANNOT_READ_OR_WRITE)
        self.assertTrue(run.err.endswith("/none: FAIL, 2 of 2 tests\n"), run.err)

    def test_an_interrupted_file_is_no_pass(self):
        path = self.limits(self.SEVERITY)
        with subprocess.Popen([PROGRAM, "--limits", path, "-i", "hex"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdin.write(hex_lines(summary(3)))
            process.stdin.flush()
            self.assertTrue(process.stdout.read(1))  # it has decoded what came, and waits for more
            process.send_signal(signal.SIGINT)
            message = process.stderr.read().decode()
            self.assertEqual(process.wait(600), -signal.SIGINT)
        self.assertEqual(message, "-: errors interrupted before its end\n-: FAIL, 1 of 2 tests\n")

    def test_what_a_table_leaves_out_is_no_pass(self):
        run = self.run_with(self.SEVERITY, [summary(3), STATE], "-o", "csv")
        self.assertEqual(run.status, SOME_REFUSED)
        lines = run.err.replace(str(self.folder) + "/", "").splitlines()
        self.assertEqual(lines[:2], [
            "panel.hex: errors some reports were left out", "panel.hex: FAIL, 1 of 2 tests"])

    def test_what_is_not_selected_is_not_measured(self):
        message = "panel.hex: 0xE0 SEVERITY_LEVEL was not measured: no selected report 0xE0 (feature) came\n"
        run = self.run_with(self.SEVERITY, [summary(3), STATE], "--report", "0xDE")
        self.expect(run, LIMIT_NOT_KEPT, STATE_LINES, message + "panel.hex: FAIL, 1 of 2 tests\n")

    def test_more_failures_than_are_shown(self):
        limits = limits_of("0xE3", **{mask: {"const": 0} for mask in MASKS})
        run = self.run_with(limits, [open_short(**{mask: 1 for mask in MASKS})])
        lines = run.err.splitlines()
        self.assertEqual(len(lines), 7)
        self.assertTrue(lines[5].endswith("panel.hex: 2 more failures are not shown; -o tap has all"))
        self.assertTrue(lines[6].endswith("panel.hex: FAIL, 7 of 8 tests"))

    def test_threads(self):
        content = hex_lines(*(frame(20 + number % 50) for number in range(3000)))
        limits = limits_of("0x76", TMON_DEG_C={"maximum": 60})
        one, two = (self.run_with(limits, content, "-o", "ndjson", "--jobs", jobs) for jobs in (1, 2))
        self.assertEqual((one.status, one.err), (two.status, two.err))
        self.assertTrue(one.out == two.out)
        self.assertIn("panel.hex:42: 0x76 TMON_DEG_C is 61, above the maximum 60; 540 of 3000 reports", one.err)


class Serials(LimitsTest):
    LIMITS = {"title": "Weak channels", "serial": {"report": "0xD2", "key": "PROJECT"}, **weak(const=0)}

    def serial(self, *reports, serial=None):
        limits = {**self.LIMITS, **({"serial": serial} if serial else {})}
        return {row[1] for row in self.rows(limits, *reports)}

    def test_where_it_comes(self):
        self.assertEqual(self.serial(versions("panel-7"), open_short()), {"panel-7"})
        self.assertEqual(self.serial(open_short(), versions("panel-7")), {"panel-7"})
        self.assertEqual(self.serial(open_short()), {""})
        self.assertEqual(self.serial(open_short(), b"\xd0P-8\0", serial={"report": "parseVersion"}), {"P-8"})
        serial = {"report": "0xDF", "key": "Timestamp"}
        self.assertEqual(self.serial(open_short(), watchdog(2**62 + 1), serial=serial), {str(2**62 + 1)})

    def test_two_of_them_are_no_pass(self):
        run = self.run_with(self.LIMITS, [versions("A"), open_short(), versions("B"), versions("A")])
        self.assertEqual(run.status, LIMIT_NOT_KEPT)
        self.assertIn('panel.hex: errors two serial numbers of one panel: "A" and "B"\n', run.err)


class Panels(LimitsTest):
    """A USB capture of two devices: each has all tests."""

    def capture(self, *of_devices):
        transfers = maker.Usbmon(False)
        packets = []
        for device, reports in of_devices:
            for number, report in enumerate(reports):
                for moment, content in transfers.packets([report]):
                    changed = bytearray(content)
                    changed[11] = device
                    changed[0] = 16 * device + number
                    packets.append((moment, bytes(changed)))
        return self.file("two.pcap", maker.pcap(189, packets))

    def results(self, limits, path):
        run = Run("--limits", self.limits(limits), "-o", "results", path)
        text = run.out.decode().replace(str(self.folder) + "/", "")
        return run, list(csv.reader(io.StringIO(text)))[1:]

    def test_each_by_itself(self):
        limits = {**Serials.LIMITS, **weak(const=0)}
        first = [("feature", versions("A")), ("feature", open_short())]
        second = [("feature", versions("B")), ("feature", open_short(WEAK_OS=2))]
        run, rows = self.results(limits, self.capture((5, first), (9, second)))
        self.assertEqual([(row[0], row[1], row[3], row[4], row[-1]) for row in rows], [
            ("two.pcap, device 1:5", "A", "WEAK_OS", "0", "PASS"),
            ("two.pcap, device 1:9", "B", "WEAK_OS", "2", "FAIL"),
            ("two.pcap, device 1:9", "B", "errors", "0", "PASS"),
        ])
        self.expect(run, LIMIT_NOT_KEPT, err="two.pcap: FAIL, 1 of 3 tests\n")

    def test_one_that_was_not_tested_fails(self):
        run, rows = self.results(weak(const=0), self.capture(
            (5, [("feature", open_short())]), (9, [("input", image(1))])))
        self.assertEqual([(row[0], row[-1]) for row in rows[:2]],
                         [("two.pcap, device 1:5", "PASS"), ("two.pcap, device 1:9", "FAIL")])
        self.assertEqual(run.status, LIMIT_NOT_KEPT)

    def test_one_alone_goes_by_the_file(self):
        _, rows = self.results(weak(const=0), self.capture((5, [("feature", open_short())])))
        self.assertEqual([row[0] for row in rows], ["two.pcap", "two.pcap"])


# Names that would be something else in TAP, XML and CSV if they were written as they are.
HOSTILE = ['a # SKIP.hex', 'b"quoted", and <more> & \'less\'.hex', "c\nok 99 - d.hex", "e\x1b[2J\x01.hex",
           "f]]>.hex", "g\\ # TODO.hex", "h\xff.hex".encode("latin-1"), "i\ufffe\uffff.hex", "=1+2.hex", "ok 1.hex"]

READ_TAP = """
use TAP::Parser; use JSON::PP;
my $parser = TAP::Parser->new({tap => join '', <STDIN>});
my @tests;
while (my $result = $parser->next) {
  push @tests, {ok => $result->is_ok ? 1 : 0, number => $result->number + 0, directive => $result->directive,
                description => $result->description} if $result->is_test;
  $tests[-1]{yaml} = $result->data if $result->is_yaml;
}
print encode_json({tests => \\@tests, plan => $parser->plan, errors => [$parser->parse_errors]});
"""


class Outputs(LimitsTest):
    LIMITS = {**Serials.LIMITS, **limits_of("0xE3", WEAK_OS={"const": 0}, OPEN_BOTH={"maximum": 3}),
              "title": "Title <&> # \u0001"}

    def run_hostile(self, form):
        """One good and one bad panel of each name."""
        names = []
        for name in HOSTILE:
            for bad in (False, True):
                raw = name if isinstance(name, bytes) else name.encode()
                raw = raw + (b"-bad" if bad else b"")
                reports = [versions("S]]>&\"#"), open_short(WEAK_OS=1 << 47 if bad else 0)]
                (self.folder / "x").write_bytes(hex_lines(*reports))
                (self.folder / "x").rename(self.folder.joinpath(raw.decode(errors="surrogateescape")))
                names.append(raw.decode(errors="surrogateescape"))
        path = self.limits(self.LIMITS)
        done = subprocess.run(
            [PROGRAM, "--limits", path, "-o", form, *names], cwd=self.folder,
            capture_output=True, timeout=600, check=False)
        self.assertEqual(done.returncode, LIMIT_NOT_KEPT, done.stderr)
        self.assertEqual(len(done.stderr.splitlines()), len(names))
        return names, done.stdout

    def read_tap(self, text):
        """By a reader of version 13, which knows all that is written but the number."""
        self.assertTrue(text.startswith(b"TAP version 14\n"))
        text = text.replace(b"version 14", b"version 13", 1)
        read = subprocess.run(["perl", "-e", READ_TAP], input=text, capture_output=True, check=True)
        tap = json.loads(read.stdout)
        self.assertEqual(tap["errors"], [])
        return tap

    def test_tap(self):
        names, text = self.run_hostile("tap")
        tap = self.read_tap(text)
        self.assertEqual(tap["plan"], f"1..{3 * len(names)}")
        self.assertEqual([test["number"] for test in tap["tests"]], list(range(1, 3 * len(names) + 1)))
        self.assertEqual({test["directive"] for test in tap["tests"]}, {""})
        # OPEN_BOTH, WEAK_OS, errors: the second one fails in every other file.
        self.assertEqual([test["ok"] for test in tap["tests"]], [1, 1, 1, 1, 0, 1] * (len(names) // 2))
        failed = tap["tests"][4]["yaml"]
        self.assertEqual(failed, {
            "message": "is 140737488355328 (channel 47), not 0", "severity": "fail", "serial": 'S]]>&"#',
            "decoder": "parseOpenShortTest", "value": "140737488355328", "limits": '{"const":0}',
            "channels": ["47"], "reports": "1", "failures": "1", "file": "a # SKIP.hex-bad", "line": "2"})

    def test_tap_of_all_outcomes(self):
        limits = limits_of("0xE0", {"optional": True}, SEVERITY_LEVEL={"maximum": 3})
        limits["reports"].update(limits_of("0xE3", {"units": {"WEAK_OS": "V"}}, WEAK_OS={"const": 0})["reports"])
        limits["title"] = "Two\nlines"
        run = self.run_with(limits, hex_lines(open_short(WEAK_OS=1), open_short(), open_short(WEAK_OS=3)),
                            "-o", "tap")
        text = run.out.replace(str(self.folder).encode() + b"/", b"")
        self.assertEqual(text.decode(), (
            "TAP version 14\n"
            "# Two\\u000alines\n"
            "ok 1 - panel.hex: 0xE0 SEVERITY_LEVEL # SKIP was not measured: no report 0xE0 (feature) came\n"
            "not ok 2 - panel.hex: 0xE3 WEAK_OS\n"
            "  ---\n"
            '  message: "is 1 V, not 0; 2 of 3 reports"\n'
            '  severity: "fail"\n'
            '  decoder: "parseOpenShortTest"\n'
            '  value: "1"\n'
            '  unit: "V"\n'
            '  limits: "{\\"const\\":0}"\n'
            "  reports: 3\n"
            "  failures: 2\n"
            '  file: "panel.hex"\n'
            "  line: 1\n"
            "  ...\n"
            "ok 3 - panel.hex: errors\n"
            "1..3\n"))
        tests = self.read_tap(text)["tests"]
        self.assertEqual([test["directive"] for test in tests], ["SKIP", "", ""])

    def test_junit(self):
        names, text = self.run_hostile("junit")
        root = ElementTree.fromstring(text)
        counts = {"tests": "60", "failures": "10", "errors": "0", "skipped": "0"}
        self.assertEqual(root.attrib, {"name": "Title <&> # \\u0001", **counts})
        suites = root.findall("testsuite")
        self.assertEqual(len(suites), len(names))
        self.assertEqual([suite.get("name") for suite in suites[::2]], [
            "a # SKIP.hex", 'b"quoted", and <more> & \'less\'.hex', "c\\u000aok 99 - d.hex",
            "e\\u001b[2J\\u0001.hex", "f]]>.hex", "g\\ # TODO.hex", "h\\xff.hex", "i\\ufffe\\uffff.hex", "=1+2.hex",
            "ok 1.hex"])
        for number, suite in enumerate(suites):
            self.assertEqual(suite.get("failures"), str(number % 2))
            self.assertEqual(suite.find("properties/property").attrib, {"name": "serial", "value": 'S]]>&"#'})
            cases = suite.findall("testcase")
            self.assertEqual([case.get("name") for case in cases], ["OPEN_BOTH", "WEAK_OS", "errors"])
            self.assertEqual([case.get("classname") for case in cases],
                             ["0xE3 parseOpenShortTest", "0xE3 parseOpenShortTest", "vesk-decode"])
            self.assertEqual([len(case) for case in cases], [0, number % 2, 0])
        failure = suites[1].find("testcase/failure")
        self.assertEqual(failure.attrib, {
            "type": "limit", "message": "is 140737488355328 (channel 47), not 0"})
        self.assertEqual(failure.text, "a # SKIP.hex-bad:2: 0xE3 WEAK_OS is 140737488355328 (channel 47), not 0; "
                                       'limits {"const":0}')

    def test_junit_of_nothing_and_of_what_was_skipped(self):
        limits = limits_of("0xE0", {"optional": True}, SEVERITY_LEVEL={"maximum": 3})
        run = self.run_with(limits, b"", "-o", "junit")
        root = ElementTree.fromstring(run.out)
        self.assertEqual(root.attrib, {"tests": "2", "failures": "1", "errors": "0", "skipped": "1"})
        skipped = root.find("testsuite/testcase/skipped")
        self.assertEqual(skipped.get("message"), "was not measured: no report 0xE0 (feature) came")

    def test_results(self):
        names, text = self.run_hostile("results")
        rows = list(csv.reader(io.StringIO(text.decode(errors="surrogateescape"), newline="")))
        self.assertEqual(rows[0], HEADER)
        self.assertEqual([row[0] for row in rows[1::3]], names)
        self.assertEqual(rows[4:7], [
            [names[1], 'S]]>&"#', "0xE3", "OPEN_BOTH", "0", "", "3", "", "PASS"],
            [names[1], 'S]]>&"#', "0xE3", "WEAK_OS", str(1 << 47), "0", "0", "", "FAIL"],
            [names[1], 'S]]>&"#', "", "errors", "0", "0", "0", "", "PASS"]])

    def test_ends_of_ranges(self):
        def ends(schema):
            return self.rows(limits_of("0xE0", SEVERITY_LEVEL=schema), summary(3))[0][5:7]

        self.assertEqual(ends({"minimum": 1, "maximum": 3}), ["1", "3"])
        self.assertEqual(ends({"exclusiveMinimum": 0.5}), ["0.5", ""])
        self.assertEqual(ends({"const": 3}), ["3", "3"])
        self.assertEqual(ends({"enum": [3]}), ["3", "3"])
        self.assertEqual(ends({"enum": [1, 3]}), ["", ""])
        self.assertEqual(ends({"maximum": 5, "not": {"const": 4}}), ["", ""])


class Samples(LimitsTest):
    """The limits that come with the program, on the tour: what passes and what fails."""

    def failures(self, name, *files):
        run = Run("--limits", LIMITS / name, "-o", "results", *(files or [SAMPLES / "tour.hex"]))
        rows = list(csv.DictReader(io.StringIO(run.out.decode())))
        failed = {row["test"] for row in rows if row["result"] == "FAIL"}
        self.assertEqual(run.status, LIMIT_NOT_KEPT if failed else ALL_DECODED, run.err)
        return len(rows), failed

    def test_open_short(self):
        self.assertEqual(self.failures("open-short.json"), (8, {"WEAK_OS"}))
        self.assertEqual(self.failures("open-short.json", FORMS / "tour-usbmon.pcap"), (8, {"WEAK_OS"}))

    def test_noise(self):
        """48 channels' counters, that of bad channels, and a frame that somebody touched."""
        self.assertEqual(self.failures("noise.json"), (52, {"D_SCAN_I"}))

    def test_temperature(self):
        self.assertEqual(self.failures("temperature.json"), (2, set()))
        hot = self.file("hot.hex", hex_lines(frame(60.5)))
        self.assertEqual(self.failures("temperature.json", hot), (2, {"TMON_DEG_C"}))

    def test_black_box(self):
        """The summary's level, three events of each of ten blobs, five and three of two modules."""
        self.assertEqual(self.failures("black-box.json"), (1 + 30 + 5 + 3 + 1, set()))
        report = bytearray(991)
        report[0] = 0xE1
        report[939] = 1  # OTP_EVENT_CHECKSUM_MISSING
        critical = self.file("critical.hex", hex_lines(summary(5), bytes(report)))
        failed = {"SEVERITY_LEVEL", "OTP_EVENT_CHECKSUM_MISSING"}
        self.assertEqual(self.failures("black-box.json", critical)[1], failed)

    def test_all_samples_are_tested(self):
        tested = {"open-short.json", "noise.json", "temperature.json", "black-box.json"}
        self.assertEqual({path.name for path in LIMITS.iterdir()}, tested)

    def test_the_example_of_the_man_page(self):
        page = (SAMPLES.parent / "docs" / "vesk-limits.5").read_text()
        example = re.search(r"^\.nf\n(\{.*?\n\})\n\.fi$", page, re.M | re.S)[1]
        text = example.replace("\\(de", "°").replace("\\-", "-")
        run = Run("--limits", self.limits(text), "-o", "tap", SAMPLES / "tour.hex")
        self.assertEqual((run.status, run.out.count(b"\nok ")), (ALL_DECODED, 5))


class SchemaOfTheFile(LimitsTest):
    """docs/limits.schema.json, for editors: what it refuses, vesk-decode refuses, too."""

    SCHEMA = json.loads((SAMPLES.parent / "docs" / "limits.schema.json").read_text())

    def is_valid(self, limits):
        jsonschema.Draft7Validator.check_schema(self.SCHEMA)
        return jsonschema.Draft7Validator(self.SCHEMA).is_valid(limits)

    def test_samples(self):
        for path in LIMITS.iterdir():
            self.assertTrue(self.is_valid(json.loads(path.read_text())), path)
        self.assertTrue(self.is_valid(limits_of("227", {"optional": True, "units": {"WEAK_OS": "V"}, "$comment": 1},
                                                WEAK_OS={"const": 0})))

    def test_mistakes(self):
        for limits in [
            [], {}, {"reports": {}}, {"titel": "", **weak(const=0)}, {"title": 3, **weak(const=0)},
            {"reports": {"0xE3": {}}}, {"reports": {"0xE3": {"schema": True}}}, {"reports": {"E3": {"schema": {}}}},
            {"reports": {"0xE3": {"shema": {}}}}, weak(maximum="3"), weak(enum=3),
            limits_of("0xE3", {"optional": "yes"}, WEAK_OS={"const": 0}),
            limits_of("0xE3", {"units": {"WEAK_OS": 3}}, WEAK_OS={"const": 0}),
            {"serial": {"key": "PROJECT"}, **weak(const=0)},
        ]:
            with self.subTest(limits=limits):
                self.assertFalse(self.is_valid(limits))
                self.assertEqual(self.run_with(limits, [STATE]).status, BAD_USAGE)


if __name__ == "__main__":
    unittest.main()
