#pragma once

#include <tvkcore/asn/tvkasnprimitive.h>

#include <ctime>

// A time: UTCTime or GeneralizedTime (X.680, 46 and 47), as the Time of X.509 has it. The content is kept as
// it came and taken apart when it is asked for.
class TVK_API TVKASNTarnTime : public TVKASNPrimitive {
public:
    explicit TVKASNTarnTime(TVKASNSecurityType security);
    ~TVKASNTarnTime() override;

    // Fills `out` with the time in UTC in the C library's convention, weekday and day of the year included.
    // Two-digit years run from 1950 to 2049 (RFC 5280, 4.1.2.5.1); seconds may be missing, an offset is
    // applied, fractions are dropped. TVKASN_BAD_VALUE, with `out` as it was, for a text that is no time.
    int get_value(struct tm& out) const;

    // Sets a UTC time: as UTCTime for years 1950 to 2049, as GeneralizedTime otherwise (RFC 5280, 4.1.2.5).
    // TVKASN_OUT_OF_RANGE for years outside 0 to 9999 and fields outside the calendar.
    int set_value(struct tm const& value);

protected:
    bool check_type(unsigned long tag, int tagClass) const override;
};
