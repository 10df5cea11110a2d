"""The reader of any SR-4731 file from Python: documents compared with what the command-
line tool (the C++ library) reports, every corpus file read from a path and from bytes
and converted to version 1, the library's refusals, and damaged files that must give a
document or a tarnvik.Error."""

import json
import os
import pathlib
import random
import re
import subprocess

import numpy as np
import pytest

import tarnvik

SAMPLE = os.environ.get("TARNVIK_SAMPLE", os.path.join(os.path.dirname(__file__), "../../examples/sample.sor"))
TOOL = os.environ.get("TARNVIK_TOOL")
CORPUS = os.environ.get("TARNVIK_CORPUS_DIR", "")
CORPUS_FILES = sorted(str(p) for sub in ("sor-v1", "sor-v2") for p in pathlib.Path(CORPUS, sub).glob("*.sor")) \
    if CORPUS and os.path.isdir(CORPUS) else []
SAMPLE_BYTES = pathlib.Path(SAMPLE).read_bytes()
needs_tool = pytest.mark.skipif(not TOOL, reason="the command-line tool is not built")
needs_corpus = pytest.mark.skipif(not CORPUS_FILES, reason="no SOR corpus")


def camel(name):
    return re.sub(r"_(\w)", lambda m: m.group(1).upper(), name)


def camel_keys(value):
    if isinstance(value, dict):
        return {camel(k): camel_keys(v) for k, v in value.items()}
    return [camel_keys(v) for v in value] if isinstance(value, list) else value


def tool_report(path):
    return json.loads(subprocess.run([TOOL, "info", "--json", str(path)], capture_output=True, text=True).stdout)


def as_the_tool_shows_it(doc):
    """to_dict() in the shape of `tarnvik info --json`'s document (docs/sor-document-json.md)."""
    d = doc.to_dict()
    out = {camel(k): d[k] for k in ("version", "map_revision", "map_size", "block_count")}
    out["map"] = [{"name": e["name"], "revision": e["revision"], "size": e["size"], "offset": e["offset"],
                   "bodyOffset": e["body"][0], "bodySize": e["body"][1],
                   "kind": "other" if e["kind"] == "Other" else e["kind"], "decoded": e["decoded"]} for e in d["map"]]
    for key in ("gen_params", "sup_params", "fxd_params", "key_events", "data_pts", "cksum"):
        block = d[key]
        name = camel("_" + key)
        if block is not None:
            assert d["map"][block.pop("entry")]["kind"] == name
            extra = block.pop("extra")[1]
            missing = block.pop("missing_field") or None
            if key != "cksum":
                block.update(missingField=missing, extraBytes=extra)
            if key == "gen_params":
                block["operator"] = block.pop("operator_name")
            if key == "fxd_params":
                columns = [block.pop(k) for k in ("pulse_widths", "sample_spacing", "sample_count")]
                block["pulseWidths"] = [{"pulseWidth": w, "sampleSpacing": s, "sampleCount": c}
                                        for w, s, c in zip(*columns)]
            if key == "key_events":
                for e in block["events"]:
                    del e["kind"], e["origin"]
            if key == "data_pts":
                for g in block["groups"]:
                    g["samplesHeld"] = len(g.pop("samples"))
            block = camel_keys(block)
        out[name] = block
    out["otherBlocks"] = [{k: e[k] for k in ("name", "revision", "size")} for e in d["map"] if not e["decoded"]]
    out["trailingBytes"] = d["trailing"][1]
    out["checksum"], out["warnings"] = d["checksum"], d["warnings"]
    return out


def with_checksum_flipped(tmp_path):
    path = tmp_path / "bad-checksum.sor"
    path.write_bytes(SAMPLE_BYTES[:-1] + bytes([SAMPLE_BYTES[-1] ^ 0xFF]))
    return path


@needs_tool
@pytest.mark.parametrize("name", ["sample, checksum flipped"] + [os.path.basename(f) for f in CORPUS_FILES])
def test_documents_match_the_tool_field_by_field(tmp_path, name):
    # The tool shows the document only for a file that does not become a trace: the
    # sample takes a wrong checksum for that.
    path = with_checksum_flipped(tmp_path) if name.startswith("sample") else \
        next(f for f in CORPUS_FILES if os.path.basename(f) == name)
    expected = tool_report(path)["document"]
    doc = tarnvik.read_sor_document(path)
    assert expected is not None and as_the_tool_shows_it(doc) == expected
    for e in doc.key_events.events if doc.key_events else []:
        assert e.kind == {"0": "non-reflective", "1": "reflective", "2": "saturated-reflective"}.get(e.code[:1], "unknown")
        assert e.origin == dict(zip("FAMEOD", ("found", "added", "moved", "end-of-fiber", "out-of-range",
                                                "deleted"))).get(e.code[1:2], "unknown")


@needs_tool
def test_the_sample_map_and_trace_values_match_the_tool():
    report = tool_report(SAMPLE)
    doc = tarnvik.read_sor_document(pathlib.Path(SAMPLE))
    assert (doc.map_revision, doc.map_size) == (report["map"]["MapRevision"], report["map"]["MapSize"])
    assert [(e.name, e.revision, e.size) for e in doc.map] == \
        [(b["BlockID"], b["RevisionNum"], b["BlockSize"]) for b in report["map"]["blocks"]]
    trace, g, f = report["trace"], doc.gen_params, doc.fxd_params
    assert (g.cable_id, int(g.fiber_id), g.nominal_wavelength, g.originating_location, g.operator_name, g.comment) == \
        (trace["CableID"], trace["FiberNumber"], trace["NominalWavelength"], trace["TestSite"], trace["TestedBy"],
         trace["TraceComment"])
    assert (doc.sup_params.supplier, doc.sup_params.mainframe_id) == (trace["SupplierName"], trace["MainFrameID"])
    assert (f.pulse_widths[0], f.averages, f.group_index, f.acquisition_offset) == \
        (trace["PulseWidth"], trace["NumberOfAverages"], trace["GroupIndex"], trace["AquisitionOffset"])
    assert [e.comment for e in doc.key_events.events] == [e["Comment"] for e in trace["events"]]
    assert doc.levels.shape == (trace["Samples"],) and doc.checksum.status == "ok"
    assert repr(doc) == "<tarnvik.SorDocument version 1, 7 blocks, 3 events, 8000 samples, checksum ok, 1 warning>"


def test_levels_distances_and_offsets_follow_the_stored_values():
    doc = tarnvik.read_sor_document(bytearray(SAMPLE_BYTES))
    group, f = doc.data_pts.groups[0], doc.fxd_params
    assert group.samples.dtype == np.uint16 and doc.levels.dtype == doc.distances.dtype == np.float64
    np.testing.assert_allclose(doc.levels, -group.samples.astype(float) / group.scale_factor)
    # Sample i lies at i x spacing (1e-14 s) x c / group index (1e-5), one way, in km.
    step = f.sample_spacing[0] * 1e-14 * 299792458.0 / (f.group_index * 1e-5) / doc.metres_per_unit
    np.testing.assert_allclose(np.diff(doc.distances), step, rtol=1e-9)
    assert (doc.distance_unit, doc.metres_per_unit, doc.distances[0]) == ("km", 1000.0, 0.0)
    o = doc.offsets()
    assert (o.acquisition_offset, o.user_offset, o.user_offset_distance) == (f.acquisition_offset, 0, None)
    # Arrays are copies: writing to one leaves the document as it was.
    group.samples[:] = 0
    doc.levels[:] = 1
    assert doc.data_pts.groups[0].samples.any() and (doc.levels <= 0).all()
    assert doc.bytes == SAMPLE_BYTES and doc.trailing[1] == 0
    # A part keeps the document alive after the document object is gone.
    events = doc.key_events
    del doc
    assert len(events.events) == 3 and events.summary.total_loss == 9230


@needs_corpus
@pytest.mark.parametrize("path", CORPUS_FILES, ids=os.path.basename)
def test_corpus_files_read_and_convert_to_version_1(tmp_path, path):
    doc = tarnvik.read_sor_document(path)
    from_bytes = tarnvik.read_sor_document(memoryview(pathlib.Path(path).read_bytes()))
    assert doc.to_dict() == from_bytes.to_dict() and repr(doc) == repr(from_bytes)
    assert np.array_equal(doc.levels, from_bytes.levels, equal_nan=True)
    held = sum(len(g.samples) for g in doc.data_pts.groups)
    assert doc.levels.shape == (held,) and doc.distances.dtype == np.float64
    assert len(doc.distances) in (0, held) and (len(doc.distances) > 0 or doc.points_note)
    assert doc.version == (2 if "sor-v2" in path else 1)

    plain = tarnvik.convert_to_v1(doc)
    assert plain.refused == bool(plain.issues) == (plain.bytes == b"")
    if plain.refused:
        with pytest.raises(tarnvik.Error) as caught:
            plain.save(tmp_path / "refused.sor")
        assert (caught.value.number, caught.value.source) == (5, "Conversion:Save()")
        assert not (tmp_path / "refused.sor").exists()
    fitted = tarnvik.convert_to_v1(path, fit=True)
    assert not fitted.refused and [i.kind for i in fitted.issues] == [i.kind for i in plain.issues]
    assert all(i.refusal and i.change for i in fitted.issues)
    assert bool(fitted.dropped) == (doc.version == 2)
    again = tarnvik.read_sor_document(fitted.bytes)
    assert (again.version, again.checksum.status) == (1, "ok")
    target = tmp_path / "v1.sor"
    fitted.save(target)
    assert target.read_bytes() == fitted.bytes
    tarnvik.Conversion.prove_loads(target)
    assert tarnvik.CFileOperations().read_trace(str(target)).samples == len(again.levels)


REFUSALS = [
    ("not SR-4731", lambda tmp: b"This is a text file, not a trace.\n", 10513),
    ("map cut short", lambda tmp: SAMPLE_BYTES[:50], 62),
    ("empty file", lambda tmp: b"", 62),
    ("map entries past its size", lambda tmp: SAMPLE_BYTES[:2] + (9).to_bytes(4, "little") + SAMPLE_BYTES[6:], 10512),
    ("missing file", lambda tmp: str(tmp / "no-such.sor"), 53),
    ("folder", lambda tmp: tmp, 75),
    ("no name", lambda tmp: "", 52),
]


@pytest.mark.parametrize("name, source, number", REFUSALS, ids=[r[0] for r in REFUSALS])
def test_refusals_are_the_library_errors(tmp_path, name, source, number):
    for call in (tarnvik.read_sor_document, tarnvik.convert_to_v1):
        with pytest.raises(tarnvik.Error) as caught:
            call(source(tmp_path))
        assert (caught.value.number, caught.value.source) == (number, "SorDocument:ReadSorDocument()")
        assert caught.value.description


def test_a_refused_conversion_names_the_value_and_fit_changes_it():
    flag = SAMPLE_BYTES.index(b"BC")
    doc = tarnvik.read_sor_document(SAMPLE_BYTES[:flag] + b"CC" + SAMPLE_BYTES[flag + 2:])
    assert doc.gen_params.current_data_flag == "CC" and doc.checksum.status == "mismatch"
    refused, fitted = tarnvik.convert_to_v1(doc), tarnvik.convert_to_v1(doc, fit=True)
    assert [i.kind for i in refused.issues] == ["data-flag"] and refused.refused
    assert "CC" in refused.issues[0].refusal and repr(refused).startswith("<tarnvik.Conversion refused, 1 issue")
    assert tarnvik.read_sor_document(fitted.bytes).gen_params.current_data_flag == "OT"
    with pytest.raises(TypeError):
        tarnvik.read_sor_document(4731)


def survives(data):
    try:
        doc = tarnvik.read_sor_document(data)
    except tarnvik.Error as e:
        assert e.number in (62, 10512, 10513), e
        return False
    doc.to_dict(), repr(doc), doc.offsets(), doc.distances
    assert len(doc.levels) == sum(len(g.samples) for g in (doc.data_pts.groups if doc.data_pts else []))
    try:
        tarnvik.convert_to_v1(doc, fit=True)
    except tarnvik.Error:
        pass
    return True


def test_damaged_files_give_a_document_or_an_error():
    cut = [survives(SAMPLE_BYTES[:n]) for n in range(0, len(SAMPLE_BYTES), 23)]
    assert not cut[0] and all(cut[5:])
    rng = random.Random(4731)
    flipped = 0
    for _ in range(300):
        data = bytearray(SAMPLE_BYTES)
        for _ in range(rng.randint(1, 8)):
            position = rng.randrange(400) if rng.random() < 0.7 else rng.randrange(len(data))
            data[position] = rng.randrange(256)
        flipped += survives(bytes(data))
    assert flipped > 100
