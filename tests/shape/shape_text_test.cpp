#include "ado/shape/shape_text.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "common/error.h"
#include "common/text.h"

namespace quarno::ado::shape {
namespace {

// A tree as text: "(parent alias + child alias RELATE a=b,c=?0 AS name, SUM(x.y))", "%" for COMPUTE, "/" for
// BY.
std::string printed(const Shape& shape);

std::string printed(const Source& source) {
  constexpr const char* kMarks[] = {"", "", "TABLE ", "", "="};
  const std::string own = source.kind == Source::Kind::shape
                              ? printed(*source.shape)
                              : kMarks[static_cast<int>(source.kind)] + source.text;
  return own + (source.alias.empty() ? "" : "@" + source.alias);
}

std::string printed(const Item& item) {
  std::string result;
  if (item.kind == Item::Kind::aggregate) {
    result = std::string(name_of(item.function)) + "(" + text::join(item.path, ".") + ")";
  } else if (item.kind == Item::Kind::fresh) {
    result = "NEW " + std::to_string(static_cast<int>(item.type)) + ":" + std::to_string(item.size) + ":" +
             std::to_string(item.scale);
  } else {
    result = item.path.empty() ? printed(item.child) : item.path.front();
  }
  for (const Relation& each : item.relations) {
    result +=
        " " + each.parent + "=" + (each.parameter < 0 ? each.child : "?" + std::to_string(each.parameter));
  }
  return item.name.empty() ? result : result + " AS " + item.name;
}

std::string printed(const Shape& shape) {
  std::vector<std::string> items;
  for (const Item& item : shape.items) items.push_back(printed(item));
  return "(" + printed(shape.parent) + (shape.computes ? " % " : " + ") + text::join(items, ", ") +
         (shape.by.empty() ? "" : " / " + text::join(shape.by, ",")) + ")";
}

std::string parsed(const std::string& text) {
  try {
    return printed(parse_shape(text));
  } catch (const Error& error) {
    EXPECT_EQ(error.number, kErrorsInCommand);
    EXPECT_TRUE(error.from_provider);
    EXPECT_EQ(error.source, "QuarnoFwk Shape Service");
    return "! " + error.description.substr(0, error.description.find(", near"));
  }
}

TEST(ShapeText, WhatHostsWriteIsRead) {
  const std::pair<const char*, const char*> rows[] = {
      {"SHAPE {p}APPEND ({c}RELATE a TO b)", "(p + c a=b)"},
      {" shape\r\n{ select 1 } append\t( { select 2 } relate a to b ) as Kids ;",
       "( select 1  +  select 2  a=b AS Kids)"},
      {"SHAPE {p} AS x APPEND ({c} y RELATE [a b] TO 'c''d', \"e\"\"f\" TO g]) z",
       "! Syntax error in the SHAPE command at character 65"},
      {"SHAPE {p} AS x APPEND ({c} y RELATE [a b] TO 'c''d', \"e\"\"f\" TO [g]]]) z",
       "(p@x + c@y a b=c'd e\"f=g] AS z)"},
      // Braces: nested, in quotes, and where the quotes are not in pairs.
      {"SHAPE {{call p(?)}} APPEND ({x = '}' and \"{\" = 1} RELATE a TO PARAMETER 0, b TO PARAMETER 1)",
       "({call p(?)} + x = '}' and \"{\" = 1 a=?0 b=?1)"},
      {"SHAPE {don't {x}} APPEND ({c}RELATE a TO b)", "(don't {x} + c a=b)"},
      // A quote in a comment is none, as a brace in a name.
      {"SHAPE {a -- don't\n} APPEND ({b -- don't }RELATE a TO b)", "(a -- don't\n + b -- don't  a=b)"},
      {"SHAPE {a /* } ' */} APPEND ({b /* it's { */}RELATE a TO b)", "(a /* } ' */ + b /* it's { */ a=b)"},
      {"SHAPE {[it's}] '--'} APPEND ({`that's{`, \"[\"}RELATE a TO b)",
       "([it's}] '--' + `that's{`, \"[\" a=b)"},
      {"SHAPE TABLE [my table] APPEND (TABLE c k RELATE a TO b), (k RELATE c TO d) AS again, COUNT(k) n, "
       "SUM(k.v) AS s, Any ( k.m.w )",
       "(TABLE my table + TABLE c@k a=b, =k c=d AS again, COUNT(k) AS n, SUM(k.v) AS s, ANY(k.m.w))"},
      {"SHAPE {p} APPEND ((SHAPE {c} AS cc APPEND (({g}) RELATE x TO y) AS gg) AS c RELATE a TO b) AS k",
       "(p + (c@cc + g x=y AS gg)@c a=b AS k)"},
      {"SHAPE {p} APPEND (SHAPE {c} APPEND ({g} RELATE x TO y) RELATE a TO b)", "(p + (c + g x=y) a=b)"},
      {"SHAPE (SHAPE {c} AS k COMPUTE k, AVG(k.v) AS v BY a, b) AS kk COMPUTE kk, MAX(kk.v) BY kk.a",
       "((c@k % k, AVG(k.v) AS v / a,b)@kk % kk, MAX(kk.v) / a)"},
      {"SHAPE {c} k COMPUTE COUNT(k)", "(c@k % COUNT(k))"},
      {"SHAPE {c} COMPUTE BY a", "(c %  / a)"},
      {"SHAPE APPEND NEW adInteger AS n, NEW adNumeric(10, 2) d, NEW adVarChar(20)",
       "( + NEW 3:0:255 AS n, NEW 131:10:2 AS d, NEW 200:20:255)"},
      {"SHAPE {p} APPEND ({à} RELATE a TO à)", "(p + à a=à)"},
      // What is not.
      {"", "! Syntax error in the SHAPE command at character 1 (its end): expected SHAPE."},
      {"SHAPE {à", "! Syntax error in the SHAPE command at character 7"},
      {"SHAPE {à} FROM",
       "! Syntax error in the SHAPE command at character 15 (its end): expected APPEND or COMPUTE."},
      {"SHAPE {p} APPEND {c} RELATE a TO b", "! Syntax error in the SHAPE command at character 18"},
      {"SHAPE {p} APPEND ({c})", "! Syntax error in the SHAPE command at character 22"},
      {"SHAPE {p} APPEND ({c} RELATE a b)", "! Syntax error in the SHAPE command at character 32"},
      {"SHAPE {p} APPEND ({c} RELATE a TO b) AS k)", "! Syntax error in the SHAPE command at character 42"},
      {"SHAPE {p} APPEND ({c} RELATE a TO PARAMETER x)",
       "! Syntax error in the SHAPE command at character 45"},
      {"SHAPE {p} APPEND ({c} RELATE a TO b), SUM(Chapter1)",
       "! Syntax error in the SHAPE command at character 51"},
      {"SHAPE {p} APPEND CALC(a + b)",
       "! CALC columns are not served: put the expression into the data source's statement."},
      {"SHAPE {p} APPEND NEW adChapter", "! Syntax error in the SHAPE command at character 22"},
      {"SHAPE {p} APPEND ({c} RELATE \"a TO b)", "! Syntax error in the SHAPE command at character 30"},
      {"SHAPE {p} APPEND ({c} RELATE '' TO b)", "! Syntax error in the SHAPE command at character 30"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(parsed(text), expected) << text;
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "SHAPE (";
  EXPECT_EQ(parsed(deep), "! Syntax error in the SHAPE command at character 113");
  const std::string open(100'000, '{'), closed(100'000, '}');
  EXPECT_EQ(parsed("SHAPE " + open), "! Syntax error in the SHAPE command at character 7");
  EXPECT_EQ(parsed("SHAPE " + open + closed + " COMPUTE BY a"),
            "(" + open.substr(1) + closed.substr(1) + " %  / a)");
  // In time that grows with the text, whatever seems to begin in it.
  for (const char* begin : {"/*", "'", "[", "--", "\n--'"}) {
    std::string many = "SHAPE {";
    for (int i = 0; i < 200'000; ++i) many += begin;
    EXPECT_EQ(parsed(many), "! Syntax error in the SHAPE command at character 7");
  }
}

TEST(ShapeText, OnlyShapesAreTaken) {
  for (const char* text : {"SHAPE {p}", "\n shape{p}", "Shape"}) EXPECT_TRUE(is_shape(text)) << text;
  for (const char* text : {"", "SELECT 1", "SHAPES", "SHAPE_2 {p}", "x SHAPE {p}"})
    EXPECT_FALSE(is_shape(text)) << text;
}

}  // namespace
}  // namespace quarno::ado::shape
