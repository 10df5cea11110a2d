"""The Python module against the C++ library, measured in the same run.

    cmake --build --preset release --target python_bench        # full, about a minute
    cmake --build --preset release --target python_bench_quick  # a few seconds (CI)
or by hand, from the repository:
    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_bench.py [--quick] [--rounds N]

Files: every file of the corpus ($TARNVIK_CORPUS_DIR, else ../shared/corpus beside the
repository; sor-v1 and sor-v2) and the bundled sample; only the sample without the corpus.
Per file: tarnvik.read_sor_document(path) against inspect::ReadSorDocument, and
CFileOperations().read_trace(path) against CFileOperations::ReadTrace on the files the
library loads. Then a folder of 100 copies of those files read in one Python loop against
the same 100 reads in C++.

Each round runs bench/inspect_bench once (Google Benchmark, JSON) and times the same files
from Python, each in a batch of calls lasting about as long as Google Benchmark's minimum
time; the two sides take turns going first. A figure is the median over the rounds; a
ratio is Python / C++ of those medians. The aim is a ratio of at most 1.2. The binding's
own cost per call is shown apart: read_sor_document of a document already read (no file
read, no parsing).
"""

import argparse
import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

REPO = Path(__file__).resolve().parent.parent
try:
    import tarnvik
except ImportError:
    sys.path.insert(0, str(REPO / "build/release/python"))
    import tarnvik


def corpus_files(quick):
    root = Path(os.environ.get("TARNVIK_CORPUS_DIR") or REPO.parent / "shared/corpus")
    files = {"sample.sor": REPO / "examples/sample.sor"}
    for folder in ("sor-v1", "sor-v2"):
        found = sorted(p for p in (root / folder).glob("*") if p.is_file())
        for p in found[:1] if quick else found:
            files[f"{folder}/{p.name}"] = p
    os.environ["TARNVIK_CORPUS_DIR"] = str(root)  # inspect_bench reads the same folder
    return files


def batch(call, seconds):
    """Seconds per call, over as many calls as fill `seconds` (at least one)."""
    start = time.perf_counter()
    call()
    once = time.perf_counter() - start
    number = max(1, int(seconds / max(once, 1e-9)))
    start = time.perf_counter()
    for _ in range(number):
        call()
    return (time.perf_counter() - start) / number


def run_cpp(exe, labels, seconds):
    """Seconds per operation from one run of inspect_bench, by name ("ReadTrace/sample.sor")."""
    names = "|".join(re.sub(r"([^\w/-])", r"[\1]", label) for label in labels)  # POSIX: [.] for a dot
    out = subprocess.run([exe, f"--benchmark_filter=^(ReadSorDocument|ReadTrace)/({names})(/manual_time)?$",
                          f"--benchmark_min_time={seconds}", "--benchmark_format=json"],
                         check=True, capture_output=True, text=True).stdout
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    return {b["name"].removesuffix("/manual_time"): b["real_time"] * scale[b["time_unit"]]
            for b in json.loads(out)["benchmarks"]}


def run_python(files, folder_files, loads, seconds):
    ops = tarnvik.CFileOperations()
    times = {}
    for label, path in files.items():
        p = str(path)
        times["ReadSorDocument/" + label] = batch(lambda: tarnvik.read_sor_document(p), seconds)
        if "ReadTrace/" + label in loads:
            times["ReadTrace/" + label] = batch(lambda: ops.read_trace(p), seconds)

    def read_folder():
        for p in folder_files:
            tarnvik.read_sor_document(p)
    times["ReadSorDocument/folder"] = batch(read_folder, seconds)
    doc = tarnvik.read_sor_document(str(files["sample.sor"]))
    times["binding"] = batch(lambda: tarnvik.read_sor_document(doc), seconds)
    return times


def report(title, names, cpp, py):
    print(f"\n{title}")
    print(f"  {'file':<58} {'C++ us':>9} {'Python us':>10} {'ratio':>6}")
    ratios = []
    for name in names:
        c, p = statistics.median(cpp[name]), statistics.median(py[name])
        ratios.append((p / c, name))
        print(f"  {name.split('/', 1)[1]:<58} {c * 1e6:9.1f} {p * 1e6:10.1f} {p / c:6.2f}")
    worst = max(ratios)
    print(f"  median ratio {statistics.median(r for r, _ in ratios):.2f}, worst {worst[0]:.2f} "
          f"({worst[1].split('/', 1)[1]})")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--quick", action="store_true", help="the sample and one file of each corpus folder, "
                        "one short round: a smoke run of a few seconds")
    parser.add_argument("--rounds", type=int, help="rounds (default 5, 1 with --quick)")
    parser.add_argument("--bench-exe", default=str(REPO / "build/release/bench/inspect_bench"))
    args = parser.parse_args()
    rounds = args.rounds or (1 if args.quick else 9)
    seconds = 0.01 if args.quick else 0.05

    files = corpus_files(args.quick)
    with tempfile.TemporaryDirectory(prefix="tarnvik-py-bench-") as tmp:
        sources = list(files.values())
        folder_files = []
        for i in range(100):
            src = sources[i % len(sources)]
            folder_files.append(str(Path(tmp) / f"{i:03d}-{src.name}"))
            shutil.copyfile(src, folder_files[-1])
        os.environ["TARNVIK_BENCH_FOLDER"] = tmp

        cpp, py, loads = {}, {}, {}  # loads: the ReadTrace names of the last C++ run
        for r in range(rounds):
            if r % 2:
                p = run_python(files, folder_files, loads, seconds)
            c = run_cpp(args.bench_exe, list(files) + ["folder"], seconds)
            if r % 2 == 0:
                p = run_python(files, folder_files, c, seconds)
            loads = c
            py.setdefault("binding", []).append(p["binding"])
            for name in c.keys() & p.keys():
                cpp.setdefault(name, []).append(c[name])
                py.setdefault(name, []).append(p[name])

    print(f"tarnvik {tarnvik.__version__}: Python / C++, medians of {rounds} round(s) "
          f"({len(files)} files, batches of {seconds} s)")
    for op in ("ReadSorDocument", "ReadTrace"):
        names = [f"{op}/{label}" for label in files if f"{op}/{label}" in cpp]
        if names:
            report(f"{op} per file", names, cpp, py)
    c, p = statistics.median(cpp["ReadSorDocument/folder"]), statistics.median(py["ReadSorDocument/folder"])
    print(f"\n100 files in one loop (read_sor_document): Python {p * 1e3:.2f} ms ({100 / p:.0f} files/s), "
          f"C++ {c * 1e3:.2f} ms ({100 / c:.0f} files/s), ratio {p / c:.2f}")
    print(f"The binding's own cost per call (read_sor_document of a document already read): "
          f"{statistics.median(py['binding']) * 1e6:.2f} us")


if __name__ == "__main__":
    main()
