#include "boundary/classes.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "automation/member.h"
#include "common/text.h"
#include "support/outcome.h"

namespace quarno::boundary {
namespace {

using automation::Member;
using DefaultKind = automation::Default::Kind;

// Whether a default of that kind can stand for a parameter of that type.
bool default_fits(DefaultKind kind, std::string_view type) {
  switch (kind) {
    case DefaultKind::required: return true;
    case DefaultKind::text: return type == "text" || type == "variant";
    case DefaultKind::boolean: return type == "bool" || type == "variant";
    case DefaultKind::missing: return type == "variant";
    case DefaultKind::number: return type != "text" && type != "bool" && type != "object";
  }
  return false;
}

void expect_consistent(const Member& member) {
  EXPECT_TRUE(member.summary.size() > 4 && member.summary.ends_with('.')) << member.summary;
  std::set<std::string> names;
  bool optional = false;
  for (std::size_t i = 0; i < member.parameter_count; ++i) {
    const automation::Parameter& parameter = member.parameters[i];
    SCOPED_TRACE(parameter.name);
    EXPECT_TRUE(names.insert(text::lower_ascii(parameter.name)).second);
    EXPECT_TRUE(default_fits(parameter.fallback.kind, parameter.type_name)) << parameter.type_name;
    const bool required = parameter.fallback.kind == DefaultKind::required;
    EXPECT_FALSE(optional && required) << "stands behind an optional one";
    optional = !required;
  }
}

TEST(Classes, EveryMemberTableIsConsistent) {
  std::set<std::string> class_names;
  for (const ClassEntry& entry : classes()) {
    SCOPED_TRACE(entry.name);
    EXPECT_TRUE(class_names.insert(text::lower_ascii(entry.name)).second);
    const auto object = entry.creatable ? create(entry.name) : Ptr<automation::Object>();
    EXPECT_EQ(object ? object->class_name() : entry.name, entry.name);
    std::set<std::string> names;
    for (const Member& member : entry.members()) {
      SCOPED_TRACE(member.name);
      const auto id = static_cast<automation::MemberId>(names.size());
      EXPECT_TRUE(names.insert(text::lower_ascii(member.name)).second);
      expect_consistent(member);
      EXPECT_EQ(object ? object->find(text::lower_ascii(member.name)) : id, id);
    }
    EXPECT_FALSE(names.empty());
  }
}

TEST(Classes, AreFoundBareOrPrefixedInAnyCase) {
  for (const char* name : {"CORVEX", "quarnofwk.Corvex"}) EXPECT_EQ(create(name)->class_name(), "Corvex");
  for (const char* name : {"", "Corve", "Other.Corvex", "QuarnoFwk.", "QuarnoFwk.QuarnoFwk.Corvex"})
    EXPECT_EQ(test::error_of([&] { return create(name); }), 429) << name;
}

// What stays behind is found by the leak sanitizer at the end.

}  // namespace
}  // namespace quarno::boundary
