"""Writes the C++ classes that serve the type library's interfaces over the library's
classes: one class per published class, each member a short call through the shared
conversion layer (ComGlue.h), plus the table of classes the server registers.

    python3 gen_glue.py OUT.cpp WIDL_HEADER_NAME SURFACE_FILE...
"""

from __future__ import annotations

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
import com_model as cm  # noqa: E402
from com_model import sf  # noqa: E402

# The C++ types widl gives the IDL types in its header.
VTABLE_SCALARS = {name: "LONG" if idl == "long" else idl for name, idl in cm.IDL_SCALARS.items()}


class Writer:
    def __init__(self, s: sf.Surface):
        self.s = s

    # Types -------------------------------------------------------------------------------
    def wrapper(self, class_name: str) -> str:
        return f"{class_name}Com"

    def vtable_type(self, t: sf.Type) -> str:
        if t.name in self.s.classes:
            return f"::{cm.interface_name(self.s.classes[t.name])}*"
        if t.name in self.s.enums:
            return f"::{t.name}"
        return VTABLE_SCALARS[t.name]

    def cpp_type(self, t: sf.Type) -> str:
        if t.cpp:
            return t.cpp
        if t.name in self.s.classes:
            return f"std::shared_ptr<tarnvik::{t.name}>"
        if t.name in self.s.enums:
            return f"tarnvik::{t.name}"
        return {"String": "std::string", "Date": "tarnvik::Date", "Variant": "tarnvik::Variant",
                "Bytes": "tarnvik::ByteArray", "Strings": "std::vector<std::string>"}.get(
                    t.name, sf.SCALARS[t.name])

    @staticmethod
    def missing_allowed(p: sf.Param) -> bool:
        return p.optional and p.default is None and p.direction == "in"

    def param_decl(self, p: sf.Param) -> str:
        if cm.by_reference(p):
            return f"VARIANT* {p.name}"
        if self.missing_allowed(p):
            return f"VARIANT {p.name}"
        return f"{self.vtable_type(p.type)} {p.name}"

    # Conversions -------------------------------------------------------------------------
    def arg(self, p: sf.Param) -> str:
        """The C++ argument for an incoming value p (by-value parameters)."""
        t, name = p.type, p.name
        if self.missing_allowed(p):
            if t.name in self.s.classes:
                return f"ObjectArgument<tarnvik::{t.name}>({name})"
            return f"FromVariantTo<{self.cpp_type(t)}>({name})"
        if t.name in self.s.classes:
            return f"ObjectArgument<tarnvik::{t.name}>({name})"
        if t.name in self.s.enums:
            return f"static_cast<tarnvik::{t.name}>({name})"
        return {
            "Integer": f"Narrow<{self.cpp_type(t)}>({name})",
            "Long": f"Narrow<{self.cpp_type(t)}>({name})",
            "Single": f"Narrow<{self.cpp_type(t)}>({name})",
            "Double": f"Narrow<{self.cpp_type(t)}>({name})",
            "Boolean": f"({name} != VARIANT_FALSE)",
            "String": f"FromBstr({name})",
            "Date": name,
            "Variant": f"ToVariant({name})",
            "Bytes": f"ToBytes({name})",
            "Strings": f"ToStrings({name})",
        }[t.name]

    def result(self, t: sf.Type, expr: str) -> str:
        """expr (a C++ value) as the vtable's result type."""
        if t.name in self.s.classes:
            return f"Wrap<{self.wrapper(t.name)}>({expr})"
        if t.name in self.s.enums:
            return f"static_cast<::{t.name}>({expr})"
        return {
            "Integer": f"Narrow<short>({expr})",
            "Long": f"Narrow<LONG>({expr})",
            "Single": f"Narrow<float>({expr})",
            "Double": f"Narrow<double>({expr})",
            "Boolean": f"VariantBool({expr})",
            "String": f"ToBstr({expr})",
            "Date": expr,
            "Variant": f"AsVariant({expr})",
            "Bytes": f"AsVariant({expr})",
            "Strings": f"AsVariant({expr})",
        }[t.name]

    # Member bodies -----------------------------------------------------------------------
    def call_body(self, target: str, params: list[sf.Param], extra_args: list[str],
                  assign: str | None, ret: sf.Type | None) -> list[str]:
        """Statements that prepare the arguments, call target, store out-arguments and
        assign the result (assign is the out-pointer's name, or None)."""
        lines: list[str] = []
        before: list[str] = []
        after: list[str] = []
        args: list[str] = []
        index_key: sf.Param | None = None
        maybe_missing: list[sf.Param] = []
        for i, p in enumerate(params):
            if cm.by_reference(p):
                local = f"a{i}"
                cpp = self.cpp_type(p.type)
                init = f"InOutValue<{cpp}>({p.name})" if p.direction == "inout" else "{}"
                before.append(f"{cpp} {local} = {init};" if init != "{}" else f"{cpp} {local}{{}};")
                after.append(f"Store({p.name}, AsVariant({local}));")
                args.append(local)
            elif p.type.name == "IndexKey" and not p.type.cpp:
                index_key = p
                args.append("key")
            elif self.missing_allowed(p):
                maybe_missing.append(p)
                args.append(self.arg(p))
            else:
                args.append(self.arg(p))
        lines.extend(before)

        def invoke(call_args: list[str]) -> str:
            call = f"{target}({', '.join(call_args + extra_args)})"
            if index_key is not None:
                call = f"WithIndexKey({index_key.name}, [&](const auto& key) {{ return {call}; }})"
            if assign is not None and ret is not None:
                return f"*{assign} = {self.result(ret, call)};"
            return f"{call};"

        if maybe_missing:
            first = len(args) - len(maybe_missing)
            for given in range(len(maybe_missing), 0, -1):
                present = " && ".join(f"!IsMissing({p.name})" for p in maybe_missing[:given])
                keyword = "if" if given == len(maybe_missing) else "} else if"
                lines.append(f"{keyword} ({present}) {{")
                lines.append("  " + invoke(args[:first + given]))
            lines.append("} else {")
            lines.append("  " + invoke(args[:first]))
            lines.append("}")
        else:
            lines.append(invoke(args))
        lines.extend(after)
        return lines

    def members(self, cls: sf.Class) -> list[tuple[str, str, list[str]]]:
        """(declaration, procedure name for errors, body lines) for every vtable method."""
        out = []
        for m in cls.published():
            if m.kind == "event":
                continue
            params = [self.param_decl(p) for p in m.params]
            if m.kind in ("get", "prop"):
                decl = f"get_{m.name}({', '.join(params + [f'{self.vtable_type(m.type)}* pValue'])})"
                body = ["CheckOut(pValue);"] + self.call_body(f"Self().{m.cpp_name}", m.params, [], "pValue", m.type)
                out.append((decl, f"Get {m.name}()", body))
            if m.kind in ("prop", "put"):
                is_object = m.type.name in self.s.classes
                value_name = "oValue" if is_object else "value"
                verb = "putref" if is_object else "put"
                decl = f"{verb}_{m.name}({', '.join(params + [f'{self.vtable_type(m.type)} {value_name}'])})"
                value = sf.Param(value_name, m.type)
                body = self.call_body(f"Self().Set{m.cpp_name}", m.params, [self.arg(value)], None, None)
                out.append((decl, f"{'Set' if is_object else 'Let'} {m.name}()", body))
            if m.kind == "method":
                ret = [f"{self.vtable_type(m.type)}* pResult"] if m.type else []
                decl = f"{m.name}({', '.join(params + ret)})"
                body = (["CheckOut(pResult);"] if m.type else []) + self.call_body(
                    f"Self().{m.cpp_name}", m.params, [], "pResult" if m.type else None, m.type)
                out.append((decl, f"{m.name}()", body))
        if "collection" in cls.flags:
            item = next(m for m in cls.members if m.is_default)
            body = [
                "CheckOut(ppEnum);",
                "std::vector<VARIANT> items;",
                "for (const auto& item : Self()) {",
                "  VARIANT v;",
                "  VariantInit(&v);",
                "  V_VT(&v) = VT_DISPATCH;",
                f"  V_DISPATCH(&v) = {self.result(item.type, 'item')};",
                "  items.push_back(v);",
                "}",
                "*ppEnum = new VariantEnumerator(std::move(items));",
            ]
            out.append(("get__NewEnum(IUnknown** ppEnum)", "Get _NewEnum()", body))
        return out

    # Events ------------------------------------------------------------------------------
    def event_connections(self, cls: sf.Class) -> list[str]:
        lines = []
        ids = cm.event_dispids(cls)
        for m in cls.events():
            field = m.name if m.name.startswith("On") else "On" + m.name
            names = [f"a{i}" for i in range(len(m.params))]
            lambda_params = ", ".join(f"auto&& {n}" for n in names)
            body = ["std::vector<VARIANT> args;", "std::vector<VARIANT> values(" + str(len(m.params)) + ");"]
            for i, p in enumerate(m.params):
                body.append(f"values[{i}] = AsVariant({names[i]});")
            for i, p in enumerate(m.params):
                if cm.by_reference(p):
                    body += ["{", "  VARIANT ref;", "  VariantInit(&ref);", "  V_VT(&ref) = VT_BYREF | VT_VARIANT;",
                             f"  V_VARIANTREF(&ref) = &values[{i}];", "  args.push_back(ref);", "}"]
                else:
                    body.append(f"args.push_back(values[{i}]);")
            body.append(f"point_.Fire({ids[m.name]}, args);")
            for i, p in enumerate(m.params):
                if cm.by_reference(p):
                    body.append(f"{names[i]} = FromVariantTo<std::decay_t<decltype({names[i]})>>(values[{i}]);")
            body.append("for (VARIANT& v : values) VariantClear(&v);")
            inner = "\n".join("        " + b for b in body)
            lines.append(f"  {{\n    const uint64_t id = Self().{field}.Connect([this]({lambda_params}) {{\n"
                         f"      try {{\n{inner}\n      }} catch (...) {{\n"
                         f"        // A sink's answer that does not convert is ignored, as a failing sink is.\n"
                         f"      }}\n    }});\n"
                         f"    disconnects_.push_back([this, id] {{ Self().{field}.Disconnect(id); }});\n  }}")
        return lines

    # Whole file --------------------------------------------------------------------------
    def generate(self, widl_header: str) -> str:
        s = self.s
        out = [
            "// Generated from the published surface by gen_glue.py: do not edit.",
            f'#include "{widl_header}"',
            "",
            "#include <functional>",
            "#include <memory>",
            "#include <string>",
            "#include <utility>",
            "#include <vector>",
            "",
            '#include "ComClasses.h"',
            '#include "ComEnum.h"',
            '#include "ComEvents.h"',
            '#include "ComGlue.h"',
            '#include "tarnvik/tarnvik.h"',
            "",
            "namespace tarnvik::com {",
            "",
            "namespace {",
            "",
        ]
        for cls in s.classes.values():
            out.append(f"class {self.wrapper(cls.name)};")
        out.append("")
        bodies: list[str] = []
        for cls in s.classes.values():
            w = self.wrapper(cls.name)
            itf = f"::{cm.interface_name(cls)}"
            base = f"Dispatched<{itf}, tarnvik::{cls.name}>"
            has_events = bool(cls.events())
            bases = [f"public {base}"] + (["public IConnectionPointContainer"] if has_events else [])
            out.append(f"class {w} final : {', '.join(bases)} {{")
            out.append(" public:")
            out.append(f"  using InterfaceType = {itf};")
            if has_events:
                out.append(f"  explicit {w}(std::shared_ptr<tarnvik::{cls.name}> object)")
                out.append(f"      : {base}(std::move(object)), point_(this, DIID_{cm.events_name(cls)}) {{")
                out.extend(self.event_connections(cls))
                out.append("  }")
                out.append(f"  ~{w}() override {{")
                out.append("    for (auto& disconnect : disconnects_) disconnect();")
                out.append("  }")
                out.append("  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {")
                out.append(f"    return {base}::QueryInterface(riid, ppv);")
                out.append("  }")
                out.append(f"  ULONG STDMETHODCALLTYPE AddRef() override {{ return {base}::AddRef(); }}")
                out.append(f"  ULONG STDMETHODCALLTYPE Release() override {{ return {base}::Release(); }}")
                out.append("  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** pp) override {")
                out.append("    if (pp == nullptr) return E_POINTER;")
                out.append("    *pp = new SingleConnectionPoints(&point_);")
                out.append("    return S_OK;")
                out.append("  }")
                out.append("  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** pp) override {")
                out.append("    if (pp == nullptr) return E_POINTER;")
                out.append("    *pp = nullptr;")
                out.append("    if (!IsEqualIID(riid, point_.EventsIID())) return CONNECT_E_NOCONNECTION;")
                out.append("    *pp = &point_;")
                out.append("    point_.AddRef();")
                out.append("    return S_OK;")
                out.append("  }")
            else:
                out.append(f"  explicit {w}(std::shared_ptr<tarnvik::{cls.name}> object) : {base}(std::move(object)) {{}}")
            members = self.members(cls)
            for decl, _, _ in members:
                out.append(f"  HRESULT STDMETHODCALLTYPE {decl} override;")
            object_puts = [cm.dispids(cls)[m.name] for m in cls.published()
                           if m.kind in ("prop", "put") and m.type.name in s.classes]
            if object_puts or has_events:
                out.append("")
                out.append(" protected:")
            if object_puts:
                cases = " || ".join(f"id == {i}" for i in object_puts)
                out.append(f"  bool PutIsByReference(DISPID id) const override {{ return {cases}; }}")
            if has_events:
                out.append("  bool QueryMore(REFIID riid, void** ppv) override {")
                out.append("    if (!IsEqualIID(riid, IID_IConnectionPointContainer)) return false;")
                out.append("    *ppv = static_cast<IConnectionPointContainer*>(this);")
                out.append("    return true;")
                out.append("  }")
                out.append("")
                out.append(" private:")
                out.append("  ConnectionPoint point_;")
                out.append("  // Undo each connection to the library's events.")
                out.append("  std::vector<std::function<void()>> disconnects_;")
            out.append("};")
            out.append("")
            for decl, procedure, body in members:
                name, _, rest = decl.partition("(")
                bodies.append(f"HRESULT STDMETHODCALLTYPE {w}::{name}({rest} {{")
                bodies.append(f"  return Call(\"{cls.name}\", \"{procedure}\", [&] {{")
                bodies.extend("    " + b for b in "\n".join(body).splitlines())
                bodies.append("  });")
                bodies.append("}")
                bodies.append("")
        out.extend(bodies)
        out.append("}  // namespace")
        out.append("")
        out.append("const CoClassEntry kCoClasses[] = {")
        for cls in s.classes.values():
            creatable = "creatable" in cls.flags or "global" in cls.flags
            if creatable:
                create = (f"[]() -> IUnknown* {{ return static_cast<::{cm.interface_name(cls)}*>(new "
                          f"{self.wrapper(cls.name)}(std::make_shared<tarnvik::{cls.name}>())); }}")
            else:
                create = "nullptr"
            out.append(f"    {{&CLSID_{cls.name}, L\"{cls.name}\", {'true' if creatable else 'false'}, {create}}},")
        out.append("};")
        out.append("const std::size_t kCoClassCount = sizeof(kCoClasses) / sizeof(kCoClasses[0]);")
        out.append(f"const GUID kLibraryId = LIBID_{s.library};")
        out.append(f"const wchar_t kLibraryName[] = L\"{s.library}\";")
        out.append("")
        out.append("}  // namespace tarnvik::com")
        return "\n".join(out) + "\n"


def main() -> None:
    s = sf.load_or_exit(sys.argv[3:])
    sf.write_if_changed(sys.argv[1], Writer(s).generate(sys.argv[2]))


if __name__ == "__main__":
    main()
