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

    def test_beyond_a_connection(self):
        d = self.station()
        self.assertTrue(d.AccessQuery("SELECT NOX, NOTE FROM MISURE ORDER BY DT_VALUE"), d.Err_Description)
        d.GetRecordSet().ActiveConnection = None
        d.CloseConnection()
        self.assertIs(d.XML_Save("a.xml"), True)
        self.assertTrue(d.XML_OpenSchema("a.xml") and d.XML_ReadField("NOTE") == "è", d.Err_Description)
        rs = Dispatch("ADODB.Recordset")
        rs.Fields.Append("B", d.F_adLongVarBinary, 0, 32)
        rs.Open()
        rs.AddNew()
        for piece in (b"ab", b"c"):
            rs.Fields("B").AppendChunk(piece)
        self.assertEqual([rs.Fields("B").GetChunk(2) for _ in range(3)], [b"ab", b"c", Null])
        d.Persist_AddField("V", d.F_adDouble)
        d.Persist_Open()
        d.Persist_AddNew()
        d["Persist_Set£"]("V", 2.5)
        self.assertEqual((d.Persist_Save(), d.Persist_GetValue("V"), d.Err_Number), (True, 2.5, 0))

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

    def connection(self):
        cn = Dispatch("ADODB.Connection")
        cn.Open("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=station.db")
        return cn

    def test_a_connection_of_the_hosts_own(self):
        for name in ("adodb.CONNECTION", "Connection", "ADODB.Recordset", "recordset"):
            self.assertEqual(Dispatch(name).State, 0)
        for name in ("QuarnoFwk.Connection", "ADODB.CData", "ADODB.Field", "ADODB.", "ADODBxConnection"):
            self.assert_error(429, Dispatch, name)
        cn, one, other = self.connection(), Dispatch("CData"), Dispatch("CData")
        for d in (one, other):
            d.m_LogPath = os.getcwd()
            d.SetMessages(False)
            d.SetAdoConnection(cn)
            self.assertTrue(d.GetConnection() is cn and d.AccessQuery("SELECT * FROM MISURE ORDER BY DT_VALUE"))
        self.assertEqual((one.MoveNext(), one.GetValue("DT_VALUE"), other.GetValue("DT_VALUE")), (True, 45293, 45292.5))
        one.TransBegin()
        self.assertTrue(one.ExecuteSQL("DELETE FROM MISURE") and other.RefreshADO() is None and other.IsEof())
        other.TransRollBack()
        for wrong in (object(), Dispatch("ADODB.Recordset"), Dispatch("CData"), None):
            self.assert_error(13, one.SetAdoConnection, wrong)
        self.assert_error(424, one.SetAdoConnection, "cn")
        cn.Close()  # with the query of one open
        self.assertEqual((one.IsEof(), one.GetValue("NOX"), one.MoveNext(), one.Err_Number, one.IsConnectionOpen()),
                         (True, None, False, -2146824584, False))  # 3704, in full
        one.SetDBType(one.Conn_Jet)  # a closed one is opened by the settings, which name nothing
        one.SetDatabase("none.db")
        self.assertEqual((one.AccessQuery("SELECT * FROM MISURE"), one.Err_Number, cn.State), (False, 53, 0))
        cn.Open("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=station.db")  # by the host, in place of the settings
        self.assertTrue(one.GetConnection() is cn and one.AccessQuery("SELECT * FROM MISURE") and one.MoveNext())
        d, closed = self.station(), Dispatch("ADODB.Connection")
        d.SetAdoConnection(closed)
        self.assertEqual((closed.State, d.AccessQuery("SELECT * FROM MISURE"), closed.State), (0, True, 1))

    def test_a_recordset_of_the_hosts_own(self):
        d, rs = self.station(), Dispatch("ADODB.Recordset")
        self.assert_error(-2146824579, rs.Open, "SELECT 1", Dispatch("ADODB.Connection"))  # 3709: it is closed
        rs.Open("SELECT * FROM MISURE ORDER BY DT_VALUE", self.connection(), LockType=3)
        d.SetRecordSet(rs)
        self.assertIs(d.GetRecordSet(), rs)
        del rs  # from here on CData alone holds it and its connection
        self.assertEqual([d.GetFieldsName(), d.GetValue("nox"), d["Get£Pos"](2)], ["DT_VALUE,NOX,NOTE", 12.25, "è"])
        self.assertEqual([d.MoveNext(), d.GetValuePos(0), d.MoveNext(), d.IsEof()], [True, 45293, False, True])
        rs, values = d.GetRecordSet(), []
        rs.Close()
        rs.Open("SELECT NOX FROM MISURE ORDER BY DT_VALUE")
        while not rs.EOF:
            values += [field.Value for field in rs.Fields]
            rs.MoveNext()
        self.assertEqual(values, [12.25, Null])
        for wrong in (None, object(), self.connection()):
            self.assertEqual((d.SetRecordSet(wrong), d.Err_Number, d.GetRecordSet() is rs), (None, 13, True))

    def test_failures_are_raised_only_when_asked_for(self):
        d, changed = self.station(), ByRef(0)
        self.assertFalse(d.ExecuteSQL("INSERT INTO NOWHERE VALUES(1)"))
        self.assertEqual(sorted(os.listdir()), ["QuarnoLog.txt", "station.db"])
        self.assertNotIn("", (d.Err_Number or "", d.GetErrObj().m_Description))
        d.Err_Activate = True
        self.assert_error(d.Err_Number, d.ExecuteSQL, "INSERT INTO NOWHERE VALUES(1)")
        self.assertTrue(d.ExecuteSQL("UPDATE MISURE SET NOX = 1", ElabRec=changed))
        self.assertEqual(changed.value, 2)
