// The member table of Recordset, in the order of its header.
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "automation/member_table.h"

namespace quarno::ado {
namespace {

using namespace automation;

constexpr Member kMembers[] = {
    read_only<&Recordset::State>("State", "0 closed, 1 open, 9 open with rows still to be fetched."),
    property<&Recordset::Source, &Recordset::set_Source>("Source",
                                                         "The statement; settable while closed (3705)."),
    property<&Recordset::ActiveConnection, &Recordset::set_ActiveConnection>(
        "ActiveConnection",
        "The connection; settable to an open one (3709) or to nothing, while closed or at the client (3705). "
        "Without one an open recordset keeps its rows and what is changed, for UpdateBatch on the next."),
    property<&Recordset::CursorType, &Recordset::set_CursorType>(
        "CursorType",
        "0 forward-only, 1 keyset, 2 dynamic, 3 static. An open recordset is static, unless it is "
        "forward-only and read-only at the server."),
    property<&Recordset::CursorLocation, &Recordset::set_CursorLocation>("CursorLocation",
                                                                         "2 server, 3 client."),
    property<&Recordset::LockType, &Recordset::set_LockType>(
        "LockType", "1 read-only, 2 pessimistic, 3 optimistic, 4 batch-optimistic."),
    read_only<&Recordset::Fields>("Fields", "The fields."),
    method<&Recordset::Open>(
        "Open",
        {optional_param("Source"), optional_param("ActiveConnection"), param("CursorType", -1),
         param("LockType", -1), param("Options", -1)},
        "Runs the statement and holds its rows; the first is current. A statement without rows "
        "leaves the recordset closed. Options: 2 or 512 when the source is a table's name, 4 when it is a "
        "procedure's with or without arguments, plus 32 to fetch the first rows at once and the others when "
        "they are needed; 256 when it is a file that was saved. ActiveConnection is a connection, or a text "
        "that opens one; without one, or with the text \"Provider=MSPersist\", the source is such a file, "
        "and without a source the recordset is empty with the fields that were appended. Raises 3705 when "
        "it is open, 3709 without an open connection, -2147287038 without the file, -2147467259 for a file "
        "that holds no recordset, and what the provider reports."),
    method<&Recordset::Close>("Close", "Lets go of the rows. Raises 3704 when closed, 3219 during an edit."),
    method<&Recordset::Requery>("Requery",
                                "Runs the statement or reads the file again. Raises as Close and Open, 3219 "
                                "for a table in memory."),
    method<&Recordset::Save>(
        "Save", {param("Destination"), param("PersistFormat", 0)},
        "Writes the rows that criteria left, with the changes that were not sent and the rows of chapters, "
        "to a new file; format 1 is XML. Then the first row is current. Raises 3251 for format 0 and for "
        "forward-only rows, -2147286960 when the file is there, -2147217887 for a value that no file holds."),
    read_only<&Recordset::at_bof>("BOF", "Whether the position is before the first row."),
    read_only<&Recordset::at_eof>("EOF", "Whether the position is after the last row."),
    read_only<&Recordset::RecordCount>(
        "RecordCount", "Number of rows, one being added included; -1 for a forward-only recordset."),
    read_only<&Recordset::AbsolutePosition>(
        "AbsolutePosition", "Position from 1; -2 before the first, -3 after the last, -1 without rows."),
    method<&Recordset::MoveFirst>("MoveFirst", "To the first row. Raises 3021 when there is none."),
    method<&Recordset::MoveLast>("MoveLast", "To the last row. Raises 3021 when there is none."),
    method<&Recordset::MoveNext>("MoveNext", "One row on, at last to EOF. Raises 3021 at EOF."),
    method<&Recordset::MovePrevious>("MovePrevious", "One row back, at last to BOF. Raises 3021 at BOF."),
    method<&Recordset::Move>(
        "Move", {param("NumRecords")},
        "That many rows on, or back when negative; stops at EOF or BOF. Raises 3021 when it is there "
        "already."),
    method<&Recordset::Supports>("Supports", {param("CursorOptions")},
                                 "Whether all the cursor options are supported."),
    property<&Recordset::Bookmark, &Recordset::set_Bookmark>(
        "Bookmark",
        "Mark of the current row, valid in clones too. Raises 3021 without one, 3001 for no mark."),
    method<&Recordset::Find>(
        "Find", {param("Criteria"), param("SkipRecords", 0), param("SearchDirection", 1)},
        "To the next row, the current one included, for which \"column op value\" holds; to EOF or BOF "
        "when there is none. Raises 3021 without a current row, 3001 and 3265 for a bad criterion."),
    property<&Recordset::Filter, &Recordset::set_Filter>(
        "Filter",
        "Criteria joined with AND and OR that choose the rows; \"\" or 0 for all; 1 those changed and not "
        "sent, 2 "
        "those the last batch meant, 5 those that failed in it. Goes to the first of them."),
    property<&Recordset::Sort, &Recordset::set_Sort>(
        "Sort", "\"a ASC, [b c] DESC\"; \"\" for the order of the query. Goes to the first row."),
    method<&Recordset::Clone>(
        "Clone", {param("LockType", -1)},
        "Another recordset over the same rows, with a current row, filter and order of its own. "
        "LockType 1 makes it read-only."),
    property<&Recordset::Index, &Recordset::set_Index>(
        "Index",
        "Name of the table's index that orders the rows and serves Seek; \"\" for none. For a table opened "
        "directly (option 512) at the server where the provider has indexes; else raises 3251, and "
        "-2147217867 for an unknown one. \"PrimaryKey\" is the table's key."),
    method<&Recordset::Seek>(
        "Seek", {param("KeyValues"), param("SeekOption", 1)},
        "To the row whose index columns have these values (an array, or one value; fewer than the columns "
        "will do): 1 the first such row, 2 the last, 4 the first or else what follows, 8 what follows, 16 "
        "the last or else what precedes, 32 what precedes; to EOF when there is none. Raises 3251 without "
        "an Index."),
    read_only<&Recordset::EditMode>("EditMode",
                                    "0 none, 1 the current row is being changed, 2 a row is being added."),
    method<&Recordset::AddNew>("AddNew", "Begins a new row. Raises 3251 when the rows cannot be updated."),
    method<&Recordset::Update>("Update",
                               "Sends the edit in progress; without one it does nothing. When it raises, the "
                               "edit stays open."),
    method<&Recordset::CancelUpdate>("CancelUpdate", "Drops the edit in progress."),
    method<&Recordset::Delete>("Delete", "Deletes the current row; it stays current until the next move."),
    read_only<&Recordset::Status>(
        "Status",
        "Of the current row: 8 as it was read, 1 added, 2 changed, 4 deleted and not sent yet; plus 2048 "
        "after a "
        "conflict, 4096 after a violated constraint, 65536 without the right, 16 after another failure."),
    method<&Recordset::UpdateBatch>(
        "UpdateBatch", {param("AffectRecords", 3)},
        "Sends what was changed under lock type 4, in one transaction unless one "
        "is open: 1 the current row, 2 the "
        "filtered ones, 3 all. A row that fails does not stop the others; at the "
        "end the first failure is raised. Rows of no table, without a connection, "
        "count as sent; others raise 3709."),
    method<&Recordset::CancelBatch>("CancelBatch", {param("AffectRecords", 3)},
                                    "Drops what was changed and not sent; the rows are as they were read."),
};

}  // namespace

std::span<const automation::Member> Recordset::members() { return kMembers; }

}  // namespace quarno::ado
