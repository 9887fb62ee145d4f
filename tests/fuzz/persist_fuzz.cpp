// Snapshots out of any bytes: what is taken can be written, unless it holds what the format cannot, and comes
// back the same; the blocks in which it is read make no difference.
#include "ado/ado_error.h"
#include "fuzz/fuzz.h"
#include "persist/snapshots.h"

const int kMutations = 20'000;
namespace {
const std::string kBegin =
    "<xml xmlns:s='uuid:BDC6E3F0-6DA3-11d1-A2A3-00AA00C14882' "
    "xmlns:d='uuid:C2F41010-65B3-11d1-A29F-00AA00C14882' "
    "xmlns:r='urn:schemas-microsoft-com:rowset' xmlns:z='#R'><s:Schema id='R'><s:ElementType name='row'>";
const std::string kMiddle = "</s:ElementType></s:Schema><r:data>";
const std::string kEnd = "</r:data></xml>";
std::string typed(const std::string& key, const std::string& words) {
  return "<s:AttributeType name='" + key + "' " + words + "/>";
}
}  // namespace
const std::vector<std::string> kSeeds = {
    kBegin + typed("a", "d:type='int'") + typed("b", "r:name='b b' d:type='string' d:maxLength='5'") +
        typed("c", "d:type='number' r:dbtype='numeric' r:scale='2' r:precision='9'") +
        typed("e", "d:type='dateTime'") + typed("f", "d:type='bin.hex'") + kMiddle +
        "<z:row a='1' b='t\tx' c='.50' e='2024-01-02T03:04:05.5' f='0a\n0b'/><r:update><r:original><z:row "
        "a='2'/>"
        "</r:original><z:row a='3' r:forcenull='b'/></r:update><r:insert><z:row "
        "b='&#x26;'/></r:insert><r:delete>"
        "<z:row a='4'/></r:delete>" +
        kEnd,
    kBegin + typed("a", "d:type='i2' r:number='2'") + typed("g", "d:type='uuid'") +
        typed("h", "d:type='boolean'") + typed("i", "d:type='r4'") +
        typed("j", "d:type='number' r:dbtype='currency'") + typed("k", "d:type='time'") +
        "<s:ElementType name='L' r:relation='020000000100000000000000'>" + typed("a", "d:type='i8'") +
        "</s:ElementType>" + kMiddle +
        "<z:row a='1' g='{0123abcd-4567-89ef-0123-456789abcdef}' h='true' i='1.5' j='-9.75' k='01:02:03'><L "
        "a='1'/>"
        "<L a='2' r:duplicate='true'/></z:row>" +
        kEnd};

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quarno::test;
  return expect_refused_or([&] {
    const std::string_view bytes = text_of(data, size);
    const Opened file = opened(bytes);
    const auto slowly = [source = quarno::ado::persist::memory_source(bytes)](std::span<char> buffer) {
      return source(buffer.first(std::min<std::size_t>(buffer.size(), 37)));
    };
    if (told(opened(slowly, 1)) != told(file)) return false;
    const std::string text = saved(file);
    const Opened again = opened(text);
    // Columns may have been widened or made nullable for their values, but only once.
    return told(*again.rows) == told(*file.rows) && saved(again) == text;
  });
}
