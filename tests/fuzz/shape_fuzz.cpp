// The SHAPE language.
#include "ado/shape/shape_text.h"
#include "fuzz/fuzz.h"

const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {
    "SHAPE {select '}' from p}APPEND ({{call c(?)}}RELATE a TO PARAMETER 0, [b]]c] TO \"d\") AS k",
    "SHAPE (SHAPE TABLE t AS x COMPUTE x, SUM(x.a.b) s BY c, 'd') APPEND ((SHAPE {q} APPEND (r RELATE a TO "
    "b)) "
    "AS z RELATE a TO b), COUNT(z), NEW adVarChar(10, 2) n",
    "SHAPE APPEND NEW adInteger AS a; ",
    "SHAPE {a -- don't\n /* } */ [x}] `}`} c COMPUTE c, AVG(c.[x}]) BY c.a",
};

namespace {

// Whatever is accepted can be run: every item says what it needs to.
bool is_whole(const quarno::ado::shape::Shape& shape) {
  using namespace quarno::ado::shape;
  const auto is_source = [](const Source& source) {
    if (source.kind == Source::Kind::shape) return source.shape != nullptr && is_whole(*source.shape);
    return source.kind == Source::Kind::statement || !source.text.empty();
  };
  if (shape.parent.kind != Source::Kind::none && !is_source(shape.parent)) return false;
  for (const Item& item : shape.items) {
    const bool is_child = item.kind == Item::Kind::chapter && !shape.computes;
    if (is_child && (item.relations.empty() || !is_source(item.child))) return false;
    if (item.kind == Item::Kind::aggregate && item.path.empty()) return false;
    if (shape.computes && item.kind == Item::Kind::chapter && item.path.size() != 1) return false;
  }
  return !shape.items.empty() || (shape.computes && !shape.by.empty());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno::ado::shape;
  return expect_refused_or([&] { return is_whole(parse_shape(text_of(data, size))); });
}
