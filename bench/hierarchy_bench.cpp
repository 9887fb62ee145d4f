// A hierarchy of a hundred thousand parents and a million children: opened by SelectionShape, related by one
// pair of columns and by two, against the two statements opened as plain queries of CData; and the same with
// every field read. Over a database file, or a MariaDB server of the measurement's own.
//
// usage: hierarchy_bench [PARENTS [ROUNDS [ENGINE ...]]]; the engines are embedded, mariadb
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ado/Recordset.h"
#include "data/CData.h"
#include "measure.h"
#include "sources.h"

namespace quarno::bench {
namespace {

constexpr long kChildrenOfEach = 10;
constexpr std::int32_t kSecondsToFill = 300;

const std::string kParents = "SELECT ID, A, N FROM P";
const std::string kChildren = "SELECT K, P, Q, V, T FROM C";

/// How a data source is reached, and the numbers from 1 on as a column x.
struct Source {
  std::string name;
  std::int16_t kind;
  std::string server;
  std::string database;
  std::string series_begin;
  std::string series_end;

  Ptr<CData> reached() const {
    auto data = make<CData>();
    data->SetMessages(false);
    data->SetDBType(kind);
    if (!server.empty()) data->SetServer(server);
    data->SetDatabase(database);
    return data;
  }
};

// The children of a parent lie far from one another; reals are quarters, whose sum is the same in any order.
void fill(const Source& source, long parents) {
  const Ptr<CData> data = source.reached();
  const auto rows = [&](long count) {
    return " FROM " + source.series_begin + std::to_string(count) + source.series_end;
  };
  const std::string parent = "(1 + (x * 7919) % " + std::to_string(parents) + ")";
  for (const std::string& statement :
       {std::string("CREATE TABLE P (ID INTEGER NOT NULL PRIMARY KEY, A INTEGER, N VARCHAR(20))"),
        std::string(
            "CREATE TABLE C (K INTEGER NOT NULL PRIMARY KEY, P INTEGER, Q INTEGER, V DOUBLE, T VARCHAR(20))"),
        "INSERT INTO P SELECT x, x % 97, 'Station'" + rows(parents),
        "INSERT INTO C SELECT x, " + parent + ", " + parent + " % 97, x * 0.25, 'NOX'" +
            rows(parents * kChildrenOfEach)}) {
    require(data->ExecuteSQL(statement, kSecondsToFill), statement + " (" + data->Err_Description() + ")");
  }
}

void add_parent(Checksum& sum, CData& data) {
  sum.whole(std::get<std::int32_t>(data.GetValue("ID").storage()));
  sum.whole(std::get<std::int32_t>(data.GetValue("A").storage()));
  sum.text(std::get<std::string>(data.GetValue("N").storage()));
}

template <class ValueOf>
void add_child(Checksum& sum, const ValueOf& value) {
  for (const char* name : {"K", "P", "Q"}) sum.whole(std::get<std::int32_t>(value(name).storage()));
  sum.real(std::get<double>(value("V").storage()));
  sum.text(std::get<std::string>(value("T").storage()));
}

/// Two queries, or one that holds both.
class Queries {
 public:
  Queries(const Source& source, std::string relation) : source_(source), relation_(std::move(relation)) {}

  void open() {
    parents_ = source_.reached();
    if (!relation_.empty()) {
      require(parents_->SelectionShape(kParents, kChildren, relation_),
              "SelectionShape (" + parents_->Err_Description() + ")");
      return;
    }
    children_ = source_.reached();
    for (const auto& [data, statement] : {std::pair(parents_, kParents), std::pair(children_, kChildren)}) {
      require(data->Selection({}, {}, {}, statement), "Selection (" + data->Err_Description() + ")");
    }
  }
  /// Of all fields; afterwards nothing is open.
  Checksum read() {
    Checksum sum;
    do {
      add_parent(sum, *parents_);
      bool more = !relation_.empty() && !parents_->IsEofShape();
      for (; more; more = parents_->MoveNextShape()) {
        add_child(sum, [&](const char* name) { return parents_->GetValueShape(name); });
      }
    } while (parents_->MoveNext());
    if (children_) {
      do add_child(sum, [&](const char* name) { return children_->GetValue(name); });
      while (children_->MoveNext());
    }
    parents_ = children_ = nullptr;
    return sum;
  }

 private:
  const Source& source_;
  std::string relation_;
  Ptr<CData> parents_;
  Ptr<CData> children_;
};

void measure(const Source& source, long parents, int rounds) {
  fill(source, parents);
  Queries kinds[] = {{source, ""}, {source, "ID TO P"}, {source, "ID TO P, A TO Q"}};
  const char* const names[] = {"two plain queries", "SelectionShape, one pair", "SelectionShape, two pairs"};
  for (const bool reads : {false, true}) {
    std::printf("%s, %ld parents and %ld children, opened%s, %d rounds\n", source.name.c_str(), parents,
                parents * kChildrenOfEach, reads ? " and read" : "", rounds);
    std::vector<Contender> contenders;
    for (std::size_t i = 0; i < std::size(kinds); ++i) {
      Queries& queries = kinds[i];
      if (reads) {
        contenders.push_back({names[i], [&queries] { return queries.open(), queries.read(); }, {}});
      } else {
        contenders.push_back(
            {names[i], [&queries] { return queries.read(); }, {}, [&queries] { queries.open(); }});
      }
    }
    compare(contenders, parents * (1 + kChildrenOfEach), rounds);
    std::printf("\n");
  }
}

void measure_all(const std::vector<std::string>& words) {
  const long parents = words.empty() ? 100'000 : std::atol(words[0].c_str());
  const int rounds = words.size() > 1 ? std::atoi(words[1].c_str()) : 5;
  require(parents > 0 && rounds > 0, "reading the command line");
  std::vector<std::string> engines(words.begin() + std::min<std::ptrdiff_t>(2, std::ssize(words)),
                                   words.end());
  if (engines.empty()) engines = {"embedded"};
  if (std::erase(engines, "embedded") > 0) {
    const test::TempFolder folder;
    measure({"embedded", data::Conn_Jet, "", folder.put("h.db", ""),
             "(WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < ",
             ") SELECT x FROM c) s"},
            parents, rounds);
  }
  if (engines.empty()) return;
  require(engines == std::vector<std::string>{"mariadb"}, "choosing an engine");
  const Sources sources(engines);
  for (const Engine* each : sources.engines()) {
    measure({each->name, data::Conn_ODBC, each->name, "", "(SELECT seq AS x FROM seq_1_to_", ") s"}, parents,
            rounds);
  }
}

}  // namespace
}  // namespace quarno::bench

int main(int argc, char** argv) {
  using namespace quarno::bench;
  return finished([&] { measure_all({argv + 1, argv + argc}); });
}
