#include "fuzz/fuzz.h"
#include "providers/odbc/statement_text.h"

const int kMutations = 20'000;
const std::vector<std::string> kSeeds = {"SELECT a AS b, \"c\" d FROM t;", "{call p('a', 1)}",
                                         "start transaction read only;", "ROLLBACK TO x"};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno::odbc;
  const std::string_view text = text_of(data, size);
  is_alias(text, text.substr(0, size / 4));
  const std::string call = call_of_procedure(text);
  return expect_refused_or([&] {
    // A statement is one thing only, and a call has its parentheses.
    const int kinds =
        int{is_single_query(text)} + int{begins_transaction(text).has_value()} + int{!call.empty()};
    return kinds <= 1 && (call.empty() || call.find('(') != std::string::npos);
  });
}
