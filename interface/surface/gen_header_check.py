"""Writes a C++ file that compiles only if the C++ headers match the published surface:
every property, method and event exists with the published types, every creatable class
can be created, every enumeration member has its published value. Nothing in it runs.

    python3 gen_header_check.py out.cpp SURFACE_FILE...
"""

from __future__ import annotations

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
import surface as sf  # noqa: E402


def _arg_sets(s: sf.Surface, params: list[sf.Param]) -> list[list[str]]:
    """The C++ argument types to try a call with: one list, or two per IndexKey."""
    sets: list[list[str]] = [[]]
    for p in params:
        if p.type.name == "IndexKey" and not p.type.cpp:
            sets = [a + [t] for a in sets for t in ("int32_t", "std::string")]
        else:
            sets = [a + [s.cpp_type(p.type)] for a in sets]
    return sets


def _call(obj: str, name: str, types: list[str]) -> tuple[str, str]:
    decls = " ".join(f"{t} a{i}{{}};" for i, t in enumerate(types))
    args = ", ".join(f"a{i}" for i in range(len(types)))
    return decls, f"{obj}.{name}({args})"


def _member_checks(s: sf.Surface, cls: sf.Class, m: sf.Member) -> list[str]:
    where = f"{cls.name}.{m.name} ({cls.origin}:{m.line})"
    out: list[str] = []
    if m.kind == "internal":
        return out
    if m.kind == "event":
        field = m.name if m.name.startswith("On") else "On" + m.name
        for types in _arg_sets(s, m.params):
            decls, call = _call(f"o.{field}", "Raise", types)
            out.append(f"  {{ {decls} static_assert(std::is_void_v<decltype({call})>, \"{where}: event\"); }}")
        return out
    value = s.cpp_type(m.type) if m.type else None
    for types in _arg_sets(s, m.params):
        if m.kind in ("get", "prop"):
            decls, call = _call("o", m.cpp_name, types)
            out.append(f"  {{ {decls} static_assert(Same<{value}, decltype({call})>, \"{where}: read type\"); }}")
        if m.kind in ("prop", "put"):
            decls, call = _call("o", "Set" + m.cpp_name, types + [value])
            out.append(f"  {{ {decls} static_assert(std::is_void_v<decltype({call})>, \"{where}: write\"); }}")
        if m.kind == "method":
            decls, call = _call("o", m.cpp_name, types)
            want = f"Same<{value}, decltype({call})>" if value else f"std::is_void_v<decltype({call})>"
            out.append(f"  {{ {decls} static_assert({want}, \"{where}: call or result type\"); }}")
    return out


def generate(s: sf.Surface) -> str:
    lines = [
        "// Generated from the published surface by gen_header_check.py: do not edit.",
        "#include <memory>",
        "#include <string>",
        "#include <type_traits>",
        "#include <vector>",
        "",
        '#include "tarnvik/tarnvik.h"',
        "",
        "namespace tarnvik::surface_check {",
        "",
        "template <class Want, class Got>",
        "constexpr bool Same = std::is_same_v<std::remove_cvref_t<Got>, Want>;",
        "",
    ]
    for e in s.enums.values():
        for name, value in e.values:
            lines.append(f"static_assert({name} == {value} && std::is_same_v<decltype({name}), {e.name}>, "
                         f"\"{e.name}.{name} ({e.origin}:{e.line})\");")
    lines.append("")
    for cls in s.classes.values():
        if "creatable" in cls.flags or "global" in cls.flags:
            lines.append(f"static_assert(std::is_default_constructible_v<{cls.name}>, \"{cls.name} is created by "
                         f"clients\");")
        lines.append(f"[[maybe_unused]] void Check{cls.name}({cls.name}& o) {{")
        for m in cls.members:
            lines.extend(_member_checks(s, cls, m))
        lines.append("}")
        lines.append("")
    lines.append("}  // namespace tarnvik::surface_check")
    return "\n".join(lines) + "\n"


def main() -> None:
    s = sf.load_or_exit(sys.argv[2:])
    sf.write_if_changed(sys.argv[1], generate(s))


if __name__ == "__main__":
    main()
