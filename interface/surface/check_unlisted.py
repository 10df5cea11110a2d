"""Fails when a published class has a public C++ member that the surface neither publishes
nor lists as internal: a member added to a class must be published or kept internal on
purpose.

    python3 check_unlisted.py REPOSITORY SURFACE_FILE...
"""

from __future__ import annotations

import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
import surface as sf  # noqa: E402

_CALL = re.compile(r"\b([A-Za-z_]\w*)\s*\(")
_EVENT = re.compile(r"\bEvent<.*>\s+([A-Za-z_]\w*)\s*;")
_NOT_NAMES = {"const", "noexcept", "decltype", "static_assert", "return", "if", "for", "while", "sizeof",
              "operator", "explicit", "override", "delete", "default", "std", "static_cast"}


def public_members(header: str, class_name: str) -> set[str]:
    """Names of the public member functions and events of class_name in header."""
    text = re.sub(r"//[^\n]*", "", header)
    start = re.search(rf"\bclass\s+{class_name}\b[^;{{]*\{{", text)
    if not start:
        return set()
    names: set[str] = set()
    depth, access = 1, "private"
    for line in text[start.end():].splitlines():
        stripped = line.strip()
        if depth == 1:
            m = re.match(r"^(public|private|protected)\s*:", stripped)
            if m:
                access = m.group(1)
                stripped = stripped[m.end():].strip()
            if access == "public" and stripped:
                event = _EVENT.search(stripped)
                if event:
                    names.add(event.group(1))
                else:
                    for m in _CALL.finditer(stripped):
                        if m.group(1) not in _NOT_NAMES:
                            names.add(m.group(1))
                            break
        depth += line.count("{") - line.count("}")
        if depth <= 0:
            break
    return names


def expected_names(cls: sf.Class) -> set[str]:
    names = {cls.name, "begin", "end"} if "collection" in cls.flags else {cls.name}
    for m in cls.members:
        names.add(m.cpp_name)
        if m.kind in ("prop", "put"):
            names.add("Set" + m.cpp_name)
        if m.kind == "event":
            names.add(m.name if m.name.startswith("On") else "On" + m.name)
    return names


def main() -> int:
    repo = Path(sys.argv[1])
    try:
        s = sf.load(*sys.argv[2:])
    except sf.SurfaceError as e:
        print(f"surface: {e}")
        return 1
    problems = []
    for cls in s.classes.values():
        headers = list(repo.glob(f"tarnvik/*/{cls.name}.h"))
        if not headers:
            problems.append(f"{cls.name}: no header tarnvik/*/{cls.name}.h")
            continue
        found = public_members(headers[0].read_text(encoding="utf-8"), cls.name)
        for name in sorted(found - expected_names(cls)):
            problems.append(f"{cls.name}.{name}: public in {headers[0].relative_to(repo)}, neither published "
                            f"nor listed as internal")
    for p in problems:
        print(p)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
