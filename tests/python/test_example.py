"""examples/sor_plot.py on a folder holding the sample and a file that is not SR-4731: the
events it prints against the trace model's reading of the same file, the refused file's
number, the exit code, and the PNG when matplotlib is there."""

import importlib.util
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

import tarnvik

REPO = Path(__file__).resolve().parents[2]
SAMPLE = os.environ.get("TARNVIK_SAMPLE", str(REPO / "examples/sample.sor"))


def test_sor_plot_prints_each_file_and_goes_on_past_a_refused_one(tmp_path):
    shutil.copy(SAMPLE, tmp_path / "sample.sor")
    (tmp_path / "garbage.sor").write_bytes(b"not an OTDR trace at all")
    run = subprocess.run([sys.executable, str(REPO / "examples/sor_plot.py"), str(tmp_path), "--out",
                          str(tmp_path / "png")], capture_output=True, text=True)
    assert run.returncode == 1, run.stderr
    assert re.search(r"^garbage\.sor: error 10513: \S", run.stdout, re.M)

    # Each row against the trace model, which reads the file through another path.
    trace = tarnvik.CFileOperations().read_trace(SAMPLE)
    metres = tarnvik.read_sor_document(SAMPLE).metres_per_unit
    rows = [line.split() for line in run.stdout.splitlines() if re.match(r"\s+\d+\s+[-\d]", line)]
    assert len(rows) == len(trace.events) > 0
    for row, event in zip(rows, trace.events):
        assert int(row[0]) == event.number
        assert float(row[1]) * metres == pytest.approx(
            trace.qrd_to_display_dist(event.location_qrd, tarnvik.DU_Meters), abs=0.5)
        assert float(row[2]) == pytest.approx(event.loss, abs=5e-4)
        if event.e_type != tarnvik.EVTYPE_NonReflective:  # the trace model's 2 dB there means none
            assert float(row[3]) == pytest.approx(event.reflectance, abs=5e-4)

    png = tmp_path / "png/sample.png"
    if importlib.util.find_spec("matplotlib"):
        assert png.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
        assert not (tmp_path / "png/garbage.png").exists()
    else:
        assert "matplotlib is not installed" in run.stdout and not png.exists()
