// The members of CData that work without a connection: snapshots as XML, the table in memory, long fields.
#include "ado/Fields.h"
#include "ado/ado_error.h"
#include "data/CData.h"
#include "data/failure_text.h"

namespace quarno {
namespace {

constexpr std::string_view kFieldMissing = "Field not found !";
constexpr std::string_view kFieldSource = "CRecord";

// The other spelling is theirs alone.
template <class Work>
auto naming_a_missing_field(Work&& work) {
  try {
    return work();
  } catch (Error& error) {
    if (error.number == ado::full_number(ado::Model::item_not_found)) error.description = "Field non found!";
    throw;
  }
}

}  // namespace

// --- Snapshots ---------------------------------------------------------------------------------------------

Variant CData::XML_Save(const std::string& XMLFile, bool OverWrite) {
  return guarded({"XML_Save"}, [&] {
    const bool saved = worker_.save_snapshot(XMLFile, OverWrite);
    if (saved) show_row();
    return Variant(saved);
  });
}

bool CData::XML_OpenSchema(const std::string& XMLFile) {
  return guarded({"XML_OpenSchema"}, [&] {
    const bool opened = worker_.open_snapshot(XMLFile);
    if (opened) show_row();
    return opened;
  });
}

Variant CData::XML_ReadField(const std::string& Campo) {
  return guarded({"XML_ReadField"},
                 [&] { return naming_a_missing_field([&] { return worker_.field_value(Campo); }); });
}

Variant CData::XML_SetField(const std::string& Campo, const Variant& Valore) {
  return guarded({"XML_SetField"}, [&] {
    naming_a_missing_field([&] { worker_.set_field_value(Campo, Valore); });
    return Variant();
  });
}

// --- The table in memory -----------------------------------------------------------------------------------

void CData::Persist_AddField(const std::string& Nome, std::int16_t tipo, std::int32_t Lungh) {
  guarded({"Persist_AddField"}, [&] { worker_.detached().Fields()->Append(Nome, tipo, Lungh); });
}

void CData::Persist_Open() {
  guarded({"Persist_Open"}, [&] { worker_.open_detached(); });
}

Variant CData::Persist_AddNew() {
  return guarded({"Persist_AddNew"}, [&] {
    worker_.detached().AddNew();
    return Variant();
  });
}

Variant CData::Persist_Delete() {
  return guarded({"Persist_Delete", "Can't delete the record!"},
                 [&] { return Variant(worker_.delete_detached_row()); });
}

Variant CData::Persist_Save() {
  Failing failing{"Persist_Save"};
  failing.prefix = "Persist_Open";
  return guarded(failing, [&] {
    try {
      worker_.detached().Update();
    } catch (Error& error) {
      data::name_duplicate_key(error);
      throw;
    }
    return Variant(true);
  });
}

void CData::Persist_MoveFirst() {
  guarded({"Persist_MoveFirst"}, [&] { worker_.detached().MoveFirst(); });
}
void CData::Persist_MoveLast() {
  guarded({"Persist_MoveLast"}, [&] { worker_.detached().MoveLast(); });
}
bool CData::Persist_MoveNext() {
  return guarded({"Persist_MoveNext"}, [&] { return worker_.move_detached_next(); });
}
bool CData::Persist_MovePrev() {
  return guarded({"Persist_MovePrev"}, [&] { return worker_.move_detached_previous(); });
}
bool CData::Persist_Move(std::int32_t pos) {
  return guarded({"Persist_Move"}, [&] { return worker_.move_detached(pos); });
}

Variant CData::Persist_GetPound(const std::string& Campo) {
  return guarded({"Persist_Get£", kFieldMissing, kFieldSource},
                 [&] { return worker_.detached_value(Campo); });
}
Variant CData::Persist_GetValue(const std::string& Campo) {
  return guarded({"Persist_GetValue", kFieldMissing, kFieldSource},
                 [&] { return worker_.detached_value(Campo); });
}
void CData::Persist_SetPound(const std::string& Campo, const Variant& Valore) {
  guarded({"Persist_Set£"}, [&] { worker_.set_detached_value(Campo, Valore); });
}
void CData::Persist_SetValue(const std::string& Campo, const Variant& Valore) {
  guarded({"Persist_SetValue"}, [&] { worker_.set_detached_value(Campo, Valore); });
}

// --- Long fields -------------------------------------------------------------------------------------------

void CData::Blob2File(const std::string& NomeCampo, const std::string& NomeFile) {
  guarded({"Blob2File"}, [&] { worker_.field_to_file(NomeCampo, NomeFile); });
}

}  // namespace quarno
