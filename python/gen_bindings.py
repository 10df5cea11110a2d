"""Writes the Python bindings of the published surface (pybind11) and their type stubs:
one Python class per published class, each member a short call through the shared
conversions of src/PyGlue.h, one enumeration per published enumeration, and a module
function for each method of a global class.

Python names are the snake_case of the library's names; argument names drop their type
prefix (sFilename -> filename, eCursor -> cursor). Indexed properties become a getter
method and a set_ method; out and in-out arguments come back in the result (a tuple
when there is more than one value); collections have len(), iteration and 0-based [].

    python3 gen_bindings.py --cpp OUT.cpp --stubs OUT.pyi [--stub-parts PART.pyi...] --surface FILE...
"""

from __future__ import annotations

import argparse
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "interface" / "surface"))
import surface as sf  # noqa: E402


def snake(name: str) -> str:
    s = re.sub(r"([A-Z]+)([A-Z][a-z])", r"\1_\2", name)
    s = re.sub(r"([a-z0-9])([A-Z])", r"\1_\2", s)
    return s.lower()


def arg_name(name: str) -> str:
    """sFilename -> filename, vntIndexKey -> index_key, LastChangedBy -> last_changed_by."""
    m = re.match(r"^[a-z]+(?=[A-Z])", name)
    return snake(name[m.end():] if m else name)


def event_field(m: sf.Member) -> str:
    return m.name if m.name.startswith("On") else "On" + m.name


PY_TYPES = {
    "Integer": "int", "Long": "int", "Single": "float", "Double": "float", "Boolean": "bool",
    "String": "str", "Date": "datetime.datetime", "Variant": "Any", "Bytes": "bytes",
    "Strings": "list[str]", "IndexKey": "int | str",
}


class Writer:
    def __init__(self, s: sf.Surface):
        self.s = s

    # Types -------------------------------------------------------------------------------
    def cpp_type(self, t: sf.Type) -> str:
        return self.s.cpp_type(t)  # the bindings sit in namespace tarnvik

    def binding_type(self, t: sf.Type) -> str:
        """The type the Python side of a binding takes; pybind11 converts to it."""
        if t.name in self.s.classes:
            return f"std::shared_ptr<{t.name}>"
        if t.name in self.s.enums:
            return t.name
        return {"Integer": "int64_t", "Long": "int64_t", "Single": "double", "Double": "double",
                "Boolean": "bool", "String": "std::string", "Strings": "std::vector<std::string>"}.get(
                    t.name, "py::object")

    def from_py(self, t: sf.Type, expr: str) -> str:
        """expr (of binding_type(t)) as the C++ member's argument."""
        if t.name in ("Integer", "Long", "Single", "Double"):
            return f"Narrow<{self.cpp_type(t)}>({expr})"
        return {"Date": f"DateFrom({expr})", "Variant": f"VariantFrom({expr})",
                "Bytes": f"BytesFrom({expr})"}.get(t.name, expr)

    def to_py(self, t: sf.Type, expr: str) -> str:
        if t.name in ("Integer", "Long", "Single", "Double", "Boolean") or t.name in self.s.enums \
                or t.name in self.s.classes:
            return f"py::cast({expr})"
        return {"String": f"TextToPy({expr})", "Strings": f"StringsToPy({expr})",
                "Date": f"DateToPy({expr})", "Variant": f"VariantToPy({expr})",
                "Bytes": f"BytesToPy({expr})"}[t.name]

    def py_type(self, t: sf.Type) -> str:
        if t.name in self.s.classes or t.name in self.s.enums:
            return t.name
        return PY_TYPES[t.name]

    @staticmethod
    def may_be_omitted(p: sf.Param) -> bool:
        return p.optional and p.default is None and p.direction == "in"

    def py_default(self, p: sf.Param) -> str:
        d = p.default.strip()
        return {"False": "false", "True": "true"}.get(d, d)

    # One member ---------------------------------------------------------------------------
    def call(self, cls: sf.Class, procedure: str, target: str, params: list[sf.Param],
             extra: list[str], ret: sf.Type | None, binding_params: list[str]) -> list[str]:
        """Statements of a binding's body: the library call with its converted arguments,
        then the result and the out-arguments as the Python result."""
        args: list[str] = []
        outs: list[tuple[str, sf.Param]] = []
        before: list[str] = []
        omitted: list[sf.Param] = []
        index_key: sf.Param | None = None
        for i, p in enumerate(params):
            name = arg_name(p.name)
            if p.direction != "in":
                local = f"a{i}"
                cpp = self.cpp_type(p.type)
                if p.direction == "inout":
                    before.append(f"{cpp} {local} = {name} ? {self.from_py(p.type, '*' + name)} : {cpp}{{}};")
                    binding_params.append(f"std::optional<{self.binding_type(p.type)}> {name}")
                else:
                    before.append(f"{cpp} {local}{{}};")
                outs.append((local, p))
                args.append(local)
            elif p.type.name == "IndexKey" and not p.type.cpp:
                index_key = p
                binding_params.append(f"const py::object& {name}")
                args.append("key")
            elif self.may_be_omitted(p):
                omitted.append(p)
                binding_params.append(f"std::optional<{self.binding_type(p.type)}> {name}")
                args.append(self.from_py(p.type, f"*{name}"))
            else:
                binding_params.append(f"{self.binding_type(p.type)} {name}")
                args.append(self.from_py(p.type, name))

        def invoke(call_args: list[str]) -> str:
            call = f"{target}({', '.join(call_args + extra)})"
            if index_key is not None:
                call = f"WithIndexKey({arg_name(index_key.name)}, [&](const auto& key) {{ return {call}; }})"
            return call

        results = []
        lines = list(before)
        if ret is not None:
            lines.append(f"{self.cpp_type(ret)} result{{}};")
            results.append(self.to_py(ret, "result"))
        store = "result = " if ret is not None else ""
        if omitted:
            first = len(args) - len(omitted)
            for given in range(len(omitted), 0, -1):
                present = " && ".join(arg_name(p.name) for p in omitted[:given])
                lines.append(f"{'if' if given == len(omitted) else '} else if'} ({present}) {{")
                lines.append(f"  {store}{invoke(args[:first + given])};")
            lines.append("} else {")
            lines.append(f"  {store}{invoke(args[:first])};")
            lines.append("}")
        else:
            lines.append(f"{store}{invoke(args)};")
        results += [self.to_py(p.type, local) for local, p in outs]
        if not results:
            tail = "return py::none();"
        elif len(results) == 1:
            tail = f"return py::object({results[0]});"
        else:
            tail = f"return py::object(py::make_tuple({', '.join(results)}));"
        inner = "\n".join("    " + b for b in lines + [tail])
        return [f'return Call("{cls.name}", "{procedure}", [&]() -> py::object {{', inner, "});"]

    def python_params(self, params: list[sf.Param]):
        """(name, param, default) of each argument a Python caller passes: the default is
        None for one that may be left out, the described default's text, or "" for none."""
        for p in params:
            if p.direction == "out":
                continue
            if p.direction == "inout" or self.may_be_omitted(p):
                yield arg_name(p.name), p, None
            elif p.optional and p.default is not None:
                yield arg_name(p.name), p, p.default.strip()
            else:
                yield arg_name(p.name), p, ""

    def py_args(self, params: list[sf.Param]) -> str:
        """The pybind11 argument list (names and defaults)."""
        out = []
        for name, p, default in self.python_params(params):
            if default is None:
                out.append(f'py::arg("{name}") = py::none()')
            elif default:
                out.append(f'py::arg("{name}") = {self.cpp_type(p.type)}({self.py_default(p)})')
            else:
                out.append(f'py::arg("{name}")')
        return "".join(", " + a for a in out)

    def lambda_(self, cls: sf.Class, binding_params: list[str], body: list[str]) -> str:
        params = ", ".join([f"{cls.name}& self"] + binding_params)
        text = "\n".join("      " + b for b in "\n".join(body).splitlines())
        return f"[]({params}) -> py::object {{\n{text}\n    }}"

    def members(self, cls: sf.Class) -> list[str]:
        out = []
        for m in cls.published():
            if m.kind == "event":
                continue
            py = snake(m.name)
            if m.kind in ("get", "prop", "put") and not m.params:
                getter = "nullptr"
                if m.kind != "put":
                    bp: list[str] = []
                    body = self.call(cls, f"Get {m.name}()", f"self.{m.cpp_name}", [], [], m.type, bp)
                    getter = f"py::cpp_function({self.lambda_(cls, bp, body)})"
                if m.kind == "get":
                    out.append(f'  c.def_property_readonly("{py}", {getter});')
                    continue
                bp = []
                body = self.call(cls, f"Let {m.name}()", f"self.Set{m.cpp_name}", [], [self.from_py(m.type, "value")],
                                 None, bp)
                bp.append(f"{self.binding_type(m.type)} value")
                setter = f"py::cpp_function({self.lambda_(cls, bp, body)})"
                out.append(f'  c.def_property("{py}", {getter}, {setter});')
                continue
            if m.kind in ("get", "prop"):  # indexed: a getter method and a set_ method
                bp = []
                body = self.call(cls, f"Get {m.name}()", f"self.{m.cpp_name}", m.params, [], m.type, bp)
                out.append(f'  c.def("{py}", {self.lambda_(cls, bp, body)}{self.py_args(m.params)});')
            if m.kind in ("prop", "put") and m.params:
                bp = []
                body = self.call(cls, f"Let {m.name}()", f"self.Set{m.cpp_name}", m.params,
                                 [self.from_py(m.type, "value")], None, bp)
                bp.append(f"{self.binding_type(m.type)} value")
                out.append(f'  c.def("set_{py}", {self.lambda_(cls, bp, body)}'
                           f'{self.py_args(m.params)}, py::arg("value"));')
            if m.kind == "method":
                bp = []
                body = self.call(cls, f"{m.name}()", f"self.{m.cpp_name}", m.params, [], m.type, bp)
                out.append(f'  c.def("{py}", {self.lambda_(cls, bp, body)}{self.py_args(m.params)});')
        for m in cls.events():
            out.extend(self.event(cls, m))
        if "collection" in cls.flags:
            item = next(m for m in cls.members if m.is_default)
            out.append(f'  c.def("__len__", [](const {cls.name}& self) {{ return self.Count(); }});')
            out.append(f'  c.def("__iter__", [](const {cls.name}& self) {{ return Snapshot(self).attr("__iter__")(); }});')
            out.append(f'  c.def("__getitem__", [](const {cls.name}& self, const py::object& index) {{\n'
                       f'    return Call("{cls.name}", "Get Item()", [&] {{\n'
                       f'      if (py::isinstance<py::str>(index)) return self.{item.cpp_name}(TextFrom(index));\n'
                       f'      return self.{item.cpp_name}(PythonIndex(index, self.Count()));\n'
                       f'    }});\n  }});')
        out.append(f'  c.def("__repr__", [](const {cls.name}& self) {{ return Repr(self, "{cls.name}"); }});')
        return out

    def event(self, cls: sf.Class, m: sf.Member) -> list[str]:
        field = event_field(m)
        py = snake(m.name)
        names = [f"a{i}" for i in range(len(m.params))]
        lambda_params = ", ".join(f"auto&& {n}" for n in names)
        call_args = "".join(f", EventArgToPy({n})" for n in names)
        after = ""
        inout = [(n, p) for n, p in zip(names, m.params) if p.direction != "in"]
        if inout:
            n = inout[0][0]
            after = (f"\n          if (!answer.is_none()) {n} = EventArgFrom<std::decay_t<decltype({n})>>(answer);")
        return [
            f'  c.def("connect_{py}", []({cls.name}& self, py::function handler) {{\n'
            f'    return self.{field}.Connect([handler]({lambda_params}) {{\n'
            f'      py::gil_scoped_acquire gil;\n'
            f'      try {{\n'
            f'        py::object answer = handler({call_args[2:]});{after}\n'
            f'      }} catch (py::error_already_set& e) {{\n'
            f'        ReportHandlerFailure(e, "{cls.name}.{m.name}");\n'
            f'      }} catch (const std::exception&) {{\n'
            f'        // An answer that does not convert is ignored, as a failing handler is.\n'
            f'      }}\n'
            f'    }});\n'
            f'  }}, py::arg("handler"));',
            f'  c.def("disconnect_{py}", []({cls.name}& self, uint64_t connection) {{ self.{field}.Disconnect(connection); }},'
            f' py::arg("connection"));',
        ]

    def module_functions(self, cls: sf.Class) -> list[str]:
        """A global class's methods, also callable as functions of the module."""
        out = []
        for m in cls.published():
            if m.kind != "method":
                continue
            bp: list[str] = []
            body = self.call(cls, f"{m.name}()", f"self.{m.cpp_name}", m.params, [], m.type, bp)
            params = ", ".join(bp)
            text = "\n".join("      " + b for b in "\n".join(body).splitlines())
            out.append(f'  m.def("{snake(m.name)}", []({params}) -> py::object {{\n'
                       f'      {cls.name} object;\n      {cls.name}& self = object;\n{text}\n    }}'
                       f'{self.py_args(m.params)});')
        return out

    def generate(self) -> str:
        out = [
            "// Generated from the published surface by gen_bindings.py: do not edit.",
            "#include <pybind11/pybind11.h>",
            "#include <pybind11/stl.h>",
            "",
            '#include "PyGlue.h"',
            '#include "PyRepr.h"',
            '#include "tarnvik/tarnvik.h"',
            "",
            "namespace tarnvik::python {",
            "",
            "void BindSurface(py::module_& m) {",
        ]
        for e in self.s.enums.values():
            out.append(f'  {{\n    py::enum_<{e.name}> e(m, "{e.name}", py::arithmetic());')
            for name, value in e.values:
                out.append(f'    e.value("{name}", static_cast<{e.name}>({value}));')
            out.append("    e.export_values();")
            out.append(f"    py::implicitly_convertible<py::int_, {e.name}>();")
            out.append("  }")
        for cls in self.s.classes.values():
            out.append(f'  py::class_<{cls.name}, std::shared_ptr<{cls.name}>>(m, "{cls.name}");')
        for cls in self.s.classes.values():
            out.append("  {")
            out.append(f"    auto c = py::class_<{cls.name}, std::shared_ptr<{cls.name}>>("
                       f"m.attr(\"{cls.name}\"));")
            if "creatable" in cls.flags:
                out.append(f"    c.def(py::init([] {{ return std::make_shared<{cls.name}>(); }}));")
            out.extend("  " + line for line in "\n".join(self.members(cls)).splitlines())
            if "global" in cls.flags:
                out.extend("  " + line for line in "\n".join(self.module_functions(cls)).splitlines())
            out.append("  }")
        out += ["}", "", "}  // namespace tarnvik::python"]
        return "\n".join(out) + "\n"

    # Stubs --------------------------------------------------------------------------------
    def stub_params(self, params: list[sf.Param]) -> str:
        out = []
        for name, p, default in self.python_params(params):
            t = self.py_type(p.type)
            out.append(f"{name}: {t} | None = None" if default is None else f"{name}: {t} = {default}" if default
                       else f"{name}: {t}")
        return "".join(", " + a for a in out)

    def stub_result(self, m: sf.Member) -> str:
        types = ([self.py_type(m.type)] if m.type else []) + [self.py_type(p.type) for p in m.params
                                                               if p.direction != "in"]
        if not types:
            return "None"
        return types[0] if len(types) == 1 else f"tuple[{', '.join(types)}]"

    def stub_class(self, cls: sf.Class, extra: list[str]) -> list[str]:
        out = [f"class {cls.name}:"]
        if "creatable" in cls.flags:
            out.append("    def __init__(self) -> None: ...")
        for m in cls.published():
            py = snake(m.name)
            if m.kind in ("get", "prop", "put") and not m.params:
                t = self.py_type(m.type)
                out.append("    @property")
                out.append(f"    def {py}(self) -> {t}: ...")
                if m.kind != "get":
                    out.append(f"    @{py}.setter")
                    out.append(f"    def {py}(self, value: {t}) -> None: ...")
            elif m.kind in ("get", "prop", "put"):
                if m.kind != "put":
                    out.append(f"    def {py}(self{self.stub_params(m.params)}) -> {self.py_type(m.type)}: ...")
                if m.kind != "get":
                    out.append(f"    def set_{py}(self{self.stub_params(m.params)}, value: {self.py_type(m.type)})"
                               " -> None: ...")
            elif m.kind == "method":
                out.append(f"    def {py}(self{self.stub_params(m.params)}) -> {self.stub_result(m)}: ...")
            elif m.kind == "event":
                args = ", ".join(self.py_type(p.type) for p in m.params)
                out.append(f"    def connect_{py}(self, handler: Callable[[{args}], Any]) -> int: ...")
                out.append(f"    def disconnect_{py}(self, connection: int) -> None: ...")
        if "collection" in cls.flags:
            item = self.py_type(next(m for m in cls.members if m.is_default).type)
            out.append("    def __len__(self) -> int: ...")
            out.append(f"    def __iter__(self) -> Iterator[{item}]: ...")
            out.append(f"    def __getitem__(self, index: int | str) -> {item}: ...")
        return out + extra

    def stubs(self, parts: list[str]) -> str:
        extras: dict[str, list[str]] = {}
        loose: list[str] = []
        for part in parts:
            blocks: list[list[str]] = []
            for line in part.splitlines():
                if line and not line[0].isspace() and not line.startswith("#") or not blocks:
                    blocks.append([])
                blocks[-1].append(line)
            for block in blocks:
                m = re.match(r"^class (\w+):\s*$", block[0]) if block else None
                if m and m.group(1) in self.s.classes:
                    extras.setdefault(m.group(1), []).extend(line for line in block[1:] if line.strip())
                else:
                    loose.extend(block)
        out = ["# Generated from the published surface by gen_bindings.py: do not edit.",
               "from __future__ import annotations", "", "import datetime", "import numpy", "import numpy.typing",
               "from enum import IntEnum",
               "from typing import Any, Callable, Iterator", ""]
        for e in self.s.enums.values():
            out.append(f"class {e.name}(IntEnum):")
            out.extend(f"    {name} = {value}" for name, value in e.values)
            out.append("")
            out.extend(f"{name}: {e.name}" for name, _ in e.values)
            out.append("")
        for cls in self.s.classes.values():
            out.extend(self.stub_class(cls, extras.get(cls.name, [])))
            out.append("")
            if "global" in cls.flags:
                for m in cls.published():
                    if m.kind == "method":
                        params = self.stub_params(m.params)[2:]
                        out.append(f"def {snake(m.name)}({params}) -> {self.stub_result(m)}: ...")
                out.append("")
        out.extend(loose)
        return "\n".join(out).rstrip() + "\n"


def main() -> None:
    ap = argparse.ArgumentParser()
    ap.add_argument("--cpp", required=True)
    ap.add_argument("--stubs", required=True)
    ap.add_argument("--stub-parts", nargs="*", default=[])
    ap.add_argument("--surface", nargs="+", required=True)
    a = ap.parse_args()
    s = sf.load_or_exit(a.surface)
    w = Writer(s)
    sf.write_if_changed(a.cpp, w.generate())
    sf.write_if_changed(a.stubs, w.stubs([Path(p).read_text(encoding="utf-8") for p in a.stub_parts]))


if __name__ == "__main__":
    main()
