#include "boundary/classes.h"

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "common/error.h"
#include "common/text.h"
#include "data/CData.h"
#include "data/CError.h"
#include "domain/Corvex.h"
#include "net/CPing.h"
#include "util/CCrypt.h"
#include "util/CFileReader.h"
#include "util/CParam.h"
#include "util/CSuperLog.h"
#include "util/CSysUtils.h"

namespace quarno::boundary {
namespace {

constexpr std::string_view kOwn = "QuarnoFwk";
// The object model, under the name that hosts written for it ask for.
constexpr std::string_view kObjectModel = "ADODB";

template <class T>
Ptr<automation::Object> create_new() {
  return make<T>();
}

template <class T>
constexpr ClassEntry creatable(std::string_view library, std::string_view summary) {
  return {library, T::kClassName, summary, true, &T::members, &create_new<T>};
}

template <class T>
constexpr ClassEntry handed_out(std::string_view summary) {
  return {kObjectModel, T::kClassName, summary, false, &T::members, nullptr};
}

constexpr ClassEntry kClasses[] = {
    creatable<CData>(kOwn, "Data access: one object for each data source."),
    creatable<CError>(kOwn, "The error record of data access."),
    creatable<Corvex>(kOwn, "Rules of emission monitoring: queries, validity codes, event and export files."),
    creatable<CCrypt>(kOwn, "Hides a short text from a glance: hexadecimal cipher texts."),
    creatable<CFileReader>(kOwn, "Reads delimited text files."),
    creatable<CParam>(kOwn, "Reads and writes settings in a text file of lines TAG=value."),
    creatable<CPing>(kOwn, "Asks whether an IPv4 address answers."),
    creatable<CSuperLog>(kOwn, "Writes the host's own log files."),
    creatable<CSysUtils>(kOwn, "Lets the user choose a file; opens and prints documents."),
    creatable<ado::Connection>(
        kObjectModel,
        "A connection to a data source: a host's own, made as \"ADODB.Connection\" and handed to "
        "CData.SetAdoConnection, or from CData.GetConnection."),
    handed_out<ado::Errors>("What the data source reported, from Connection.Errors."),
    handed_out<ado::ErrorObject>("One error of a data source."),
    creatable<ado::Recordset>(
        kObjectModel,
        "The rows of a query: a host's own, made as \"ADODB.Recordset\", or from CData.GetRecordSet or "
        "Connection.Execute."),
    handed_out<ado::Fields>("The fields of a recordset."),
    handed_out<ado::Field>("One field of a recordset."),
    handed_out<ado::Properties>("Dynamic properties of a connection or a field."),
    handed_out<ado::Property>("One dynamic property."),
};

bool is_named(const ClassEntry& entry, std::string_view name) {
  const std::size_t prefix = entry.library.size();
  if (name.size() > prefix && name[prefix] == '.' &&
      text::equal_fold(name.substr(0, prefix), entry.library)) {
    name.remove_prefix(prefix + 1);
  }
  return text::equal_fold(entry.name, name);
}

}  // namespace

std::span<const ClassEntry> classes() { return kClasses; }

Ptr<automation::Object> create(std::string_view class_name) {
  for (const ClassEntry& entry : kClasses) {
    if (entry.creatable && is_named(entry, class_name)) return entry.create();
  }
  throw run_time_error(RunTime::cannot_create_object, class_name);
}

}  // namespace quarno::boundary
