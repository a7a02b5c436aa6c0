#include <kes/media/time_point.hpp>

#include <cstdio>
#include <ostream>

namespace kes::media {

std::ostream& operator<<(
    std::ostream& out,
    std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds> time) {
    // The split is done on the count: counting a floored day back in nanoseconds would overflow
    // within a day of the clock's earliest value.
    using std::chrono::nanoseconds;
    constexpr nanoseconds Day = std::chrono::hours(24);
    nanoseconds const sinceEpoch = time.time_since_epoch();
    nanoseconds::rep const remainder = sinceEpoch.count() % Day.count();
    bool const beforeEpoch = remainder < 0;
    std::chrono::sys_days const day(
        std::chrono::days(sinceEpoch.count() / Day.count() - (beforeEpoch ? 1 : 0)));
    std::chrono::hh_mm_ss const clock(nanoseconds(remainder) +
                                      (beforeEpoch ? Day : nanoseconds(0)));
    std::chrono::year_month_day const date(day);

    // Formatted apart from the stream, whose number format and locale belong to its owner.
    char text[64];
    std::snprintf(text, sizeof text, "\"%04d-%02u-%02uT%02d:%02d:%02d.%09lldZ\"",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()),
                  static_cast<long long>(clock.subseconds().count()));
    return out << text;
}

}  // namespace kes::media
