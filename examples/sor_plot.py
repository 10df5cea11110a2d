"""Every SR-4731 file of a folder: a table of its key events and a plot of its trace.

    PYTHONPATH=build/release/python /usr/bin/python3 examples/sor_plot.py FOLDER [--out DIR]

For each *.sor file (version 1 or 2) the script prints the key events: number, distance
in the file's own unit (one way from the first sample, from the event's travel time, as
`tarnvik plot` places it), splice loss and reflectance in dB, code and comment. With
matplotlib it also writes NAME.png into DIR (the folder itself by default): the levels
against distance with the events as numbered vertical lines. A file the reader refuses is
reported with the library's error number and the script goes on; it exits with 1 when any
file was refused, 0 otherwise.
"""

import argparse
import math
import sys
from pathlib import Path

import tarnvik

try:
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
except ImportError:
    plt = None

def event_distances(doc):
    """Each key event with its distance in doc.distance_unit (None without a group index)."""
    events = doc.key_events.events if doc.key_events else []
    return [(e, None if math.isnan(d) else d) for e, d in zip(events, doc.event_distances)]


def print_events(name, doc, rows):
    print(f"{name}: version {doc.version}, {len(doc.levels)} samples, {len(rows)} key events")
    if not rows:
        return
    print(f"  {'#':>3} {'Distance (' + doc.distance_unit + ')':>15} {'Loss dB':>8} {'Refl dB':>8}  Code    Comment")
    for e, dist in rows:
        shown = "-" if dist is None else f"{dist:.4f}"
        print(f"  {e.number:>3} {shown:>15} {e.splice_loss / 1000:8.3f} {e.reflectance / 1000:8.3f}"
              f"  {e.code:<7} {e.comment}")


def plot(path, name, doc, rows):
    fig, ax = plt.subplots(figsize=(10, 5))
    by_distance = len(doc.distances) == len(doc.levels) > 0
    ax.plot(doc.distances if by_distance else range(len(doc.levels)), doc.levels, linewidth=0.8)
    if by_distance:
        for e, dist in rows:
            if dist is not None:
                ax.axvline(dist, color="tab:red", linestyle=":", linewidth=0.8)
                ax.annotate(str(e.number), (dist, 1), xycoords=("data", "axes fraction"), ha="center",
                            va="bottom", color="tab:red")
    ax.set_xlabel(f"Distance ({doc.distance_unit})" if by_distance else "Sample")
    ax.set_ylabel("Level (dB)")
    ax.set_title(name, pad=18)
    ax.grid(alpha=0.3)
    fig.savefig(path, dpi=100)
    plt.close(fig)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("--out", type=Path, help="where the PNGs go (default: FOLDER)")
    args = parser.parse_args()
    if not args.folder.is_dir():
        parser.error(f"{args.folder} is not a folder")
    out = args.out or args.folder
    if plt is None:
        print("matplotlib is not installed: no PNGs are written")
    else:
        out.mkdir(parents=True, exist_ok=True)

    refused = 0
    for path in sorted(p for p in args.folder.iterdir() if p.suffix.lower() == ".sor"):
        try:
            doc = tarnvik.read_sor_document(path)
        except tarnvik.Error as e:
            print(f"{path.name}: error {e.number}: {e.description}")
            refused += 1
            continue
        rows = event_distances(doc)
        print_events(path.name, doc, rows)
        if plt is not None:
            plot(out / (path.stem + ".png"), path.name, doc, rows)
    return 1 if refused else 0


if __name__ == "__main__":
    sys.exit(main())
