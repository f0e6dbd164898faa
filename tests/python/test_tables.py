"""Tables: their columns, kinds, views and conversions. The values are made by hand."""

import pickle

import numpy as np
import pytest

import vesk_report
from given import STATE, TOUR, frame, hex_lines

FRAMES = hex_lines(frame(7, -2, 9), frame(8, 3, -4), frame(9, 5, 6))
KEYS = ("COOKIE", "FLAGS", "FRAME_NUMBER", "FRAME_PARAMS", "TIMESTAMP_MS", "D_SCAN_I", "D_SCAN_Q",
        "P_SCAN_I", "P_SCAN_Q", "TMON_PARAMS", "TMON_DEG_C")


def images():
    return vesk_report.read(FRAMES).image


def test_columns_of_image_frames():
    table = images()
    assert len(table) == 3
    assert table.columns == ("time", "report_id", "source", "device", "place", *KEYS)
    assert table.keys == KEYS
    assert (table.name, table.decoder) == ("image", "parseVeskImage")
    assert table["FRAME_NUMBER"].tolist() == [7, 8, 9]
    assert table["FLAGS"].tolist() == [2, 2, 2]
    assert table["D_SCAN_I"].shape == (3, 48)
    assert table["D_SCAN_I"][:, 0].tolist() == [-2, 3, 5]
    assert table["P_SCAN_Q"][:, 47].tolist() == [9, -4, 6]
    assert not table["D_SCAN_Q"].any() and not table["P_SCAN_I"].any()
    assert table["report_id"].tolist() == [0x76] * 3
    assert table["place"].tolist() == [1, 2, 3]
    assert list(table["source"]) == ["<bytes>"] * 3
    assert list(table["device"]) == [""] * 3


def test_kinds_are_those_of_the_fields():
    expected = {
        "COOKIE": "u1", "FLAGS": "u2", "FRAME_NUMBER": "u4", "D_SCAN_I": "i4", "TMON_DEG_C": "f4",
        "time": "M8[us]", "report_id": "u1", "place": "u8",
    }
    table = images()
    for key, kind in expected.items():
        assert table[key].dtype == np.dtype(kind), key
    tour = vesk_report.read(TOUR)
    assert tour.adc_dump_config["CHANNEL_ENABLE_MASK"].dtype == np.uint64
    assert tour.watch_dog_report["Timestamp"].dtype == np.int64
    assert tour.watch_dog_report["Wallclock"].dtype == np.float64
    assert tour.adc_dump_packet["MAGIC_VALUE"].dtype == np.int32
    assert tour.adc_dump_packet["PAYLOAD_DATA"].shape == (1, 512)


def test_numbers_are_aligned_and_in_one_block():
    table = images()
    assert table.array.dtype.itemsize % 8 == 0
    for key in KEYS:
        column = table[key]
        assert column.flags.aligned, key
        assert column.strides[0] == table.array.dtype.itemsize, key
        assert np.shares_memory(column, table.array), key


def test_views_are_read_only():
    table = images()
    for view in (table.array, table["FRAME_NUMBER"], table["D_SCAN_I"], table.frames):
        with pytest.raises(ValueError, match="read-only"):
            view[0] = 1
    copy = table["D_SCAN_I"].copy()
    copy[0] = 1
    assert table["D_SCAN_I"][0, 0] == -2


def test_frames_are_a_view_of_the_neighbouring_arrays():
    table = images()
    assert table.frame_keys == ("D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q")
    frames = table.frames
    assert (frames.shape, frames.dtype) == ((3, 4, 48), np.dtype("i4"))
    assert np.shares_memory(frames, table.array)
    for index, key in enumerate(table.frame_keys):
        assert (frames[:, index] == table[key]).all()
    assert frames[:, 0, 0].tolist() == [-2, 3, 5]
    assert frames[:, 3, 47].tolist() == [9, -4, 6]


def test_frames_of_other_tables():
    tour = vesk_report.read(TOUR)
    assert tour.open_short_data.frames.shape == (2, 2, 48)
    with pytest.raises(AttributeError, match="has no arrays that stand beside one another"):
        tour.adc_dump_packet.frames
    chosen = vesk_report.read(FRAMES, columns={0x76: ["D_SCAN_I", "P_SCAN_I", "P_SCAN_Q"]}).image
    assert chosen.frame_keys == ("D_SCAN_I", "P_SCAN_I", "P_SCAN_Q")
    assert chosen.frames[:, 2, 47].tolist() == [9, -4, 6]


def test_slices_are_views():
    table = images()
    part = table[1:]
    assert isinstance(part, vesk_report.Table)
    assert part["FRAME_NUMBER"].tolist() == [8, 9]
    assert part.frames[:, 0, 0].tolist() == [3, 5]
    assert np.shares_memory(part.array, table.array)
    assert table[::2].frames[:, 3, 47].tolist() == [9, 6]
    assert table[::-1].frames[:, 0, 0].tolist() == [5, 3, -2]


def test_a_row_is_a_dict():
    row = images()[-1]
    assert row["FRAME_NUMBER"] == 9 and type(row["FRAME_NUMBER"]) is np.uint32
    assert row["source"] == "<bytes>"
    assert np.isnat(row["time"])
    with pytest.raises(IndexError):
        images()[3]


def test_wrong_keys():
    table = images()
    with pytest.raises(KeyError, match="image has no column 'X'; it has time, report_id"):
        table["X"]
    with pytest.raises(TypeError, match="not by list; table.array takes all that numpy does"):
        table[["FLAGS"]]
    assert "FLAGS" in table and "X" not in table
    assert list(table) == list(table.columns)


def test_tables_of_a_capture():
    tour = vesk_report.read(TOUR)
    reports = [line for line in TOUR.read_text().splitlines() if line and line[0] != "#"]
    assert len(tour) == len(reports) == sum(map(len, tour.tables.values()))
    assert [table.name for table in tour] == list(tour.tables)  # the tour has each
    assert list(tour.tables)[:4] == [
        "version", "version_extended", "adc_dump_config", "adc_dump_state"]
    assert {"image", "adc_dump_packet", "alg_baseline_request", "black_box_full_report"} <= set(
        tour.tables)
    assert "image" in dir(tour)
    assert tour["image"] is tour.image is tour["parseVeskImage"]
    assert tour[0x76].columns == tour.image.columns
    for key in (0x99, "x", None):
        with pytest.raises(KeyError):
            tour[key]
    with pytest.raises(AttributeError, match="no table 'imgae'; there are version, "):
        tour.imgae


def test_names_of_tables_follow_from_those_of_decoders():
    by_id = {report.id: report for report in vesk_report.REPORTS}
    assert by_id[0x76] == (0x76, "input", "image", "parseVeskImage", 792, True, False)
    assert by_id[0xA2][2:4] == ("alg_baseline_request", "parserVeskAlgBaselineRequest")
    assert by_id[0xE1].name == by_id[0xEA].name == "black_box_full_report"
    assert by_id[0xD0][4:] == (2, False, True)


def test_two_ids_of_a_decoder():
    capture = vesk_report.read(TOUR)
    assert len(capture.open_short_data) == 2
    assert capture[0xE4]["report_id"].tolist() == [0xE4]
    assert capture[0xE5]["report_id"].tolist() == [0xE5]
    assert capture[0xE5]["BROWNOUT"].tolist() == [1]
    assert capture["open_short_data"]["report_id"].tolist() == [0xE4, 0xE5]


def test_texts():
    capture = vesk_report.read(TOUR)
    assert list(capture.version["value"]) == ["4.12.0"]
    assert capture.version_extended[0]["TOOLCHAIN"] == "toolchain-17.0.6"
    lines = capture.black_box_config["lines"][0]
    assert lines.splitlines()[0] == "                     Global Trace Config:  MASKED "
    config = next(vesk_report.reports(TOUR, report=0xE2))
    assert config.value is None
    assert lines.split("\n") == config.lines


def test_text_columns():
    states = vesk_report.read(hex_lines(STATE, b"\xde\x02", STATE)).adc_dump_state["value"]
    assert list(states) == ["SINGLE", "CONTINUOUS", "SINGLE"]
    assert states[1] == "CONTINUOUS" and states[-1] == "SINGLE"
    assert list(states[1:]) == ["CONTINUOUS", "SINGLE"]
    assert (states == "SINGLE").tolist() == [True, False, True]
    assert (states != "SINGLE").tolist() == [False, True, False]
    assert (states == "nothing").tolist() == [False] * 3
    assert (states == states[:]).all()
    assert states.unique() == ["SINGLE", "CONTINUOUS"]
    assert np.asarray(states).tolist() == ["SINGLE", "CONTINUOUS", "SINGLE"]
    assert states.to_numpy().dtype == object
    assert states.codes.dtype == np.uint32
    assert [states.texts[code] for code in states.codes] == list(states)
    assert "SINGLE" in states and states.count("SINGLE") == 2
    with pytest.raises(IndexError):
        states[3]


def test_times():
    recording = b"D: 0\nF: 000012.345678 2 de 01\nF: 1700000000.000001 2 de 02\n"
    times = vesk_report.read(recording, form="recording").adc_dump_state["time"]
    assert times.tolist()[0].isoformat() == "1970-01-01T00:00:12.345678"
    assert str(times[1]) == "2023-11-14T22:13:20.000001"
    assert np.isnat(vesk_report.read(hex_lines(STATE)).adc_dump_state["time"][0])


def test_empty_tables_have_their_dtypes():
    full, empty = vesk_report.read(TOUR), vesk_report.read(b"")
    assert len(empty) == 0 and list(empty) == []
    for name, table in full.tables.items():
        assert len(empty.tables[name]) == 0
        assert empty.tables[name].dtype == table.dtype, name
        assert empty.tables[name].columns == table.columns
    assert empty.image.frames.shape == (0, 4, 48)
    assert empty.version["value"].to_numpy().shape == (0,)


def test_empty_tables_of_chosen_columns():
    columns = {"image": ["FRAME_NUMBER"], 0xE0: []}
    empty = vesk_report.read(b"", columns=columns)
    full = vesk_report.read(TOUR, columns=columns)
    assert empty.image.keys == full.image.keys == ("FRAME_NUMBER",)
    assert empty.image.dtype == full.image.dtype
    assert empty.black_box_summary.keys == full.black_box_summary.keys == ()
    assert empty.version.dtype == full.version.dtype


def test_pickles():
    capture = vesk_report.read(hex_lines(frame(7, -2, 9), STATE) + b"zz\n")
    again = pickle.loads(pickle.dumps(capture))
    assert repr(again) == repr(capture)
    assert again.image["FRAME_NUMBER"].tolist() == [7]
    assert again.image.frames[0, 0, 0] == -2
    assert not again.image.array.flags.writeable
    assert list(again.adc_dump_state["value"]) == ["SINGLE"]
    assert list(again.errors) == list(capture.errors) and again.errors.counts == {"bad_hex": 1}
    part = pickle.loads(pickle.dumps(vesk_report.read(FRAMES).image[1:2]))
    assert part["FRAME_NUMBER"].tolist() == [8]


def test_to_pandas():
    pandas = pytest.importorskip("pandas")
    recording = b"F: 000012.345678 2 de 01\nF: 000013.000000 2 de 02\n"
    frame_table = vesk_report.read(recording, form="recording").adc_dump_state.to_pandas()
    assert list(frame_table.columns) == ["time", "report_id", "source", "device", "place", "value"]
    assert frame_table["value"].tolist() == ["SINGLE", "CONTINUOUS"]
    assert frame_table["time"][0] == pandas.Timestamp("1970-01-01 00:00:12.345678")
    table = images()
    data = table.to_pandas()
    assert data["D_SCAN_I_0"].tolist() == [-2, 3, 5]
    assert data["P_SCAN_Q_47"].tolist() == [9, -4, 6]
    assert data["FRAME_NUMBER"].dtype == np.uint32
    assert len(data.columns) == 5 + 7 + 4 * 48
    assert np.shares_memory(data["D_SCAN_I_7"].to_numpy(), table.array)


def test_to_xarray():
    pytest.importorskip("xarray")
    table = images()
    data = table.to_xarray()
    assert dict(data.sizes) == {"report": 3, "channel_48": 48}
    assert data["D_SCAN_I"].sel(channel_48=0).values.tolist() == [-2, 3, 5]
    assert data["source"].values.tolist() == ["<bytes>"] * 3
    assert set(data.coords) == {"time", "report_id", "source", "device", "place"}
    assert np.shares_memory(data["D_SCAN_I"].values, table.array)


def test_times_beyond_those_of_pandas_are_refused():
    pytest.importorskip("pandas")
    # A timestamp of 64 bits in a pcapng may lie in the year 30000.
    late = vesk_report.read(b"F: 900000000000.000000 2 de 01\n", form="recording").adc_dump_state
    assert str(late["time"][0])[:5] == "30489"
    with pytest.raises(ValueError, match="30489"):
        late.to_pandas()


def test_optional_packages_are_imported_when_asked_for():
    code = "import vesk_report, sys; print(*sorted({'pandas', 'xarray'} & set(sys.modules)), sep=',')"
    from given import run_python
    done = run_python(code)
    assert (done.stdout, done.stderr) == ("\n", "")


def test_single_reports():
    plugin = vesk_report.Plugin()
    report = plugin.decode(frame(7, -2, 9))
    assert (report.id, report.type, report.name) == (0x76, "input", "image")
    assert list(report.value) == list(KEYS)
    assert report["FRAME_NUMBER"] == 7 and type(report["FRAME_NUMBER"]) is np.uint32
    assert type(report["COOKIE"]) is np.uint8 and type(report["FLAGS"]) is np.uint16
    assert type(report["TMON_DEG_C"]) is np.float32 and report["TMON_DEG_C"] == 25.5
    assert report["D_SCAN_I"].dtype == np.int32 and report["D_SCAN_I"][0] == -2
    report["D_SCAN_I"][0] = 4  # its own
    assert report.data == frame(7, -2, 9)
    assert np.isnat(report.time)
    assert plugin.decode(STATE).value == "SINGLE"
    assert plugin.decode(bytearray(STATE)).lines == ["ADC Dump State: SINGLE"]
    assert plugin.decode(memoryview(STATE)).value == "SINGLE"
    assert plugin.decode(np.frombuffer(STATE, np.uint8)).value == "SINGLE"
    assert plugin.decode(bytes([0xE2]) + bytes(231)).value is None
    again = pickle.loads(pickle.dumps(report))
    assert again.value.keys() == report.value.keys() and again.data == report.data


def test_samples_in_decimal():
    data = frame(1, 95, -1)
    lines = vesk_report.Plugin().decode(data).lines
    decimal = vesk_report.Plugin(decimal=True).decode(data).lines
    assert any("0000005F" in line.upper() for line in lines)
    assert any(" 95" in line for line in decimal)
    assert not any("0000005F" in line.upper() for line in decimal)
    assert next(vesk_report.reports(hex_lines(data), decimal=True)).lines == decimal
    assert next(vesk_report.reports(hex_lines(data))).lines == lines


@pytest.mark.parametrize("data, message", [
    (b"", "a report of no bytes"),
    (b"\xde", "report 0xDE (feature): 1 byte, its layout needs 2"),
    (b"\x99\x01", "report 0x99: unknown; --list-reports shows the known ones"),
    (frame() + b"\0", "report 0x76 (input): 793 bytes, its layout needs exactly 792"),
    (b"\xd0\xff\0", "report 0xD0 (feature): its decoder failed: the version text is not UTF-8"),
    (bytes(65537), "65537 bytes, and no report is longer than 65536"),
])
def test_reports_that_are_refused(data, message):
    with pytest.raises(ValueError) as raised:
        vesk_report.Plugin().decode(data)
    assert str(raised.value) == message


@pytest.mark.parametrize("data", [None, 5, "de 01", [0xDE, 1], 1.5])
def test_what_is_no_report(data):
    with pytest.raises(TypeError):
        vesk_report.Plugin().decode(data)


def test_types_of_single_reports():
    assert vesk_report.Plugin().decode(STATE, "feature").value == "SINGLE"
    with pytest.raises(ValueError, match=r"report 0xDE \(input\): unknown"):
        vesk_report.Plugin().decode(STATE, "input")
    with pytest.raises(ValueError, match="type=x: choose one of input, output, feature"):
        vesk_report.Plugin().decode(STATE, "x")


def test_plugins_pickle_by_what_they_are_made_of():
    plugin = pickle.loads(pickle.dumps(vesk_report.Plugin(decimal=True)))
    assert plugin.decode(STATE).value == "SINGLE"
    assert plugin.version == vesk_report.Plugin().version


def test_help_tells_each_table_and_form():
    for name in vesk_report.read(b"").tables:
        assert f"    {name} (0x" in vesk_report.__doc__
    for form in vesk_report.FORMS:
        assert f"    {form} " in vesk_report.__doc__
    for name in vesk_report.__all__:
        assert getattr(vesk_report, name).__doc__, name
