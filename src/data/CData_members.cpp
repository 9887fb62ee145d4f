// The member table of CData, in the order of its header.
#include "automation/member_table.h"
#include "data/CData.h"

namespace quarno {
namespace {

using namespace automation;

constexpr Member field_type(std::string_view name, std::int32_t value, std::string_view summary) {
  return constant(name, value, summary);
}
constexpr Member kind(std::string_view name, data::DbKind value, std::string_view summary) {
  return constant(name, static_cast<std::int16_t>(value), summary);
}

constexpr Member kMembers[] = {
    property<&CData::m_Database>("m_Database",
                                 "Database name or file; SetDatabase writes it too. Empty at first."),
    property<&CData::m_Tabella>("m_Tabella", "Table of composed queries and of AddNew. Empty at first."),
    property<&CData::m_SelectCampi>("m_SelectCampi", "Columns of composed queries. \"*\" at first."),
    property<&CData::m_SelectWhere>("m_SelectWhere", "Filter of composed queries. Empty at first."),
    property<&CData::m_SelectOrder>("m_SelectOrder", "Ordering of composed queries. Empty at first."),
    property<&CData::m_SelectGroupBy>("m_SelectGroupBy", "Grouping of composed queries. Empty at first."),
    property<&CData::m_Adocn>("m_Adocn", "A connection kept for the host; it is never used for opening."),
    property<&CData::m_LogPath>(
        "m_LogPath",
        "Folder of the data error log; takes effect at the next SetMessages. Empty: the library's "
        "own folder."),
    property<&CData::m_Filter>("m_Filter", "A filter text kept for the host. Empty at first."),
    kind("Conn_SQL", data::Conn_SQL, "Database kind: SQL Server."),
    kind("Conn_ODBC", data::Conn_ODBC, "Database kind: ODBC data source name."),
    kind("Conn_Jet", data::Conn_Jet, "Database kind: Access/Jet database file."),
    kind("Conn_As400", data::Conn_As400, "Database kind: built as SQL Server."),
    kind("Conn_DB3", data::Conn_DB3, "Database kind: folder of dBASE III files."),
    kind("Conn_UDL", data::Conn_UDL, "Database kind: built as SQL Server; use UDLFile."),
    kind("Conn_MYSQL", data::Conn_MYSQL, "Database kind: MySQL through the 3.51 ODBC driver."),
    kind("Conn_Oracle", data::Conn_Oracle, "Database kind: Oracle."),
    kind("Conn_Sybase", data::Conn_Sybase, "Database kind: built as SQL Server."),
    kind("Conn_MYSQL5", data::Conn_MYSQL5, "Database kind: MySQL through the 5.1 ODBC driver."),
    field_type("F_adArray", 8192, "Field type: flag of an array of another type."),
    field_type("F_adBigInt", 20, "Field type: 64-bit signed number."),
    field_type("F_adBinary", 128, "Field type: bytes of fixed length."),
    field_type("F_adBoolean", 11, "Field type: boolean."),
    field_type("F_adByRef", 16384, "Field type: flag of a reference."),
    field_type("F_adBSTR", 8, "Field type: text."),
    field_type("F_adChar", 129, "Field type: narrow text of fixed length."),
    field_type("F_adCurrency", 6, "Field type: number with four exact decimals."),
    field_type("F_adDate", 7, "Field type: date, days since 30 December 1899."),
    field_type("F_adDBDate", 133, "Field type: day."),
    field_type("F_adDBTime", 134, "Field type: time of day."),
    field_type("F_adDBTimeStamp", 135, "Field type: date and time."),
    field_type("F_adDecimal", 14, "Field type: exact number."),
    field_type("F_adDouble", 5, "Field type: 8-byte number."),
    field_type("F_adEmpty", 0, "Field type: no value."),
    field_type("F_adError", 10, "Field type: an error number."),
    field_type("F_adGUID", 72, "Field type: unique identifier."),
    field_type("F_adIDispatch", 9, "Field type: an automation object."),
    field_type("F_adInteger", 3, "Field type: 32-bit signed number."),
    field_type("F_adIUnknown", 13, "Field type: an object."),
    field_type("F_adLongVarBinary", 205, "Field type: long bytes."),
    field_type("F_adLongVarChar", 201, "Field type: long narrow text."),
    field_type("F_adLongVarWChar", 203, "Field type: long wide text."),
    field_type("F_adNumeric", 131, "Field type: exact number of given precision."),
    field_type("F_adSingle", 4, "Field type: 4-byte number."),
    field_type("F_adSmallInt", 2, "Field type: 16-bit signed number."),
    field_type("F_adTinyInt", 16, "Field type: 8-bit signed number."),
    field_type("F_adUnsignedBigInt", 21, "Field type: 64-bit unsigned number."),
    field_type("F_adUnsignedInt", 19, "Field type: 32-bit unsigned number."),
    field_type("F_adUnsignedSmallInt", 18, "Field type: 16-bit unsigned number."),
    field_type("F_adUnsignedTinyInt", 17, "Field type: 8-bit unsigned number."),
    field_type("F_adUserDefined", 132, "Field type: a type of the data source's own."),
    field_type("F_adVarBinary", 204, "Field type: bytes."),
    field_type("F_adVarChar", 200, "Field type: narrow text."),
    field_type("F_adVariant", 12, "Field type: a value of any type."),
    field_type("F_adVector", 4096, "Field type: flag of a counted array."),
    field_type("F_adVarWChar", 202, "Field type: wide text."),
    field_type("F_adWChar", 130, "Field type: wide text of fixed length."),
    constant("Find_Forward", std::int32_t{1}, "Search direction: towards the last row."),
    constant("Find_Backward", std::int32_t{-1}, "Search direction: towards the first row."),

    method<&CData::SetDBType>(
        "SetDBType", {param("tipo")},
        "Chooses the database kind, one of the Conn constants; -1 leaves the one in use."),
    method<&CData::GetDBType>("GetDBType", "The kind as it was set; -1 when it never was."),
    method<&CData::SetServer>("SetServer", {param("Server")},
                              "Data source name, host or server. Always empty."),
    method<&CData::GetServer>("GetServer", "What SetServer set."),
    method<&CData::SetDatabase>(
        "SetDatabase", {param("Database"), param("UID", ""), param("Pwd", ""), param("AccessDBPwd", "")},
        "Catalogue, file or folder, with user, password and the password of a desktop database "
        "file (blanks around it removed). Used when the connection opens next. Always empty."),
    method<&CData::GetDatabase>("GetDatabase", "The value of m_Database."),
    method<&CData::GetDatabaseUID>("GetDatabaseUID", "User of the last SetDatabase."),
    method<&CData::GetDatabasePwd>("GetDatabasePwd", "Password of the last SetDatabase."),
    method<&CData::GetDatabaseAccessPwd>("GetDatabaseAccessPwd", "File password of the last SetDatabase."),
    method<&CData::SetDbOwner>("SetDbOwner", {param("Owner")},
                               "Schema owner of composed queries on SQL Server. Always empty."),
    method<&CData::SetProvider>("SetProvider", {param("provider")}, "Provider of the connection string."),
    method<&CData::SetDBVersion>(
        "SetDBVersion", {param("version")},
        "Provider version of a desktop database, or \"TRUST\" for integrated security."),
    method<&CData::GetDBVersion>(
        "GetDBVersion", "What SetDBVersion set, in upper case once a SQL Server string was built from it."),
    property<&CData::UDLFile, &CData::set_UDLFile>(
        "UDLFile", "A UDL file that takes the place of the connection string."),

    method<&CData::SetConnection>("SetConnection", "Turns the connection switch over; opens nothing."),
    method<&CData::SetAdoConnection>(
        "SetAdoConnection", {param("Cn")},
        "Uses a connection of the host's from now on. Raises 13 when it is none."),
    method<&CData::GetConnection>("GetConnection", "The connection object, open or not."),
    method<&CData::IsConnectionOpen>("IsConnectionOpen", "Whether the connection is open; never opens it."),
    method<&CData::CloseConnection>("CloseConnection", "Closes the connection; failures are ignored."),
    method<&CData::SetConnectionTimeout>("SetConnectionTimeout", {param("seconds")},
                                         "Seconds for statements and for opening; failures are ignored."),
    method<&CData::SetAsyncMode>("SetAsyncMode", {param("mode")},
                                 "Execute options: 32 (fetch asynchronously) when true, else 8."),
    method<&CData::SetCursor>(
        "SetCursor", {param("CursorType")},
        "Cursor type of the next query: 0 forward-only, 1 keyset, 2 dynamic (at first), 3 static."),
    method<&CData::SetLock>(
        "SetLock", {param("LockType")},
        "Lock type of the next query: 1 read-only, 2 pessimistic, 3 optimistic (at first), 4 "
        "batch-optimistic."),
    method<&CData::SetCursorLocation>("SetCursorLocation", {param("CurLocation")},
                                      "Cursor location of the next query: 2 server, 3 client (at first)."),
    property<&CData::PingOnOpen, &CData::set_PingOnOpen>(
        "PingOnOpen",
        "Whether the server is pinged before opening; without an answer opening fails with -5167. False at "
        "first."),

    read_only<&CData::Err_Number>("Err_Number", "Number of the last failure, 0 when there was none."),
    read_only<&CData::Err_Description>("Err_Description", "Text of the last failure."),
    read_only<&CData::Err_Source>("Err_Source", "Where the last failure arose."),
    method<&CData::GetErrObj>("GetErrObj", "The error record itself: later failures show in it."),
    property<&CData::Err_Activate, &CData::set_Err_Activate>(
        "Err_Activate", "Whether a failure is raised to the host after it was handled. False at first."),
    property<&CData::Log_Activate, &CData::set_Log_Activate>(
        "Log_Activate",
        "Whether a failing ExecuteSQL writes its log line; true at first. Reading it copies the value into "
        "Err_Activate and gives false."),
    method<&CData::SetMessages>(
        "SetMessages", {param("ShowMessages")},
        "Whether failures are shown in a message box; true at first. Takes over m_LogPath."),
    method<&CData::GetMessages>("GetMessages", "What SetMessages set."),

    method<&CData::Selection>(
        "Selection",
        {param("SelectCampi", ""), param("SelectWhere", ""), param("SelectOrder", ""),
         param("ThisSelect", ""), param("SelectGroupBy", "")},
        "Opens a query: ThisSelect as it stands, or one composed from the parts. An empty part is "
        "taken from its public variable and written back. False when it fails."),
    method<&CData::SelectionFast>(
        "SelectionFast", {param("strSelect", "")},
        "Opens a query as it stands; an empty one is composed from the public variables and "
        "written back. False when it fails."),
    method<&CData::SelectionShape>(
        "SelectionShape", {param("ParentRs"), param("ChildRs"), param("Relation")},
        "Opens a hierarchy: the rows of the statement ParentRs, whose last field holds the rows of the "
        "statement ChildRs that belong to each. Relation is \"column of the parent TO column of the child\", "
        "several with commas between. False when it fails."),
    method<&CData::Refresh>("Refresh", "Runs Selection again with the stored parts. False when it fails."),
    method<&CData::AccessQuery>("AccessQuery", {param("strquery")},
                                "Opens a query as it stands. False when it fails."),
    method<&CData::CloseRs>("CloseRs",
                            "Closes the query; an edit that was not saved is dropped. Always empty."),
    method<&CData::GetRecordSet>("GetRecordSet", "The current recordset, empty before the first query."),

    method<&CData::GetClone>("GetClone",
                             "A clone of the current recordset, taken when the query opened: same rows, a "
                             "current row of its own. Empty before the first query."),
    method<&CData::SetRecordSet>(
        "SetRecordSet", {param("rs")},
        "Makes a recordset the current one. Always empty; fails with 13 when it is none."),
    method<&CData::RefreshADO>("RefreshADO", "Runs the current recordset's statement again. Always empty."),
    method<&CData::GetStruct>("GetStruct",
                              "Loads the field list of the current recordset, which is always loaded."),

    method<&CData::MoveNext>("MoveNext", "One row on. False on the last row, which stays current."),
    method<&CData::MovePrev>("MovePrev", "One row back. False on the first row, which stays current."),
    method<&CData::MoveFirst>("MoveFirst", "To the first row."),
    method<&CData::MoveLast>("MoveLast", "To the last row."),
    method<&CData::MoveNextShape>("MoveNextShape",
                                  "As MoveNext, among the rows that belong to the hierarchy's current row."),
    method<&CData::MovePrevShape>("MovePrevShape", "As MovePrev, among those rows."),
    method<&CData::MoveFirstShape>("MoveFirstShape", "To the first of those rows."),
    method<&CData::MoveLastShape>("MoveLastShape", "To the last of those rows."),
    method<&CData::IsEofShape>("IsEofShape",
                               "Whether MoveNextShape ran past the last of those rows, there are none, or no "
                               "hierarchy is open."),
    method<&CData::IsEof>("IsEof",
                          "Whether MoveNext ran past the last row, the query has no rows, or none is open."),

    method<&CData::Find>(
        "Find", {param("criterio"), param("direzione")},
        "To the first row from the current one on for which \"column op value\" holds, in the direction of "
        "Find_Forward or Find_Backward. False when there is none or it fails."),
    method<&CData::SetIndex>(
        "SetIndex", {param("indice")},
        "Orders the rows by an index of the table, for SeekIndex. False where the recordset has none: only a "
        "table of a database file that was opened directly at the server has."),
    method<&CData::SeekIndex>(
        "SeekIndex", {param("Valori"), param("indice", "")},
        "To the first row with these key values, after choosing the index when one is given; whether there "
        "is one. Fails with 3251 where the recordset has no indexes."),

    method<&CData::GetPound>("Get£", {param("Campo")},
                             "Value of a field in the current row. Null reads as 0 (numbers but currency), "
                             "\"\" (narrow text), false, "
                             "or empty; without a current row the result is empty."),
    method<&CData::GetValue>("GetValue", {param("Campo")}, "As Get£; a failure names GetValue."),
    method<&CData::GetPoundPos>("Get£Pos", {param("pos")}, "As Get£, the field told by its position from 0."),
    method<&CData::GetValuePos>("GetValuePos", {param("pos")},
                                "As GetValue, the field told by its position from 0."),
    method<&CData::GetPoundShape>("Get£Shape", {param("Campo")},
                                  "As Get£, from the hierarchy's rows that belong to the current one."),
    method<&CData::GetValueShape>("GetValueShape", {param("Campo")},
                                  "As Get£Shape; a failure names GetValue."),
    method<&CData::GetFieldName>("GetFieldName", {param("pos")}, "Name of the field at a position from 0."),
    method<&CData::GetFieldsName>("GetFieldsName", "Names of all fields, joined with \",\"."),
    method<&CData::FieldsCount>("FieldsCount", "Number of fields."),
    method<&CData::GetFieldType>("GetFieldType", {param("Campo")},
                                 "Type code of a field, one of the F_ad constants."),
    method<&CData::GetFieldSize>("GetFieldSize", {param("Campo")},
                                 "Defined size of a field: characters of a text, else bytes."),
    method<&CData::GetDecimals>("GetDecimals", {param("Campo")},
                                "Decimals of a number field; 255 when it has none."),
    method<&CData::RecordCount>("GetRecordCount", "Number of rows of the query."),
    method<&CData::RecordCount>("RecordCount", "Number of rows of the query."),
    method<&CData::RecordCount>("RecourdCount", "Number of rows of the query."),
    property<&CData::m_InitDate, &CData::set_m_InitDate>(
        "m_InitDate", "Whether a null date reads as 1 January 100 instead of empty. False at first."),

    method<&CData::SetPound>(
        "Set£", {param("Campo"), param("Valore")},
        "Sets a field of the current row, converted to its type. What is not numeric leaves a number "
        "field as it is; texts are cut to the field's size; a field that the database numbers is "
        "left alone."),
    method<&CData::SetValue>("SetValue", {param("Campo"), param("Valore")}, "As Set£."),
    method<&CData::SetPoundPos>("Set£Pos", {param("pos"), param("Valore")},
                                "As Set£, the field told by its position from 0."),
    method<&CData::AddNew>("AddNew", "Begins a new row, of m_Tabella when no query is open. Always empty."),
    method<&CData::Save>(
        "Save", "Sends the row being edited or added. False when it fails; the edit then stays open."),
    method<&CData::Delete>("Delete", "Deletes the current row. False when there is none or it fails."),
    method<&CData::ExecuteSQL>(
        "ExecuteSQL", {param("StrSQL"), param("Timeout", 30), param("ElabRec", 0)},
        "Runs a statement for at most Timeout seconds (0: no limit). ElabRec receives the rows "
        "changed. False when it fails."),
    method<&CData::ExecuteStoredProc>(
        "ExecuteStoredProc", {param("StoredProcName"), param("pArray")},
        "Runs a stored procedure as the current query. The elements of pArray but the last are its "
        "arguments, as they stand in the call: quoting is the host's (ParSQLStr). They are appended to "
        "StoredProcName as \"( a,b )\"; an array of one element appends nothing. A procedure without rows "
        "leaves the query closed. False when it fails."),
    method<&CData::TransBegin>("TransBegin", "Begins a transaction on the open connection."),
    method<&CData::TransCommit>("TransCommit", "Commits it."),
    method<&CData::TransRollBack>("TransRollBack", "Undoes it."),
    method<&CData::GetLastRowID>("GetLastRowID",
                                 "Number given to the last row added; -1 when there is none."),

    method<&CData::Tables_List>(
        "Tables_List", {param("WithSO", false)},
        "Names of the tables, joined with \",\"; with WithSO those of views and of the system too."),
    method<&CData::Views_List>("Views_List", {param("WithSO", false)},
                               "Names of the views, joined with \",\"; with WithSO the system's too."),
    method<&CData::StoredProcs_List>("StoredProcs_List",
                                     "Names of the procedures up to a \";\", joined with \",\"."),
    method<&CData::StoredProcs_Command>(
        "StoredProcs_Command", {param("StName")},
        "Command text of a procedure; empty when there is none of that name. StName comes back in capitals."),
    method<&CData::View_Command>("View_Command", {param("StName")},
                                 "The same of a view. A failure names STProc_Cmd."),
    method<&CData::Table_Exist>("Table_Exist", {param("Tabella")},
                                "Whether there is a table or view of that name, in any letter case."),
    method<&CData::StoredProc_Exist>("StoredProc_Exist", {param("StoredProc")},
                                     "Whether there is a procedure of that name, in any letter case."),
    method<&CData::Table_Open>(
        "Table_Open", {param("strName")},
        "Makes a table of the database the current table definition. False when there is none."),
    method<&CData::Table_ColumnsCount>(
        "Table_ColumnsCount",
        "Number of columns of the current table definition, 0 without one. This "
        "and the next five never fail."),
    method<&CData::Table_ColumnName>("Table_ColumnName", {param("ColPos")},
                                     "Name of the column at a position from 0; empty when there is none."),
    method<&CData::Table_ColumnPosType>("Table_ColumnPosType", {param("ColPos")},
                                        "Type code of the column at a position, one of the F_ad constants."),
    method<&CData::Table_ColumnType>("Table_ColumnType", {param("ColName")},
                                     "Type code of a column; 0 when there is none of that name."),
    method<&CData::Table_ColumnPosLength>(
        "Table_ColumnPosLength", {param("ColPos")},
        "Defined size of the column at a position: characters of a text, else bytes."),
    method<&CData::Table_ColumnLength>("Table_ColumnLength", {param("ColName")},
                                       "Defined size of a column; 0 when there is none of that name."),
    method<&CData::Table_ColumnKey>("Table_ColumnKey", {param("ColName")},
                                    "Whether the first index that has this column, its name in the same "
                                    "letter case, is the primary key."),
    method<&CData::Table_ColumnExist>("Table_ColumnExist", {param("ColName")},
                                      "Whether the current table definition has a column of that name."),
    method<&CData::Table_Create>(
        "Table_Create", {param("strName")},
        "Names the table to be defined; a definition that was not stored keeps its columns. Nothing is "
        "written before Table_Store. False when it fails."),
    method<&CData::Table_AddColumn>(
        "Table_AddColumn",
        {param("ColName"), param("ColType"), param("ColSize", 0), param("AllowNull", true)},
        "Adds a column: to the definition, or at once to the table that was opened. ColType comes back as it "
        "is "
        "used: wide instead of narrow text (202 for 200) with Conn_Jet, 135 instead of 7 with Conn_SQL. "
        "False "
        "when it fails."),
    method<&CData::Table_DeleteColumn>(
        "Table_DeleteColumn", {param("ColName")},
        "Removes a column: from the definition, or at once from the table that was opened. False when it "
        "fails."),
    method<&CData::Table_AddIndex>(
        "Table_AddIndex", {param("IndexName"), param("PrimaryKey"), param("Unique"), param("Columns")},
        "Adds an index of the columns, whose names are split at \",\" and not trimmed. Without columns "
        "nothing "
        "is added. True, or empty when it fails."),
    method<&CData::Table_Store>("Table_Store",
                                "Makes the table with its indexes, or nothing. False when it fails."),
    method<&CData::Table_CreateProcedure>("Table_CreateProcedure", {param("ProcName"), param("strProc")},
                                          "Stores a procedure. A text that makes a procedure or function "
                                          "itself runs as it stands. False when it "
                                          "fails."),

    method<&CData::Bind>(
        "Bind", {param("MyControl"), param("Field"), param("Property", "")},
        "Lets a control of the host's show a field, by the property given, else by \"Value\" when the "
        "control has one, else by \"Text\"; fails with 438 when it has none. Selection, SelectionFast, "
        "AddNew and the moves load it, Save stores it. The same control and property bound again follow "
        "the other field. Always empty."),
    method<&CData::SetBound>(
        "SetBound",
        "Loads the bound controls from the current row. A field that the query lacks fails with 3265, "
        "once the others are loaded."),

    method<&CData::XML_Save>(
        "XML_Save", {param("XMLFile"), param("OverWrite", false)},
        "Writes the rows of the query to an XML file, with the changes that were not sent and the rows of "
        "chapters; the first row is then current. True; false for a name without \".XML\" in any letter case "
        "and, unless OverWrite is true, for one that is there; empty when it fails, and then the old file is "
        "as it was."),
    method<&CData::XML_OpenSchema>(
        "XML_OpenSchema", {param("XMLFile")},
        "Closes the query and opens such a file in its place, without a connection. False for a name "
        "without \".xml\" in small letters, for a file that is not there, and when it fails."),
    method<&CData::XML_ReadField>("XML_ReadField", {param("Campo")},
                                  "As Get£; a field that is not there fails with \"Field non found!\"."),
    method<&CData::XML_SetField>("XML_SetField", {param("Campo"), param("Valore")},
                                 "As Set£, with the failure of XML_ReadField. Always empty."),
    method<&CData::Persist_AddField>(
        "Persist_AddField", {param("Nome"), param("tipo"), param("Lungh", 0)},
        "Adds a field of that type code to the table in memory before it is opened. Lungh is the most "
        "characters of a text or bytes, 0 for no limit; other types have their own size. Fails with 3001 for "
        "a type that is none, 3367 for a name that is taken, 3219 once the table is open."),
    method<&CData::Persist_Open>(
        "Persist_Open",
        "Opens the table in memory with the fields that were added and no rows. While no query is open it is "
        "what the members for queries show, but for AddNew."),
    method<&CData::Persist_AddNew>("Persist_AddNew",
                                   "Begins a new row of the table in memory. Always empty."),
    method<&CData::Persist_Delete>(
        "Persist_Delete", "Deletes its current row. True; false when there is none, empty when it fails."),
    method<&CData::Persist_Save>("Persist_Save",
                                 "Keeps what was set on its current row. True, or empty when it fails."),
    method<&CData::Persist_MoveFirst>("Persist_MoveFirst", "To its first row. Fails with 3021 without rows."),
    method<&CData::Persist_MoveLast>("Persist_MoveLast", "To its last row. Fails with 3021 without rows."),
    method<&CData::Persist_MoveNext>("Persist_MoveNext",
                                     "To its next row. False at the last one, which stays current."),
    method<&CData::Persist_MovePrev>("Persist_MovePrev",
                                     "To the row before. False at the first one, which stays current."),
    method<&CData::Persist_Move>("Persist_Move", {param("pos")},
                                 "That many rows on, or back when negative. Whether a row is current then."),
    method<&CData::Persist_GetPound>("Persist_Get£", {param("Campo")},
                                     "Value of a field in its current row, as Get£ gives it."),
    method<&CData::Persist_GetValue>("Persist_GetValue", {param("Campo")}, "As Persist_Get£."),
    method<&CData::Persist_SetPound>(
        "Persist_Set£", {param("Campo"), param("Valore")},
        "Sets a field of its current row, converted as Set£ does. Null is refused: fields may have no value, "
        "but none that is null."),
    method<&CData::Persist_SetValue>("Persist_SetValue", {param("Campo"), param("Valore")},
                                     "As Persist_Set£."),
    method<&CData::Blob2File>(
        "Blob2File", {param("NomeCampo"), param("NomeFile")},
        "Writes the bytes of a field to a file, over one that is there; a text in the ANSI code page, null "
        "as "
        "an empty file. Fails with 3219 for a field of another type, 3021 without a current row."),

    method<&CData::ParSQLStr>(
        "ParSQLStr", {param("pStr"), param("WithTrim", true)},
        "The text as an SQL literal; blanks around it are removed unless WithTrim is false."),
    method<&CData::ParSQLDate>(
        "ParSQLDate", {param("pDate"), param("WithHour", false)},
        "The date as a literal of the database kind, with the time when WithHour is true."),
    method<&CData::ParSQLDateSQL>("ParSQLDateSQL", {param("pDate"), param("WithHour", false)},
                                  "The date as a server literal, whatever the kind."),
    method<&CData::GetVersion>("GetVersion", "Version of the library: major, minor and revision."),
};

}  // namespace

std::span<const automation::Member> CData::members() { return kMembers; }

}  // namespace quarno
