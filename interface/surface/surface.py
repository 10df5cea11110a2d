"""The published surface of the library: which classes, members, arguments and
enumerations clients see, read from Tarnvik.surface. Every interface layer (the COM
server, the language bindings) and the header check are generated from this one model.

The file is line-based; '#' starts a comment. Members are indented under their class.

    enum EnumEventTypes
      EVTYPE_Undefined = 1
    class CTrace creatable events
      get   Samples: Long                      read-only property
      prop  FiberNumber: Long                  read and write (Let, or Set for objects)
      put   Key: String                        write-only property
      prop  CursorQRD(eCursor: EnumCursors): Single    indexed property
      method AddEvent(lStartQRD: Long, optional sComment: String = ""): Integer
      method LeastSquares(oTrace: CTrace, out dSlope: Double): Integer
      event IsDirty(bDirty: Boolean)
      internal SetDataPoints                   a public C++ member that is not published

Class flags: creatable (clients may create it), global (an application object: its
methods are called without creating it), collection (Item is the default member and the
class is enumerable with For Each), noncreatable is the default.

Types: Integer (16-bit), Long (32-bit), Single, Double, Boolean, String, Date, Variant,
Bytes (a byte array), Strings (a collection of texts), IndexKey (a 1-based position or a
text key), a class name, an enumeration name. "Integer~int32_t" publishes an Integer that
the C++ member takes or gives as int32_t (checked on the way in).

Member options after the type, as name=value: cpp=Name (the C++ member's name when it
differs), default (the class's default member).
"""

from __future__ import annotations

import dataclasses
import re
import sys
from pathlib import Path

SCALARS = {
    "Integer": "int16_t",
    "Long": "int32_t",
    "Single": "float",
    "Double": "double",
    "Boolean": "bool",
    "String": "std::string",
    "Date": "Date",
    "Variant": "Variant",
    "Bytes": "ByteArray",
    "Strings": "std::vector<std::string>",
    "IndexKey": None,  # two C++ overloads: int32_t and std::string
}


@dataclasses.dataclass
class Type:
    name: str            # the published name: a scalar, a class or an enumeration
    cpp: str | None      # the C++ type when it differs from the published one

    def is_object(self, surface: "Surface") -> bool:
        return self.name in surface.classes


@dataclasses.dataclass
class Param:
    name: str
    type: Type
    direction: str = "in"   # in, out, inout
    optional: bool = False
    default: str | None = None


@dataclasses.dataclass
class Member:
    kind: str               # get, prop, put, method, event, internal
    name: str
    params: list[Param]
    type: Type | None       # the property's or result's type; None for a Sub
    options: dict[str, str]
    line: int

    @property
    def cpp_name(self) -> str:
        return self.options.get("cpp", self.name)

    @property
    def is_default(self) -> bool:
        return "default" in self.options


@dataclasses.dataclass
class Class:
    name: str
    flags: set[str]
    members: list[Member]
    line: int
    origin: str = ""

    def published(self) -> list[Member]:
        return [m for m in self.members if m.kind != "internal"]

    def events(self) -> list[Member]:
        return [m for m in self.members if m.kind == "event"]


@dataclasses.dataclass
class Enum:
    name: str
    values: list[tuple[str, int]]
    line: int
    origin: str = ""


@dataclasses.dataclass
class Surface:
    library: str
    classes: dict[str, Class]
    enums: dict[str, Enum]

    def cpp_type(self, t: Type) -> str:
        if t.cpp:
            return t.cpp
        if t.name in self.classes:
            return f"std::shared_ptr<{t.name}>"
        if t.name in self.enums:
            return t.name
        cpp = SCALARS[t.name]
        if cpp is None:
            raise ValueError(f"{t.name} has no single C++ type")
        return cpp


class SurfaceError(Exception):
    pass


_IDENT = r"[A-Za-z_][A-Za-z0-9_]*"
_HEAD = re.compile(rf"^(?P<kind>get|prop|put|method|event|internal)\s+(?P<name>{_IDENT})")
_TAIL = re.compile(
    r"^(?:\s*:\s*(?P<type>[A-Za-z_][A-Za-z0-9_:<>~]*))?"
    r"(?P<options>(?:\s+[A-Za-z]+(?:=[A-Za-z0-9_]+)?)*)\s*$")
_PARAM = re.compile(
    rf"^(?:(?P<dir>out|inout)\s+)?(?P<opt>optional\s+)?(?P<name>{_IDENT})\s*:\s*"
    r"(?P<type>[A-Za-z_][A-Za-z0-9_:<>~]*)(?:\s*=\s*(?P<default>.+))?$")


def _type(text: str) -> Type:
    name, _, cpp = text.partition("~")
    return Type(name, cpp or None)


def _split_params(text: str) -> list[str]:
    """Splits at top-level commas; commas inside quotes or brackets stay."""
    parts, depth, quoted, current = [], 0, False, ""
    for ch in text:
        if ch == '"':
            quoted = not quoted
        elif not quoted and ch == "," and depth == 0:
            parts.append(current)
            current = ""
            continue
        elif not quoted:
            depth += ch in "<("
            depth -= ch in ">)"
        current += ch
    if current.strip():
        parts.append(current)
    return [p.strip() for p in parts]


def _parenthesised(text: str) -> tuple[str | None, str]:
    """The text inside a leading (...) that may hold quoted parentheses, and the rest."""
    if not text.startswith("("):
        return None, text
    depth, quoted = 0, False
    for i, ch in enumerate(text):
        if ch == '"':
            quoted = not quoted
        elif not quoted:
            depth += ch == "("
            depth -= ch == ")"
            if depth == 0:
                return text[1:i], text[i + 1:]
    return None, text


def parse(text: str, origin: str = "<surface>", validate: bool = True) -> Surface:
    library = "Tarnvik"
    classes: dict[str, Class] = {}
    enums: dict[str, Enum] = {}
    current: Class | Enum | None = None

    def fail(line_no: int, message: str) -> None:
        raise SurfaceError(f"{origin}:{line_no}: {message}")

    for line_no, raw in enumerate(text.splitlines(), 1):
        line = raw.split("#", 1)[0].rstrip()
        if not line.strip():
            continue
        indented = line[0] in " \t"
        words = line.split()
        if not indented:
            if words[0] == "library" and len(words) == 2:
                library = words[1]
                current = None
            elif words[0] == "class" and len(words) >= 2:
                flags = set(words[2:])
                unknown = flags - {"creatable", "global", "collection"}
                if unknown:
                    fail(line_no, f"unknown class flag {sorted(unknown)}")
                if words[1] in classes or words[1] in enums:
                    fail(line_no, f"{words[1]} is described twice")
                current = classes[words[1]] = Class(words[1], flags, [], line_no, Path(origin).name)
            elif words[0] == "enum" and len(words) == 2:
                if words[1] in classes or words[1] in enums:
                    fail(line_no, f"{words[1]} is described twice")
                current = enums[words[1]] = Enum(words[1], [], line_no, Path(origin).name)
            else:
                fail(line_no, f"expected 'class', 'enum' or 'library', found {line.strip()!r}")
            continue
        if current is None:
            fail(line_no, "a member outside a class or enumeration")
        if isinstance(current, Enum):
            m = re.match(rf"^\s*({_IDENT})\s*=\s*(-?\d+)\s*$", line)
            if not m:
                fail(line_no, f"expected 'NAME = number' in enum {current.name}")
            current.values.append((m.group(1), int(m.group(2))))
            continue
        head = _HEAD.match(line.strip())
        inside, rest = _parenthesised(line.strip()[head.end():]) if head else (None, "")
        m = _TAIL.match(rest) if head else None
        if not head or not m:
            fail(line_no, f"cannot read member {line.strip()!r}")
        params = []
        for p in _split_params(inside or ""):
            pm = _PARAM.match(p)
            if not pm:
                fail(line_no, f"cannot read parameter {p!r}")
            params.append(Param(pm.group("name"), _type(pm.group("type")), pm.group("dir") or "in",
                                bool(pm.group("opt")), pm.group("default")))
        options = {}
        for opt in (m.group("options") or "").split():
            key, _, value = opt.partition("=")
            if key not in ("cpp", "default"):
                fail(line_no, f"unknown member option {key!r}")
            options[key] = value
        kind = head.group("kind")
        mtype = _type(m.group("type")) if m.group("type") else None
        if kind in ("get", "prop", "put") and mtype is None:
            fail(line_no, f"property {head.group('name')} needs a type")
        if kind in ("event", "internal") and mtype is not None:
            fail(line_no, f"{kind} {head.group('name')} has no type")
        current.members.append(Member(kind, head.group("name"), params, mtype, options, line_no))

    surface = Surface(library, classes, enums)
    if validate:
        _validate(surface, origin)
    return surface


def _validate(surface: Surface, origin: str) -> None:
    known = set(SCALARS) | set(surface.classes) | set(surface.enums)
    for cls in surface.classes.values():
        names: dict[str, Member] = {}
        events: dict[str, Member] = {}
        for m in cls.members:
            where = f"{cls.origin}:{m.line}: {cls.name}.{m.name}"
            types = [p.type for p in m.params] + ([m.type] if m.type else [])
            for t in types:
                if t.name not in known:
                    raise SurfaceError(f"{where}: unknown type {t.name}")
            seen_optional = False
            for p in m.params:
                if p.optional:
                    seen_optional = True
                elif seen_optional:
                    raise SurfaceError(f"{where}: {p.name} follows an optional parameter")
            if m.kind != "internal":
                # Events live on the class's outgoing interface: an event may share a
                # property's name (CSORFile's OrvikBlock is both).
                space = names if m.kind != "event" else events
                if m.name in space:
                    raise SurfaceError(f"{where}: described twice")
                space[m.name] = m
        if "collection" in cls.flags:
            item = names.get("Item")
            if item is None or not item.is_default:
                raise SurfaceError(f"{cls.origin}:{cls.line}: collection {cls.name} needs a default Item")
        defaults = [m for m in cls.members if m.is_default]
        if len(defaults) > 1:
            raise SurfaceError(f"{cls.origin}:{cls.line}: {cls.name} has more than one default member")


def load(*paths: str | Path) -> Surface:
    """One surface from several files (one per subsystem); a name described in two
    files is an error."""
    parts = [parse(Path(p).read_text(encoding="utf-8"), str(p), validate=False) for p in paths]
    surface = Surface(parts[0].library if parts else "Tarnvik", {}, {})
    for part in parts:
        for name in list(part.classes) + list(part.enums):
            if name in surface.classes or name in surface.enums:
                raise SurfaceError(f"{name} is described in two files")
        surface.classes.update(part.classes)
        surface.enums.update(part.enums)
    _validate(surface, "surface")
    return surface


def load_or_exit(paths: list[str]) -> Surface:
    """For the generators' command lines: the surface, or exit with the error."""
    try:
        return load(*paths)
    except SurfaceError as e:
        sys.exit(f"surface: {e}")


def write_if_changed(path: str | Path, text: str) -> None:
    """Writes a generated file only when its text changes, so that an unchanged
    description rebuilds nothing."""
    path = Path(path)
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    try:
        s = load(*sys.argv[1:])
    except SurfaceError as e:
        sys.exit(f"surface: {e}")
    members = sum(len(c.published()) for c in s.classes.values())
    print(f"{s.library}: {len(s.classes)} classes, {members} members, {len(s.enums)} enumerations")
