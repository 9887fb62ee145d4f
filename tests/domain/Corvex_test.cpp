#include "domain/Corvex.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "common/error.h"
#include "domain/measured_text.h"
#include "platform/fake/fakes.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using platform::ScopedPort;
using platform::fake::FixedClock;
using platform::fake::FixedLocale;
using test::bytes_of;

const Variant kCodes = "'00','VAL'";

class CorvexTest : public ::testing::Test {
 protected:
  test::TempFolder folder_;
  FixedLocale italian_{FixedLocale::italian()};
  FixedClock clock_{{2024, 1, 5, 14, 7, 33}};
  ScopedPort<platform::Locale> locale_scope_{italian_};
  ScopedPort<platform::Clock> clock_scope_{clock_};
  const Corvex corvex_;
};

TEST_F(CorvexTest, QueryTextIsExact) {
  const std::string from =
      "Select AVG(DT_VALUE) as dato FROM MISURE WHERE DT_STATIONCODE = 'E1' AND DT_MeasureCod = 'NOX' ";
  const std::string hour =
      "Select * FROM MISURE WHERE DT_STATIONCODE = 'E1' AND DT_MeasureCod = 'NOX' AND DT_DATE = '20240105' "
      "AND DT_HOUR = '10' ";
  // The validity clause of the day's and the month's query, that of the hour's, which has it even without a
  // column, and the plant-state clause.
  // clang-format off
  const struct { const char* column; Variant condition, plant_state; const char *valid, *of_hour, *state; } rows[] = {
      {"C", kCodes, "1", "AND C IN ('00','VAL') ", "AND C IN ('00','VAL') ", "AND (DT_Custom1 = 1)"},
      {"", kCodes, "1", "", "AND  IN ('00','VAL') ", "AND (DT_Custom1 = 1)"},
      {"C", Variant::null(), "1", "", "", "AND (DT_Custom1 = 1)"},
      {"C", Variant(), Variant(), "AND C IN () ", "AND C IN () ", "AND (DT_Custom1 = )"},
      {"C", "", Variant::null(), "AND C IN () ", "AND C IN () ", ""},
      {"C", "a'b", "'x'", "AND C IN (a'b) ", "AND C IN (a'b) ", "AND (DT_Custom1 = 'x')"},
  };
  // clang-format on
  for (const auto& row : rows) {
    const std::string state = *row.state == '\0' ? "" : std::string(row.state) + " ";
    EXPECT_EQ(corvex_.DatoGiorno("MISURE", "AVG", "E1", "20240105", "NOX", "DT_VALUE", row.column,
                                 row.condition, row.plant_state),
              Variant(from + "AND DT_DATE = '20240105' " + row.valid + state + "GROUP by dt_date"));
    EXPECT_EQ(corvex_.DatoMese("MISURE", "AVG", "E1", "202401", "NOX", "DT_VALUE", row.column, row.condition,
                               row.plant_state),
              Variant(from + "AND DT_DATE LIKE '202401%' " + row.valid + state));
    EXPECT_EQ(corvex_.DatoOra("MISURE", "E1", "20240105", "10", "NOX", "unused", row.column, row.condition,
                              row.plant_state),
              Variant(hour + row.of_hour + row.state));
  }
}

TEST_F(CorvexTest, AConditionThatIsNoTextGivesNoQuery) {
  for (const Variant& bad : {Variant(1), Variant(true), Variant(Date{1}), Variant(Variant::Bytes{1})}) {
    EXPECT_EQ(corvex_.DatoGiorno("T", "MAX", "S", "D", "P", "V", "C", bad, "1"), Variant());
    EXPECT_EQ(corvex_.DatoMese("T", "MAX", "S", "D", "P", "V", "C", kCodes, bad), Variant());
    EXPECT_EQ(corvex_.DatoOra("T", "S", "D", "H", "P", "V", "", bad, Variant::null()), Variant());
    // Without a column the condition is not looked at.
    EXPECT_TRUE(corvex_.DatoGiorno("T", "MAX", "S", "D", "P", "V", "", bad, "1").is_text());
  }
}

TEST_F(CorvexTest, StatusCodesAreExact) {
  // Valid, substituted, and the flag in the export file, which is stored although the file cannot be written.
  const std::pair<std::string, const char*> rows[] = {
      {"00", "10S"},  {"VAL", "10S"}, {"20", "01N"}, {"AUX", "01N"}, {"val", "00N"},
      {"aux", "00N"}, {" 00", "00N"}, {"", "00N"},   {"X", "00X"},   {"x", "00N"}};
  for (const auto& [code, expected] : rows) {
    std::string status = code;
    const int valid = corvex_.Valido(status), substituted = corvex_.Sostitutivo(status);
    corvex_.ScriviSarvia(folder_ / "none/x", "", "", 0, 0, 0, status, 0, 0, 0, 0);
    EXPECT_EQ(std::to_string(valid) + std::to_string(substituted) + status, expected) << code;
  }
}

TEST_F(CorvexTest, HalfHourLabels) {
  // clang-format off
  const std::pair<CivilTime, const char*> rows[] = {
      {{2024, 1, 5, 10, 31}, "10.30"}, {{2024, 1, 5, 10, 30, 59}, "10.00"}, {{2024, 1, 5}, "00.00"},
      {{2024, 1, 5, 23, 59, 59}, "23.30"}, {{2024, 1, 5, 9, 5}, "09.00"}};
  // clang-format on
  for (const auto& [time, label] : rows)
    EXPECT_EQ(corvex_.UltimaMezzora(date_from_civil(time).value()), label);
  EXPECT_EQ(corvex_.UltimaMezzora(Date{-1.75}), "18.00");
}

TEST_F(CorvexTest, StringToDoubleTrimsTheCallersText) {
  std::string text = "  2,50 ";
  EXPECT_EQ(corvex_.StringToDouble(text), 2.5);
  EXPECT_EQ(text, "2,50");
  EXPECT_EQ(corvex_.StringToDouble("  nulla\t "), 0);
}

TEST_F(CorvexTest, ReferenceOxygenIsWeightedByPower) {
  // Powers of coal, oil and gas, the three entries, and the result or, negative, the error.
  const double lost = -9999, huge = 1e308;
  // clang-format off
  const struct { double coal, oil, gas; Variant of_coal, of_oil, of_gas; double result; std::size_t size = 308; } rows[] = {
      {200, 0, 600, "6", "3", "3", 3.75}, {0, 0, 0, "6", "3.5 %", "3", 3.5}, {lost, lost, lost, "6", "3,5", "x", 3},
      {lost, 100, 0, "6", "3", "1", 3}, {1, 1, 2, 6.5, "abc", " 1 1.0", 7.125}, {0, 0, 5, Variant(), true, "4D0", 4},
      {-100, 0, 300, "6", "3", "3", 1.5}, {lost - 1, 0, 0, "6", "3", "3", 6}, {0, 0, 0, Variant::null(), "2", "", 2},
      {1, -1, 0, "6", "3", "3", -11}, {1, 0, 0, "6", "3", Variant::null(), -94},
      {huge, huge, 0, "6", "3", "3", -6}, {huge, 0, 0, "6", "3", "3", -6}, {0, 0, 0, "6", "3", "3", 3, 307},
      {1, 0, 0, "6", "3", "3", -9, 307}, {0, 0, 0, "6", "3", "3", -9, 306}, {0, lost, 0, "6", "3", "3", -9, 0}};
  // clang-format on
  for (const auto& row : rows) {
    Variant::Array par(308);
    par[305] = row.of_coal, par[306] = row.of_oil, par[307] = row.of_gas;
    par.resize(row.size);
    double coal = row.coal, oil = row.oil, gas = row.gas, result = 0;
    try {
      result = corvex_.O2riferimentoVelmoraPowerV2(coal, oil, gas, par);
    } catch (const Error& error) {
      result = -error.number;
    }
    const auto index = &row - rows;
    EXPECT_NEAR(result, row.result, 1e-12) << index;
    // Written back whether or not it fails.
    EXPECT_EQ(coal, row.coal == lost ? 0 : row.coal) << index;
    EXPECT_EQ(oil, row.oil == lost ? 0 : row.oil) << index;
    EXPECT_EQ(gas, row.gas == lost ? 0 : row.gas) << index;
  }
}

TEST_F(CorvexTest, TheMessageWindowIsToldWhatTheModeSays) {
  platform::fake::RecordingDialogs dialogs;
  const ScopedPort<platform::Dialogs> scope(dialogs);
  const std::pair<std::int16_t, const char*> rows[] = {
      {0, "hide "}, {1, "show normal "}, {2, "show top "}, {5, ""}, {-1, ""}, {32767, ""}};
  for (const auto& [mode, done] : rows) {
    dialogs.window.clear();
    EXPECT_FALSE(corvex_.VisualizzaMessaggio("Città", "riga 1\nriga 2", 0x00FFFF, -1, mode));
    EXPECT_EQ(dialogs.window, std::string("Città|riga 1\nriga 2|65535|-1 ") + done) << mode;
  }
}

TEST_F(CorvexTest, UsaCartellaMakesOneFolder) {
  EXPECT_EQ(corvex_.UsaCartella(folder_.path() + "\\Dati"), Variant());
  folder_.put("Dati/kept.txt", "x");
  for (const std::string& path : {folder_ / "Dati", folder_ / "DATI", folder_ / "DATI\\",
                                  folder_ / "none/sub", folder_ / "Dati/kept.txt", std::string()}) {
    EXPECT_EQ(corvex_.UsaCartella(path), Variant());
  }
  EXPECT_EQ(bytes_of(folder_ / "Dati/kept.txt"), "x");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 1);
}

TEST_F(CorvexTest, EventsGoToTheDaysFileOfTheirKind) {
  std::string others;  // kinds without a folder of their own share one
  const std::string line = "05/01/2024 14.07.33 \xE8\r\n";
  const std::pair<std::int16_t, std::string> rows[] = {
      {1, "Errori"}, {10, "Manutenzione"}, {11, "ManutenzionePLV"}, {12, "Taratura"}, {13, "TaraturaPLV"}};
  for (const auto& [kind, sub_folder] : rows) {
    corvex_.CorvexLog("è", kind, folder_.path());
    EXPECT_EQ(bytes_of(folder_ / (sub_folder + "/05-gen24.txt")), line);
  }
  for (const std::int16_t kind : std::initializer_list<std::int16_t>{2, 0, 14}) {
    corvex_.CorvexLog("è", kind, folder_.path());
    EXPECT_EQ(bytes_of(folder_ / "log/05-gen24.txt"), others += line);
  }
  clock_.time = date_from_civil({2024, 5, 31, 23, 59, 59}).value();
  corvex_.CorvexLog("", 1, folder_.path());
  EXPECT_EQ(bytes_of(folder_ / "Errori/31-mag24.txt"), "31/05/2024 23.59.59 \r\n");
}

// Midnight between its two readings.
struct TurningClock : platform::Clock {
  Date now() override { return readings++ == 0 ? Date{45296.99999} : Date{45297.0}; }
  int readings = 0;
};

TEST_F(CorvexTest, TheLineIsStampedWithTheLaterReading) {
  TurningClock clock;
  const ScopedPort<platform::Clock> scope(clock);
  corvex_.CorvexLog("x", 0, folder_.path());
  EXPECT_EQ(bytes_of(folder_ / "log/05-gen24.txt"), "06/01/2024 00.00.00 x\r\n");
}

TEST_F(CorvexTest, ExportRecordsAreAppendedByteForByte) {
  const std::string path = folder_ / "sarvia.txt";
  std::string validity = "VAL";
  EXPECT_EQ(corvex_.ScriviSarvia(path, "E1", "05/01/2024", 3, -2, 0, validity, 100, 32767, 0.5, -3.25),
            Variant(std::int16_t{0}));
  EXPECT_EQ(validity, "S");
  corvex_.ScriviSarvia(path, "è|", "", 1, 1, 1, "20", 0, 0, 12, 1e16);
  // In the file's own form, which does not follow the locale.
  EXPECT_EQ(bytes_of(path), "E1|05/01/2024|3|-2|0|S|100|32767|.5|-3.25\r\n\xE8|||1|1|1|N|0|0|12|1E+16\r\n");
}

TEST_F(CorvexTest, FailuresAreSilent) {
  platform::fake::FailingFiles full(platform::files());
  const ScopedPort<platform::Files> scope(full);
  current_error() = {};
  corvex_.CorvexLog("lost", 1, folder_.path());
  corvex_.CorvexLog("lost", 1, folder_ / "none");
  EXPECT_EQ(corvex_.ScriviSarvia(folder_ / "x", "", "", 0, 0, 0, "VAL", 0, 0, 0, 0),
            Variant(std::int16_t{0}));
  corvex_.ScriviSarvia("", "", "", 0, 0, 0, {}, 0, 0, 0, 0);  // no validity to write back to
  EXPECT_EQ(current_error().number, 0);
  EXPECT_EQ(bytes_of(folder_ / "x"), "");  // opened before the write failed
  EXPECT_FALSE(std::filesystem::exists(folder_ / "none"));
}

TEST(MeasuredText, EitherDecimalSignInEitherLocale) {
  const LocaleInfo point;
  const LocaleInfo comma = platform::fake::FixedLocale::italian();
  // clang-format off
  const struct { const char* text; double in_point; double in_comma; } rows[] = {
      {"2,50", 2.5, 2.5}, {"2.50", 2.5, 2.5}, {"  -3.75 ", -3.75, -3.75}, {"-3,75", -3.75, -3.75},
      {"1000", 1000, 1000}, {"1.0", 1, 1}, {"1,00", 1, 1}, {"1.", 1, 1}, {"0", 0, 0}, {"0.0", 0, 0},
      {"0,500", 0.5, 0.5}, {"10.20", 10.2, 10.2}, {"", 0, 0}, {"   ", 0, 0}, {"abc", 0, 0}, {"12 mg", 0, 0},
      {"1.2.3", 0, 0}, {"1.234,5", 0, 0}, {"1,234.5", 0, 0}, {"1.5 0", 1.5, 1.5}, {".5", 5, 0.5},
      {"+1.5", 15, 1.5}, {"007", 7, 7}, {"1.5E+21", 1.5e21, 1.5e21},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(domain::measured_number(row.text, point), row.in_point) << row.text;
    EXPECT_EQ(domain::measured_number(row.text, comma), row.in_comma) << row.text;
  }
}

}  // namespace
}  // namespace quarno
