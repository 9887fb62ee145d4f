// One ICMP echo request and what came back.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/registry.h"

namespace quarno::platform {

/// Status codes of an echo, as hosts know them.
enum class EchoStatus : std::int32_t {
  success = 0,
  net_unreachable = 11002,
  host_unreachable = 11003,
  protocol_unreachable = 11004,
  port_unreachable = 11005,
  no_resources = 11006,
  packet_too_big = 11009,
  timed_out = 11010,
  ttl_expired = 11013,
  reassembly_expired = 11014,
  parameter_problem = 11015,
  bad_destination = 11018,
  general_failure = 11050,
};

class Icmp {
 public:
  virtual ~Icmp() = default;
  /// Sends one request with `payload` to an IPv4 address in network byte order and waits for its reply, at
  /// most `timeout_ms`. Nothing when the process may not send echo requests at all.
  virtual std::optional<EchoStatus> echo(std::uint32_t address, std::string_view payload, int timeout_ms) = 0;
};

inline Icmp& icmp() { return port<Icmp>(); }

}  // namespace quarno::platform
