// Recordsets without a connection: tables in memory, files, long values in pieces.
#include <gtest/gtest.h>

#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "common/convert.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::ado {
namespace {

using test::error_of;
constexpr int kInvalid = full_number(Model::invalid_argument);
constexpr int kNotNow = full_number(Model::illegal_operation);
constexpr int kNotThere = full_number(Model::feature_not_available);
constexpr std::int32_t kNullable = adFldIsNullable;

template <class Work>
int failure(Work&& work) {
  return error_of([&] { return work(), 0; });
}

// Each row's status and values; the rows are walked in their order.
std::string told(Recordset& rows) {
  std::string text;
  if (rows.RecordCount() == 0) return text;
  for (rows.MoveFirst(); !rows.at_eof(); rows.MoveNext()) {
    text += (text.empty() ? "" : " ") + std::to_string(rows.Status());
    for (std::size_t i = 0; i < rows.columns().size(); ++i) {
      const Variant value = rows.value(i);
      text += ":" + (value.is_null() ? "-" : to_text(value, LocaleInfo{}));
    }
  }
  return text;
}

Ptr<Recordset> made(std::int32_t lock = adLockUnspecified) {
  auto rows = make<Recordset>();
  const auto fields = rows->Fields();
  fields->Append("ID", 3);
  fields->Append("Name", 202, 5, kNullable);
  fields->Append("Note", 203, 0, kNullable);
  rows->Open(Variant(), Variant(), adOpenUnspecified, lock);
  return rows;
}
void add(Recordset& rows, int id, const Variant& name) {
  rows.AddNew();
  rows.set_value(0, id);
  rows.set_value(1, name);
  rows.Update();
}

TEST(MadeTable, TakesFieldsWhileItIsClosed) {
  const auto rows = make<Recordset>();
  const auto fields = rows->Fields();
  EXPECT_EQ(failure([&] { rows->Open(Variant(), Variant()); }), full_number(Model::invalid_connection));
  std::string taken;
  for (int type = 0; type < 300; ++type) {
    const std::string name = "F" + std::to_string(type);
    const int number = failure([&] { fields->Append(name, type, 20, kNullable); });
    EXPECT_TRUE(number == 0 || number == kInvalid) << type;
    if (number == 0)
      taken += std::to_string(type) + "/" + std::to_string(fields->Item(name)->DefinedSize()) + " ";
  }
  EXPECT_EQ(
      taken,
      "2/2 3/4 4/4 5/8 6/8 7/16 8/20 9/20 10/20 11/2 12/20 13/20 14/16 16/1 17/1 18/2 19/4 20/8 21/8 64/16 "
      "72/16 128/20 129/20 130/20 131/19 133/6 134/6 135/16 200/20 201/20 202/20 203/20 204/20 205/20 ");
  for (const auto& [name, type, size, attributes, number] :
       {std::tuple{"f3", 3, 0, -1, full_number(Model::in_collection)},
        {"", 3, 0, -1, kInvalid},
        {"x", 200, -1, -1, kInvalid},
        {"x", 8195, 0, -1, kInvalid},
        {"x", 3, 0, 0x2000, kInvalid}}) {
    EXPECT_EQ(failure([&] { fields->Append(name, type, size, attributes); }), number) << name << type;
  }
  const auto number = fields->Item("F131");
  number->set_Precision(5);
  number->set_NumericScale(2);
  rows->Open(Variant(), Variant());
  EXPECT_EQ(number->NumericScale(), 2) << "the field is the same";
  EXPECT_EQ(failure([&] { number->set_NumericScale(3); }), kNotNow);
  EXPECT_EQ(failure([&] { fields->Append("late", 3); }), kNotNow);
  EXPECT_EQ(failure([&] { rows->Requery(); }), kNotNow);
  EXPECT_TRUE(rows->at_bof() && rows->at_eof() && rows->RecordCount() == 0);
  EXPECT_EQ(std::tuple(rows->CursorLocation(), rows->CursorType(), rows->LockType()),
            std::tuple(adUseClient, adOpenStatic, adLockBatchOptimistic));
  rows->AddNew();
  // Every type takes a value of its own.
  const auto set = [&](const char* name, const Variant& value) {
    return failure([&] { fields->Item(name)->set_Value(value); });
  };
  EXPECT_EQ(set("F131", "123.456") + set("F11", true) + set("F72", "{0}") + set("F205", Variant::Bytes{1}) +
                set("F7", Date{2}) + set("F12", "any") + set("F3", Variant::null()),
            0);
  EXPECT_EQ(number->Value(), Variant(*Decimal::parse("123.46")));
  for (const auto& [name, value] : {std::pair<const char*, Variant>{"F200", std::string(21, 'x')},
                                    {"F9", 1},
                                    {"F16", 128},
                                    {"F17", -1}}) {
    EXPECT_EQ(set(name, value), kMultipleStep) << name;
  }
  EXPECT_EQ(set("F3", "abc"), full_number(Model::data_conversion));
  rows->CancelUpdate();
  rows->Close();
  EXPECT_EQ(fields->Count(), 0);
  EXPECT_EQ(failure([&] { number->Name(); }), full_number(Model::object_not_set));
}

TEST(MadeTable, KeepsFindsSortsAndFiltersItsRows) {
  const auto rows = made();
  EXPECT_TRUE(rows->Supports(adAddNew | adUpdate | adDelete | adUpdateBatch | adBookmark));
  add(*rows, 1, "b");
  add(*rows, 2, "a");
  add(*rows, 3, Variant::null());
  EXPECT_EQ(failure([&] { rows->set_value(0, Variant::null()); }), kMultipleStep) << "the field has no nulls";
  EXPECT_EQ(told(*rows), "1:1:b:- 1:2:a:- 1:3:-:-");
  rows->MoveFirst();
  rows->Find("Name = 'A'");
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{2}));
  rows->Delete();
  EXPECT_EQ(told(*rows), "1:1:b:- 1:3:-:-") << "a row that was never sent is gone";
  rows->UpdateBatch();
  EXPECT_EQ(told(*rows), "8:1:b:- 8:3:-:-") << "there is nowhere to send them";
  rows->MoveFirst();
  rows->set_value(1, "c");
  rows->MoveNext();
  rows->Delete();
  EXPECT_EQ(told(*rows), "2:1:c:-");
  rows->set_Filter(std::int32_t{adFilterPendingRecords});
  EXPECT_EQ(rows->RecordCount(), 2);
  rows->CancelBatch();
  rows->set_Filter("");
  rows->set_Sort("ID DESC");
  EXPECT_EQ(told(*rows), "8:3:-:- 8:1:b:-");
  EXPECT_EQ(rows->Clone()->RecordCount(), 2);
  rows->Close();
}

TEST(MadeTable, IsSavedWithWhatItsHostDid) {
  const test::TempFolder folder;
  const auto rows = made();
  add(*rows, 1, "b");
  rows->UpdateBatch();
  add(*rows, 2, "a");
  rows->MoveFirst();
  rows->set_value(1, "new");
  rows->set_Filter(std::int32_t{adFilterPendingRecords});  // no choice of what is saved
  rows->Save(folder / "a.xml", adPersistXML);
  EXPECT_EQ(rows->AbsolutePosition(), 1);
  for (const auto& [path, format, number] : {std::tuple{folder / "a.xml", 1, -2147286960},
                                             {folder / "b.xml", 0, kNotThere},
                                             {folder / "b.xml", 2, kInvalid},
                                             {std::string(), 1, kInvalid},
                                             {folder / "none/b.xml", 1, 76}}) {
    EXPECT_EQ(failure([&] { rows->Save(path, format); }), number) << path << format;
  }
  rows->set_Filter("ID = 2");
  rows->Save(folder / "two.xml", adPersistXML);
  const auto opened = [&](const std::string& name, const Variant& connection, std::int32_t lock,
                          std::int32_t options = -1) {
    auto file = make<Recordset>();
    file->Open(folder / name, connection, adOpenForwardOnly, lock, options);
    return file;
  };
  const auto file = opened("a.xml", "Provider=MSPersist;", adLockOptimistic);
  EXPECT_EQ(told(*file), "2:1:new:- 1:2:a:-");
  EXPECT_EQ(std::tuple(file->CursorLocation(), file->CursorType()), std::tuple(adUseClient, adOpenStatic));
  file->CancelBatch();
  EXPECT_EQ(told(*file), "8:1:b:-");
  file->Requery();
  EXPECT_EQ(told(*file), "2:1:new:- 1:2:a:-") << "the file is read again";
  EXPECT_EQ(told(*opened("two.xml", Variant(), adLockReadOnly)), "1:2:a:-");
  const auto read_only = opened("a.xml", Variant(), adLockReadOnly, adCmdFile);
  EXPECT_EQ(failure([&] { read_only->set_value(0, 1); }), kNotThere);
  EXPECT_EQ(failure([&] { read_only->UpdateBatch(); }), kNotThere);
  constexpr int kNoFile = -2147287038;
  for (const auto& [name, options, number] : {std::tuple{"no.xml", -1, kNoFile},
                                              {"none", int{adCmdFile}, kNoFile},
                                              {"none", -1, full_number(Model::invalid_connection)},
                                              {"", int{adCmdFile}, 75}}) {
    EXPECT_EQ(failure([&, n = name, o = options] { opened(n, Variant(), adLockReadOnly, o); }), number)
        << name;
  }
}

TEST(SavedRecordset, HasFieldsOnlyOfWhatIsNotHidden) {
  const test::TempFolder folder;
  const auto rows = made();
  add(*rows, 1, "b");
  rows->Save(folder / "a.xml", adPersistXML);
  std::string bytes = test::bytes_of(folder / "a.xml");
  bytes.insert(bytes.find(">", bytes.find("name='ID'")), " rs:hidden='true'");
  const auto file = make<Recordset>();
  file->Open(folder.put("b.xml", bytes), Variant(), adOpenStatic, adLockOptimistic);
  EXPECT_EQ(std::pair(file->Fields()->Count(), file->Fields()->Item(0)->Name()),
            std::pair(2, std::string("Name")));
  EXPECT_EQ(failure([&] { file->Fields()->Item("ID"); }), full_number(Model::item_not_found));
  EXPECT_EQ(failure([&] { file->Fields()->Item(2); }), full_number(Model::item_not_found));
  EXPECT_EQ(failure([&] { file->set_Filter("ID = 1"); }), full_number(Model::item_not_found));
  file->Save(folder / "c.xml", adPersistXML);
  const std::string again = test::bytes_of(folder / "c.xml");
  EXPECT_NE(again.find("name='ID' rs:number='3' rs:write='true' rs:hidden='true'"), std::string::npos)
      << again;
  EXPECT_NE(again.find(" ID='1'"), std::string::npos);
}

TEST(LongField, IsReadAndWrittenInPieces) {
  const auto rows = made();
  add(*rows, 1, "x");
  const auto note = rows->Fields()->Item("Note");
  const auto piece = [&](int size) { return note->GetChunk(size); };
  EXPECT_EQ(piece(5), Variant::null());
  for (const char* each : {"Größe", "", " und mehr"}) note->AppendChunk(each);
  rows->Update();
  EXPECT_EQ(piece(4), Variant("Größ"));
  EXPECT_EQ(piece(100), Variant("e und mehr"));
  EXPECT_EQ(piece(4), Variant::null());
  EXPECT_EQ(piece(4), Variant::null());
  rows->value(0);
  EXPECT_EQ(piece(3), Variant("Grö")) << "another field was touched";
  note->AppendChunk("new");
  rows->value(1);
  note->AppendChunk("again");
  EXPECT_EQ(note->Value(), Variant("again"));
  note->AppendChunk(Variant::null());
  note->AppendChunk("z");
  EXPECT_EQ(note->Value(), Variant("z"));
  EXPECT_EQ(failure([&] { note->AppendChunk(Variant::Bytes{1}); }), full_number(Model::data_conversion));
  EXPECT_EQ(failure([&] { note->GetChunk(0); }), kInvalid);
  EXPECT_EQ(failure([&] { rows->Fields()->Item("Name")->GetChunk(1); }), kNotNow);
  EXPECT_EQ(failure([&] { rows->Fields()->Item("Name")->AppendChunk("x"); }), kNotNow);
  rows->Move(9);
  EXPECT_EQ(failure([&] { note->GetChunk(1); }), full_number(Model::no_current_record));
}

}  // namespace
}  // namespace quarno::ado
