// A server for SQL Server's driver to talk to: speaks TDS 7.4 on loopback, answers statements from a script,
// and keeps what it was sent. One thread accepts, one serves each connection.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quarno::test {

namespace tds {

/// The protocol's type tokens that have a length of their own, null included.
enum Token : std::uint8_t {
  kImage = 0x22,
  kText = 0x23,
  kGuid = 0x24,
  kInt = 0x26,
  kDate = 0x28,
  kTime = 0x29,
  kDateTime2 = 0x2A,
  kDateTimeOffset = 0x2B,
  kNText = 0x63,
  kBit = 0x68,
  kDecimal = 0x6A,
  kNumeric = 0x6C,
  kFloat = 0x6D,
  kMoney = 0x6E,
  kDateTime = 0x6F,
  kVarBinary = 0xA5,
  kVarChar = 0xA7,
  kBinary = 0xAD,
  kChar = 0xAF,
  kNVarChar = 0xE7,
  kNChar = 0xEF
};
inline constexpr std::uint32_t kMax = 0xFFFF;  // the size of the (max) types
inline constexpr std::uint16_t kNullable = 1;

struct Column {
  std::string name;
  Token token;
  std::uint32_t size = 0;  // in bytes
  std::uint8_t precision = 0;
  std::uint8_t scale = 0;
  std::uint16_t flags = kNullable;
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
std::string message(std::int32_t number, int severity, const std::string& text);
std::string done(std::optional<std::int64_t> count = {}, bool failed = false);

/// Whole results.
std::string rows(const std::vector<Column>& columns, const std::vector<std::vector<Cell>>& rows);
std::string failure(std::int32_t number, const std::string& text, int severity = 16);

}  // namespace tds

struct TdsAnswer {
  enum class Then {
    end,    // of the answer, as it should be
    drop,   // the connection
    stall,  // until the client cancels
    deaf    // to all that comes, for ever
  };
  std::vector<std::string> results = {};
  Then then = Then::end;
  std::size_t burst = 0;               // bytes sent at once, 0 for all
  std::chrono::milliseconds pause{0};  // before each burst
};

struct TdsParameter {
  std::uint8_t token = 0;
  std::uint32_t size = 0;
  std::uint8_t scale = 0;
  tds::Cell bytes;
  bool operator==(const TdsParameter&) const = default;
};

struct TdsRequest {
  std::string text;       // a statement's, a procedure's name, or "<begin>", "<commit>", "<rollback>",
                          // "<cancel>"
  std::string procedure;  // that was asked to run the text; empty for others
  std::vector<TdsParameter> parameters;
};

struct TdsLogin {
  std::string user, password, application, database;
  std::uint32_t version = 0;
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
  void answer(const std::string& text, std::string result);

  /// What came in, in its order; the requests since the last call.
  std::vector<TdsRequest> take_requests();
  std::vector<TdsLogin> logins();
  /// Ends all connections. New ones are let in.
  void drop_all();

 private:
  class Client;

  void accept_clients();
  TdsAnswer answer_to(const std::string& text);

  TdsLogin account_;
  int listener_;
  int port_ = 0;
  std::mutex mutex_;  // of all below
  std::condition_variable stopping_;
  bool stops_ = false;
  std::vector<std::pair<std::string, TdsAnswer>> script_;
  std::vector<TdsRequest> requests_;
  std::vector<TdsLogin> logins_;
  std::vector<int> sockets_;
  std::vector<std::thread> clients_;
  std::thread accepting_;
};

}  // namespace quarno::test
