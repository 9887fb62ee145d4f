// Echo requests over a datagram ICMP socket where the system allows them, else over a raw one. Errors that
// routers report come through the socket's error queue.
#include "platform/icmp.h"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>

namespace quarno::platform {
namespace {

using Clock = std::chrono::steady_clock;

class Socket {
 public:
  Socket() {
    descriptor_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (descriptor_ >= 0) return;
    descriptor_ = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    is_raw_ = descriptor_ >= 0;
  }
  ~Socket() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  int descriptor() const { return descriptor_; }
  // A raw socket sees every process's replies, with their IP header; a datagram one only its own, without it.
  bool is_raw() const { return is_raw_; }

 private:
  int descriptor_ = -1;
  bool is_raw_ = false;
};

EchoStatus status_of_errno(int code) {
  switch (code) {
    case ENETUNREACH: return EchoStatus::net_unreachable;
    case EHOSTUNREACH:
    case EHOSTDOWN: return EchoStatus::host_unreachable;
    case ENOBUFS:
    case ENOMEM: return EchoStatus::no_resources;
    case EMSGSIZE: return EchoStatus::packet_too_big;
    case EINVAL: return EchoStatus::bad_destination;
    default: return EchoStatus::general_failure;
  }
}

// Nothing for advice that leaves the request on its way: a redirect, a source quench.
std::optional<EchoStatus> status_of_icmp(int type, int code) {
  if (type == ICMP_TIME_EXCEEDED) {
    return code == ICMP_EXC_FRAGTIME ? EchoStatus::reassembly_expired : EchoStatus::ttl_expired;
  }
  if (type == ICMP_PARAMETERPROB) return EchoStatus::parameter_problem;
  if (type != ICMP_DEST_UNREACH) return std::nullopt;
  switch (code) {
    case ICMP_NET_UNREACH:
    case ICMP_NET_UNKNOWN:
    case ICMP_NET_ANO:
    case ICMP_NET_UNR_TOS: return EchoStatus::net_unreachable;
    case ICMP_PROT_UNREACH: return EchoStatus::protocol_unreachable;
    case ICMP_PORT_UNREACH: return EchoStatus::port_unreachable;
    case ICMP_FRAG_NEEDED: return EchoStatus::packet_too_big;
    default: return EchoStatus::host_unreachable;
  }
}

std::uint16_t checksum(std::string_view bytes) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i]));
    sum += i % 2 == 0 ? byte << 8 : byte;
  }
  while (sum >> 16 != 0) sum = (sum & 0xFFFF) + (sum >> 16);
  return htons(static_cast<std::uint16_t>(~sum));
}

class LinuxIcmp : public Icmp {
 public:
  std::optional<EchoStatus> echo(std::uint32_t address, std::string_view payload, int timeout_ms) override {
    const Socket socket;
    if (socket.descriptor() < 0) return std::nullopt;

    icmphdr header{};
    header.type = ICMP_ECHO;
    header.un.echo.id = htons(static_cast<std::uint16_t>(::getpid()));
    header.un.echo.sequence = htons(next_sequence_++);
    std::string packet(reinterpret_cast<const char*>(&header), sizeof header);
    packet.append(payload);
    header.checksum = checksum(packet);
    packet.replace(0, sizeof header, reinterpret_cast<const char*>(&header), sizeof header);

    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_addr.s_addr = address;
    // From here on a raw socket hears of this address alone, not of whatever other processes ask for.
    const auto* const where = reinterpret_cast<const sockaddr*>(&target);
    if (::connect(socket.descriptor(), where, sizeof target) < 0) return status_of_errno(errno);
    const int on = 1;
    ::setsockopt(socket.descriptor(), IPPROTO_IP, IP_RECVERR, &on, sizeof on);
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    if (::send(socket.descriptor(), packet.data(), packet.size(), MSG_DONTWAIT) < 0) {
      return status_of_errno(errno);
    }
    return wait_for_reply(socket, address, packet, deadline);
  }

 private:
  static EchoStatus wait_for_reply(const Socket& socket, std::uint32_t address, const std::string& request,
                                   Clock::time_point deadline) {
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd ready{socket.descriptor(), POLLIN, 0};
      // A last look when the time is over: the reply may have come in time and this process to its turn too
      // late.
      const int count = ::poll(&ready, 1, left > 0 ? static_cast<int>(left) : 0);
      if (count < 0) {
        if (errno != EINTR) return EchoStatus::general_failure;
        ready.revents = 0;
      }
      if ((ready.revents & POLLERR) != 0) {
        if (const auto failure = reported_failure(socket, address, request)) return *failure;
      }
      if ((ready.revents & POLLIN) != 0 && is_reply(socket, address, request)) return EchoStatus::success;
      if (left <= 0) return EchoStatus::timed_out;
    }
  }

  // What a router or the own system reported for the request; nothing when the queue holds nothing of use.
  static std::optional<EchoStatus> reported_failure(const Socket& socket, std::uint32_t address,
                                                    const std::string& request) {
    std::array<char, 512> data;
    alignas(cmsghdr) std::array<char, 512> control;
    sockaddr_in target{};
    iovec part{data.data(), data.size()};
    msghdr message{};
    message.msg_name = &target;
    message.msg_namelen = sizeof target;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t count = ::recvmsg(socket.descriptor(), &message, MSG_ERRQUEUE | MSG_DONTWAIT);
    if (count < 0) {
      // An error without a report keeps poll() from waiting until it is taken.
      int taken = 0;
      socklen_t size = sizeof taken;
      ::getsockopt(socket.descriptor(), SOL_SOCKET, SO_ERROR, &taken, &size);
      return std::nullopt;
    }
    // A raw socket is told of every process's requests to that address.
    const std::string_view quoted(data.data(), static_cast<std::size_t>(count));
    if (target.sin_addr.s_addr != address || !has_number_of(socket, quoted, request)) return std::nullopt;
    for (cmsghdr* item = CMSG_FIRSTHDR(&message); item != nullptr; item = CMSG_NXTHDR(&message, item)) {
      if (item->cmsg_level != IPPROTO_IP || item->cmsg_type != IP_RECVERR) continue;
      sock_extended_err error;
      std::memcpy(&error, CMSG_DATA(item), sizeof error);
      if (error.ee_origin == SO_EE_ORIGIN_ICMP) return status_of_icmp(error.ee_type, error.ee_code);
      return status_of_errno(static_cast<int>(error.ee_errno));
    }
    return std::nullopt;
  }

  // Whether an ICMP message carries the request's numbers. A datagram socket gets an identifier of the
  // system's choosing, so only the sequence tells there.
  static bool has_number_of(const Socket& socket, std::string_view message, const std::string& request) {
    icmphdr header{};
    icmphdr sent{};
    if (message.size() < sizeof header) return false;
    std::memcpy(&header, message.data(), sizeof header);
    std::memcpy(&sent, request.data(), sizeof sent);
    return header.un.echo.sequence == sent.un.echo.sequence &&
           (!socket.is_raw() || header.un.echo.id == sent.un.echo.id);
  }

  static bool is_reply(const Socket& socket, std::uint32_t address, const std::string& request) {
    std::array<char, 1024> buffer;
    sockaddr_in from{};
    socklen_t from_size = sizeof from;
    const ssize_t count = ::recvfrom(socket.descriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr*>(&from), &from_size);
    if (count < 0 || from.sin_addr.s_addr != address) return false;
    std::string_view packet(buffer.data(), static_cast<std::size_t>(count));
    if (socket.is_raw()) {
      const std::size_t header_size =
          packet.empty() ? 0 : (static_cast<unsigned char>(packet[0]) & 0x0Fu) * 4;
      if (packet.size() < header_size) return false;
      packet.remove_prefix(header_size);
    }
    return has_number_of(socket, packet, request) && packet[0] == ICMP_ECHOREPLY &&
           packet.substr(sizeof(icmphdr)) == std::string_view(request).substr(sizeof(icmphdr));
  }

  std::atomic<std::uint16_t> next_sequence_{1};
};

}  // namespace

template <>
std::unique_ptr<Icmp> make_adapter<Icmp>() {
  return std::make_unique<LinuxIcmp>();
}

}  // namespace quarno::platform
