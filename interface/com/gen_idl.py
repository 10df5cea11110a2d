"""Writes the type library's IDL from the published surface.

    python3 gen_idl.py OUT.idl SURFACE_FILE...
"""

from __future__ import annotations

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
import com_model as cm  # noqa: E402
from com_model import sf  # noqa: E402


def _default(s: sf.Surface, p: sf.Param) -> str:
    value = p.default.strip()
    if p.type.name == "Boolean":
        return {"True": "-1", "False": "0"}.get(value, value)
    if p.type.name in s.enums:
        for e in s.enums.values():
            for name, number in e.values:
                if name == value:
                    return str(number)
    return value


def _param(s: sf.Surface, p: sf.Param) -> str:
    if cm.by_reference(p):
        # Scripts pass every out-argument as a reference to a VARIANT.
        return f"[in, out] VARIANT* {p.name}"
    attrs = ["in"]
    idl = cm.idl_type(s, p.type)
    if p.optional:
        attrs.append("optional")
        if p.default is not None:
            attrs.append(f"defaultvalue({_default(s, p)})")
        else:
            idl = "VARIANT"  # an optional argument without a default is a VARIANT that may be missing
    return f"[{', '.join(attrs)}] {idl} {p.name}"


def _methods(s: sf.Surface, cls: sf.Class) -> list[str]:
    ids = cm.dispids(cls)
    lines = []
    for m in cls.published():
        if m.kind == "event":
            continue
        dispid = ids[m.name]
        params = [_param(s, p) for p in m.params]
        if m.kind in ("get", "prop"):
            ret = f"[out, retval] {cm.idl_type(s, m.type)}* pValue"
            lines.append(f"    [id({dispid}), propget] HRESULT {m.name}({', '.join(params + [ret])});")
        if m.kind in ("prop", "put"):
            put = "propputref" if m.type.name in s.classes else "propput"
            value = f"[in] {cm.idl_type(s, m.type)} {'oValue' if put == 'propputref' else 'value'}"
            lines.append(f"    [id({dispid}), {put}] HRESULT {m.name}({', '.join(params + [value])});")
        if m.kind == "method":
            if m.type:
                params.append(f"[out, retval] {cm.idl_type(s, m.type)}* pResult")
            lines.append(f"    [id({dispid})] HRESULT {m.name}({', '.join(params)});")
    if "collection" in cls.flags:
        lines.append(f"    [id({cm.DISPID_NEWENUM}), propget, restricted, hidden] HRESULT _NewEnum("
                     f"[out, retval] IUnknown** ppEnum);")
    return lines


def generate(s: sf.Surface) -> str:
    out = [
        "// Generated from the published surface by gen_idl.py: do not edit.",
        'import "oaidl.idl";',
        'import "ocidl.idl";',
        "",
        f"[uuid({cm.guid('library', s.library)}), version(1.0), helpstring(\"{s.library} OTDR trace library\")]",
        f"library {s.library}",
        "{",
        '  importlib("stdole2.tlb");',
        "",
    ]
    for cls in s.classes.values():
        out.append(f"  interface {cm.interface_name(cls)};")
    out.append("")
    for e in s.enums.values():
        out.append(f"  typedef [uuid({cm.guid('enum', e.name)})] enum {e.name} {{")
        out.append(",\n".join(f"    {name} = {value}" for name, value in e.values))
        out.append(f"  }} {e.name};")
        out.append("")
    for cls in s.classes.values():
        out.append(f"  [uuid({cm.guid('interface', cls.name)}), dual, oleautomation, nonextensible, "
                   f"helpstring(\"{cls.name}\")]")
        out.append(f"  interface {cm.interface_name(cls)} : IDispatch")
        out.append("  {")
        out.extend(_methods(s, cls))
        out.append("  };")
        out.append("")
        if cls.events():
            out.append(f"  [uuid({cm.guid('events', cls.name)}), helpstring(\"Events of {cls.name}\")]")
            out.append(f"  dispinterface {cm.events_name(cls)}")
            out.append("  {")
            out.append("  properties:")
            out.append("  methods:")
            ids = cm.event_dispids(cls)
            for m in cls.events():
                params = ", ".join(f"[in] {cm.idl_type(s, p.type)} {p.name}" if not cm.by_reference(p)
                                   else f"[in, out] VARIANT* {p.name}" for p in m.params)
                out.append(f"    [id({ids[m.name]})] void {m.name}({params});")
            out.append("  };")
            out.append("")
        attrs = [f"uuid({cm.guid('class', cls.name)})"]
        if "global" in cls.flags:
            attrs.append("appobject")
        if "creatable" not in cls.flags and "global" not in cls.flags:
            attrs.append("noncreatable")
        out.append(f"  [{', '.join(attrs)}]")
        out.append(f"  coclass {cls.name}")
        out.append("  {")
        out.append(f"    [default] interface {cm.interface_name(cls)};")
        if cls.events():
            out.append(f"    [default, source] dispinterface {cm.events_name(cls)};")
        out.append("  };")
        out.append("")
    out.append("};")
    return "\n".join(out) + "\n"


def main() -> None:
    s = sf.load_or_exit(sys.argv[2:])
    sf.write_if_changed(sys.argv[1], generate(s))


if __name__ == "__main__":
    main()
