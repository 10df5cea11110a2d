"""The trace model from Python: the sample read and compared with what the command-line
tool (the C++ library) reports for the same file, edits refused with the library's
numbers, analysis cross-checked with NumPy, and traces written and read back."""

import datetime
import json
import os
import re
import subprocess

import numpy as np
import pytest

import tarnvik

SAMPLE = os.environ.get("TARNVIK_SAMPLE", os.path.join(os.path.dirname(__file__), "../../examples/sample.sor"))
TOOL = os.environ.get("TARNVIK_TOOL")
CORPUS = os.environ.get("TARNVIK_CORPUS_DIR", "")
CORPUS_FILES = sorted(str(p) for p in __import__("pathlib").Path(CORPUS).glob("sor-v*/*.sor")) if CORPUS else []


def snake(name):
    s = re.sub(r"([A-Z]+)([A-Z][a-z])", r"\1_\2", name)
    return re.sub(r"([a-z0-9])([A-Z])", r"\1_\2", s).lower()


@pytest.fixture
def trace():
    return tarnvik.CFileOperations().read_trace(SAMPLE)


def same(py_value, tool_value):
    if isinstance(tool_value, dict):  # an enumeration: value and name
        return int(py_value) == tool_value["value"]
    if isinstance(tool_value, float):
        return py_value == pytest.approx(tool_value, rel=1e-6, abs=1e-6)
    return py_value == tool_value


@pytest.mark.skipif(not TOOL, reason="the command-line tool is not built")
def test_sample_matches_the_library_as_the_tool_reports_it(trace):
    report = json.loads(subprocess.run([TOOL, "info", "--json", SAMPLE], check=True, capture_output=True,
                                       text=True).stdout)["trace"]
    compared = 0
    for key, value in report.items():
        attr = snake(key)
        if isinstance(value, (list, type(None))) or not hasattr(trace, attr) or key == "TimeStamp":
            continue
        assert same(getattr(trace, attr), value), key
        compared += 1
    assert compared >= 40
    assert trace.time_stamp == datetime.datetime.strptime(report["TimeStampText"], "%Y-%m-%d %H:%M:%S")
    for cursor, expected in zip((tarnvik.Acursor, tarnvik.Bcursor), report["cursors"]):
        assert trace.cursor_qrd(cursor) == pytest.approx(expected["CursorQRD"], rel=1e-6)
        assert trace.cursor_distance(cursor) == pytest.approx(expected["CursorDistance"], rel=1e-6)
    assert len(trace.events) == len(report["events"])
    for event, expected in zip(trace.events, report["events"]):
        for key, value in expected.items():
            if hasattr(event, snake(key)):
                assert same(getattr(event, snake(key)), value), (event.number, key)

    # The samples against the tool's dump (one sample a line).
    dumped = subprocess.run([TOOL, "dump", "--style", "0", SAMPLE], check=True, capture_output=True,
                            text=True).stdout.split()
    samples = trace.data_point_array
    assert samples.dtype == np.int32 and samples.shape == (trace.samples,)
    assert samples.tolist() == [int(v) for v in dumped[-trace.samples:]]
    assert samples[41] == trace.data_points(42)


def test_collections_follow_python_indexing_and_the_library_keys(trace):
    events = trace.events
    assert [e.number for e in events] == [1, 2, 3]
    assert events[-1].number == events.item(3).number == 3
    with pytest.raises(IndexError):
        events[3]
    traces = tarnvik.CTraces()
    traces.add(trace, "a")
    traces.add(tarnvik.CTrace())
    assert len(traces) == 2 and traces["a"].file_name == "sample.sor" and traces.item("a").samples == 8000
    assert [t.samples for t in traces] == [8000, 0]
    # Iterating over a copy: removing inside the loop neither skips nor crashes.
    for t in traces:
        traces.remove(1)
    assert len(traces) == 0
    assert "CEvents 3 items" in repr(events) and "'sample.sor' 1310 nm, 3 events, 8000 samples" in repr(trace)


FAILING_EDITS = [
    ("fiber number below 0", lambda t: setattr(t, "fiber_number", -1), 5, "CTrace:Let FiberNumber()"),
    ("wavelength past 16 bits", lambda t: setattr(t, "nominal_wavelength", 70000), 6, "CTrace:Let NominalWavelength()"),
    ("event loss past float", lambda t: setattr(t.events[0], "loss", 1e39), 6, "CEvent:Let Loss()"),
    ("event position past count", lambda t: t.events.item(4), 9, "CEvents:Get Item()"),
    ("event by key", lambda t: t.events.item("x"), 5, "CEvents:Get Item()"),
    ("sample 0", lambda t: t.data_points(0), 9, "CTrace:Get DataPoints()"),
    ("cursor 7", lambda t: t.cursor_qrd(7), 9, "CTrace:Get CursorQRD()"),
    ("distances never calculated", lambda t: t.distance_point_array, 9, "CTrace:Get DistancePoints()"),
    ("samples as floats", lambda t: setattr(t, "data_point_array", np.zeros(3)), 13, "CTrace:Let DataPointArray()"),
    ("samples in 2-D", lambda t: setattr(t, "data_point_array", np.zeros((2, 2), np.int32)), 13, "CTrace:Let DataPointArray()"),
    ("sample past 32 bits", lambda t: setattr(t, "data_point_array", [1, 2**31]), 6, "CTrace:Let DataPointArray()"),
    ("uint64 sample past 32 bits", lambda t: setattr(t, "data_point_array", np.array([2**63], np.uint64)), 6,
     "CTrace:Let DataPointArray()"),
    ("duplicate key", lambda t: [c := tarnvik.CTraces(), c.add(t, "k"), c.add(t, "k")], 457, "CTraces:Add()"),
    ("fit on one sample", lambda t: tarnvik.least_squares(None, 1, 2), 91, "CAnalyze:LeastSquares()"),
    ("missing file", lambda t: tarnvik.CFileOperations().read_trace("/no/such/file.sor"), 53, "CFileOperations:ReadTrace()"),
    ("not a trace", lambda t: tarnvik.CSORFile().load_from_file(__file__), 10513, "CSORFile:LoadFromFile()"),
    ("bytes for a text", lambda t: setattr(t, "cable_id", None), None, None),
]


@pytest.mark.parametrize("name, edit, number, source", FAILING_EDITS, ids=[c[0] for c in FAILING_EDITS])
def test_failing_edits_raise_the_library_error(trace, name, edit, number, source):
    before = trace.data_point_array.copy()
    if number is None:  # a value of the wrong Python type is Python's TypeError
        with pytest.raises(TypeError):
            edit(trace)
        return
    with pytest.raises(tarnvik.Error) as caught:
        edit(trace)
    assert (caught.value.number, caught.value.source) == (number, source)
    assert caught.value.description and isinstance(caught.value, Exception)
    assert np.array_equal(trace.data_point_array, before)


def test_conversions_and_analysis_agree_with_numpy(trace):
    for point in (0, 1, 1234, 7999):
        qrd = trace.point_to_qrd(point)
        assert trace.point_to_display_dist(point) == pytest.approx(trace.qrd_to_display_dist(qrd, trace.distance_units))
    for units in (tarnvik.DU_Kilometers, tarnvik.DU_Feet, tarnvik.DU_Meters, tarnvik.DU_Miles):
        d = trace.qrd_to_display_dist(5000.0, units)
        assert trace.display_dist_to_qrd(d, units) == pytest.approx(5000.0, rel=1e-5)
    trace.calculate_distance_points()
    distances = trace.distance_point_array
    assert distances.dtype == np.float32 and distances.shape == (8000,)
    assert distances[1234] == pytest.approx(trace.point_to_display_dist(1235), rel=1e-6)  # points count from 1

    # The fit runs over samples first..last at x = index - 1.
    result, slope, intercept = tarnvik.least_squares(trace, index1=100, index2=2000)
    x = np.arange(99, 2000)
    want_slope, want_intercept = np.polyfit(x, trace.data_point_array[99:2000].astype(float), 1)
    assert result == 0
    assert slope == pytest.approx(want_slope, rel=1e-4) and intercept == pytest.approx(want_intercept, rel=1e-4)
    assert tarnvik.CAnalyze().least_squares(trace, 5, 5, slope=1.5) == (2, 1.5, 0.0)  # untouched unless 0

    loss, level = tarnvik.CAnalyze().compute_loss(trace, 6000, 7000, 5000, 9000, tarnvik.LOSS_TwoPoint, 0)
    assert isinstance(loss, int) and isinstance(level, int)


def test_event_editing_reclassification_and_events_of_the_trace(trace, monkeypatch):
    number = trace.add_event(start_qrd=9000, end_qrd=0, loss=250, loss_method=tarnvik.LOSS_TwoPoint,
                             source=tarnvik.EVSRC_Manual, event_type=tarnvik.EVTYPE_NonReflective,
                             reflectance=0, start_level=0, comment="added from Python")
    assert number == 2 and [e.comment for e in trace.events][1] == "added from Python"
    assert trace.is_dirty  # event edits mark the trace without raising IsDirty
    trace.rollup_loss(True)
    trace.reclassify_events()
    assert len(trace.events) == 4
    # Handlers run in order; one that raises is reported, and the library carries on.
    fresh, seen, reported = tarnvik.CTrace(), [], []
    monkeypatch.setattr("sys.unraisablehook", reported.append)
    fresh.connect_is_dirty(lambda dirty: 1 / 0)
    connection = fresh.connect_is_dirty(seen.append)
    fresh.fiber_number = 12
    fresh.disconnect_is_dirty(connection)
    fresh.fiber_number = 13
    assert (fresh.fiber_number, seen) == (13, [True])
    assert [r.exc_type for r in reported] == [ZeroDivisionError, ZeroDivisionError]


@pytest.mark.parametrize("extension", ["sor", "trc"])
def test_written_traces_read_back(trace, tmp_path, extension):
    trace.cable_id = "PY-0001"
    trace.time_stamp = datetime.datetime(2026, 11, 23, 12, 0, 30)
    samples = np.arange(8000, dtype=np.int64) * 3 % 40000
    trace.data_point_array = samples
    path = str(tmp_path / f"out.{extension}")
    tarnvik.CFileOperations().write_trace(trace, path, 1, 2, 3, 4)
    back = tarnvik.CFileOperations().read_trace(path)
    assert back.cable_id == "PY-0001"
    assert back.time_stamp == datetime.datetime(2026, 11, 23, 12, 0, 30)
    assert back.data_point_array.tolist() == samples.tolist()
    assert [(e.number, e.e_type, e.comment) for e in back.events] == [(e.number, e.e_type, e.comment) for e in trace.events]
    dump = tmp_path / "dump.txt"
    back.dump_samples(str(dump), 0)
    assert [int(v) for v in dump.read_text().split()][-8000:] == samples.tolist()


def test_values_cross_as_python_types():
    block = tarnvik.CBlock()
    block.set_raw_data(b"\x00\x01\xff")
    assert block.get_raw_data() == b"\x00\x01\xff"
    trace = tarnvik.CTrace()
    for when in (datetime.datetime(1899, 12, 29, 6, 0), datetime.datetime(2000, 2, 29, 23, 59, 59)):
        trace.time_stamp = when
        assert trace.time_stamp == when
    trace.time_stamp = 2.5
    assert trace.time_stamp == datetime.datetime(1900, 1, 1, 12, 0)
    with pytest.raises(tarnvik.Error) as caught:
        trace.time_stamp = float("inf")
        trace.time_stamp
    assert caught.value.number == 6
    command = tarnvik.CKTRCommand()
    command.params_count = 2
    command.set_params(1, "Ä")
    assert command.params(1) == "Ä"
    pipe = tarnvik.CEventPipe()
    pipe.connect_data_changed(lambda prop, value: value * 2 if prop == "Loss" else None)
    assert pipe.data_changed("Loss", 21) == 42  # the handler's answer is the in-out value


@pytest.mark.skipif(not CORPUS_FILES or not TOOL, reason="no outside corpus or no tool here")
def test_every_corpus_file_gives_what_the_library_gives_in_cpp():
    for path in CORPUS_FILES:
        report = json.loads(subprocess.run([TOOL, "info", "--json", path], capture_output=True, text=True).stdout)
        try:
            trace = tarnvik.CFileOperations().read_trace(path)
            got = None
            assert trace.data_point_array.shape == (trace.samples,)
        except tarnvik.Error as e:
            got = {"number": e.number, "source": e.source, "description": e.description}
        want = report["error"] and {k: report["error"][k] for k in ("number", "source", "description")}
        assert got == want, path
