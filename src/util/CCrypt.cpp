#include "util/CCrypt.h"

#include <bit>
#include <cstdint>
#include <random>

#include "automation/member_table.h"
#include "common/error.h"
#include "platform/clock.h"
#include "platform/code_page.h"
#include "util/crypt_text.h"

namespace quarno {
namespace {

// From 0 up to 1, seeded from the clock: only meant to make two cipher texts of one text differ.
float random_number() {
  const auto moment = std::bit_cast<std::uint64_t>(platform::clock().now().days);
  std::mt19937 generator(static_cast<std::uint32_t>(moment ^ (moment >> 32)));
  // As many bits as a single holds: rounding cannot make it 1.
  return static_cast<float>(generator() >> 8) * 0x1p-24F;
}

}  // namespace

std::string CCrypt::Crypt(const std::string& Value) {
  const std::string bytes = platform::code_page().to_ansi(Value);
  // What the code page lacks could not come back.
  if (platform::code_page().from_ansi(bytes) != Value) throw run_time_error(RunTime::invalid_call);
  return util::cipher_text(bytes, util::start_value(random_number()));
}

std::string CCrypt::Decrypt(const std::string& Value) {
  return platform::code_page().from_ansi(util::clear_text(platform::code_page().to_ansi(Value)));
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    method<&CCrypt::Crypt>(
        "Crypt", {param("Value")},
        "The cipher text of a text: hexadecimal digits and blanks, different at each call. One in seventeen "
        "does not decrypt, since its start value has a single digit. Raises 5 for a character that the ANSI "
        "code page lacks."),
    method<&CCrypt::Decrypt>(
        "Decrypt", {param("Value")},
        "The text of a cipher text. What is no hexadecimal digit ends a number, or counts as 0: nothing is "
        "raised."),
};

}  // namespace

std::span<const automation::Member> CCrypt::members() { return kMembers; }

}  // namespace quarno
