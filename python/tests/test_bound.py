"""Python objects as the controls of a form: bound to fields, loaded as the row changes, saved with it."""

import os
import tempfile
from types import SimpleNamespace as Control

from quarnofwk import Dispatch
from through_library import Case


Broken = type("Broken", (), {"Value": property(lambda self: 1, lambda self, value: 1 / 0)})


class BoundControls(Case):
    def test_a_form(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "a.db")
            open(path, "wb").close()
            data = Dispatch("CData")
            data.m_LogPath, data.m_Tabella = folder, "T"
            data.SetMessages(False)
            data.SetDBType(data.Conn_Jet)
            data.SetDatabase(path)
            self.assertTrue(data.ExecuteSQL("CREATE TABLE T (N VARCHAR(9), B BOOLEAN, V DOUBLE)"))
            name, check, gauge = Control(Text=""), Control(Value=0), Control(level=None)
            for row in ((name, "N"), (check, "B"), (gauge, "V", "LEVEL")):
                data.Bind(*row)
            form = lambda: (name.Text, check.Value, gauge.level)
            for row in (("perché", 1, 2.5), ("NO", 0, None)):
                data.AddNew()
                self.assertEqual(form(), ("", 0, None))
                name.Text, check.Value, gauge.level = row
                self.assertTrue(data.Save(), data.Err_Description)
            self.assertTrue(data.Selection() and form() == ("perché", 1, 2.5))
            self.assertTrue(data.MoveNext() and form() == ("NO", 0, 0))
            data.MoveLast()
            name.Text, check.Value = "", 7
            data.SetBound()
            self.assertEqual(form(), ("NO", 0, 0))
            data.Bind(name, "V")  # the same control again shows another field
            data.SetBound()
            self.assertEqual(form(), ("0", 0, 0))
            data.Bind(name, "N")
            data.Bind(object(), "N")
            self.assertEqual(data.Err_Number, 438)
            data.Bind(Broken(), "N")
            self.assertFalse(data.SelectionFast())
            self.assertIn("ZeroDivisionError", data.Err_Description)
            data.Err_Activate = True
            self.assert_error(440, data.SetBound)
