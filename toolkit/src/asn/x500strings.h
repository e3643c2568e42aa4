#pragma once

#include "dercursor.h"

#include <string>

namespace tvk {

// One attribute of a name, as views into the name's bytes.
struct NameAttribute {
    TVKASNCBuffer type;  // content octets of the object identifier
    TVKASNCBuffer value; // the whole value
    DerHeader valueHeader;
    TVKASNCBuffer valueContent;
    unsigned int relativeName; // which relative name it stands in, counted from 0
};

// Walks the attributes of a name's content octets in the order of the encoding.
class NameCursor {
public:
    NameCursor(unsigned char const* content, unsigned long length)
        : names_(content, length), set_(content, 0) {}

    // TVKASN_OK with the next attribute; TVKASN_NO_VALUE behind the last one; else what is wrong with the
    // name.
    int next(NameAttribute& attribute);

private:
    DerCursor names_;
    DerCursor set_;
    unsigned int count_ = 0;
};

// How many bytes a character of a string type takes: 0 for UTF-8, 1, 2 or 4; -1 for a type that isn't text.
int stringWidth(DerHeader const& header);

// Appends one character in UTF-8; surrogates and numbers above 0x10FFFF append nothing.
void appendUTF8(std::string& out, unsigned long character);

// The text of a string value in UTF-8. False for a value that isn't text or not whole characters.
bool textOfValue(DerHeader const& header, TVKASNCBuffer const& content, std::string& out);

} // namespace tvk
