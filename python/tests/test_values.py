"""Every kind of value through the library and back: Python -> C -> library -> C -> Python and the same way home."""

import copy
import math
import pickle
from datetime import date, datetime, timezone
from decimal import Decimal, localcontext
from enum import IntEnum
from fractions import Fraction

from quarnofwk import ByRef, Dispatch, Error, Missing, Null
from quarnofwk import _library as c
from quarnofwk._values import datetime_from_days
from through_library import Case, Echo, Raw, echoed

MANTISSA = 2**96 - 1  # the largest of a decimal
Mode = IntEnum("Mode", "ONE")


class Values(Case):
    def test_same_value_and_type_come_back(self):
        thing = Echo()
        for value in (None, True, False, 2**31 - 1, -2**31, 2**31, -2**31 - 1, 2**63 - 1, -2**63, 1.5, -0.0, math.inf,
                      5e-324, "", "a\0b £€\U0001F600", b"", b"\0\xff", [], [1, [None, "x"], 2.5, [thing]],
                      Decimal("12.50"), Decimal("-1E-28"), Decimal(MANTISSA), Decimal(f"-{MANTISSA}E-28"),
                      datetime(1899, 12, 30), datetime(1899, 12, 29, 6), datetime(2024, 2, 29, 23, 59, 59, 999000),
                      datetime(100, 1, 1), datetime(1850, 7, 1, 3, 4, 5, 678901), datetime(9999, 12, 31, 23, 59, 59)):
            with self.subTest(value=value):
                self.assertEqual((type(echoed(value)), repr(echoed(value))), (type(value), repr(value)))
        for value in (Null, Missing, thing, {"a": 1}, Dispatch("Corvex")):
            self.assertIs(echoed(value), value)
        for again in (copy.deepcopy, lambda marker: pickle.loads(pickle.dumps(marker))):
            self.assertEqual([again(Null) is Null, again(Missing) is Missing, bool(Null)], [True, True, False])

    def test_other_types_are_converted(self):
        for value, expected in (
                (Mode.ONE, 1), (Fraction(1, 4), 0.25), ((1, 2), [1, 2]), (bytearray(b"x"), b"x"),
                (memoryview(b"abcd")[::2], b"ac"), (date(2024, 1, 1), datetime(2024, 1, 1)),
                (Decimal("1E+3"), Decimal(1000)), (Decimal("1.5E-28"), Decimal("2E-28")),
                (Decimal("2.5E-28"), Decimal("2E-28")), (Decimal("1E-400"), Decimal("0E-28")),
                (Decimal(f"{MANTISSA - 1}.5"), Decimal(MANTISSA - 1)), (Raw(c.INT16, "int16", -32768), -32768),
                (Raw(c.BYTE, "byte", 255), 255), (Raw(c.SINGLE, "single", 0.5), 0.5),
                (Raw(c.BOOLEAN, "int16", 1), True), (Raw(c.OBJECT, "pointer", None), None),
                (Raw(c.CURRENCY, "int64", -(2**63)), Decimal("-922337203685477.5808")),
                (Raw(c.CURRENCY, "int64", 12500), Decimal("1.2500")),
                (Raw(c.DECIMAL, "low", 5, high=1, negative=1, scale=28), Decimal(f"-{2**64 + 5}E-28"))):
            with self.subTest(value=value), localcontext() as context:
                context.prec = 3  # the caller's precision has no say
                back = echoed(value)
                self.assertEqual((type(back), str(back)), (type(expected), str(expected)))

    def test_what_does_not_fit(self):
        for number, value in ((6, 2**63), (6, -2**63 - 1), (6, Decimal(MANTISSA + 1)), (6, Decimal("1E+9999999")),
                              (6, Decimal("-Infinity")), (13, Decimal("NaN")), (13, "\ud800"),
                              (13, ["fine", Echo(), "\udfff"]), (13, datetime.now(timezone.utc)),
                              (6, datetime(99, 12, 31)), (13, Raw(99, "int16", 0)),
                              (6, Raw(c.DATE, "real", math.nan)), (6, Raw(c.DATE, "real", 2958466.0))):
            with self.subTest(value=value):
                self.assert_error(number, echoed, value)

    def test_dates_are_read_as_the_roundest_time(self):
        for days, expected in ((-1.25, datetime(1899, 12, 29, 6)), (-0.5, datetime(1899, 12, 30, 12)),
                               (1 / 3, datetime(1899, 12, 30, 8)), (2.5, datetime(1900, 1, 1, 12)),
                               (45351.999988425923, datetime(2024, 2, 29, 23, 59, 59)),
                               (-1.99999999999999, datetime(1899, 12, 30)), (-657434.75, datetime(100, 1, 1, 18)),
                               (2958465.9999884257, datetime(9999, 12, 31, 23, 59, 59))):
            with self.subTest(days=days):
                self.assertEqual(datetime_from_days(days), expected)

    def test_by_reference(self):
        corvex, text = Dispatch("Corvex"), ByRef("  3,5 ")
        self.assertEqual((corvex.StringToDouble(text), text.value), (3.5, "3,5"))
        text.value = " 2 "
        self.assertEqual((corvex.StringToDouble(Valore=text), text.value), (2, "2"))
        text.value = [1, "x"]
        self.assert_error(13, corvex.StringToDouble, text)
        self.assertEqual(text.value, [1, "x"])

    def test_nothing_leaks(self):
        corvex, log, big = Dispatch("Corvex"), Dispatch("CSuperLog"), "x" * 200
        for action in (lambda: setattr(log, "fileName", big + log.fileName[:0]), lambda: repr(Dispatch("CFileReader")),
                       lambda: corvex.StringToDouble(ByRef(" " + big)),
                       lambda: echoed([big, big.encode(), [big], Echo(), corvex]),
                       lambda: self.assertRaises(Error, corvex.StringToDouble, ByRef([big, big])),
                       lambda: self.assertRaises(Error, echoed, [big, Echo(), "\ud800"]),
                       lambda: self.assertRaises(Error, getattr, corvex, big)):
            with self.subTest(action=action.__code__.co_firstlineno):
                self.assert_no_growth(action, 2000)
