"""How the published surface maps onto COM automation: interface and event names, stable
GUIDs, dispatch ids and IDL types. Shared by the IDL writer and the C++ glue writer, so
the two can never disagree."""

from __future__ import annotations

import sys
import uuid
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "surface"))
import surface as sf  # noqa: E402

# Every GUID of the type library derives from this one and a name, so that it stays the
# same from build to build without a list of GUIDs to keep.
_NAMESPACE = uuid.UUID("6f1d3c52-8a47-4e0b-9c21-7d5e0b3a9f64")

DISPID_VALUE = 0
DISPID_NEWENUM = -4

IDL_SCALARS = {
    "Integer": "short",
    "Long": "long",
    "Single": "float",
    "Double": "double",
    "Boolean": "VARIANT_BOOL",
    "String": "BSTR",
    "Date": "DATE",
    "Variant": "VARIANT",
    # Scripts hold arrays and lists only in VARIANTs: these cross as VARIANTs and the
    # glue converts them.
    "Bytes": "VARIANT",
    "Strings": "VARIANT",
    "IndexKey": "VARIANT",
}


def guid(kind: str, name: str) -> str:
    return str(uuid.uuid5(_NAMESPACE, f"{kind}.{name}")).upper()


def interface_name(cls: sf.Class) -> str:
    return "_" + cls.name


def events_name(cls: sf.Class) -> str:
    return "__" + cls.name


def idl_type(s: sf.Surface, t: sf.Type) -> str:
    if t.name in s.classes:
        return f"{interface_name(s.classes[t.name])}*"
    if t.name in s.enums:
        return t.name
    return IDL_SCALARS[t.name]


def by_reference(p: sf.Param) -> bool:
    return p.direction != "in"


def dispids(cls: sf.Class) -> dict[str, int]:
    """One id per published name: the default member 0, the others from 1 in order."""
    ids: dict[str, int] = {}
    next_id = 1
    for m in cls.published():
        if m.kind == "event":
            continue
        if m.is_default:
            ids[m.name] = DISPID_VALUE
        else:
            ids[m.name] = next_id
            next_id += 1
    return ids


def event_dispids(cls: sf.Class) -> dict[str, int]:
    return {m.name: i for i, m in enumerate(cls.events(), 1)}
