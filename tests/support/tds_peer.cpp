#include "support/tds_peer.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "common/text.h"

namespace quarno::test {

namespace tds {
namespace {

constexpr std::size_t kDoneLength = 13;
constexpr char kDone = '\xFD', kDoneProc = '\xFE', kDoneInProc = '\xFF';
enum DoneStatus : std::uint16_t { kNothing = 0, kMore = 1, kFailed = 2, kCounted = 0x10, kCancelled = 0x20 };
const std::string kCollation = "\x09\x04\xD0" + std::string(1, '\0') + "\x34";  // Latin, code page 1252

enum class Frame { byte, word, pieces, pointer };

// How a type is described, and how its values tell their length.
struct Shape {
  int size_bytes;
  int digit_bytes;  // precision and scale, or scale alone
  bool has_collation;
  Frame frame;
};

Shape shape_of(std::uint8_t token, std::uint32_t size) {
  const Frame frame = size == kMax ? Frame::pieces : Frame::word;
  switch (token) {
    case kDecimal:
    case kNumeric: return {1, 2, false, Frame::byte};
    case kDate: return {0, 0, false, Frame::byte};
    case kTime:
    case kDateTime2:
    case kDateTimeOffset: return {0, 1, false, Frame::byte};
    case kVarChar:
    case kChar:
    case kNVarChar:
    case kNChar: return {2, 0, true, frame};
    case kVarBinary:
    case kBinary: return {2, 0, false, frame};
    case kImage: return {4, 0, false, Frame::pointer};
    case kText:
    case kNText: return {4, 0, true, Frame::pointer};
    default: return {1, 0, false, Frame::byte};
  }
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
  switch (shape_of(column.token, column.size).frame) {
    case Frame::byte: return cell ? le(cell->size(), 1) + *cell : le(0, 1);
    case Frame::word: return cell ? le(cell->size(), 2) + *cell : le(kMax, 2);
    case Frame::pointer:
      return cell ? le(16, 1) + std::string(24, 'p') + le(cell->size(), 4) + *cell : le(0, 1);
    case Frame::pieces: break;
  }
  if (!cell) return std::string(8, '\xFF');
  std::string result = le(cell->size(), 8);
  for (std::size_t at = 0; at < cell->size(); at += kPiece) {
    const std::string piece = cell->substr(at, kPiece);
    result += le(piece.size(), 4) + piece;
  }
  return result + le(0, 4);
}

std::string changed_environment(int kind, const std::string& now, const std::string& before) {
  const std::string body = le(static_cast<std::uint64_t>(kind), 1) + now + before;
  return "\xE3" + le(body.size(), 2) + body;
}

std::string utf8(std::string_view wide) {
  std::string result;
  for (std::size_t at = 0; at + 1 < wide.size(); at += 2) {
    const auto unit = [&](std::size_t i) {
      return static_cast<std::uint32_t>(static_cast<unsigned char>(wide[i]) |
                                        static_cast<unsigned char>(wide[i + 1]) << 8);
    };
    std::uint32_t code = unit(at);
    if ((code & 0xFC00) == 0xD800 && at + 3 < wide.size()) {
      code = 0x10000 + ((code & 0x3FF) << 10) + (unit(at + 2) & 0x3FF);
      at += 2;
    }
    text::append_character(result, static_cast<char32_t>(code));
  }
  return result;
}

// Takes a message apart; what is beyond its end reads as zeros.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}
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
    Shape shape = shape_of(result.token, 0);
    result.size = static_cast<std::uint32_t>(number(shape.size_bytes));
    shape = shape_of(result.token, result.size);
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
    const int width = frame == Frame::byte ? 1 : frame == Frame::word ? 2 : 4;
    const std::uint64_t length = number(width);
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
  std::string result;
  for (std::size_t at = 0; at < utf8.size();) {
    const auto code = static_cast<std::uint32_t>(text::next_character(utf8, at));
    result += code < 0x10000 ? le(code, 2)
                             : le(0xD800 | (code - 0x10000) >> 10, 2) + le(0xDC00 | (code & 0x3FF), 2);
  }
  return result;
}

std::string columns(const std::vector<Column>& columns) {
  std::string result = "\x81" + le(columns.size(), 2);
  for (const Column& each : columns) {
    result += le(0, 4) + le(each.flags, 2) + type_info(each);
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

std::string message(std::int32_t number, int severity, const std::string& text) {
  const std::string body = le(static_cast<std::uint32_t>(number), 4) + le(1, 1) +
                           le(static_cast<std::uint64_t>(severity), 1) + counted_text(text, 2) +
                           counted_text("peer", 1) + counted_text("", 1) + le(1, 4);
  return (severity > 10 ? "\xAA" : "\xAB") + le(body.size(), 2) + body;
}

std::string done(std::optional<std::int64_t> count, bool failed) {
  return kDone + le((count ? kCounted : kNothing) | (failed ? kFailed : kNothing), 2) + le(0, 2) +
         le(static_cast<std::uint64_t>(count.value_or(0)), 8);
}

std::string rows(const std::vector<Column>& described, const std::vector<std::vector<Cell>>& rows) {
  std::string result = columns(described);
  for (const auto& each : rows) result += row(described, each);
  return result + done(static_cast<std::int64_t>(rows.size()));
}

std::string failure(std::int32_t number, const std::string& text, int severity) {
  return message(number, severity, text) + done({}, true);
}

}  // namespace tds

// One connection, on a thread of its own.
class TdsPeer::Client {
 public:
  Client(TdsPeer& peer, int socket) : peer_(peer), socket_(socket) {}

  void serve() {
    while (receive()) {
      const bool goes_on = deaf_ || respond();
      if (goes_on) continue;
      ::shutdown(socket_, SHUT_RDWR);
      return;
    }
  }

 private:
  enum Packet : std::uint8_t {
    kBatch = 1,
    kRpc = 3,
    kAttention = 6,
    kTransaction = 14,
    kLogin = 16,
    kPrelogin = 18
  };
  static constexpr std::size_t kHeader = 8;
  static constexpr std::size_t kPacket = 4096;

  bool take(std::size_t count, std::string& bytes) {
    bytes.resize(count);
    return count == 0 || ::recv(socket_, bytes.data(), count, MSG_WAITALL) == static_cast<ssize_t>(count);
  }

  // A whole message.
  bool receive() {
    message_.clear();
    for (bool last = false; !last;) {
      std::string header;
      std::string body;
      if (!take(kHeader, header)) return false;
      kind_ = static_cast<std::uint8_t>(header[0]);
      last = (header[1] & 1) != 0;
      const auto length = static_cast<std::size_t>(static_cast<unsigned char>(header[2]) << 8 |
                                                   static_cast<unsigned char>(header[3]));
      if (length < kHeader || !take(length - kHeader, body)) return false;
      message_ += body;
    }
    return true;
  }

  bool send(const std::string& tokens, bool whole = true, std::size_t burst = 0,
            std::chrono::milliseconds pause = {}) {
    std::string bytes;
    for (std::size_t at = 0; at < tokens.size();) {
      const std::string body = tokens.substr(at, kPacket - kHeader);
      at += body.size();
      const bool last = whole && at == tokens.size();
      const std::size_t length = body.size() + kHeader;
      bytes += std::string("\x04") + (last ? '\x01' : '\0') + static_cast<char>(length >> 8) +
               static_cast<char>(length & 0xFF) + std::string(4, '\0') + body;
    }
    if (burst == 0) burst = bytes.size();
    for (std::size_t at = 0; at < bytes.size();) {
      if (pause.count() > 0) {
        std::unique_lock lock(peer_.mutex_);
        if (peer_.stopping_.wait_for(lock, pause, [&] { return peer_.stops_; })) return false;
      }
      const ssize_t sent =
          ::send(socket_, bytes.data() + at, std::min(burst, bytes.size() - at), MSG_NOSIGNAL);
      if (sent <= 0) return false;
      at += static_cast<std::size_t>(sent);
    }
    return true;
  }

  bool respond() {
    switch (kind_) {
      case kPrelogin: return send(prelogin());
      case kLogin: return log_in();
      case kAttention:
        note({"<cancel>", {}, {}});
        return send(tds::kDone + tds::le(tds::kCancelled, 2) + tds::le(0, 10));
      case kTransaction: return change_transaction();
      case kBatch: return run({body().text(message_.size()), {}, {}});
      case kRpc: return call();
      default: return false;
    }
  }

  // Version, and no encryption to be had.
  static std::string prelogin() {
    using namespace std::string_literals;
    return "\x00\x00\x0B\x00\x06"s + "\x01\x00\x11\x00\x01"s + "\xFF"s + "\x0F\x00\x00\x00\x00\x00"s +
           "\x02"s;
  }

  bool log_in() {
    const auto number = [&](std::size_t at, int bytes) {
      return tds::Reader(std::string_view(message_).substr(std::min(at, message_.size()))).number(bytes);
    };
    const auto field = [&](std::size_t at) {
      return message_.substr(std::min<std::size_t>(number(at, 2), message_.size()), number(at + 2, 2) * 2);
    };
    std::string password = field(44);
    for (char& c : password) {
      const auto bits = static_cast<unsigned char>(c) ^ 0xA5u;
      c = static_cast<char>(bits << 4 | bits >> 4);
    }
    const TdsLogin login{tds::utf8(field(40)), tds::utf8(password), tds::utf8(field(48)),
                         tds::utf8(field(68)), static_cast<std::uint32_t>(number(4, 4))};
    {
      const std::lock_guard lock(peer_.mutex_);
      peer_.logins_.push_back(login);
    }
    const TdsLogin& account = peer_.account_;
    if (login.user != account.user || login.password != account.password) {
      send(tds::failure(18456, "Login failed for user '" + login.user + "'.", 14));
      return false;
    }
    if (login.database != account.database) {
      send(tds::failure(911, "Database '" + login.database + "' does not exist."));
      return false;
    }
    using namespace std::string_literals;
    const std::string known =
        "\x01\x74\x00\x00\x04"s + tds::counted_text("Microsoft SQL Server", 1) + "\x0F\x00\x07\xD0"s;
    return send(
        tds::changed_environment(1, tds::counted_text(login.database, 1), tds::counted_text("master", 1)) +
        tds::changed_environment(7, tds::le(5, 1) + tds::kCollation, tds::le(0, 1)) + "\xAD" +
        tds::le(known.size(), 2) + known +
        tds::changed_environment(4, tds::counted_text("4096", 1), tds::counted_text("4096", 1)) +
        tds::done());
  }

  // Requests begin with headers that tell their own length.
  tds::Reader body() const {
    tds::Reader reader(message_);
    const std::uint64_t length = reader.number(4);
    reader.bytes(length - 4);
    return reader;
  }

  bool change_transaction() {
    tds::Reader reader = body();
    const std::uint64_t asked = reader.number(2);
    const std::string name = asked == 5 ? "<begin>" : asked == 7 ? "<commit>" : "<rollback>";
    reader.bytes(asked == 5 ? 1 : 0);
    reader.bytes(reader.number(1));
    const bool begins_next = asked != 5 && (reader.number(1) & 1) != 0;
    const std::string id = tds::le(8, 1) + tds::le(++transactions_, 8);
    const std::string none = tds::le(0, 1);
    note({name, {}, {}});
    const int change = asked == 5 ? 8 : asked == 7 ? 9 : 10;
    std::string tokens = tds::changed_environment(change, asked == 5 ? id : none, asked == 5 ? none : id);
    if (begins_next) {
      note({"<begin>", {}, {}});
      tokens += tds::changed_environment(8, id, none);
    }
    return send(tokens + tds::done());
  }

  bool call() {
    constexpr std::uint64_t kByNumber = 0xFFFF;
    tds::Reader reader = body();
    const std::uint64_t length = reader.number(2);
    const std::uint64_t number = length == kByNumber ? reader.number(2) : 0;
    const std::string name = length != kByNumber ? reader.text(length)
                             : number == 12      ? "sp_execute"
                             : number == 13      ? "sp_prepexec"
                             : number == 15      ? "sp_unprepare"
                                                 : "unknown";
    reader.number(2);
    TdsRequest request{name, name, {}};
    while (!reader.at_end()) request.parameters.push_back(reader.parameter());
    const auto first = request.parameters.begin();
    if (name == "sp_prepexec") {
      handles_.push_back(tds::utf8(request.parameters.at(2).bytes.value_or("")));
      request = {handles_.back(), name, {first + 3, request.parameters.end()}};
    } else if (name == "sp_execute" || name == "sp_unprepare") {
      const std::uint64_t handle = tds::Reader(request.parameters.at(0).bytes.value_or("")).number(4);
      request = {handles_.at(handle - 1), name, {first + 1, request.parameters.end()}};
    }
    return run(request);
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
    for (std::size_t i = 0; i < answer.results.size(); ++i) {
      std::string& result = answer.results[i];
      const std::size_t at = result.size() - tds::kDoneLength;
      const bool more = !procedure.empty() || i + 1 < answer.results.size();
      failed = failed || (result[at + 1] & tds::kFailed) != 0;
      if (!procedure.empty()) result[at] = tds::kDoneInProc;
      if (more) result[at + 1] = static_cast<char>(result[at + 1] | tds::kMore);
      tokens += result;
    }
    if (answer.then != TdsAnswer::Then::end) {
      // The driver is left in the middle of it.
      if (!answer.results.empty()) tokens.resize(tokens.size() - tds::kDoneLength);
      deaf_ = answer.then == TdsAnswer::Then::deaf;
      return send(tokens, false, answer.burst, answer.pause) && answer.then != TdsAnswer::Then::drop;
    }
    if (!procedure.empty()) {
      tokens += "\x79" + tds::le(failed ? 1 : 0, 4);
      if (procedure == "sp_prepexec") {
        const tds::Column handle{{}, tds::kInt, 4};
        tokens += "\xAC" + tds::le(0, 2) + tds::le(0, 1) + tds::le(1, 1) + tds::le(0, 6) +
                  tds::type_info(handle) + tds::framed(handle, tds::le(handles_.size(), 4));
      }
      tokens += tds::kDoneProc + tds::le(failed ? tds::kFailed : 0, 2) + tds::le(0, 10);
    }
    return send(tokens, true, answer.burst, answer.pause);
  }

  TdsPeer& peer_;
  int socket_;
  bool deaf_ = false;
  std::uint8_t kind_ = 0;
  std::string message_;
  std::uint64_t transactions_ = 0;
  std::vector<std::string> handles_;  // prepared statements, by their number
};

TdsPeer::TdsPeer(std::string user, std::string password, std::string database)
    : account_{std::move(user), std::move(password), {}, std::move(database), 0},
      listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
  ::listen(listener_, 8);
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  accepting_ = std::thread([this] { accept_clients(); });
}

TdsPeer::~TdsPeer() {
  {
    const std::lock_guard lock(mutex_);
    stops_ = true;
  }
  stopping_.notify_all();
  ::shutdown(listener_, SHUT_RDWR);
  accepting_.join();
  drop_all();
  for (std::thread& each : clients_) each.join();
  for (const int socket : sockets_) ::close(socket);
  ::close(listener_);
}

void TdsPeer::accept_clients() {
  for (;;) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    const std::lock_guard lock(mutex_);
    sockets_.push_back(socket);
    clients_.emplace_back([this, socket] { Client(*this, socket).serve(); });
  }
}

void TdsPeer::answer(const std::string& text, TdsAnswer answer) {
  const std::lock_guard lock(mutex_);
  script_.emplace_back(text, std::move(answer));
}

void TdsPeer::answer(const std::string& text, std::string result) {
  TdsAnswer whole;
  whole.results.push_back(std::move(result));
  answer(text, std::move(whole));
}

TdsAnswer TdsPeer::answer_to(const std::string& text) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(script_.rbegin(), script_.rend(), [&](const auto& rule) {
    return text.find(rule.first) != std::string::npos;
  });
  if (found != script_.rend()) return found->second;
  return {.results = {tds::failure(102, "Nobody foresaw: " + text)}};
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
