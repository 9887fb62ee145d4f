#include "support/tds_peer.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <codecvt>
#include <cstring>
#include <locale>

namespace quarno::test {

using namespace std::string_literals;

namespace tds {
namespace {

constexpr std::size_t kDoneLength = 13;
constexpr char kDone = '\xFD', kDoneProc = '\xFE', kDoneInProc = '\xFF';
constexpr unsigned kMore = 1, kFailed = 2, kCounted = 0x10, kCancelled = 0x20;  // how a result is done
const std::string kCollation = "\x09\x04\xD0\0\x34"s;                           // Latin, code page 1252
using Utf16 = std::wstring_convert<std::codecvt_utf8_utf16<char16_t>, char16_t>;

// How a type is described, and how its values tell their length.
enum class Frame { byte, word, pieces, pointer };
struct Shape {
  int size_bytes;
  int digit_bytes;  // precision and scale, or scale alone
  bool has_collation;
  Frame frame;
};

Shape shape_of(std::uint8_t token, std::uint32_t size) {
  const Frame frame = size == kMax ? Frame::pieces : Frame::word;
  // clang-format off
  switch (token) {
    case kDecimal: case kNumeric: return {1, 2, false, Frame::byte};
    case kDate: return {0, 0, false, Frame::byte};
    case kTime: case kDateTime2: case kDateTimeOffset: return {0, 1, false, Frame::byte};
    case kVarChar: case kChar: case kNVarChar: case kNChar: return {2, 0, true, frame};
    case kVarBinary: case kBinary: return {2, 0, false, frame};
    case kImage: return {4, 0, false, Frame::pointer};
    case kText: case kNText: return {4, 0, true, Frame::pointer};
    default: return {1, 0, false, Frame::byte};
  }
  // clang-format on
}

std::string counted_text(const std::string& utf8, int count_bytes) {
  const std::string wide = utf16(utf8);
  return le(wide.size() / 2, count_bytes) + wide;
}

std::string type_info(const Column& column) {
  const Shape shape = shape_of(column.token, column.size);
  std::string info = le(column.token, 1) + le(column.size, shape.size_bytes);
  if (shape.digit_bytes == 2) info += le(column.precision, 1);
  if (shape.digit_bytes > 0) info += le(column.scale, 1);
  return shape.has_collation ? info + kCollation : info;
}

std::string framed(const Column& column, const Cell& cell) {
  constexpr std::size_t kPiece = 5001;  // ends inside of characters
  const Frame frame = shape_of(column.token, column.size).frame;
  if (frame == Frame::byte) return cell ? le(cell->size(), 1) + *cell : le(0, 1);
  if (frame == Frame::word) return cell ? le(cell->size(), 2) + *cell : le(kMax, 2);
  if (frame == Frame::pointer) {
    return cell ? le(16, 1) + std::string(24, 'p') + le(cell->size(), 4) + *cell : le(0, 1);
  }
  std::string result = le(cell ? cell->size() : UINT64_MAX, 8);
  for (std::size_t at = 0; cell && at < cell->size(); at += kPiece) {
    const std::string piece = cell->substr(at, kPiece);
    result += le(piece.size(), 4) + piece;
  }
  return cell ? result + le(0, 4) : result;
}

std::string changed_environment(std::uint64_t kind, const std::string& now, const std::string& before) {
  return "\xE3" + le(1 + now.size() + before.size(), 2) + le(kind, 1) + now + before;
}

std::string utf8(std::string_view wide) {
  std::u16string units(wide.size() / 2, 0);
  std::memcpy(units.data(), wide.data(), units.size() * 2);
  return Utf16().to_bytes(units);
}

// Takes a message apart; what is beyond its end reads as zeros.
class Reader {
 public:
  explicit Reader(std::string_view bytes, std::size_t at = 0) : rest_(bytes) { this->bytes(at); }
  bool at_end() const { return rest_.empty(); }
  std::string_view bytes(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::uint64_t number(int count) {
    std::uint64_t value = 0;
    int shift = 0;
    for (const char c : bytes(static_cast<std::size_t>(count))) {
      value |= std::uint64_t{static_cast<unsigned char>(c)} << shift;
      shift += 8;
    }
    return value;
  }
  std::string text(std::size_t units) { return utf8(bytes(units * 2)); }

  TdsParameter parameter() {
    text(number(1));
    number(1);
    TdsParameter result;
    result.token = static_cast<std::uint8_t>(number(1));
    result.size = static_cast<std::uint32_t>(number(shape_of(result.token, 0).size_bytes));
    const Shape shape = shape_of(result.token, result.size);
    if (shape.digit_bytes == 2) number(1);
    if (shape.digit_bytes > 0) result.scale = static_cast<std::uint8_t>(number(1));
    if (shape.has_collation) bytes(kCollation.size());
    result.bytes = value(shape.frame);
    return result;
  }

 private:
  Cell value(Frame frame) {
    if (frame == Frame::pieces) {
      if (number(8) == UINT64_MAX) return {};
      std::string whole;
      while (const std::uint64_t piece = number(4)) whole += bytes(piece);
      return whole;
    }
    const std::uint64_t length = number(frame == Frame::byte ? 1 : frame == Frame::word ? 2 : 4);
    const std::uint64_t null = frame == Frame::byte ? 0 : frame == Frame::word ? kMax : UINT32_MAX;
    return length == null ? Cell() : Cell(bytes(length));
  }

  std::string_view rest_;
};

}  // namespace

std::string le(std::uint64_t number, int bytes) {
  std::string result;
  for (; bytes > 0; --bytes, number >>= 8) result += static_cast<char>(number & 0xFF);
  return result;
}

std::string utf16(const std::string& utf8) {
  const std::u16string units = Utf16().from_bytes(utf8);
  return {reinterpret_cast<const char*>(units.data()), units.size() * 2};
}

std::string columns(const std::vector<Column>& columns) {
  std::string result = "\x81" + le(columns.size(), 2);
  for (const Column& each : columns) {
    result += le(0, 4) + le(each.nullable, 2) + type_info(each);
    if (shape_of(each.token, each.size).frame == Frame::pointer) result += le(1, 1) + counted_text("T", 2);
    result += counted_text(each.name, 1);
  }
  return result;
}

std::string row(const std::vector<Column>& columns, const std::vector<Cell>& cells) {
  std::string result = "\xD1";
  for (std::size_t i = 0; i < columns.size(); ++i) result += framed(columns[i], cells.at(i));
  return result;
}

std::string message(int number, int severity, const std::string& text) {
  const std::string body = le(static_cast<std::uint64_t>(number), 4) + le(1, 1) +
                           static_cast<char>(severity) + counted_text(text, 2) + counted_text("peer", 1) +
                           counted_text("", 1) + le(1, 4);
  return (severity > 10 ? "\xAA" : "\xAB") + le(body.size(), 2) + body;
}

std::string done(std::optional<std::uint64_t> count, bool failed) {
  return kDone + le((count ? kCounted : 0u) | (failed ? kFailed : 0u), 4) + le(count.value_or(0), 8);
}

std::string rows(const std::vector<Column>& described, const std::vector<std::vector<Cell>>& rows) {
  std::string result = columns(described);
  for (const auto& each : rows) result += row(described, each);
  return result + done(rows.size());
}

std::string failure(int number, const std::string& text, int severity) {
  return message(number, severity, text) + done({}, true);
}

}  // namespace tds

using tds::le;

// One connection, on a thread of its own.
class TdsPeer::Client {
 public:
  Client(TdsPeer& peer, int socket) : peer_(peer), socket_(socket) {}

  void serve() {
    while (receive()) {
      if (!deaf_ && !respond()) break;
    }
    ::shutdown(socket_, SHUT_RDWR);
  }

 private:
  enum Packet { kBatch = 1, kRpc = 3, kAttention = 6, kTransaction = 14, kLogin = 16, kPrelogin = 18 };
  static constexpr std::size_t kHeader = 8, kPacket = 4096;

  bool take(std::size_t count, std::string& bytes) {
    bytes.resize(count);
    return count == 0 || ::recv(socket_, bytes.data(), count, MSG_WAITALL) == static_cast<ssize_t>(count);
  }

  // A whole message.
  bool receive() {
    message_.clear();
    for (bool last = false; !last;) {
      std::string header, body;
      if (!take(kHeader, header)) return false;
      kind_ = header[0];
      last = (header[1] & 1) != 0;
      const std::size_t length = ntohs(static_cast<std::uint16_t>(tds::Reader(header, 2).number(2)));
      if (length < kHeader || !take(length - kHeader, body)) return false;
      message_ += body;
    }
    return true;
  }

  bool send(const std::string& tokens, bool whole = true) {
    std::string bytes;
    for (std::size_t at = 0; at < tokens.size();) {
      const std::string body = tokens.substr(at, kPacket - kHeader);
      at += body.size();
      const auto length = static_cast<std::uint16_t>(body.size() + kHeader);
      bytes += "\x04" + le(whole && at == tokens.size(), 1) + le(htons(length), 2) + le(0, 4) + body;
    }
    return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
  }

  bool respond() {
    switch (kind_) {
      case kPrelogin:  // version, and no encryption to be had
        return send("\0\0\x0B\0\x06\x01\0\x11\0\x01\xFF\x0F\0\0\0\0\0\x02"s);
      case kLogin: return log_in();
      case kAttention: note({"<cancel>"}); return send(tds::kDone + le(tds::kCancelled, 12));
      case kTransaction: return change_transaction();
      case kBatch: return run({body().text(message_.size())});
      case kRpc: return call();
      default: return false;
    }
  }

  bool log_in() {
    const auto number = [&](std::size_t at, int bytes) { return tds::Reader(message_, at).number(bytes); };
    const auto field = [&](std::size_t at, unsigned char mask = 0) {
      std::string wide(tds::Reader(message_, number(at, 2)).bytes(number(at + 2, 2) * 2));
      for (char& c : wide) {
        const unsigned bits = static_cast<unsigned char>(c) ^ mask;
        if (mask != 0) c = static_cast<char>(bits << 4 | bits >> 4);
      }
      return tds::utf8(wide);
    };
    const TdsLogin login{field(40), field(44, 0xA5), field(48), field(68), number(4, 4)};
    {
      const std::lock_guard lock(peer_.mutex_);
      peer_.logins_.push_back(login);
    }
    const bool known = login.user == peer_.account_.user && login.password == peer_.account_.password;
    if (!known || login.database != peer_.account_.database) {
      send(known ? tds::failure(911, "Database '" + login.database + "' does not exist.")
                 : tds::failure(18456, "Login failed for user '" + login.user + "'.", 14));
      return false;
    }
    const auto text = [](const std::string& utf8) { return tds::counted_text(utf8, 1); };
    const std::string server = "\x01\x74\0\0\x04"s + text("Microsoft SQL Server") + "\x0F\0\x07\xD0"s;
    return send(tds::changed_environment(1, text(login.database), text("master")) +
                tds::changed_environment(7, "\x05" + tds::kCollation, le(0, 1)) + "\xAD" +
                le(server.size(), 2) + server + tds::changed_environment(4, text("4096"), text("4096")) +
                tds::done());
  }

  // Requests begin with headers that tell their own length.
  tds::Reader body() const { return tds::Reader(message_, tds::Reader(message_).number(4)); }

  bool change_transaction() {
    tds::Reader reader = body();
    const std::uint64_t asked = reader.number(2);
    const bool begins = asked == 5, commits = asked == 7;
    reader.bytes(begins ? 1 : 0);
    reader.bytes(reader.number(1));
    const bool begins_next = !begins && (reader.number(1) & 1) != 0;
    const std::string id = le(8, 1) + le(++transactions_, 8), none = le(0, 1);
    std::string tokens;
    if (!begins) {
      note({commits ? "<commit>" : "<rollback>"});
      tokens = tds::changed_environment(commits ? 9 : 10, none, id);
    }
    if (begins || begins_next) {
      note({"<begin>"});
      tokens += tds::changed_environment(8, id, none);
    }
    return send(tokens + tds::done());
  }

  bool call() {
    tds::Reader reader = body();
    const std::uint64_t length = reader.number(2);
    const std::uint64_t number = length == 0xFFFF ? reader.number(2) : 0;
    const std::string name = length != 0xFFFF ? reader.text(length)
                             : number == 12   ? "sp_execute"
                             : number == 13   ? "sp_prepexec"
                                              : "sp_unprepare";
    reader.number(2);
    std::vector<TdsParameter> given;
    while (!reader.at_end()) given.push_back(reader.parameter());
    const auto text_of = [&](std::size_t i) { return given.at(i).bytes.value_or(""); };
    if (name == "sp_prepexec") {
      handles_.push_back(tds::utf8(text_of(2)));
      return run({handles_.back(), name, {given.begin() + 3, given.end()}});
    }
    const std::uint64_t handle = tds::Reader(text_of(0)).number(4);
    return run({handles_.at(handle - 1), name, {given.begin() + 1, given.end()}});
  }

  void note(TdsRequest request) {
    const std::lock_guard lock(peer_.mutex_);
    peer_.requests_.push_back(std::move(request));
  }

  bool run(const TdsRequest& request) {
    note(request);
    const std::string& procedure = request.procedure;
    TdsAnswer answer = procedure == "sp_unprepare" ? TdsAnswer{} : peer_.answer_to(request.text);
    std::string tokens;
    bool failed = false;
    for (std::string& result : answer.results) {
      char* const done = result.data() + result.size() - tds::kDoneLength;
      failed = failed || (done[1] & tds::kFailed) != 0;
      if (!procedure.empty()) done[0] = tds::kDoneInProc;
      if (!procedure.empty() || &result != &answer.results.back())
        done[1] = static_cast<char>(done[1] | tds::kMore);
      tokens += result;
    }
    if (answer.then != TdsAnswer::Then::end) {
      // The driver is left in the middle of it.
      if (!answer.results.empty()) tokens.resize(tokens.size() - tds::kDoneLength);
      deaf_ = answer.then == TdsAnswer::Then::deaf;
      return send(tokens, false) && answer.then != TdsAnswer::Then::drop;
    }
    if (!procedure.empty()) tokens += "\x79" + le(failed, 4);
    if (procedure == "sp_prepexec") {
      const tds::Column handle{{}, tds::kInt, 4};
      tokens += "\xAC" + le(0, 3) + le(1, 1) + le(0, 6) + tds::type_info(handle) +
                tds::framed(handle, le(handles_.size(), 4));
    }
    if (!procedure.empty()) tokens += tds::kDoneProc + le(failed ? tds::kFailed : 0u, 12);
    return send(tokens);
  }

  TdsPeer& peer_;
  int socket_;
  bool deaf_ = false;
  int kind_ = 0;
  std::string message_;
  std::uint64_t transactions_ = 0;
  std::vector<std::string> handles_;  // prepared statements, by their number
};

TdsPeer::TdsPeer(std::string user, std::string password, std::string database)
    : account_{std::move(user), std::move(password), {}, std::move(database)},
      listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  socklen_t length = sizeof address;
  ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
  ::listen(listener_, 8);
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  accepting_ = std::thread([this] {
    for (int socket; (socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
      const std::lock_guard lock(mutex_);
      sockets_.push_back(socket);
      clients_.emplace_back([this, socket] { Client(*this, socket).serve(); });
    }
  });
}

TdsPeer::~TdsPeer() {
  ::shutdown(listener_, SHUT_RDWR);
  accepting_.join();
  drop_all();
  for (std::thread& each : clients_) each.join();
  for (const int socket : sockets_) ::close(socket);
  ::close(listener_);
}

void TdsPeer::answer(const std::string& text, TdsAnswer answer) {
  const std::lock_guard lock(mutex_);
  script_.emplace_back(text, std::move(answer));
}

TdsAnswer TdsPeer::answer_to(const std::string& text) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(script_.rbegin(), script_.rend(), [&](const auto& rule) {
    return text.find(rule.first) != std::string::npos;
  });
  return found != script_.rend() ? found->second : TdsAnswer{{tds::failure(102, "Nobody foresaw: " + text)}};
}

std::vector<TdsRequest> TdsPeer::take_requests() {
  const std::lock_guard lock(mutex_);
  return std::exchange(requests_, {});
}

std::vector<TdsLogin> TdsPeer::logins() {
  const std::lock_guard lock(mutex_);
  return logins_;
}

void TdsPeer::drop_all() {
  const std::lock_guard lock(mutex_);
  for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
}

}  // namespace quarno::test
