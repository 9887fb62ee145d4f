// Delimited text read line by line and column by column with CFileReader against a loop that only finds line
// ends and separators with memchr in the mapped file and counts bytes; and lines of a log written with
// CSuperLog against fprintf and fflush for each line.
//
// usage: text_bench [MEGABYTES [LINES [ROUNDS]]]: the size of the text that is read, the lines of the log
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "measure.h"
#include "support/temp_folder.h"
#include "util/CFileReader.h"
#include "util/CSuperLog.h"

namespace quarno::bench {
namespace {

constexpr char kSeparator = ';';
constexpr std::int16_t kSemicolon = 2;  // SemicolonDelimited

// A text allocates from 16 characters on.
enum class Length { all_short, two_long };

// Hours of ten columns until the file has its size; how many.
long make_text(const std::string& path, Length kind, long megabytes, const char* line_end) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  require(file != nullptr, "making the text");
  long count = 0;
  for (long bytes = 0; bytes < megabytes * 1'000'000; ++count) {
    const int n = static_cast<int>(count % 1'000'000);
    const int day = 1 + n % 28;
    const int month = 1 + n % 12;
    const int year = 2000 + n % 24;
    const int written =
        kind == Length::all_short
            ? std::fprintf(file, "%02d/%02d/%d;%02d:00:00;E%d;%.2f;%.3f;%d.%d;VAL;%.1f;%d;%.4f%s", day, month,
                           year, n % 24, 1 + n % 9, n * 0.01, n % 977 * 0.125, n % 20, n % 10, n % 1000 / 7.0,
                           n, n % 89 / 3.0, line_end)
            : std::fprintf(
                  file, "%02d/%02d/%d %02d:00:00;E%d;NOX;%.2f;%.3f;%d.%d;VAL;%.1f;%d;Camino %d, linea due%s",
                  day, month, year, n % 24, 1 + n % 9, n * 0.01, n % 977 * 0.125, n % 20, n % 10,
                  n % 1000 / 7.0, n, n % 97, line_end);
    require(written > 0, "writing the text");
    bytes += written;
  }
  require(std::fclose(file) == 0, "writing the text");
  return count;
}

// The bytes of all columns; lines end with `last`, one byte of the end being counted as no column's.
Checksum scan(const std::string& path, char last, std::size_t end_length) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat info {};
  require(descriptor >= 0 && ::fstat(descriptor, &info) == 0, "opening the text");
  const auto size = static_cast<std::size_t>(info.st_size);
  void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
  ::close(descriptor);
  require(mapped != MAP_FAILED, "mapping the text");
  Checksum sum;
  const char* const end = static_cast<const char*>(mapped) + size;
  for (const char* at = static_cast<const char*>(mapped); at < end;) {
    const auto* stop = static_cast<const char*>(std::memchr(at, last, static_cast<std::size_t>(end - at)));
    if (stop == nullptr) stop = end;
    while (const void* hit = std::memchr(at, kSeparator, static_cast<std::size_t>(stop - at))) {
      sum.text_bytes += static_cast<const char*>(hit) - at;
      at = static_cast<const char*>(hit) + 1;
    }
    sum.text_bytes += stop - at;
    ++sum.wholes;
    at = stop + end_length;
  }
  ::munmap(mapped, size);
  return sum;
}

template <bool (CFileReader::*kOpen)(const std::string&), bool (CFileReader::*kRead)()>
Checksum read(const std::string& path) {
  const auto reader = make<CFileReader>();
  reader->SetDataMode(kSemicolon);
  require((reader.get()->*kOpen)(path), "opening the text");
  Checksum sum;
  while ((reader.get()->*kRead)()) {
    for (std::int16_t column = 0; column <= reader->ColumnCount; ++column) {
      sum.text(reader->GetColumnValue(column));
    }
    ++sum.wholes;
  }
  return sum;
}

const auto read_lines = read<&CFileReader::OpenFile, &CFileReader::ReadLine>;
const auto read_unix_lines = read<&CFileReader::OpenUnixFile, &CFileReader::ReadUnixLine>;

void measure_reading(Length kind, long megabytes, int rounds) {
  const test::TempFolder folder;
  const std::string lines = folder / "lines.txt";
  const std::string unix_lines = folder / "unix_lines.txt";
  const long count = make_text(lines, kind, megabytes, "\r\n");
  require(make_text(unix_lines, kind, megabytes, "\n") >= count, "comparing the texts");
  std::filesystem::resize_file(unix_lines,
                               std::filesystem::file_size(lines) - static_cast<std::size_t>(count));
  std::printf("%ld lines of 10 columns%s, %ld MB, %d rounds\n", count,
              kind == Length::all_short ? "" : ", two of them of 19 and 20 characters", megabytes, rounds);
  compare({{"memchr, mapped file", [&] { return scan(lines, '\r', 2); }, {}},
           {"memchr, mapped Unix file", [&] { return scan(unix_lines, '\n', 1); }, {}},
           {"CFileReader, ReadLine", [&] { return read_lines(lines); }, {}},
           {"CFileReader, ReadUnixLine", [&] { return read_unix_lines(unix_lines); }, {}}},
          count, rounds);
  for (const bool is_unix : {false, true}) {
    const Result alone = run_program({own_path(), is_unix ? "unix" : "lines", is_unix ? unix_lines : lines});
    std::printf("peak memory of a process with %s: %.1f MB\n", is_unix ? "ReadUnixLine" : "ReadLine",
                static_cast<double>(alone.peak_kb) / 1024);
  }
  std::printf("\n");
}

std::string log_line(long number) {
  return "2015-01-05 10:00:00 E1 NOX, hour " + std::to_string(number) + " stored, state VAL";
}

void measure_log(long count, int rounds) {
  const test::TempFolder folder;
  const std::string path = folder / "app.log";
  std::vector<std::string> lines;
  for (long i = 0; i < count; ++i) lines.push_back(log_line(i));
  // What was written must be there, whole and in order.
  const auto written = [&] {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    require(file != nullptr, "opening the log");
    Checksum sum;
    char line[256];
    for (const std::string& expected : lines) {
      require(std::fgets(line, sizeof line, file.get()) != nullptr && line == expected + "\r\n",
              "comparing the log");
      sum.text(expected);
      ++sum.wholes;
    }
    require(std::fgetc(file.get()) == EOF, "comparing the log");
    return sum;
  };
  const auto write_plain = [&] {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    require(file != nullptr, "making the log");
    for (const std::string& line : lines) {
      require(std::fprintf(file, "%s\r\n", line.c_str()) > 0 && std::fflush(file) == 0, "writing the log");
    }
    require(std::fclose(file) == 0, "writing the log");
  };
  const auto write_log = [&](std::int32_t mode) {
    if (mode == MODE_APPEND) std::filesystem::remove(path);
    const auto log = make<CSuperLog>();
    log->set_fileName(path);
    log->set_OpenMode(mode);
    for (const std::string& line : lines) require(log->WriteLog(line), "writing the log");
    log->CloseLog();
  };
  std::printf("%ld lines of a log, %d rounds\n", count, rounds);
  compare({{"fprintf and fflush", written, {}, write_plain},
           {"CSuperLog, MODE_OVERWRITE", written, {}, [&] { write_log(MODE_OVERWRITE); }},
           {"CSuperLog, MODE_APPEND", written, {}, [&] { write_log(MODE_APPEND); }}},
          count, rounds);
}

void read_alone(const std::string& kind, const std::string& path) {
  print_result(run({kind, [&] { return kind == "unix" ? read_unix_lines(path) : read_lines(path); }, {}}));
}

void measure_all(const std::vector<std::string>& words) {
  if (words.size() == 2 && (words[0] == "unix" || words[0] == "lines")) return read_alone(words[0], words[1]);
  const auto number = [&](std::size_t index, long otherwise) {
    return words.size() > index ? std::atol(words[index].c_str()) : otherwise;
  };
  const long megabytes = number(0, 1000);
  const long lines = number(1, 1'000'000);
  const int rounds = static_cast<int>(number(2, 5));
  require(megabytes > 0 && lines > 0 && rounds > 0, "reading the command line");
  measure_reading(Length::all_short, megabytes, rounds);
  measure_reading(Length::two_long, megabytes, rounds);
  measure_log(lines, rounds);
}

}  // namespace
}  // namespace quarno::bench

int main(int argc, char** argv) {
  using namespace quarno::bench;
  return finished([&] { measure_all({argv + 1, argv + argc}); });
}
