// SOCI, as its users read: a rowset of rows, fields by name.
#include <soci/odbc/soci-odbc.h>
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include "contenders.h"
#include "sample.h"

namespace quarno::bench {
namespace {

template <class TakeMoment>
Checksum read_all(soci::session& session, const std::string& statement, TakeMoment&& take_moment) {
  const soci::rowset<soci::row> rows = (session.prepare << statement);
  Checksum sum;
  for (const soci::row& row : rows) {
    sum.whole(row.get<int>(kFields[0]));
    sum.text(row.get<std::string>(kFields[1]));
    sum.text(row.get<std::string>(kFields[2]));
    take_moment(sum, row);
    sum.text(row.get<std::string>(kFields[4]));
    sum.real(row.get<double>(kFields[5]));
    sum.text(row.get<std::string>(kFields[6]));
    sum.whole(row.get<int>(kFields[7]));
  }
  return sum;
}

}  // namespace

Checksum read_odbc_soci(const OdbcTable& from) {
  soci::session session(soci::odbc, "DSN=" + from.source);
  return read_all(session, select_all(from.table), [](Checksum& sum, const soci::row& row) {
    const std::tm moment = row.get<std::tm>(kFields[3]);
    sum.moment(moment.tm_year + 1900, static_cast<unsigned>(moment.tm_mon + 1),
               static_cast<unsigned>(moment.tm_mday), static_cast<unsigned>(moment.tm_hour));
  });
}

Checksum read_file_soci(const std::string& path) {
  soci::session session(soci::sqlite3, path);
  // It takes a column that is declared a date for ISO text, so the moments come from a column declared a
  // number.
  return read_all(session, select_all("m_soci"),
                  [](Checksum& sum, const soci::row& row) { sum.moment(row.get<double>(kFields[3])); });
}

}  // namespace quarno::bench
