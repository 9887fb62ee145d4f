// What a server tells of its schema, asked in queries of our own: the drivers' catalogue functions take names
// for patterns, mix up types, and list every database there is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ado/catalog/schema.h"
#include "ado/provider.h"

namespace quarno::odbc {

/// How a kind of server is asked. Texts that are empty have no answer: the list is empty.
struct CatalogQueries {
  std::string_view name;  // how SQL_DBMS_NAME begins
  ado::Ddl ddl = ado::Ddl::none;
  std::string_view tables = {};      // name, type text
  std::string_view views = {};       // name, text
  std::string_view procedures = {};  // name, text
  std::string_view indexes = {};     // name, column, unique, primary; each "?" is the table's name
  bool whole_views = false;          // a view's text is its CREATE VIEW
  bool makes_procedures = false;
  /// Between a procedure's name and a text that is no CREATE of its own; empty: only whole statements will
  /// do.
  std::string_view procedure_head = {};
};

class OdbcCatalog : public ado::SchemaSource {
 public:
  /// The session outlives it.
  OdbcCatalog(ado::Session& session, std::string_view dbms_name);

  bool is_known() const { return !queries_.tables.empty(); }
  std::vector<ado::TableEntry> tables() override;
  std::vector<ado::StoredQuery> views() override;
  std::vector<ado::StoredQuery> procedures() override;
  std::vector<ado::IndexDefinition> indexes(const std::string& table) override;
  ado::Ddl ddl() const override { return queries_.ddl; }
  void create_procedure(const std::string& name, const std::string& text) override;

 private:
  using Texts = std::vector<std::vector<std::string>>;
  Texts ask(std::string_view query, const std::string& table = {});

  ado::Session& session_;
  const CatalogQueries& queries_;
};

/// The statement that makes a procedure of the text; raises 3251 where the server makes none of it.
std::string procedure_statement(const CatalogQueries& queries, const ado::Dialect& dialect,
                                const std::string& name, const std::string& text);
const CatalogQueries& catalog_queries(std::string_view dbms_name);

}  // namespace quarno::odbc
