"""The surface reader: what it accepts, and the mistakes in a description it refuses with
the file and line."""

import os
import sys
import unittest

sys.path.insert(0, os.environ.get("TARNVIK_SURFACE_DIR", os.path.join(os.path.dirname(__file__), "../../interface/surface")))
import surface as sf  # noqa: E402

GOOD = """\
library Tarnvik
enum EnumCursors
  Acursor = 1
  Bcursor = 2
class CTrace creatable
  prop CursorQRD(eCursor: EnumCursors): Single
  method AddEvent(lStart: Long, inout lLevel: Long, optional sComment: String = "a, b"): Integer~int32_t cpp=Add
  event IsDirty(bDirty: Boolean)
  internal SetDataPoints
class CTraces collection
  method Item(vntIndexKey: IndexKey): CTrace default
"""


class SurfaceReader(unittest.TestCase):
    def test_reads_members_parameters_and_options(self):
        s = sf.parse(GOOD)
        trace = s.classes["CTrace"]
        self.assertEqual([m.kind for m in trace.members], ["prop", "method", "event", "internal"])
        add = trace.members[1]
        self.assertEqual(add.cpp_name, "Add")
        self.assertEqual(s.cpp_type(add.type), "int32_t")
        self.assertEqual([(p.name, p.direction, p.optional, p.default) for p in add.params],
                         [("lStart", "in", False, None), ("lLevel", "inout", False, None),
                          ("sComment", "in", True, '"a, b"')])
        self.assertEqual(s.cpp_type(trace.members[0].params[0].type), "EnumCursors")
        self.assertEqual(s.cpp_type(s.classes["CTraces"].members[0].type), "std::shared_ptr<CTrace>")
        self.assertEqual(s.enums["EnumCursors"].values, [("Acursor", 1), ("Bcursor", 2)])
        self.assertEqual(len(trace.published()), 3)

    def test_refuses_mistakes_with_their_line(self):
        cases = [
            ("class C\n  get X: Unknown\n", "unknown type Unknown"),
            ("class C\n  method M(optional a: Long, b: Long)\n", "b follows an optional parameter"),
            ("class C\n  get X: Long\n  prop X: Long\n", "described twice"),
            ("class C collection\n  get Count: Long\n", "needs a default Item"),
            ("class C wobbly\n", "unknown class flag"),
            ("class C\n  get X\n", "needs a type"),
            ("  get X: Long\n", "outside a class"),
            ("enum E\n  A = one\n", "expected 'NAME = number'"),
            ("class C\n  get X: Long colour=red\n", "unknown member option"),
            ("class C\nclass C\n", "described twice"),
        ]
        for text, message in cases:
            with self.subTest(text=text):
                with self.assertRaises(sf.SurfaceError) as caught:
                    sf.parse(text, "t.surface")
                self.assertIn(message, str(caught.exception))
                self.assertTrue(str(caught.exception).startswith("t.surface:"))


if __name__ == "__main__":
    unittest.main()
