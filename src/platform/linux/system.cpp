// The small adapters: clock, locale, module path.
#include <dlfcn.h>
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <ctime>

#include "common/text.h"
#include "platform/clock.h"
#include "platform/locale.h"
#include "platform/module_path.h"

namespace quarno::platform {
namespace {

class LinuxClock : public Clock {
 public:
  Date now() override {
    timeval time{};
    ::gettimeofday(&time, nullptr);
    tm local{};
    ::localtime_r(&time.tv_sec, &local);
    CivilTime civil;
    civil.year = local.tm_year + 1900;
    civil.month = local.tm_mon + 1;
    civil.day = local.tm_mday;
    civil.hour = local.tm_hour;
    civil.minute = local.tm_min;
    civil.second = local.tm_sec < 60 ? local.tm_sec : 59;  // a leap second
    civil.microsecond = static_cast<int>(time.tv_usec);
    return date_from_civil(civil).value_or(Date{});
  }
};

// A strftime format such as "%d/%m/%Y" or "%-d.%-m.%y": the letters of its fields, and what stands between
// the first two.
struct TimeFormat {
  std::string fields;
  std::string separator;
};

TimeFormat time_format(const std::string& format, const char* fallback_separator) {
  TimeFormat result;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') {
      if (result.fields.size() == 1) result.separator.push_back(format[i]);
      continue;
    }
    i = format.find_first_not_of("-_0^#EO", i + 1);  // flags of the field
    if (i == std::string::npos) break;
    result.fields.push_back(format[i]);
  }
  if (result.separator.empty() || result.fields.size() < 2) result.separator = fallback_separator;
  return result;
}

// The locale's texts come in its own character set. What cannot be converted stays as it is.
std::string utf8_from(const std::string& codeset, const std::string& bytes) {
  if (codeset == "UTF-8") return bytes;
  const iconv_t converter = ::iconv_open("UTF-8", codeset.c_str());
  // NOLINTNEXTLINE(performance-no-int-to-ptr): it is how iconv_open says that it cannot
  if (converter == reinterpret_cast<iconv_t>(-1)) return bytes;
  std::string source = bytes;
  std::string target(bytes.size() * 4, '\0');
  char* in = source.data();
  char* out = target.data();
  std::size_t in_left = source.size();
  std::size_t out_left = target.size();
  const bool converted = ::iconv(converter, &in, &in_left, &out, &out_left) != static_cast<std::size_t>(-1);
  ::iconv_close(converter);
  target.resize(target.size() - out_left);
  return converted ? target : bytes;
}

class LinuxLocale : public Locale {
 public:
  LinuxLocale() {
    const locale_t system = ::newlocale(LC_ALL_MASK, "", locale_t{});
    if (system == locale_t{}) return;
    read(system);
    ::freelocale(system);
  }
  const LocaleInfo& info() override { return info_; }

 private:
  void read(locale_t system) {
    const std::string codeset = ::nl_langinfo_l(CODESET, system);
    const auto item = [&](nl_item which) { return utf8_from(codeset, ::nl_langinfo_l(which, system)); };
    if (const std::string decimal = item(RADIXCHAR); !decimal.empty()) info_.decimal = decimal;
    const std::string group = item(THOUSEP);
    info_.group = !group.empty() ? group : info_.decimal == "," ? "." : ",";
    const TimeFormat date = time_format(item(D_FMT), "/");
    const auto day = date.fields.find_first_of("de");
    const auto month = date.fields.find_first_of("mbB");
    const auto year = date.fields.find_first_of("yY");
    using Order = LocaleInfo::DateOrder;
    if (year < month && year < day) {
      info_.date_order = Order::year_month_day;
    } else {
      info_.date_order = month < day ? Order::month_day_year : Order::day_month_year;
    }
    info_.date_separator = date.separator;
    info_.time_separator = time_format(item(T_FMT), ":").separator;
    for (std::size_t i = 0; i < info_.month_abbreviations.size(); ++i) {
      info_.month_abbreviations[i] = item(ABMON_1 + static_cast<nl_item>(i));
    }
  }

  LocaleInfo info_;
};

class LinuxModulePath : public ModulePath {
 public:
  std::string file() override {
    static const char own_address = 0;
    Dl_info info{};
    if (::dladdr(&own_address, &info) == 0 || info.dli_fname == nullptr) return "CorvexFwk.so";
    std::array<char, PATH_MAX> full{};
    return ::realpath(info.dli_fname, full.data()) != nullptr ? std::string(full.data())
                                                              : std::string(info.dli_fname);
  }
};

}  // namespace

template <>
std::unique_ptr<Clock> make_adapter<Clock>() {
  return std::make_unique<LinuxClock>();
}
template <>
std::unique_ptr<Locale> make_adapter<Locale>() {
  return std::make_unique<LinuxLocale>();
}
template <>
std::unique_ptr<ModulePath> make_adapter<ModulePath>() {
  return std::make_unique<LinuxModulePath>();
}

}  // namespace quarno::platform
