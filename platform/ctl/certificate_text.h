#pragma once

#include "certificate_fields.h"

#include <string>

namespace wincryptctl {

// The subject as stores show it: common name, else organizational unit, organization, email, any attribute.
std::string subjectText(wincrypt::ByteView encoding);

// The serial number in hexadecimal digits, from its content octets (X.690, 8.3).
std::string serialText(wincrypt::ByteView octets);

// What a stored friendly name reads as. Error: ERROR_FILE_CORRUPT.
std::string friendlyNameText(wincrypt::ByteView stored);

} // namespace wincryptctl
