#include "net/CPing.h"

#include <array>
#include <bit>
#include <charconv>
#include <vector>

#include "automation/member_table.h"
#include "common/text.h"
#include "net/ping_text.h"
#include "platform/icmp.h"

namespace quarno {
namespace {

constexpr int kTimeoutMs = 500;
constexpr std::string_view kPayload = "1";

// Four decimal numbers with points, in network byte order. Shorter forms are refused: "1" would be 0.0.0.1.
std::optional<std::uint32_t> parsed_address(std::string_view text) {
  const auto parts = text::split(text, ".");
  if (parts.size() != 4) return std::nullopt;
  std::array<std::uint8_t, 4> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char* const end = parts[i].data() + parts[i].size();
    const auto result = std::from_chars(parts[i].data(), end, bytes[i]);
    if (parts[i].empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  }
  const auto address = std::bit_cast<std::uint32_t>(bytes);
  // The broadcast address reads as "no address" to the caller's interface.
  return address == 0xFFFFFFFF ? std::nullopt : std::optional(address);
}

std::int32_t echo_status(std::string_view address_text) {
  const auto address = parsed_address(address_text);
  if (!address) return net::kBadAddress;
  // Where no request can be sent at all, nothing is known against the other machine.
  const auto status = platform::icmp().echo(*address, kPayload, kTimeoutMs);
  return static_cast<std::int32_t>(status.value_or(platform::EchoStatus::success));
}

}  // namespace

bool CPing::Ping(const std::string& Address) {
  const std::int32_t status = echo_status(Address);
  last_message_ = status == 0 ? std::string() : net::status_text(status);
  return status == 0;
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    method<&CPing::Ping>(
        "Ping", {param("Address")},
        "Whether the IPv4 address (four numbers with points; names are not resolved) answers within "
        "500 ms. True as well where the process may not send echo requests."),
};

}  // namespace

std::span<const automation::Member> CPing::members() { return kMembers; }

}  // namespace quarno
