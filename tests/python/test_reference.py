"""The second decoder beside the package: values, kinds and errors of reports that nobody chose, one by
one and in tables."""

import random
import sys

import numpy as np

import vesk_report
from given import ROOT

sys.path[:0] = [str(ROOT / "tests"), str(ROOT / "tests" / "reference")]
import differential  # noqa: E402 - only found through the line above
import vesk_reference  # noqa: E402
from vesk_reference import FEATURE, PlatformError, ReferencePlugin  # noqa: E402

COUNT = 4_000

# numpy's type for each kind of a field.
TYPES = {
    "bool": np.bool_, "unsigned char": np.uint8, "unsigned short": np.uint16, "unsigned int": np.uint32,
    "int": np.int32, "long long": np.int64, "unsigned long long": np.uint64, "float": np.float32,
    "double": np.float64,
}


def random_reports(seed):
    """Type and bytes of reports that any decoder accepts by their length; a text ends with its NUL."""
    rng = random.Random(seed)
    for number in range(COUNT):
        layout = vesk_reference.LAYOUTS[number % len(vesk_reference.LAYOUTS)]
        content = differential.report_content(rng, layout)
        content = bytes([layout.report_id]) + content[1:]
        if not layout.exact and not layout.text and rng.random() < 0.2:
            content += rng.randbytes(rng.randrange(9))
        yield "feature" if layout.report_type == FEATURE else "input", content


def expected_value(content, report_type):
    """What the second decoder makes of a report: a dict, a str, or None; PlatformError."""
    plugin = ReferencePlugin()
    kind = FEATURE if report_type == "feature" else vesk_reference.INPUT
    found = plugin.report_to_object(content, content[0], kind, len(content))
    if found is None:
        return None
    if isinstance(found.content, str):
        return found.content
    return dict(found.content)


def expected_lines(content, report_type, decimal):
    plugin = ReferencePlugin()
    plugin.use_strings = True
    plugin.display_decimal = decimal
    kind = FEATURE if report_type == "feature" else vesk_reference.INPUT
    found = plugin.report_to_object(content, content[0], kind, len(content))
    if found is None:
        raise PlatformError("no lines")
    return found.strings


def as_bits(kind, number):
    return np.array([number]).astype(TYPES[kind]).tobytes()


def check_value(expected, actual):
    """Kinds and bits: zeros of unlike sign differ, a NaN is itself."""
    if expected[0] == "string":
        assert actual == expected[1] and type(actual) is str
    elif expected[0] == "array":
        _, kind, numbers = expected
        assert actual.dtype == TYPES[kind] and actual.shape == (len(numbers),)
        with np.errstate(all="ignore"):
            wanted = np.array(numbers, dtype=object).astype(TYPES[kind])
        # A NaN's bits get lost where Python makes a number of 64 bits of it, and back.
        if np.issubdtype(wanted.dtype, np.floating):
            same = (wanted == actual) & (np.signbit(wanted) == np.signbit(actual))
            assert (same | (np.isnan(wanted) & np.isnan(actual))).all()
        else:
            assert (wanted == actual).all()
    else:
        kind, number = expected
        assert type(actual) is TYPES[kind], (kind, type(actual))
        if number != number:
            assert actual != actual
        else:
            assert actual.tobytes() == as_bits(kind, number)


def test_reports_and_tables_are_those_of_the_second_decoder(tmp_path):
    seed = random.SystemRandom().randrange(2**32)
    print("seed", seed)
    given = list(random_reports(seed))
    path = tmp_path / "reports.hex"
    path.write_text("".join(f"{kind} {content.hex()}\n" for kind, content in given))
    plugin, decimal_plugin = vesk_report.Plugin(), vesk_report.Plugin(decimal=True)
    rows = {}
    refused = []
    decoded = []
    for place, (kind, content) in enumerate(given, 1):
        try:
            expected = expected_value(content, kind)
            if expected is None:
                expected_lines(content, kind, False)
        except PlatformError:
            refused.append(place)
            try:
                plugin.decode(content, kind)
            except ValueError as error:
                assert ": its decoder failed: " in str(error)
                continue
            raise AssertionError((kind, content))
        actual = plugin.decode(content, kind)
        decoded.append(place)
        rows.setdefault(content[0], []).append((place, expected, content, kind))
        if isinstance(expected, dict):
            assert list(actual.value) == list(expected)
            for key, value in expected.items():
                check_value(value, actual.value[key])
        else:
            assert actual.value == expected
        if place % 4 == 0:
            for one, decimal in ((actual, False), (decimal_plugin.decode(content, kind), True)):
                try:
                    lines = expected_lines(content, kind, decimal)
                except PlatformError:
                    continue
                assert one.lines == lines

    capture = vesk_report.read(path)
    assert [error.place for error in capture.errors] == refused
    assert {error.code for error in capture.errors} <= {"decoder_failed"}
    assert len(capture) == len(decoded)
    assert [report.place for report in vesk_report.reports(path)] == decoded
    for report_id, expected_rows in rows.items():
        table = capture[report_id]
        assert table["place"].tolist() == [place for place, *_ in expected_rows]
        for index, (_, expected, content, kind) in enumerate(expected_rows):
            if expected is None:
                expected = {"lines": ("string", "\n".join(expected_lines(content, kind, False)))}
            elif isinstance(expected, str):
                expected = {"value": ("string", expected)}
            assert list(table.keys) == list(expected)
            row = table[index]
            for key, value in expected.items():
                check_value(value, row[key])
