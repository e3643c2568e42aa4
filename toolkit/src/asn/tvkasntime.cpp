#include <tvkcore/asn/tvkasntime.h>

#include "dercursor.h"

#include <chrono>
#include <cstdio>
#include <optional>

namespace {

constexpr int kFirstTwoDigitYear = 1950;

// Reads decimal digits from the front of a text.
class DigitReader {
public:
    DigitReader(unsigned char const* text, unsigned long length) : at_(text), left_(length) {}

    std::optional<int> number(unsigned int digits) {
        if (left_ < digits) {
            return std::nullopt;
        }
        int value = 0;
        for (unsigned int i = 0; i < digits; ++i) {
            if (at_[i] < '0' || at_[i] > '9') {
                return std::nullopt;
            }
            value = value * 10 + (at_[i] - '0');
        }
        skip(digits);
        return value;
    }

    std::optional<int> number(unsigned int digits, int least, int most) {
        std::optional<int> const value = number(digits);
        return value && *value >= least && *value <= most ? value : std::nullopt;
    }

    bool atDigit() const { return left_ != 0 && *at_ >= '0' && *at_ <= '9'; }
    bool atEnd() const { return left_ == 0; }
    char peek() const { return left_ == 0 ? '\0' : static_cast<char>(*at_); }

    void skip(unsigned int count) {
        at_ += count;
        left_ -= count;
    }

private:
    unsigned char const* at_;
    unsigned long left_;
};

// The minutes that a zone lies ahead of UTC.
std::optional<int> readZone(DigitReader& text) {
    char const sign = text.peek();
    if (sign == 'Z') {
        text.skip(1);
        return 0;
    }
    if (sign != '+' && sign != '-') {
        return std::nullopt;
    }
    text.skip(1);
    std::optional<int> const hours = text.number(2, 0, 12);
    std::optional<int> const minutes = hours ? text.number(2, 0, 59) : std::nullopt;
    if (!minutes) {
        return std::nullopt;
    }
    int const offset = *hours * 60 + *minutes;
    return sign == '+' ? offset : -offset;
}

bool skipFraction(DigitReader& text) {
    text.skip(1);
    bool any = false;
    for (; text.atDigit(); any = true) {
        text.skip(1);
    }
    return any;
}

std::optional<std::chrono::sys_seconds> parse(DigitReader text, bool generalized) {
    using namespace std::chrono;
    std::optional<int> yearNumber = text.number(generalized ? 4 : 2);
    std::optional<int> const monthNumber = yearNumber ? text.number(2, 1, 12) : std::nullopt;
    std::optional<int> const dayNumber = monthNumber ? text.number(2, 1, 31) : std::nullopt;
    std::optional<int> const hour = dayNumber ? text.number(2, 0, 23) : std::nullopt;
    std::optional<int> const minute = hour ? text.number(2, 0, 59) : std::nullopt;
    if (!minute) {
        return std::nullopt;
    }
    if (!generalized) {
        *yearNumber += *yearNumber < kFirstTwoDigitYear % 100 ? 2000 : 1900;
    }
    std::optional<int> second = 0;
    if (text.atDigit()) {
        second = text.number(2, 0, 59);
        if (!second || (generalized && text.peek() == '.' && !skipFraction(text))) {
            return std::nullopt;
        }
    }
    std::optional<int> const offset = readZone(text);
    year_month_day const date(year(*yearNumber), month(static_cast<unsigned>(*monthNumber)),
                              day(static_cast<unsigned>(*dayNumber)));
    if (!offset || !text.atEnd() || !date.ok()) {
        return std::nullopt;
    }
    return sys_seconds(sys_days(date)) + hours(*hour) + minutes(*minute) + seconds(*second) -
           minutes(*offset);
}

} // namespace

TVKASNTarnTime::TVKASNTarnTime(TVKASNSecurityType security) : TVKASNPrimitive(security, tvk::kTagUTCTime) {}

TVKASNTarnTime::~TVKASNTarnTime() = default;

int TVKASNTarnTime::get_value(struct tm& out) const {
    using namespace std::chrono;
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    // Which of the two forms was read shows in the identifier octet in front of the content.
    TVKASNBuffer encoding(security());
    write(encoding);
    bool const generalized = encoding.data[0] == tvk::kTagGeneralizedTime;
    std::optional<sys_seconds> const time = parse(DigitReader(content(), content_length()), generalized);
    if (!time) {
        return TVKASN_BAD_VALUE;
    }
    sys_days const midnight = floor<days>(*time);
    year_month_day const date(midnight);
    hh_mm_ss const clock(*time - midnight);
    struct tm result = {};
    result.tm_year = static_cast<int>(date.year()) - 1900;
    result.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    result.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    result.tm_hour = static_cast<int>(clock.hours().count());
    result.tm_min = static_cast<int>(clock.minutes().count());
    result.tm_sec = static_cast<int>(clock.seconds().count());
    result.tm_wday = static_cast<int>(weekday(midnight).c_encoding());
    result.tm_yday = static_cast<int>((midnight - sys_days(date.year() / January / 1)).count());
    out = result;
    return TVKASN_OK;
}

int TVKASNTarnTime::set_value(struct tm const& value) {
    using namespace std::chrono;
    if (value.tm_year < -1900 || value.tm_year > 9999 - 1900 || value.tm_mon < 0 || value.tm_mon > 11 ||
        value.tm_mday < 1 || value.tm_mday > 31) {
        return TVKASN_OUT_OF_RANGE;
    }
    int const fullYear = value.tm_year + 1900;
    year_month_day const date{year(fullYear), month(static_cast<unsigned>(value.tm_mon + 1)),
                              day(static_cast<unsigned>(value.tm_mday))};
    if (!date.ok() || value.tm_hour < 0 || value.tm_hour > 23 || value.tm_min < 0 || value.tm_min > 59 ||
        value.tm_sec < 0 || value.tm_sec > 59) {
        return TVKASN_OUT_OF_RANGE;
    }
    bool const generalized = fullYear < kFirstTwoDigitYear || fullYear >= kFirstTwoDigitYear + 100;
    char text[32];
    int const length = std::snprintf(text, sizeof text,
                                     generalized ? "%04d%02d%02d%02d%02d%02dZ" : "%02d%02d%02d%02d%02d%02dZ",
                                     generalized ? fullYear : fullYear % 100, value.tm_mon + 1, value.tm_mday,
                                     value.tm_hour, value.tm_min, value.tm_sec);
    set_tag(generalized ? tvk::kTagGeneralizedTime : tvk::kTagUTCTime);
    return store_content(reinterpret_cast<unsigned char const*>(text), static_cast<unsigned long>(length));
}

bool TVKASNTarnTime::check_type(unsigned long tag, int tagClass) const {
    return tagClass == TVKASNUniversal && (tag == tvk::kTagUTCTime || tag == tvk::kTagGeneralizedTime);
}
