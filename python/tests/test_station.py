"""A measuring station's database: the package's own example, and the data-access objects seen from Python."""

import os
import tempfile
import unittest
from decimal import Decimal

import quarnofwk
from quarnofwk import ByRef, Dispatch, Null
from through_library import Case


@unittest.skipUnless("CData" in quarnofwk.classes(), "this library has no CData")
class Station(Case):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        open("station.db", "wb").close()
        maker = self.station()
        for statement in ("CREATE TABLE MISURE(DT_VALUE DOUBLE, NOX DOUBLE, NOTE VARCHAR(20))",
                          "INSERT INTO MISURE VALUES(45292.5, 12.25, 'è')",
                          "INSERT INTO MISURE VALUES(45293, NULL, '')"):
            self.assertTrue(maker.ExecuteSQL(statement), maker.Err_Description)
        maker.CloseConnection()

    def station(self):
        d = Dispatch("CData")
        d.m_LogPath = os.getcwd()
        d.SetMessages(False)
        d.SetDBType(d.Conn_Jet)
        d.SetDatabase("station.db")
        return d

    def test_example(self):
        printed = []
        print = printed.append

        from quarnofwk import Dispatch, ByRef, Null, Missing, Error
        d = Dispatch("CData")                 # error 429 for an unknown class
        d.SetMessages(False)
        d.SetDBType(d.Conn_Jet)               # members by attribute, any letter case
        d.SetDatabase("station.db")
        d.m_Tabella = "MISURE"                # properties are attributes
        where = ByRef("")                     # a by-reference argument: read it back from .value
        if d.Selection("", where):
            while not d.IsEof():
                print(d["Get£"]("DT_VALUE"))  # any member by its exact name; getattr(d, "Get£") works too
                if not d.MoveNext(): break

        self.assertEqual((printed, type(where.value), d.Err_Number), ([45292.5, 45293.0], str, 0))

    def test_objects_it_hands_out(self):
        d = self.station()
        d.m_Tabella = "MISURE"
        self.assertTrue(d.Selection(SelectOrder="DT_VALUE"), d.Err_Description)
        rs, fields = d.GetRecordSet(), d.GetRecordSet().Fields
        self.assertTrue(d.GetRecordSet() is rs and rs.Fields is fields and fields("nox") is fields["NOX"])
        self.assertEqual([rs.Fields("NOX").Value, rs.Fields[0].Name, rs.fields[-1].Value], [12.25, "DT_VALUE", "è"])
        self.assertEqual([field.Name for field in (*fields, *fields[1:])], ["DT_VALUE", "NOX", "NOTE", "NOX", "NOTE"])
        self.assertEqual((len(fields), "Nox" in fields, "SO2" in fields), (3, True, False))
        for index, kind in (("SO2", KeyError), (3, IndexError), (-4, IndexError)):
            self.assert_error(-2146825023, fields.__getitem__, index, kind=kind)  # 3265, in full
        rs.MoveNext()
        self.assertIs(rs.Fields("NOX").Value, Null)
        rs.Fields["NOX"] = Decimal("1.5")
        rs.Update()
        self.assertEqual((rs.Fields("NOX").Value, len(d.GetConnection().Errors)), (1.5, 0))

    def test_failures_are_raised_only_when_asked_for(self):
        d, changed = self.station(), ByRef(0)
        self.assertFalse(d.ExecuteSQL("INSERT INTO NOWHERE VALUES(1)"))
        self.assertEqual(sorted(os.listdir()), ["QuarnoLog.txt", "station.db"])
        self.assertNotIn("", (d.Err_Number or "", d.GetErrObj().m_Description))
        d.Err_Activate = True
        self.assert_error(d.Err_Number, d.ExecuteSQL, "INSERT INTO NOWHERE VALUES(1)")
        self.assertTrue(d.ExecuteSQL("UPDATE MISURE SET NOX = 1", ElabRec=changed))
        self.assertEqual(changed.value, 2)
