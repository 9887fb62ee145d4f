#include "net/CPing.h"

#include <gtest/gtest.h>

#include <chrono>

#include "platform/fake/fakes.h"

namespace quarno {
namespace {

TEST(CPing, TellsTheAnswerAndKeepsItsText) {
  platform::fake::ScriptedIcmp icmp;
  const platform::ScopedPort<platform::Icmp> in_place(icmp);
  CPing ping;
  EXPECT_TRUE(ping.Ping("127.0.0.1"));
  EXPECT_EQ(icmp.last_address, 0x0100007Fu) << "in network byte order";
  EXPECT_EQ(icmp.last_payload, "1");
  EXPECT_EQ(icmp.last_timeout_ms, 500);
  EXPECT_EQ(ping.last_message(), "");
  icmp.answer = platform::EchoStatus::timed_out;
  EXPECT_FALSE(ping.Ping("127.0.0.1"));
  EXPECT_EQ(ping.last_message(), "11010   [ ip req timed out ]");
  icmp.answer = static_cast<platform::EchoStatus>(4711);
  EXPECT_FALSE(ping.Ping("127.0.0.1"));
  EXPECT_EQ(ping.last_message(), "4711   [ unknown  msg returned ]");
  icmp.answer = std::nullopt;
  EXPECT_TRUE(ping.Ping("127.0.0.1")) << "no right to send says nothing about the other machine";
  icmp.last_address = 0;
  for (const char* text :
       {"", "999.1.1.1", "localhost", "1", "127.1", "1.2.3.4.5", "1.2.3.4 ", "255.255.255.255", "-1.2.3.4"}) {
    EXPECT_FALSE(ping.Ping(text)) << text;
    EXPECT_EQ(ping.last_message(), "-1   [ inet_addr: bad IP format ]");
  }
  EXPECT_EQ(icmp.last_address, 0u) << "nothing was sent";
}

TEST(CPing, ReachesTheLoopback) {
  // The real thing; without the right to send it is true as well, and at once.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(CPing().Ping("127.0.0.1"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(450));
}

}  // namespace
}  // namespace quarno
