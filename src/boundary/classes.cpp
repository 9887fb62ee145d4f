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
#include "util/CFileReader.h"
#include "util/CSuperLog.h"

namespace quarno::boundary {
namespace {

template <class T>
Ptr<automation::Object> create_new() {
  return make<T>();
}

template <class T>
constexpr ClassEntry creatable(std::string_view summary) {
  return {T::kClassName, summary, true, &T::members, &create_new<T>};
}

template <class T>
constexpr ClassEntry handed_out(std::string_view summary) {
  return {T::kClassName, summary, false, &T::members, nullptr};
}

constexpr ClassEntry kClasses[] = {
    creatable<CData>("Data access: one object for each data source."),
    creatable<CError>("The error record of data access."),
    creatable<Corvex>("Rules of emission monitoring: queries, validity codes, event and export files."),
    creatable<CFileReader>("Reads delimited text files."),
    creatable<CPing>("Asks whether an IPv4 address answers."),
    creatable<CSuperLog>("Writes the host's own log files."),
    handed_out<ado::Connection>("A connection to a data source, from CData.GetConnection."),
    handed_out<ado::Errors>("What the data source reported, from Connection.Errors."),
    handed_out<ado::ErrorObject>("One error of a data source."),
    handed_out<ado::Recordset>("The rows of a query, from CData.GetRecordSet or Connection.Execute."),
    handed_out<ado::Fields>("The fields of a recordset."),
    handed_out<ado::Field>("One field of a recordset."),
    handed_out<ado::Properties>("Dynamic properties of a connection or a field."),
    handed_out<ado::Property>("One dynamic property."),
};

constexpr std::string_view kPrefix = "QuarnoFwk.";

}  // namespace

std::span<const ClassEntry> classes() { return kClasses; }

Ptr<automation::Object> create(std::string_view class_name) {
  std::string_view name = class_name;
  if (text::equal_fold(name.substr(0, kPrefix.size()), kPrefix)) name.remove_prefix(kPrefix.size());
  for (const ClassEntry& entry : kClasses) {
    if (entry.creatable && text::equal_fold(entry.name, name)) return entry.create();
  }
  throw run_time_error(RunTime::cannot_create_object, class_name);
}

}  // namespace quarno::boundary
