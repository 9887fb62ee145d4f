// A server for SQL Server's driver to talk to: speaks TDS 7.4 on loopback, answers statements from a script,
// and keeps what it was sent. One thread accepts, one serves each connection.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quarno::test {

namespace tds {

// clang-format off
/// The protocol's type tokens that have a length of their own, null included.
enum Token : std::uint8_t {
  kImage = 0x22, kText = 0x23, kGuid = 0x24, kInt = 0x26, kDate = 0x28, kTime = 0x29, kDateTime2 = 0x2A,
  kDateTimeOffset = 0x2B, kNText = 0x63, kBit = 0x68, kDecimal = 0x6A, kNumeric = 0x6C, kFloat = 0x6D,
  kMoney = 0x6E, kDateTime = 0x6F, kVarBinary = 0xA5, kVarChar = 0xA7, kBinary = 0xAD, kChar = 0xAF,
  kNVarChar = 0xE7, kNChar = 0xEF
};
// clang-format on
inline constexpr std::uint32_t kMax = 0xFFFF;  // the size of the (max) types

struct Column {
  std::string name;
  Token token;
  std::uint32_t size = 0;  // in bytes
  std::uint8_t precision = 0, scale = 0;
  bool nullable = true;
};
/// A value as the wire has it, without its length; none is null.
using Cell = std::optional<std::string>;

/// The number's bytes, the lowest first.
std::string le(std::uint64_t number, int bytes);
std::string utf16(const std::string& utf8);

// Pieces of an answer. A result is any of them with a done at the end.
std::string columns(const std::vector<Column>& columns);
std::string row(const std::vector<Column>& columns, const std::vector<Cell>& cells);
/// Of severity 10 and less it informs, above it is an error.
std::string message(int number, int severity, const std::string& text);
std::string done(std::optional<std::uint64_t> count = {}, bool failed = false);

/// Whole results.
std::string rows(const std::vector<Column>& columns, const std::vector<std::vector<Cell>>& rows);
std::string failure(int number, const std::string& text, int severity = 16);

}  // namespace tds

struct TdsAnswer {
  // As it should; by dropping the connection; in silence until the client cancels; deaf to all, for ever.
  enum class Then { end, drop, stall, deaf };
  std::vector<std::string> results = {};
  Then then = Then::end;
};

struct TdsParameter {
  std::uint8_t token = 0;
  std::uint32_t size = 0;
  std::uint8_t scale = 0;
  tds::Cell bytes;
};

struct TdsRequest {
  std::string text;  // a statement's, a procedure's name, "<begin>", "<commit>", "<rollback>" or "<cancel>"
  std::string procedure = {};  // that was asked to run the text; empty for others
  std::vector<TdsParameter> parameters = {};
};

struct TdsLogin {
  std::string user, password, application, database;
  std::uint64_t version = 0;
};

class TdsPeer {
 public:
  /// Lets one account in, to one database.
  TdsPeer(std::string user, std::string password, std::string database);
  ~TdsPeer();
  TdsPeer(const TdsPeer&) = delete;
  TdsPeer& operator=(const TdsPeer&) = delete;

  int port() const { return port_; }
  /// How statements that hold the text are answered; of several the last. A statement nobody foresaw fails.
  void answer(const std::string& text, TdsAnswer answer);
  void answer(const std::string& text, std::string result) { answer(text, TdsAnswer{{std::move(result)}}); }
  /// What came in since the last call, in its order.
  std::vector<TdsRequest> take_requests();
  std::vector<TdsLogin> logins();
  /// Ends all connections. New ones are let in.
  void drop_all();

 private:
  class Client;

  TdsAnswer answer_to(const std::string& text);

  TdsLogin account_;
  int listener_;
  int port_ = 0;
  std::mutex mutex_;  // of all below
  std::vector<std::pair<std::string, TdsAnswer>> script_;
  std::vector<TdsRequest> requests_;
  std::vector<TdsLogin> logins_;
  std::vector<int> sockets_;
  std::vector<std::thread> clients_;
  std::thread accepting_;
};

}  // namespace quarno::test
